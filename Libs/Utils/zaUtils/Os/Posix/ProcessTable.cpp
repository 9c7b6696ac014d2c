#include "zaUtils/Os/ProcessTable.h"

#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <memory>
#include <string_view>

namespace za::os {

namespace {

struct alignas(2 * sizeof(pid_t)) Parent {  // fits one atomic word
    pid_t ofProcess;
    pid_t id;
};

Parent parentNow() {
    return {::getpid(), ::getppid()};
}

/// The parent when the library was loaded: a process whose parent ends gets another one.
std::atomic<Parent> g_firstParent{parentNow()};

/// What a small file of the process table says; empty when it cannot be read.
std::string contentOf(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return {};
    char buffer[PATH_MAX];
    const ssize_t size = ::read(file, buffer, sizeof(buffer));
    ::close(file);
    return size > 0 ? std::string(buffer, static_cast<std::size_t>(size)) : std::string();
}

bool isNamed(std::string_view path, const std::string& fileName) {
    const std::string_view last = path.substr(path.rfind('/') + 1);  // npos + 1 is 0
    return last.size() == fileName.size() &&
           ::strncasecmp(last.data(), fileName.data(), last.size()) == 0;
}

/// Other users' processes do not show their program file; then what they were called by and what
/// they call themselves (cut at 15 bytes) have to do. A process without a program file is the
/// kernel's, or has ended.
bool runs(const std::string& process, const std::string& fileName) {
    char program[PATH_MAX];
    const ssize_t length = ::readlink((process + "/exe").c_str(), program, sizeof(program));
    if (length >= 0) {
        constexpr std::string_view kRemoved = " (deleted)";
        std::string_view path(program, static_cast<std::size_t>(length));
        if (isNamed(path, fileName)) return true;
        const std::size_t end = path.size() - std::min(path.size(), kRemoved.size());
        return path.substr(end) == kRemoved && isNamed(path.substr(0, end), fileName);
    }
    if (errno != EACCES) return false;
    const std::string command = contentOf(process + "/cmdline");
    const std::string name = contentOf(process + "/comm");
    return isNamed(command.c_str(), fileName) || isNamed(name.substr(0, name.find('\n')), fileName);
}

}  // namespace

int currentProcessId() {
    return ::getpid();
}

int parentProcessId() {
    const Parent now = parentNow();
    Parent first = g_firstParent.load();
    if (first.ofProcess != now.ofProcess) {  // a fork of the process that loaded the library
        first = now;
        g_firstParent.store(first);
    }
    return now.id == first.id ? now.id : 0;
}

bool isProgramRunning(const std::string& fileName) {
    const std::unique_ptr<DIR, int (*)(DIR*)> table(::opendir("/proc"), ::closedir);
    if (!table) return false;
    while (const dirent* entry = ::readdir(table.get())) {
        const bool isProcess = entry->d_name[0] >= '1' && entry->d_name[0] <= '9';
        if (isProcess && runs(std::string("/proc/") + entry->d_name, fileName)) return true;
    }
    return false;
}

}  // namespace za::os
