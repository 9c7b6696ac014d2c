#pragma once

#include <vector>

#include "zaUtils/Api.h"
#include "zaUtils/Imaging/ImageGenericFilter.h"

/// Resamples images and volumes of interleaved channels to new sizes with a separable kernel.
///
/// ```
/// ImagePixelHandler pixels(ImagePixelHandler::Sample::UInt8);
/// ImageScaler::scale({photo}, {thumbnail}, 4096, 4096, 1, 1024, 1024, 1, 4, pixels,
///                    ImageLanczos3Filter(3.0));
/// ```
class ZAUTILS_API ImageScaler {
public:
    /// What one output position along one axis is made of.
    struct Contribution {
        std::vector<double> weights;  ///< one for each source position from `left` to `right`
        int left = 0;                 ///< the first source position
        int right = 0;                ///< the last source position
    };

    /// Knows the pixels: combines source samples and stores results. `scale` calls it from several
    /// threads at a time, for different output samples. It stays its owner's and is never deleted
    /// through this class, which therefore deliberately has these two virtual functions alone.
    class ZAUTILS_API ValueHandler {
    public:
        /// The filtered value of one channel: the sum over all positions from left to right, ends
        /// included, of the sample times its weights along the three axes. Each array of weights
        /// starts with the one of its left position.
        virtual double read(const unsigned char* source, int channels, int width, int height,
                            int channel, int xLeft, int yLeft, int zLeft, int xRight, int yRight,
                            int zRight, const double* xWeights, const double* yWeights,
                            const double* zWeights) = 0;
        /// Stores a value that `read` has returned.
        virtual void write(double value, unsigned char* destination, int channels, int width,
                           int height, int channel, int x, int y, int z) = 0;

    protected:
        ValueHandler() = default;
        ValueHandler(const ValueHandler&) = default;
        ValueHandler& operator=(const ValueHandler&) = default;
        ~ValueHandler() = default;
    };

    ImageScaler() = delete;

    /// Scales each of `sources` into the entry of `destinations` at the same place, one after the
    /// other. All sources have one size and all destinations another; a plane image has the
    /// depth 1. Output position 0 deliberately lies on source position 0: there is no offset by
    /// half a sample. Memory is the caller's; a source and a destination must not overlap.
    ///
    /// Each output sample is read from `handler` and written to it at once, in parallel, where
    /// whole rows stay together. When it is an `ImagePixelHandler` the same result (to one unit of
    /// an integer type, or 1e-6 of the value) is found by a faster way, without these calls.
    ///
    /// Images with a null pointer are skipped with a warning. Nothing is done for a destination
    /// size of 0.
    ///
    /// Where the calling thread has a level of `zaStackedProgress`, there is another one inside it
    /// while this runs, and a request to stop all work is answered: the result is then false,
    /// without a message, and every sample of the destinations is either finished or as it was.
    ///
    /// @return whether all is done. False with an error in the log for lists that are empty or of
    ///         different lengths, for negative sizes or channels, for a source size of 0, for
    ///         images of more than 2^63 - 1 bytes, for a kernel whose width is negative, infinite
    ///         or NaN, and for contributions that need more than 1 GiB.
    /// @throws what the handler, the kernel or a progress handler throws; some rows are done then
    static bool scale(const std::vector<const unsigned char*>& sources,
                      const std::vector<unsigned char*>& destinations, int srcWidth, int srcHeight,
                      int srcDepth, int dstWidth, int dstHeight, int dstDepth, int channels,
                      ValueHandler& handler, const ImageGenericFilter& filter);

private:
    static void calcContributions(unsigned int axis, int outSize, int inSize,
                                  const ImageGenericFilter& filter,
                                  std::vector<Contribution>* contributions);
};
