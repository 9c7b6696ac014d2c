#include "zaUtils/Os/Library.h"

#include <vector>

#include "zaUtils/Os/Windows/WindowsApi.h"

namespace za::os {

namespace {

std::wstring absolutePath(const std::string& path) {
    const std::wstring name = wide(path);
    std::vector<wchar_t> buffer(GetFullPathNameW(name.c_str(), 0, nullptr, nullptr));
    const auto size = static_cast<DWORD>(buffer.size());
    const DWORD length = GetFullPathNameW(name.c_str(), size, buffer.data(), nullptr);
    return length < size ? std::wstring(buffer.data(), length) : name;
}

std::string pathOf(HMODULE module) {
    std::vector<wchar_t> buffer(MAX_PATH);
    for (;;) {
        const auto size = static_cast<DWORD>(buffer.size());
        const DWORD length = GetModuleFileNameW(module, buffer.data(), size);
        if (length == 0) return {};
        if (length < size) return narrow(buffer.data());
        buffer.resize(2 * buffer.size());
    }
}

}  // namespace

void* loadLibrary(const std::string& path, bool searchItsFolder) {
    if (path.find_first_of("/\\:") == std::string::npos) {
        return LoadLibraryExW(wide(path).c_str(), nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
    }
    const DWORD flags = searchItsFolder ? LOAD_WITH_ALTERED_SEARCH_PATH : 0;
    return LoadLibraryExW(absolutePath(path).c_str(), nullptr, flags);
}

bool unloadLibrary(void* handle) {
    return FreeLibrary(static_cast<HMODULE>(handle)) != 0;
}

void* librarySymbol(void* handle, const std::string& name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name.c_str()));
}

std::string libraryPath(void* handle) {
    return pathOf(static_cast<HMODULE>(handle));
}

std::string modulePathAt(const void* address) {
    HMODULE module = nullptr;
    const DWORD flags =
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (!GetModuleHandleExW(flags, static_cast<const wchar_t*>(address), &module)) return {};
    return pathOf(module);
}

}  // namespace za::os
