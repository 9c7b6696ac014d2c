// The passes over bytes with vectors of 512 bits and with instructions that add up four products of
// bytes, or two of 16 bits, at once. They go the way of the AVX2 kernels, with four taps of sixteen
// rows where those have two taps of eight.

#include "zaUtils/Imaging/Internal/ScalingKernels.h"

#if defined(__x86_64__)

// One of our compilers warns of its own header.
#if !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif

#include <immintrin.h>

#include <algorithm>
#include <cstring>
#include <limits>

#define ZA_AVX512 __attribute__((target("avx512f,avx512bw,avx512vl,avx512vnni")))
#define ZA_VBMI __attribute__((target("avx512f,avx512bw,avx512vl,avx512vnni,avx512vbmi")))
#define ZA_INLINE inline __attribute__((always_inline))
// The vectors of a short loop stay in registers only when it is unrolled.
#define ZA_UNROLL _Pragma("GCC unroll 8")

namespace za::imaging {

namespace {

constexpr int kRows = 16;
constexpr int kTaps = 4;
constexpr int kGroup = 8;  // outputs that are transposed back at a time

constexpr std::size_t stageSize(int channels) {
    return static_cast<std::size_t>(kGroup) * static_cast<std::size_t>(channels);
}

constexpr std::size_t kUnit = sizeof(__m512i);
constexpr std::size_t kUnitSlack = 4 * kUnit;

using Row = const unsigned char*;

/// Sums. As vectors of this type they stay where they are from one product to the next; otherwise
/// one of our compilers moves them to and fro.
using Lanes = std::int32_t __attribute__((vector_size(64)));

ZA_AVX512 ZA_INLINE __m512i vectorOf(Lanes lanes) {
    return reinterpret_cast<__m512i>(lanes);
}

/// Adds four products of bytes in each lane.
ZA_AVX512 ZA_INLINE void addFour(Lanes& sum, __m512i bytes, __m512i weights) {
    sum = reinterpret_cast<Lanes>(_mm512_dpbusd_epi32(vectorOf(sum), bytes, weights));
}

/// Adds two products of 16-bit numbers in each lane.
ZA_AVX512 ZA_INLINE void addTwo(Lanes& sum, __m512i values, __m512i weights) {
    sum = reinterpret_cast<Lanes>(_mm512_dpwssd_epi32(vectorOf(sum), values, weights));
}

ZA_AVX512 ZA_INLINE Lanes lanesOf(std::int32_t value) {
    return reinterpret_cast<Lanes>(_mm512_set1_epi32(value));
}

std::int32_t halfOf(int shift) {
    return shift > 0 ? std::int32_t{1} << (shift - 1) : 0;
}

std::size_t unitsOf(int pixels, int channels) {
    return static_cast<std::size_t>((pixels + kTaps - 1) / kTaps) *
           static_cast<std::size_t>(channels);
}

std::size_t scratchSize(int pixels, int channels) {
    return stageSize(channels) * sizeof(__m512i) + unitsOf(pixels, channels) * kUnit + kUnitSlack;
}

signed char lowByteOf(int weight) {
    return static_cast<signed char>((weight & 0xFF) - ((weight & 0x80) << 1));
}

/// What is left of a weight without its low byte, which counts as a signed number.
signed char highByteOf(int weight) {
    return static_cast<signed char>((weight - lowByteOf(weight)) / 256);
}

/// Splits weights, of which there are whole groups of four: their low bytes come first.
void arrange(std::int16_t* weights, std::size_t count) {
    for (std::size_t i = 0; i < count; i += kTaps) {
        signed char bytes[2 * kTaps];
        for (std::size_t tap = 0; tap < kTaps; ++tap) {
            bytes[tap] = lowByteOf(weights[i + tap]);
            bytes[tap + kTaps] = highByteOf(weights[i + tap]);
        }
        std::memcpy(weights + i, bytes, sizeof bytes);
    }
}

// --- along x ---

/// How the bytes of four pixels are put in order: channel by channel.
template <int kChannels>
ZA_AVX512 ZA_INLINE __m512i inFours(__m512i pixels) {
    if constexpr (kChannels == 1) return pixels;
    const __m128i order =
        kChannels == 2   ? _mm_setr_epi8(0, 2, 4, 6, 1, 3, 5, 7, 8, 10, 12, 14, 9, 11, 13, 15)
        : kChannels == 3 ? _mm_setr_epi8(0, 3, 6, 9, 1, 4, 7, 10, 2, 5, 8, 11, -1, -1, -1, -1)
                         : _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    return _mm512_shuffle_epi8(pixels, _mm512_broadcast_i32x4(order));
}

ZA_AVX512 ZA_INLINE __m128i loadPart(const unsigned char* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

/// The units of 16 bytes of each row. Four neighbouring taps of a sample are 32 bits of a row; in
/// each quarter of the vectors four rows by four of them are transposed.
template <int kChannels>
ZA_AVX512 ZA_INLINE void transposeStep(const Row* rows, std::ptrdiff_t at, unsigned char* units) {
    __m512i r[4];
    ZA_UNROLL
    for (std::size_t i = 0; i < 4; ++i) {
        __m512i part = _mm512_castsi128_si512(loadPart(rows[i] + at));
        part = _mm512_mask_broadcast_i32x4(part, 0x00F0, loadPart(rows[i + 4] + at));
        part = _mm512_mask_broadcast_i32x4(part, 0x0F00, loadPart(rows[i + 8] + at));
        part = _mm512_mask_broadcast_i32x4(part, 0xF000, loadPart(rows[i + 12] + at));
        r[i] = inFours<kChannels>(part);
    }
    const __m512i a = _mm512_unpacklo_epi32(r[0], r[1]), b = _mm512_unpackhi_epi32(r[0], r[1]);
    const __m512i c = _mm512_unpacklo_epi32(r[2], r[3]), d = _mm512_unpackhi_epi32(r[2], r[3]);
    _mm512_store_si512(units, _mm512_unpacklo_epi64(a, c));
    _mm512_store_si512(units + kUnit, _mm512_unpackhi_epi64(a, c));
    _mm512_store_si512(units + 2 * kUnit, _mm512_unpacklo_epi64(b, d));
    if constexpr (kChannels != 3)
        _mm512_store_si512(units + 3 * kUnit, _mm512_unpackhi_epi64(b, d));
}

template <int kChannels>
ZA_AVX512 void transpose(const ByteKernels::Work& work, unsigned char* units) {
    constexpr int kStep = kChannels == 3 ? 12 : 16, kRead = 16;
    const std::size_t count = unitsOf(work.end - work.begin, kChannels);
    const std::ptrdiff_t rowEnd = static_cast<std::ptrdiff_t>(work.width) * kChannels;
    std::ptrdiff_t at = static_cast<std::ptrdiff_t>(work.begin) * kChannels;
    for (std::size_t unit = 0; unit < count; unit += kStep / kTaps, at += kStep) {
        if (rowEnd - at >= kRead) {
            transposeStep<kChannels>(work.rows, at, units + unit * kUnit);
            continue;
        }
        // The last bytes are copied, because there is nothing to be read behind them.
        unsigned char copies[kRows][kRead] = {};
        Row rows[kRows];
        for (std::size_t i = 0; i < kRows; ++i) {
            if (rowEnd > at)
                std::memcpy(copies[i], work.rows[i] + at, static_cast<std::size_t>(rowEnd - at));
            rows[i] = copies[i];
        }
        transposeStep<kChannels>(rows, 0, units + unit * kUnit);
    }
}

/// The same for any number of channels.
void transposeAny(const ByteKernels::Work& work, unsigned char* units) {
    const int channels = work.channels;
    for (int x = work.begin; x < work.end; x += kTaps) {
        for (int channel = 0; channel < channels; ++channel) {
            for (int row = 0; row < kRows; ++row) {
                for (int tap = x; tap < x + kTaps; ++tap)
                    *units++ =
                        tap < work.width
                            ? work.rows[row][static_cast<std::ptrdiff_t>(tap) * channels + channel]
                            : static_cast<unsigned char>(0);
            }
        }
    }
}

ZA_AVX512 ZA_INLINE __m512i weightsAt(const std::int16_t* from) {
    std::int32_t four;
    std::memcpy(&four, from, sizeof four);
    return _mm512_set1_epi32(four);
}

/// The sums of some neighbouring channels of one output, for all rows.
template <int kCount>
ZA_AVX512 ZA_INLINE void sumUp(const unsigned char* units, std::size_t step,
                               const std::int16_t* weights, int count, Lanes half, __m512i* sums) {
    Lanes low[kCount], high[kCount];
    ZA_UNROLL
    for (std::size_t i = 0; i < kCount; ++i) {
        low[i] = half;
        high[i] = lanesOf(0);
    }
    for (int tap = 0; tap < count; tap += kTaps, units += step) {
        const __m512i lowWeights = weightsAt(weights + tap);
        const __m512i highWeights = weightsAt(weights + tap + kTaps / 2);
        ZA_UNROLL
        for (std::size_t i = 0; i < kCount; ++i) {
            const __m512i unit = _mm512_load_si512(units + i * kUnit);
            addFour(low[i], unit, lowWeights);
            addFour(high[i], unit, highWeights);
        }
    }
    ZA_UNROLL
    for (std::size_t i = 0; i < kCount; ++i)
        _mm512_store_si512(
            sums + i, _mm512_add_epi32(vectorOf(low[i]), _mm512_slli_epi32(vectorOf(high[i]), 8)));
}

/// Writes eight values to each row.
ZA_AVX512 ZA_INLINE void storeRows(const __m512i* sums, __m128i shift, std::int16_t* const* rows,
                                   std::ptrdiff_t at) {
    __m512i two[4], four[4];
    ZA_UNROLL
    for (std::size_t i = 0; i < 4; ++i)
        two[i] = _mm512_packs_epi32(_mm512_sra_epi32(_mm512_load_si512(sums + 2 * i), shift),
                                    _mm512_sra_epi32(_mm512_load_si512(sums + 2 * i + 1), shift));
    ZA_UNROLL
    for (std::size_t i = 0; i < 2; ++i) {
        const __m512i even = _mm512_unpacklo_epi16(two[2 * i], two[2 * i + 1]);
        const __m512i odd = _mm512_unpackhi_epi16(two[2 * i], two[2 * i + 1]);
        four[i] = _mm512_unpacklo_epi16(even, odd);
        four[i + 2] = _mm512_unpackhi_epi16(even, odd);
    }
    ZA_UNROLL
    for (std::size_t i = 0; i < 4; ++i) {
        const __m512i row = i % 2 == 0 ? _mm512_unpacklo_epi64(four[i & 2], four[(i & 2) + 1])
                                       : _mm512_unpackhi_epi64(four[i & 2], four[(i & 2) + 1]);
        const auto at128 = [&](std::size_t number) {
            return reinterpret_cast<__m128i*>(rows[number] + at);
        };
        _mm_storeu_si128(at128(i), _mm512_castsi512_si128(row));
        _mm_storeu_si128(at128(i + 4), _mm512_extracti32x4_epi32(row, 1));
        _mm_storeu_si128(at128(i + 8), _mm512_extracti32x4_epi32(row, 2));
        _mm_storeu_si128(at128(i + 12), _mm512_extracti32x4_epi32(row, 3));
    }
}

/// `kChannels` is how many are summed up at a time: all of them, or one of any number.
template <int kChannels, bool kAny = false>
ZA_AVX512 void sumRows(const ByteKernels::Work& work, const unsigned char* units, __m512i* stage) {
    // What the compiler need not look for in memory again after each result.
    const int channels = kAny ? work.channels : kChannels, outputs = work.outputs;
    const int begin = work.begin;
    const std::size_t step = static_cast<std::size_t>(channels) * kUnit;
    const std::int16_t* const weights = work.weights;
    const Taps* taps = work.taps;
    std::int16_t* const* const results = work.results;
    const Lanes half = lanesOf(halfOf(work.shift));
    const __m128i shift = _mm_cvtsi32_si128(work.shift);
    for (int first = 0; first < outputs; first += kGroup) {
        const int count = std::min(kGroup, outputs - first);
        __m512i* sums = stage;
        for (const Taps* const end = taps + count; taps != end; ++taps) {
            const unsigned char* from =
                units + static_cast<std::size_t>(taps->left - begin) / kTaps * step;
            for (int channel = 0; channel < channels;
                 channel += kChannels, sums += kChannels, from += kChannels * kUnit)
                sumUp<kChannels>(from, step, weights + taps->weights, taps->count, half, sums);
        }
        const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(first) * channels;
        for (int value = 0; value < count * channels; value += 8)
            storeRows(stage + value, shift, results, at + value);
    }
}

ZA_AVX512 void horizontal(const ByteKernels::Work& work) {
    auto* stage = static_cast<__m512i*>(work.scratch);
    auto* units = reinterpret_cast<unsigned char*>(stage + stageSize(work.channels));
    switch (work.channels) {
        case 1:
            transpose<1>(work, units);
            return sumRows<1>(work, units, stage);
        case 2:
            transpose<2>(work, units);
            return sumRows<2>(work, units, stage);
        case 3:
            transpose<3>(work, units);
            return sumRows<3>(work, units, stage);
        case 4:
            transpose<4>(work, units);
            return sumRows<4>(work, units, stage);
        default:
            transposeAny(work, units);
            return sumRows<1, true>(work, units, stage);
    }
}

// --- along x, one channel ---

// Where the taps of sixteen outputs lie within two vectors, a permutation of bytes collects them,
// row by row. Nothing is transposed.

constexpr int kOutputs = 16;
constexpr int kReach = 2 * static_cast<int>(sizeof(__m512i));
constexpr int kMostGroups = 4;  // whose lookups stay in registers
// A group of four taps: where they are, and the low and the high bytes of their weights.
constexpr std::size_t kLookupPart = sizeof(__m512i), kLookupGroup = 3 * kLookupPart;

/// An output's taps without the zeros that complete its groups.
struct UsedTaps {
    UsedTaps(const Taps& taps, const std::int16_t* allWeights)
        : left(taps.left), count(taps.count), weights(allWeights + taps.weights) {
        for (; count > 0 && weights[0] == 0; ++left, ++weights)
            --count;
        while (count > 0 && weights[count - 1] == 0)
            --count;
    }

    int left, count;
    const std::int16_t* weights;
};

/// Adds the lookup of some outputs; false when their taps are too many, or too far from each other.
bool addBlock(const Taps* taps, int outputs, const std::int16_t* weights, TapLookup& lookup) {
    int base = std::numeric_limits<int>::max(), end = 0, most = 0;
    for (int i = 0; i < outputs; ++i) {
        const UsedTaps used(taps[i], weights);
        base = std::min(base, used.left);
        end = std::max(end, used.left + used.count);
        most = std::max(most, used.count);
    }
    if (end - base > kReach) return false;
    const int groups = std::max((most + kTaps - 1) / kTaps, 1);
    if (groups > kMostGroups) return false;
    const std::size_t at = lookup.bytes.size();
    lookup.blocks.push_back({base, end - base, groups, at});
    lookup.bytes.resize(at + static_cast<std::size_t>(groups) * kLookupGroup);
    for (int i = 0; i < outputs; ++i) {
        const UsedTaps used(taps[i], weights);
        for (int tap = 0; tap < used.count; ++tap) {
            signed char* byte = lookup.bytes.data() + at +
                                static_cast<std::size_t>(tap / kTaps) * kLookupGroup +
                                static_cast<std::size_t>(i * kTaps + tap % kTaps);
            byte[0] = static_cast<signed char>(used.left - base + tap);
            byte[kLookupPart] = lowByteOf(used.weights[tap]);
            byte[2 * kLookupPart] = highByteOf(used.weights[tap]);
        }
    }
    return true;
}

TapLookup makeLookup(const std::vector<Taps>& taps, const std::int16_t* weights) {
    TapLookup lookup;
    const int count = static_cast<int>(taps.size());
    for (int i = 0; i < count; i += kOutputs) {
        if (!addBlock(taps.data() + i, std::min(kOutputs, count - i), weights, lookup)) return {};
    }
    return lookup;
}

/// The first bytes of a vector, as many as there are.
__mmask64 maskOf(int bytes) {
    if (bytes >= 64) return ~__mmask64{0};
    return bytes > 0 ? (__mmask64{1} << bytes) - 1 : 0;
}

/// Some outputs of all rows: where their rows begin, and the outputs that are wanted.
struct BlockWork {
    const unsigned char* const* rows;
    int base;
    __mmask64 lower, upper;  ///< the bytes that there are of both vectors
    const signed char* lookup;
    int half;
    __m128i shift;
    std::int16_t* const* results;
    std::ptrdiff_t start;  ///< of the block, from the results on
    __mmask16 wanted;
};

/// `kIsNear`: the taps lie within one vector. What does not change from row to row stays in
/// registers.
template <int kGroups, bool kIsNear>
ZA_VBMI void sumUpBlock(const BlockWork& work) {
    __m512i numbers[kGroups], lowWeights[kGroups], highWeights[kGroups];
    ZA_UNROLL
    for (std::size_t i = 0; i < kGroups; ++i) {
        const signed char* group = work.lookup + i * kLookupGroup;
        numbers[i] = _mm512_loadu_si512(group);
        lowWeights[i] = _mm512_loadu_si512(group + kLookupPart);
        highWeights[i] = _mm512_loadu_si512(group + 2 * kLookupPart);
    }
    const BlockWork w = work;  // which the results cannot overlap, for all that the compiler knows
    const Lanes half = lanesOf(w.half);
    for (std::size_t row = 0; row < kRows; ++row) {
        const unsigned char* bytes = w.rows[row] + w.base;
        const __m512i a = _mm512_maskz_loadu_epi8(w.lower, bytes);
        __m512i b = a;
        if constexpr (!kIsNear) b = _mm512_maskz_loadu_epi8(w.upper, bytes + kReach / 2);
        Lanes low = half, high = lanesOf(0);
        ZA_UNROLL
        for (std::size_t i = 0; i < kGroups; ++i) {
            const __m512i taps = kIsNear ? _mm512_permutexvar_epi8(numbers[i], a)
                                         : _mm512_permutex2var_epi8(a, numbers[i], b);
            addFour(low, taps, lowWeights[i]);
            addFour(high, taps, highWeights[i]);
        }
        const __m512i sums = _mm512_add_epi32(vectorOf(low), _mm512_slli_epi32(vectorOf(high), 8));
        _mm256_mask_storeu_epi16(w.results[row] + w.start, w.wanted,
                                 _mm512_cvtepi32_epi16(_mm512_sra_epi32(sums, w.shift)));
    }
}

template <bool kIsNear>
ZA_AVX512 void sumUpBlock(const BlockWork& work, int groups) {
    static_assert(kMostGroups == 4);
    if (groups <= 1) return sumUpBlock<1, kIsNear>(work);
    if (groups == 2) return sumUpBlock<2, kIsNear>(work);
    if (groups == 3) return sumUpBlock<3, kIsNear>(work);
    sumUpBlock<4, kIsNear>(work);
}

ZA_AVX512 void horizontalByLookup(const ByteKernels::Work& work, const TapLookup& lookup,
                                  int first) {
    const int last = first + work.outputs;
    for (int number = first / kOutputs; number * kOutputs < last; ++number) {
        const TapLookup::Block& block = lookup.blocks[static_cast<std::size_t>(number)];
        const int start = number * kOutputs, from = std::max(first - start, 0);
        const unsigned until = (1U << std::min(last - start, kOutputs)) - 1;
        const int left = work.width - block.base;
        const BlockWork part = {work.rows,
                                block.base,
                                maskOf(left),
                                maskOf(left - kReach / 2),
                                lookup.bytes.data() + block.at,
                                halfOf(work.shift),
                                _mm_cvtsi32_si128(work.shift),
                                work.results,
                                start - first,
                                static_cast<__mmask16>(until & ~((1U << from) - 1))};
        if (block.reach <= kReach / 2)
            sumUpBlock<true>(part, block.groups);
        else
            sumUpBlock<false>(part, block.groups);
    }
}

// --- along y and z ---

/// 64 values as 16-bit numbers, in order.
struct Sums {
    __m512i low, high;
};

ZA_AVX512 ZA_INLINE Sums sumColumns(const std::int16_t* const* rows, const std::int16_t* weights,
                                    int count, Lanes half, __m128i shift, std::size_t at) {
    Lanes sum[4] = {half, half, half, half};
    for (int row = 0; row < count; row += 2) {
        const __m512i weight = weightsAt(weights + row);
        const std::int16_t *upper = rows[row] + at, *lower = rows[row + 1] + at;
        ZA_UNROLL
        for (std::size_t i = 0; i < 2; ++i) {
            const __m512i a = _mm512_loadu_si512(upper + 32 * i);
            const __m512i b = _mm512_loadu_si512(lower + 32 * i);
            addTwo(sum[2 * i], _mm512_unpacklo_epi16(a, b), weight);
            addTwo(sum[2 * i + 1], _mm512_unpackhi_epi16(a, b), weight);
        }
    }
    __m512i shifted[4];
    ZA_UNROLL
    for (std::size_t i = 0; i < 4; ++i)
        shifted[i] = _mm512_sra_epi32(vectorOf(sum[i]), shift);
    return {_mm512_packs_epi32(shifted[0], shifted[1]), _mm512_packs_epi32(shifted[2], shifted[3])};
}

ZA_AVX512 void vertical(const std::int16_t* const* rows, const std::int16_t* weights, int count,
                        int shift, std::size_t values, std::int16_t* results) {
    const Lanes half = lanesOf(halfOf(shift));
    const __m128i shifts = _mm_cvtsi32_si128(shift);
    for (std::size_t at = 0; at < values; at += 64) {
        const Sums sums = sumColumns(rows, weights, count, half, shifts, at);
        _mm512_storeu_si512(results + at, sums.low);
        _mm512_storeu_si512(results + at + 32, sums.high);
    }
}

ZA_AVX512 void verticalToBytes(const std::int16_t* const* rows, const std::int16_t* weights,
                               int count, int shift, std::size_t values, unsigned char* results) {
    const Lanes half = lanesOf(halfOf(shift));
    const __m128i shifts = _mm_cvtsi32_si128(shift);
    const __m512i inOrder = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
    for (std::size_t at = 0; at < values; at += 64) {
        const Sums sums = sumColumns(rows, weights, count, half, shifts, at);
        const __m512i bytes =
            _mm512_permutexvar_epi64(inOrder, _mm512_packus_epi16(sums.low, sums.high));
        const std::size_t left = values - at;
        const __mmask64 mask = left >= 64 ? ~__mmask64{0} : (__mmask64{1} << left) - 1;
        _mm512_mask_storeu_epi8(results + at, mask, bytes);
    }
}

}  // namespace

const ScalingKernels* avx512ScalingKernels() {
    const bool isThere = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                         __builtin_cpu_supports("avx512vl") &&
                         __builtin_cpu_supports("avx512vnni") && avx2ScalingKernels();
    if (!isThere) return nullptr;
    static const ScalingKernels kernels = [] {
        const bool canLookUp = __builtin_cpu_supports("avx512vbmi");
        return ScalingKernels{
            {kRows, kTaps, 1, scratchSize, arrange, horizontal, vertical, verticalToBytes,
             canLookUp ? makeLookup : nullptr, canLookUp ? horizontalByLookup : nullptr},
            avx2ScalingKernels()->wide};
    }();
    return &kernels;
}

}  // namespace za::imaging

#else

const za::imaging::ScalingKernels* za::imaging::avx512ScalingKernels() {
    return nullptr;
}

#endif
