#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Strings/zaString.h"

// Text is converted by zaString, which refuses malformed input, and by zaFile, which replaces it.
// Both stop at the first NUL, so that no test text holds one.

namespace {

constexpr char32_t kMaxScalar = 0x10FFFF;
const std::string kReplacement = "\xEF\xBF\xBD";

std::wstring units(std::initializer_list<unsigned> values) {
    std::wstring text;
    for (const unsigned value : values)
        text += static_cast<wchar_t>(value);
    return text;
}

bool isSurrogate(char32_t value) {
    return value >= 0xD800 && value <= 0xDFFF;
}

std::wstring utf16Of(char32_t value) {
    if (value < 0x10000) return units({value});
    const unsigned offset = value - 0x10000;
    return units({0xD800 + offset / 0x400, 0xDC00 + offset % 0x400});
}

/// The shortest sequence for the value; for any value of up to 21 bits, permitted or not.
std::string utf8Of(char32_t value) {
    const auto byte = [](char32_t bits) { return static_cast<char>(bits); };
    if (value < 0x80) return {byte(value)};
    if (value < 0x800) return {byte(0xC0 + value / 64), byte(0x80 + value % 64)};
    if (value < 0x10000) {
        return {byte(0xE0 + value / 4096), byte(0x80 + value / 64 % 64), byte(0x80 + value % 64)};
    }
    return {byte(0xF0 + value / 262144), byte(0x80 + value / 4096 % 64),
            byte(0x80 + value / 64 % 64), byte(0x80 + value % 64)};
}

std::string hex(const std::string& bytes) {
    std::string text;
    for (const char c : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02X ", static_cast<unsigned char>(c));
        text += digits;
    }
    return text;
}

bool strictRefuses(const std::string& text) {
    try {
        zaString::utf8ToUtf16(text.c_str());
        return false;
    } catch (const std::range_error& error) {
        EXPECT_STREQ(error.what(), "bad conversion");
        return true;
    }
}

bool strictRefuses(const std::wstring& text) {
    try {
        zaString::utf16ToUtf8(text.c_str());
        return false;
    } catch (const std::range_error& error) {
        EXPECT_STREQ(error.what(), "bad conversion");
        return true;
    }
}

/// A second decoder for short texts, made the other way round: the well-formed sequences are
/// listed, and a text is compared with them.
class ListedSequences {
public:
    ListedSequences() : _known(0x1000000) {
        for (char32_t value = 1; value <= kMaxScalar; ++value) {
            if (isSurrogate(value)) continue;
            const std::string sequence = utf8Of(value);
            std::size_t key = 0;
            for (std::size_t i = 0; i < sequence.size() && i < 3; ++i) {
                key = key * 256 + static_cast<unsigned char>(sequence[i]);
                _known[key] = i + 1 == sequence.size() ? value : kPrefix;
            }
        }
    }

    /// Appends the text's conversion with U+FFFD for each longest prefix of a listed sequence, and
    /// for each byte that starts none. For texts of up to three bytes.
    /// @return whether the text is well-formed
    bool decode(const std::string& text, std::wstring& result) const {
        bool wellFormed = true;
        for (std::size_t start = 0; start < text.size();) {
            std::size_t key = static_cast<unsigned char>(text[start++]);
            while (_known[key] == kPrefix && start < text.size()) {
                const std::size_t longer = key * 256 + static_cast<unsigned char>(text[start]);
                if (_known[longer] == 0) break;
                key = longer;
                ++start;
            }
            const char32_t found = _known[key];
            const bool isComplete = found != 0 && found != kPrefix;
            result += isComplete ? static_cast<wchar_t>(found) : wchar_t{0xFFFD};
            wellFormed = wellFormed && isComplete;
        }
        return wellFormed;
    }

private:
    static constexpr char32_t kPrefix = 0xFFFFFFFF;

