#include "zaUtils/Strings/zaString.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <limits>
#include <numeric>
#include <string_view>
#include <system_error>

// Number text is what a string stream makes and reads in the classic locale, but no stream is used:
// one costs allocations, and takes the program's global locale, whose decimal point and grouping
// would show in the text.

namespace {

template <typename Integer>
std::string integerText(Integer number) {
    char text[24];  // the smallest 64-bit number has 20 characters
    const auto [end, error] = std::to_chars(text, text + sizeof text, number);
    return std::string(text, end);
}

template <typename Float>
std::string floatText(Float number) {
    constexpr int kDigits = 6;  // the precision of a stream that was told none
    char text[24];              // the longest is like -1.23457e-308
    const auto [end, error] =
        std::to_chars(text, text + sizeof text, number, std::chars_format::general, kDigits);
    return std::string(text, end);
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Takes leading white space and one sign off the text.
/// @return whether the sign was a minus
bool takeSign(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    if (text.empty() || (text.front() != '-' && text.front() != '+')) return false;
    const bool isMinus = text.front() == '-';
    text.remove_prefix(1);
    return isMinus;
}

template <typename Number>
std::from_chars_result readUnsigned(std::string_view text, Number& number) {
    return std::from_chars(text.data(), text.data() + text.size(), number);
}

template <typename Integer>
Integer readInteger(std::string_view text) {
    using Limits = std::numeric_limits<Integer>;
    const bool isMinus = takeSign(text);
    std::uint64_t magnitude = 0;
    const std::errc error = readUnsigned(text, magnitude).ec;
    if (error == std::errc::invalid_argument) return 0;

    const bool isBelowZero = isMinus && Limits::is_signed;
    constexpr auto kMost = static_cast<std::uint64_t>(Limits::max());
    if (error == std::errc::result_out_of_range || magnitude > kMost) {
        return isBelowZero ? Limits::min() : Limits::max();
    }
    // A minus is allowed before an unsigned number and counts down from 2 to the power of its bits.
    return static_cast<Integer>(isMinus ? 0 - magnitude : magnitude);
}

std::size_t skipDigits(std::string_view text, std::size_t position) {
    while (position < text.size() && isDigit(text[position]))
        ++position;
    return position;
}

/// How much of the text a stream takes for a number without its sign. That is decided by one
/// character after the other, so it may end in an exponent without digits.
std::size_t floatLength(std::string_view text) {
    std::size_t end = skipDigits(text, 0);
    bool hasDigits = end > 0;
    if (end < text.size() && text[end] == '.') {
        const std::size_t fraction = end + 1;
        end = skipDigits(text, fraction);
        hasDigits = hasDigits || end > fraction;
    }
    if (!hasDigits || end == text.size() || (text[end] != 'e' && text[end] != 'E')) return end;
    ++end;
    if (end < text.size() && (text[end] == '-' || text[end] == '+')) ++end;
    return skipDigits(text, end);
}

/// Tells a number that is too large from one that is too small, by the place of its first digit
/// other than 0.
bool isTooLarge(std::string_view number) {
    const std::size_t e = number.find_first_of("eE");
    const std::string_view mantissa = number.substr(0, e);
    std::int64_t exponent = 0;
    if (e != std::string_view::npos) {
        number.remove_prefix(e + 1);
        const bool isMinus = takeSign(number);
        exponent = std::numeric_limits<std::int64_t>::max();
        readUnsigned(number, exponent);  // keeps the largest when there are more digits than fit
        if (isMinus) exponent = -exponent;
    }
    const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
    const std::size_t first = mantissa.find_first_of("123456789");
    return exponent > static_cast<std::ptrdiff_t>(first) - static_cast<std::ptrdiff_t>(point);
}

template <typename Float>
Float readFloat(std::string_view text) {
    const bool isMinus = takeSign(text);
    text = text.substr(0, floatLength(text));
    Float number = 0;
    const auto [end, error] = readUnsigned(text, number);
    // A malformed exponent spoils the number: "1e" is none, not 1.
    if (error == std::errc::invalid_argument || end != text.data() + text.size()) return 0;
    if (error == std::errc::result_out_of_range) {
        number = isTooLarge(text) ? std::numeric_limits<Float>::max() : Float(0);
    }
    return isMinus ? -number : number;
}

std::string_view beforeComma(std::string_view text) {
    return text.substr(0, text.find(','));
}

/// Cuts off what both texts begin with and what both end with.
void trimCommonEnds(std::string_view& a, std::string_view& b) {
    const auto front = std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin();
    a.remove_prefix(static_cast<std::size_t>(front));
    b.remove_prefix(static_cast<std::size_t>(front));
    const auto back = std::mismatch(a.rbegin(), a.rend(), b.rbegin(), b.rend()).first - a.rbegin();
    a.remove_suffix(static_cast<std::size_t>(back));
    b.remove_suffix(static_cast<std::size_t>(back));
}

}  // namespace

std::string zaString::setNum(int number) {
    return integerText(number);
}

std::string zaString::setNum(unsigned int number) {
    return integerText(number);
}

std::string zaString::setNum(std::int64_t number) {
    return integerText(number);
}

std::string zaString::setNum(std::uint64_t number) {
    return integerText(number);
}

std::string zaString::setNum(float number) {
    return floatText(number);
}

std::string zaString::setNum(double number) {
    return floatText(number);
}

int zaString::toInt(const std::string& text) {
    return readInteger<int>(text);
}

unsigned int zaString::toUInt(const std::string& text) {
    return readInteger<unsigned int>(text);
}

std::int64_t zaString::toInt64(const std::string& text) {
    return readInteger<std::int64_t>(text);
}

std::uint64_t zaString::toUInt64(const std::string& text) {
    return readInteger<std::uint64_t>(text);
}

float zaString::toFloat(const std::string& text) {
    return readFloat<float>(text);
}

double zaString::toDouble(const std::string& text) {
    return readFloat<double>(text);
}

std::string zaString::beautifyDigits(const std::string& text, const std::string& separator,
                                     unsigned int group) {
    if (group == 0) return text;
    std::string result;
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t runEnd = skipDigits(text, position);
        for (; position < runEnd; ++position) {
            result += text[position];
            const std::size_t rest = runEnd - position - 1;
            if (rest > 0 && rest % group == 0) result += separator;
        }
        if (position < text.size()) result += text[position++];
    }
    return result;
}

