// Scaling by the fast way gives what the per-sample way gives, whatever the sizes and the kernel,
// and neither reads or writes outside of the images.

#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "Fuzzing.h"
#include "Tests/Support/PerSample.h"
#include "zaUtils/Imaging/ImageScaling.h"

namespace {

using Sample = ImagePixelHandler::Sample;

/// A block of its own for the sanitizer to watch over.
std::unique_ptr<unsigned char[]> block(const ImageScaling::Size& size, int channels,
                                       std::size_t& bytes) {
    bytes *= static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height) *
             static_cast<std::size_t>(size.depth) * static_cast<std::size_t>(channels);
    return std::make_unique<unsigned char[]>(bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    FuzzedDataProvider data(bytes, size);
    const auto upTo = [&](int most) { return data.ConsumeIntegralInRange(1, most); };
    const ImageScaling::Size src = {upTo(90), upTo(40), upTo(5)},
                             dst = {upTo(90), upTo(40), upTo(5)};
    const int channels = upTo(6);
    // Floats differ where sums cancel out, and the numbers of halves where they are near 0.
    const Sample sample = data.ConsumeBool() ? Sample::UInt8 : Sample::UInt16;
    const auto options = data.ConsumeIntegralInRange(0U, 3U);
    const std::string name =
        data.PickValueInArray({"box", "linear", "gaussian", "hamming", "blackman", "lanczos3"});
    const double width = data.ConsumeBool() ? data.ConsumeFloatingPointInRange(0.0, 8.0)
                                            : data.ConsumeFloatingPoint<double>();

    std::size_t sourceBytes = ImagePixelHandler::getSampleSize(sample), resultBytes = sourceBytes;
    const auto source = block(src, channels, sourceBytes);
    const auto result = block(dst, channels, resultBytes);
    const auto expected = std::make_unique<unsigned char[]>(resultBytes);
    data.ConsumeData(source.get(), sourceBytes);

    ImagePixelHandler pixels(sample, options);
    PerSample slow(pixels);
    const auto kernel = ImageScaling::makeKernel(name, width);
    const auto scale = [&](unsigned char* to, ImageScaler::ValueHandler& handler) {
        return ImageScaler::scale({source.get()}, {to}, src.width, src.height, src.depth, dst.width,
                                  dst.height, dst.depth, channels, handler, *kernel);
    };
    const bool isDone = scale(result.get(), pixels);
    require(isDone == scale(expected.get(), slow), "both ways accept the same");
    for (std::size_t i = 0; isDone && i < resultBytes;
         i += ImagePixelHandler::getSampleSize(sample)) {
        const auto at = [&](const unsigned char* image) {
            return sample == Sample::UInt8 ? image[i] : image[i] | image[i + 1] << 8;
        };
        require(std::abs(at(result.get()) - at(expected.get())) <= 1, "both ways agree");
    }
    return 0;
}
