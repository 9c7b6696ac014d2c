#include <gtest/gtest.h>

#include <array>

#include "zaUtils/Platform/zaDPIHelper.h"
#include "zaUtils/Platform/zaPlatform.h"

namespace {

using Pixels = unsigned long long;
/// Mini, small, medium, large and tree-view icon; internal, medium and large preview.
using Sizes = std::array<Pixels, 8>;

Sizes sizesX() {
    return {zaPlatform::getMiniIconSizeX(),
            zaPlatform::getSmallIconSizeX(),
            zaPlatform::getMediumIconSizeX(),
            zaPlatform::getLargeIconSizeX(),
            zaPlatform::getTreeViewIconSizeX(),
            static_cast<Pixels>(zaPlatform::getInternalPreviewSizeX()),
            static_cast<Pixels>(zaPlatform::getMediumPreviewSizeX()),
            static_cast<Pixels>(zaPlatform::getLargePreviewSizeX())};
}

Sizes sizesY() {
    return {zaPlatform::getMiniIconSizeY(),
            zaPlatform::getSmallIconSizeY(),
            zaPlatform::getMediumIconSizeY(),
            zaPlatform::getLargeIconSizeY(),
            zaPlatform::getTreeViewIconSizeY(),
            static_cast<Pixels>(zaPlatform::getInternalPreviewSizeY()),
            static_cast<Pixels>(zaPlatform::getMediumPreviewSizeY()),
            static_cast<Pixels>(zaPlatform::getLargePreviewSizeY())};
}

constexpr Sizes kSizesAt96 = {10, 16, 22, 28, 20, 128, 72, 128};

TEST(DisplayMetrics, FollowTheBestMatchingResolution) {
    EXPECT_EQ(zaPlatform::getDpiX(), 96U);
    EXPECT_EQ(zaPlatform::getDpiY(), 96U);
    EXPECT_EQ(sizesX(), kSizesAt96);
    EXPECT_EQ(sizesY(), kSizesAt96);

    const struct {
        Pixels asked;
        Pixels chosen;
        Sizes sizes;
    } cases[] = {
        {0, 96, kSizesAt96},
        {50, 96, kSizesAt96},
        {119, 96, kSizesAt96},
        {120, 120, {12, 20, 27, 35, 24, 128, 90, 160}},
        {143, 120, {12, 20, 27, 35, 24, 128, 90, 160}},
        {144, 144, {15, 24, 33, 42, 28, 128, 108, 192}},
        {168, 168, {17, 28, 38, 49, 32, 128, 126, 224}},
        {192, 192, {20, 32, 44, 56, 36, 128, 144, 256}},
        {239, 192, {20, 32, 44, 56, 36, 128, 144, 256}},
        {240, 240, {25, 40, 55, 70, 44, 128, 180, 320}},
        {10094, 240, {25, 40, 55, 70, 44, 128, 180, 320}},
        {10095, 240, {25, 40, 55, 70, 44, 128, 180, 320}},
        {10239, 240, {25, 40, 55, 70, 44, 128, 180, 320}},
        {10240, 96, kSizesAt96},
        {~0ULL, 96, kSizesAt96},
    };
    for (const auto& [asked, chosen, sizes] : cases) {
        SCOPED_TRACE(asked);
        testing::internal::CaptureStdout();
        zaPlatform::setDpi(asked, 144);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Best Matching DPI: " + std::to_string(chosen) + '\n');
        EXPECT_EQ(zaPlatform::getDpiX(), chosen);
        EXPECT_EQ(zaPlatform::getDpiY(), chosen);
        EXPECT_EQ(zaPlatform::getDpiScaleX(), static_cast<double>(chosen) / 96);
        EXPECT_EQ(zaPlatform::getDpiScaleY(), static_cast<double>(chosen) / 96);
        EXPECT_EQ(sizesX(), sizes);
        EXPECT_EQ(sizesY(), sizes);
    }
    EXPECT_EQ(zaPlatform::getPreviewLimit(), 3);
}

TEST(DisplayMetrics, AreSetOneByOneUntilTheNextResolution) {
    zaPlatform::setMiniIconSize(1, 2);
    zaPlatform::setSmallIconSize(3, 4);
    zaPlatform::setMediumIconSize(5, 6);
    zaPlatform::setLargeIconSize(7, 8);
    zaPlatform::setMediumPreviewSize(9, 10);
    zaPlatform::setLargePreviewSize(11, 12);
    EXPECT_EQ(sizesX(), (Sizes{1, 3, 5, 7, 7, 128, 9, 11}));
    EXPECT_EQ(sizesY(), (Sizes{2, 4, 6, 8, 8, 128, 10, 12}));
    zaPlatform::setDpi(96, 96);
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
