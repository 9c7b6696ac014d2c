#pragma once

#include <string>

/// @name Checks of option values
/// Each returns what is wrong with the text, empty when nothing is.
/// @{

/// Rejects what the parser would read in base 8 or 16.
std::string checkDecimal(const std::string& text);
/// @}
