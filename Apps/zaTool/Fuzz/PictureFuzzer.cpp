// Any bytes are a picture or none, and what is one survives being written as a PNG and read again.

#include <string>
#include <string_view>

#include "Fuzzing.h"
#include "Picture.h"

namespace {

/// A few bytes may promise a picture that takes seconds.
constexpr std::size_t kLargest = std::size_t{1} << 22;

void check(std::string_view bytes) {
    Picture picture, again;
    if (!decodePicture(bytes, picture).empty()) return;
    require(picture.pixels.size() == bytesOf(picture.layout), "the pixels fit the layout");
    if (picture.pixels.size() > kLargest) return;
    std::string png;
    require(encodePicture("a.png", picture, png).empty(), "a PNG holds any picture");
    require(decodePicture(png, again).empty(), "what was written is read");
    const Picture expected = convert(picture, ImagePixelHandler::Sample::UInt8, false);
    require(again.pixels == expected.pixels, "and is the same");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    check({reinterpret_cast<const char*>(data), size});
    return 0;
}
