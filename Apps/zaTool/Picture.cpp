#include "Picture.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>

#include "JpegDecoder.h"
#include "PictureCodecs.h"
#include "zaUtils/Strings/zaString.h"

namespace {

using Sample = ImagePixelHandler::Sample;

/// A file's content that the decoder takes piece by piece, and whether it wanted more than there
/// is.
class Content {
public:
    explicit Content(std::string_view bytes) : _bytes(bytes) {}

    int read(char* to, int size) {
        const std::size_t count = std::min(static_cast<std::size_t>(size), _bytes.size() - _at);
        std::memcpy(to, _bytes.data() + _at, count);
        _at += count;
        // Into its buffer the decoder reads ahead, and asks again only when it has used up all that
        // it got. What it does not read into its buffer it needs.
        constexpr int kBuffer = 128;
        const bool isAhead = size == kBuffer && count > 0;
        _isShort = _isShort || (count < static_cast<std::size_t>(size) && !isAhead);
        return static_cast<int>(count);
    }
    void skip(int size) {
        const std::size_t count = static_cast<std::size_t>(std::max(size, 0));
        _isShort = _isShort || count > _bytes.size() - _at;
        _at += std::min(count, _bytes.size() - _at);
    }
    bool atEnd() const { return _at == _bytes.size(); }
    bool isShort() const { return _isShort; }

    static const stbi_io_callbacks& callbacks() {
        static const stbi_io_callbacks table = {
            [](void* self, char* to, int size) {
                return static_cast<Content*>(self)->read(to, size);
            },
            [](void* self, int size) { static_cast<Content*>(self)->skip(size); },
            [](void* self) { return static_cast<Content*>(self)->atEnd() ? 1 : 0; }};
        return table;
    }

private:
    const std::string_view _bytes;
    std::size_t _at = 0;
    bool _isShort = false;
};

/// Whether a file promises more pixels than so many bytes hold in any of the formats, at most by a
/// PNG of one bit a pixel: then memory for them is not even asked for.
bool promisesTooMuch(std::string_view bytes) {
    constexpr double kMostPixelsPerByte =
        8 * 1032.0;  // the second is the most that deflate reaches
    Content content(bytes);
    int width = 0, height = 0, channels = 0;
    return stbi_info_from_callbacks(&Content::callbacks(), &content, &width, &height, &channels) !=
               0 &&
           static_cast<double>(width) * height >
               kMostPixelsPerByte * static_cast<double>(bytes.size());
}

/// Owns what a decoder has made.
struct Decoded {
    void* pixels;
    ~Decoded() { stbi_image_free(pixels); }
};

template <typename Function>
auto ask(std::string_view bytes, const Function& function) {
    Content content(bytes);
    return function(&Content::callbacks(), &content);
}

Sample sampleOf(std::string_view bytes) {
    if (ask(bytes, stbi_is_hdr_from_callbacks) != 0) return Sample::Float;
    return ask(bytes, stbi_is_16_bit_from_callbacks) != 0 ? Sample::UInt16 : Sample::UInt8;
}

// --- encoding ---

enum class Format { None, Png, Jpeg, Hdr };

Format formatOf(const std::string& file) {
    const std::size_t dot = file.find_last_of("./\\");
    const std::string extension =
        dot != std::string::npos && file[dot] == '.' ? zaString::toLower(file.substr(dot)) : "";
    if (extension == ".png") return Format::Png;
    if (extension == ".jpg" || extension == ".jpeg") return Format::Jpeg;
    return extension == ".hdr" ? Format::Hdr : Format::None;
}

void append(void* bytes, void* data, int size) {
    static_cast<std::string*>(bytes)->append(static_cast<const char*>(data),
                                             static_cast<std::size_t>(size));
}

bool encodePng(const Picture& picture, std::string& bytes) {
    const ImageScaling::Layout& layout = picture.layout;
    // The encoder counts bytes with 32 bits.
    const double size = (static_cast<double>(layout.width) * layout.channels + 1) * layout.height;
    constexpr double kMax = std::numeric_limits<int>::max() / 2.0;
    if (size > kMax) return false;
    const Picture pixels = convert(picture, Sample::UInt8, false);
    return stbi_write_png_to_func(append, &bytes, layout.width, layout.height, layout.channels,
                                  pixels.pixels.data(), layout.width * layout.channels) != 0;
}

bool encodeJpeg(const Picture& picture, std::string& bytes) {
    constexpr int kMaxSize = 65535, kQuality = 95;
    const ImageScaling::Layout& layout = picture.layout;
    if (layout.width > kMaxSize || layout.height > kMaxSize) return false;
    const Picture pixels = convert(picture, Sample::UInt8, false);
    return stbi_write_jpg_to_func(append, &bytes, layout.width, layout.height, layout.channels,
                                  pixels.pixels.data(), kQuality) != 0;
}

bool encodeHdr(const Picture& picture, std::string& bytes) {
    Picture light = convert(picture, Sample::Float, true);
    // The format has one exponent for all channels of a pixel, and no signs.
    constexpr float kMax = 1e38F;
    for (std::size_t at = 0; at < light.pixels.size(); at += sizeof(float)) {
        float value;
        std::memcpy(&value, light.pixels.data() + at, sizeof value);
        value = value > 0.0F ? std::min(value, kMax) : 0.0F;
        std::memcpy(light.pixels.data() + at, &value, sizeof value);
    }
    return stbi_write_hdr_to_func(append, &bytes, light.layout.width, light.layout.height,
                                  light.layout.channels,
                                  reinterpret_cast<const float*>(light.pixels.data())) != 0;
}

double fullScaleOf(Sample sample) {
    return sample == Sample::UInt8 ? 255.0 : sample == Sample::UInt16 ? 65535.0 : 1.0;
}

/// Reads and writes the samples of a row one by one, each as it is or as its light.
class SampleCopier {
public:
    SampleCopier(const Picture& from, Picture& to) : _from(from), _to(to) {
        const bool same = from.isLight == to.isLight;
        const auto options = [&](const Picture& picture) {
            return same || picture.isLight ? 0U : unsigned{ImagePixelHandler::LinearLight};
        };
        _light = {ImagePixelHandler(from.layout.sample, options(from)),
                  ImagePixelHandler(to.layout.sample, options(to))};
        const double fullFrom = fullScaleOf(from.layout.sample);
        const double fullTo = fullScaleOf(to.layout.sample);
        _factor = fullTo / fullFrom;
        // In linear light, full scale is 1 already.
        _lightFactor =
            (options(from) != 0 ? 1.0 : 1.0 / fullFrom) * (options(to) != 0 ? 1.0 : fullTo);
    }

