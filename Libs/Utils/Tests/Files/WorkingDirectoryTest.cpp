#include <gtest/gtest.h>

#include "Support/ScratchFolder.h"
#include "zaUtils/Files/zaFile.h"

// In a program of its own: the working directory belongs to the process.

namespace {

TEST(WorkingDirectory, IsEnteredAndNamed) {
    const ScratchFolder folder;
    const std::string before = zaFile::getCurrentDir();
    ASSERT_NE(before, "");
    std::filesystem::create_directory(folder.native(u8"unter ö"));

    for (const std::string& path :
         {folder.path(u8"unter ö"), folder.path(u8"unter ö\\"), folder.path(u8"unter ö/")}) {
        ASSERT_TRUE(zaFile::setCurrentDir(before));
        EXPECT_TRUE(zaFile::setCurrentDir(path));
        EXPECT_EQ(zaFile::getFileName(zaFile::getCurrentDir()), u8"unter ö");
        EXPECT_TRUE(zaFile::setCurrentDir(".."));
        EXPECT_EQ(zaFile::getCurrentDir(), std::filesystem::current_path().u8string());
    }
    EXPECT_FALSE(zaFile::setCurrentDir(""));
    EXPECT_FALSE(zaFile::setCurrentDir(folder.path("missing")));
    EXPECT_TRUE(zaFile::setCurrentDir(before));
    EXPECT_EQ(zaFile::getCurrentDir(), before);
}

TEST(WorkingDirectory, RelativeFilesLieThere) {
    const ScratchFolder folder;
    const std::string before = zaFile::getCurrentDir();
    ASSERT_TRUE(zaFile::setCurrentDir(folder.path()));
    EXPECT_TRUE(zaFile::createPath("a\\b"));
    EXPECT_TRUE(zaFile::write("a/b\\c", "x"));
    EXPECT_EQ(folder.content("a/b/c"), "x");
    EXPECT_TRUE(zaFile::setCurrentDir(before));
}

}  // namespace
