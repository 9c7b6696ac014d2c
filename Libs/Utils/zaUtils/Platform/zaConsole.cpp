#include "zaUtils/Platform/zaConsole.h"

#include "zaUtils/Os/Console.h"
#include "zaUtils/Os/Process.h"

std::vector<std::string> zaConsole::getArguments(int argc, const char* const* argv) {
    return za::os::commandLineArguments(argc, argv);
}

bool zaConsole::isTerminal(Stream stream) {
    switch (stream) {
        case Stream::Input:
            return za::os::isTerminal(za::os::Stream::Input);
        case Stream::Output:
            return za::os::isTerminal(za::os::Stream::Output);
        case Stream::Error:
            return za::os::isTerminal(za::os::Stream::Error);
    }
    return false;
}

bool zaConsole::readLine(std::string& line) {
    return za::os::readLine(line);
}
