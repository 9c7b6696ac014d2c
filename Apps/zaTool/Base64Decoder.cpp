#include "Base64Decoder.h"

#include <algorithm>

#include "zaUtils/Encoding/zaBase64.h"

namespace {

bool isBlank(char c) {
    return c == '\n' || c == '\r' || c == ' ' || c == '\t';
}

}  // namespace

bool Base64Decoder::isKept(char c) const {
    return _ignoreGarbage ? zaBase64::isBase64Char(c) : !isBlank(c);
}

bool Base64Decoder::add(std::string_view piece, std::string& bytes) {
    std::size_t size = _characters.size();
    _characters.resize(size + piece.size());
    for (const char c : piece) {
        _characters[size] = c;
        size += isKept(c) ? 1 : 0;
    }
    _characters.resize(size);
    const std::size_t whole = _characters.size() / 4 * 4;
    if (!decode(whole, piece, bytes)) return false;

    std::uint64_t held[3];
    const std::size_t left = _characters.size() - whole;
    for (std::size_t i = 0; i < left; ++i)
        held[i] = offsetOf(whole + i, piece);
    std::copy_n(held, left, _heldOffsets);
    _held = left;
    _characters.erase(0, whole);
    _position += piece.size();
    return true;
}

bool Base64Decoder::finish() {
    std::string bytes;
    return decode(_characters.size(), {}, bytes);
}

bool Base64Decoder::decode(std::size_t count, std::string_view piece, std::string& bytes) {
    if (_hasEnded && !_characters.empty()) {
        _firstBad = offsetOf(0, piece);
        return false;
    }
    const std::string_view groups(_characters.data(), count);
    std::string decoded;
    std::size_t firstBad = 0;
    if (!zaBase64::decodeStrict(groups, decoded, &firstBad)) {
        _firstBad = offsetOf(firstBad, piece);
        return false;
    }
    bytes += decoded;
    _hasEnded = _hasEnded || (count > 0 && groups.back() == '=');
    return true;
}

/// Where in the input one of the characters stands; the input's end for the one behind the last.
std::uint64_t Base64Decoder::offsetOf(std::size_t character, std::string_view piece) const {
    if (character < _held) return _heldOffsets[character];
    std::size_t index = _held;
    for (std::size_t i = 0; i < piece.size(); ++i) {
        if (isKept(piece[i]) && index++ == character) return _position + i;
    }
    return _position + piece.size();
}