    /// By the bytes as a number; the first is never 0, so that different texts differ. 0: starts no
    /// well-formed sequence.
    std::vector<char32_t> _known;
};

/// Mixed text of all planes.
std::u32string randomScalars(std::mt19937& random, std::size_t length) {
    constexpr char32_t kLimits[] = {0x80, 0x800, 0x10000, kMaxScalar + 1};
    std::u32string text;
    while (text.size() < length) {
        const auto value = static_cast<char32_t>(random() % kLimits[random() % 4]);
        if (value != 0 && !isSurrogate(value)) text += value;
    }
    return text;
}

TEST(Utf, EveryScalarValueComesBack) {
    std::string narrow;
    std::wstring wide;
    for (char32_t value = 1; value <= kMaxScalar; ++value) {
        if (isSurrogate(value)) continue;
        narrow += utf8Of(value);
        wide += utf16Of(value);
        if (value % 0x100 != 0xFF) continue;
        ASSERT_EQ(zaString::utf8ToUtf16(narrow.c_str()), wide) << hex(narrow);
        ASSERT_EQ(zaString::utf16ToUtf8(wide.c_str()), narrow) << hex(narrow);
        ASSERT_EQ(zaFile::Utf8ToUtf16(narrow), wide) << hex(narrow);
        ASSERT_EQ(zaFile::UTF16ToUTF8(wide.c_str()), narrow) << hex(narrow);
        narrow.clear();
        wide.clear();
    }
}

TEST(Utf, KnownTexts) {
    const struct {
        const char* narrow;
        std::wstring wide;
    } rows[] = {
        {"", {}},
        {"C:\\a/b", L"C:\\a/b"},
        {"\xC3\xA9", units({0xE9})},
        {"\xE2\x82\xAC", units({0x20AC})},
        {"\xE6\x97\xA5\xE6\x9C\xAC", units({0x65E5, 0x672C})},
        {"\xF0\x9F\x98\x80", units({0xD83D, 0xDE00})},
        {"\xF4\x8F\xBF\xBF", units({0xDBFF, 0xDFFF})},
        {"\xEF\xBB\xBFx", units({0xFEFF, 'x'})},  // a byte-order mark is a character like any other
        {"\xEF\xBF\xBE\xEF\xBF\xBF", units({0xFFFE, 0xFFFF})},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(hex(row.narrow));
        EXPECT_EQ(zaString::utf8ToUtf16(row.narrow), row.wide);
        EXPECT_EQ(zaFile::Utf8ToUtf16(row.narrow), row.wide);
        EXPECT_EQ(zaFile::Utf8ToUtf16(std::string(row.narrow)), row.wide);
        EXPECT_EQ(zaString::utf16ToUtf8(row.wide.c_str()), row.narrow);
        EXPECT_EQ(zaFile::UTF16ToUTF8(row.wide.c_str()), row.narrow);
    }
    EXPECT_EQ(zaFile::Utf8ToUtf16(std::string("a\0b", 3)), L"a");
}

TEST(Utf, LongWellFormedTextsComeBack) {
    std::mt19937 random(3);
    for (const std::size_t length : {1U, 15U, 16U, 255U, 2047U, 2048U, 2049U, 100000U}) {
        SCOPED_TRACE(length);
        std::string narrow;
        std::wstring wide;
        for (const char32_t value : randomScalars(random, length)) {
            narrow += utf8Of(value);
            wide += utf16Of(value);
        }
        EXPECT_TRUE(zaString::utf8ToUtf16(narrow.c_str()) == wide);
        EXPECT_TRUE(zaFile::Utf8ToUtf16(narrow) == wide);
        EXPECT_TRUE(zaString::utf16ToUtf8(wide.c_str()) == narrow);
        EXPECT_TRUE(zaFile::UTF16ToUTF8(wide.c_str()) == narrow);
    }
}

TEST(Utf, MalformedUtf8IsRefusedOrReplacedOncePerMaximalSubpart) {
    const struct {
        const char* form;
        std::string bytes;
        std::size_t replacements;
    } rows[] = {
        {"stray continuation", "\x80", 1},
        {"stray continuation", "\xBF", 1},
        {"stray continuations", "\x80\x80\x80", 3},
        {"continuation after a complete sequence", "\xC3\xA9\xA9", 1},
        {"truncated, 1 of 2", "\xC3", 1},
        {"truncated, 1 of 3", "\xE2", 1},
        {"truncated, 2 of 3", "\xE2\x82", 1},
        {"truncated, 1 of 4", "\xF0", 1},
        {"truncated, 2 of 4", "\xF0\x9F", 1},
        {"truncated, 3 of 4", "\xF0\x9F\x98", 1},
        {"truncated twice", "\xE2\x82\xE2\x82", 2},
        {"truncated before a longer one", "\xC3\xF0\x9F\x98\x80", 1},
        {"overlong /, 2 bytes", "\xC0\xAF", 2},
        {"overlong U+007F", "\xC1\xBF", 2},
        {"overlong /, 3 bytes", "\xE0\x80\xAF", 3},
        {"overlong U+07FF", "\xE0\x9F\xBF", 3},
        {"overlong /, 4 bytes", "\xF0\x80\x80\xAF", 4},
        {"overlong U+FFFF", "\xF0\x8F\xBF\xBF", 4},
        {"first surrogate", "\xED\xA0\x80", 3},
        {"last surrogate", "\xED\xBF\xBF", 3},
        {"surrogate pair", "\xED\xA0\xBD\xED\xB8\x80", 6},
        {"U+110000", "\xF4\x90\x80\x80", 4},
        {"U+140000", "\xF5\x80\x80\x80", 4},
        {"5 bytes", "\xF8\x88\x80\x80\x80", 5},
        {"6 bytes", "\xFC\x84\x80\x80\x80\x80", 6},
        {"never a byte of UTF-8", "\xFE\xFF", 2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.form);
        for (const std::string before : {"", "a", u8"é", u8"😀"}) {
            for (const std::string after : {"", "z", u8"日"}) {
                const std::string text = before + row.bytes + after;
                EXPECT_TRUE(strictRefuses(text)) << hex(text);
                const std::wstring wide = zaFile::Utf8ToUtf16(text);
                EXPECT_EQ(std::count(wide.begin(), wide.end(), wchar_t{0xFFFD}),
                          static_cast<std::ptrdiff_t>(row.replacements))
                    << hex(text);
                EXPECT_EQ(wide.find(zaFile::Utf8ToUtf16(before)), 0U) << hex(text);
                EXPECT_EQ(zaString::right(zaFile::UTF16ToUTF8(wide.c_str()),
                                          static_cast<int>(after.size())),
                          after);
            }
        }
    }
}

/// Whether the byte differs from the one before or after it in what it may follow.
bool isEdge(unsigned byte) {
    static const std::string edges =
        "\x01\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xDF\xE0\xEF\xF0\xF4\xF5\xFF";
    return edges.find(static_cast<char>(byte)) != std::string::npos;
}

TEST(Utf, AllTextsOfUpToThreeBytesAgreeWithTheListOfSequences) {
    const ListedSequences sequences;
    const bool everyByte = std::getenv("ZA_TEST_ALL");
    std::string text, all, wellFormed;
    std::wstring expected, expectedOfWellFormed;
    for (unsigned beginning = 0; beginning < 0x10000; ++beginning) {
        const unsigned first = beginning / 256;
        const unsigned second = beginning % 256;
        if (first != 0 && first < 0x80 && first != 'a') continue;  // one stands for all of ASCII

        // Blanks, which continue nothing, put the texts of one beginning into one call.
        for (std::string* narrow : {&all, &wellFormed})
            narrow->clear();
        for (std::wstring* wide : {&expected, &expectedOfWellFormed})
            wide->clear();
        for (unsigned last = 1; last < 256; ++last) {
            if (!everyByte && !isEdge(last)) continue;
            text.clear();
            if (first != 0) text += static_cast<char>(first);
            if (second != 0) text += static_cast<char>(second);
            text += static_cast<char>(last);

            const std::size_t before = expected.size();
            if (sequences.decode(text, expected)) {
                wellFormed += text;
                expectedOfWellFormed.append(expected, before);
            } else if (text.size() < 3 || (beginning + last) % 64 == 0) {  // exceptions are slow
                ASSERT_TRUE(strictRefuses(text)) << hex(text);
            }
            all += text;
            all += ' ';
            expected += L' ';
        }
        ASSERT_TRUE(zaFile::Utf8ToUtf16(all.c_str()) == expected) << beginning;
        ASSERT_TRUE(zaString::utf8ToUtf16(wellFormed.c_str()) == expectedOfWellFormed) << beginning;
        ASSERT_TRUE(zaString::utf16ToUtf8(expectedOfWellFormed.c_str()) == wellFormed) << beginning;
    }
}

TEST(Utf, UnpairedSurrogatesAreRefusedOrReplaced) {
    const struct {
        std::wstring text;
        std::string replaced;
    } rows[] = {
        {units({0xD800}), kReplacement},
        {units({0xDBFF}), kReplacement},
        {units({0xDC00}), kReplacement},
        {units({0xDFFF}), kReplacement},
        {units({0xDE00, 0xD83D}), kReplacement + kReplacement},
        {units({0xD83D, 'z'}), kReplacement + "z"},
        {units({'a', 0xDE00, 'z'}), "a" + kReplacement + "z"},
        {units({0xD83D, 0xD83D, 0xDE00}), kReplacement + "\xF0\x9F\x98\x80"},
        {units({0xD83D, 0xDE00, 0xDE00}), "\xF0\x9F\x98\x80" + kReplacement},
        {units({0xD83D, 0xE000}), kReplacement + "\xEE\x80\x80"},
        {units({0xD83D, 0xDBFF}), kReplacement + kReplacement},
        {units({0xD7FF, 0xDC00}), "\xED\x9F\xBF" + kReplacement},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.text));
        EXPECT_TRUE(strictRefuses(row.text));
        EXPECT_EQ(zaFile::UTF16ToUTF8(row.text.c_str()), row.replaced);
    }
}

