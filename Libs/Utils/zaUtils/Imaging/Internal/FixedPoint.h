#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "zaUtils/Imaging/ImageScaler.h"
#include "zaUtils/Imaging/Internal/ScalingKernels.h"

namespace za::imaging {

/// The contributions along an axis as numbers of 16 bits.
struct FixedAxis {
    std::vector<Taps> taps;
    std::vector<std::int16_t> weights;
    int shift = 0;  ///< of the sums, to the right
};

/// How samples of 8 bits are scaled by integers: with groups of taps as the kernels want them along
/// x, and with an even number of taps along y and z.
struct FixedPlan {
    std::array<FixedAxis, 3> axes;
    TapLookup lookup;  ///< along x, for one channel; may have no blocks
};

/// Finds out with how many bits each pass gets by, so that nothing overflows and the result is
/// certain to lie less than one unit from the exact one before both are rounded.
///
/// @param passes  the number of axes, from x on, that are passed; the last pass gives bytes
/// @return nothing when there is no such way: for weights that are too large, or too many
std::optional<FixedPlan> planFixedPoint(const std::vector<ImageScaler::Contribution>* tables,
                                        int passes, int channels, const ByteKernels& kernels);

}  // namespace za::imaging
