#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tbb/parallel_for.h>
#include <tbb/task_group.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Support/LogCapture.h"
#include "zaUtils/Imaging/ImageScaler.h"
#include "zaUtils/Progress/zaStackedProgress.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Bytes = std::vector<unsigned char>;
using Weights = std::vector<double>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Size {
    int width, height, depth;
};

bool scale(Size src, Size dst, int channels, ImageScaler::ValueHandler& handler,
           const ImageGenericFilter& filter) {
    static unsigned char source = 1, destination = 2;
    return ImageScaler::scale({&source}, {&destination}, src.width, src.height, src.depth,
                              dst.width, dst.height, dst.depth, channels, handler, filter);
}

/// The positions and weights of an axis, each as the handler is told.
struct Span {
    int left = -1, right = -1;
    Weights weights;

    bool operator==(const Span& other) const {
        return left == other.left && right == other.right && weights == other.weights;
    }
};

void PrintTo(const Span& span, std::ostream* stream) {
    *stream << span.left << " to " << span.right << ": " << testing::PrintToString(span.weights);
}

Span spanOf(int left, int right, const double* weights) {
    return {left, right, Weights(weights, weights + (right - left + 1))};
}

/// Keeps what it was told about each output sample. Its values are numbers of these samples, by the
/// order of the calls on each thread.
class Recorder : public ImageScaler::ValueHandler {
public:
    struct Call {
        Span x, y, z;
        int count = 0, width = 0, height = 0, channels = 0, channel = -1;
    };

    Recorder(Size dst, int channels)
        : calls(std::size_t(dst.width) * std::size_t(dst.height) * std::size_t(dst.depth) *
                std::size_t(channels)) {}

    double read(const unsigned char* source, int channels, int width, int height, int channel,
                int xLeft, int yLeft, int zLeft, int xRight, int yRight, int zRight,
                const double* xWeights, const double* yWeights, const double* zWeights) override {
        EXPECT_EQ(*source, 1);
        pending() = {spanOf(xLeft, xRight, xWeights),
                     spanOf(yLeft, yRight, yWeights),
                     spanOf(zLeft, zRight, zWeights),
                     1,
                     width,
                     height,
                     channels,
                     channel};
        return channel + 0.5;
    }

    void write(double value, unsigned char* destination, int channels, int width, int height,
               int channel, int x, int y, int z) override {
        EXPECT_EQ(*destination, 2);
        EXPECT_EQ(value, channel + 0.5);
        EXPECT_EQ(pending().channel, channel);
        std::ptrdiff_t sample = z;
        sample = ((sample * height + y) * width + x) * channels + channel;
        Call& call = calls[std::size_t(sample)];
        const int count = call.count + 1;
        call = pending();
        call.count = count;
    }

    std::vector<Call> calls;

private:
    static Call& pending() {
        static thread_local Call* call = new Call;  // never destroyed
        return *call;
    }
};

/// What contributes to an output position, from the rules, looking at each source position.
Span expectedSpan(int out, int outSize, int inSize, const ImageGenericFilter& filter) {
    const double scale = double(outSize) / double(inSize), shrink = scale < 1.0 ? scale : 1.0;
    const double support = scale < 1.0 ? filter.getWidth() / scale : filter.getWidth();
    const double center = out / scale;
    std::vector<std::pair<int, double>> taps;
    double total = 0.0;
    for (int j = 0; j < inSize; ++j) {
        if (j < std::floor(center - support) || j > std::ceil(center + support)) continue;
        taps.emplace_back(j, 0.0);
    }
    if (double(taps.size()) > 2.0 * std::ceil(support) + 1.0) taps.erase(taps.begin());
    for (auto& [j, weight] : taps)
        total += weight = filter.filter((center - j) * shrink) * shrink;
    if (total > 0.0) {
        for (auto& tap : taps)
            tap.second /= total;
        while (taps.front().second == 0.0)
            taps.erase(taps.begin());
        while (taps.back().second == 0.0)
            taps.pop_back();
    }
    Span span{taps.front().first, taps.back().first, {}};
    for (const auto& tap : taps)
        span.weights.push_back(tap.second);
    return span;
}

/// A kernel of 0 but for a short distance from the middle, or everywhere.
class Gap : public ImageGenericFilter {
public:
    explicit Gap(double height) : ImageGenericFilter(2.0), _height(height) {}
    double filter(double x) const override { return std::fabs(x) < 0.75 ? _height : 0.0; }

private:
    double _height;
};

