#include "zaUtils/Os/Display.h"

#include "zaUtils/Os/Windows/WindowsApi.h"

namespace za::os {

namespace {

constexpr int kSystemDpiAware = 1;  // of PROCESS_DPI_AWARENESS

bool isAtLeastWindows8_1() {
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof version;
    version.dwMajorVersion = 6;
    version.dwMinorVersion = 3;
    ULONGLONG condition = VerSetConditionMask(0, VER_MAJORVERSION, VER_GREATER_EQUAL);
    condition = VerSetConditionMask(condition, VER_MINORVERSION, VER_GREATER_EQUAL);
    condition = VerSetConditionMask(condition, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
    return VerifyVersionInfoW(&version, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR,
                              condition);
}

/// Calls a function of a system library that not every system has.
template <typename Function, typename... Arguments>
void callIfPresent(const wchar_t* libraryName, const char* functionName, Arguments... arguments) {
    // The system's directory alone: a library of that name elsewhere is not the system's.
    const HMODULE library = LoadLibraryExW(libraryName, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (!library) return;
    const FARPROC address = GetProcAddress(library, functionName);
    if (address) reinterpret_cast<Function*>(reinterpret_cast<void*>(address))(arguments...);
    FreeLibrary(library);
}

/// Fails silently, and when the process or its manifest has decided already.
void makeSystemDpiAware() {
    if (isAtLeastWindows8_1()) {
        callIfPresent<HRESULT WINAPI(int)>(L"Shcore.dll", "SetProcessDpiAwareness",
                                           kSystemDpiAware);
    } else {
        callIfPresent<BOOL WINAPI()>(L"user32.dll", "SetProcessDPIAware");
    }
}

}  // namespace

Resolution screenResolution(DpiAwareness awareness) {
    const HDC screen = GetDC(nullptr);
    if (awareness == DpiAwareness::SystemWide) makeSystemDpiAware();
    const Resolution resolution{GetDeviceCaps(screen, LOGPIXELSX),
                                GetDeviceCaps(screen, LOGPIXELSY)};
    ReleaseDC(nullptr, screen);
    return resolution;
}

}  // namespace za::os
