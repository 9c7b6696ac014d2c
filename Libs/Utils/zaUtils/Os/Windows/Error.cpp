#include "zaUtils/Os/Error.h"

#include "zaUtils/Os/Windows/WindowsApi.h"

namespace za::os {

namespace {

std::string messageOf(DWORD code) {
    constexpr DWORD kUsersLanguage = MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT);
    wchar_t* message = nullptr;
    FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, code, kUsersLanguage, reinterpret_cast<wchar_t*>(&message), 0, nullptr);
    if (!message) return {};
    std::string text = narrow(message);
    LocalFree(message);
    return text;
}

}  // namespace

SystemError lastSystemError() {
    const DWORD code = GetLastError();
    SystemError error{static_cast<int>(code), messageOf(code)};
    SetLastError(code);
    return error;
}

}  // namespace za::os
