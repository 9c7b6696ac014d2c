#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "zaUtils/Imaging/ImagePixelHandler.h"

namespace {

using Sample = ImagePixelHandler::Sample;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr auto kAlpha = ImagePixelHandler::LastIsAlpha;
constexpr auto kLight = ImagePixelHandler::LinearLight;

template <typename Raw>
Raw written(Sample sample, double value, unsigned int options = 0) {
    ImagePixelHandler handler(sample, options);
    unsigned char memory[1 + sizeof(Raw)] = {};
    handler.write(value, memory + 1, 1, 1, 1, 0, 0, 0, 0);  // at an odd address
    Raw raw;
    std::memcpy(&raw, memory + 1, sizeof raw);
    return raw;
}

/// The value of a channel of a row of pixels, with these weights.
template <typename Raw>
double readRow(Sample sample, unsigned int options, const std::vector<Raw>& row, int channels,
               int channel, const std::vector<double>& weights) {
    ImagePixelHandler handler(sample, options);
    const double one = 1.0;
    const int right = static_cast<int>(weights.size()) - 1;
    return handler.read(reinterpret_cast<const unsigned char*>(row.data()), channels, right + 1, 1,
                        channel, 0, 0, 0, right, 0, 0, weights.data(), &one, &one);
}

TEST(ImagePixelHandler, RoundsAndClampsIntegers) {
    const std::pair<double, int> bytes[] = {
        {0.0, 0},     {0.49, 0},    {0.5, 1},  {1.5, 2},         {254.49, 254},   {254.5, 255},
        {255.6, 255}, {1e300, 255}, {-3.0, 0}, {kInfinity, 255}, {-kInfinity, 0}, {kNaN, 0}};
    for (const auto& [value, expected] : bytes) {
        SCOPED_TRACE(value);
        EXPECT_EQ(written<std::uint8_t>(Sample::UInt8, value), expected);
    }
    EXPECT_EQ(written<std::uint16_t>(Sample::UInt16, 65534.5), 65535);
    EXPECT_EQ(written<std::uint16_t>(Sample::UInt16, 70000.0), 65535);
    EXPECT_EQ(written<std::uint16_t>(Sample::UInt16, 255.49), 255);
}

TEST(ImagePixelHandler, RoundsAndClampsFloatingPoint) {
    const std::pair<double, int> halves[] = {
        {1.0, 0x3C00},
        {-2.0, 0xC000},
        {1.0 + 0x1p-11, 0x3C00},            // in the middle: to even
        {1.0 + 0x1p-11 + 0x1p-40, 0x3C01},  // beyond by less than a float tells
        {1.0 + 3 * 0x1p-11, 0x3C02},
        {2047.75, 0x6800},  // carries into the exponent
        {0x1p-14, 0x0400},
        {0x1p-14 - 0x1p-26, 0x0400},  // the largest subnormal rounds up to a normal one
        {0x1p-24, 0x0001},
        {0x1p-25, 0x0000},
        {3 * 0x1p-26, 0x0001},
        {-0.0, 0x8000},
        {65504.0, 0x7BFF},
        {65519.0, 0x7BFF},
        {1e6, 0x7BFF},
        {-kInfinity, 0xFC00}};
    for (const auto& [value, expected] : halves) {
        SCOPED_TRACE(value);
        EXPECT_EQ(written<std::uint16_t>(Sample::Half, value), expected);
    }
    for (std::uint32_t half = 0; half < 0x10000; ++half) {
        const std::vector<std::uint16_t> row = {static_cast<std::uint16_t>(half)};
        const double value = readRow(Sample::Half, 0, row, 1, 0, {1.0});
        ASSERT_EQ(std::isnan(value), (half & 0x7FFF) > 0x7C00) << half;
        if (std::isnan(value) || half == 0x8000) continue;  // a sum is never -0
        ASSERT_EQ(written<std::uint16_t>(Sample::Half, value), half);
    }
    EXPECT_EQ(readRow<std::uint16_t>(Sample::Half, 0, {0x3555}, 1, 0, {1.0}), 0.333251953125);

    constexpr float kMax = std::numeric_limits<float>::max();
    EXPECT_EQ(written<float>(Sample::Float, 0.1), 0.1f);
    EXPECT_EQ(written<float>(Sample::Float, -1e300), -kMax);
    EXPECT_EQ(written<float>(Sample::Float, kInfinity), std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(written<float>(Sample::Float, kNaN)));
}

TEST(ImagePixelHandler, SumsUpTheBoxOfItsChannel) {
    // A volume of 3 x 2 x 2 pixels of two channels; the box leaves out the first column.
    std::vector<unsigned char> volume(24);
    for (std::size_t i = 0; i < volume.size(); ++i)
        volume[i] = static_cast<unsigned char>(i * i % 97);
    const double x[] = {0.25, -0.5}, y[] = {1.0, 2.0}, z[] = {4.0, -8.0};
    double expected = 0.0;
    for (std::size_t k = 0; k < 8; ++k) {
        const std::size_t pixel = (k / 4 * 2 + k / 2 % 2) * 3 + 1 + k % 2;
        expected += x[k % 2] * y[k / 2 % 2] * z[k / 4] * volume[pixel * 2 + 1];
    }
    ImagePixelHandler handler(Sample::UInt8);
    EXPECT_EQ(handler.read(volume.data(), 2, 3, 2, 1, 1, 0, 0, 2, 1, 1, x, y, z), expected);
    handler.write(200.0, volume.data(), 2, 3, 2, 1, 1, 0, 1);
    EXPECT_EQ(volume[15], 200);
}

TEST(ImagePixelHandler, ConvertsToLinearLightAndBack) {
    // From the standard's formula, in decimal arithmetic.
    const std::pair<int, double> lights[] = {{0, 0.0},
                                             {10, 0.0030352698354883752},
                                             {11, 0.0033465357638991604},
                                             {128, 0.21586050011389926},
                                             {255, 1.0}};
    for (const auto& [value, light] : lights) {
        const std::vector<std::uint8_t> row = {static_cast<std::uint8_t>(value)};
        EXPECT_NEAR(readRow(Sample::UInt8, kLight, row, 1, 0, {1.0}), light, 1e-15);
        EXPECT_NEAR(readRow<float>(Sample::Float, kLight, {float(value / 255.0)}, 1, 0, {1.0}),
                    light, 1e-7);
    }
    for (int value = 0; value < 256; ++value) {
        const double encoded = (value + 0.5) / 255.0;
        const double middle =
            encoded <= 0.04045 ? encoded / 12.92 : std::pow((encoded + 0.055) / 1.055, 2.4);
        ASSERT_EQ(written<std::uint8_t>(Sample::UInt8, middle - 1e-9, kLight), value);
        ASSERT_EQ(written<std::uint8_t>(Sample::UInt8, middle + 1e-9, kLight),
                  std::min(value + 1, 255));
    }
    for (std::uint32_t value = 0; value < 0x10000; ++value) {
        const std::vector<std::uint16_t> row = {static_cast<std::uint16_t>(value)};
        const double light = readRow(Sample::UInt16, kLight, row, 1, 0, {1.0});
        ASSERT_EQ(written<std::uint16_t>(Sample::UInt16, light, kLight), value);
    }
    EXPECT_EQ(written<std::uint8_t>(Sample::UInt8, 0.5, kLight), 188);
    EXPECT_EQ(written<std::uint8_t>(Sample::UInt8, kNaN, kLight), 0);
    EXPECT_EQ(written<std::uint8_t>(Sample::UInt8, -1.0, kLight), 0);
    EXPECT_NEAR(written<float>(Sample::Float, -4.0, kLight), -1.8248, 1e-4);
}

TEST(ImagePixelHandler, LetsTransparentPixelsLeaveNoTrace) {
    const std::vector<std::uint8_t> row = {255, 7, 0, 10, 200, 255, 0, 0, 128};
    const auto value = [&](int channel, const std::vector<double>& weights) {
        return readRow(Sample::UInt8, kAlpha, row, 3, channel, weights);
    };
    EXPECT_DOUBLE_EQ(value(0, {0.5, 0.5}), 10.0);
    EXPECT_DOUBLE_EQ(value(1, {0.5, 0.5}), 200.0);
    EXPECT_DOUBLE_EQ(value(2, {0.5, 0.5}), 127.5);
    EXPECT_DOUBLE_EQ(value(0, {0.25, 0.25, 0.5}), 10.0 * 255 / (255 + 2 * 128));
    EXPECT_EQ(value(0, {1.0}), 0.0);  // of no opacity
    EXPECT_EQ(value(1, {1.0, 1e-17}), 0.0);
    // A single channel is no opacity, and opacity is not encoded.
    EXPECT_EQ(readRow<std::uint8_t>(Sample::UInt8, kAlpha, {9}, 1, 0, {1.0}), 9.0);
    EXPECT_EQ(readRow<std::uint8_t>(Sample::UInt8, kAlpha | kLight, {128, 64}, 2, 1, {1.0}), 64.0);
    EXPECT_NEAR(readRow<std::uint8_t>(Sample::UInt8, kAlpha | kLight, {128, 64}, 2, 0, {1.0}),
                0.21586050011389926, 1e-15);
}

}  // namespace
