#include <tbb/blocked_range.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <cstdint>

#include "zaUtils/Imaging/Internal/SeparableScaler.h"

namespace za::imaging {

namespace {

using Table = std::vector<ImageScaler::Contribution>;

constexpr std::size_t kAlignment = 64;
// What a chunk of a row may take when it is transposed, so that it stays in the nearest cache.
constexpr std::size_t kChunkBytes = std::size_t{32} * 1024;

std::size_t sizeOf(int number) {
    return static_cast<std::size_t>(number);
}

/// Memory that starts at a cache line. It is cleared: what lies between the rows is added up as
/// well, for nothing, but not to an overflow.
template <typename Value>
class Block {
public:
    explicit Block(std::size_t count) : _values(count + kAlignment / sizeof(Value)) {}

    Value* data() {
        const auto address = reinterpret_cast<std::uintptr_t>(_values.data());
        return _values.data() + (kAlignment - address % kAlignment) % kAlignment / sizeof(Value);
    }

private:
    std::vector<Value> _values;
};

/// Whether each output position is just the source position that it names.
bool isCopied(const Table& table) {
    return std::all_of(table.begin(), table.end(), [](const auto& contribution) {
        return contribution.weights.size() == 1 && contribution.weights[0] == 1.0;
    });
}

Window windowOf(const Table& table) {
    Window window;
    const std::size_t count = table.size();
    window.low.resize(count);
    window.high.resize(count);
    for (std::size_t i = count; i-- > 0;)
        window.low[i] = i + 1 < count ? std::min(table[i].left, window.low[i + 1]) : table[i].left;
    for (std::size_t i = 0; i < count; ++i) {
        window.high[i] = i > 0 ? std::max(table[i].right, window.high[i - 1]) : table[i].right;
        window.size = std::max(window.size, window.high[i] - window.low[i] + 1);
    }
    return window;
}

/// Neighbouring outputs along x, and the pixels that they need.
struct Chunk {
    int first, last;  ///< behind the last output
    int begin, end;
};

/// Goes through outputs that need no more than so many pixels, unless a single one does.
std::vector<Chunk> chunksOf(const Taps* taps, int first, int last, int pixels) {
    std::vector<Chunk> chunks;
    for (int x = first; x < last; ++x) {
        const int begin = taps[x].left, end = begin + taps[x].count;
        if (!chunks.empty()) {
            Chunk& chunk = chunks.back();
            const int from = std::min(chunk.begin, begin), to = std::max(chunk.end, end);
            if (to - from <= pixels) {
                chunk = {chunk.first, x + 1, from, to};
                continue;
            }
        }
        chunks.push_back({x, x + 1, begin, end});
    }
    return chunks;
}

}  // namespace

/// The passes over samples of 8 bits, with integers.
struct SeparableScaler::BytePasses {
    using Value = std::int16_t;

    const FixedPlan& plan;
    const ByteKernels& kernels;
    const PixelFormat& format;

    const Taps* xTaps() const { return plan.axes[0].taps.data(); }
    std::size_t rows() const { return kernels.rows; }
    std::size_t bytes() const { return kernels.bytes; }
    std::size_t scratchSize(int pixels) const {
        return kernels.scratchSize(pixels, format.channels);
    }

    void horizontal(const unsigned char* const* rows, int width, const Chunk& chunk,
                    Value* const* results, unsigned char* scratch) const {
        const FixedAxis& axis = plan.axes[0];
        const ByteKernels::Work work = {rows,
                                        format.channels,
                                        0,
                                        width,
                                        chunk.begin,
                                        chunk.end,
                                        axis.taps.data() + chunk.first,
                                        chunk.last - chunk.first,
                                        axis.weights.data(),
                                        axis.shift,
                                        results,
                                        scratch};
        if (plan.lookup.blocks.empty())
            kernels.horizontal(work);
        else
            kernels.horizontalByLookup(work, plan.lookup, chunk.first);
    }
    void vertical(int axis, int position, const Value* const* rows, std::size_t values,
                  Value* results) const {
        const FixedAxis& fixed = plan.axes[sizeOf(axis)];
        const Taps& taps = fixed.taps[sizeOf(position)];
        kernels.vertical(rows, fixed.weights.data() + taps.weights, taps.count, fixed.shift, values,
                         results);
    }
    void finish(int axis, int position, const Value* const* rows, std::size_t pixels, Value*,
                unsigned char* destination) const {
        const FixedAxis& fixed = plan.axes[sizeOf(axis)];
        const Taps& taps = fixed.taps[sizeOf(position)];
        kernels.verticalToBytes(rows, fixed.weights.data() + taps.weights, taps.count, fixed.shift,
                                pixels * sizeOf(format.channels), destination);
    }
};

/// The passes over all other samples, with doubles.
struct SeparableScaler::WidePasses {
    using Value = double;

