#pragma once

#include <cstddef>

#include "zaUtils/Api.h"
#include "zaUtils/Imaging/ImageScaler.h"

/// The pixels that most images have: samples of one type, channels interleaved, rows from first to
/// last without gaps, plane after plane, in the processor's byte order and at any address.
///
/// What does not fit the type becomes the nearest value that does; infinite values of `Half` and
/// `Float` stay infinite. Integers are rounded to the nearest, from the middle upward, and what is
/// no number becomes 0; `Half` and `Float` are rounded to the nearest, from the middle to even.
///
/// Thread safety: an object never changes.
class ZAUTILS_API ImagePixelHandler final : public ImageScaler::ValueHandler {
public:
    enum class Sample { UInt8, UInt16, Half, Float };

    enum Option : unsigned int {
        /// The last of two or more channels tells how opaque the others are, which are not
        /// multiplied by it. They count by their opacity, so that what is transparent leaves no
        /// trace around what is not; they are 0 where the result is transparent.
        LastIsAlpha = 1,
        /// The channels, but not the one that is opacity, are encoded as in sRGB. They are
        /// converted to linear light, where the sums are right, and back. Full scale is 1 for
        /// `Half` and `Float`; there the curve goes on beyond 1, and is mirrored for negative
        /// values.
        LinearLight = 2
    };

    /// @param options  a sum of `Option`s
    explicit ImagePixelHandler(Sample sample, unsigned int options = 0)
        : _sample(sample), _options(options) {}

    Sample getSample() const { return _sample; }
    unsigned int getOptions() const { return _options; }

    static std::size_t getSampleSize(Sample sample);  ///< in bytes

    /// @return in units of the sample; with `LinearLight` in linear light, where full scale is 1
    double read(const unsigned char* source, int channels, int width, int height, int channel,
                int xLeft, int yLeft, int zLeft, int xRight, int yRight, int zRight,
                const double* xWeights, const double* yWeights, const double* zWeights) override;
    void write(double value, unsigned char* destination, int channels, int width, int height,
               int channel, int x, int y, int z) override;

private:
    Sample _sample;
    unsigned int _options;
};
