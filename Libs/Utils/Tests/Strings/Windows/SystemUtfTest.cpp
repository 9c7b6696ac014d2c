#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <string>

#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Os/Windows/WindowsApi.h"

// The lenient conversion gives what the system's own conversion gives. Under Wine, malformed UTF-8
// may take another number of U+FFFD: a second byte out of its range (E0 80, ED A0, F0 80) goes with
// the first, and a sequence cut off by the end takes the terminator along. So runs of U+FFFD are
// compared as one, and the end is kept away by blanks.

namespace {

std::wstring systemUtf8ToUtf16(const std::string& text) {
    wchar_t buffer[2048];
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, buffer, 2048);
    return size > 0 ? std::wstring(buffer, static_cast<std::size_t>(size - 1)) : L"failed";
}

std::string systemUtf16ToUtf8(const std::wstring& text) {
    char buffer[128];
    const int size =
        WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, buffer, 128, nullptr, nullptr);
    return size > 0 ? std::string(buffer, static_cast<std::size_t>(size - 1)) : "failed";
}

/// With one U+FFFD in place of several in a row.
std::wstring collapsed(std::wstring text) {
    const auto areBothReplacements = [](wchar_t a, wchar_t b) {
        return a == 0xFFFD && b == 0xFFFD;
    };
    text.erase(std::unique(text.begin(), text.end(), areBothReplacements), text.end());
    return text;
}

bool convertsAlike(const std::string& text) {
    const std::string padded = text + "   ";
    return collapsed(zaFile::Utf8ToUtf16(padded)) == collapsed(systemUtf8ToUtf16(padded));
}

TEST(SystemUtf, AllTextsOfUpToThreeBytesConvertAlike) {
    for (unsigned beginning = 0; beginning < 0x10000; ++beginning) {
        std::string all;
        for (unsigned last = 1; last < 256; ++last) {
            if (beginning / 256 != 0) all += static_cast<char>(beginning / 256);
            if (beginning % 256 != 0) all += static_cast<char>(beginning % 256);
            all += static_cast<char>(last);
            all += ' ';  // continues nothing
        }
        ASSERT_TRUE(convertsAlike(all)) << beginning;
    }
}

TEST(SystemUtf, EveryScalarValueConvertsAlike) {
    for (unsigned value = 0x10000; value <= 0x10FFFF; ++value) {
        const unsigned offset = value - 0x10000;
        const wchar_t pair[] = {static_cast<wchar_t>(0xD800 + offset / 0x400),
                                static_cast<wchar_t>(0xDC00 + offset % 0x400), 0};
        const std::string narrow = systemUtf16ToUtf8(pair);
        ASSERT_EQ(zaFile::UTF16ToUTF8(pair), narrow);
        ASSERT_EQ(zaFile::Utf8ToUtf16(narrow), pair);
    }
}

TEST(SystemUtf, TextsMadeOfDangerousBytesConvertAlike) {
    constexpr unsigned char kBytes[] = {0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF,
                                        0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xEC, 0xED,
                                        0xEE, 0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xFF};
    std::mt19937 random(5);
    for (int i = 0; i < 200000; ++i) {
        std::string text(1 + random() % 12, '\0');
        for (char& c : text)
            c = static_cast<char>(kBytes[random() % sizeof kBytes]);
        ASSERT_TRUE(convertsAlike(text)) << testing::PrintToString(text);
    }
}

TEST(SystemUtf, AllUnitsAndRandomTextsOfThemConvertAlike) {
    for (unsigned unit = 1; unit <= 0xFFFF; ++unit) {
        const std::wstring text(1, static_cast<wchar_t>(unit));
        ASSERT_EQ(zaFile::UTF16ToUTF8(text.c_str()), systemUtf16ToUtf8(text)) << unit;
    }
    constexpr wchar_t kUnits[] = {'A',    0x7F,   0x80,   0x7FF,  0x800,  0xD7FF, 0xD800,
                                  0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFFFD, 0xFFFF};
    std::mt19937 random(6);
    for (int i = 0; i < 100000; ++i) {
        std::wstring text(1 + random() % 8, L'\0');
        for (wchar_t& unit : text)
            unit = kUnits[random() % std::size(kUnits)];
        ASSERT_EQ(zaFile::UTF16ToUTF8(text.c_str()), systemUtf16ToUtf8(text))
            << testing::PrintToString(text);
    }
}

}  // namespace
