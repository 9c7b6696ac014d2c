// Both passes have neighbouring values of the result in the lanes of a vector. For the horizontal
// pass these are the same sample of eight rows (four with doubles): the rows are transposed once,
// and then each source sample serves all the outputs that it contributes to without any shuffling.

#include "zaUtils/Imaging/Internal/ScalingKernels.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <algorithm>
#include <cstring>

#define ZA_AVX2 __attribute__((target("avx2")))
#define ZA_INLINE inline __attribute__((always_inline))
// The vectors of a short loop stay in registers only when it is unrolled.
#define ZA_UNROLL _Pragma("GCC unroll 8")

namespace za::imaging {

namespace {

// Outputs that are kept in vectors of rows before they are transposed back: whole vectors of
// results, whatever the number of channels.
constexpr int kGroup = 8;

constexpr std::size_t stageSize(int channels) {
    return static_cast<std::size_t>(kGroup) * static_cast<std::size_t>(channels);
}

std::int32_t halfOf(int shift) {
    return shift > 0 ? std::int32_t{1} << (shift - 1) : 0;
}

// --- bytes ---

constexpr int kByteRows = 8;
constexpr int kByteTaps = 2;
constexpr std::size_t kUnit = std::size_t{2} * kByteRows;  // values: two taps of each row
constexpr std::size_t kUnitSlack = 16 * kUnit;  // what one step of the transposition may exceed

using Row = const unsigned char*;

ZA_AVX2 ZA_INLINE __m256i load(const void* from) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

ZA_AVX2 ZA_INLINE void store(void* to, __m256i value) {
    _mm256_storeu_si256(static_cast<__m256i*>(to), value);
}

std::size_t unitsOf(int pixels, int channels) {
    return static_cast<std::size_t>((pixels + 1) / 2) * static_cast<std::size_t>(channels);
}

std::size_t byteScratchSize(int pixels, int channels) {
    const std::size_t stage = stageSize(channels) * sizeof(__m256i);
    return stage + (unitsOf(pixels, channels) * kUnit + kUnitSlack) * sizeof(std::int16_t);
}

/// How the bytes of two pixels are put in order: channel by channel.
template <int kChannels>
ZA_AVX2 ZA_INLINE __m256i inPairs(__m256i pixels) {
    if constexpr (kChannels == 1) return pixels;
    const __m128i order =
        kChannels == 2   ? _mm_setr_epi8(0, 2, 1, 3, 4, 6, 5, 7, 8, 10, 9, 11, 12, 14, 13, 15)
        : kChannels == 3 ? _mm_setr_epi8(0, 3, 1, 4, 2, 5, 6, 9, 7, 10, 8, 11, -1, -1, -1, -1)
                         : _mm_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15);
    return _mm256_shuffle_epi8(pixels, _mm256_broadcastsi128_si256(order));
}

/// Widens the units of both halves and stores them, `kDistance` units from each other.
template <std::size_t kDistance>
ZA_AVX2 ZA_INLINE void storeUnits(std::int16_t* unit, __m256i bytes) {
    store(unit, _mm256_cvtepu8_epi16(_mm256_castsi256_si128(bytes)));
    store(unit + kDistance * kUnit, _mm256_cvtepu8_epi16(_mm256_extracti128_si256(bytes, 1)));
}

/// What a step of the transposition takes from each row: some bytes for each half of a vector.
template <int kChannels>
constexpr int kHalfStep = kChannels == 3 ? 12 : 16;

/// The units of one step. Two neighbouring taps of a sample are 16 bits of a row; eight rows by
/// eight of them are transposed in each half of the vectors.
template <int kChannels>
ZA_AVX2 ZA_INLINE void transposeStep(const Row* rows, std::ptrdiff_t at, std::int16_t* units) {
    __m256i r[kByteRows];
    ZA_UNROLL
    for (std::size_t i = 0; i < kByteRows; ++i) {
        const auto* low = reinterpret_cast<const __m128i*>(rows[i] + at);
        const auto* high = reinterpret_cast<const __m128i*>(rows[i] + at + kHalfStep<kChannels>);
        r[i] = inPairs<kChannels>(_mm256_inserti128_si256(
            _mm256_castsi128_si256(_mm_loadu_si128(low)), _mm_loadu_si128(high), 1));
    }
    __m256i pairs[8], quads[8];
    ZA_UNROLL
    for (std::size_t i = 0; i < 4; ++i) {
        pairs[i] = _mm256_unpacklo_epi16(r[2 * i], r[2 * i + 1]);
        pairs[i + 4] = _mm256_unpackhi_epi16(r[2 * i], r[2 * i + 1]);
    }
    ZA_UNROLL
    for (std::size_t i = 0; i < 4; ++i) {
        quads[2 * i] = _mm256_unpacklo_epi32(pairs[2 * i], pairs[2 * i + 1]);
        quads[2 * i + 1] = _mm256_unpackhi_epi32(pairs[2 * i], pairs[2 * i + 1]);
    }
    // The quads of rows 0 to 3 with units 0 1, 2 3; the same of rows 4 to 7; then units 4 to 7.
    constexpr std::size_t kUnits = kHalfStep<kChannels> / 2;
    ZA_UNROLL
    for (std::size_t i = 0; i < kUnits / 2; ++i) {
        const __m256i upper = quads[i < 2 ? i : i + 2], lower = quads[i < 2 ? i + 2 : i + 4];
        storeUnits<kUnits>(units + 2 * i * kUnit, _mm256_unpacklo_epi64(upper, lower));
        storeUnits<kUnits>(units + (2 * i + 1) * kUnit, _mm256_unpackhi_epi64(upper, lower));
    }
}

template <int kChannels>
ZA_AVX2 void transpose(const ByteKernels::Work& work, std::int16_t* units) {
    constexpr std::ptrdiff_t kHalf = kHalfStep<kChannels>, kRead = kHalf + 16;
    const std::size_t count = unitsOf(work.end - work.begin, kChannels);
    const std::ptrdiff_t rowEnd = static_cast<std::ptrdiff_t>(work.width) * kChannels;
    std::ptrdiff_t at = static_cast<std::ptrdiff_t>(work.begin) * kChannels;
    for (std::size_t unit = 0; unit < count; unit += kHalf, at += 2 * kHalf) {
        if (rowEnd - at >= kRead) {
            transposeStep<kChannels>(work.rows, at, units + unit * kUnit);
            continue;
        }
        // The last bytes are copied, because there is nothing to be read behind them.
        unsigned char copies[kByteRows][kRead] = {};
        Row rows[kByteRows];
        ZA_UNROLL
        for (std::size_t i = 0; i < kByteRows; ++i) {
            if (rowEnd > at)
                std::memcpy(copies[i], work.rows[i] + at, static_cast<std::size_t>(rowEnd - at));
            rows[i] = copies[i];
        }
        transposeStep<kChannels>(rows, 0, units + unit * kUnit);
    }
}

/// The same for any number of channels.
void transposeAny(const ByteKernels::Work& work, std::int16_t* units) {
    const int channels = work.channels;
    for (int x = work.begin; x < work.end; x += 2) {
        for (int channel = 0; channel < channels; ++channel) {
            const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(x) * channels + channel;
            for (std::size_t i = 0; i < kByteRows; ++i) {
                const unsigned char none = 0;
                *units++ = x < work.width ? work.rows[i][at] : none;
                *units++ = x + 1 < work.width ? work.rows[i][at + channels] : none;
            }
        }
    }
}

/// The sums of some neighbouring channels of one output, for all rows.
template <int kCount>
ZA_AVX2 ZA_INLINE void sumUp(const std::int16_t* units, std::size_t step,
                             const std::int16_t* weights, int count, __m256i half, __m256i* sums) {
    __m256i sum[kCount];
    ZA_UNROLL
    for (__m256i& s : sum)
        s = half;
    for (int tap = 0; tap < count; tap += 2, units += step) {
        std::int32_t pair;
        std::memcpy(&pair, weights + tap, sizeof pair);
        const __m256i weight = _mm256_set1_epi32(pair);
        ZA_UNROLL
        for (std::size_t i = 0; i < kCount; ++i)
            sum[i] = _mm256_add_epi32(sum[i], _mm256_madd_epi16(load(units + i * kUnit), weight));
    }
    ZA_UNROLL
    for (std::size_t i = 0; i < kCount; ++i)
        _mm256_store_si256(sums + i, sum[i]);
}

/// Writes eight values to each row.
ZA_AVX2 ZA_INLINE void storeRows(const __m256i* sums, __m128i shift, std::int16_t* const* rows,
                                 std::ptrdiff_t at) {
    __m256i two[4];
    ZA_UNROLL
    for (std::size_t i = 0; i < 4; ++i)
        two[i] = _mm256_packs_epi32(_mm256_sra_epi32(_mm256_load_si256(sums + 2 * i), shift),
                                    _mm256_sra_epi32(_mm256_load_si256(sums + 2 * i + 1), shift));
    __m256i four[4];
    ZA_UNROLL
    for (std::size_t i = 0; i < 2; ++i) {
        const __m256i even = _mm256_unpacklo_epi16(two[2 * i], two[2 * i + 1]);
        const __m256i odd = _mm256_unpackhi_epi16(two[2 * i], two[2 * i + 1]);
        four[i] = _mm256_unpacklo_epi16(even, odd);
        four[i + 2] = _mm256_unpackhi_epi16(even, odd);
    }
    ZA_UNROLL
    for (std::size_t i = 0; i < 4; ++i) {
        const __m256i row = i % 2 == 0 ? _mm256_unpacklo_epi64(four[i & 2], four[(i & 2) + 1])
                                       : _mm256_unpackhi_epi64(four[i & 2], four[(i & 2) + 1]);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(rows[i] + at), _mm256_castsi256_si128(row));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(rows[i + 4] + at),
                         _mm256_extracti128_si256(row, 1));
    }
}

