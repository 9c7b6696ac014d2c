#include "zaUtils/Strings/zaString.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

#include "zaUtils/Os/Text.h"

namespace {

// The C library's functions take an unsigned char's value; a negative one is undefined.

char lower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

char upper(char c) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
}

bool isSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

[[noreturn]] void throwBadConversion() {
    throw std::range_error("bad conversion");
}

}  // namespace

std::string zaString::left(const std::string& text, int n) {
    return n < 1 ? std::string() : text.substr(0, static_cast<std::size_t>(n));
}

std::string zaString::right(const std::string& text, int n) {
    if (n < 1) return {};
    const std::size_t count = std::min(static_cast<std::size_t>(n), text.size());
    return text.substr(text.size() - count);
}

std::string zaString::toLower(const std::string& text) {
    std::string result = text;
    std::transform(result.begin(), result.end(), result.begin(), lower);
    return result;
}

std::string zaString::toUpper(const std::string& text) {
    std::string result = text;
    std::transform(result.begin(), result.end(), result.begin(), upper);
    return result;
}

std::string zaString::capitalize(const std::string& text) {
    std::string result = text;
    bool startsWord = true;
    for (char& c : result) {
        if (startsWord) c = upper(c);
        startsWord = c == ' ';
    }
    return result;
}

bool zaString::startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool zaString::endsWith(const std::string& text, const std::string& suffix) {
    return suffix.size() <= text.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface takes it by value
bool zaString::contains(const std::string& text, std::string part) {
    return text.find(part) != std::string::npos;
}

std::string zaString::getCommonLeadingString(std::string a, std::string b) {
    const auto difference = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    return std::string(a.begin(), difference.first);
}

void zaString::replace(std::string& text, const std::string& from, const std::string& to) {
    if (from.empty()) return;
    std::size_t found = text.find(from);
    if (found == std::string::npos) return;

    std::string result;
    std::size_t copied = 0;
    for (; found != std::string::npos; found = text.find(from, copied)) {
        result.append(text, copied, found - copied);
        result += to;
        copied = found + from.size();
    }
    result.append(text, copied, std::string::npos);
    text = std::move(result);
}

std::string zaString::join(const std::vector<std::string>& items, const std::string& separator,
                           bool skipEmpty) {
    std::string result;
    for (const std::string& item : items) {
        if (skipEmpty && item.empty()) continue;
        // The first of the vector, not the first written: deliberate.
        if (&item != &items.front()) result += separator;
        result += item;
    }
    return result;
}

std::vector<std::string> zaString::split(const std::string& text, char delimiter) {
    std::vector<std::string> pieces;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find(delimiter, start), text.size());
        pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return pieces;
}

std::vector<std::string> zaString::getCommaSeparatedNames(const std::string& text) {
    std::vector<std::string> names = split(text, ',');
    for (std::string& name : names) {
        name.erase(name.begin(), std::find_if_not(name.begin(), name.end(), isSpace));
    }
    return names;
}

std::wstring zaString::utf8ToUtf16(const char* text) {
    std::wstring result;
    if (!za::os::utf8ToUtf16(text, za::os::OnMalformed::Fail, result)) throwBadConversion();
    return result;
}

std::string zaString::utf16ToUtf8(const wchar_t* text) {
    std::string result;
    if (!za::os::utf16ToUtf8(text, za::os::OnMalformed::Fail, result)) throwBadConversion();
    return result;
}
