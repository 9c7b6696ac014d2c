// Base64 with vectors of 32 bytes, after W. Muła and D. Lemire, "Faster Base64 Encoding and
// Decoding Using AVX2 Instructions", 2018.

#include "zaUtils/Encoding/Internal/Base64Kernels.h"

#if defined(__x86_64__)

#include <immintrin.h>

#define ZA_AVX2 __attribute__((target("avx2,bmi,popcnt")))
#define ZA_INLINE inline __attribute__((always_inline))

namespace {

using za::base64::Cursor;
using za::base64::Kernels;

constexpr std::size_t kVector = 32;

ZA_AVX2 ZA_INLINE __m256i load(const unsigned char* bytes) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
}

ZA_AVX2 ZA_INLINE void store(unsigned char* bytes, __m256i values) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), values);
}

/// The same 16 bytes in both halves.
ZA_AVX2 ZA_INLINE __m256i twice(__m128i half) {
    return _mm256_broadcastsi128_si256(half);
}

// --- encoding ---

/// Bits 0-5 of each byte from 12 bytes in the low part of each half.
ZA_AVX2 ZA_INLINE __m256i unpackValues(__m256i bytes) {
    // Each group of three, as 16-bit words: the second and first byte, the third and second.
    const __m256i words = _mm256_shuffle_epi8(
        bytes, twice(_mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10)));
    // Multiplications shift each word by a distance of its own.
    const __m256i even = _mm256_mulhi_epu16(_mm256_and_si256(words, _mm256_set1_epi32(0x0FC0FC00)),
                                            _mm256_set1_epi32(0x04000040));
    const __m256i odd = _mm256_mullo_epi16(_mm256_and_si256(words, _mm256_set1_epi32(0x003F03F0)),
                                           _mm256_set1_epi32(0x01000010));
    return _mm256_or_si256(even, odd);
}

ZA_AVX2 ZA_INLINE __m256i charactersOf(__m256i values) {
    // 0 for 26-51, 1-10 for the digits, 11 and 12 for the signs, 13 for 0-25.
    __m256i range = _mm256_subs_epu8(values, _mm256_set1_epi8(51));
    const __m256i isUpper = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), values);
    range = _mm256_or_si256(range, _mm256_and_si256(isUpper, _mm256_set1_epi8(13)));
    constexpr char kLower = 'a' - 26, kDigit = '0' - 52;
    const __m256i offsets =
        twice(_mm_setr_epi8(kLower, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit, kDigit,
                            kDigit, kDigit, '+' - 62, '/' - 63, 'A', 0, 0));
    return _mm256_add_epi8(values, _mm256_shuffle_epi8(offsets, range));
}

ZA_AVX2 std::size_t encode(const unsigned char* source, std::size_t length, char* target) {
    constexpr std::size_t kGroups = 24, kRead = 28;  // the second half reads four bytes too many
    std::size_t done = 0;
    for (; length - done >= kRead; done += kGroups, target += kVector) {
        const auto* low = reinterpret_cast<const __m128i*>(source + done);
        const auto* high = reinterpret_cast<const __m128i*>(source + done + 12);
        const __m256i bytes = _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(low)),
                                                      _mm_loadu_si128(high), 1);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(target), charactersOf(unpackValues(bytes)));
    }
    return done;
}

// --- decoding ---

struct Values {
    __m256i values;   ///< meaningless where the character has none
    __m256i foreign;  ///< above 0 where the character has none
};

ZA_AVX2 ZA_INLINE Values valuesOf(__m256i characters) {
    // A character is foreign when the sets of its high and of its low half have a bit in common.
    // High: 0x01 for 2, 0x02 for 3, 0x04 for 4 and 6, 0x08 for 5 and 7, 0x10 for all others.
    const __m256i setsOfHigh = twice(_mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08,
                                                   0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10));
    const __m256i setsOfLow = twice(_mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                                  0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A));
    const __m256i nibble = _mm256_set1_epi8(0x0F);
    const __m256i high = _mm256_and_si256(_mm256_srli_epi32(characters, 4), nibble);
    const __m256i low = _mm256_and_si256(characters, nibble);
    const __m256i foreign = _mm256_and_si256(_mm256_shuffle_epi8(setsOfHigh, high),
                                             _mm256_shuffle_epi8(setsOfLow, low));

    // Both signs have the high half 2; '/' takes the entry before.
    const __m256i offsets = twice(_mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A',
                                                26 - 'a', 26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0));
    const __m256i isSlash = _mm256_cmpeq_epi8(characters, _mm256_set1_epi8('/'));
    const __m256i entry = _mm256_add_epi8(high, isSlash);
    return {_mm256_add_epi8(characters, _mm256_shuffle_epi8(offsets, entry)), foreign};
}

ZA_AVX2 ZA_INLINE unsigned maskOf(__m256i foreign) {
    return static_cast<unsigned>(
        _mm256_movemask_epi8(_mm256_cmpgt_epi8(foreign, _mm256_setzero_si256())));
}

