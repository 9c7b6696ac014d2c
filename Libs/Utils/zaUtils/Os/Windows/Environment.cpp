#include "zaUtils/Os/Environment.h"

#include <stdlib.h>

#include <cerrno>
#include <vector>

#include "zaUtils/Os/Windows/WindowsApi.h"

namespace za::os {

bool environmentValue(const std::string& name, std::string& value) {
    const std::wstring key = wide(name);
    std::vector<wchar_t> buffer(256);
    for (;;) {
        SetLastError(ERROR_SUCCESS);
        const auto size = static_cast<DWORD>(buffer.size());
        const DWORD length = GetEnvironmentVariableW(key.c_str(), buffer.data(), size);
        if (length == 0 && GetLastError() != ERROR_SUCCESS) return false;
        if (length < size) break;
        buffer.resize(length);
    }
    value = narrow(buffer.data());
    return true;
}

int setEnvironmentValue(const std::string& name, const std::string& value) {
    if (name.empty() || name.find('=') != std::string::npos) {
        errno = EINVAL;
        return -1;
    }
    // The C library's call changes its own copies and the system's.
    return _wputenv((wide(name) + L'=' + wide(value)).c_str());
}

}  // namespace za::os
