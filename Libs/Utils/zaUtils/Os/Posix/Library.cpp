#include "zaUtils/Os/Library.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
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

/// The folders that the loader searches, in its order, for what this library asks for by name.
/// Other folders come after these, none of which is relative.
std::vector<std::string> searchFolders() {
    Dl_info information;
    link_map* self = nullptr;  // serves as the handle
    if (::dladdr1(reinterpret_cast<void*>(&searchFolders), &information,
                  reinterpret_cast<void**>(&self), RTLD_DL_LINKMAP) == 0) {
        return {};
    }
    Dl_serinfo size;
    if (::dlinfo(self, RTLD_DI_SERINFOSIZE, &size) != 0) return {};
    std::vector<std::max_align_t> room(size.dls_size / sizeof(std::max_align_t) + 1);
    auto* list = reinterpret_cast<Dl_serinfo*>(room.data());
    if (::dlinfo(self, RTLD_DI_SERINFOSIZE, list) != 0) return {};
    if (::dlinfo(self, RTLD_DI_SERINFO, list) != 0) return {};
    std::vector<std::string> folders;
    for (unsigned int i = 0; i < list->dls_cnt; ++i)
        folders.emplace_back(list->dls_serpath[i].dls_name);
    return folders;
}

/// A search path may hold a relative folder, above all an empty one, which a stray separator makes:
/// the loader would run what lies in the working directory. If something does, it is passed over.
void* loadByName(const std::string& name) {
    const auto isRelative = [](const std::string& folder) { return folder[0] != '/'; };
    const auto hasIt = [&](const std::string& folder) {
        return pathKind(folder + '/' + name) == PathKind::File;
    };
    const auto loadFrom = [&](const std::string& folder) {
        return ::dlopen((folder + '/' + name).c_str(), kFlags);
    };
    const std::string program = programPath();
    const std::string besideProgram = program.substr(0, program.rfind('/'));
    if (hasIt(besideProgram)) return loadFrom(besideProgram);

    const std::vector<std::string> folders = searchFolders();
    const auto isStray = [&](const std::string& folder) {
        return isRelative(folder) && hasIt(folder);
    };
    if (std::none_of(folders.begin(), folders.end(), isStray)) {
        return ::dlopen(name.c_str(), kFlags);
    }
    const auto found = std::find_if(folders.begin(), folders.end(), [&](const std::string& folder) {
        return !isRelative(folder) && hasIt(folder);
    });
    return found == folders.end() ? nullptr : loadFrom(*found);
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
    if (!handle) return programPath();
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
