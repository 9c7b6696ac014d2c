#include "zaUtils/Os/Library.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "zaUtils/Os/Directory.h"
#include "zaUtils/Os/Posix/PosixPath.h"

namespace za::os {

namespace {

constexpr int kFlags = RTLD_NOW | RTLD_LOCAL;

std::string absolutePath(const std::string& path) {
    std::string directory;
    if (path[0] == '/' || !currentDirectory(directory).ok()) return path;
    return directory + '/' + path;
}

std::string programPath() {
    std::vector<char> buffer(1024);
    for (;;) {
        const ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (length < 0) return {};
        const auto size = static_cast<std::size_t>(length);
        if (size < buffer.size()) return {buffer.data(), size};
        buffer.resize(2 * buffer.size());
    }
}

void* loadByName(const std::string& name) {
    const std::string program = programPath();
    const std::string beside = program.substr(0, program.rfind('/') + 1) + name;
    if (pathKind(beside) == PathKind::File) return ::dlopen(beside.c_str(), kFlags);
    return ::dlopen(name.c_str(), kFlags);
}

/// The loader's name for a module; the program itself has none there.
std::string pathOf(const link_map& module) {
    return *module.l_name ? absolutePath(module.l_name) : programPath();
}

}  // namespace

// Where dependencies lie is written into each library (its run path), so there is nothing to ask of
// the loader.
void* loadLibrary(const std::string& path, bool) {
    const std::string native = nativePath(path);
    const bool isName = native.find('/') == std::string::npos;
    void* handle = isName ? loadByName(native) : ::dlopen(absolutePath(native).c_str(), kFlags);
    // The loader has texts of its own for its failures, and leaves errno to chance.
    if (!handle) errno = isName || pathKind(path) == PathKind::Missing ? ENOENT : ENOEXEC;
    return handle;
}

bool unloadLibrary(void* handle) {
    return ::dlclose(handle) == 0;
}

void* librarySymbol(void* handle, const std::string& name) {
    void* symbol = ::dlsym(handle, name.c_str());
    if (!symbol) errno = ENOSYS;
    return symbol;
}

std::string libraryPath(void* handle) {
    link_map* module = nullptr;
    return ::dlinfo(handle, RTLD_DI_LINKMAP, &module) == 0 ? pathOf(*module) : std::string();
}

std::string modulePathAt(const void* address) {
    Dl_info information;
    link_map* module = nullptr;
    const int found =
        ::dladdr1(address, &information, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP);
    return found != 0 && module ? pathOf(*module) : std::string();
}

}  // namespace za::os
