#pragma once

#include <optional>
#include <vector>

#include "zaUtils/Imaging/ImagePixelHandler.h"
#include "zaUtils/Imaging/Internal/FixedPoint.h"
#include "zaUtils/Imaging/Internal/SampleTypes.h"
#include "zaUtils/Imaging/Internal/ScalingKernels.h"
#include "zaUtils/Imaging/Internal/ScalingProgress.h"

namespace za::imaging {

struct Size {
    int width, height, depth;
};

/// An axis's positions of source rows or planes that have to be there at the same time.
struct Window {
    std::vector<int> low;   ///< for each output position, the first that it or a later one needs
    std::vector<int> high;  ///< the last that it or an earlier one needs
    int size = 1;           ///< at most from low to high; what is empty counts as one
};

/// Scales images of the pixels that an `ImagePixelHandler` stands for, along one axis after the
/// other: rows along x, columns of the results along y, and columns through planes along z. It goes
/// through the output tile by tile, and keeps no more of the results in between than the rows (and
/// the planes) that are needed at a time.
class SeparableScaler {
public:
    /// What the memory of the passes is made for.
    static constexpr int kMaxChannels = 1024;

    struct Limits {
        int tiles;          ///< how many tiles are worth it; more are made to save memory
        std::size_t bytes;  ///< for each tile in progress; a floor that small pieces may exceed
        int threads;

        static Limits ofThisMachine();
    };

    /// The tables stay the caller's, one for each axis, and none is empty.
    SeparableScaler(const ImagePixelHandler& handler, int channels, const Size& src,
                    const Size& dst, const std::vector<ImageScaler::Contribution>* tables,
                    const ScalingKernels& kernels = fastestScalingKernels(),
                    const Limits& limits = Limits::ofThisMachine());

    void scale(const unsigned char* source, unsigned char* destination,
               ScalingProgress& progress) const;

    bool usesIntegers() const { return _fixed.has_value(); }

private:
    struct Tile {
        int xBegin, xEnd, yBegin, yEnd, zBegin, zEnd;
    };
    struct BytePasses;
    struct WidePasses;
    template <typename Passes>
    class TileScaler;

    std::vector<Tile> tiles(std::size_t bytesPerValue) const;
    std::size_t tileBytes(int width, int height, std::size_t bytesPerValue) const;
    template <typename Passes>
    void scaleBy(const Passes& passes, const unsigned char* source, unsigned char* destination,
                 ScalingProgress& progress) const;

    const PixelFormat _format;
    const std::size_t _sampleSize;
    const Size _src, _dst;
    const std::vector<ImageScaler::Contribution>* const _tables;
    const ScalingKernels& _kernels;
    const Limits _limits;
    bool _passesPlanes;  ///< whether there is anything to be added up along z
    Window _rows, _planes;
    std::optional<FixedPlan> _fixed;
    std::vector<Taps> _wideTaps;  ///< along x
    std::vector<double> _wideWeights;
};

}  // namespace za::imaging
