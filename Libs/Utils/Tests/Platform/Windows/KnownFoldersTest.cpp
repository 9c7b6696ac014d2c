#include "zaUtils/Os/KnownFolders.h"

#include <gtest/gtest.h>

#include "Support/ScratchFolder.h"
#include "Support/TestEnvironment.h"

// How this host finds the folder, by its own variable, and the separator that it adds are its own.

namespace {

TEST(KnownFolders, TemporaryOneMayHaveAnyLetters) {
    const ScratchFolder folder;
    const TestVariable set("TMP", folder.path());
    std::string path;
    EXPECT_TRUE(za::os::temporaryPath(path).ok());
    EXPECT_EQ(path, folder.path() + '\\');
}

}  // namespace
