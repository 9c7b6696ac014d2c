// Base64 with vectors of 64 bytes, after W. Muła and D. Lemire, "Base64 encoding and decoding at
// almost the speed of a memory copy", 2019.

#include "zaUtils/Encoding/Internal/Base64Kernels.h"

#if defined(__x86_64__)

#include <immintrin.h>

#define ZA_AVX512 __attribute__((target("avx512f,avx512bw,avx512vbmi,avx512vbmi2,popcnt")))
#define ZA_INLINE inline __attribute__((always_inline))

namespace {

using za::base64::Cursor;
using za::base64::Kernels;

constexpr std::size_t kVector = 64;
constexpr __mmask64 kPacked = 0x0000FFFFFFFFFFFF;  // the bytes of 64 values

// The forms of instructions without a mask make one of our compilers warn of its own header.
constexpr __mmask64 kAll = 0xFFFFFFFFFFFFFFFF;

/// Contents for a register.
struct Lookup {
    alignas(64) unsigned char bytes[64] = {};
};

/// For each value its character.
constexpr Lookup characters() {
    Lookup lookup;
    for (unsigned char value = 0; value < 64; ++value)
        lookup.bytes[value] = static_cast<unsigned char>(za::base64::kAlphabet[value]);
    return lookup;
}

/// For each 32 bits the three bytes of a group: the second, the first, the third, the second.
constexpr Lookup spreading() {
    Lookup lookup;
    for (int group = 0; group < 16; ++group) {
        for (int k = 0; k < 4; ++k)
            lookup.bytes[4 * group + k] = static_cast<unsigned char>(3 * group + "\1\0\2\1"[k]);
    }
    return lookup;
}

/// The bytes of each 32 bits in which a group has been put together, highest first.
constexpr Lookup packing() {
    Lookup lookup;
    for (int byte = 0; byte < 48; ++byte)
        lookup.bytes[byte] = static_cast<unsigned char>(byte / 3 * 4 + 2 - byte % 3);
    return lookup;
}

/// The values of the characters from `First`, 0x80 for those that have none.
template <int First>
constexpr Lookup values() {
    Lookup lookup;
    for (unsigned char& byte : lookup.bytes)
        byte = 0x80;
    for (unsigned char value = 0; value < 64; ++value) {
        const int place = za::base64::kAlphabet[value] - First;
        if (place >= 0 && place < 64) lookup.bytes[place] = value;
    }
    return lookup;
}

constexpr Lookup kCharacters = characters();
constexpr Lookup kSpreading = spreading();
constexpr Lookup kPacking = packing();
constexpr Lookup kLowValues = values<0>();
constexpr Lookup kHighValues = values<64>();

ZA_AVX512 ZA_INLINE __m512i load(const unsigned char* bytes) {
    return _mm512_loadu_si512(bytes);
}

ZA_AVX512 ZA_INLINE __m512i load(const Lookup& lookup) {
    return _mm512_load_si512(lookup.bytes);
}

ZA_AVX512 std::size_t encode(const unsigned char* source, std::size_t length, char* target) {
    // Where each value lies in 64 bits of two spread groups; two bits of no meaning are above it.
    const __m512i shifts = _mm512_set1_epi64(0x3036242A1016040A);
    std::size_t done = 0;
    for (; length - done >= 48; done += 48, target += kVector) {
        const __m512i bytes = _mm512_maskz_loadu_epi8(kPacked, source + done);
        const __m512i spread = _mm512_maskz_permutexvar_epi8(kAll, load(kSpreading), bytes);
        const __m512i values = _mm512_maskz_multishift_epi64_epi8(kAll, shifts, spread);
        _mm512_storeu_si512(target, _mm512_maskz_permutexvar_epi8(kAll, values, load(kCharacters)));
    }
    return done;
}

ZA_AVX512 ZA_INLINE __m512i valuesOf(__m512i characters) {
    return _mm512_permutex2var_epi8(load(kLowValues), characters, load(kHighValues));
}

/// Bytes of 0x80 and more have the value of another character.
ZA_AVX512 ZA_INLINE __mmask64 foreignOf(__m512i characters, __m512i values) {
    return _mm512_movepi8_mask(_mm512_or_si512(characters, values));
}

/// The 48 bytes of 64 values, and zeros.
ZA_AVX512 ZA_INLINE __m512i pack(__m512i values) {
    const __m512i pairs = _mm512_maddubs_epi16(values, _mm512_set1_epi32(0x01400140));
    const __m512i groups = _mm512_madd_epi16(pairs, _mm512_set1_epi32(0x00011000));
    return _mm512_maskz_permutexvar_epi8(kPacked, load(kPacking), groups);
}

/// Writes the 48 bytes of 64 values, and no more.
ZA_AVX512 ZA_INLINE void packTo(unsigned char* target, __m512i values) {
    _mm512_mask_storeu_epi8(target, kPacked, pack(values));
}

/// The same where more than 16 bytes are certain to be written behind them.
ZA_AVX512 ZA_INLINE void packBefore(unsigned char* target, __m512i values) {
    _mm512_storeu_si512(target, pack(values));
}

ZA_AVX512 void decodeClean(Cursor& cursor) {
    const unsigned char* source = cursor.source;
    unsigned char* target = cursor.target;
    for (; cursor.end - source >= 256; source += 256, target += 192) {
        const __m512i a = load(source), b = load(source + 64);
        const __m512i c = load(source + 128), d = load(source + 192);
        const __m512i e = valuesOf(a), f = valuesOf(b), g = valuesOf(c), h = valuesOf(d);
        const __m512i early = _mm512_or_si512(_mm512_or_si512(a, b), _mm512_or_si512(e, f));
        const __m512i late = _mm512_or_si512(_mm512_or_si512(c, d), _mm512_or_si512(g, h));
        if (foreignOf(early, late) != 0) break;
        packBefore(target, e);
        packBefore(target + 48, f);
        packBefore(target + 96, g);
        packTo(target + 144, h);
    }
    for (; cursor.end - source >= 64; source += 64, target += 48) {
        const __m512i characters = load(source);
        const __m512i values = valuesOf(characters);
        if (foreignOf(characters, values) != 0) break;
        packTo(target, values);
    }
    cursor.source = source;
    cursor.target = target;
}

/// Writes the bytes of all whole vectors and keeps the other values.
/// @return how many these are
ZA_AVX512 ZA_INLINE std::size_t flush(unsigned char* stage, std::size_t count,
                                      unsigned char*& target) {
    std::size_t done = 0;
    for (; count - done >= kVector; done += kVector, target += 48)
        packTo(target, load(stage + done));
    _mm512_storeu_si512(stage, load(stage + done));
    return count - done;
}

ZA_AVX512 void decodeSkipping(Cursor& cursor) {
    constexpr std::size_t kStageFull = 1024;
    decodeClean(cursor);
    if (cursor.end - cursor.source < 64) return;

    // Values wait here until there is a vector of them.
    unsigned char stage[kStageFull + kVector];
    std::size_t count = 0;
    const unsigned char* source = cursor.source;
    for (; cursor.end - source >= 64; source += 64) {
        const __m512i characters = load(source);
        if (_mm512_cmpeq_epi8_mask(characters, _mm512_set1_epi8('=')) != 0) break;
        const __m512i values = valuesOf(characters);
        const __mmask64 wanted = ~foreignOf(characters, values);
        _mm512_storeu_si512(stage + count, _mm512_maskz_compress_epi8(wanted, values));
        count += static_cast<std::size_t>(_mm_popcnt_u64(wanted));
        if (count >= kStageFull) count = flush(stage, count, cursor.target);
    }
    cursor.source = source;
    count = flush(stage, count, cursor.target);
    takeValues(cursor, stage, count);
}

constexpr Kernels kAvx512 = {encode, decodeClean, decodeSkipping};

}  // namespace

const Kernels* za::base64::avx512Kernels() {
    const bool isThere = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                         __builtin_cpu_supports("avx512vbmi") &&
                         __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("popcnt");
    return isThere ? &kAvx512 : nullptr;
}

#else

const za::base64::Kernels* za::base64::avx512Kernels() {
    return nullptr;
}

#endif
