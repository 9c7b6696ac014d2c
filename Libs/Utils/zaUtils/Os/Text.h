#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace za::os {

/// What becomes of malformed input: U+FFFD for each sequence that cannot be continued (a maximal
/// subpart in the words of the Unicode standard), or the end of the conversion.
enum class OnMalformed { Replace, Fail };

/// Converts between UTF-8 and UTF-16; `std::wstring` holds UTF-16 units on every host. A unit above
/// 0xFFFF, possible where `wchar_t` has 32 bits, is malformed.
/// @return false when the input is malformed and OnMalformed::Fail was asked for
bool utf8ToUtf16(std::string_view text, OnMalformed onMalformed, std::wstring& result);
bool utf16ToUtf8(std::wstring_view text, OnMalformed onMalformed, std::string& result);

/// Cuts UTF-8 text to at most `size` bytes, without leaving a part of a character at the end.
void truncateUtf8(std::string& text, std::size_t size);

}  // namespace za::os
