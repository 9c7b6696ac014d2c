#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "Support/PerSample.h"
#include "zaUtils/Imaging/ImagePixelHandler.h"
#include "zaUtils/Imaging/Internal/SeparableScaler.h"
#include "zaUtils/Progress/zaStackedProgress.h"

namespace {

using za::imaging::ScalingKernels;
using za::imaging::ScalingProgress;
using za::imaging::SeparableScaler;
using za::imaging::Size;
using Bytes = std::vector<unsigned char>;
using Filter = std::shared_ptr<const ImageGenericFilter>;
using Sample = ImagePixelHandler::Sample;
using Table = std::vector<ImageScaler::Contribution>;

/// Keeps the tables that it sees.
class TableKeeper final : public PerSample {
public:
    TableKeeper(const ImagePixelHandler& pixels, const Size& dst) : PerSample(pixels) {
        tables[0].resize(std::size_t(dst.width));
        tables[1].resize(std::size_t(dst.height));
        tables[2].resize(std::size_t(dst.depth));
    }

    double read(const unsigned char* source, int channels, int width, int height, int channel,
                int xLeft, int yLeft, int zLeft, int xRight, int yRight, int zRight,
                const double* x, const double* y, const double* z) override {
        pending()[0] = {{x, x + (xRight - xLeft + 1)}, xLeft, xRight};
        pending()[1] = {{y, y + (yRight - yLeft + 1)}, yLeft, yRight};
        pending()[2] = {{z, z + (zRight - zLeft + 1)}, zLeft, zRight};
        return PerSample::read(source, channels, width, height, channel, xLeft, yLeft, zLeft,
                               xRight, yRight, zRight, x, y, z);
    }
    void write(double value, unsigned char* destination, int channels, int width, int height,
               int channel, int x, int y, int z) override {
        if (channel == 0 && y == 0 && z == 0) tables[0][std::size_t(x)] = pending()[0];
        if (channel == 0 && x == 0 && z == 0) tables[1][std::size_t(y)] = pending()[1];
        if (channel == 0 && x == 0 && y == 0) tables[2][std::size_t(z)] = pending()[2];
        PerSample::write(value, destination, channels, width, height, channel, x, y, z);
    }

