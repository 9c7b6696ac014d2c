#pragma once

#include <clocale>
#include <cmath>
#include <locale>
#include <sstream>
#include <string>

#include "zaUtils/Strings/zaString.h"

// What streams in their default state and the classic locale make of numbers.

/// While it lives, the program's locales have a decimal comma and group digits by points; the C
/// library's only where the host has such a one.
class CommaLocale {
public:
    CommaLocale() {
        if (!std::setlocale(LC_ALL, "de_DE.UTF-8")) std::setlocale(LC_ALL, "German_Germany.1252");
        std::locale::global(std::locale(std::locale::classic(), new Punctuation));
    }
    ~CommaLocale() { std::locale::global(std::locale::classic()); }  // the C library's, too
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

private:
    struct Punctuation : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
};

/// 0 where the stream reads nothing.
template <typename Number>
Number readByStream(const std::string& text) {
    static std::istringstream stream;
    stream.imbue(std::locale::classic());
    stream.clear();
    stream.str(text);
    Number number = 0;
    stream >> number;
    return number;
}

/// Whether both read the same number, the sign of 0 included.
template <typename Number>
bool isReadAlike(const std::string& text, Number (*reader)(const std::string&)) {
    const Number number = reader(text);
    const Number expected = readByStream<Number>(text);
    return number == expected && std::signbit(number) == std::signbit(expected);
}

inline bool isReadAlike(const std::string& text) {
    return isReadAlike(text, zaString::toInt) && isReadAlike(text, zaString::toUInt) &&
           isReadAlike(text, zaString::toInt64) && isReadAlike(text, zaString::toUInt64) &&
           isReadAlike(text, zaString::toFloat) && isReadAlike(text, zaString::toDouble);
}

template <typename Number>
bool isWrittenAlike(Number number) {
    static std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream.str("");
    stream << number;
    const std::string text = zaString::setNum(number);
    // Some hosts' streams leave out the sign of what is not a number.
    return text == stream.str() || (text == "-nan" && stream.str() == "nan");
}