    void copy(int x, int y) {
        const int channels = _from.layout.channels;
        for (int channel = 0; channel < channels; ++channel) {
            const bool isOpacity = (_from.layout.options & ImagePixelHandler::LastIsAlpha) != 0 &&
                                   channel == channels - 1;
            if (isOpacity)
                copy(_plain, _factor, x, y, channel);
            else
                copy(_light, _lightFactor, x, y, channel);
        }
    }

private:
    struct Handlers {
        ImagePixelHandler from, to;
    };

    void copy(Handlers& handlers, double factor, int x, int y, int channel) {
        const ImageScaling::Layout& layout = _from.layout;
        const double one = 1.0;
        const double value =
            handlers.from.read(_from.pixels.data(), layout.channels, layout.width, layout.height,
                               channel, x, y, 0, x, y, 0, &one, &one, &one);
        handlers.to.write(value * factor, _to.pixels.data(), layout.channels, layout.width,
                          layout.height, channel, x, y, 0);
    }

    const Picture& _from;
    Picture& _to;
    Handlers _plain = {ImagePixelHandler(_from.layout.sample),
                       ImagePixelHandler(_to.layout.sample)};
    Handlers _light = _plain;
    double _factor = 1.0, _lightFactor = 1.0;
};

}  // namespace

std::string decodePicture(std::string_view bytes, Picture& picture) {
    if (bytes.empty()) return kEndsTooEarly;
    if (isJpeg(bytes)) return decodeJpeg(bytes, picture);
    if (promisesTooMuch(bytes)) return kEndsTooEarly;
    ImageScaling::Layout& layout = picture.layout;
    layout.sample = sampleOf(bytes);
    picture.isLight = layout.sample == Sample::Float;
    Content content(bytes);
    const stbi_io_callbacks* calls = &Content::callbacks();
    int *width = &layout.width, *height = &layout.height, *channels = &layout.channels;
    const Decoded decoded{
        layout.sample == Sample::Float ? static_cast<void*>(stbi_loadf_from_callbacks(
                                             calls, &content, width, height, channels, 0))
        : layout.sample == Sample::UInt16
            ? static_cast<void*>(
                  stbi_load_16_from_callbacks(calls, &content, width, height, channels, 0))
            : stbi_load_from_callbacks(calls, &content, width, height, channels, 0)};
    if (content.isShort()) return kEndsTooEarly;
    if (!decoded.pixels) return kIsNoPicture + std::string(stbi_failure_reason());
    if (layout.width < 1 || layout.height < 1) return kIsNoPicture + std::string("it is empty");
    const bool hasOpacity = layout.channels == 2 || layout.channels == 4;
    layout.options = hasOpacity ? ImagePixelHandler::LastIsAlpha : 0U;
    const auto* first = static_cast<const unsigned char*>(decoded.pixels);
    picture.pixels.assign(first, first + bytesOf(layout));
    return {};
}

