#include "zaUtils/Os/Console.h"

#include <sys/ioctl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <iostream>

namespace za::os {

namespace {

int descriptor(Stream stream) {
    switch (stream) {
        case Stream::Input:
            return STDIN_FILENO;
        case Stream::Output:
            return STDOUT_FILENO;
        case Stream::Error:
            return STDERR_FILENO;
    }
    return STDERR_FILENO;
}

/// The control sequences (ECMA-48, "select graphic rendition") that stand for the colours.
std::string_view sequence(Colour colour) {
    switch (colour) {
        case Colour::Unchanged:
            return "";
        case Colour::BlueAdded:
            return "\033[36m";
        case Colour::Yellow:
            return "\033[33m";
        case Colour::Grey:
            return "\033[37m";
        case Colour::BrightRed:
            return "\033[91m";
        case Colour::BrightMagenta:
            return "\033[95m";
    }
    return "";
}

iovec piece(std::string_view text) {
    return {const_cast<char*>(text.data()), text.size()};
}

/// Writes the rest of what one write left over; a terminal takes less when it is slow.
void finish(int fd, std::array<std::string_view, 3> pieces, std::size_t written) {
    for (std::string_view text : pieces) {
        if (written >= text.size()) {
            written -= text.size();
            continue;
        }
        text.remove_prefix(written);
        written = 0;
        while (!text.empty()) {
            const ssize_t more = ::write(fd, text.data(), text.size());
            if (more < 0 && errno != EINTR) return;
            if (more > 0) text.remove_prefix(static_cast<std::size_t>(more));
        }
    }
}

}  // namespace

bool isTerminal(Stream stream) {
    return ::isatty(descriptor(stream)) == 1;
}

int consoleWidth(Stream stream) {
    winsize size{};
    return ::ioctl(descriptor(stream), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

bool writeToConsole(Stream stream, Colour colour, std::string_view text) {
    // Text as it is needs no terminal, and to ask for one is a call into the system.
    if (colour == Colour::Unchanged) return false;
    const int reason = errno;
    const bool console = isTerminal(stream);
    errno = reason;  // asking is no failure
    if (!console) return false;

    constexpr std::string_view kDefaultForeground = "\033[39m";
    const std::string_view start = sequence(colour);
    const std::array<std::string_view, 3> pieces{start, text,
                                                 start.empty() ? start : kDefaultForeground};
    const std::array<iovec, 3> vectors{piece(pieces[0]), piece(pieces[1]), piece(pieces[2])};
    const int fd = descriptor(stream);
    ssize_t written;
    do {
        written = ::writev(fd, vectors.data(), static_cast<int>(vectors.size()));
    } while (written < 0 && errno == EINTR);
    if (written >= 0) finish(fd, pieces, static_cast<std::size_t>(written));
    return true;
}

void writeToStream(Stream stream, std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stream == Stream::Error ? stderr : stdout);
}

void setBinary(Stream) {}

bool readLine(std::string& line) {
    return static_cast<bool>(std::getline(std::cin, line));
}

}  // namespace za::os
