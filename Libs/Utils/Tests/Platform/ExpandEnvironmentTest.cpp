#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

#include "Support/ExpansionByDefinition.h"
#include "Support/TestEnvironment.h"
#include "zaUtils/Platform/zaUtils.h"

namespace {

constexpr std::size_t kLarge = std::size_t{ZA_LARGE_MIB} << 20;

std::string repeated(const std::string& text, std::size_t size) {
    std::string result;
    while (result.size() + text.size() <= size)
        result += text;
    return result;
}

TEST(ExpandEnvironment, ReplacesBothFormsAndLeavesTheRest) {
    const TestVariable home("ZA_HOME", "/h");
    const TestVariable blank("ZA A B", "blank");
    const TestVariable other("ZA_2", "$ZA_HOME");
    const struct {
        const char* text;
        const char* expanded;
    } cases[] = {
        {"", ""},
        {"${ZA_HOME}/x $ZA_HOME/x", "/h/x /h/x"},
        {"$ZA_HOME_DIR ${ZA_HOME_DIR} $(ZA_HOME)", "$ZA_HOME_DIR ${ZA_HOME_DIR} $(ZA_HOME)"},
        {"$ZA_HOME-$ZA_HOME\xC3\xA9", "/h-/h\xC3\xA9"},
        {"${ZA A B}", "blank"},
        {"$$ZA_HOME ${${ZA_HOME}", "$/h ${${ZA_HOME}"},
        {"$ ${} ${ZA_HOME $", "$ ${} ${ZA_HOME $"},
        {"$ZA_2", "$ZA_HOME"},
        // Deliberate: the first occurrence is replaced, whoever brought it.
        {"$ZA_2 $ZA_HOME", "/h $ZA_HOME"},
        {"$ZA_HOME_DIR $ZA_HOME", "/h_DIR $ZA_HOME"},
        {"${ZA_2}_2 $ZA_HOME", "/h_2 $ZA_HOME"},
    };
    for (const auto& [text, expanded] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(zaUtils::expandEnvironment(text), expanded);
        EXPECT_EQ(expandedByDefinition(text), expanded);
    }
}

TEST(ExpandEnvironment, AgreesWithItsDefinitionOnRandomTextsAndValues) {
    std::mt19937 random(20240229);
    const auto pick = [&](std::size_t n) { return random() % n; };
    const auto randomText = [&](std::size_t longest) {
        const std::vector<std::string> parts = {"$",  "{",   "}",    "A",    "B",    "_",     "-",
                                                "$A", "$AB", "${A}", "${B}", "${$A", "${$A}", "$B"};
        std::string text;
        for (std::size_t i = pick(longest + 1); i > 0; --i)
            text += parts[pick(parts.size())];
        return text;
    };
    const std::vector<std::string> names = {"A",  "B", "AB",   "AA",  "A_",
                                            "$A", "{", "$A$B", "${A", "AAB"};
    for (int round = 0; round < 500; ++round) {
        std::vector<std::unique_ptr<TestVariable>> variables;
        for (const std::string& name : names) {
            const std::string value = randomText(5);
            if (pick(3) == 0) continue;
            variables.push_back(std::make_unique<TestVariable>(name, value));
        }
        for (int i = 0; i < 10; ++i) {
            const std::string text = randomText(40);
            ASSERT_EQ(zaUtils::expandEnvironment(text), expandedByDefinition(text)) << text;
        }
    }
}

// Anything that is not linear, or that recurses, does not come to an end here.
TEST(ExpandEnvironment, MastersLargeTextsFullOfReferences) {
    const TestVariable plain("ZA", "v");
    const TestVariable itself("ZB", "$ZB");
    const TestVariable moved("ZC", "x$ZC");
    const TestVariable twice("ZD", "$ZD${ZA}");
    const TestVariable many("ZE", repeated("$ZA", 30000));
    const auto expand = zaUtils::expandEnvironment;

    for (const char* part : {"$", "${", "${}", "$ZU"}) {
        SCOPED_TRACE(part);
        const std::string text = repeated(part, kLarge);
        EXPECT_TRUE(expand(text) == text);
    }
    EXPECT_TRUE(expand("${" + std::string(kLarge, 'n') + "}$ZA").back() == 'v');
    EXPECT_TRUE(expand(repeated("$ZA", kLarge)) == std::string(kLarge / 3, 'v'));
    EXPECT_TRUE(expand("$ZE" + repeated("$ZA", kLarge)) ==
                std::string(kLarge / 3, 'v') + repeated("$ZA", 30000));

    // Values that hold the text that they replace: every reference is in the way of the next one.
    const std::size_t size = kLarge / 4;
    EXPECT_TRUE(expand(repeated("$ZB", size)) == repeated("$ZB", size));
    EXPECT_TRUE(expand(repeated("$ZC", size)) ==
                std::string(size / 3, 'x') + repeated("$ZC", size));
    const std::string pairs = repeated("$ZD${ZA}", size);
    EXPECT_TRUE(expand(pairs) == "$ZD" + std::string(pairs.size() / 8, 'v') + pairs.substr(3));
}

}  // namespace