TEST(Utf, UnitsAbove16BitsAreMalformed) {
    if (sizeof(wchar_t) == 2) GTEST_SKIP() << "wchar_t has 16 bits here";
    for (const unsigned unit : {0x10000U, 0x1F600U, 0x10FFFFU, 0x110000U, 0x1D83DU, 0x7FFFFFFFU,
                                0x80000000U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(unit);
        EXPECT_TRUE(strictRefuses(units({'a', unit})));
        EXPECT_EQ(zaFile::UTF16ToUTF8(units({'a', unit, 'z'}).c_str()), "a" + kReplacement + "z");
        EXPECT_EQ(zaFile::UTF16ToUTF8(units({0xD83D, unit}).c_str()), kReplacement + kReplacement);
    }
}

TEST(Utf, LenientConversionGivesWhatTheStrictOneTakes) {
    std::mt19937 random(4);
    constexpr unsigned char kLikely[] = {0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC1,
                                         0xC2, 0xDF, 0xE0, 0xE1, 0xEC, 0xED, 0xEE,
                                         0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5};
    for (int i = 0; i < 20000; ++i) {
        std::string text(1 + random() % 12, 'a');
        for (char& c : text) {
            if (random() % 4 != 0) c = static_cast<char>(kLikely[random() % sizeof kLikely]);
        }
        const std::wstring wide = zaFile::Utf8ToUtf16(text);
        ASSERT_FALSE(strictRefuses(wide)) << hex(text);
        const std::string mended = zaString::utf16ToUtf8(wide.c_str());
        ASSERT_EQ(zaString::utf8ToUtf16(mended.c_str()), wide) << hex(text);
        ASSERT_EQ(strictRefuses(text), mended != text) << hex(text);
    }
}

}  // namespace
