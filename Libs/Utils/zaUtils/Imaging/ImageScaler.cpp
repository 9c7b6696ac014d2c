#include "zaUtils/Imaging/ImageScaler.h"

#include <tbb/blocked_range3d.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>

#include "zaUtils/Imaging/ImagePixelHandler.h"
#include "zaUtils/Imaging/Internal/ScalingProgress.h"
#include "zaUtils/Imaging/Internal/SeparableScaler.h"
#include "zaUtils/Logging/zaLog.h"

namespace {

using za::imaging::ScalingProgress;
using za::imaging::SeparableScaler;
using za::imaging::Size;
using Contribution = ImageScaler::Contribution;
using Table = std::vector<Contribution>;
using Range = tbb::blocked_range3d<int>;

bool hasNegative(const Size& size) {
    return size.width < 0 || size.height < 0 || size.depth < 0;
}

bool isEmpty(const Size& size) {
    return size.width == 0 || size.height == 0 || size.depth == 0;
}

constexpr double kMaxTableBytes = 1024.0 * 1024.0 * 1024.0;
constexpr double kAllocationOverhead = 16.0;

/// How far a kernel reaches in source samples, and the greatest number of positions in its reach.
struct Reach {
    Reach(int outSize, int inSize, double width)
        : scale(static_cast<double>(outSize) / static_cast<double>(inSize)),
          support(scale < 1.0 ? width / scale : width),
          maxTaps(2.0 * std::ceil(support) + 1.0) {}

    double scale;
    double support;
    double maxTaps;
};

/// The bytes of an axis's table, or somewhat more. A double, because it may be anything.
double tableBytes(int outSize, int inSize, double width) {
    const double taps = std::min<double>(Reach(outSize, inSize, width).maxTaps, inSize);
    return outSize * (sizeof(Contribution) + kAllocationOverhead + taps * sizeof(double));
}

/// Whether each byte of an image can be numbered; samples have at most 8 bytes.
bool isAddressable(const Size& size, int channels) {
    std::int64_t room = std::numeric_limits<std::int64_t>::max() / 8;
    for (const int factor : {size.width, size.height, size.depth, channels})
        room /= std::max(factor, 1);
    return room > 0;
}

bool checkSizes(const Size& src, const Size& dst, int channels) {
    if (hasNegative(src) || hasNegative(dst) || channels < 0 || (isEmpty(src) && !isEmpty(dst))) {
        zaLog::error("ImageScaler: invalid size: %i x %i x %i to %i x %i x %i, %i channels",
                     src.width, src.height, src.depth, dst.width, dst.height, dst.depth, channels);
        return false;
    }
    if (!isAddressable(src, channels) || !isAddressable(dst, channels)) {
        zaLog::error("ImageScaler: image too large: %i x %i x %i to %i x %i x %i, %i channels",
                     src.width, src.height, src.depth, dst.width, dst.height, dst.depth, channels);
        return false;
    }
    return true;
}

bool checkFilter(const Size& src, const Size& dst, double width) {
    if (!std::isfinite(width) || width < 0.0) {
        zaLog::error("ImageScaler: invalid filter width %g", width);
        return false;
    }
    if (isEmpty(dst)) return true;
    const double bytes = tableBytes(dst.width, src.width, width) +
                         tableBytes(dst.height, src.height, width) +
                         tableBytes(dst.depth, src.depth, width);
    if (bytes > kMaxTableBytes) {
        zaLog::error("ImageScaler: the contributions need more than 1 GiB (filter width %g)",
                     width);
        return false;
    }
    return true;
}

/// The bounds of the positions that contribute to output position `i`.
void setBounds(Contribution& contribution, const Reach& reach, double center, int inSize) {
    const double last = inSize - 1;
    const double right = std::ceil(center + reach.support);
    contribution.left = static_cast<int>(std::max(std::floor(center - reach.support), 0.0));
    contribution.right = static_cast<int>(right < inSize ? right : last);
    if (contribution.right - contribution.left < reach.maxTaps) return;
    if (contribution.left < inSize)
        ++contribution.left;
    else
        --contribution.right;
}

/// Asks a kernel but once for a distance that comes again and again, as all do where one size is a
/// multiple of the other.
class RememberedKernel {
public:
    explicit RememberedKernel(const ImageGenericFilter& kernel) : _kernel(kernel) {
        _entries.fill({kNone, 0.0});
    }

    double operator()(double distance) {
        std::uint64_t bits;
        std::memcpy(&bits, &distance, sizeof bits);
        constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15;  // spreads bits: 2^64 / phi
        Entry& entry = _entries[bits * kMultiplier >> (64 - kIndexBits)];
        if (entry.bits != bits) entry = {bits, _kernel.filter(distance)};
        return entry.weight;
    }

private:
    static constexpr int kIndexBits = 8;
    static constexpr std::uint64_t kNone = ~std::uint64_t{0};  // as a distance, not a number

    struct Entry {
        std::uint64_t bits;
        double weight;
    };

