#include "Support/Screen.h"

#include <windows.h>

#include <cstdio>
#include <vector>

namespace {

constexpr WORD kInitialAttributes = FOREGROUND_GREEN | FOREGROUND_INTENSITY;

short g_line = 0;  // where the mark is

HANDLE console() {
    return GetStdHandle(STD_OUTPUT_HANDLE);
}

CONSOLE_SCREEN_BUFFER_INFO info() {
    CONSOLE_SCREEN_BUFFER_INFO result{};
    if (!GetConsoleScreenBufferInfo(console(), &result)) {
        std::fprintf(stderr, "standard output is not a console\n");
        ExitProcess(2);
    }
    return result;
}

}  // namespace

Screen::Screen() {
    info();
    SetConsoleTextAttribute(console(), kInitialAttributes);
}

void Screen::mark() {
    g_line = info().dwCursorPosition.Y;
}

bool Screen::shows(const std::string& text, int attributes) const {
    const int size =
        MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring expected(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), expected.data(),
                        size);

    const COORD start{0, g_line};
    DWORD count = 0;
    std::vector<WORD> cells(expected.size());
    std::wstring shown(expected.size(), L'\0');
    const auto length = static_cast<DWORD>(expected.size());
    ReadConsoleOutputAttribute(console(), cells.data(), length, start, &count);
    ReadConsoleOutputCharacterW(console(), shown.data(), length, start, &count);

    bool right = count == length && shown == expected;
    for (const WORD cell : cells)
        right = right && cell == attributes;
    right = right && info().wAttributes == kInitialAttributes &&
            info().dwCursorPosition.Y > g_line && info().dwCursorPosition.X == 0;
    if (!right) {
        std::fprintf(stderr, "line %d should read '%s' in %d but reads '%ls' in %d\n", g_line,
                     text.c_str(), attributes, shown.c_str(), cells.empty() ? -1 : cells[0]);
    }
    return right;
}

bool Screen::staysEmptyWithoutColours(void (*write)()) const {
    const HANDLE before = console();
    // Readable, so that it is known as a console, but its attributes cannot be set.
    const HANDLE readOnly =
        CreateFileW(L"CONOUT$", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                    OPEN_EXISTING, 0, nullptr);
    const COORD cursor = info().dwCursorPosition;
    SetStdHandle(STD_OUTPUT_HANDLE, readOnly);
    write();
    SetStdHandle(STD_OUTPUT_HANDLE, before);
    CloseHandle(readOnly);
    const COORD after = info().dwCursorPosition;
    const bool stays = after.X == cursor.X && after.Y == cursor.Y;
    if (!stays) std::fprintf(stderr, "a text was written though it could not be coloured\n");
    return stays;
}
