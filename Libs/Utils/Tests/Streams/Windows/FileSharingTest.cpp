// How writers are kept off a file that is being read differs between the hosts. Here the system
// refuses them.

#include <gtest/gtest.h>

#include "Support/ScratchFolder.h"
#include "zaUtils/Streams/cached_ifstream.h"

namespace {

TEST(CachedIfstream, RefusesWriters) {
    const ScratchFolder folder;
    const std::string path = folder.make("file", "content");
    {
        std::ofstream writer(folder.native("file"), std::ios::app);
        EXPECT_FALSE(cached_ifstream(path.c_str(), 100).is_open());
    }
    {
        cached_ifstream reader(path.c_str(), 100);
        EXPECT_FALSE(std::ofstream(folder.native("file"), std::ios::app).is_open());
        reader.close();
        EXPECT_TRUE(std::ofstream(folder.native("file"), std::ios::app).is_open());
    }
    EXPECT_EQ(folder.content("file"), "content");
}

}  // namespace
