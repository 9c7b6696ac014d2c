#include "zaUtils/Os/Console.h"

#include "zaUtils/Os/Windows/WindowsApi.h"

#include <fcntl.h>
#include <io.h>
#include <winioctl.h>

#include <cstdio>
#include <iostream>

/// What the query below tells about itself.
struct IoStatus {
    void* status;
    ULONG_PTR information;
};

// Part of every Windows, but not of every compiler's headers.
extern "C" __declspec(dllimport) LONG NTAPI
    NtQueryVolumeInformationFile(HANDLE handle, IoStatus* status, void* information, ULONG size,
                                 int informationClass);

namespace za::os {

namespace {

HANDLE handleOf(Stream stream) {
    switch (stream) {
        case Stream::Input:
            return GetStdHandle(STD_INPUT_HANDLE);
        case Stream::Output:
            return GetStdHandle(STD_OUTPUT_HANDLE);
        case Stream::Error:
            return GetStdHandle(STD_ERROR_HANDLE);
    }
    return nullptr;
}

bool isValid(HANDLE handle) {
    return handle != nullptr && handle != INVALID_HANDLE_VALUE;
}

/// What kind of device a handle belongs to; 0 for a handle that is not one of the system's own.
/// Much cheaper than asking for a console.
DWORD deviceType(HANDLE handle) {
    constexpr int kDeviceInformation = 4;
    IoStatus status;
    struct {
        DWORD type, characteristics;
    } information{};
    const LONG result = NtQueryVolumeInformationFile(handle, &status, &information,
                                                     sizeof information, kDeviceInformation);
    return result == 0 ? information.type : 0;
}

bool isNullDevice(HANDLE handle) {
    return deviceType(handle) == FILE_DEVICE_NULL;
}

/// Whether the handle is certainly no console.
bool isRedirected(HANDLE handle) {
    switch (deviceType(handle)) {
        case FILE_DEVICE_NULL:
        case FILE_DEVICE_DISK:
        case FILE_DEVICE_DISK_FILE_SYSTEM:
        case FILE_DEVICE_NETWORK_FILE_SYSTEM:
        case FILE_DEVICE_NAMED_PIPE:
            return true;
        default:
            return false;
    }
}

WORD attributesOf(Colour colour, WORD current) {
    switch (colour) {
        case Colour::Unchanged:
            return current;
        case Colour::BlueAdded:
            return current | FOREGROUND_BLUE;
        default:
            return static_cast<WORD>(colour);
    }
}

}  // namespace

bool isTerminal(Stream stream) {
    DWORD mode;
    const HANDLE handle = handleOf(stream);
    return isValid(handle) && GetConsoleMode(handle, &mode);
}

int consoleWidth(Stream stream) {
    CONSOLE_SCREEN_BUFFER_INFO info;
    const HANDLE handle = handleOf(stream);
    if (!isValid(handle) || !GetConsoleScreenBufferInfo(handle, &info)) return 0;
    return info.srWindow.Right - info.srWindow.Left + 1;
}

bool writeToConsole(Stream stream, Colour colour, std::string_view text) {
    const HANDLE handle = handleOf(stream);
    CONSOLE_SCREEN_BUFFER_INFO before;
    if (!isValid(handle) || isRedirected(handle)) return false;
    if (!GetConsoleScreenBufferInfo(handle, &before)) return false;

    if (!SetConsoleTextAttribute(handle, attributesOf(colour, before.wAttributes))) return true;
    // The wide call shows UTF-8 text whatever code page the console has.
    std::wstring units;
    utf8ToUtf16(text, OnMalformed::Replace, units);
    DWORD written;
    if (WriteConsoleW(handle, units.data(), static_cast<DWORD>(units.size()), &written, nullptr)) {
        SetConsoleTextAttribute(handle, before.wAttributes);
    }
    return true;
}

void writeToStream(Stream stream, std::string_view text) {
    std::FILE* file = stream == Stream::Error ? stderr : stdout;
    const int descriptor = _fileno(file);  // negative in a program without standard streams
    // The C library writes to devices byte by byte, a call into the system each: not for nothing.
    const bool isDevice = descriptor >= 0 && _isatty(descriptor);
    if (isDevice && isNullDevice(reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)))) return;
    std::fwrite(text.data(), 1, text.size(), file);
}

void setBinary(Stream stream) {
    std::FILE* file = stream == Stream::Input ? stdin : stream == Stream::Output ? stdout : stderr;
    if (_fileno(file) >= 0) _setmode(_fileno(file), _O_BINARY);
}

bool readLine(std::string& line) {
    if (!isTerminal(Stream::Input)) return static_cast<bool>(std::getline(std::cin, line));

    std::wstring units;
    wchar_t buffer[256];
    DWORD count = 0;
    while (units.empty() || units.back() != L'\n') {
        const HANDLE input = handleOf(Stream::Input);
        if (!ReadConsoleW(input, buffer, 256, &count, nullptr) || count == 0) break;
        units.append(buffer, count);
    }
    // A line that starts with Ctrl+Z is how the end of the input is typed.
    if (units.empty() || units.front() == L'\x1A') return false;
    while (!units.empty() && (units.back() == L'\n' || units.back() == L'\r'))
        units.pop_back();
    utf16ToUtf8(units, OnMalformed::Replace, line);
    return true;
}

}  // namespace za::os
