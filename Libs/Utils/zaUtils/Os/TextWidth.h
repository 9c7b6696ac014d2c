#pragma once

#include <string>
#include <string_view>

namespace za::os {

/// The number of columns that UTF-8 text takes on a terminal: two for each wide East Asian
/// character or emoji, none for marks that combine with the character before.
int textWidth(std::string_view text);

/// The text as a terminal shows it on one line of at most `columns` columns: control characters
/// become '?', malformed sequences U+FFFD, and a text that is too wide is cut and ends in an
/// ellipsis.
std::string fitColumns(std::string_view text, int columns);

}  // namespace za::os
