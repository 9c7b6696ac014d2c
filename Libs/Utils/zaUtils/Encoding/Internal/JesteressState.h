#pragma once

#include <cstddef>
#include <cstdint>

#include "zaUtils/Encoding/Internal/LittleEndian.h"

namespace za {

/// The hash "FNV-1a Jesteress" on its way: whole blocks, then `finish` with the bytes that are
/// left.
struct JesteressState {
    static constexpr std::size_t kBlockSize = 8;
    using Result = std::uint32_t[1];

    static constexpr std::uint32_t kPrime = 709607;
    static constexpr std::uint32_t kBasis = 0x811C9DC5;

    std::uint32_t hash;

    /// 0 stands for the hash's own start value.
    explicit JesteressState(std::uint32_t previous) : hash(previous != 0 ? previous : kBasis) {}

    void addBlock(const unsigned char* block) {
        const std::uint32_t word = loadLittle32(block);
        hash = (hash ^ ((word << 5 | word >> 27) ^ loadLittle32(block + 4))) * kPrime;
    }

    void finish(const unsigned char* rest, std::size_t count, std::uint64_t, Result result) {
        if (count & 4) {
            hash = (hash ^ loadLittle32(rest)) * kPrime;
            rest += 4;
        }
        if (count & 2) {
            hash = (hash ^ loadLittle16(rest)) * kPrime;
            rest += 2;
        }
        if (count & 1) hash = (hash ^ *rest) * kPrime;
        result[0] = hash ^ (hash >> 16);
    }
};

}  // namespace za
