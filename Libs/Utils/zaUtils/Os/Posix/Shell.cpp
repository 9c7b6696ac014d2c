#include "zaUtils/Os/Shell.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "zaUtils/Os/Console.h"
#include "zaUtils/Os/Directory.h"
#include "zaUtils/Os/Posix/PosixPath.h"

namespace za::os {

namespace {

/// The target as the desktop's opener takes it: not to be mistaken for an option, and with the
/// host's separators where it is a file.
std::string asArgument(const std::string& target) {
    const std::string path = pathKind(target) == PathKind::Missing ? target : nativePath(target);
    return path[0] == '-' ? "./" + path : path;
}

/// Becomes the opener: no terminal, no open files and no blocked signals of ours. Only calls that
/// are safe after a fork.
[[noreturn]] void becomeOpener(char* const* arguments) {
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    const int nowhere = ::open("/dev/null", O_RDWR);
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
        ::dup2(nowhere, stream);
    ::close_range(STDERR_FILENO + 1, UINT_MAX, 0);
    ::execvp(arguments[0], arguments);
    ::_exit(127);
}

}  // namespace

void openDocument(const std::string& target) {
    std::string program = "xdg-open";
    std::string argument = asArgument(target);
    char* const arguments[] = {program.data(), argument.data(), nullptr};

    // The one in the middle ends at once: the opener is nobody's child and leaves no zombie.
    const pid_t child = ::fork();
    if (child == 0) {
        ::setsid();
        if (::fork() == 0) becomeOpener(arguments);
        ::_exit(0);
    }
    if (child < 0) return;
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

void beep(int, int) {
    if (!isTerminal(Stream::Error)) return;
    const ssize_t ignored = ::write(STDERR_FILENO, "\a", 1);
    static_cast<void>(ignored);
}

}  // namespace za::os
