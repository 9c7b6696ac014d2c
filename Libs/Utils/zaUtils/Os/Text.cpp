#include "zaUtils/Os/Text.h"

#include <cstddef>
#include <cstdint>

namespace za::os {

namespace {

constexpr char32_t kMalformed = 0xFFFFFFFF;
constexpr char32_t kReplacement = 0xFFFD;

/// The well-formed sequences (table 3-7 of the Unicode standard) by their first byte: how many
/// bytes follow, and the range of the second byte. All later bytes range from 0x80 to 0xBF.
struct Lead {
    int following;
    unsigned char secondMin;
    unsigned char secondMax;
};

constexpr Lead leadOf(unsigned char first) {
    if (first < 0xC2) return {0, 0, 0};
    if (first < 0xE0) return {1, 0x80, 0xBF};
    if (first == 0xE0) return {2, 0xA0, 0xBF};
    if (first == 0xED) return {2, 0x80, 0x9F};
    if (first < 0xF0) return {2, 0x80, 0xBF};
    if (first == 0xF0) return {3, 0x90, 0xBF};
    if (first < 0xF4) return {3, 0x80, 0xBF};
    if (first == 0xF4) return {3, 0x80, 0x8F};
    return {0, 0, 0};
}

/// Reads one scalar value from the non-empty `text` and takes it off; of a malformed sequence, its
/// maximal subpart.
char32_t takeUtf8(std::string_view& text) {
    const auto first = static_cast<unsigned char>(text[0]);
    text.remove_prefix(1);
    if (first < 0x80) return first;

    const Lead lead = leadOf(first);
    if (lead.following == 0) return kMalformed;
    char32_t value = first & (0x3Fu >> lead.following);
    for (int i = 0; i < lead.following; ++i) {
        const unsigned char min = i == 0 ? lead.secondMin : 0x80;
        const unsigned char max = i == 0 ? lead.secondMax : 0xBF;
        if (text.empty()) return kMalformed;
        const auto next = static_cast<unsigned char>(text[0]);
        if (next < min || next > max) return kMalformed;
        value = (value << 6) | (next & 0x3Fu);
        text.remove_prefix(1);
    }
    return value;
}

constexpr bool isHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool isLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

char32_t takeUtf16(std::wstring_view& text) {
    const auto first = static_cast<char32_t>(text[0]);
    text.remove_prefix(1);
    if (first > 0xFFFF || isLowSurrogate(first)) return kMalformed;
    if (!isHighSurrogate(first)) return first;

    if (text.empty() || !isLowSurrogate(static_cast<char32_t>(text[0]))) return kMalformed;
    const auto second = static_cast<char32_t>(text[0]);
    text.remove_prefix(1);
    return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
}

void appendUtf16(char32_t value, std::wstring& result) {
    if (value > 0xFFFF) {
        result += static_cast<wchar_t>(0xD800 + ((value - 0x10000) >> 10));
        value = 0xDC00 + (value & 0x3FF);
    }
    result += static_cast<wchar_t>(value);
}

void appendUtf8(char32_t value, std::string& result) {
    const auto continuation = [&](int shift) {
        result += static_cast<char>(0x80 | ((value >> shift) & 0x3F));
    };
    if (value < 0x80) {
        result += static_cast<char>(value);
    } else if (value < 0x800) {
        result += static_cast<char>(0xC0 | (value >> 6));
        continuation(0);
    } else if (value < 0x10000) {
        result += static_cast<char>(0xE0 | (value >> 12));
        continuation(6);
        continuation(0);
    } else {
        result += static_cast<char>(0xF0 | (value >> 18));
        continuation(12);
        continuation(6);
        continuation(0);
    }
}

template <typename View, typename String>
bool convert(View text, OnMalformed onMalformed, String& result, char32_t (*take)(View&),
             void (*append)(char32_t, String&)) {
    result.clear();
    result.reserve(text.size());
    while (!text.empty()) {
        char32_t value = take(text);
        if (value == kMalformed) {
            if (onMalformed == OnMalformed::Fail) return false;
            value = kReplacement;
        }
        append(value, result);
    }
    return true;
}

}  // namespace

bool utf8ToUtf16(std::string_view text, OnMalformed onMalformed, std::wstring& result) {
    return convert(text, onMalformed, result, takeUtf8, appendUtf16);
}

bool utf16ToUtf8(std::wstring_view text, OnMalformed onMalformed, std::string& result) {
    return convert(text, onMalformed, result, takeUtf16, appendUtf8);
}

void truncateUtf8(std::string& text, std::size_t size) {
    if (text.size() <= size) return;
    const auto isContinuation = [&](std::size_t i) {
        return (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80;
    };
    std::size_t end = size;
    while (end > 0 && size - end < 3 && isContinuation(end))
        --end;
    text.resize(isContinuation(end) ? size : end);  // more of them are no character at all
}

}  // namespace za::os
