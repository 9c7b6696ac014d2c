#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Decodes Base64 that comes in pieces, strictly but for blanks and line breaks, and knows where
/// the first wrong byte is.
class Base64Decoder {
public:
    /// @param ignoreGarbage  skip everything else that is no character of Base64, too
    explicit Base64Decoder(bool ignoreGarbage) : _ignoreGarbage(ignoreGarbage) {}

    /// Appends what the piece decodes to; false when there is something wrong.
    bool add(std::string_view piece, std::string& bytes);
    /// Whether the input may end here.
    bool finish();

    /// The offset in the input of the first byte that is wrong; that of its end when one is
    /// missing.
    std::uint64_t firstBad() const { return _firstBad; }

private:
    bool isKept(char c) const;
    bool decode(std::size_t count, std::string_view piece, std::string& bytes);
    std::uint64_t offsetOf(std::size_t character, std::string_view piece) const;

    bool _ignoreGarbage;
    bool _hasEnded = false;           ///< padding was read
    std::string _characters;          ///< that are not decoded yet
    std::uint64_t _heldOffsets[3]{};  ///< of those from earlier pieces
    std::size_t _held = 0;
    std::uint64_t _position = 0;  ///< of the current piece
    std::uint64_t _firstBad = 0;
};
