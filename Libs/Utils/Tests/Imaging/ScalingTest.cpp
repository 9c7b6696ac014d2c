#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <typeinfo>
#include <vector>

#include "Support/LogCapture.h"
#include "zaUtils/Imaging/ImageScaler.h"
#include "zaUtils/Imaging/ImageScaling.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Bytes = std::vector<unsigned char>;

TEST(ImageScaling, KnowsTheKernelsByName) {
    EXPECT_THAT(ImageScaling::getKernelNames(),
                ElementsAre("box", "linear", "gaussian", "hamming", "blackman", "lanczos3"));
    const double widths[] = {0.5, 1.0, 1.0, 0.5, 0.5, 3.0};
    for (std::size_t i = 0; i < 6; ++i) {
        const std::string& name = ImageScaling::getKernelNames()[i];
        SCOPED_TRACE(name);
        EXPECT_EQ(ImageScaling::makeKernel(name)->getWidth(), widths[i]);
        EXPECT_EQ(ImageScaling::makeKernel(name, 0.0)->getWidth(), 0.0);
    }
    const auto gaussian = ImageScaling::makeKernel("gaussian");
    EXPECT_TRUE(dynamic_cast<const ImageGaussianFilter*>(gaussian.get()));
    EXPECT_FALSE(ImageScaling::makeKernel("Box"));
    EXPECT_FALSE(ImageScaling::makeKernel(""));
}

TEST(ImageScaling, ScalesAsTheScalerDoes) {
    Bytes source(std::size_t{24} * 3);
    for (std::size_t i = 0; i < source.size(); ++i)
        source[i] = static_cast<unsigned char>(i * 89);
    const ImageScaling::Layout layout = {
        6, 2, 2, 3, ImagePixelHandler::Sample::UInt8, ImagePixelHandler::LinearLight};
    Bytes result(std::size_t{8} * 3 * 3 * 3), expected(result.size());
    ASSERT_TRUE(
        ImageScaling::scale(source.data(), layout, result.data(), {8, 3, 3}, "lanczos3", 2.0));
    ImagePixelHandler pixels(layout.sample, layout.options);
    ASSERT_TRUE(ImageScaler::scale({source.data()}, {expected.data()}, 6, 2, 2, 8, 3, 3, 3, pixels,
                                   ImageLanczos3Filter(2.0)));
    EXPECT_EQ(result, expected);
}

TEST(ImageScaling, RefusesWhatItDoesNotKnow) {
    LogCapture log;
    unsigned char byte = 7, result = 7;
    const ImageScaling::Layout layout = {1, 1, 1, 1, ImagePixelHandler::Sample::UInt8};
    EXPECT_FALSE(ImageScaling::scale(&byte, layout, &result, {1, 1, 1}, "cubic"));
    EXPECT_FALSE(ImageScaling::scale(&byte, layout, nullptr, {1, 1, 1}, "box"));
    EXPECT_FALSE(ImageScaling::scale(&byte, layout, &result, {1, -1, 1}, "box"));
    EXPECT_THAT(log.messages(),
                ElementsAre(HasSubstr("E ImageScaling: no kernel is named \"cubic\""),
                            HasSubstr("E ImageScaling: no image"), HasSubstr("invalid size")));
}

}  // namespace
