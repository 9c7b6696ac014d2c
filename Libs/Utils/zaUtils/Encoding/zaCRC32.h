#pragma once

#include <cstddef>

#include "zaUtils/Api.h"

/// The CRC-32 of zlib, PNG and Ethernet (reflected polynomial 0xEDB88320), and a fast hash.
///
/// All `calc` functions but the last compute the same checksum. `previous` is 0 to begin with; the
/// result of one call as `previous` of the next continues over concatenated data. No bytes give
/// `previous` back. `data` may be at any address, and null when `length` is 0.
///
/// Thread safety: all functions are pure.
class ZAUTILS_API zaCRC32 {
public:
    /// By the fastest way that this processor has: carry-less multiplication where it can do that,
    /// else slicing by 8. The one to use.
    static unsigned int calc(const void* data, std::size_t length, unsigned int previous = 0);

    /// @name By one technique
    /// From the slowest and smallest to the fastest.
    /// @{
    static unsigned int calc_bitwise(const void* data, std::size_t length, unsigned int previous);
    /// A table of 16 entries, two steps a byte.
    static unsigned int calc_halfbyte(const void* data, std::size_t length, unsigned int previous);
    /// A table of 256 entries, one step a byte.
    static unsigned int calc_1byte(const void* data, std::size_t length, unsigned int previous);
    /// Slicing by 4: four such tables, four bytes a step.
    static unsigned int calc_4bytes(const void* data, std::size_t length, unsigned int previous);
    /// Slicing by 8.
    static unsigned int calc_8bytes(const void* data, std::size_t length, unsigned int previous);
    /// @}

    /// The hash "FNV-1a Jesteress": no CRC, and splitting the data changes the value. A `previous`
    /// other than 0 takes the place of the hash's start value.
    static unsigned int calc_FNV1A_Jesteress(const void* data, std::size_t length,
                                             unsigned int previous);

private:
    zaCRC32() = default;
    ~zaCRC32() = default;
};
