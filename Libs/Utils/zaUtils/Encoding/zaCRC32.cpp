#include "zaUtils/Encoding/zaCRC32.h"

#include <initializer_list>

#include "zaUtils/Encoding/Internal/CRC32Kernels.h"
#include "zaUtils/Encoding/Internal/JesteressState.h"
#include "zaUtils/Encoding/Internal/LittleEndian.h"

namespace {

using za::loadLittle32;
using za::crc32::timesX;

constexpr std::uint32_t timesX(std::uint32_t remainder, int exponent) {
    for (; exponent > 0; --exponent)
        remainder = timesX(remainder);
    return remainder;
}

/// What the low half of a byte adds to the remainder.
struct HalfByteTable {
    std::uint32_t entries[16] = {};

    constexpr HalfByteTable() {
        for (std::uint32_t nibble = 0; nibble < 16; ++nibble)
            entries[nibble] = timesX(nibble, 4);
    }
};

/// What a byte adds to the remainder when `slice` more bytes follow it.
struct SliceTables {
    std::uint32_t slices[8][256] = {};

    constexpr SliceTables() {
        for (std::uint32_t byte = 0; byte < 256; ++byte)
            slices[0][byte] = timesX(byte, 8);
        for (int slice = 1; slice < 8; ++slice) {
            for (int byte = 0; byte < 256; ++byte) {
                const std::uint32_t before = slices[slice - 1][byte];
                slices[slice][byte] = (before >> 8) ^ slices[0][before & 0xFF];
            }
        }
    }
};

constexpr HalfByteTable kHalfByte;
alignas(64) constexpr SliceTables kTables;

constexpr std::uint32_t step(std::uint32_t remainder, unsigned char byte) {
    return (remainder >> 8) ^ kTables.slices[0][(remainder ^ byte) & 0xFF];
}

/// Four bytes at once, `Following` more of which follow in the same step.
template <int Following>
std::uint32_t stepWord(std::uint32_t word) {
    const auto& slices = kTables.slices;
    return slices[Following + 3][word & 0xFF] ^ slices[Following + 2][word >> 8 & 0xFF] ^
           slices[Following + 1][word >> 16 & 0xFF] ^ slices[Following][word >> 24];
}

std::uint32_t updateBitwise(std::uint32_t remainder, const unsigned char* bytes,
                            std::size_t length) {
    for (; length > 0; --length)
        remainder = timesX(remainder ^ *bytes++, 8);
    return remainder;
}

std::uint32_t updateByHalfBytes(std::uint32_t remainder, const unsigned char* bytes,
                                std::size_t length) {
    for (; length > 0; --length) {
        remainder ^= *bytes++;
        remainder = (remainder >> 4) ^ kHalfByte.entries[remainder & 0xF];
        remainder = (remainder >> 4) ^ kHalfByte.entries[remainder & 0xF];
    }
    return remainder;
}

std::uint32_t updateByBytes(std::uint32_t remainder, const unsigned char* bytes,
                            std::size_t length) {
    if (length % 2 != 0) remainder = step(remainder, *bytes++);
    for (std::size_t pairs = length / 2; pairs > 0; --pairs, bytes += 2)
        remainder = step(step(remainder, bytes[0]), bytes[1]);
    return remainder;
}

std::uint32_t updateByWords(std::uint32_t remainder, const unsigned char* bytes,
                            std::size_t length) {
    for (; length >= 4; length -= 4, bytes += 4)
        remainder = stepWord<0>(remainder ^ loadLittle32(bytes));
    return updateByBytes(remainder, bytes, length);
}

unsigned int checksum(za::crc32::Kernel kernel, const void* data, std::size_t length,
                      unsigned int previous) {
    return ~kernel(~previous, static_cast<const unsigned char*>(data), length);
}

}  // namespace

std::uint32_t za::crc32::updateBySlices(std::uint32_t remainder, const unsigned char* bytes,
                                        std::size_t length) {
    for (; length >= 8; length -= 8, bytes += 8) {
        remainder =
            stepWord<4>(remainder ^ loadLittle32(bytes)) ^ stepWord<0>(loadLittle32(bytes + 4));
    }
    return updateByBytes(remainder, bytes, length);
}

za::crc32::Kernel za::crc32::fastestKernel() {
    for (const Kernel kernel : {kernel512(), kernel256(), kernel128Avx(), kernel128()}) {
        if (kernel) return kernel;
    }
    return updateBySlices;
}

unsigned int zaCRC32::calc(const void* data, std::size_t length, unsigned int previous) {
    static const za::crc32::Kernel kernel = za::crc32::fastestKernel();
    return checksum(kernel, data, length, previous);
}

unsigned int zaCRC32::calc_bitwise(const void* data, std::size_t length, unsigned int previous) {
    return checksum(updateBitwise, data, length, previous);
}

unsigned int zaCRC32::calc_halfbyte(const void* data, std::size_t length, unsigned int previous) {
    return checksum(updateByHalfBytes, data, length, previous);
}

unsigned int zaCRC32::calc_1byte(const void* data, std::size_t length, unsigned int previous) {
    return checksum(updateByBytes, data, length, previous);
}

unsigned int zaCRC32::calc_4bytes(const void* data, std::size_t length, unsigned int previous) {
    return checksum(updateByWords, data, length, previous);
}

unsigned int zaCRC32::calc_8bytes(const void* data, std::size_t length, unsigned int previous) {
    return checksum(za::crc32::updateBySlices, data, length, previous);
}

unsigned int zaCRC32::calc_FNV1A_Jesteress(const void* data, std::size_t length,
                                           unsigned int previous) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    za::JesteressState state(previous);
    for (; length >= za::JesteressState::kBlockSize; length -= za::JesteressState::kBlockSize) {
        state.addBlock(bytes);
        bytes += za::JesteressState::kBlockSize;
    }
    za::JesteressState::Result result;
    state.finish(bytes, length, 0, result);
    return result[0];
}
