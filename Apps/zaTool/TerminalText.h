#pragma once

#include <string>
#include <string_view>

/// @name Texts that cannot control a terminal
/// Names of files and messages of logs may hold anything.
/// @{

/// Whether there is nothing to change in the text, being ASCII without control characters.
bool isPrintableAscii(std::string_view text);

/// The text as valid UTF-8 on one line: each control character becomes a '?', and each malformed
/// sequence U+FFFD.
std::string withoutControlCharacters(std::string text);

/// Says on standard error what is wrong with a file: "FILE: PROBLEM".
void reportProblem(const std::string& file, const std::string& problem);

/// A JSON text with those control characters escaped, too, that JSON allows in strings.
std::string withoutControlCharactersInJson(const std::string& json);
/// @}
