#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "zaUtils/Os/Error.h"

namespace za::os {

/// A program that was started from a command line and runs detached: in a session of its own,
/// without console or standard streams, inheriting nothing but environment and working directory.
/// It runs on when this object goes.
class Program {
public:
    enum class Supervision {
        Awaited,    ///< its end is waited for
        LeftAlone,  ///< nobody will wait for it: neither `waitFor` nor `exitCode` may be called
    };
    static constexpr std::uint32_t kUnknownExitCode = 0xFFFFFFFF;

    Program() = default;
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Starts the program, once per object. A program that does not exist or is none fails here.
    Error start(const std::string& commandLine, Supervision supervision);

    /// The process id.
    unsigned int id() const { return _id; }

    /// Waits until the program has ended, but no longer than this; false when it still runs.
    bool waitFor(unsigned int milliseconds);

    /// The exit code of a program that has ended: 0 for success alone; kUnknownExitCode when it
    /// cannot be found out.
    std::uint32_t exitCode() const;

    /// Leaves the system's handles of the program open for good, where it has such.
    void leaveHandlesOpen() { _leavesHandlesOpen = true; }

private:
    /// What the host keeps open for a program; -1 for none.
    struct Handles {
        std::intptr_t process = -1;
        std::intptr_t thread = -1;
    };

    unsigned int _id = 0;
    Handles _handles;
    bool _leavesHandlesOpen = false;
    bool _hasEnded = false;
    std::uint32_t _exitCode = kUnknownExitCode;
};

/// The standard output of a command that the system's command interpreter runs.
class CommandPipe {
public:
    CommandPipe() = default;
    ~CommandPipe() { close(); }
    CommandPipe(const CommandPipe&) = delete;
    CommandPipe& operator=(const CommandPipe&) = delete;

    Error open(const std::string& command);
    /// Reads up to `size` bytes; 0 at the end. The C library's text mode applies where there is
    /// one.
    std::size_t read(void* buffer, std::size_t size);
    /// Waits for the command's end; its exit code, or -1 when it is unknown.
    int close();

private:
    std::FILE* _pipe = nullptr;
};

}  // namespace za::os
