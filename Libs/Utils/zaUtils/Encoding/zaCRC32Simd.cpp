// The CRC-32 by carry-less multiplication, after V. Gopal, E. Ozturk and others, "Fast CRC
// Computation for Generic Polynomials Using PCLMULQDQ Instruction", 2009.
//
// A register holds 16 bytes of the message (a wide one several times 16), their first bit being the
// highest power of x. Folding carries a register over a distance of bits: it adds to the bytes so
// far ahead what leaves the same remainder. At the end the last 16 bytes are divided.

#include "zaUtils/Encoding/Internal/CRC32Kernels.h"

#if defined(__x86_64__)

#include <immintrin.h>

#define ZA_INLINE inline __attribute__((always_inline))
#define ZA_TARGET_128 __attribute__((target("sse4.1,pclmul")))
#define ZA_TARGET_AVX __attribute__((target("avx,pclmul")))
#define ZA_TARGET_256 __attribute__((target("avx2,pclmul,vpclmulqdq")))
#define ZA_TARGET_512 __attribute__((target("avx2,avx512f,pclmul,vpclmulqdq")))

namespace {

using Bytes = const unsigned char*;

// --- constants ---

/// x^exponent modulo the polynomial, one bit up: the product of two reflected values comes out one
/// bit too low.
constexpr std::uint64_t power(int exponent) {
    std::uint32_t remainder = 0x80000000;
    for (; exponent > 0; --exponent)
        remainder = za::crc32::timesX(remainder);
    return std::uint64_t{remainder} << 1;
}

/// The quotient of x^96 and the polynomial, reflected, without the coefficient of x^0.
constexpr std::uint64_t barrettQuotient() {
    std::uint64_t quotient = 0;
    std::uint32_t remainder = 0x80000000;
    for (int step = 1; step < 96; ++step) {
        if (remainder & 1) quotient |= std::uint64_t{1} << (step - 32);
        remainder = za::crc32::timesX(remainder);
    }
    return quotient;
}

constexpr std::uint64_t kQuotient = barrettQuotient();
constexpr std::uint64_t kReflectedPolynomial = std::uint64_t{za::crc32::kPolynomial} << 1 | 1;

// Values that the paper prints; its quotient is that of x^64.
static_assert(power(4 * 128 + 32) == 0x154442BD4 && power(4 * 128 - 32) == 0x1C6E41596);
static_assert((kQuotient & 0x1FFFFFFFF) == 0x1F7011641 && kReflectedPolynomial == 0x1DB710641);

/// Factors that carry the low (earlier) and high (later) half of 16 bytes over a distance of bits.
template <int Distance>
constexpr long long kLow = static_cast<long long>(power(Distance + 32));
template <int Distance>
constexpr long long kHigh = static_cast<long long>(power(Distance - 32));

// --- 128 bits ---

ZA_TARGET_128 ZA_INLINE __m128i load(Bytes bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

/// What `value` adds to the bytes that lie `Distance` bits behind it.
template <int Distance>
ZA_TARGET_128 ZA_INLINE __m128i fold(__m128i value, __m128i target) {
    const __m128i factors = _mm_set_epi64x(kHigh<Distance>, kLow<Distance>);
    return _mm_xor_si128(target, _mm_xor_si128(_mm_clmulepi64_si128(value, factors, 0x00),
                                               _mm_clmulepi64_si128(value, factors, 0x11)));
}

/// The remainder of 16 bytes: folds them to 12, estimates the quotient and subtracts so many times
/// the polynomial (Barrett). The bits that are no part of a step fall out of the next one.
ZA_TARGET_128 ZA_INLINE std::uint32_t divide(__m128i value) {
    const __m128i carry = _mm_cvtsi64_si128(kHigh<128>);
    const __m128i quotient = _mm_cvtsi64_si128(static_cast<long long>(kQuotient));
    const __m128i polynomial = _mm_cvtsi64_si128(static_cast<long long>(kReflectedPolynomial));

    value = _mm_xor_si128(_mm_srli_si128(value, 8), _mm_clmulepi64_si128(value, carry, 0x00));
    const __m128i times = _mm_clmulepi64_si128(value, quotient, 0x00);
    value = _mm_xor_si128(value, _mm_clmulepi64_si128(times, polynomial, 0x00));
    return static_cast<std::uint32_t>(_mm_extract_epi32(value, 2));
}

/// Takes in the last `length` (1 to 15) bytes, which lie behind at least 16 others.
ZA_TARGET_128 ZA_INLINE __m128i foldTail(__m128i value, Bytes bytes, std::size_t length) {
    // Read from `length`, the middle part moves bytes down by `length`, what comes in is zero; read
    // from 16 less, it moves them up.
    alignas(16) static constexpr signed char kMoves[48] = {
        -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  //
        0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,  //
        -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    const auto* moves = reinterpret_cast<Bytes>(kMoves);
    const __m128i down = load(moves + 16 + length);
    const __m128i early = _mm_shuffle_epi8(value, load(moves + length));
    const __m128i late =
        _mm_blendv_epi8(_mm_shuffle_epi8(value, down), load(bytes + length - 16), down);
    return fold<128>(early, late);
}

/// The remainder of a register and the bytes that follow it.
ZA_TARGET_128 ZA_INLINE std::uint32_t finish(__m128i value, Bytes bytes, std::size_t length) {
    for (; length >= 16; length -= 16, bytes += 16)
        value = fold<128>(value, load(bytes));
    if (length > 0) value = foldTail(value, bytes, length);
    return divide(value);
}

ZA_TARGET_128 ZA_INLINE std::uint32_t update(std::uint32_t remainder, Bytes bytes,
                                             std::size_t length) {
    if (length < 16) return za::crc32::updateBySlices(remainder, bytes, length);
    const __m128i start = _mm_cvtsi32_si128(static_cast<int>(remainder));
    __m128i a = _mm_xor_si128(load(bytes), start);
    if (length < 128) return finish(a, bytes + 16, length - 16);

    __m128i b = load(bytes + 16), c = load(bytes + 32), d = load(bytes + 48);
    __m128i e = load(bytes + 64), f = load(bytes + 80), g = load(bytes + 96);
    __m128i h = load(bytes + 112);
    for (bytes += 128, length -= 128; length >= 128; bytes += 128, length -= 128) {
        a = fold<1024>(a, load(bytes));
        b = fold<1024>(b, load(bytes + 16));
        c = fold<1024>(c, load(bytes + 32));
        d = fold<1024>(d, load(bytes + 48));
        e = fold<1024>(e, load(bytes + 64));
        f = fold<1024>(f, load(bytes + 80));
        g = fold<1024>(g, load(bytes + 96));
        h = fold<1024>(h, load(bytes + 112));
    }
    e = fold<512>(a, e);
    f = fold<512>(b, f);
    g = fold<512>(c, g);
    h = fold<512>(d, h);
    return finish(fold<128>(fold<256>(e, g), fold<256>(f, h)), bytes, length);
}

ZA_TARGET_128 std::uint32_t update128(std::uint32_t remainder, Bytes bytes, std::size_t length) {
    return update(remainder, bytes, length);
}

/// The same with instructions of three operands, which spares many moves.
ZA_TARGET_AVX std::uint32_t update128Avx(std::uint32_t remainder, Bytes bytes, std::size_t length) {
    return update(remainder, bytes, length);
}

// --- 256 bits ---

ZA_TARGET_256 ZA_INLINE __m256i load256(Bytes bytes) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
}

template <int Distance>
ZA_TARGET_256 ZA_INLINE __m256i fold256(__m256i value, __m256i target) {
    const __m256i factors =
        _mm256_set_epi64x(kHigh<Distance>, kLow<Distance>, kHigh<Distance>, kLow<Distance>);
    return _mm256_xor_si256(target,
                            _mm256_xor_si256(_mm256_clmulepi64_epi128(value, factors, 0x00),
                                             _mm256_clmulepi64_epi128(value, factors, 0x11)));
}

ZA_TARGET_256 ZA_INLINE __m128i narrow256(__m256i value) {
    return fold<128>(_mm256_castsi256_si128(value), _mm256_extracti128_si256(value, 1));
}

ZA_TARGET_256 std::uint32_t update256(std::uint32_t remainder, Bytes bytes, std::size_t length) {
    if (length < 128) return update128Avx(remainder, bytes, length);
    const __m128i start = _mm_cvtsi32_si128(static_cast<int>(remainder));
    __m256i a = _mm256_xor_si256(load256(bytes), _mm256_zextsi128_si256(start));
    __m256i b = load256(bytes + 32), c = load256(bytes + 64), d = load256(bytes + 96);
    for (bytes += 128, length -= 128; length >= 128; bytes += 128, length -= 128) {
        a = fold256<1024>(a, load256(bytes));
        b = fold256<1024>(b, load256(bytes + 32));
        c = fold256<1024>(c, load256(bytes + 64));
        d = fold256<1024>(d, load256(bytes + 96));
    }
    d = fold256<256>(fold256<512>(a, c), fold256<512>(b, d));
    for (; length >= 32; bytes += 32, length -= 32)
        d = fold256<256>(d, load256(bytes));
    return finish(narrow256(d), bytes, length);
}

// --- 512 bits ---

ZA_TARGET_512 ZA_INLINE __m512i load512(Bytes bytes) {
    return _mm512_loadu_si512(bytes);
}

ZA_TARGET_512 ZA_INLINE __m512i foldBy(__m512i factors, __m512i value, __m512i target) {
    constexpr int kXorOfThree = 0x96;
    return _mm512_ternarylogic_epi64(_mm512_clmulepi64_epi128(value, factors, 0x00),
                                     _mm512_clmulepi64_epi128(value, factors, 0x11), target,
                                     kXorOfThree);
}

template <int Distance>
ZA_TARGET_512 ZA_INLINE __m512i fold512(__m512i value, __m512i target) {
    constexpr long long low = kLow<Distance>, high = kHigh<Distance>;
    return foldBy(_mm512_set_epi64(high, low, high, low, high, low, high, low), value, target);
}

/// What the four lanes add to the last lane of a register that lies `Between` lanes behind the last
/// of them. That one itself (behind by none) stays out.
template <int Between>
ZA_TARGET_512 ZA_INLINE __m512i foldToLast(__m512i value, __m512i target) {
    constexpr int kNext = Between > 0 ? 128 * Between : 128;
    constexpr long long low = Between > 0 ? kLow<kNext> : 0, high = Between > 0 ? kHigh<kNext> : 0;
    const __m512i factors =
        _mm512_set_epi64(high, low, kHigh<128 * Between + 128>, kLow<128 * Between + 128>,
                         kHigh<128 * Between + 256>, kLow<128 * Between + 256>,
                         kHigh<128 * Between + 384>, kLow<128 * Between + 384>);
    return foldBy(factors, value, target);
}

ZA_TARGET_512 ZA_INLINE __m512i lastLane(__m512i value) {
    return _mm512_maskz_mov_epi64(0xC0, value);
}

/// (Without the masks, which take everything, one of our compilers warns of its own header.)
ZA_TARGET_512 ZA_INLINE __m128i sumOfLanes(__m512i value) {
    constexpr __mmask8 kAll = 0xFF;
    const __m256i pairs = _mm256_xor_si256(_mm512_maskz_extracti64x4_epi64(kAll, value, 0),
                                           _mm512_maskz_extracti64x4_epi64(kAll, value, 1));
    return _mm_xor_si128(_mm256_castsi256_si128(pairs), _mm256_extracti128_si256(pairs, 1));
}

ZA_TARGET_512 ZA_INLINE __m128i narrow512(__m512i value) {
    return sumOfLanes(foldToLast<0>(value, lastLane(value)));
}

ZA_TARGET_512 std::uint32_t update512(std::uint32_t remainder, Bytes bytes, std::size_t length) {
    if (length < 64) return update128Avx(remainder, bytes, length);
    const __m128i start = _mm_cvtsi32_si128(static_cast<int>(remainder));
    __m512i a = _mm512_xor_si512(load512(bytes), _mm512_zextsi128_si512(start));
    bytes += 64;
    length -= 64;
    if (length >= 192) {
        __m512i b = load512(bytes), c = load512(bytes + 64), d = load512(bytes + 128);
        for (bytes += 192, length -= 192; length >= 256; bytes += 256, length -= 256) {
            a = fold512<2048>(a, load512(bytes));
            b = fold512<2048>(b, load512(bytes + 64));
            c = fold512<2048>(c, load512(bytes + 128));
            d = fold512<2048>(d, load512(bytes + 192));
        }
        if (length < 64) {
            // All side by side, as a short message waits for nothing else.
            const __m512i late = foldToLast<4>(c, foldToLast<0>(d, lastLane(d)));
            const __m512i early = foldToLast<12>(a, foldToLast<8>(b, _mm512_setzero_si512()));
            return finish(sumOfLanes(_mm512_xor_si512(early, late)), bytes, length);
        }
        a = fold512<512>(fold512<1024>(a, c), fold512<1024>(b, d));
    }
    for (; length >= 64; bytes += 64, length -= 64)
        a = fold512<512>(a, load512(bytes));
    return finish(narrow512(a), bytes, length);
}

}  // namespace

za::crc32::Kernel za::crc32::kernel128() {
    return __builtin_cpu_supports("sse4.1") && __builtin_cpu_supports("pclmul") ? update128
                                                                                : nullptr;
}

za::crc32::Kernel za::crc32::kernel128Avx() {
    return kernel128() && __builtin_cpu_supports("avx") ? update128Avx : nullptr;
}

za::crc32::Kernel za::crc32::kernel256() {
    return kernel128Avx() && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("vpclmulqdq")
               ? update256
               : nullptr;
}

za::crc32::Kernel za::crc32::kernel512() {
    return kernel256() && __builtin_cpu_supports("avx512f") ? update512 : nullptr;
}

#else

za::crc32::Kernel za::crc32::kernel128() {
    return nullptr;
}

za::crc32::Kernel za::crc32::kernel128Avx() {
    return nullptr;
}

za::crc32::Kernel za::crc32::kernel256() {
    return nullptr;
}

za::crc32::Kernel za::crc32::kernel512() {
    return nullptr;
}

#endif
