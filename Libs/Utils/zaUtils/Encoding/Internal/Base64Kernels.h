#pragma once

#include <cstddef>
#include <cstdint>

/// The inner loops of `zaBase64`, in a portable way and by SIMD. All ways give the same results and
/// none writes a byte more than its result.
namespace za::base64 {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// What a character stands for. Values of the alphabet are below 64.
constexpr std::uint8_t kPadding = 64;
constexpr std::uint8_t kForeign = 65;

/// The value of a character, kPadding or kForeign.
std::uint8_t valueOf(unsigned char character);

/// Where decoding has got to.
struct Cursor {
    const unsigned char* source;
    const unsigned char* end;
    unsigned char* target;
    std::uint32_t bits = 0;  ///< the values read since the last whole group of four
    int pending = 0;         ///< how many these are
};

/// Takes in values, and writes the bytes of the groups that they make whole.
inline void takeValues(Cursor& cursor, const unsigned char* values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        cursor.bits = cursor.bits << 6 | values[i];
        if (++cursor.pending < 4) continue;
        *cursor.target++ = static_cast<unsigned char>(cursor.bits >> 16);
        *cursor.target++ = static_cast<unsigned char>(cursor.bits >> 8);
        *cursor.target++ = static_cast<unsigned char>(cursor.bits);
        cursor.pending = 0;
    }
}

/// Encodes groups of three bytes, 0 to all of those that `length` bytes hold.
/// @return how many bytes it has dealt with
using Encode = std::size_t (*)(const unsigned char* source, std::size_t length, char* target);
/// Decodes on; may stop anywhere, and does so before the first padding character at the latest.
using Decode = void (*)(Cursor& cursor);

struct Kernels {
    Encode encode;
    Decode decodeClean;     ///< whole groups; stops before the first foreign character, too
    Decode decodeSkipping;  ///< skips foreign characters
};

/// For every processor. These leave less than a group, or stop at what they have to.
const Kernels& portableKernels();
/// Null where the processor lacks the instructions (for 512 bits AVX512-VBMI2 as well). These leave
/// the last few bytes to the portable ones.
/// @{
const Kernels* avx2Kernels();
const Kernels* avx512Kernels();
/// @}
/// The fastest that this processor has.
const Kernels& fastestKernels();

}  // namespace za::base64
