#pragma once

#include <string>
#include <vector>

#include "zaUtils/Imaging/ImageScaling.h"

/// A picture or a volume in memory.
struct Picture {
    ImageScaling::Layout layout = {0, 0, 1, 0, ImagePixelHandler::Sample::UInt8, 0};
    bool isLight = false;  ///< samples are linear light, and not encoded as in sRGB
    std::vector<unsigned char> pixels;
};

/// @name Pictures in files
/// Each returns what went wrong, empty when nothing did.
/// @{

/// Reads PNG, JPEG, BMP, TGA and Radiance HDR, whatever the name says: with as many channels as
/// there are (a palette's are those of its colours), with 16 bits where a PNG has them, and with
/// floats from HDR. A file that ends too early is no picture.
std::string readPicture(const std::string& file, Picture& picture);

/// Writes what the name's extension stands for: PNG, JPEG and HDR. JPEG and HDR hold no opacity,
/// which is dropped. A file that cannot be written as a whole is removed.
std::string writePicture(const std::string& file, const Picture& picture);

/// Reads a file that is nothing but the samples of the picture's layout.
std::string readSamples(const std::string& file, Picture& picture);
std::string writeSamples(const std::string& file, const Picture& picture);

/// @}

/// Whether there is a way to write a file of this name.
bool isPictureName(const std::string& file);

/// The same picture with samples of another type and encoding.
Picture convert(const Picture& picture, ImagePixelHandler::Sample sample, bool isLight);

/// The same picture in three channels of 8 bits: grey becomes colour, and opacity is dropped.
Picture toColours(const Picture& picture);

/// The bytes that a layout takes.
/// @throws std::bad_alloc  more than this program works on, 16 GiB
std::size_t bytesOf(const ImageScaling::Layout& layout);