    const ImageGenericFilter& _kernel;
    std::array<Entry, std::size_t{1} << kIndexBits> _entries;
};

/// Makes the weights' sum 1 and removes zeros at their ends. What adds up to nothing deliberately
/// stays as it is.
void normalise(Contribution& contribution, double total) {
    if (!(total > 0.0)) return;
    std::vector<double>& weights = contribution.weights;
    for (double& weight : weights)
        weight /= total;
    const auto isUsed = [](double weight) { return weight != 0.0; };
    const auto first = std::find_if(weights.begin(), weights.end(), isUsed);
    contribution.left += static_cast<int>(first - weights.begin());
    weights.erase(weights.begin(), first);
    while (!weights.empty() && weights.back() == 0.0) {
        weights.pop_back();
        --contribution.right;
    }
}

/// Reads and writes each sample of an image by its handler.
class SampleLoop {
public:
    SampleLoop(const unsigned char* source, unsigned char* destination, const Size& src,
               const Size& dst, int channels, ImageScaler::ValueHandler& handler,
               const Table* tables, ScalingProgress& progress)
        : _source(source),
          _destination(destination),
          _src(src),
          _dst(dst),
          _channels(channels),
          _handler(handler),
          _tables(tables),
          _progress(progress) {}

    void operator()(const Range& range) const {
        for (int z = range.pages().begin(); z != range.pages().end(); ++z) {
            for (int y = range.rows().begin(); y != range.rows().end(); ++y) {
                if (_progress.stop()) return;
                doColumns(range.cols(), y, z);
                _progress.addRows(1);
            }
        }
    }

private:
    void doColumns(const Range::col_range_type& columns, int y, int z) const {
        const Contribution& along = _tables[1][static_cast<std::size_t>(y)];
        const Contribution& across = _tables[2][static_cast<std::size_t>(z)];
        for (int x = columns.begin(); x != columns.end(); ++x) {
            const Contribution& here = _tables[0][static_cast<std::size_t>(x)];
            for (int channel = 0; channel < _channels; ++channel) {
                const double value =
                    _handler.read(_source, _channels, _src.width, _src.height, channel, here.left,
                                  along.left, across.left, here.right, along.right, across.right,
                                  here.weights.data(), along.weights.data(), across.weights.data());
                _handler.write(value, _destination, _channels, _dst.width, _dst.height, channel, x,
                               y, z);
            }
        }
    }

    const unsigned char* _source;
    unsigned char* _destination;
    const Size _src, _dst;
    const int _channels;
    ImageScaler::ValueHandler& _handler;
    const Table* _tables;
    ScalingProgress& _progress;
};

void scaleBySamples(const SampleLoop& loop, const Size& dst) {
    // Its own group, so that nobody else's cancellation leaves an image half done.
    tbb::task_group_context context(tbb::task_group_context::isolated);
    const Range range(0, dst.depth, 1, 0, dst.height, 1, 0, dst.width,
                      static_cast<std::size_t>(dst.width));
    tbb::parallel_for(range, loop, tbb::auto_partitioner(), context);
}

}  // namespace

bool ImageScaler::scale(const std::vector<const unsigned char*>& sources,
                        const std::vector<unsigned char*>& destinations, int srcWidth,
                        int srcHeight, int srcDepth, int dstWidth, int dstHeight, int dstDepth,
                        int channels, ValueHandler& handler, const ImageGenericFilter& filter) {
    if (sources.empty() || sources.size() != destinations.size()) {
        zaLog::error("ImageScaler: invalid input data");
        return false;
    }
    const Size src = {srcWidth, srcHeight, srcDepth}, dst = {dstWidth, dstHeight, dstDepth};
    if (!checkSizes(src, dst, channels) || !checkFilter(src, dst, filter.getWidth())) return false;

    std::vector<Contribution> tables[3];
    if (!isEmpty(dst)) {
        calcContributions(0, dstWidth, srcWidth, filter, tables);
        calcContributions(1, dstHeight, srcHeight, filter, tables);
        calcContributions(2, dstDepth, srcDepth, filter, tables);
    }
    std::optional<SeparableScaler> fast;
    if (const auto* pixels = dynamic_cast<const ImagePixelHandler*>(&handler);
        pixels && !isEmpty(dst) && channels > 0 && channels <= SeparableScaler::kMaxChannels)
        fast.emplace(*pixels, channels, src, dst, tables);
    ScalingProgress progress(static_cast<double>(sources.size()) * dstHeight * dstDepth);
    for (std::size_t i = 0; i < sources.size(); ++i) {
        if (!sources[i] || !destinations[i]) {
            zaLog::warning("ImageScaler: skipping nullptr img with index %i", static_cast<int>(i));
            continue;
        }
        if (isEmpty(dst)) continue;
        if (fast)
            fast->scale(sources[i], destinations[i], progress);
        else
            scaleBySamples(
                {sources[i], destinations[i], src, dst, channels, handler, tables, progress}, dst);
        if (progress.stopped()) return false;
    }
    return true;
}

void ImageScaler::calcContributions(unsigned int axis, int outSize, int inSize,
                                    const ImageGenericFilter& filter,
                                    std::vector<Contribution>* contributions) {
    std::vector<Contribution>& table = contributions[axis];
    table.resize(static_cast<std::size_t>(std::max(outSize, 0)));
    const Reach reach(outSize, inSize, filter.getWidth());
    const double fscale = std::min(reach.scale, 1.0);
    RememberedKernel kernel(filter);
    for (int i = 0; i < outSize; ++i) {
        Contribution& contribution = table[static_cast<std::size_t>(i)];
        const double center = i / reach.scale;
        setBounds(contribution, reach, center, inSize);
        contribution.weights.resize(
            static_cast<std::size_t>(contribution.right - contribution.left) + 1);
        double total = 0.0;
        int position = contribution.left;
        for (double& weight : contribution.weights) {
            weight = kernel((center - position++) * fscale) * fscale;
            total += weight;
        }
        normalise(contribution, total);
    }
}
