#include <gtest/gtest.h>

#include <tuple>

#include "zaUtils/Platform/zaDPIHelper.h"
#include "zaUtils/Platform/zaPlatform.h"

namespace {

using P = zaPlatform;

// Mini, small, medium, large and tree-view icon; internal, medium and large preview.
std::string sizesX() {
    return testing::PrintToString(
        std::tuple(P::getMiniIconSizeX(), P::getSmallIconSizeX(), P::getMediumIconSizeX(),
                   P::getLargeIconSizeX(), P::getTreeViewIconSizeX(), P::getInternalPreviewSizeX(),
                   P::getMediumPreviewSizeX(), P::getLargePreviewSizeX()));
}

std::string sizesY() {
    return testing::PrintToString(
        std::tuple(P::getMiniIconSizeY(), P::getSmallIconSizeY(), P::getMediumIconSizeY(),
                   P::getLargeIconSizeY(), P::getTreeViewIconSizeY(), P::getInternalPreviewSizeY(),
                   P::getMediumPreviewSizeY(), P::getLargePreviewSizeY()));
}

constexpr const char* kSizesAt96 = "(10, 16, 22, 28, 20, 128, 72, 128)";
constexpr const char* kSizesAt120 = "(12, 20, 27, 35, 24, 128, 90, 160)";
constexpr const char* kSizesAt240 = "(25, 40, 55, 70, 44, 128, 180, 320)";

TEST(DisplayMetrics, FollowTheBestMatchingResolution) {
    EXPECT_EQ(P::getDpiX(), 96U);
    EXPECT_EQ(P::getDpiY(), 96U);
    EXPECT_EQ(sizesX(), kSizesAt96);
    EXPECT_EQ(sizesY(), kSizesAt96);

    const struct {
        unsigned long long asked;
        unsigned long long chosen;
        const char* sizes;
    } cases[] = {
        {0, 96, kSizesAt96},
        {119, 96, kSizesAt96},
        {120, 120, kSizesAt120},
        {143, 120, kSizesAt120},
        {144, 144, "(15, 24, 33, 42, 28, 128, 108, 192)"},
        {168, 168, "(17, 28, 38, 49, 32, 128, 126, 224)"},
        {239, 192, "(20, 32, 44, 56, 36, 128, 144, 256)"},
        {240, 240, kSizesAt240},
        {10094, 240, kSizesAt240},
        {10095, 240, kSizesAt240},
        {10239, 240, kSizesAt240},
        {10240, 96, kSizesAt96},
        {~0ULL, 96, kSizesAt96},
    };
    for (const auto& [asked, chosen, sizes] : cases) {
        SCOPED_TRACE(asked);
        testing::internal::CaptureStdout();
        P::setDpi(asked, 144);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Best Matching DPI: " + std::to_string(chosen) + '\n');
        EXPECT_EQ(P::getDpiX(), chosen);
        EXPECT_EQ(P::getDpiY(), chosen);
        EXPECT_EQ(P::getDpiScaleX(), static_cast<double>(chosen) / 96);
        EXPECT_EQ(P::getDpiScaleY(), static_cast<double>(chosen) / 96);
        EXPECT_EQ(sizesX(), sizes);
        EXPECT_EQ(sizesY(), sizes);
    }
    EXPECT_EQ(P::getPreviewLimit(), 3);
}

TEST(DisplayMetrics, AreSetOneByOneUntilTheNextResolution) {
    P::setMiniIconSize(1, 2);
    P::setSmallIconSize(3, 4);
    P::setMediumIconSize(5, 6);
    P::setLargeIconSize(7, 8);
    P::setMediumPreviewSize(9, 10);
    P::setLargePreviewSize(11, 12);
    EXPECT_EQ(sizesX(), "(1, 3, 5, 7, 7, 128, 9, 11)");
    EXPECT_EQ(sizesY(), "(2, 4, 6, 8, 8, 128, 10, 12)");
    P::setDpi(96, 96);
    EXPECT_EQ(sizesX(), kSizesAt96);
    EXPECT_EQ(sizesY(), kSizesAt96);
}

TEST(DisplayMetrics, ResolutionOfTheScreenComesFromTheSystem) {
    const auto [x, y] = zaDPIHelper::getSystemDPI();
    EXPECT_GE(x, 96U);
    EXPECT_GE(y, 96U);
    EXPECT_EQ(zaDPIHelper::getSystemDPIScale(), static_cast<float>(x) / 96.0F);
}

}  // namespace
