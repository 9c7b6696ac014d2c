#include "zaUtils/Os/Process.h"

#include <unistd.h>

#include <cerrno>

namespace za::os {

namespace {

Error programPath(std::string& path) {
    std::string target(256, '\0');
    for (;;) {
        const ssize_t length = ::readlink("/proc/self/exe", target.data(), target.size());
        if (length < 0) return lastError();
        if (static_cast<std::size_t>(length) < target.size()) {
            path = target.substr(0, static_cast<std::size_t>(length));
            return {};
        }
        target.resize(2 * target.size());
    }
}

}  // namespace

std::vector<std::string> commandLineArguments(int argc, const char* const* argv) {
    return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>{};
}

int processorCount() {
    return static_cast<int>(::sysconf(_SC_NPROCESSORS_ONLN));
}

Error applicationModule(const std::string& name, std::string& path) {
    std::string program;
    if (const Error error = programPath(program); !error.ok()) return error;
    const std::string fileName = program.substr(program.rfind('/') + 1);
    if (fileName.substr(0, fileName.find('.')) != name) return failWith(ENOENT);
    path = program;
    return {};
}

}  // namespace za::os
