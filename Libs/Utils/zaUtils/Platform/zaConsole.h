#pragma once

#include <string>
#include <vector>

#include "zaUtils/Api.h"

/// What a command-line program needs of its terminal, in UTF-8 on both hosts.
class ZAUTILS_API zaConsole {
public:
    enum class Stream { Input, Output, Error };

    /// The program's arguments (without its own name) in UTF-8. `argc` and `argv` are those of
    /// `main`; Windows hands them over in another encoding, so there they are taken anew from the
    /// command line.
    static std::vector<std::string> getArguments(int argc, const char* const* argv);

    /// Whether the stream is a terminal, rather than a file, a pipe or closed.
    static bool isTerminal(Stream stream);

    /// Lets bytes pass the C library's stream as they are from now on, for data that is no text.
    /// (On Windows line ends are converted otherwise.) To be called before the stream is used.
    static void setBinary(Stream stream);

    /// Reads one line of standard input, without its line end, as UTF-8 from a terminal and as the
    /// bytes that come from elsewhere. False at the end of the input.
    static bool readLine(std::string& line);
};
