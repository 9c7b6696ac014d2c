#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>

#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Platform/zaPlatform.h"
#include "zaUtils/Platform/zaUtils.h"

namespace {

TEST(FindProcess, ComparesTheWholeFileNameInEitherCase) {
    const std::string path = zaPlatform::getThisSharedLibraryPath(0);
    const std::string name = zaFile::getFileName(path);
    std::string otherCase = name;
    for (char& c : otherCase)
        c = static_cast<char>(std::islower(c) ? std::toupper(c) : std::tolower(c));
    ASSERT_NE(otherCase, name);
    EXPECT_TRUE(zaUtils::findProcess(name));
    EXPECT_TRUE(zaUtils::findProcess(otherCase));
    for (const std::string& other :
         {path, name + "x", name.substr(1), name.substr(0, name.size() - 1), std::string()}) {
        SCOPED_TRACE(other);
        EXPECT_FALSE(zaUtils::findProcess(other));
    }
}

TEST(CalcMips, GivesTheKnownCheck) {
    for (int run = 0; run < 2; ++run) {
        int mips = 0;
        int check = 0;
        zaUtils::calcMips(mips, check);
        EXPECT_EQ(check, 695412096);
        EXPECT_GT(mips, 0);
    }
}

TEST(Beep, WritesNothingButToATerminal) {
    testing::internal::CaptureStderr();
    zaUtils::beep();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