    const Taps* taps;
    const double* weights;
    const Table* tables;
    const WideKernels& kernels;
    const PixelFormat& format;
    const std::size_t sampleSize;

    const Taps* xTaps() const { return taps; }
    std::size_t rows() const { return kernels.rows; }
    /// A decoded sample, and the same one prepared for the horizontal pass.
    std::size_t bytes() const { return 2 * sizeof(double); }
    std::size_t decodedSize(int pixels) const {
        return sizeOf(pixels) * sizeOf(format.channels) + kRowSlack;
    }
    std::size_t scratchSize(int pixels) const {
        return kernels.scratchSize(pixels, format.channels) +
               kernels.rows * decodedSize(pixels) * sizeof(double);
    }

    void horizontal(const unsigned char* const* rows, int width, const Chunk& chunk,
                    Value* const* results, unsigned char* scratch) const {
        const int pixels = chunk.end - chunk.begin;
        const std::size_t bytes = kernels.scratchSize(pixels, format.channels);
        auto* decoded = reinterpret_cast<double*>(scratch + bytes);
        const double* values[WideKernels::kMaxRows];
        for (std::size_t i = 0; i < kernels.rows; ++i, decoded += decodedSize(pixels)) {
            const std::size_t at = sizeOf(chunk.begin) * sizeOf(format.channels) * sampleSize;
            decodePixels(format, rows[i] + at, sizeOf(pixels), decoded);
            values[i] = decoded;
        }
        kernels.horizontal({values, format.channels, chunk.begin, width, chunk.begin, chunk.end,
                            taps + chunk.first, chunk.last - chunk.first, weights, 0, results,
                            scratch});
    }
    void vertical(int axis, int position, const Value* const* rows, std::size_t values,
                  Value* results) const {
        const std::vector<double>& lot = tables[axis][sizeOf(position)].weights;
        kernels.vertical(rows, lot.data(), static_cast<int>(lot.size()), values, results);
    }
    void finish(int axis, int position, const Value* const* rows, std::size_t pixels, Value* spare,
                unsigned char* destination) const {
        vertical(axis, position, rows, pixels * sizeOf(format.channels), spare);
        encodePixels(format, spare, pixels, destination);
    }
};

template <typename Passes>
class SeparableScaler::TileScaler {
public:
    using Value = typename Passes::Value;

    TileScaler(const SeparableScaler& scaler, const Passes& passes, const Tile& tile,
               const unsigned char* source, unsigned char* destination, ScalingProgress& progress)
        : _scaler(scaler),
          _passes(passes),
          _tile(tile),
          _source(source),
          _destination(destination),
          _progress(progress),
          _pixels(sizeOf(tile.xEnd - tile.xBegin)),
          _values(_pixels * sizeOf(scaler._format.channels)),
          _stride((_values + 2 * kRowSlack) / kRowSlack * kRowSlack),
          _slots(sizeOf(scaler._rows.size) + passes.rows()),
          _chunks(chunksOf(passes.xTaps(), tile.xBegin, tile.xEnd, chunkPixels())),
          _scratch(scratchSize()),
          _rows((_slots + 1) * _stride),
          _planes(scaler._passesPlanes ? sizeOf(scaler._planes.size) * planeValues() : 0),
          _sources(passes.rows()),
          _results(passes.rows()),
          _gathered(sizeOf(std::max(scaler._rows.size, scaler._planes.size)) + 1) {}

