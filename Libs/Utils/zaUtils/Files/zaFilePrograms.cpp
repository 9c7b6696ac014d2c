#include <cstdio>
#include <stdexcept>

#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Os/CommandLine.h"
#include "zaUtils/Os/Program.h"

using za::os::Program;

namespace {

constexpr unsigned int kSliceMilliseconds = 100;

enum class AfterWaiting { CloseHandles, LeaveHandlesOpen };

bool run(const std::string& commandLine, bool wait, zaFile::ProgramCallback callback,
         void* userData, AfterWaiting afterWaiting) {
    using Supervision = Program::Supervision;
    if (commandLine.empty()) return false;
    Program program;
    const auto supervision = wait ? Supervision::Awaited : Supervision::LeftAlone;
    if (!program.start(commandLine, supervision).ok()) return false;
    // Deliberate, both of them.
    if (!wait || afterWaiting == AfterWaiting::LeaveHandlesOpen) program.leaveHandlesOpen();
    if (!wait) return true;

    while (!program.waitFor(kSliceMilliseconds)) {
        if (callback) callback(program.id(), userData);
    }
    return program.exitCode() == 0;
}

}  // namespace

bool zaFile::execute(const std::string& commandLine, bool wait, ProgramCallback callback,
                     void* userData) {
    return run(commandLine, wait, callback, userData, AfterWaiting::CloseHandles);
}

bool zaFile::executeW(const std::string& commandLine, bool wait, ProgramCallback callback,
                      void* userData) {
    return run(commandLine, wait, callback, userData, AfterWaiting::LeaveHandlesOpen);
}

int zaFile::executeProcess(const std::string& command, bool echo) {
    za::os::CommandPipe pipe;
    if (!pipe.open(command).ok()) {
        // An older name of this function, deliberately unchanged.
        throw std::runtime_error("zaFile::execute_no_output: popen() failed!");
    }
    constexpr std::size_t kBlockSize = 65536;
    std::vector<char> block(kBlockSize);
    std::string output;
    while (const std::size_t count = pipe.read(block.data(), block.size())) {
        if (echo) output.append(block.data(), count);
    }
    const int exitCode = pipe.close();
    if (echo) {
        output += '\n';
        std::fwrite(output.data(), 1, output.size(), stdout);
        std::fflush(stdout);
    }
    return exitCode;
}

std::string zaFile::quoteArgument(const std::string& argument) {
    return za::os::quoteArgument(argument);
}
