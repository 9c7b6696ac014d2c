#include <initializer_list>

#include "zaUtils/Encoding/Internal/Base64Kernels.h"
#include "zaUtils/Encoding/Internal/LittleEndian.h"

namespace {

using za::base64::Cursor;
using za::base64::kAlphabet;
using za::base64::Kernels;
using za::base64::kForeign;
using za::base64::kPadding;

/// The characters of any 12 bits, the first one lowest.
struct PairTable {
    std::uint16_t pairs[4096] = {};

    constexpr PairTable() {
        for (int bits = 0; bits < 4096; ++bits) {
            pairs[bits] =
                static_cast<std::uint16_t>(kAlphabet[bits / 64] | kAlphabet[bits % 64] << 8);
        }
    }
};

struct ValueTable {
    std::uint8_t values[256] = {};

    constexpr ValueTable() {
        for (std::uint8_t& value : values)
            value = kForeign;
        for (std::uint8_t value = 0; value < 64; ++value)
            values[static_cast<unsigned char>(kAlphabet[value])] = value;
        values[static_cast<unsigned char>('=')] = kPadding;
    }
};

constexpr PairTable kPairs;
constexpr ValueTable kValues;

// Set in the bytes of a group that has a character of no value.
constexpr std::uint32_t kNoGroup = 0x80000000;

/// What a character adds to the three bytes of its group, the first one lowest, for each of the
/// four places.
struct PlaceTables {
    std::uint32_t places[4][256] = {};

    constexpr PlaceTables() {
        for (int place = 0; place < 4; ++place) {
            for (int character = 0; character < 256; ++character) {
                const std::uint32_t value = kValues.values[character];
                const std::uint32_t bits = value << (18 - 6 * place);
                places[place][character] =
                    value < 64 ? bits >> 16 | (bits & 0xFF00) | (bits & 0xFF) << 16 : kNoGroup;
            }
        }
    }
};

constexpr PlaceTables kPlaces;

/// The three bytes of four characters, or a number with the bit kNoGroup.
inline std::uint32_t groupAt(const unsigned char* source) {
    const auto& places = kPlaces.places;
    const std::uint32_t characters = za::loadLittle32(source);
    return places[0][characters & 0xFF] | places[1][characters >> 8 & 0xFF] |
           places[2][characters >> 16 & 0xFF] | places[3][characters >> 24];
}

/// Eight bytes, the first one highest.
inline std::uint64_t loadBig64(const unsigned char* bytes) {
    return std::uint64_t{bytes[0]} << 56 | std::uint64_t{bytes[1]} << 48 |
           std::uint64_t{bytes[2]} << 40 | std::uint64_t{bytes[3]} << 32 |
           std::uint64_t{bytes[4]} << 24 | std::uint64_t{bytes[5]} << 16 |
           std::uint64_t{bytes[6]} << 8 | bytes[7];
}

/// The characters of 12 bits, as part of eight.
inline std::uint64_t pairOf(std::uint64_t bits) {
    return kPairs.pairs[bits & 0xFFF];
}

std::size_t encode(const unsigned char* source, std::size_t length, char* target) {
    auto* characters = reinterpret_cast<unsigned char*>(target);
    std::size_t done = 0;
    for (; length - done >= 8; done += 6, characters += 8) {
        const std::uint64_t bits = loadBig64(source + done);
        za::storeLittle64(characters, pairOf(bits >> 52) | pairOf(bits >> 40) << 16 |
                                          pairOf(bits >> 28) << 32 | pairOf(bits >> 16) << 48);
    }
    for (; length - done >= 3; done += 3, characters += 4) {
        const unsigned char* group = source + done;
        const std::uint64_t bits =
            std::uint64_t{group[0]} << 16 | std::uint64_t{group[1]} << 8 | group[2];
        const std::uint64_t four = pairOf(bits >> 12) | pairOf(bits) << 16;
        for (int k = 0; k < 4; ++k)
            characters[k] = static_cast<unsigned char>(four >> 8 * k);
    }
    return done;
}

/// The least significant six bytes.
inline void store48(unsigned char* target, std::uint64_t bytes) {
    target[0] = static_cast<unsigned char>(bytes);
    target[1] = static_cast<unsigned char>(bytes >> 8);
    target[2] = static_cast<unsigned char>(bytes >> 16);
    target[3] = static_cast<unsigned char>(bytes >> 24);
    target[4] = static_cast<unsigned char>(bytes >> 32);
    target[5] = static_cast<unsigned char>(bytes >> 40);
}

void decodeClean(Cursor& cursor) {
    // Copies stay in registers: the target's bytes could lie in the cursor.
    const unsigned char *source = cursor.source, *const end = cursor.end;
    unsigned char* target = cursor.target;
    for (; end - source >= 8; source += 8, target += 6) {
        const std::uint32_t first = groupAt(source), second = groupAt(source + 4);
        if ((first | second) & kNoGroup) break;
        store48(target, first | std::uint64_t{second} << 24);
    }
    for (; end - source >= 4; source += 4) {
        const std::uint32_t group = groupAt(source);
        if (group & kNoGroup) break;
        for (int k = 0; k < 3; ++k)
            *target++ = static_cast<unsigned char>(group >> 8 * k);
    }
    cursor.source = source;
    cursor.target = target;
}

void decodeSkipping(Cursor& cursor) {
    while (true) {
        if (cursor.pending == 0) decodeClean(cursor);
        if (cursor.source == cursor.end) return;
        const std::uint8_t value = za::base64::valueOf(*cursor.source);
        if (value == kPadding) return;
        ++cursor.source;
        if (value != kForeign) takeValues(cursor, &value, 1);
    }
}

constexpr Kernels kPortable = {encode, decodeClean, decodeSkipping};

}  // namespace

std::uint8_t za::base64::valueOf(unsigned char character) {
    return kValues.values[character];
}

const Kernels& za::base64::portableKernels() {
    return kPortable;
}

const Kernels& za::base64::fastestKernels() {
    static const Kernels* const fastest = [] {
        for (const Kernels* kernels : {avx512Kernels(), avx2Kernels()}) {
            if (kernels) return kernels;
        }
        return &kPortable;
    }();
    return *fastest;
}
