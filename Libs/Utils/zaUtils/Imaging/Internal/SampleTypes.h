#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "zaUtils/Imaging/ImagePixelHandler.h"

/// How samples of each type lie in memory, and their conversion from and to linear light.
namespace za::imaging {

double lightOf(double encoded);  ///< from sRGB; full scale is 1
double encodedOf(double light);  ///< to sRGB

const double* lightOfUInt8();   ///< for each of the 256 values
const double* lightOfUInt16();  ///< for each of the 65536 values
/// The value whose light is nearest, as seen in sRGB.
std::uint8_t uint8OfLight(double light);

std::uint16_t halfOfDouble(double value);

template <typename Integer>
Integer roundedTo(double value) {
    constexpr double kMax = std::numeric_limits<Integer>::max();
    if (!(value > 0.0)) return 0;
    const double raised = std::min(value, kMax) + 0.5;
    return static_cast<Integer>(raised);
}

template <typename Raw>
Raw rawAt(const unsigned char* samples, std::size_t index) {
    Raw raw;
    std::memcpy(&raw, samples + index * sizeof(Raw), sizeof(Raw));
    return raw;
}

template <typename Raw>
void setRaw(unsigned char* samples, std::size_t index, Raw raw) {
    std::memcpy(samples + index * sizeof(Raw), &raw, sizeof(Raw));
}

inline double doubleOfHalf(std::uint16_t half) {
    constexpr std::uint64_t kExponents = 0x7C00, kInfinite = std::uint64_t{0x7FF - 0x1F} << 52;
    constexpr std::uint64_t kBias = std::uint64_t{1023 - 15} << 52;
    constexpr int kAdded = 52 - 10;
    const std::uint64_t size = half & 0x7FFF;
    double value;
    if (size <= 0x3FF) {
        value = static_cast<double>(size) * 0x1p-24;
    } else {
        const std::uint64_t bits =
            (size << kAdded) + ((size & kExponents) == kExponents ? kInfinite : kBias);
        std::memcpy(&value, &bits, sizeof value);
    }
    return (half & 0x8000) != 0 ? -value : value;
}

/// The light of integers, looked up.
template <typename Raw>
struct LightTable {
    double at(const unsigned char* samples, std::size_t i) const {
        return lights[rawAt<Raw>(samples, i)];
    }
    const double* lights;
};

/// The light of other samples, computed.
template <typename Type>
struct LightCurve {
    double at(const unsigned char* samples, std::size_t i) const {
        return lightOf(Type::value(samples, i));
    }
};

/// Types of samples: their values, and their light.
/// @{
struct UInt8 {
    static constexpr double kFull = 255.0;
    static constexpr std::size_t kSize = 1;
    static double value(const unsigned char* samples, std::size_t i) { return samples[i]; }
    static LightTable<std::uint8_t> lights() { return {lightOfUInt8()}; }
    static void set(unsigned char* samples, std::size_t i, double value) {
        samples[i] = roundedTo<std::uint8_t>(value);
    }
    static void setLight(unsigned char* samples, std::size_t i, double light) {
        samples[i] = uint8OfLight(light);
    }
};

struct UInt16 {
    static constexpr double kFull = 65535.0;
    static constexpr std::size_t kSize = 2;
    static double value(const unsigned char* samples, std::size_t i) {
        return rawAt<std::uint16_t>(samples, i);
    }
    static LightTable<std::uint16_t> lights() { return {lightOfUInt16()}; }
    static void set(unsigned char* samples, std::size_t i, double value) {
        setRaw(samples, i, roundedTo<std::uint16_t>(value));
    }
    static void setLight(unsigned char* samples, std::size_t i, double light) {
        set(samples, i, kFull * encodedOf(light));
    }
};

struct Half {
    static constexpr double kFull = 1.0;
    static constexpr std::size_t kSize = 2;
    static double value(const unsigned char* samples, std::size_t i) {
        return doubleOfHalf(rawAt<std::uint16_t>(samples, i));
    }
    static LightCurve<Half> lights() { return {}; }
    static void set(unsigned char* samples, std::size_t i, double value) {
        setRaw(samples, i, halfOfDouble(value));
    }
    static void setLight(unsigned char* samples, std::size_t i, double light) {
        set(samples, i, encodedOf(light));
    }
};

struct Float {
    static constexpr double kFull = 1.0;
    static constexpr std::size_t kSize = 4;
    static double value(const unsigned char* samples, std::size_t i) {
        return rawAt<float>(samples, i);
    }
    static LightCurve<Float> lights() { return {}; }
    static void set(unsigned char* samples, std::size_t i, double value) {
        constexpr double kMax = std::numeric_limits<float>::max();
        if (std::isfinite(value)) value = std::clamp(value, -kMax, kMax);
        setRaw(samples, i, static_cast<float>(value));
    }
    static void setLight(unsigned char* samples, std::size_t i, double light) {
        set(samples, i, encodedOf(light));
    }
};
/// @}

/// Calls a generic function with the type of samples.
template <typename Function>
auto withSampleType(ImagePixelHandler::Sample sample, const Function& function) {
    switch (sample) {
        case ImagePixelHandler::Sample::UInt8:
            return function(UInt8());
        case ImagePixelHandler::Sample::UInt16:
            return function(UInt16());
        case ImagePixelHandler::Sample::Half:
            return function(Half());
        case ImagePixelHandler::Sample::Float:
            break;
    }
    return function(Float());
}

/// Where the weighted opacity is no more than this share of full scale, the result is transparent:
/// what is left of sums that should be 0 is smaller, and no type of integers tells it from 0.
constexpr double kTransparent = 1e-9;

/// Undoes the multiplication by opacity.
inline double unmultiplied(double product, double opacity, double full) {
    return opacity > kTransparent * full ? product / opacity : 0.0;
}

/// What the samples of an image are.
struct PixelFormat {
    PixelFormat(const ImagePixelHandler& handler, int channelCount)
        : sample(handler.getSample()),
          channels(channelCount),
          hasAlpha((handler.getOptions() & ImagePixelHandler::LastIsAlpha) != 0 &&
                   channelCount >= 2),
          isEncoded((handler.getOptions() & ImagePixelHandler::LinearLight) != 0) {}

    bool isAlpha(int channel) const { return hasAlpha && channel == channels - 1; }

    ImagePixelHandler::Sample sample;
    int channels;
    bool hasAlpha;
    bool isEncoded;
};

/// The values of a row of pixels that can be summed up: in linear light, multiplied by opacity.
void decodePixels(const PixelFormat& format, const unsigned char* source, std::size_t pixels,
                  double* values);
void encodePixels(const PixelFormat& format, const double* values, std::size_t pixels,
                  unsigned char* destination);

}  // namespace za::imaging