    void run() {
        for (int z = _tile.zBegin; z < _tile.zEnd; ++z) {
            if (!_scaler._passesPlanes)
                startPlane(_scaler._tables[2][sizeOf(z)].left);
            else if (!fetchPlanes(z))
                return;
            for (int y = _tile.yBegin; y < _tile.yEnd; ++y) {
                if (_progress.stop()) return;
                if (_scaler._passesPlanes)
                    finishFromPlanes(y, z);
                else
                    finishFromRows(y, z);
                if (_tile.xBegin == 0) _progress.addRows(1);
            }
        }
    }

private:
    int chunkPixels() const {
        const std::size_t pixel =
            sizeOf(_scaler._format.channels) * _passes.bytes() * _passes.rows();
        return static_cast<int>(std::max<std::size_t>(kChunkBytes / pixel, 16));
    }

    std::size_t scratchSize() const {
        int pixels = 0;
        for (const Chunk& chunk : _chunks)
            pixels = std::max(pixels, chunk.end - chunk.begin);
        return _passes.scratchSize(pixels);
    }

    std::size_t planeValues() const { return sizeOf(_tile.yEnd - _tile.yBegin) * _stride; }

    /// Its content is of no interest to anyone.
    Value* spareRow() { return _rows.data() + _slots * _stride; }
    Value* planeRow(int z, int y) {
        return _planes.data() + sizeOf(z) % sizeOf(_scaler._planes.size) * planeValues() +
               sizeOf(y - _tile.yBegin) * _stride;
    }

    /// The rows to come are of another plane, or of the same one from the beginning.
    void startPlane(int z) {
        _plane = z;
        _nextRow = 0;
    }

    /// Lets all source rows that an output row needs pass along x, some rows at a time.
    void fetchRows(int y) {
        _nextRow = std::max(_nextRow, _scaler._rows.low[sizeOf(y)]);
        const int last = _scaler._rows.high[sizeOf(_tile.yEnd - 1)];
        while (_nextRow <= _scaler._tables[1][sizeOf(y)].right) {
            const int count = std::min(static_cast<int>(_passes.rows()), last - _nextRow + 1);
            passHorizontally(count);
            _nextRow += count;
        }
    }

    void passHorizontally(int count) {
        const Size& src = _scaler._src;
        const std::size_t channels = sizeOf(_scaler._format.channels);
        const std::size_t bytes = sizeOf(src.width) * channels * _scaler._sampleSize;
        const std::size_t rows = sizeOf(count);
        const unsigned char* source =
            _source + (sizeOf(_plane) * sizeOf(src.height) + sizeOf(_nextRow)) * bytes;
        std::size_t slot = sizeOf(_nextRow) % _slots;
        for (std::size_t i = 0; i < _sources.size(); ++i) {
            // A kernel wants all its rows. Those that there are not are the last one, for nothing.
            _sources[i] = source;
            _results[i] = i < rows ? _rows.data() + slot * _stride : spareRow();
            if (i + 1 < rows) source += bytes;
            if (++slot == _slots) slot = 0;
        }
        for (const Chunk& chunk : _chunks) {
            _passes.horizontal(_sources.data(), src.width, chunk, _results.data(), _scratch.data());
            for (Value*& result : _results)
                result += sizeOf(chunk.last - chunk.first) * channels;
        }
    }

    /// What lies in a ring at some positions, and the last of it again for kernels that want an
    /// even number.
    const Value* const* gather(const ImageScaler::Contribution& contribution, const Value* ring,
                               std::size_t slots, std::size_t distance) {
        std::size_t slot = sizeOf(contribution.left) % slots;
        const Value** next = _gathered.data();
        for (int i = contribution.left; i <= contribution.right; ++i) {
            *next++ = ring + slot * distance;
            if (++slot == slots) slot = 0;
        }
        *next = next == _gathered.data() ? ring : next[-1];
        return _gathered.data();
    }