    Table tables[3];

private:
    static ImageScaler::Contribution* pending() {
        static thread_local auto* contributions = new ImageScaler::Contribution[3];
        return contributions;
    }
};

std::size_t samplesOf(const Size& size, int channels) {
    return std::size_t(size.width) * std::size_t(size.height) * std::size_t(size.depth) *
           std::size_t(channels);
}

template <typename Raw>
Raw at(const Bytes& bytes, std::size_t i) {
    Raw raw;
    std::memcpy(&raw, bytes.data() + i * sizeof raw, sizeof raw);
    return raw;
}

double valueOf(Sample sample, const Bytes& bytes, std::size_t i) {
    if (sample == Sample::UInt8) return bytes[i];
    if (sample == Sample::Float) return at<float>(bytes, i);
    return at<std::uint16_t>(bytes, i);  // the numbers of neighbouring halves differ by one, too
}

struct Case {
    Sample sample;
    unsigned int options;
    int channels;
    Size src, dst;
    Filter filter;
};

void PrintTo(const Case& c, std::ostream* stream) {
    *stream << "sample " << int(c.sample) << ", options " << c.options << ", " << c.channels
            << " channels, " << c.src.width << "x" << c.src.height << "x" << c.src.depth << " to "
            << c.dst.width << "x" << c.dst.height << "x" << c.dst.depth << ", width "
            << c.filter->getWidth();
}

Bytes randomImage(std::mt19937& random, const Case& c) {
    const std::size_t samples = samplesOf(c.src, c.channels);
    Bytes bytes(samples * ImagePixelHandler::getSampleSize(c.sample));
    const bool isBlackAndWhite = random() % 2 == 0;
    for (std::size_t i = 0; i < samples; ++i) {
        const auto bits = static_cast<std::uint32_t>(random());
        const double share = isBlackAndWhite ? bits % 2 : bits / 4294967295.0;
        unsigned char* to = bytes.data() + i * ImagePixelHandler::getSampleSize(c.sample);
        ImagePixelHandler pixels(c.sample);
        const double scale = c.sample == Sample::UInt8    ? 255.0
                             : c.sample == Sample::UInt16 ? 65535.0
                                                          : 3.0;
        pixels.write(scale * share, to, 1, 1, 1, 0, 0, 0, 0);
    }
    return bytes;
}

/// Compares the fast way of `scale` with the samples one by one, and all kernels with each other.
void check(std::mt19937& random, const Case& c) {
    SCOPED_TRACE(testing::PrintToString(c));
    // At odd addresses: no type of samples is aligned.
    Bytes source = randomImage(random, c);
    source.insert(source.begin(), 0);
    const std::size_t samples = samplesOf(c.dst, c.channels);
    const std::size_t bytes = samples * ImagePixelHandler::getSampleSize(c.sample);
    constexpr std::size_t kGuard = 65;
    const Bytes empty(bytes + 2 * kGuard, 0xA5);
    const auto scaleBy = [&](ImageScaler::ValueHandler& handler) {
        Bytes result = empty;
        EXPECT_TRUE(ImageScaler::scale({source.data() + 1}, {result.data() + kGuard}, c.src.width,
                                       c.src.height, c.src.depth, c.dst.width, c.dst.height,
                                       c.dst.depth, c.channels, handler, *c.filter));
        return result;
    };
    ImagePixelHandler pixels(c.sample, c.options);
    TableKeeper slow(pixels, c.dst);
    const Bytes expected = scaleBy(slow), result = scaleBy(pixels);
    ASSERT_TRUE(std::equal(result.begin(), result.begin() + kGuard, empty.begin()));
    ASSERT_TRUE(std::equal(result.end() - kGuard, result.end(), empty.begin()));
    const Bytes inner(result.begin() + kGuard, result.end()),
        wanted(expected.begin() + kGuard, expected.end());
    for (std::size_t i = 0; i < samples; ++i) {
        const double is = valueOf(c.sample, inner, i), shall = valueOf(c.sample, wanted, i);
        if (is == shall || (std::isnan(is) && std::isnan(shall))) continue;
        // Where sums cancel out, what is left of a float is compared with what was summed up.
        const double tolerance = c.sample == Sample::Float ? 1e-6 * std::fabs(shall) + 1e-12 : 1.0;
        ASSERT_LE(std::fabs(is - shall), tolerance)
            << "sample " << i << ": " << is << ", " << shall;
    }

    ScalingProgress progress(1);
    const SeparableScaler::Limits limits[] = {{1, 1 << 20, 1}, {7, 1 << 20, 1}, {8, 100, 4}};
    for (const ScalingKernels* kernels :
         {&za::imaging::portableScalingKernels(), za::imaging::avx2ScalingKernels(),
          za::imaging::avx512ScalingKernels()}) {
        if (!kernels) continue;
        for (const auto& limit : limits) {
            Bytes again = empty;
            SeparableScaler(pixels, c.channels, c.src, c.dst, slow.tables, *kernels, limit)
                .scale(source.data() + 1, again.data() + kGuard, progress);
            ASSERT_TRUE(again == result) << "kernels of " << kernels->bytes.rows << " rows, "
                                         << limit.tiles << " tiles of " << limit.bytes;
        }
    }
}

template <typename Of>
Filter make(double width) {
    return std::make_shared<Of>(width);
}

/// A kernel that gives no numbers.
class Nothing : public ImageGenericFilter {
public:
    Nothing() : ImageGenericFilter(1.5) {}
    double filter(double x) const override {
        return x > 0.4 ? std::numeric_limits<double>::quiet_NaN() : 1.0;
    }
};

/// A kernel whose weights add up to more than a number can be: nothing is left of them.
class TooMuch : public ImageGenericFilter {
public:
    TooMuch() : ImageGenericFilter(1.5) {}
    double filter(double) const override { return std::numeric_limits<double>::max(); }
};

const std::vector<Filter> kFilters = {
    make<ImageBoxFilter>(0.5),        make<ImageLinearFilter>(1.0),
    make<ImageGaussianFilter>(1.0),   make<ImageHammingFilter>(0.5),
    make<ImageBlackmanFilter>(0.5),   make<ImageLanczos3Filter>(1.0),
    make<ImageLanczos3Filter>(3.0),   make<ImageHammingFilter>(2.5),
    make<ImageGaussianFilter>(6.5),   make<ImageBoxFilter>(0.0),
    make<ImageLinearFilter>(10000.0), std::make_shared<TooMuch>(),
    std::make_shared<Nothing>()};

TEST(SeparableScaler, AgreesWithThePerSampleWay) {
    std::mt19937 random(4711);
    const auto upTo = [&](int size) { return 1 + static_cast<int>(random() % unsigned(size)); };
    const std::pair<Size, Size> degenerate[] = {
        {{1, 1, 1}, {1, 1, 1}},   {{1, 1, 1}, {100, 100, 1}}, {{2, 1, 1}, {200, 1, 1}},
        {{300, 1, 1}, {1, 1, 1}}, {{1, 300, 1}, {1, 7, 1}},   {{40, 30, 3}, {1, 1, 1}},
        {{5, 4, 3}, {5, 4, 3}},   {{33, 2, 40}, {33, 2, 3}},  {{1000, 1, 1}, {333, 1, 1}},
        {{9, 70, 2}, {9, 70, 2}}, {{3, 5, 2}, {4, 3, 100}}};
    const std::size_t cases = std::getenv("ZA_TEST_ALL") ? 400 : 90;
    for (std::size_t i = 0; i < cases; ++i) {
        Case c = {Sample(random() % 4),
                  random() % 3 == 0 ? unsigned(random() % 4) : 0,
                  i % 8 == 7 ? 5 + upTo(4) : upTo(4),
                  {upTo(70), upTo(60), random() % 4 == 0 ? upTo(9) : 1},
                  {upTo(70), upTo(60), random() % 4 == 0 ? upTo(9) : 1},
                  kFilters[random() % kFilters.size()]};
        if (random() % 2 == 0) c.sample = Sample::UInt8;
        if (random() % 4 == 0) c.src.height = 200 + upTo(600);  // enough for several tiles
        if (i < 4 * std::size(degenerate)) {
            std::tie(c.src, c.dst) = degenerate[i / 4];
            c.sample = i % 4 < 3 ? Sample::UInt8 : Sample::Float;
        }
        check(random, c);
        if (HasFatalFailure()) return;
    }
}

TEST(SeparableScaler, CountsWithIntegersWhereItsErrorIsSmallEnough) {
    const auto usesIntegers = [](Sample sample, unsigned int options, int in, int out,
                                 const Filter& filter) {
        const ImagePixelHandler pixels(sample, options);
        TableKeeper slow(pixels, {out, 1, 1});
        const Bytes source(std::size_t(in) * 4);
        Bytes result(std::size_t(out) * 4);
        EXPECT_TRUE(ImageScaler::scale({source.data()}, {result.data()}, in, 1, 1, out, 1, 1, 1,
                                       slow, *filter));
        const Table tables[] = {slow.tables[0], slow.tables[0], slow.tables[2]};
        return SeparableScaler(pixels, 1, {in, in, 1}, {out, out, 1}, tables).usesIntegers();
    };
    const Filter lanczos = make<ImageLanczos3Filter>(3.0);
    for (const auto& [in, out] : {std::pair(4096, 1024), std::pair(512, 2048), std::pair(3000, 50),
                                  std::pair(10, 10), std::pair(1, 100)}) {
        for (const Filter& filter : {lanczos, make<ImageLinearFilter>(1.0)}) {
            SCOPED_TRACE(in);
            EXPECT_TRUE(usesIntegers(Sample::UInt8, 0, in, out, filter));
        }
    }
    EXPECT_FALSE(usesIntegers(Sample::UInt8, 0, 20000, 2, lanczos));  // too many small weights
    EXPECT_FALSE(usesIntegers(Sample::UInt8, 0, 9, 9, std::make_shared<Nothing>()));
    EXPECT_FALSE(usesIntegers(Sample::UInt16, 0, 9, 9, lanczos));
    EXPECT_FALSE(usesIntegers(Sample::UInt8, ImagePixelHandler::LinearLight, 9, 9, lanczos));
}

TEST(SeparableScaler, KeepsFlatImagesFlat) {
    const Bytes source(std::size_t{200} * 150 * 3, 201);
    for (const Filter& filter : kFilters) {
        if (filter->getWidth() == 0.0 || filter->getWidth() == Nothing().getWidth()) continue;
        Bytes result(std::size_t{77} * 190 * 3);
        ImagePixelHandler pixels(Sample::UInt8);
        ASSERT_TRUE(ImageScaler::scale({source.data()}, {result.data()}, 200, 150, 1, 77, 190, 1, 3,
                                       pixels, *filter));
        ASSERT_THAT(result, testing::Each(201)) << filter->getWidth();
    }
}

TEST(SeparableScaler, MovesTheLevelAroundItAndStopsWhenCancelled) {
    const Bytes source(std::size_t{64} * 64 * 8, 9);
    Bytes result(std::size_t{32} * 32 * 4);
    ImagePixelHandler pixels(Sample::UInt8);
    const auto scale = [&] {
        return ImageScaler::scale({source.data()}, {result.data()}, 64, 64, 8, 32, 32, 4, 1, pixels,
                                  ImageLinearFilter());
    };
    zaStackedProgress work("work", 2.0, nullptr);
    EXPECT_TRUE(scale());
    EXPECT_DOUBLE_EQ(work.getValue(), 1.0);
    EXPECT_THAT(result, testing::Each(9));
    result.assign(result.size(), 1);
    zaStackedProgress::cancelAll();
    EXPECT_FALSE(scale());
    EXPECT_THAT(result, testing::Each(1));
}

/// Stops everything when some of it is done.
class Impatient : public zaStackedProgress::Handler {
    void setProgress(double fraction) override {
        if (fraction > 0.3) zaStackedProgress::cancelAll();
    }
};

TEST(SeparableScaler, FinishesTheRowsThatItHasBegun) {
    constexpr std::size_t kSize = 512;
    const Bytes source(kSize * kSize, 9);
    for (const Sample sample : {Sample::UInt8, Sample::Half}) {
        Bytes result(kSize * kSize, 1);
        const int size = int(kSize / ImagePixelHandler::getSampleSize(sample));
        ImagePixelHandler pixels(sample);
        Impatient handler;
        zaStackedProgress work("work", 1.0, &handler);
        EXPECT_FALSE(ImageScaler::scale({source.data()}, {result.data()}, size, int(kSize), 1, size,
                                        int(kSize), 1, 1, pixels, ImageLinearFilter()));
        std::size_t finished = 0;
        for (auto row = result.begin(); row != result.end(); row += kSize) {
            ASSERT_TRUE(std::all_of(row, row + kSize, [&](auto byte) { return byte == *row; }));
            finished += *row == 9;
        }
        EXPECT_GT(finished, kSize / 4);
        EXPECT_LT(finished, kSize);
    }
}

TEST(SeparableScaler, TreatsWhatIsNoNumberAsThePerSampleWayDoes) {
    constexpr float kNoNumber = std::numeric_limits<float>::quiet_NaN();
    constexpr float kInfinite = std::numeric_limits<float>::infinity();
    std::vector<float> source(std::size_t{40} * 3, 1.0f), result(std::size_t{20} * 3),
        expected(std::size_t{20} * 3);
    source[9] = kNoNumber;
    source[50] = kInfinite;
    source[90] = -kInfinite;
    ImagePixelHandler pixels(Sample::Float);
    TableKeeper slow(pixels, {20, 3, 1});
    const auto scale = [&](std::vector<float>& to, ImageScaler::ValueHandler& handler) {
        EXPECT_TRUE(ImageScaler::scale({reinterpret_cast<const unsigned char*>(source.data())},
                                       {reinterpret_cast<unsigned char*>(to.data())}, 40, 3, 1, 20,
                                       3, 1, 1, handler, ImageLinearFilter()));
    };
    scale(result, pixels);
    scale(expected, slow);
    for (std::size_t i = 0; i < result.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(std::isnan(result[i]), std::isnan(expected[i]));
        if (std::isnan(expected[i])) continue;
        EXPECT_FLOAT_EQ(result[i], expected[i]);
    }
}

}  // namespace
