#include "zaUtils/Os/KnownFolders.h"

#include <gtest/gtest.h>

#include "Support/ScratchFolder.h"
#include "Support/TestEnvironment.h"

// How this host finds the folders, by environment variables, is its own.

namespace {

namespace fs = std::filesystem;

TEST(KnownFolders, OfTheUserAreMadeForTheUserAlone) {
    const ScratchFolder folder;
    const std::string home = folder.path();
    const TestVariable setHome("HOME", home);
    for (const std::string variable : {"", "relative/share"}) {
        SCOPED_TRACE(variable);
        fs::remove_all(folder.native(".local"));
        const TestVariable set("XDG_DATA_HOME", variable);
        std::string path;
        EXPECT_TRUE(za::os::roamingDataFolder(path).ok());
        EXPECT_EQ(path, home + "/.local/share");
        EXPECT_EQ(fs::status(folder.native(".local/share")).permissions(), fs::perms::owner_all);
    }
    folder.make("file", "");
    for (const char* name : {"/file", "/file/below"}) {
        const TestVariable set("XDG_DATA_HOME", home + name);
        std::string path = "as it was";
        EXPECT_FALSE(za::os::roamingDataFolder(path).ok()) << name;
        EXPECT_EQ(path, "as it was");
    }
}

TEST(KnownFolders, SharedOneIsTheFirstAbsoluteOfItsList) {
    const ScratchFolder folder;
    const std::string first = folder.path() + "/first";
    for (const auto& [list, expected] : {std::pair(first, first),
                                         {":relative:" + first + ":/usr/share", first},
                                         {"", "/usr/local/share"},
                                         {"relative:", "/usr/local/share"}}) {
        SCOPED_TRACE(list);
        const TestVariable set("XDG_DATA_DIRS", list);
        std::string path;
        EXPECT_TRUE(za::os::sharedDataFolder(path).ok());
        EXPECT_EQ(path, expected);
    }
    EXPECT_TRUE(folder.has("first"));
}

}  // namespace