    const Value* const* gatherRows(int y) {
        return gather(_scaler._tables[1][sizeOf(y)], _rows.data(), _slots, _stride);
    }

    void finishFromRows(int y, int z) {
        fetchRows(y);
        _passes.finish(1, y, gatherRows(y), _pixels, spareRow(), target(y, z));
    }

    /// @return false when all is to stop
    bool fetchPlanes(int z) {
        _nextPlane = std::max(_nextPlane, _scaler._planes.low[sizeOf(z)]);
        for (; _nextPlane <= _scaler._tables[2][sizeOf(z)].right; ++_nextPlane) {
            startPlane(_nextPlane);
            for (int y = _tile.yBegin; y < _tile.yEnd; ++y) {
                if (_progress.stop()) return false;
                fetchRows(y);
                _passes.vertical(1, y, gatherRows(y), _values, planeRow(_nextPlane, y));
            }
        }
        return true;
    }

    void finishFromPlanes(int y, int z) {
        const Value* ring = _planes.data() + sizeOf(y - _tile.yBegin) * _stride;
        const Value* const* rows = gather(_scaler._tables[2][sizeOf(z)], ring,
                                          sizeOf(_scaler._planes.size), planeValues());
        _passes.finish(2, z, rows, _pixels, spareRow(), target(y, z));
    }

    unsigned char* target(int y, int z) const {
        const Size& dst = _scaler._dst;
        const std::size_t line = sizeOf(z) * sizeOf(dst.height) + sizeOf(y);
        const std::size_t pixel = line * sizeOf(dst.width) + sizeOf(_tile.xBegin);
        return _destination + pixel * sizeOf(_scaler._format.channels) * _scaler._sampleSize;
    }

    const SeparableScaler& _scaler;
    const Passes& _passes;
    const Tile _tile;
    const unsigned char* const _source;
    unsigned char* const _destination;
    ScalingProgress& _progress;

