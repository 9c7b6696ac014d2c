#include "zaUtils/Os/Process.h"

#include <unistd.h>

#include <cerrno>

#include "zaUtils/Os/Library.h"

namespace za::os {

std::vector<std::string> commandLineArguments(int argc, const char* const* argv) {
    return argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>{};
}

int processorCount() {
    return static_cast<int>(::sysconf(_SC_NPROCESSORS_ONLN));
}

Error applicationModule(const std::string& name, std::string& path) {
    const std::string program = libraryPath(nullptr);
    if (program.empty()) return lastError();
    const std::string fileName = program.substr(program.rfind('/') + 1);
    if (fileName.substr(0, fileName.find('.')) != name) return failWith(ENOENT);
    path = program;
    return {};
}

}  // namespace za::os
