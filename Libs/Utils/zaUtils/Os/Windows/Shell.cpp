#include "zaUtils/Os/Shell.h"

#include "zaUtils/Os/Windows/WindowsApi.h"

#include <shellapi.h>

namespace za::os {

void openDocument(const std::string& target) {
    ShellExecuteW(nullptr, L"open", wide(target).c_str(), nullptr, nullptr, SW_SHOWNORMAL);
}

void beep(int hertz, int milliseconds) {
    Beep(static_cast<DWORD>(hertz), static_cast<DWORD>(milliseconds));
}

}  // namespace za::os
