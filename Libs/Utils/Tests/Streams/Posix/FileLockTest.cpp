// How writers are kept off a file that is being read differs between the hosts. Here, those know
// who ask for a lock, and a writer who does not shows what a reader has in its buffer.

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "Support/ScratchFolder.h"
#include "zaUtils/Streams/cached_ifstream.h"

namespace {

TEST(CachedIfstream, LocksTheFileAgainstWritersWhoAsk) {
    const ScratchFolder folder;
    const std::string path = folder.make("file", "content");
    const int writer = ::open(folder.native("file").c_str(), O_WRONLY);
    ASSERT_GE(writer, 0);
    {
        const cached_ifstream reader(path.c_str(), 100);
        const cached_ifstream secondReader(path.c_str(), 100);
        EXPECT_TRUE(reader.is_open() && secondReader.is_open());
        EXPECT_NE(::flock(writer, LOCK_EX | LOCK_NB), 0);
    }
    EXPECT_EQ(::flock(writer, LOCK_EX | LOCK_NB), 0);
    ::close(writer);
}

TEST(CachedIfstream, ReadsAheadAsFarAsItsBufferGoes) {
    const ScratchFolder folder;
    for (const auto& [size, expected] : {std::pair{0u, "aBBBB"}, {3u, "aaBBB"}, {6u, "aaaaa"}}) {
        SCOPED_TRACE(size);
        const std::string path = folder.make("file", "aaaaa");
        cached_ifstream reader(path.c_str(), size);
        std::string text(1, static_cast<char>(reader.get()));
        folder.make("file", "BBBBB");
        for (char c; reader.get(c);)
            text += c;
        EXPECT_EQ(text, expected);
    }
}

}  // namespace