TEST(ImageScaler, TellsTheHandlerTheContributionsOfEachSample) {
    const std::vector<std::shared_ptr<ImageGenericFilter>> filters = {
        std::make_shared<ImageBoxFilter>(),
        std::make_shared<ImageLinearFilter>(),
        std::make_shared<ImageLinearFilter>(2.3),
        std::make_shared<ImageGaussianFilter>(1.7),
        std::make_shared<ImageHammingFilter>(),
        std::make_shared<ImageBlackmanFilter>(1.25),
        std::make_shared<ImageLanczos3Filter>(),
        std::make_shared<ImageLanczos3Filter>(3.0),
        std::make_shared<ImageBoxFilter>(0.0),
        std::make_shared<ImageBoxFilter>(10000.0),
        std::make_shared<ImageBoxFilter>(1e308),
        std::make_shared<Gap>(1.0),
        std::make_shared<Gap>(-1.0),  // stays unnormalised, with zeros at its ends
    };
    const std::pair<Size, Size> sizes[] = {{{7, 5, 3}, {7, 5, 3}},  {{10, 12, 4}, {5, 4, 2}},
                                           {{5, 3, 2}, {11, 9, 7}}, {{13, 1, 1}, {1, 1, 1}},
                                           {{1, 1, 1}, {9, 1, 2}},  {{97, 3, 1}, {41, 2, 1}}};
    for (std::size_t f = 0; f < filters.size(); ++f) {
        for (const auto& [src, dst] : sizes) {
            SCOPED_TRACE(testing::Message()
                         << "filter " << f << ", " << src.width << " to " << dst.width);
            const int channels = 2;
            Recorder recorder(dst, channels);
            ASSERT_TRUE(scale(src, dst, channels, recorder, *filters[f]));
            auto call = recorder.calls.begin();
            for (int z = 0; z < dst.depth; ++z)
                for (int y = 0; y < dst.height; ++y)
                    for (int x = 0; x < dst.width; ++x)
                        for (int c = 0; c < channels; ++c, ++call) {
                            ASSERT_EQ(call->count, 1);
                            ASSERT_EQ(call->channel, c);
                            ASSERT_EQ(call->channels, channels);
                            ASSERT_EQ(call->width, src.width);
                            ASSERT_EQ(call->height, src.height);
                            ASSERT_EQ(call->x, expectedSpan(x, dst.width, src.width, *filters[f]));
                            ASSERT_EQ(call->y,
                                      expectedSpan(y, dst.height, src.height, *filters[f]));
                            ASSERT_EQ(call->z, expectedSpan(z, dst.depth, src.depth, *filters[f]));
                        }
        }
    }
}

TEST(ImageScaler, HasTheContributionsOfKnownCases) {
    Recorder same({5, 1, 1}, 1), half({4, 1, 1}, 1), none({3, 1, 1}, 1);
    ASSERT_TRUE(scale({5, 1, 1}, {5, 1, 1}, 1, same, ImageBoxFilter()));
    for (int x = 0; x < 5; ++x)
        EXPECT_EQ(same.calls[static_cast<std::size_t>(x)].x, (Span{x, x, {1.0}}));
    ASSERT_TRUE(scale({8, 1, 1}, {4, 1, 1}, 1, half, ImageLinearFilter()));
    EXPECT_EQ(half.calls[0].x, (Span{0, 1, {0.5 / 0.75, 0.25 / 0.75}}));
    EXPECT_EQ(half.calls[1].x, (Span{1, 3, {0.25, 0.5, 0.25}}));
    // What adds up to nothing stays as it is.
    ASSERT_TRUE(scale({2, 1, 1}, {3, 1, 1}, 1, none, ImageBoxFilter(0.1)));
    EXPECT_EQ(none.calls[1].x, (Span{0, 1, {0.0, 0.0}}));
}

TEST(ImageScaler, RefusesListsThatDoNotMatch) {
    LogCapture log;
    Recorder recorder({1, 1, 1}, 1);
    unsigned char byte = 0;
    const ImageBoxFilter box;
    EXPECT_FALSE(ImageScaler::scale({}, {}, 1, 1, 1, 1, 1, 1, 1, recorder, box));
    EXPECT_FALSE(ImageScaler::scale({&byte}, {}, 1, 1, 1, 1, 1, 1, 1, recorder, box));
    EXPECT_FALSE(ImageScaler::scale({&byte}, {&byte, &byte}, 1, 1, 1, 1, 1, 1, 1, recorder, box));
    const std::string text = "E ImageScaler: invalid input data";
    EXPECT_THAT(log.messages(), ElementsAre(HasSubstr(text), HasSubstr(text), HasSubstr(text)));
}

TEST(ImageScaler, SkipsNullImagesWithAWarning) {
    LogCapture log;
    unsigned char source = 1, destination = 2;
    Recorder recorder({2, 1, 1}, 1);
    EXPECT_TRUE(ImageScaler::scale({&source, nullptr, &source},
                                   {nullptr, &destination, &destination}, 2, 1, 1, 2, 1, 1, 1,
                                   recorder, ImageBoxFilter()));
    EXPECT_THAT(log.messages(),
                ElementsAre(HasSubstr("W ImageScaler: skipping nullptr img with index 0"),
                            HasSubstr("W ImageScaler: skipping nullptr img with index 1")));
    EXPECT_EQ(recorder.calls[0].count, 1);
    EXPECT_EQ(recorder.calls[1].count, 1);
}

