// Plays the programs that the tests start: the first argument says what it does.

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

#include "Support/LogCapture.h"
#include "Support/TestEnvironment.h"
#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Platform/zaConsole.h"

namespace {

/// Prints numbered lines of all lengths up to 300, with NUL bytes in them.
int print(unsigned long lines) {
    for (unsigned long i = 0; i < lines; ++i) {
        const std::string line = std::string(i % 300, '\0') + std::to_string(i) + '\n';
        if (std::fwrite(line.data(), 1, line.size(), stdout) != line.size()) return 1;
    }
    return 0;
}

/// Lets another probe print, with standard output in a file of the working directory.
int relay(const std::string& lines) {
    if (!std::freopen("output", "wb", stdout)) return 1;
    return zaFile::executeProcess(zaFile::expandFilename("\"$ZA_PROBE\" print ") + lines, true);
}

/// Waits for a file of the first name, for a minute at most, and writes one of the second.
int answer(const std::string& question, const std::string& file) {
    for (int i = 0; i < 6000 && !zaFile::exists(question); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return zaFile::exists(question) && zaFile::write(file, "done") ? 0 : 1;
}

/// Calls what the arguments name and writes the log's messages and the results to the first one.
int callAll(const std::vector<std::string>& arguments) {
    const LogCapture log;
    std::string report;
    for (std::size_t i = 2; i < arguments.size(); ++i) {
        const std::string& name = arguments[i];
        if (name.rfind("init=", 0) == 0) zaFile::initTmpDir(name.substr(5));
        if (name == "unset") unsetTestVariable("ZARN_TMP_DIR");
        if (name == "tmp") log.messages().push_back("= " + zaFile::getTmpDir());
        if (name == "teamcenter") log.messages().push_back("= " + zaFile::getTeamcenterTmpDir());
        if (name == "variable") log.messages().push_back(zaFile::expandFilename("$ZARN_TMP_DIR"));
    }
    for (const std::string& line : log.messages())
        report += line + '|';
    return zaFile::write(arguments.at(1), report) ? 0 : 1;
}

int run(const std::vector<std::string>& arguments) {
    const std::string& task = arguments.at(0);
    if (task == "terminate") return std::raise(SIGTERM);
    if (task == "call") return callAll(arguments);
    const std::string& first = arguments.at(1);
    if (task == "exit") return std::stoi(first);
    if (task == "print") return print(std::stoul(first));
    if (task == "relay") return relay(first);
    if (task == "start") return zaFile::execute(first, false) ? 0 : 1;
    if (task == "answer") return answer(first, arguments.at(2));
    std::string report;
    for (const std::string& argument : arguments)
        report += argument + '\0';
    if (task == "sleep") report = std::to_string(::getpid());
    const bool written = zaFile::write(first, report);
    if (task == "sleep") std::this_thread::sleep_for(std::chrono::milliseconds(350));
    return written ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    return run(zaConsole::getArguments(argc, argv));
}
