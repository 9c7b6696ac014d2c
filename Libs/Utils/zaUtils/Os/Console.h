#pragma once

#include <string>
#include <string_view>

namespace za::os {

enum class Stream { Input, Output, Error };

/// Text colours of a console. On Windows the numbers are the character attributes that are set; a
/// terminal elsewhere gets the nearest of its own colours.
enum class Colour {
    Unchanged,           ///< the current attributes
    BlueAdded,           ///< the current attributes with the blue foreground bit (1) added
    Yellow = 6,          ///< red and green
    Grey = 7,            ///< red, green and blue
    BrightRed = 12,      ///< red, intense
    BrightMagenta = 13,  ///< red and blue, intense
};

bool isTerminal(Stream stream);

/// The number of columns of the console that the stream is; 0 when it is none or does not tell.
int consoleWidth(Stream stream);

/// Writes UTF-8 text directly to the console in a colour, with one write, and restores what was
/// before. Where setting the colour fails nothing is written; failures are silent.
/// @return false, with nothing done, when the stream is no console, or when the console shows text
///         in the current colour just as well through the C library's stream
bool writeToConsole(Stream stream, Colour colour, std::string_view text);

/// Writes text to the C library's stream for the output or the error, buffered as that stream is.
void writeToStream(Stream stream, std::string_view text);

/// Switches the conversion of line ends off, where the C library has one.
void setBinary(Stream stream);

/// Reads one line of standard input without its line end, in UTF-8 if it is a console; false at the
/// end of the input.
bool readLine(std::string& line);

}  // namespace za::os
