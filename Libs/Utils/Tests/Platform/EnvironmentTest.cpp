#include <gtest/gtest.h>

#include <cstdlib>

#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Platform/zaUtils.h"

// In a program of its own: the environment belongs to the process.

namespace {

TEST(Environment, KeepsValuesOfAnyLengthAndScript) {
    const std::string longest = [] {
        std::string text;
        for (int i = 0; i < 20000; ++i)
            text += u8"ü";  // as many bytes as fit into fewer than 32767 UTF-16 units
        return text;
    }();
    for (const char* name : {"ZA_TEST", u8"ZA_größe_日本", "ZA TEST (1)"}) {
        for (const std::string& value :
             {std::string("x"), std::string(2047, 'a'), std::string(2048, 'b'), longest,
              std::string(u8"=é=日本🎈 \"%PATH%\"\n")}) {
            SCOPED_TRACE(std::string(name) + ", " + std::to_string(value.size()) + " bytes");
            EXPECT_EQ(zaUtils::setenv(name, value.c_str()), 0);
            EXPECT_EQ(zaUtils::getEnv(name), value);
            EXPECT_EQ(zaUtils::expandEnvironment(std::string("a${") + name + "}z"),
                      "a" + value + "z");
        }
        EXPECT_EQ(zaUtils::unsetenv(name), 0);
        EXPECT_EQ(zaUtils::getEnv(name), "");
        EXPECT_EQ(zaUtils::unsetenv(name), 0);
    }
}

TEST(Environment, IsSeenByTheCLibraryAndByFileNames) {
    ASSERT_EQ(zaUtils::setenv("ZA_TEST", "value"), 0);
    ASSERT_NE(std::getenv("ZA_TEST"), nullptr);
    EXPECT_STREQ(std::getenv("ZA_TEST"), "value");
    EXPECT_EQ(zaFile::expandFilename("$ZA_TEST/x"), "value/x");

    // An empty value removes.
    EXPECT_EQ(zaUtils::setenv("ZA_TEST", ""), 0);
    EXPECT_EQ(std::getenv("ZA_TEST"), nullptr);
    EXPECT_EQ(zaUtils::expandEnvironment("$ZA_TEST"), "$ZA_TEST");
}

TEST(Environment, RefusesWhatIsNoName) {
    EXPECT_EQ(zaUtils::setenv(nullptr, "x"), -1);
    EXPECT_EQ(zaUtils::setenv("ZA_TEST", nullptr), -1);
    EXPECT_EQ(zaUtils::unsetenv(nullptr), -1);
    for (const char* name : {"", "=", "ZA=TEST", "=ZA"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(zaUtils::setenv(name, "x"), -1);
        EXPECT_EQ(zaUtils::unsetenv(name), -1);
    }
    EXPECT_EQ(zaUtils::getEnv("ZA"), "");
    EXPECT_EQ(zaUtils::getEnv(""), "");
}

}  // namespace
