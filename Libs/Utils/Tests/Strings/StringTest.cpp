#include "zaUtils/Strings/zaString.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using Names = std::vector<std::string>;

/// A text of up to `maxLength` of the given characters.
std::string randomText(std::mt19937& random, const std::string& characters, std::size_t maxLength) {
    std::string text(random() % (maxLength + 1), '\0');
    for (char& c : text)
        c = characters[random() % characters.size()];
    return text;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    zaString::replace(text, from, to);
    return text;
}

TEST(String, LeftAndRightTakeAsManyBytesAsThereAre) {
    struct Row {
        std::string text;
        int n;
        std::string left;
        std::string right;
    };
    const Row rows[] = {
        {"abc", INT_MIN, "", ""},
        {"abc", -1, "", ""},
        {"abc", 0, "", ""},
        {"abc", 1, "a", "c"},
        {"abc", 2, "ab", "bc"},
        {"abc", 3, "abc", "abc"},
        {"abc", 4, "abc", "abc"},
        {"abc", INT_MAX, "abc", "abc"},
        {"", 0, "", ""},
        {"", 1, "", ""},
        {"a\0b"s, 2, "a\0"s, "\0b"s},
        {u8"éa", 1, "\xC3", "a"},  // bytes, not characters
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.text) + " " + std::to_string(row.n));
        EXPECT_EQ(zaString::left(row.text, row.n), row.left);
        EXPECT_EQ(zaString::right(row.text, row.n), row.right);
    }
}

TEST(String, CaseChangesTouchOnlyAsciiLettersInTheCLocale) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    std::string lower = all;
    std::string upper = all;
    for (int i = 0; i < 26; ++i) {
        lower['A' + static_cast<unsigned>(i)] = static_cast<char>('a' + i);
        upper['a' + static_cast<unsigned>(i)] = static_cast<char>('A' + i);
    }
    EXPECT_EQ(zaString::toLower(all), lower);
    EXPECT_EQ(zaString::toUpper(all), upper);
    EXPECT_EQ(zaString::toUpper(u8"straße é"), u8"STRAßE é");
    EXPECT_EQ(zaString::toLower(""), "");
}

