#pragma once

#include <string>
#include <vector>

#include "zaUtils/Api.h"

/// Text utilities over bytes (usually UTF-8) and the strict conversion between UTF-8 and UTF-16.
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
};
