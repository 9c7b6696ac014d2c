#include <algorithm>
#include <cmath>

#include "zaUtils/Imaging/Internal/FixedPoint.h"

namespace za::imaging {

namespace {

using Table = std::vector<ImageScaler::Contribution>;

constexpr int kMinBits = 8, kMaxBits = 22;  // of a weight, behind the point
constexpr int kMaxKept = 7;                 // of a result between the passes
constexpr double kMaxWeight = kMaxFixedWeight, kMaxInt16 = 32767.0, kMaxInt32 = 2147483647.0;
// Less than 1, because what the exact way itself rounds off comes on top.
constexpr double kMaxError = 0.75;

/// What is largest among the positions of an axis.
struct Extremes {
    explicit Extremes(const Table& table) {
        for (const ImageScaler::Contribution& contribution : table) {
            double plus = 0.0, minus = 0.0;
            for (const double weight : contribution.weights) {
                plus += std::max(weight, 0.0);  // what is no number stays so
                minus += std::max(-weight, 0.0);
                largest = std::max(largest, std::fabs(weight));
            }
            isFinite = isFinite && std::isfinite(plus + minus);
            positive = std::max(positive, plus);
            negative = std::max(negative, minus);
            sum = std::max(sum, plus + minus);
            taps = std::max(taps, static_cast<double>(contribution.weights.size()));
        }
    }

    bool isFinite = true;
    double positive = 0.0, negative = 0.0, sum = 0.0, largest = 0.0, taps = 0.0;
};

/// The values before or after a pass, in units of a sample.
struct Values {
    double low = 0.0, high = 255.0;
    double error = 0.0;
    int bits = 0;  ///< behind the point

    double size() const { return std::max(-low, high) + error; }
};

/// The most bits of weights that are safe for such values; less than kMinBits when too few are.
int weightBits(const Extremes& extremes, const Values& values) {
    const double size = std::ldexp(values.size(), values.bits) + 1.0;
    int bits = kMaxBits;
    for (; bits >= kMinBits; --bits) {
        // A weight may be rounded by up to 1.
        const double sum = std::ldexp(extremes.sum, bits) + extremes.taps;
        if (std::ldexp(extremes.largest, bits) + 1.0 <= kMaxWeight &&
            size * sum + std::ldexp(1.0, bits + values.bits) < kMaxInt32)
            break;
    }
    return bits;
}

/// The values after a pass, where each position's weights are `weightError` off altogether, and
/// where `kept` bits are kept.
Values after(const Extremes& extremes, const Values& before, double weightError, int kept) {
    Values values;
    values.high = extremes.positive * before.high - extremes.negative * before.low;
    values.low = extremes.positive * before.low - extremes.negative * before.high;
    values.error = extremes.sum * before.error + before.size() * weightError;
    values.bits = kept;
    return values;
}

double roundingError(int kept) {
    return std::ldexp(0.5, -kept);
}

bool fits(const Values& values) {
    return std::ldexp(values.size(), values.bits) + 1.0 <= kMaxInt16;
}

struct Choice {
    int weightBits[3] = {};
    int kept[3] = {};
    double error = kMaxError;
    bool isMade = false;
};

/// Tries how many bits to keep between the passes from `pass` on, and keeps the best choice.
void choose(const Extremes* extremes, int pass, int passes, const Values& before, Choice& current,
            Choice& best) {
    const int bits = weightBits(extremes[pass], before);
    if (bits < kMinBits) return;
    current.weightBits[pass] = bits;
    // Half a unit for each weight is a little more than what rounding comes to.
    const double weightError = extremes[pass].taps * std::ldexp(0.5, -bits);
    const bool isLast = pass == passes - 1;
    for (int kept = 0; kept <= (isLast ? 0 : kMaxKept); ++kept) {
        current.kept[pass] = kept;
        Values values = after(extremes[pass], before, weightError, kept);
        if (isLast) {
            if (values.error >= best.error) return;
            best = current;
            best.error = values.error;
            best.isMade = true;
            return;
        }
        values.error += roundingError(kept);
        if (fits(values)) choose(extremes, pass + 1, passes, values, current, best);
    }
}

/// To the nearest, as long as there is no larger number than the weights' here: by a sum that has
/// no room for anything behind the point.
double rounded(double value) {
    constexpr double kNoFraction = 0x1.8p52;
    return value + kNoFraction - kNoFraction;
}

/// Rounds an axis's weights so that their sums stay what they are. Zeros complete the groups of
/// taps, which start at multiples of `start`.
/// @return the largest sum of the weights' errors
double roundWeights(const Table& table, int bits, int start, int group, FixedAxis& axis) {
    const double scale = std::ldexp(1.0, bits);
    double largest = 0.0;
    for (const ImageScaler::Contribution& contribution : table) {
        const std::size_t first = axis.weights.size();
        const int ahead = contribution.left % start;
        axis.weights.resize(first + static_cast<std::size_t>(ahead));
        double carry = 0.0, error = 0.0;
        for (const double weight : contribution.weights) {
            const double exact = weight * scale;
            const double whole = rounded(exact + carry);
            const double off = exact - whole;
            carry += off;
            error += std::fabs(off);
            axis.weights.push_back(static_cast<std::int16_t>(whole));
        }
        while ((axis.weights.size() - first) % static_cast<std::size_t>(group) != 0)
            axis.weights.push_back(0);
        axis.taps.push_back(
            {contribution.left - ahead, static_cast<int>(axis.weights.size() - first), first});
        largest = std::max(largest, error);
    }
    return largest / scale;
}

}  // namespace

std::optional<FixedPlan> planFixedPoint(const Table* tables, int passes, int channels,
                                        const ByteKernels& kernels) {
    std::vector<Extremes> extremes;
    for (int pass = 0; pass < passes; ++pass) {
        extremes.emplace_back(tables[pass]);
        if (!extremes.back().isFinite) return std::nullopt;
    }
    Choice current, best;
    choose(extremes.data(), 0, passes, Values(), current, best);
    if (!best.isMade) return std::nullopt;

    FixedPlan plan;
    Values values;
    for (int pass = 0; pass < passes; ++pass) {
        FixedAxis& axis = plan.axes[static_cast<std::size_t>(pass)];
        const double weightError =
            roundWeights(tables[pass], best.weightBits[pass], pass == 0 ? kernels.taps : 1,
                         pass == 0 ? kernels.taps : 2, axis);
        axis.shift = best.weightBits[pass] + values.bits - best.kept[pass];
        values =
            after(extremes[static_cast<std::size_t>(pass)], values, weightError, best.kept[pass]);
        if (pass == passes - 1) break;
        values.error += roundingError(best.kept[pass]);
        if (!fits(values)) return std::nullopt;
    }
    std::vector<std::int16_t>& weights = plan.axes[0].weights;
    if (kernels.makeLookup && channels == 1)
        plan.lookup = kernels.makeLookup(plan.axes[0].taps, weights.data());
    if (kernels.arrange) kernels.arrange(weights.data(), weights.size());
    return values.error < kMaxError ? std::optional(std::move(plan)) : std::nullopt;
}

}  // namespace za::imaging