std::string zaString::beautifyDigits(unsigned int number, const std::string& separator,
                                     unsigned int group) {
    return beautifyDigits(setNum(number), separator, group);
}

std::vector<float> zaString::getValuesFromString(const std::string& text) {
    if (contains(text, "TRUE")) return {1.0f};
    if (contains(text, "FALSE")) return {0.0f};
    std::size_t e = text.find('e');
    if (e == std::string::npos) return {toFloat(text)};

    constexpr std::size_t kExponentLength = 5;  // "e+00" and the separator
    std::vector<float> values;
    for (std::size_t start = 0; e != std::string::npos; e = text.find('e', start)) {
        const std::size_t end = std::min(e + kExponentLength, text.size());
        values.push_back(readFloat<float>(std::string_view(text).substr(start, end - start)));
        start = end;
    }
    return values;
}

std::string zaString::createStringFromValues(const std::vector<float>& values) {
    std::string text;
    for (const float value : values)
        text += floatText(value) + ' ';
    return text;
}

bool zaString::getBoolOption(const std::string& options, const std::string& name) {
    return contains(options, name + "=true");
}

double zaString::getDoubleOption(const std::string& text) {
    return readFloat<double>(beforeComma(text));
}

std::string zaString::getStringOption(const std::string& text) {
    return std::string(beforeComma(text));
}

int zaString::getLevenshteinDistance(const std::string& a, const std::string& b) {
    std::string_view across = a;
    std::string_view down = b;
    trimCommonEnds(across, down);

    // Distances from the bytes of `down` so far to each beginning of `across`.
    std::vector<int> row(across.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (const char c : down) {
        int diagonal = row[0]++;
        for (std::size_t i = 0; i < across.size(); ++i) {
            const int substituted = diagonal + (across[i] == c ? 0 : 1);
            diagonal = row[i + 1];
            row[i + 1] = std::min({substituted, row[i] + 1, diagonal + 1});
        }
    }
    return row.back();
}

std::string zaString::hash(const std::string& text) {
    constexpr std::uint64_t kOffsetBasis = 0xcbf29ce484222325;
    constexpr std::uint64_t kPrime = 0x100000001b3;
    std::uint64_t value = kOffsetBasis;
    for (const char c : text)
        value = (value ^ static_cast<unsigned char>(c)) * kPrime;
    return integerText(value);
}
