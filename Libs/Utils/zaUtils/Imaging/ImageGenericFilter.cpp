#include "zaUtils/Imaging/ImageGenericFilter.h"

#include <cmath>

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 6.283185307179586;
constexpr double kFourPi = 12.566370614359172;
constexpr double kRootOfTwoPi = 2.5066282746310002;

}  // namespace

ImageGenericFilter::~ImageGenericFilter() = default;

double ImageBoxFilter::filter(double x) const {
    return std::fabs(x) <= getWidth() ? 1.0 : 0.0;
}

double ImageLinearFilter::filter(double x) const {
    const double distance = std::fabs(x);
    return distance < getWidth() ? getWidth() - distance : 0.0;
}

double ImageGaussianFilter::filter(double x) const {
    if (std::fabs(x) > getWidth()) return 0.0;
    return std::exp(-0.5 * (x * x)) / kRootOfTwoPi;
}

double ImageHammingFilter::filter(double x) const {
    if (std::fabs(x) > getWidth()) return 0.0;
    const double sinc = x == 0.0 ? 1.0 : std::sin(kPi * x) / (kPi * x);
    return (0.54 + 0.46 * std::cos(kTwoPi * x)) * sinc;
}

double ImageBlackmanFilter::filter(double x) const {
    const double width = getWidth();
    if (std::fabs(x) > width) return 0.0;
    // In this order, which loses the last bits of a small width.
    const double n = ((width + width) + 1.0) - 1.0;
    return 0.42 + 0.5 * std::cos(kTwoPi * x / n) + 0.08 * std::cos(kFourPi * x / n);
}

double ImageLanczos3Filter::filter(double x) const {
    const double distance = std::fabs(x);
    return distance < 3.0 ? sinc(distance) * sinc(distance / 3.0) : 0.0;
}

double ImageLanczos3Filter::sinc(double x) const {
    const double angle = kPi * x;
    return angle == 0.0 ? 1.0 : std::sin(angle) / angle;
}