/// The 24 bytes of 32 values, and eight bytes of no meaning.
ZA_AVX2 ZA_INLINE __m256i pack(__m256i values) {
    const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    const __m256i packed = _mm256_shuffle_epi8(
        groups, twice(_mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1)));
    return _mm256_permutevar8x32_epi32(packed, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
}

/// Writes the 24 bytes of 32 values, and no more.
ZA_AVX2 ZA_INLINE void packTo(unsigned char* target, __m256i values) {
    const __m256i packed = pack(values);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(target), _mm256_castsi256_si128(packed));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(target + 16), _mm256_extracti128_si256(packed, 1));
}

/// The same where more than eight bytes are certain to be written behind them.
ZA_AVX2 ZA_INLINE void packBefore(unsigned char* target, __m256i values) {
    store(target, pack(values));
}

ZA_AVX2 void decodeClean(Cursor& cursor) {
    const unsigned char* source = cursor.source;
    unsigned char* target = cursor.target;
    for (; cursor.end - source >= 128; source += 128, target += 96) {
        const Values a = valuesOf(load(source)), b = valuesOf(load(source + 32));
        const Values c = valuesOf(load(source + 64)), d = valuesOf(load(source + 96));
        const __m256i foreign = _mm256_or_si256(_mm256_or_si256(a.foreign, b.foreign),
                                                _mm256_or_si256(c.foreign, d.foreign));
        if (maskOf(foreign) != 0) break;
        packBefore(target, a.values);
        packBefore(target + 24, b.values);
        packBefore(target + 48, c.values);
        packTo(target + 72, d.values);
    }
    for (; cursor.end - source >= 32; source += 32, target += 24) {
        const Values a = valuesOf(load(source));
        if (maskOf(a.foreign) != 0) break;
        packTo(target, a.values);
    }
    cursor.source = source;
    cursor.target = target;
}

// Values wait here until there is a vector of them. The functions get and return how many do: what
// lies in memory would be read and written again for each vector.
constexpr std::size_t kStageFull = 1024;

/// Writes the bytes of all whole vectors and keeps the other values.
ZA_AVX2 ZA_INLINE std::size_t flush(unsigned char* stage, std::size_t count,
                                    unsigned char*& target) {
    std::size_t done = 0;
    for (; count - done >= kVector; done += kVector, target += 24)
        packTo(target, load(stage + done));
    store(stage, load(stage + done));
    return count - done;
}

/// Takes a vector that has many foreign characters, and no padding.
std::size_t stageEach(unsigned char* stage, std::size_t count, const unsigned char* source) {
    for (std::size_t i = 0; i < kVector; ++i) {
        const std::uint8_t value = za::base64::valueOf(source[i]);
        stage[count] = value;
        count += value < za::base64::kPadding;
    }
    return count;
}

ZA_AVX2 ZA_INLINE bool hasPadding(__m256i characters) {
    return _mm256_movemask_epi8(_mm256_cmpeq_epi8(characters, _mm256_set1_epi8('='))) != 0;
}

/// Takes a vector that has few foreign characters; reads as much again behind it.
ZA_AVX2 ZA_INLINE std::size_t stageParts(unsigned char* stage, std::size_t count,
                                         const unsigned char* source, unsigned foreign) {
    std::size_t skipped = 0;
    for (; foreign != 0; foreign &= foreign - 1) {
        // What follows moves down by one more.
        const std::size_t at = _tzcnt_u32(foreign);
        store(stage + (count + at - skipped), valuesOf(load(source + at + 1)).values);
        ++skipped;
    }
    return count + kVector - skipped;
}

ZA_AVX2 void decodeSkipping(Cursor& cursor) {
    constexpr int kMany = 4;
    decodeClean(cursor);
    if (cursor.end - cursor.source < 64) return;

    unsigned char stage[kStageFull + 2 * kVector];
    std::size_t count = 0;
    const unsigned char *source = cursor.source, *const end = cursor.end;
    for (; end - source >= 64; source += kVector) {
        const __m256i characters = load(source);
        const Values found = valuesOf(characters);
        const unsigned foreign = maskOf(found.foreign);
        store(stage + count, found.values);
        if (foreign == 0) {
            count += kVector;
        } else if (hasPadding(characters)) {
            break;
        } else if (_mm_popcnt_u32(foreign) > kMany) {
            count = stageEach(stage, count, source);
        } else {
            count = stageParts(stage, count, source, foreign);
        }
        if (count >= kStageFull) count = flush(stage, count, cursor.target);
    }
    cursor.source = source;
    count = flush(stage, count, cursor.target);
    takeValues(cursor, stage, count);
}

constexpr Kernels kAvx2 = {encode, decodeClean, decodeSkipping};

}  // namespace

const Kernels* za::base64::avx2Kernels() {
    const bool isThere = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
                         __builtin_cpu_supports("popcnt");
    return isThere ? &kAvx2 : nullptr;
}

#else

const za::base64::Kernels* za::base64::avx2Kernels() {
    return nullptr;
}

#endif
