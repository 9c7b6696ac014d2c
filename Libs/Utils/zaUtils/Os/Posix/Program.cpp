#include "zaUtils/Os/Program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "zaUtils/Os/CommandLine.h"
#include "zaUtils/Os/Posix/PosixPath.h"

namespace za::os {

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

/// Waits for a child's end without being disturbed by signals.
void reap(pid_t child) {
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

/// As command interpreters number it.
int exitCodeOf(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// Everything that a start needs, made ready beforehand: after a fork nothing may be allocated.
class Start {
public:
    explicit Start(const std::string& commandLine)
        // The text ends at a NUL, as it does where the system itself takes it apart.
        : _arguments(splitCommandLine(commandLine.c_str())) {
        if (!_arguments.empty()) _arguments[0] = nativePath(_arguments[0]);
        for (std::string& argument : _arguments)
            _argv.push_back(argument.data());
        _argv.push_back(nullptr);
        prepareStreams();
        prepareSignals();
    }
    ~Start() {
        ::posix_spawnattr_destroy(&_attributes);
        ::posix_spawn_file_actions_destroy(&_streams);
    }
    Start(const Start&) = delete;
    Start& operator=(const Start&) = delete;

    /// The C library's error code, also when the program cannot be executed.
    int run(pid_t& process) const {
        if (_arguments.empty() || _arguments[0].empty()) return ENOENT;
        return ::posix_spawnp(&process, _argv[0], &_streams, &_attributes, _argv.data(), environ);
    }

private:
    void prepareStreams() {
        ::posix_spawn_file_actions_init(&_streams);
        ::posix_spawn_file_actions_addopen(&_streams, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_addopen(&_streams, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        ::posix_spawn_file_actions_addopen(&_streams, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        ::posix_spawn_file_actions_addclosefrom_np(&_streams, STDERR_FILENO + 1);
    }

    /// A session of its own; what this process does with signals is no concern of the program.
    void prepareSignals() {
        sigset_t none;
        sigset_t all;
        ::sigemptyset(&none);
        ::sigfillset(&all);
        ::posix_spawnattr_init(&_attributes);
        ::posix_spawnattr_setsigmask(&_attributes, &none);
        ::posix_spawnattr_setsigdefault(&_attributes, &all);
        ::posix_spawnattr_setflags(
            &_attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }

    std::vector<std::string> _arguments;
    std::vector<char*> _argv;
    posix_spawn_file_actions_t _streams;
    posix_spawnattr_t _attributes;
};

/// Starts a program as a grandchild, whose parent ends at once: it never becomes a zombie of ours.
/// The parent's only report comes through a pipe.
int runLeftAlone(const Start& start) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return errno;
    const pid_t parent = ::fork();
    if (parent == 0) {
        pid_t program = 0;
        const int code = start.run(program);
        const bool reported = ::write(ends[1], &code, sizeof code) == sizeof code;
        ::_exit(reported ? 0 : 1);
    }
    int code = parent < 0 ? errno : ECHILD;
    ::close(ends[1]);
    if (parent > 0) {
        while (::read(ends[0], &code, sizeof code) < 0 && errno == EINTR) {
        }
        reap(parent);
    }
    ::close(ends[0]);
    return code;
}

/// Children that nobody waits for any more, to be reaped once they have ended. Never destroyed.
class Orphanage {
public:
    static Orphanage& the() {
        static auto& instance = *new Orphanage;
        return instance;
    }
    void add(pid_t child) {
        const std::lock_guard<std::mutex> lock(_mutex);
        _children.push_back(child);
    }
    void reapEnded() {
        const std::lock_guard<std::mutex> lock(_mutex);
        const auto hasEnded = [](pid_t child) { return ::waitpid(child, nullptr, WNOHANG) != 0; };
        _children.erase(std::remove_if(_children.begin(), _children.end(), hasEnded),
                        _children.end());
    }

private:
    std::mutex _mutex;
    std::vector<pid_t> _children;
};

/// Sleeps until the process has ended or the time is over, or a little less.
void sleepBeside(std::intptr_t processDescriptor, Milliseconds time) {
    if (processDescriptor >= 0) {
        pollfd end{static_cast<int>(processDescriptor), POLLIN, 0};
        ::poll(&end, 1, static_cast<int>(time.count()));
    } else {
        std::this_thread::sleep_for(std::min(time, Milliseconds(5)));
    }
}

}  // namespace

/// There is one handle here, which nobody else can use: it is closed in any case.
Program::~Program() {
    if (_handles.process >= 0) ::close(static_cast<int>(_handles.process));
    if (_id != 0 && !_hasEnded) Orphanage::the().add(static_cast<pid_t>(_id));
}

Error Program::start(const std::string& commandLine, Supervision supervision) {
    Orphanage::the().reapEnded();
    const Start start(commandLine);
    pid_t process = 0;
    const int code =
        supervision == Supervision::LeftAlone ? runLeftAlone(start) : start.run(process);
    if (code != 0) return failWith(code);
    if (supervision == Supervision::LeftAlone) return {};

    _id = static_cast<unsigned int>(process);
    // Called by number: older C libraries have no name for it. Waiting does without it if need be.
    _handles.process = ::syscall(SYS_pidfd_open, process, 0);
    return {};
}

bool Program::waitFor(unsigned int milliseconds) {
    const auto end = Clock::now() + Milliseconds(milliseconds);
    while (!_hasEnded) {
        int status = 0;
        const pid_t found = ::waitpid(static_cast<pid_t>(_id), &status, WNOHANG);
        if (found > 0) _exitCode = static_cast<std::uint32_t>(exitCodeOf(status));
        // A child that somebody else has reaped ended as well; its exit code stays unknown.
        _hasEnded = found > 0 || (found < 0 && errno == ECHILD);
        if (_hasEnded) break;
        const auto left = std::chrono::ceil<Milliseconds>(end - Clock::now());
        if (left.count() <= 0) return false;
        sleepBeside(_handles.process, left);
    }
    return true;
}

std::uint32_t Program::exitCode() const {
    return _exitCode;
}

Error CommandPipe::open(const std::string& command) {
    _pipe = ::popen(command.c_str(), "re");
    return _pipe ? Error{} : lastError();
}

std::size_t CommandPipe::read(void* buffer, std::size_t size) {
    for (;;) {
        std::clearerr(_pipe);
        const std::size_t count = std::fread(buffer, 1, size, _pipe);
        if (count > 0 || std::ferror(_pipe) == 0 || errno != EINTR) return count;
    }
}

int CommandPipe::close() {
    std::FILE* pipe = std::exchange(_pipe, nullptr);
    const int status = pipe ? ::pclose(pipe) : -1;
    return status < 0 ? -1 : exitCodeOf(status);
}

}  // namespace za::os