/// `kChannels` is how many are summed up at a time: all of them, or one of any number.
template <int kChannels, bool kAny = false>
ZA_AVX2 void sumRows(const ByteKernels::Work& work, const std::int16_t* units, __m256i* stage) {
    // What the compiler need not look for in memory again after each result.
    const int channels = kAny ? work.channels : kChannels, outputs = work.outputs;
    const int begin = work.begin;
    const std::size_t step = static_cast<std::size_t>(channels) * kUnit;
    const std::int16_t* const weights = work.weights;
    const Taps* taps = work.taps;
    std::int16_t* const* const results = work.results;
    const __m256i half = _mm256_set1_epi32(halfOf(work.shift));
    const __m128i shift = _mm_cvtsi32_si128(work.shift);
    for (int first = 0; first < outputs; first += kGroup) {
        const int count = std::min(kGroup, outputs - first);
        __m256i* sums = stage;
        for (const Taps* const end = taps + count; taps != end; ++taps) {
            const std::int16_t* from =
                units + static_cast<std::size_t>(taps->left - begin) / kByteTaps * step;
            for (int channel = 0; channel < channels;
                 channel += kChannels, sums += kChannels, from += kChannels * kUnit)
                sumUp<kChannels>(from, step, weights + taps->weights, taps->count, half, sums);
        }
        const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(first) * channels;
        for (int value = 0; value < count * channels; value += 8)
            storeRows(stage + value, shift, results, at + value);
    }
}

