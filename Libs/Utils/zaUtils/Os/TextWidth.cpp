#include "zaUtils/Os/TextWidth.h"

#include <algorithm>
#include <iterator>

#include "zaUtils/Os/Text.h"
#include "zaUtils/Os/TextWidthRanges.h"

namespace za::os {

namespace {

template <std::size_t Count>
bool contains(const CharacterRange (&ranges)[Count], char32_t character) {
    const auto* range =
        std::lower_bound(std::begin(ranges), std::end(ranges), character,
                         [](const CharacterRange& r, char32_t c) { return r.last < c; });
    return range != std::end(ranges) && range->first <= character;
}

bool isControl(char32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

int widthOf(char32_t character) {
    if (character < 0x300) return 1;
    if (contains(kWidthlessCharacters, character)) return 0;
    return contains(kWideCharacters, character) ? 2 : 1;
}

/// One character of well-formed UTF-16, at `index`, which moves on.
char32_t takeCharacter(const std::wstring& units, std::size_t& index) {
    const auto first = static_cast<char32_t>(units[index++]);
    if (first < 0xD800 || first > 0xDBFF || index == units.size()) return first;
    return 0x10000 + ((first - 0xD800) << 10) + (static_cast<char32_t>(units[index++]) - 0xDC00);
}

std::wstring decoded(std::string_view text) {
    std::wstring units;
    utf8ToUtf16(text, OnMalformed::Replace, units);
    return units;
}

int widthOf(const std::wstring& units) {
    int width = 0;
    for (std::size_t i = 0; i < units.size();)
        width += widthOf(takeCharacter(units, i));
    return width;
}

/// How many units of the text fit.
std::size_t fittingUnits(const std::wstring& units, int columns) {
    std::size_t end = 0;
    for (std::size_t i = 0; i < units.size(); end = i) {
        columns -= widthOf(takeCharacter(units, i));
        if (columns < 0) break;
    }
    return end;
}

}  // namespace

int textWidth(std::string_view text) {
    return widthOf(decoded(text));
}

std::string fitColumns(std::string_view text, int columns) {
    std::wstring units = decoded(text);
    std::replace_if(
        units.begin(), units.end(),
        [](wchar_t unit) { return isControl(static_cast<char32_t>(unit)); }, L'?');
    if (columns <= 0) {
        units.clear();
    } else if (widthOf(units) > columns) {
        units.resize(fittingUnits(units, columns - 1));
        units += L'\u2026';
    }
    std::string result;
    utf16ToUtf8(units, OnMalformed::Replace, result);
    return result;
}

}  // namespace za::os