TEST(ImageScaler, ChecksSizesAndWidths) {
    constexpr int kMax = std::numeric_limits<int>::max();
    struct Case {
        Size src, dst;
        int channels;
        double width;
        std::string error;  ///< empty when there is nothing to do
    };
    const std::string size = "invalid size", large = "image too large", width = "filter width";
    const Case cases[] = {
        {{4, 4, 1}, {0, 4, 1}, 1, 1.0, ""},
        {{4, 4, 1}, {4, 0, 1}, 1, 1.0, ""},
        {{4, 4, 1}, {4, 4, 0}, 1, 1.0, ""},
        {{4, 4, 1}, {4, 4, 1}, 0, 1.0, ""},
        {{0, 4, 1}, {0, 4, 1}, 1, 1.0, ""},
        {{0, 4, 1}, {4, 4, 1}, 1, 1.0, size},
        {{4, 4, 0}, {4, 4, 1}, 1, 1.0, size},
        {{-4, 4, 1}, {4, 4, 1}, 1, 1.0, size},
        {{4, 4, 1}, {4, -1, 1}, 1, 1.0, size},
        {{4, 4, 1}, {0, -1, 1}, 1, 1.0, size},
        {{4, 4, 1}, {4, 4, 1}, -1, 1.0, size},
        {{kMax, kMax, 2}, {1, 1, 1}, 1, 1.0, large},
        {{1, 1, 1}, {1 << 20, 1 << 20, 1 << 20}, 1, 1.0, large},
        {{kMax, 1, 1}, {kMax, 1, 1}, 1, 1.0, "contributions need more"},
        {{20000, 1, 1}, {20000, 1, 1}, 1, 10000.0, "contributions need more"},
        {{4, 4, 1}, {4, 4, 1}, 1, -0.5, width},
        {{4, 4, 1}, {4, 4, 1}, 1, kNaN, width},
        {{4, 4, 1}, {0, 4, 1}, 1, kInfinity, width},
        {{4, 4, 1}, {4, 4, 1}, 1, -kInfinity, width},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        LogCapture log;
        Recorder untouched({0, 0, 0}, 0);
        EXPECT_EQ(scale(c.src, c.dst, c.channels, untouched, ImageLinearFilter(c.width)),
                  c.error.empty());
        if (c.error.empty())
            EXPECT_THAT(log.messages(), ElementsAre());
        else
            EXPECT_THAT(log.messages(), ElementsAre(testing::AllOf(HasSubstr("E ImageScaler: "),
                                                                   HasSubstr(c.error))));
    }
}

/// Calls a function with the number of each sample that is written.
template <typename Function>
class Counter : public ImageScaler::ValueHandler {
public:
    explicit Counter(Function function) : _function(function) {}

    double read(const unsigned char*, int, int, int, int, int, int, int, int, int, int,
                const double*, const double*, const double*) override {
        return 0.0;
    }
    void write(double, unsigned char*, int channels, int width, int height, int channel, int x,
               int y, int z) override {
        ++count;
        _function(((z * height + y) * width + x) * channels + channel);
    }

    std::atomic<int> count{0};

private:
    Function _function;
};

TEST(ImageScaler, LetsAnExceptionOfTheHandlerThrough) {
    const Size size = {20, 10, 3};
    for (const int bad : {0, 599}) {
        Counter handler([&](int sample) {
            if (sample == bad) throw std::runtime_error("bad sample");
        });
        EXPECT_THAT([&] { scale(size, size, 1, handler, ImageBoxFilter()); },
                    testing::ThrowsMessage<std::runtime_error>("bad sample"));
    }
    Counter next([](int) {});
    EXPECT_TRUE(scale(size, size, 1, next, ImageBoxFilter()));
    EXPECT_EQ(next.count, 600);
}

TEST(ImageScaler, IsNotCutShortByWhatIsCancelledAroundIt) {
    tbb::task_group_context around;
    Counter handler([](int) {});
    tbb::parallel_for(
        0, 1,
        [&](int) {
            around.cancel_group_execution();
            EXPECT_TRUE(scale({9, 90, 9}, {9, 90, 9}, 1, handler, ImageBoxFilter()));
        },
        around);
    EXPECT_EQ(handler.count, 9 * 90 * 9);
}

TEST(ImageScaler, MovesTheLevelAroundIt) {
    zaStackedProgress work("work", 2.0, nullptr);
    Counter handler([](int) {});
    const unsigned char* source = reinterpret_cast<const unsigned char*>("");
    unsigned char destination = 0;
    EXPECT_TRUE(ImageScaler::scale({source, nullptr}, {&destination, nullptr}, 10, 10, 10, 10, 10,
                                   10, 1, handler, ImageBoxFilter()));
    EXPECT_DOUBLE_EQ(work.getValue(), 1.0);
    EXPECT_EQ(zaStackedProgress::current(), &work);
}

TEST(ImageScaler, StopsBetweenRowsWhenAllWorkIsCancelled) {
    LogCapture log;
    zaStackedProgress work("work", 1.0, nullptr);
    Counter handler([](int) { zaStackedProgress::cancelAll(); });
    EXPECT_FALSE(scale({100, 100, 10}, {100, 100, 10}, 1, handler, ImageBoxFilter()));
    EXPECT_GE(handler.count, 100);
    EXPECT_LT(handler.count, 100000);
    EXPECT_EQ(handler.count % 100, 0);
    EXPECT_THAT(log.messages(), ElementsAre());
}

}  // namespace
