#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "zaUtils/Api.h"

/// Base64 with the alphabet of RFC 4648, section 4, "=" for padding and no line breaks.
///
/// Lengths have 32 bits. A null source, a length of 0 and (for the forms with a pointer) a null
/// destination give 0 and leave the destination alone; so does a source too long for 32 bits.
///
/// Thread safety: all functions are pure.
class ZAUTILS_API zaBase64 {
public:
    /// @name Encoding
    /// The result is the number of characters, which is a multiple of four. Sources whose
    /// getEncodeSize would not fit into 32 bits (from 3221225469 bytes) count as too long.
    /// @{

    /// Writes a NUL behind the characters, so that `dst` needs 4 bytes for each started group of
    /// three, and one more. That can be a byte more than getEncodeSize says. `dst` must not overlap
    /// `src`.
    static unsigned long encode(const char* src, unsigned long length, char* dst);
    static unsigned long encode(const char* src, unsigned long length, std::string& dst);
    static unsigned long encode(const std::string& src, std::string& dst);
    /// @}

    /// @name Lenient decoding
    /// Skips every byte that is neither of the alphabet nor "=". The result is the number of bytes,
    /// 0 when the characters that count are no multiple of four.
    ///
    /// "=" counts as a character of no bits wherever it stands. Deliberately, each one shortens its
    /// own group and all that follow by a byte (a group gives one byte at least), so what was
    /// encoded in pieces cannot be decoded in one. See decodeStrict.
    /// @{

    /// `dst` needs getDecodeSize(length) bytes at most and may be `src`. With a result of 0, the
    /// bytes of the whole groups have been written.
    static unsigned long decode(const char* src, unsigned long length, char* dst);
    static unsigned long decode(const char* src, unsigned long length, std::string& dst);
    static unsigned long decode(const std::string& src, std::string& dst);
    /// @}

    /// Decodes what an encoder writes and nothing else: whole groups of the alphabet's characters,
    /// padding in the last group only, the bits that do not count all zero. An empty source is
    /// well-formed. Any length.
    ///
    /// @param dst       the bytes; empty after a failure
    /// @param firstBad  if given, where the first character stands that is wrong, which is the
    ///                  length of `src` when one is missing at its end; untouched after a success
    /// @return whether `src` is well-formed
    static bool decodeStrict(std::string_view src, std::string& dst,
                             std::size_t* firstBad = nullptr);

    /// A size that holds the characters of `n` encoded bytes: (n / 3) * 4 + 4 in 32 bits.
    /// Deliberately without room for the NUL when `n` is no multiple of three.
    static unsigned long getEncodeSize(unsigned long n);
    /// A size that holds the bytes of `n` characters: (n / 4) * 3 + 3 in 32 bits.
    static unsigned long getDecodeSize(unsigned long n);

    /// Whether it is a character of the alphabet or "=".
    static bool isBase64Char(char c);
    /// Whether these are one or more groups of four such characters. Where "=" stands does not
    /// matter.
    static bool isBase64String(const std::string& s);

private:
    zaBase64() = default;
    ~zaBase64() = default;
};
