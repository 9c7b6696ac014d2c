#include "JpegDecoder.h"

#include <algorithm>
#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <vector>

#include <jerror.h>
#include <jpeglib.h>

namespace {

/// The decoder's way of telling failures: it never returns from the first of these functions.
struct Failure : jpeg_error_mgr {
    Failure() : jpeg_error_mgr() {
        jpeg_std_error(this);
        error_exit = [](j_common_ptr jpeg) {
            auto& self = *static_cast<Failure*>(jpeg->err);
            self.format_message(jpeg, self.message);
            std::longjmp(self.wayOut, 1);
        };
        emit_message = [](j_common_ptr jpeg, int level) {
            auto& self = *static_cast<Failure*>(jpeg->err);
            const bool isWarning = level < 0;
            self.isShort = self.isShort || (isWarning && self.msg_code == JWRN_JPEG_EOF);
        };
    }

    std::jmp_buf wayOut{};
    char message[JMSG_LENGTH_MAX] = "";
    bool isShort = false;
};

struct Decoder {
    Decoder() { jpeg.err = &failure; }
    ~Decoder() { jpeg_destroy_decompress(&jpeg); }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    Failure failure;
    jpeg_decompress_struct jpeg{};
};

/// False after a failure. There is nothing here that would have to be destroyed.
bool decode(Decoder& decoder, std::string_view bytes, Picture& picture) {
    jpeg_decompress_struct& jpeg = decoder.jpeg;
    if (setjmp(decoder.failure.wayOut) != 0) return false;  // NOLINT(cert-err52-cpp): its only way
    jpeg_create_decompress(&jpeg);
    constexpr std::size_t kMost = std::numeric_limits<std::int32_t>::max();  // of any JPEG
    jpeg_mem_src(&jpeg, reinterpret_cast<const unsigned char*>(bytes.data()),
                 static_cast<unsigned long>(std::min(bytes.size(), kMost)));
    jpeg_read_header(&jpeg, TRUE);
    jpeg_start_decompress(&jpeg);
    picture.layout.width = static_cast<int>(jpeg.output_width);
    picture.layout.height = static_cast<int>(jpeg.output_height);
    picture.layout.channels = jpeg.output_components;
    picture.pixels.resize(bytesOf(picture.layout));
    const std::size_t rowSize = picture.pixels.size() / jpeg.output_height;
    while (jpeg.output_scanline < jpeg.output_height) {
        JSAMPROW row = picture.pixels.data() + jpeg.output_scanline * rowSize;
        jpeg_read_scanlines(&jpeg, &row, 1);
    }
    jpeg_finish_decompress(&jpeg);
    return true;
}

/// From the four inks of printing, which the programs that write them store as what is left white.
void toColours(Picture& picture, bool isInverted) {
    std::vector<unsigned char>& pixels = picture.pixels;
    const auto light = [=](unsigned char ink) { return isInverted ? ink : 255 - ink; };
    std::size_t to = 0;
    for (std::size_t from = 0; from < pixels.size(); from += 4) {
        const int black = light(pixels[from + 3]);
        for (std::size_t ink = 0; ink < 3; ++ink)
            pixels[to++] =
                static_cast<unsigned char>((light(pixels[from + ink]) * black + 127) / 255);
    }
    pixels.resize(to);
    picture.layout.channels = 3;
}

}  // namespace

bool isJpeg(std::string_view bytes) {
    return bytes.substr(0, 3) == "\xFF\xD8\xFF";
}

std::string decodeJpeg(std::string_view bytes, Picture& picture) {
    picture.layout = ImageScaling::Layout{0, 0, 1, 0, ImagePixelHandler::Sample::UInt8, 0};
    picture.isLight = false;
    Decoder decoder;
    const bool isDone = decode(decoder, bytes, picture);
    if (decoder.failure.isShort) return kEndsTooEarly;
    if (!isDone) return kIsNoPicture + std::string(decoder.failure.message);
    const int channels = picture.layout.channels;
    if (channels == 4) toColours(picture, decoder.jpeg.saw_Adobe_marker != 0);
    const bool isKnown = channels == 1 || channels == 3 || channels == 4;
    return isKnown ? "" : kIsNoPicture + std::string("its colours are of no known kind");
}
