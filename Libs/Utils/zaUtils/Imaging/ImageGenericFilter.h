#pragma once

#include "zaUtils/Api.h"

/// A one-dimensional reconstruction kernel for `ImageScaler`: a weight for each signed distance,
/// and a width, which is its half-support in source samples when an image is enlarged.
///
/// Kernels are plain values: copy them at will. Thread safety: calls of const members may overlap.
class ZAUTILS_API ImageGenericFilter {
public:
    explicit ImageGenericFilter(double width) : _width(width) {}
    virtual ~ImageGenericFilter();

    ImageGenericFilter(const ImageGenericFilter&) = default;
    ImageGenericFilter& operator=(const ImageGenericFilter&) = default;

    /// The weight at the signed distance `x`, always the same for the same distance: the scaler may
    /// ask but once.
    virtual double filter(double x) const = 0;

    double getWidth() const { return _width; }
    void setWidth(double width) { _width = width; }

private:
    double _width;
};

/// 1 up to the width, which is deliberately part of it, and 0 beyond.
class ZAUTILS_API ImageBoxFilter : public ImageGenericFilter {
public:
    explicit ImageBoxFilter(double width = 0.5) : ImageGenericFilter(width) {}
    double filter(double x) const override;
};

/// A tent of slope 1. Its peak is deliberately as high as the width; at the width it is 0.
class ZAUTILS_API ImageLinearFilter : public ImageGenericFilter {
public:
    explicit ImageLinearFilter(double width = 1.0) : ImageGenericFilter(width) {}
    double filter(double x) const override;
};

/// The normal distribution's density. Its spread is deliberately always 1; the width cuts it off.
class ZAUTILS_API ImageGaussianFilter : public ImageGenericFilter {
public:
    explicit ImageGaussianFilter(double width = 1.0) : ImageGenericFilter(width) {}
    double filter(double x) const override;
};

/// A sinc under a Hamming window. Both deliberately ignore the width, which cuts them off.
class ZAUTILS_API ImageHammingFilter : public ImageGenericFilter {
public:
    explicit ImageHammingFilter(double width = 0.5) : ImageGenericFilter(width) {}
    double filter(double x) const override;
};

/// A Blackman window without a sinc, centred and stretched over twice the width, deliberately.
class ZAUTILS_API ImageBlackmanFilter : public ImageGenericFilter {
public:
    explicit ImageBlackmanFilter(double width = 0.5) : ImageGenericFilter(width) {}
    double filter(double x) const override;
};

/// A sinc under the middle lobe of a sinc three times as wide: 0 from a distance of 3 on, whatever
/// the width. The scaler looks no farther than the width, which is deliberately 1 by default: set
/// it to 3 for the kernel that goes by this name.
class ZAUTILS_API ImageLanczos3Filter : public ImageGenericFilter {
public:
    explicit ImageLanczos3Filter(double width = 1.0) : ImageGenericFilter(width) {}
    double filter(double x) const override;

private:
    double sinc(double x) const;
};
