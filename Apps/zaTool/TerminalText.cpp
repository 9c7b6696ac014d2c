#include "TerminalText.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Logging/zaLog.h"

namespace {

constexpr unsigned char kDelete = 0x7F;
constexpr char kLeadByteOfC1 = '\xC2';  // in UTF-8, of U+0080 to U+00BF

bool isControlCharacter(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == kDelete;
}

/// Whether a control character of the upper half (U+0080 to U+009F) stands at a position. Terminals
/// may take U+009B for the start of a control sequence.
bool isC1At(const std::string& text, std::size_t i) {
    return text[i] == kLeadByteOfC1 && i + 1 < text.size() &&
           static_cast<unsigned char>(text[i + 1]) < 0xA0;
}

}  // namespace

bool isPrintableAscii(std::string_view text) {
    // Without an early end, which compilers make faster.
    bool isPrintable = true;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        isPrintable &= byte >= 0x20 && byte < kDelete;
    }
    return isPrintable;
}

std::string withoutControlCharacters(std::string text) {
    if (isPrintableAscii(text)) return text;
    std::replace_if(text.begin(), text.end(), isControlCharacter, '?');
    text = zaFile::UTF16ToUTF8(zaFile::Utf8ToUtf16(text).c_str());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isC1At(text, i)) text.replace(i, 2, "?");
    }
    return text;
}

void reportProblem(const std::string& file, const std::string& problem) {
    zaLog::errorIPython(withoutControlCharacters(file + ": " + problem).c_str());
}

std::string withoutControlCharactersInJson(const std::string& json) {
    if (json.find(kLeadByteOfC1) == std::string::npos && json.find('\x7F') == std::string::npos)
        return json;
    std::string result;
    for (std::size_t i = 0; i < json.size(); ++i) {
        const bool isC1 = isC1At(json, i);
        if (!isC1 && json[i] != '\x7F') {
            result += json[i];
            continue;
        }
        if (isC1) ++i;
        char escape[sizeof "\\u0000"];
        std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned char>(json[i]));
        result += escape;
    }
    return result;
}
