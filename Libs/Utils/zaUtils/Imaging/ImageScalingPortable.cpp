#include <algorithm>
#include <cstdint>
#include <iterator>

#include "zaUtils/Imaging/Internal/ScalingKernels.h"

namespace za::imaging {

namespace {

// The portable ways read rows where they lie.
constexpr std::size_t kRows = 1;

std::size_t noScratch(int, int) {
    return 0;
}

std::int32_t halfOf(int shift) {
    return shift > 0 ? std::int32_t{1} << (shift - 1) : 0;
}

void horizontalBytes(const ByteKernels::Work& work) {
    const int channels = work.channels;
    for (int x = 0; x < work.outputs; ++x) {
        const Taps& taps = work.taps[x];
        const std::int16_t* weights = work.weights + taps.weights;
        for (int channel = 0; channel < channels; ++channel) {
            const unsigned char* sample =
                work.rows[0] + static_cast<std::ptrdiff_t>(taps.left - work.origin) * channels +
                channel;
            std::int32_t sum = halfOf(work.shift);
            for (int tap = 0; tap < taps.count; ++tap, sample += channels)
                sum += weights[tap] * *sample;
            work.results[0][static_cast<std::ptrdiff_t>(x) * channels + channel] =
                static_cast<std::int16_t>(sum >> work.shift);
        }
    }
}

// Values that are done at a time; rows have that much behind them.
constexpr std::size_t kBlock = 8;
static_assert(kBlock <= kRowSlack);

void sumUp(const std::int16_t* const* rows, const std::int16_t* weights, int count, int shift,
           std::size_t first, std::int32_t (&sums)[kBlock]) {
    std::fill(std::begin(sums), std::end(sums), halfOf(shift));
    for (int row = 0; row < count; ++row) {
        const std::int16_t* values = rows[row] + first;
        for (std::size_t i = 0; i < kBlock; ++i)
            sums[i] += weights[row] * values[i];
    }
    for (std::int32_t& sum : sums)
        sum >>= shift;
}

void vertical(const std::int16_t* const* rows, const std::int16_t* weights, int count, int shift,
              std::size_t values, std::int16_t* results) {
    std::int32_t sums[kBlock];
    for (std::size_t first = 0; first < values; first += kBlock) {
        sumUp(rows, weights, count, shift, first, sums);
        for (std::size_t i = 0; i < kBlock; ++i)
            results[first + i] = static_cast<std::int16_t>(sums[i]);
    }
}

void verticalToBytes(const std::int16_t* const* rows, const std::int16_t* weights, int count,
                     int shift, std::size_t values, unsigned char* results) {
    std::int32_t sums[kBlock];
    for (std::size_t first = 0; first < values; first += kBlock) {
        sumUp(rows, weights, count, shift, first, sums);
        for (std::size_t i = first; i < std::min(first + kBlock, values); ++i)
            results[i] = static_cast<unsigned char>(std::clamp(sums[i - first], 0, 255));
    }
}

void horizontalWide(const WideKernels::Work& work) {
    const int channels = work.channels;
    for (int x = 0; x < work.outputs; ++x) {
        const Taps& taps = work.taps[x];
        const double* weights = work.weights + taps.weights;
        for (int channel = 0; channel < channels; ++channel) {
            const double* sample = work.rows[0] +
                                   static_cast<std::ptrdiff_t>(taps.left - work.origin) * channels +
                                   channel;
            double sum = 0.0;
            for (int tap = 0; tap < taps.count; ++tap, sample += channels)
                sum += weights[tap] * *sample;
            work.results[0][static_cast<std::ptrdiff_t>(x) * channels + channel] = sum;
        }
    }
}

void verticalWide(const double* const* rows, const double* weights, int count, std::size_t values,
                  double* results) {
    for (std::size_t first = 0; first < values; first += kBlock) {
        double sums[kBlock] = {};
        for (int row = 0; row < count; ++row) {
            const double* source = rows[row] + first;
            for (std::size_t i = 0; i < kBlock; ++i)
                sums[i] += weights[row] * source[i];
        }
        std::copy(std::begin(sums), std::end(sums), results + first);
    }
}

constexpr ScalingKernels kPortable = {
    {kRows, 1, 1, noScratch, nullptr, horizontalBytes, vertical, verticalToBytes, nullptr, nullptr},
    {kRows, noScratch, horizontalWide, verticalWide}};

}  // namespace

const ScalingKernels& portableScalingKernels() {
    return kPortable;
}

const ScalingKernels& fastestScalingKernels() {
    static const ScalingKernels* const best = [] {
        if (const ScalingKernels* kernels = avx512ScalingKernels()) return kernels;
        const ScalingKernels* kernels = avx2ScalingKernels();
        return kernels ? kernels : &kPortable;
    }();
    return *best;
}

}  // namespace za::imaging
