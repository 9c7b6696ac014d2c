#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Support/LogCapture.h"
#include "Support/ScratchFolder.h"
#include "zaUtils/Files/zaFile.h"

// Permissions and devices as this host alone has them: on the other one, as it is tested, an
// administrator may open every file.

namespace {

/// Runs a check in a child process without privileges and says whether it held.
template <typename Check>
bool holdsUnprivileged(Check check) {
    constexpr uid_t kNobody = 65534;
    const pid_t child = ::fork();
    if (child == 0) {
        if (::geteuid() == 0 && ::setuid(kNobody) != 0) ::_exit(2);
        ::_exit(check() ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

class Permissions : public testing::Test {
protected:
    void allow(const std::string& name, mode_t mode) {
        ASSERT_EQ(::chmod(folder.native(name).c_str(), mode), 0);
    }

    ScratchFolder folder;
};

TEST_F(Permissions, FilesThatMayNotBeReadAreReportedAsSuch) {
    const std::string path = folder.make("secret", "x");
    allow("", 0755);
    allow("secret", 0);
    EXPECT_TRUE(holdsUnprivileged([&] {
        const LogCapture log;
        std::string text;
        return zaFile::exists(path) && !zaFile::read(path, text) && errno == EACCES &&
               !zaFile::checkRead(path, false, true) &&
               log.messages().back() ==
                   "E checkRead:: File '" + path + "' is not readable (wrong permissions)!" &&
               zaFile::verifyChecksum(path, 0).state == zaFile::ChecksumState::Unreadable;
    }));
}

TEST_F(Permissions, FilesThatMayNotBeWrittenStayAsTheyAre) {
    const std::string path = folder.make("fixed", "x");
    allow("", 0755);
    allow("fixed", 0444);
    EXPECT_TRUE(holdsUnprivileged([&] {
        return !zaFile::checkWrite(path, false, false) && !zaFile::write(path, "y") &&
               !zaFile::append(path, "y") && !zaFile::remove(path) &&
               !zaFile::checkWrite(folder.path("new"), false, false) &&
               !zaFile::copy(path, folder.path("new")) &&
               !zaFile::rename(folder.path(), "fixed", "moved") &&
               !zaFile::createPath(folder.path("a\\b"));
    }));
    EXPECT_EQ(folder.content("fixed"), "x");
    EXPECT_EQ(folder.entries(), 1u);
}

TEST(FullDisk, WritingFails) {
    EXPECT_FALSE(zaFile::write("/dev/full", "x"));
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_FALSE(zaFile::appendChecksum("\\dev\\full", 1));
    const ScratchFolder folder;
    EXPECT_TRUE(zaFile::copy(folder.make("source", "x"), "/dev/full"));  // errors are not checked
}

}  // namespace