ZA_AVX2 void horizontalBytes(const ByteKernels::Work& work) {
    auto* stage = static_cast<__m256i*>(work.scratch);
    auto* units = reinterpret_cast<std::int16_t*>(stage + stageSize(work.channels));
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

/// 32 values as 16-bit numbers, in order.
struct Sums {
    __m256i low, high;
};

ZA_AVX2 ZA_INLINE Sums sumColumns(const std::int16_t* const* rows, const std::int16_t* weights,
                                  int count, __m256i half, __m128i shift, std::size_t at) {
    __m256i sum[4] = {half, half, half, half};
    for (int row = 0; row < count; row += 2) {
        std::int32_t pair;
        std::memcpy(&pair, weights + row, sizeof pair);
        const __m256i weight = _mm256_set1_epi32(pair);
        const std::int16_t *upper = rows[row] + at, *lower = rows[row + 1] + at;
        ZA_UNROLL
        for (std::size_t i = 0; i < 2; ++i) {
            const __m256i a = load(upper + 16 * i), b = load(lower + 16 * i);
            sum[2 * i] = _mm256_add_epi32(sum[2 * i],
                                          _mm256_madd_epi16(_mm256_unpacklo_epi16(a, b), weight));
            sum[2 * i + 1] = _mm256_add_epi32(
                sum[2 * i + 1], _mm256_madd_epi16(_mm256_unpackhi_epi16(a, b), weight));
        }
    }
    ZA_UNROLL
    for (__m256i& s : sum)
        s = _mm256_sra_epi32(s, shift);
    return {_mm256_packs_epi32(sum[0], sum[1]), _mm256_packs_epi32(sum[2], sum[3])};
}

ZA_AVX2 void verticalBytes(const std::int16_t* const* rows, const std::int16_t* weights, int count,
                           int shift, std::size_t values, std::int16_t* results) {
    const __m256i half = _mm256_set1_epi32(halfOf(shift));
    const __m128i shifts = _mm_cvtsi32_si128(shift);
    for (std::size_t at = 0; at < values; at += 32) {
        const Sums sums = sumColumns(rows, weights, count, half, shifts, at);
        store(results + at, sums.low);
        store(results + at + 16, sums.high);
    }
}

ZA_AVX2 void verticalToBytes(const std::int16_t* const* rows, const std::int16_t* weights,
                             int count, int shift, std::size_t values, unsigned char* results) {
    const __m256i half = _mm256_set1_epi32(halfOf(shift));
    const __m128i shifts = _mm_cvtsi32_si128(shift);
    for (std::size_t at = 0; at < values; at += 32) {
        const Sums sums = sumColumns(rows, weights, count, half, shifts, at);
        const __m256i bytes = _mm256_permute4x64_epi64(_mm256_packus_epi16(sums.low, sums.high),
                                                       _MM_SHUFFLE(3, 1, 2, 0));
        if (values - at >= 32) {
            store(results + at, bytes);
        } else {
            unsigned char last[32];
            store(last, bytes);
            std::memcpy(results + at, last, values - at);
        }
    }
}

// --- doubles ---

constexpr int kWideRows = 4;
static_assert(kWideRows <= WideKernels::kMaxRows);

std::size_t wideScratchSize(int pixels, int channels) {
    // Whole blocks of four values are transposed.
    const std::size_t values =
        static_cast<std::size_t>(pixels) * static_cast<std::size_t>(channels) + kWideRows;
    return (values + stageSize(channels)) * sizeof(__m256d);
}

/// Four rows by four values.
ZA_AVX2 ZA_INLINE void transposeFour(__m256d (&rows)[4]) {
    const __m256d a = _mm256_unpacklo_pd(rows[0], rows[1]);
    const __m256d b = _mm256_unpackhi_pd(rows[0], rows[1]);
    const __m256d c = _mm256_unpacklo_pd(rows[2], rows[3]);
    const __m256d d = _mm256_unpackhi_pd(rows[2], rows[3]);
    rows[0] = _mm256_permute2f128_pd(a, c, 0x20);
    rows[1] = _mm256_permute2f128_pd(b, d, 0x20);
    rows[2] = _mm256_permute2f128_pd(a, c, 0x31);
    rows[3] = _mm256_permute2f128_pd(b, d, 0x31);
}

ZA_AVX2 void transposeWide(const WideKernels::Work& work, __m256d* columns) {
    const std::ptrdiff_t channels = work.channels;
    const std::ptrdiff_t end = (work.end - work.origin) * channels;
    for (std::ptrdiff_t at = (work.begin - work.origin) * channels; at < end;
         at += 4, columns += 4) {
        __m256d block[4];
        ZA_UNROLL
        for (std::size_t i = 0; i < 4; ++i)
            block[i] = _mm256_loadu_pd(work.rows[i] + at);
        transposeFour(block);
        ZA_UNROLL
        for (std::size_t i = 0; i < 4; ++i)
            columns[i] = block[i];
    }
}

template <int kCount>
ZA_AVX2 ZA_INLINE void sumUpWide(const __m256d* columns, std::size_t step, const double* weights,
                                 int count, __m256d* sums) {
    __m256d sum[kCount];
    ZA_UNROLL
    for (__m256d& s : sum)
        s = _mm256_setzero_pd();
    for (int tap = 0; tap < count; ++tap, columns += step) {
        const __m256d weight = _mm256_broadcast_sd(weights + tap);
        ZA_UNROLL
        for (std::size_t i = 0; i < kCount; ++i)
            sum[i] = _mm256_add_pd(sum[i], _mm256_mul_pd(columns[i], weight));
    }
    ZA_UNROLL
    for (std::size_t i = 0; i < kCount; ++i)
        sums[i] = sum[i];
}

template <int kChannels>
ZA_AVX2 void sumRowsWide(const WideKernels::Work& work, const __m256d* columns, __m256d* stage) {
    const int channels = work.channels;
    const auto step = static_cast<std::size_t>(channels);
    for (int first = 0; first < work.outputs; first += kGroup) {
        const int count = std::min(kGroup, work.outputs - first);
        __m256d* sums = stage;
        for (const Taps* taps = work.taps + first; taps != work.taps + first + count; ++taps) {
            const __m256d* from =
                columns + static_cast<std::size_t>(taps->left - work.begin) * step;
            for (int channel = 0; channel < channels; channel += kChannels, sums += kChannels)
                sumUpWide<kChannels>(from + channel, step, work.weights + taps->weights,
                                     taps->count, sums);
        }
        const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(first) * channels;
        for (int value = 0; value < count * channels; value += 4) {
            __m256d block[4] = {stage[value], stage[value + 1], stage[value + 2], stage[value + 3]};
            transposeFour(block);
            ZA_UNROLL
            for (std::size_t i = 0; i < 4; ++i)
                _mm256_storeu_pd(work.results[i] + at + value, block[i]);
        }
    }
}

ZA_AVX2 void horizontalWide(const WideKernels::Work& work) {
    auto* stage = static_cast<__m256d*>(work.scratch);
    __m256d* columns = stage + stageSize(work.channels);
    transposeWide(work, columns);
    switch (work.channels) {
        case 2:
            return sumRowsWide<2>(work, columns, stage);
        case 3:
            return sumRowsWide<3>(work, columns, stage);
        case 4:
            return sumRowsWide<4>(work, columns, stage);
        default:
            return sumRowsWide<1>(work, columns, stage);
    }
}

ZA_AVX2 void verticalWide(const double* const* rows, const double* weights, int count,
                          std::size_t values, double* results) {
    for (std::size_t at = 0; at < values; at += 16) {
        __m256d sum[4];
        ZA_UNROLL
        for (__m256d& s : sum)
            s = _mm256_setzero_pd();
        for (int row = 0; row < count; ++row) {
            const __m256d weight = _mm256_broadcast_sd(weights + row);
            ZA_UNROLL
            for (std::size_t i = 0; i < 4; ++i)
                sum[i] = _mm256_add_pd(
                    sum[i], _mm256_mul_pd(_mm256_loadu_pd(rows[row] + at + 4 * i), weight));
        }
        ZA_UNROLL
        for (std::size_t i = 0; i < 4; ++i)
            _mm256_storeu_pd(results + at + 4 * i, sum[i]);
    }
}

constexpr ScalingKernels kAvx2 = {
    {kByteRows, kByteTaps, sizeof(std::int16_t), byteScratchSize, nullptr, horizontalBytes,
     verticalBytes, verticalToBytes, nullptr, nullptr},
    {kWideRows, wideScratchSize, horizontalWide, verticalWide}};

}  // namespace

const ScalingKernels* avx2ScalingKernels() {
    return __builtin_cpu_supports("avx2") ? &kAvx2 : nullptr;
}

}  // namespace za::imaging

#else

const za::imaging::ScalingKernels* za::imaging::avx2ScalingKernels() {
    return nullptr;
}

#endif
