#include "zaUtils/Os/Process.h"

#include "zaUtils/Os/Windows/WindowsApi.h"

#include <shellapi.h>

#include <memory>

namespace za::os {

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

}  // namespace za::os
