#include "zaUtils/Platform/zaConsole.h"

#include "zaUtils/Os/Console.h"
#include "zaUtils/Os/Process.h"

namespace {

za::os::Stream hostStream(zaConsole::Stream stream) {
    switch (stream) {
        case zaConsole::Stream::Input:
            return za::os::Stream::Input;
        case zaConsole::Stream::Output:
            return za::os::Stream::Output;
        case zaConsole::Stream::Error:
            break;
    }
    return za::os::Stream::Error;
}

}  // namespace

std::vector<std::string> zaConsole::getArguments(int argc, const char* const* argv) {
    return za::os::commandLineArguments(argc, argv);
}

bool zaConsole::isTerminal(Stream stream) {
    return za::os::isTerminal(hostStream(stream));
}

void zaConsole::setBinary(Stream stream) {
    za::os::setBinary(hostStream(stream));
}

bool zaConsole::readLine(std::string& line) {
    return za::os::readLine(line);
}
