#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "zaUtils/Encoding/Internal/LittleEndian.h"

/// The three MurmurHash3 functions on their way through a key: whole blocks, then `finish` with the
/// bytes that are left and the key's length.
namespace za::murmur3 {

inline std::uint32_t rotate(std::uint32_t value, int by) {
    return value << by | value >> (32 - by);
}

inline std::uint64_t rotate(std::uint64_t value, int by) {
    return value << by | value >> (64 - by);
}

/// Makes every bit of the value depend on every other.
inline std::uint32_t finalise(std::uint32_t value) {
    value = (value ^ value >> 16) * 0x85EBCA6B;
    value = (value ^ value >> 13) * 0xC2B2AE35;
    return value ^ value >> 16;
}

inline std::uint64_t finalise(std::uint64_t value) {
    value = (value ^ value >> 33) * 0xFF51AFD7ED558CCD;
    value = (value ^ value >> 33) * 0xC4CEB9FE1A85EC53;
    return value ^ value >> 33;
}

/// A last block that is not whole, filled up with zeros. A word of it that is 0 changes no hash.
template <std::size_t BlockSize>
struct LastBlock {
    unsigned char bytes[BlockSize] = {};

    LastBlock(const unsigned char* rest, std::size_t count) { std::memcpy(bytes, rest, count); }
};

struct State32 {
    static constexpr std::size_t kBlockSize = 4;
    using Result = std::uint32_t[1];

    std::uint32_t h;

    explicit State32(std::uint32_t seed) : h(seed) {}

    static std::uint32_t scramble(std::uint32_t word) {
        return rotate(word * 0xCC9E2D51, 15) * 0x1B873593;
    }

    void addBlock(const unsigned char* block) {
        h ^= scramble(loadLittle32(block));
        h = rotate(h, 13) * 5 + 0xE6546B64;
    }

    void finish(const unsigned char* rest, std::size_t count, std::uint64_t length, Result result) {
        if (count > 0) h ^= scramble(loadLittle32(LastBlock<4>(rest, count).bytes));
        result[0] = finalise(h ^ static_cast<std::uint32_t>(length));
    }
};

/// 128 bits in four lanes.
struct State128By32 {
    static constexpr std::size_t kBlockSize = 16;
    using Result = std::uint32_t[4];

    static constexpr std::uint32_t c1 = 0x239B961B, c2 = 0xAB0E9789, c3 = 0x38B34AE5,
                                   c4 = 0xA1E38B93;

    std::uint32_t h1, h2, h3, h4;

    explicit State128By32(std::uint32_t seed) : h1(seed), h2(seed), h3(seed), h4(seed) {}

    void addBlock(const unsigned char* block) {
        h1 ^= rotate(loadLittle32(block) * c1, 15) * c2;
        h1 = (rotate(h1, 19) + h2) * 5 + 0x561CCD1B;
        h2 ^= rotate(loadLittle32(block + 4) * c2, 16) * c3;
        h2 = (rotate(h2, 17) + h3) * 5 + 0x0BCAA747;
        h3 ^= rotate(loadLittle32(block + 8) * c3, 17) * c4;
        h3 = (rotate(h3, 15) + h4) * 5 + 0x96CD1C35;
        h4 ^= rotate(loadLittle32(block + 12) * c4, 18) * c1;
        h4 = (rotate(h4, 13) + h1) * 5 + 0x32AC3B17;
    }

    void addRest(const unsigned char* block) {
        h1 ^= rotate(loadLittle32(block) * c1, 15) * c2;
        h2 ^= rotate(loadLittle32(block + 4) * c2, 16) * c3;
        h3 ^= rotate(loadLittle32(block + 8) * c3, 17) * c4;
        h4 ^= rotate(loadLittle32(block + 12) * c4, 18) * c1;
    }

    void blend() {
        h1 += h2 + h3 + h4;
        h2 += h1;
        h3 += h1;
        h4 += h1;
    }

    void finish(const unsigned char* rest, std::size_t count, std::uint64_t length, Result result) {
        if (count > 0) addRest(LastBlock<16>(rest, count).bytes);
        const auto size = static_cast<std::uint32_t>(length);
        h1 ^= size, h2 ^= size, h3 ^= size, h4 ^= size;
        blend();
        h1 = finalise(h1), h2 = finalise(h2), h3 = finalise(h3), h4 = finalise(h4);
        blend();
        result[0] = h1, result[1] = h2, result[2] = h3, result[3] = h4;
    }
};

/// 128 bits in two lanes.
struct State128By64 {
    static constexpr std::size_t kBlockSize = 16;
    using Result = std::uint64_t[2];

    static constexpr std::uint64_t c1 = 0x87C37B91114253D5, c2 = 0x4CF5AD432745937F;

    std::uint64_t h1, h2;

    explicit State128By64(std::uint32_t seed) : h1(seed), h2(seed) {}

    void addBlock(const unsigned char* block) {
        h1 ^= rotate(loadLittle64(block) * c1, 31) * c2;
        h1 = (rotate(h1, 27) + h2) * 5 + 0x52DCE729;
        h2 ^= rotate(loadLittle64(block + 8) * c2, 33) * c1;
        h2 = (rotate(h2, 31) + h1) * 5 + 0x38495AB5;
    }

    void addRest(const unsigned char* block) {
        h1 ^= rotate(loadLittle64(block) * c1, 31) * c2;
        h2 ^= rotate(loadLittle64(block + 8) * c2, 33) * c1;
    }

    void blend() {
        h1 += h2;
        h2 += h1;
    }

    void finish(const unsigned char* rest, std::size_t count, std::uint64_t length, Result result) {
        if (count > 0) addRest(LastBlock<16>(rest, count).bytes);
        h1 ^= length, h2 ^= length;
        blend();
        h1 = finalise(h1), h2 = finalise(h2);
        blend();
        result[0] = h1, result[1] = h2;
    }
};

}  // namespace za::murmur3