    const std::size_t _pixels, _values;  ///< of a row of the tile
    const std::size_t _stride;
    const std::size_t _slots;  ///< for rows: those needed at a time, and those done at a time
    const std::vector<Chunk> _chunks;
    Block<unsigned char> _scratch;
    Block<Value> _rows, _planes;
    std::vector<const unsigned char*> _sources;
    std::vector<Value*> _results;
    std::vector<const Value*> _gathered;
    int _plane = 0;  ///< that the rows are of
    int _nextRow = 0, _nextPlane = 0;
};

SeparableScaler::Limits SeparableScaler::Limits::ofThisMachine() {
    constexpr std::size_t kBytes = std::size_t{4} * 1024 * 1024, kMinBytes = kBytes / 32;
    constexpr int kTilesPerThread = 2;
    const auto allowed =
        tbb::global_control::active_value(tbb::global_control::max_allowed_parallelism);
    const int threads = static_cast<int>(
        std::min<std::size_t>(allowed, sizeOf(tbb::this_task_arena::max_concurrency())));
    return {threads > 1 ? threads * kTilesPerThread : 1,
            std::max(kBytes / sizeOf(threads), kMinBytes), threads};
}

SeparableScaler::SeparableScaler(const ImagePixelHandler& handler, int channels, const Size& src,
                                 const Size& dst, const Table* tables,
                                 const ScalingKernels& kernels, const Limits& limits)
    : _format(handler, channels),
      _sampleSize(ImagePixelHandler::getSampleSize(handler.getSample())),
      _src(src),
      _dst(dst),
      _tables(tables),
      _kernels(kernels),
      _limits(limits),
      _passesPlanes(!isCopied(tables[2])),
      _rows(windowOf(tables[1])),
      _planes(windowOf(tables[2])) {
    if (_format.sample == ImagePixelHandler::Sample::UInt8 && !_format.hasAlpha &&
        !_format.isEncoded)
        _fixed = planFixedPoint(tables, _passesPlanes ? 3 : 2, channels, kernels.bytes);
    if (_fixed) return;
    for (const ImageScaler::Contribution& contribution : tables[0]) {
        _wideTaps.push_back({contribution.left, static_cast<int>(contribution.weights.size()),
                             _wideWeights.size()});
        _wideWeights.insert(_wideWeights.end(), contribution.weights.begin(),
                            contribution.weights.end());
    }
}

void SeparableScaler::scale(const unsigned char* source, unsigned char* destination,
                            ScalingProgress& progress) const {
    if (_fixed)
        scaleBy(BytePasses{*_fixed, _kernels.bytes, _format}, source, destination, progress);
    else
        scaleBy(WidePasses{_wideTaps.data(), _wideWeights.data(), _tables, _kernels.wide, _format,
                           _sampleSize},
                source, destination, progress);
}

template <typename Passes>
void SeparableScaler::scaleBy(const Passes& passes, const unsigned char* source,
                              unsigned char* destination, ScalingProgress& progress) const {
    const std::vector<Tile> all = tiles(sizeof(typename Passes::Value));
    // Its own group, so that nobody else's cancellation leaves an image half done.
    tbb::task_group_context context(tbb::task_group_context::isolated);
    tbb::parallel_for(
        tbb::blocked_range<std::size_t>(0, all.size(), 1),
        [&](const tbb::blocked_range<std::size_t>& range) {
            for (std::size_t i = range.begin(); i != range.end(); ++i)
                TileScaler<Passes>(*this, passes, all[i], source, destination, progress).run();
        },
        tbb::simple_partitioner(), context);
}

/// The memory of a tile's rows and planes.
std::size_t SeparableScaler::tileBytes(int width, int height, std::size_t bytesPerValue) const {
    const std::size_t row = sizeOf(width) * sizeOf(_format.channels) + 2 * kRowSlack;
    const std::size_t planes = _passesPlanes ? sizeOf(_planes.size) * sizeOf(height) : 0;
    return (sizeOf(_rows.size) + _kernels.bytes.rows + planes) * row * bytesPerValue;
}

std::vector<SeparableScaler::Tile> SeparableScaler::tiles(std::size_t bytesPerValue) const {
    // What two tiles share is done twice, so they shall be some times as large as that. More tiles
    // than threads even out what else keeps a processor busy, as long as that costs little.
    constexpr int kWorthwhile = 4, kCheap = 16;
    const auto pieces = [this](int wanted, int inSize, const Window& window, int outSize) {
        const int shared = window.size + static_cast<int>(_kernels.bytes.rows);
        int count = std::min({wanted, inSize / (kWorthwhile * shared), outSize});
        if (count > _limits.threads) {
            const bool isCheap = inSize / count >= kCheap * shared;
            count = isCheap ? count - count % _limits.threads : _limits.threads;
        }
        return std::max(count, 1);
    };
    int zPieces = 1, yPieces = 1;
    if (_passesPlanes) {
        yPieces = pieces(_limits.tiles, _src.height, _rows, _dst.height);
        if (yPieces < _limits.threads)
            zPieces = pieces(_limits.tiles / yPieces, _src.depth, _planes, _dst.depth);
    } else {
        zPieces = std::min(_limits.tiles, _dst.depth);
        yPieces = pieces(_limits.tiles / zPieces, _src.height, _rows, _dst.height);
    }
    const auto part = [](int size, int count) { return (size + count - 1) / count; };
    const int depth = part(_dst.depth, zPieces);
    int height = part(_dst.height, yPieces), width = _dst.width;
    while (tileBytes(width, height, bytesPerValue) > _limits.bytes) {
        constexpr int kMinHeight = 8, kMinWidth = 64;
        if (_passesPlanes && height > kMinHeight)
            height = part(height, 2);
        else if (width > kMinWidth)
            width = part(width, 2);
        else
            break;
    }
    std::vector<Tile> all;
    for (int z = 0; z < _dst.depth; z += depth)
        for (int y = 0; y < _dst.height; y += height)
            for (int x = 0; x < _dst.width; x += width)
                all.push_back({x, std::min(x + width, _dst.width), y,
                               std::min(y + height, _dst.height), z,
                               std::min(z + depth, _dst.depth)});
    return all;
}

}  // namespace za::imaging
