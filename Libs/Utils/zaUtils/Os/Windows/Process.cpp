#include "zaUtils/Os/Process.h"

#include "zaUtils/Os/Windows/WindowsApi.h"

#include <shellapi.h>

#include <cerrno>
#include <memory>

#include "zaUtils/Os/Library.h"

namespace za::os {

namespace {

/// Whether the path's file name, up to the first dot, is `name`; case does not count.
bool isFileOf(const std::wstring& path, const std::wstring& name) {
    const std::wstring fileName = path.substr(path.rfind(L'\\') + 1);
    const std::wstring stem = fileName.substr(0, fileName.find(L'.'));
    return CompareStringOrdinal(stem.data(), static_cast<int>(stem.size()), name.data(),
                                static_cast<int>(name.size()), TRUE) == CSTR_EQUAL;
}

}  // namespace

std::vector<std::string> commandLineArguments(int, const char* const*) {
    int count = 0;
    const std::unique_ptr<LPWSTR, decltype(&LocalFree)> arguments(
        CommandLineToArgvW(GetCommandLineW(), &count), LocalFree);
    std::vector<std::string> result;
    if (!arguments) return result;
    for (int i = 1; i < count; ++i)
        result.push_back(narrow(arguments.get()[i]));
    return result;
}

int processorCount() {
    SYSTEM_INFO information{};
    GetSystemInfo(&information);
    return static_cast<int>(information.dwNumberOfProcessors);
}

Error applicationModule(const std::string& name, std::string& path) {
    const std::wstring wideName = wide(name);
    // A name without an extension stands for the library of that name: an application that lives in
    // a library under another program. Otherwise the handle is null, which stands for the program.
    const HMODULE library = GetModuleHandleW(wideName.c_str());
    const std::string file = libraryPath(library);
    if (file.empty() || (!library && !isFileOf(wide(file), wideName))) return failWith(ENOENT);
    path = file;
    return {};
}

}  // namespace za::os
