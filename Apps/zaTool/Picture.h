#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "zaUtils/Imaging/ImageScaling.h"

/// A picture or a volume in memory.
struct Picture {
    ImageScaling::Layout layout = {0, 0, 1, 0, ImagePixelHandler::Sample::UInt8, 0};
    bool isLight = false;  ///< samples are linear light, and not encoded as in sRGB
    std::vector<unsigned char> pixels;
};

/// @name Pictures and the content of their files
/// Each returns what is wrong with the file, empty when nothing is.
/// @{

/// What to say of a file that cannot be decoded; the reason follows the second one.
constexpr const char* kEndsTooEarly = "is no picture, or a part of one: it ends too early";
constexpr const char* kIsNoPicture = "is no picture that can be read: ";

/// From PNG, JPEG, BMP, TGA and Radiance HDR: with as many channels as there are (a palette's are
/// those of its colours), with 16 bits where a PNG has them, and with floats from HDR. What ends
/// too early is no picture.
std::string decodePicture(std::string_view bytes, Picture& picture);

/// To what the extension of the file's name stands for: PNG, JPEG and HDR. JPEG and HDR hold no
/// opacity, which is dropped.
std::string encodePicture(const std::string& file, const Picture& picture, std::string& bytes);

/// From nothing but the samples of the picture's layout.
std::string takeSamples(std::string_view bytes, Picture& picture);

/// @}

/// Whether there is a format for a file of this name.
bool isPictureName(const std::string& file);

/// The same picture with samples of another type and encoding.
Picture convert(const Picture& picture, ImagePixelHandler::Sample sample, bool isLight);

/// The same picture in three channels of 8 bits: grey becomes colour, and opacity is dropped.
Picture toColours(const Picture& picture);

/// The bytes that a layout takes.
/// @throws std::bad_alloc  more than this program works on, 16 GiB
std::size_t bytesOf(const ImageScaling::Layout& layout);
