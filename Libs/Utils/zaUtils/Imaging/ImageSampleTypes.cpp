#include <array>

#include "zaUtils/Imaging/Internal/SampleTypes.h"

namespace za::imaging {

namespace {

// The transfer function of IEC 61966-2-1.
constexpr double kLinearSlope = 12.92;
constexpr double kEndOfLinear = 0.04045, kEndOfLinearLight = 0.0031308;
constexpr double kOffset = 0.055, kExponent = 2.4;

template <std::size_t kCount>
const std::array<double, kCount>& lightTable() {
    static const auto* table = [] {
        auto* lights = new std::array<double, kCount>;  // never destroyed
        for (std::size_t i = 0; i < kCount; ++i)
            (*lights)[i] = lightOf(static_cast<double>(i) / (kCount - 1));
        return lights;
    }();
    return *table;
}

/// Finds the value of a light: a first guess from the light's upper bits, and a few steps.
struct Encoder {
    static constexpr int kGuesses = 4096;

    Encoder() {
        for (std::size_t i = 0; i < limits.size(); ++i)
            limits[i] = lightOf((static_cast<double>(i) + 0.5) / 255.0);
        std::size_t value = 0;
        for (std::size_t i = 0; i < guesses.size(); ++i) {
            while (value < limits.size() && limits[value] <= static_cast<double>(i) / kGuesses)
                ++value;
            guesses[i] = static_cast<std::uint8_t>(value);
        }
    }

    std::uint8_t valueOf(double light) const {
        if (!(light > 0.0)) return 0;
        std::size_t value = guesses[static_cast<std::size_t>(std::min(light, 1.0) * kGuesses)];
        while (value < limits.size() && limits[value] <= light)
            ++value;
        return static_cast<std::uint8_t>(value);
    }

    std::array<double, 255> limits;  ///< from which light on the next value is nearer
    std::array<std::uint8_t, kGuesses + 1> guesses;
};

template <typename Type, typename Function>
void decode(const PixelFormat& format, const unsigned char* source, std::size_t pixels,
            double* values, const Function& valueAt) {
    const auto channels = static_cast<std::size_t>(format.channels);
    if (!format.hasAlpha) {
        for (std::size_t i = 0; i < pixels * channels; ++i)
            values[i] = valueAt(i);
        return;
    }
    for (std::size_t first = 0; first < pixels * channels; first += channels) {
        const std::size_t last = first + channels - 1;
        const double opacity = Type::value(source, last);
        for (std::size_t i = first; i < last; ++i)
            values[i] = valueAt(i) * opacity;
        values[last] = opacity;
    }
}

template <typename Type, typename Function>
void encode(const PixelFormat& format, const double* values, std::size_t pixels,
            unsigned char* destination, const Function& setValue) {
    const auto channels = static_cast<std::size_t>(format.channels);
    if (!format.hasAlpha) {
        for (std::size_t i = 0; i < pixels * channels; ++i)
            setValue(i, values[i]);
        return;
    }
    for (std::size_t first = 0; first < pixels * channels; first += channels) {
        const std::size_t last = first + channels - 1;
        for (std::size_t i = first; i < last; ++i)
            setValue(i, unmultiplied(values[i], values[last], Type::kFull));
        Type::set(destination, last, values[last]);
    }
}

}  // namespace

double lightOf(double encoded) {
    const double size = std::fabs(encoded);
    const double light = size <= kEndOfLinear
                             ? size / kLinearSlope
                             : std::pow((size + kOffset) / (1.0 + kOffset), kExponent);
    return std::copysign(light, encoded);
}

double encodedOf(double light) {
    const double size = std::fabs(light);
    const double encoded = size <= kEndOfLinearLight
                               ? size * kLinearSlope
                               : (1.0 + kOffset) * std::pow(size, 1.0 / kExponent) - kOffset;
    return std::copysign(encoded, light);
}

const double* lightOfUInt8() {
    return lightTable<256>().data();
}

const double* lightOfUInt16() {
    return lightTable<65536>().data();
}

std::uint8_t uint8OfLight(double light) {
    static const Encoder& encoder = *new Encoder;  // never destroyed
    return encoder.valueOf(light);
}

std::uint16_t halfOfDouble(double value) {
    constexpr std::uint64_t kMax = 0x7BFF, kInfinite = 0x7C00, kNoNumber = 0x7E00;
    constexpr int kDropped = 52 - 10;
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    const std::uint64_t sign = bits >> 48 & 0x8000;
    const double size = std::fabs(value);
    if (std::isnan(value)) return static_cast<std::uint16_t>(sign | kNoNumber);
    if (std::isinf(value)) return static_cast<std::uint16_t>(sign | kInfinite);
    if (size >= 65504.0) return static_cast<std::uint16_t>(sign | kMax);
    if (size < 0x1p-14)
        return static_cast<std::uint16_t>(
            sign | static_cast<std::uint64_t>(std::nearbyint(size * 0x1p24)));
    bits &= ~(std::uint64_t{1} << 63);
    bits += (std::uint64_t{1} << (kDropped - 1)) - 1 + (bits >> kDropped & 1);
    return static_cast<std::uint16_t>(sign | ((bits >> kDropped) - ((1023 - 15) << 10)));
}

void decodePixels(const PixelFormat& format, const unsigned char* source, std::size_t pixels,
                  double* values) {
    withSampleType(format.sample, [&](auto type) {
        using Type = decltype(type);
        if (format.isEncoded)
            decode<Type>(
                format, source, pixels, values,
                [=, lights = Type::lights()](std::size_t i) { return lights.at(source, i); });
        else
            decode<Type>(format, source, pixels, values,
                         [=](std::size_t i) { return Type::value(source, i); });
    });
}

void encodePixels(const PixelFormat& format, const double* values, std::size_t pixels,
                  unsigned char* destination) {
    withSampleType(format.sample, [&](auto type) {
        using Type = decltype(type);
        if (format.isEncoded)
            encode<Type>(format, values, pixels, destination, [=](std::size_t i, double value) {
                Type::setLight(destination, i, value);
            });
        else
            encode<Type>(format, values, pixels, destination,
                         [=](std::size_t i, double value) { Type::set(destination, i, value); });
    });
}

}  // namespace za::imaging
