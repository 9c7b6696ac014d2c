// Plays the programs that the tests start: the first argument says what it does.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "Files/ProgramOutput.h"
#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Platform/zaConsole.h"

namespace {

using Arguments = std::vector<std::string>;

void sleepFor(const std::string& milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(std::stoi(milliseconds)));
}

int print(std::size_t size) {
    const std::string output = programOutput();
    for (std::size_t rest = size; rest > 0;) {
        const std::size_t count = std::min(rest, output.size());
        if (std::fwrite(output.data(), 1, count, stdout) != count) return 1;
        rest -= count;
    }
    return 0;
}

/// Lets another probe print, with standard output in a file of the working directory.
int relay(const std::string& size) {
    if (!std::freopen("output", "wb", stdout)) return 1;
    return zaFile::executeProcess(zaFile::expandFilename("\"$ZA_PROBE\" print ") + size, true);
}

/// Waits for a file of the first name and writes one of the second.
int answer(const std::string& question, const std::string& file) {
    for (int i = 0; i < 6000 && !zaFile::exists(question); ++i)
        sleepFor("10");
    return zaFile::exists(question) && zaFile::write(file, "done") ? 0 : 1;
}

int run(const Arguments& arguments) {
    const std::string& task = arguments.at(0);
    if (task == "exit") return std::stoi(arguments.at(1));
    if (task == "terminate") return std::raise(SIGTERM);
    if (task == "print") return print(std::stoul(arguments.at(1)));
    if (task == "lines") return std::puts("one\ntwo\nthree") < 0;
    if (task == "relay") return relay(arguments.at(1));
    if (task == "answer") return answer(arguments.at(1), arguments.at(2));
    if (task == "start") return zaFile::execute(arguments.at(1), false) ? 0 : 1;
    if (task == "arguments") {
        std::string report;
        for (const std::string& argument : arguments)
            report += argument + '\0';
        return zaFile::write(arguments.at(1), report) ? 0 : 1;
    }
    if (task == "sleep") {
        const bool written = zaFile::write(arguments.at(1), std::to_string(::getpid()));
        sleepFor(arguments.at(2));
        return written ? 0 : 1;
    }
    return 99;
}

}  // namespace

int main(int argc, char** argv) {
    return run(zaConsole::getArguments(argc, argv));
}
