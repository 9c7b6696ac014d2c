#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "zaUtils/Api.h"

/// Text utilities over bytes (usually UTF-8), the strict conversion between UTF-8 and UTF-16, and
/// numbers and options as text.
///
/// Nothing here but the conversions knows about multi-byte characters. Case changes pass each byte
/// through the C library's character functions, in the current C locale.
///
/// Thread safety: all functions are pure, except `replace`, which changes its argument.
class ZAUTILS_API zaString {
public:
    /// The first `n` bytes: all of them when the text is shorter, none when `n` is below 1.
    static std::string left(const std::string& text, int n);
    /// The last `n` bytes: all of them when the text is shorter, none when `n` is below 1.
    static std::string right(const std::string& text, int n);

    static std::string toLower(const std::string& text);
    static std::string toUpper(const std::string& text);
    /// Passes the first byte, and every byte that follows a blank (the character 32 only), through
    /// `toupper` and leaves the others as they are.
    static std::string capitalize(const std::string& text);

    static bool startsWith(const std::string& text, const std::string& prefix);
    static bool endsWith(const std::string& text, const std::string& suffix);
    static bool contains(const std::string& text, std::string part);
    /// The bytes that both texts begin with.
    static std::string getCommonLeadingString(std::string a, std::string b);

    /// Replaces every occurrence of `from`, left to right and without overlap; inserted text is not
    /// searched again. An empty `from` changes nothing.
    static void replace(std::string& text, const std::string& from, const std::string& to);

    /// Joins the items with `separator` before each but the vector's first element.
    ///
    /// With `skipEmpty`, empty items are left out; deliberately, an empty first element still
    /// counts as the first, so that {"", "a", "b"} gives ",a,b".
    static std::string join(const std::vector<std::string>& items, const std::string& separator,
                            bool skipEmpty);

    /// Cuts at each delimiter. Empty pieces are kept, but a final delimiter adds no empty piece: an
    /// empty text gives none, "a,,b," gives "a", "" and "b".
    static std::vector<std::string> split(const std::string& text, char delimiter);

    /// Reads a list of names separated by commas; leading white space of each name is dropped and
    /// trailing blanks are deliberately kept. A final comma adds no empty name.
    static std::vector<std::string> getCommaSeparatedNames(const std::string& text);

    /// Strict conversion of NUL-terminated text; not null. A `std::wstring` holds UTF-16 units
    /// (surrogate pairs included) even where `wchar_t` has 32 bits.
    /// @throws std::range_error "bad conversion" for any malformed input
    /// @see zaFile::Utf8ToUtf16 for the conversion that replaces malformed input
    static std::wstring utf8ToUtf16(const char* text);
    static std::string utf16ToUtf8(const wchar_t* text);

    /// @name Numbers
    /// Text as a stream writes and reads it that nobody gave flags or a locale: always with a point
    /// and without grouping, whatever the program's C and C++ locales are.
    /// @{

    static std::string setNum(int number);
    static std::string setNum(unsigned int number);
    static std::string setNum(std::int64_t number);
    static std::string setNum(std::uint64_t number);
    /// Six significant digits, trailing zeros left out; with an exponent below 0.0001 and from
    /// 1000000 on: "0.1", "1.23457e+06". Also "inf" and "nan", with a minus if the sign bit is set.
    static std::string setNum(float number);
    static std::string setNum(double number);

    /// The decimal number that the text begins with, after white space and an optional sign; 0 when
    /// there is none.
    ///
    /// What follows the number is ignored. A number that does not fit gives the type's largest or
    /// smallest value. A minus before an unsigned number wraps around: "-1" gives the largest.
    static int toInt(const std::string& text);
    static unsigned int toUInt(const std::string& text);
    static std::int64_t toInt64(const std::string& text);
    static std::uint64_t toUInt64(const std::string& text);

    /// The same for fractions and exponents ("1", ".5", "5.", "-1.5e-3"): too large a number gives
    /// the largest finite one, too small a one 0, both with their sign. "inf", "nan" and
    /// hexadecimal digits are not read. Deliberately 0, too, for a number whose exponent has no
    /// digits: "1e", "1e+x".
    static float toFloat(const std::string& text);
    static double toDouble(const std::string& text);

    /// Cuts each run of decimal digits into groups of `group` digits, counted from its right end:
    /// "size 1234567" gives "size 1,234,567". A `group` of 0 changes nothing.
    ///
    /// Meant for whole numbers in running text: the digits behind a decimal point are deliberately
    /// a run like any other, "3.1415926" gives "3.1,415,926".
    static std::string beautifyDigits(const std::string& text, const std::string& separator,
                                      unsigned int group);
    static std::string beautifyDigits(unsigned int number, const std::string& separator,
                                      unsigned int group);
    /// @}

    /// @name Lists and options of settings
    /// @{

    /// Reads a setting as a list of floats.
    ///
    /// "TRUE" anywhere in the text gives the one value 1, else "FALSE" anywhere the one value 0. A
    /// text with an 'e' is a list of numbers with exponents as in "1.5e+00 -2.5e-01": a piece ends
    /// five characters after the start of each 'e' (sign, two digits, separator), gives one value
    /// (0 when it holds no number), and what follows the last piece is ignored. Any other text
    /// gives the one number that it begins with, "3.5 7" only 3.5.
    static std::vector<float> getValuesFromString(const std::string& text);

    /// Each value as `setNum` writes it, followed by a blank. `getValuesFromString` reads a list
    /// back only where the values have exponents; of others it takes the first.
    static std::string createStringFromValues(const std::vector<float>& values);

    /// Whether the options contain `name` followed by "=true". Word boundaries deliberately do not
    /// count: the name "b" is found in "ab=true".
    static bool getBoolOption(const std::string& options, const std::string& name);
    /// The number that the text before the first comma begins with, as `toDouble` reads it.
    static double getDoubleOption(const std::string& text);
    /// The text before the first comma, the whole text when there is none.
    static std::string getStringOption(const std::string& text);
    /// @}

    /// How many bytes must be inserted, deleted or substituted to turn `a` into `b`.
    static int getLevenshteinDistance(const std::string& a, const std::string& b);

    /// 64-bit FNV-1a hash of the bytes, as an unsigned decimal number. Not for secrets.
    static std::string hash(const std::string& text);
};
