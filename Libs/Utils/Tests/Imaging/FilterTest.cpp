#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

#include "zaUtils/Imaging/ImageGenericFilter.h"

namespace {

using Box = ImageBoxFilter;
using Linear = ImageLinearFilter;
using Gaussian = ImageGaussianFilter;
using Hamming = ImageHammingFilter;
using Blackman = ImageBlackmanFilter;
using Lanczos = ImageLanczos3Filter;

struct Value {
    std::shared_ptr<const ImageGenericFilter> filter;
    double x, expected;
};

template <typename Filter, typename... Width>
Value at(double x, double expected, Width... width) {
    return {std::make_shared<Filter>(width...), x, expected};
}

// The kernels' formulas in decimal arithmetic of 50 digits.
TEST(ImageFilters, HaveTheValuesOfTheirFormulas) {
    const Value values[] = {
        at<Gaussian>(0.0, 0.39894228040143267794),
        at<Gaussian>(0.25, 0.38666811680284920694),
        at<Gaussian>(0.9, 0.26608524989875482182),
        at<Gaussian>(1.0, 0.24197072451914334980),
        at<Gaussian>(1.0, 0.24197072451914334980, 10.0),  // the spread stays 1
        at<Hamming>(0.0, 1.0),
        at<Hamming>(0.1, 0.89721745637643089464),
        at<Hamming>(0.25, 0.48617081072483727756),
        at<Hamming>(0.5, 0.05092958178940650745),
        at<Hamming>(1.25, -0.09723416214496745551, 2.5),
        at<Hamming>(2.5, 0.01018591635788130149, 2.5),
        at<Blackman>(0.0, 1.0),
        at<Blackman>(0.125, 0.77355339059327376220),
        at<Blackman>(0.25, 0.34),
        at<Blackman>(0.5, 0.0),
        at<Blackman>(0.75, 0.55477317368762108391, 2.0),
        at<Blackman>(2.0, 0.0, 2.0),
        at<Lanczos>(0.0, 1.0),
        at<Lanczos>(0.5, 0.60792710185402662866),
        at<Lanczos>(1.0, 0.0),
        at<Lanczos>(1.5, -0.13509491152311702859),
        at<Lanczos>(2.5, 0.02431708407416106515),
        at<Lanczos>(2.875, 0.00183688996074804619, 0.5),  // beyond the width
    };
    for (const Value& value : values) {
        SCOPED_TRACE(testing::Message() << (&value - values) << ": " << value.x);
        EXPECT_NEAR(value.filter->filter(value.x), value.expected, 1e-15);
        EXPECT_EQ(value.filter->filter(-value.x), value.filter->filter(value.x));
    }
}

TEST(ImageFilters, EndWhereTheirWidthSays) {
    const double beyondHalf = std::nextafter(0.5, 1.0), beyondOne = std::nextafter(1.0, 2.0);
    EXPECT_EQ(Box().filter(0.5), 1.0);
    EXPECT_EQ(Box().filter(beyondHalf), 0.0);
    EXPECT_EQ(Box(2.5).filter(-2.5), 1.0);
    EXPECT_EQ(Linear().filter(0.0), 1.0);
    EXPECT_EQ(Linear(2.5).filter(0.0), 2.5);  // as high as it is wide
    EXPECT_EQ(Linear(2.5).filter(-1.0), 1.5);
    EXPECT_EQ(Linear().filter(1.0), 0.0);
    EXPECT_EQ(Gaussian().filter(0.0), 1.0 / 2.5066282746310002);
    EXPECT_GT(Gaussian().filter(1.0), 0.2);
    EXPECT_EQ(Gaussian().filter(beyondOne), 0.0);
    EXPECT_GT(Hamming().filter(0.5), 0.05);
    EXPECT_EQ(Hamming().filter(beyondHalf), 0.0);
    EXPECT_EQ(Blackman().filter(beyondHalf), 0.0);
    EXPECT_NE(Lanczos().filter(std::nextafter(3.0, 0.0)), 0.0);
    EXPECT_EQ(Lanczos().filter(3.0), 0.0);
    EXPECT_EQ(Lanczos(5.0).filter(4.5), 0.0);
}

TEST(ImageFilters, AreValuesWithAWidth) {
    EXPECT_EQ(Box().getWidth(), 0.5);
    EXPECT_EQ(Linear().getWidth(), 1.0);
    EXPECT_EQ(Gaussian().getWidth(), 1.0);
    EXPECT_EQ(Hamming().getWidth(), 0.5);
    EXPECT_EQ(Blackman().getWidth(), 0.5);
    EXPECT_EQ(Lanczos().getWidth(), 1.0);
    Box box(3.0), copy = box;
    copy.setWidth(4.0);
    EXPECT_EQ(box.getWidth(), 3.0);
    EXPECT_EQ(copy.filter(4.0), 1.0);
}

TEST(ImageFilters, LoseTheLastBitsOfASmallWindow) {
    // (2e-17 + 1) - 1 is 0, and 0 / 0 is no number.
    EXPECT_TRUE(std::isnan(Blackman(1e-17).filter(0.0)));
}

}  // namespace
