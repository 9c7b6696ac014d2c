#include <iostream>

#include "zaUtils/Platform/zaPlatform.h"

namespace {

using Pixels = unsigned long long;

constexpr Pixels kBaseDpi = 96;
constexpr Pixels kSupportedDpi[] = {96, 120, 144, 168, 192, 240};
constexpr Pixels kBaseMiniIcon = 10;
constexpr Pixels kBaseSmallIcon = 16;
constexpr Pixels kBaseMediumIcon = 22;
constexpr Pixels kBaseLargeIcon = 28;
constexpr Pixels kBaseMediumPreview = 72;
constexpr Pixels kTreeViewMargin = 4;

/// The best match must not lie further below than this.
constexpr Pixels kMaxDifference = 9999;

Pixels bestMatchingDpi(Pixels dpi) {
    Pixels best = kBaseDpi;
    Pixels difference = kMaxDifference;
    for (const Pixels supported : kSupportedDpi) {
        if (dpi < supported || dpi - supported > difference) continue;
        best = supported;
        difference = dpi - supported;
    }
    return best;
}

Pixels scaled(Pixels base, double scale) {
    return static_cast<Pixels>(static_cast<double>(base) * scale);
}

void setBoth(Pixels& x, Pixels& y, Pixels value) {
    x = value;
    y = value;
}

}  // namespace

Pixels zaPlatform::_dpiX = kBaseDpi;
Pixels zaPlatform::_dpiY = kBaseDpi;
Pixels zaPlatform::_mini_icon_sizeX = kBaseMiniIcon;
Pixels zaPlatform::_mini_icon_sizeY = kBaseMiniIcon;
Pixels zaPlatform::_small_icon_sizeX = kBaseSmallIcon;
Pixels zaPlatform::_small_icon_sizeY = kBaseSmallIcon;
Pixels zaPlatform::_medium_icon_sizeX = kBaseMediumIcon;
Pixels zaPlatform::_medium_icon_sizeY = kBaseMediumIcon;
Pixels zaPlatform::_large_icon_sizeX = kBaseLargeIcon;
Pixels zaPlatform::_large_icon_sizeY = kBaseLargeIcon;
Pixels zaPlatform::_internalPreviewSizeX = 128;
Pixels zaPlatform::_internalPreviewSizeY = 128;
Pixels zaPlatform::_medium_preview_sizeX = kBaseMediumPreview;
Pixels zaPlatform::_medium_preview_sizeY = kBaseMediumPreview;
Pixels zaPlatform::_large_preview_sizeX = zaPlatform::_internalPreviewSizeX;
Pixels zaPlatform::_large_preview_sizeY = zaPlatform::_internalPreviewSizeY;
Pixels zaPlatform::_previewLimit = 3;

void zaPlatform::setDpi(unsigned long long x, unsigned long long) {
    const Pixels dpi = bestMatchingDpi(x);
    std::cout << "Best Matching DPI: " << dpi << std::endl;

    setBoth(_dpiX, _dpiY, dpi);
    const double scale = getDpiScaleX();
    setBoth(_mini_icon_sizeX, _mini_icon_sizeY, scaled(kBaseMiniIcon, scale));
    setBoth(_small_icon_sizeX, _small_icon_sizeY, scaled(kBaseSmallIcon, scale));
    setBoth(_medium_icon_sizeX, _medium_icon_sizeY, scaled(kBaseMediumIcon, scale));
    setBoth(_large_icon_sizeX, _large_icon_sizeY, scaled(kBaseLargeIcon, scale));
    setBoth(_medium_preview_sizeX, _medium_preview_sizeY, scaled(kBaseMediumPreview, scale));
    _large_preview_sizeX = scaled(_internalPreviewSizeX, scale);
    _large_preview_sizeY = scaled(_internalPreviewSizeY, scale);
}

unsigned long long zaPlatform::getDpiX() {
    return _dpiX;
}

unsigned long long zaPlatform::getDpiY() {
    return _dpiY;
}

double zaPlatform::getDpiScaleX() {
    return static_cast<double>(_dpiX) / static_cast<double>(kBaseDpi);
}

double zaPlatform::getDpiScaleY() {
    return static_cast<double>(_dpiY) / static_cast<double>(kBaseDpi);
}

void zaPlatform::setMiniIconSize(unsigned long long x, unsigned long long y) {
    _mini_icon_sizeX = x;
    _mini_icon_sizeY = y;
}

void zaPlatform::setSmallIconSize(unsigned long long x, unsigned long long y) {
    _small_icon_sizeX = x;
    _small_icon_sizeY = y;
}

void zaPlatform::setMediumIconSize(unsigned long long x, unsigned long long y) {
    _medium_icon_sizeX = x;
    _medium_icon_sizeY = y;
}

void zaPlatform::setLargeIconSize(unsigned long long x, unsigned long long y) {
    _large_icon_sizeX = x;
    _large_icon_sizeY = y;
}

void zaPlatform::setMediumPreviewSize(unsigned long long x, unsigned long long y) {
    _medium_preview_sizeX = x;
    _medium_preview_sizeY = y;
}

void zaPlatform::setLargePreviewSize(unsigned long long x, unsigned long long y) {
    _large_preview_sizeX = x;
    _large_preview_sizeY = y;
}

unsigned long long zaPlatform::getMiniIconSizeX() {
    return _mini_icon_sizeX;
}

unsigned long long zaPlatform::getMiniIconSizeY() {
    return _mini_icon_sizeY;
}

unsigned long long zaPlatform::getSmallIconSizeX() {
    return _small_icon_sizeX;
}

unsigned long long zaPlatform::getSmallIconSizeY() {
    return _small_icon_sizeY;
}

unsigned long long zaPlatform::getMediumIconSizeX() {
    return _medium_icon_sizeX;
}

unsigned long long zaPlatform::getMediumIconSizeY() {
    return _medium_icon_sizeY;
}

unsigned long long zaPlatform::getLargeIconSizeX() {
    return _large_icon_sizeX;
}

unsigned long long zaPlatform::getLargeIconSizeY() {
    return _large_icon_sizeY;
}

unsigned long long zaPlatform::getTreeViewIconSizeX() {
    return _small_icon_sizeX + kTreeViewMargin;
}

unsigned long long zaPlatform::getTreeViewIconSizeY() {
    return _small_icon_sizeY + kTreeViewMargin;
}

int zaPlatform::getInternalPreviewSizeX() {
    return static_cast<int>(_internalPreviewSizeX);
}

int zaPlatform::getInternalPreviewSizeY() {
    return static_cast<int>(_internalPreviewSizeY);
}

int zaPlatform::getMediumPreviewSizeX() {
    return static_cast<int>(_medium_preview_sizeX);
}

int zaPlatform::getMediumPreviewSizeY() {
    return static_cast<int>(_medium_preview_sizeY);
}

int zaPlatform::getLargePreviewSizeX() {
    return static_cast<int>(_large_preview_sizeX);
}

int zaPlatform::getLargePreviewSizeY() {
    return static_cast<int>(_large_preview_sizeY);
}

int zaPlatform::getPreviewLimit() {
    return static_cast<int>(_previewLimit);
}
