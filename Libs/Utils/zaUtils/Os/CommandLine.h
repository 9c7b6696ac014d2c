#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace za::os {

/// Splits a command line into the program's name and its arguments, by the rules of the Windows C
/// library: blanks and tabs separate, except between quotes. Backslashes before a quote stand for
/// half their number; an odd one makes the quote an ordinary character, and so does a second quote
/// right after it inside of quotes. In the program's name, which is a path, quotes only group and
/// backslashes are ordinary. A missing last quote is added.
///
/// @return empty when there are only blanks
std::vector<std::string> splitCommandLine(std::string_view commandLine);

/// One argument as splitCommandLine, and the programs on Windows, take it apart again. Also the
/// program's name, which as the name of a file holds no quotes and ends in no backslash.
std::string quoteArgument(std::string_view argument);

}  // namespace za::os
