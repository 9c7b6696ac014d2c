#include "zaUtils/Os/Environment.h"

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

}  // namespace za::os