std::string encodePicture(const std::string& file, const Picture& picture, std::string& bytes) {
    bool isDone = false;
    switch (formatOf(file)) {
        case Format::Png:
            isDone = encodePng(picture, bytes);
            break;
        case Format::Jpeg:
            isDone = encodeJpeg(picture, bytes);
            break;
        case Format::Hdr:
            isDone = encodeHdr(picture, bytes);
            break;
        case Format::None:
            return "cannot be written: its extension stands for no known format";
    }
    return isDone ? "" : "cannot be written: the format does not hold a picture of this size";
}

std::string takeSamples(std::string_view bytes, Picture& picture) {
    const std::size_t size = bytesOf(picture.layout);
    if (bytes.size() != size)
        return "has " + std::to_string(bytes.size()) + " bytes, and a volume of this size has " +
               std::to_string(size);
    picture.pixels.assign(bytes.begin(), bytes.end());
    return {};
}

bool isPictureName(const std::string& file) {
    return formatOf(file) != Format::None;
}

Picture convert(const Picture& picture, Sample sample, bool isLight) {
    if (picture.layout.sample == sample && picture.isLight == isLight) return picture;
    Picture result;
    result.layout = picture.layout;
    result.layout.sample = sample;
    result.isLight = isLight;
    result.pixels.resize(bytesOf(result.layout));
    SampleCopier copier(picture, result);
    for (int y = 0; y < picture.layout.height; ++y) {
        for (int x = 0; x < picture.layout.width; ++x)
            copier.copy(x, y);
    }
    return result;
}

Picture toColours(const Picture& picture) {
    const Picture bytes = convert(picture, Sample::UInt8, false);
    Picture result;
    result.layout = bytes.layout;
    result.layout.channels = 3;
    result.layout.options = 0;
    result.pixels.reserve(bytesOf(result.layout));
    const auto channels = static_cast<std::size_t>(bytes.layout.channels);
    for (std::size_t pixel = 0; pixel < bytes.pixels.size(); pixel += channels) {
        for (std::size_t channel = 0; channel < 3; ++channel)
            result.pixels.push_back(bytes.pixels[pixel + (channels < 3 ? 0 : channel)]);
    }
    return result;
}

std::size_t bytesOf(const ImageScaling::Layout& layout) {
    constexpr double kMax = 16.0 * 1024 * 1024 * 1024;
    const std::size_t sample = ImagePixelHandler::getSampleSize(layout.sample);
    const double size = static_cast<double>(layout.width) * layout.height * layout.depth *
                        layout.channels * static_cast<double>(sample);
    if (size > kMax) throw std::bad_alloc();
    return static_cast<std::size_t>(size);
}