TEST(String, CapitalizeRaisesTheFirstByteAndWhatFollowsABlank) {
    const struct {
        std::string text, expected;
    } rows[] = {
        {"", ""},
        {"hello world  x", "Hello World  X"},
        {" a", " A"},
        {"a ", "A "},
        {"aB cD", "AB CD"},  // nothing is lowered
        {"a\tb\nc\vd-e_f", "A\tb\nc\vd-e_f"},
        {"1a 2b", "1a 2b"},
        {u8"é à b", u8"é à B"},
        {"a\xA0 b\xA0z", "A\xA0 B\xA0z"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(zaString::capitalize(row.text), row.expected);
}

TEST(String, PrefixSuffixAndPartAreComparedByBytes) {
    struct Row {
        std::string text, part;
        bool starts, ends, contains;
    };
    const Row rows[] = {
        {"", "", true, true, true},           {"abc", "", true, true, true},
        {"", "a", false, false, false},       {"abc", "abc", true, true, true},
        {"abc", "abcd", false, false, false}, {"abc", "zabc", false, false, false},
        {"abc", "ab", true, false, true},     {"abc", "bc", false, true, true},
        {"abc", "b", false, false, true},     {"abc", "AB", false, false, false},
        {"abc", "ac", false, false, false},   {"aba", "a", true, true, true},
        {"a\0b"s, "\0b"s, false, true, true}, {"a\0b"s, "a\0c"s, false, false, false},
        {"ab", "ab\0"s, false, false, false}, {"\xE9\xE8", "\xE9", true, false, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.text) + " " + testing::PrintToString(row.part));
        EXPECT_EQ(zaString::startsWith(row.text, row.part), row.starts);
        EXPECT_EQ(zaString::endsWith(row.text, row.part), row.ends);
        EXPECT_EQ(zaString::contains(row.text, row.part), row.contains);
    }
}

TEST(String, CommonLeadingStringEndsAtTheFirstDifference) {
    const struct {
        std::string a, b, expected;
    } rows[] = {
        {"", "", ""},           {"", "a", ""},
        {"abc", "abd", "ab"},   {"abc", "x", ""},
        {"abc", "ab", "ab"},    {"abc", "abc", "abc"},
        {"abc", "Abc", ""},     {"a\0b"s, "a\0c"s, "a\0"s},
        {u8"é", u8"è", "\xC3"},  // in the middle of a character
    };
    for (const auto& row : rows) {
        EXPECT_EQ(zaString::getCommonLeadingString(row.a, row.b), row.expected);
        EXPECT_EQ(zaString::getCommonLeadingString(row.b, row.a), row.expected);
    }
}

TEST(String, ReplaceGoesFromLeftToRightAndNeverSearchesWhatItInserted) {
    const struct {
        std::string text, from, to, expected;
    } rows[] = {
        {"aa", "a", "aa", "aaaa"},
        {"aaa", "aa", "b", "ba"},
        {"aaaa", "aa", "a", "aa"},
        {"abab", "ab", "", ""},
        {"abc", "abc", "x", "x"},
        {"abc", "abcd", "x", "abc"},
        {"abc", "x", "y", "abc"},
        {"abc", "b", "b", "abc"},
        {"", "a", "b", ""},
        {"xaxax", "x", "yy", "yyayyayy"},
        {"aab", "ab", "b", "ab"},
        {"abc", "", "x", "abc"},
        {"a\0b\0"s, "\0"s, "0", "a0b0"},
        {"a.b", ".", "..", "a..b"},
        {"mississippi", "issi", "I", "mIssippi"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(replaced(row.text, row.from, row.to), row.expected)
            << testing::PrintToString(row.text) << " " << row.from << " " << row.to;
    }
    std::string alias = "ab";
    zaString::replace(alias, alias, "c");
    EXPECT_EQ(alias, "c");
    zaString::replace(alias, "c", alias);
    EXPECT_EQ(alias, "c");
}

TEST(String, ReplaceFollowsItsStepsOnRandomTexts) {
    const auto byTheSteps = [](std::string text, const std::string& from, const std::string& to) {
        std::size_t found = text.find(from);
        while (found != std::string::npos) {
            text.replace(found, from.size(), to);
            found = text.find(from, found + to.size());
        }
        return text;
    };
    std::mt19937 random(1);
    for (int i = 0; i < 5000; ++i) {
        const std::string text = randomText(random, "aab", 20);
        const std::string from = "a" + randomText(random, "ab", 2);
        const std::string to = randomText(random, "abc", 3);
        ASSERT_EQ(replaced(text, from, to), byTheSteps(text, from, to))
            << text << " " << from << " " << to;
    }
}

TEST(String, JoinSeparatesAllButTheVectorsFirstItem) {
    const struct {
        Names items;
        std::string all, withoutEmpty;
    } rows[] = {
        {{}, "", ""},
        {{""}, "", ""},
        {{"a"}, "a", "a"},
        {{"a", "b"}, "a-b", "a-b"},
        {{"a", "", "b"}, "a--b", "a-b"},
        {{"a", ""}, "a-", "a"},
        {{"", "a", "b"}, "-a-b", "-a-b"},  // an empty first item still counts as the first
        {{"", "", "a"}, "--a", "-a"},
        {{"", ""}, "-", ""},
        {{"-", "-"}, "---", "---"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.items));
        EXPECT_EQ(zaString::join(row.items, "-", false), row.all);
        EXPECT_EQ(zaString::join(row.items, "-", true), row.withoutEmpty);
    }
    EXPECT_EQ(zaString::join({"a", "", "b"}, ", ", false), "a, , b");
    EXPECT_EQ(zaString::join({"a", "", "b"}, "", false), "ab");
}

TEST(String, SplitKeepsEmptyPiecesExceptAfterAFinalDelimiter) {
    const struct {
        std::string text;
        Names pieces;
    } rows[] = {
        {"", {}},
        {",", {""}},
        {",,", {"", ""}},
        {"a", {"a"}},
        {"a,", {"a"}},
        {",a", {"", "a"}},
        {"a,b", {"a", "b"}},
        {"a,,b,", {"a", "", "b"}},
        {" a , b ", {" a ", " b "}},
        {"a\n;b", {"a\n;b"}},
        {"a\0,b"s, {"a\0"s, "b"}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(zaString::split(row.text, ','), row.pieces);
    EXPECT_THAT(zaString::split("a\0b"s, '\0'), ElementsAre("a", "b"));
    EXPECT_THAT(zaString::split("a\xFF"
                                "b",
                                '\xFF'),
                ElementsAre("a", "b"));
}

TEST(String, CommaSeparatedNamesLoseTheirLeadingWhiteSpaceOnly) {
    const struct {
        std::string text;
        Names names;
    } rows[] = {
        {"", {}},
        {" ", {""}},
        {",", {""}},
        {"a", {"a"}},
        {"a,", {"a"}},
        {"a, ", {"a", ""}},
        {", a", {"", "a"}},
        {"a , b", {"a ", "b"}},
        {"a,,b", {"a", "", "b"}},
        {" \t\n\v\f\ra b ", {"a b "}},
        {"a b,  c d", {"a b", "c d"}},
        {u8"é, à", {u8"é", u8"à"}},
        {"\xA0z", {"\xA0z"}},  // white space in no byte of UTF-8
    };
    for (const auto& row : rows) {
        EXPECT_EQ(zaString::getCommaSeparatedNames(row.text), row.names)
            << testing::PrintToString(row.text);
    }
}

TEST(String, WhatWasJoinedIsReadBack) {
    std::mt19937 random(2);
    for (int i = 0; i < 2000; ++i) {
        Names items(1 + random() % 5);
        for (std::string& item : items)
            item = randomText(random, "ab ;", 3);
        items.back() += 'z';  // an empty last item would be lost

        ASSERT_EQ(zaString::split(zaString::join(items, ",", false), ','), items);
        for (std::string& item : items)
            item.erase(0, item.find_first_not_of(' '));
        ASSERT_EQ(zaString::getCommaSeparatedNames(zaString::join(items, ", ", false)), items);
    }
}

}  // namespace
