#pragma once

#include <cstddef>
#include <cstdint>

/// The ways of computing the CRC-32 that `zaCRC32::calc` chooses from. All give the same value.
namespace za::crc32 {

/// The reflected polynomial; its lowest bit is the coefficient of x^31.
constexpr std::uint32_t kPolynomial = 0xEDB88320;

/// One step of the division: the remainder times x.
constexpr std::uint32_t timesX(std::uint32_t remainder) {
    return (remainder >> 1) ^ (remainder & 1 ? kPolynomial : 0);
}

/// Carries the remainder (the complement of a checksum) on over `length` bytes.
using Kernel = std::uint32_t (*)(std::uint32_t remainder, const unsigned char* bytes,
                                 std::size_t length);

/// Slicing by 8, for every processor.
std::uint32_t updateBySlices(std::uint32_t remainder, const unsigned char* bytes,
                             std::size_t length);

/// Folding by carry-less multiplication in registers of 128, 256 or 512 bits; null where the
/// processor lacks it.
/// @{
Kernel kernel128();
Kernel kernel128Avx();  ///< the same, faster
Kernel kernel256();
Kernel kernel512();
/// @}

/// The fastest that this processor has.
Kernel fastestKernel();

}  // namespace za::crc32
