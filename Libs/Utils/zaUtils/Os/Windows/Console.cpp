#include "zaUtils/Os/Console.h"

#include <iostream>

#include "zaUtils/Os/Windows/WindowsApi.h"

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

bool writeToConsole(Stream stream, Colour colour, std::string_view text) {
    const HANDLE handle = handleOf(stream);
    CONSOLE_SCREEN_BUFFER_INFO before;
    if (!isValid(handle) || !GetConsoleScreenBufferInfo(handle, &before)) return false;

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
