#include <gtest/gtest.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "Support/ScratchFolder.h"
#include "zaUtils/Platform/zaProcessInfo.h"
#include "zaUtils/Platform/zaUtils.h"

// Processes as this host makes them: forks, other users, a desktop's opener.

namespace {

std::string allFrom(int file) {
    std::string text;
    char c = 0;
    while (::read(file, &c, 1) == 1)
        text += c;
    return text;
}

TEST(ProcessInfo, TellsParentAndChildApartAndADeadParent) {
    EXPECT_EQ(zaProcessInfo::getpid(), ::getpid());
    EXPECT_EQ(zaProcessInfo::getppid(), ::getppid());

    int output[2];
    ASSERT_EQ(::pipe(output), 0);
    const pid_t parent = ::fork();
    if (parent == 0) {
        int ready[2];
        if (::pipe(ready) != 0) ::_exit(1);
        const pid_t self = ::getpid();
        if (::fork() != 0) {  // ends when its child knows it
            char c = 0;
            ::_exit(::read(ready[0], &c, 1) == 1 ? 0 : 1);
        }
        ::dup2(output[1], STDERR_FILENO);
        const bool knew = zaProcessInfo::getppid() == self;
        if (::write(ready[1], "", 1) != 1) ::_exit(1);
        while (::getppid() == self)
            ::sched_yield();
        const bool lost = zaProcessInfo::getppid() == 1;
        ::_exit(knew && lost && ::write(output[1], "right", 5) == 5 ? 0 : 1);
    }
    ::close(output[1]);
    EXPECT_EQ(allFrom(output[0]), "Fatal: Could not get parent information.\nright");
    ::close(output[0]);
    ::waitpid(parent, nullptr, 0);
}

TEST(FindProcess, FindsThoseOfOtherUsers) {
    const pid_t child = ::fork();
    if (child == 0) {
        constexpr uid_t kNobody = 65534;
        if (::geteuid() == 0 && ::setuid(kNobody) != 0) ::_exit(2);
        // The child's own program is still this one, but no longer for it to see.
        ::_exit(zaUtils::findProcess("processTESTS") && !zaUtils::findProcess("processTEST") ? 0
                                                                                             : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST(OpenBrowser, HandsTheTargetToTheDesktopAndLeavesNoChild) {
    const ScratchFolder folder;
    folder.make("xdg-open", "#!/bin/sh\nprintf '%s|' \"$@\" >\"${0%/*}/told\"\n");
    ASSERT_EQ(::chmod(folder.native("xdg-open").c_str(), 0755), 0);
    ASSERT_EQ(::mkfifo(folder.native("told").c_str(), 0600), 0);
    const std::string file = folder.make(u8"ä b;$(x).html", "");
    const std::string path = ::getenv("PATH");
    ::setenv("PATH", (folder.path() + ':' + path).c_str(), 1);

    const struct {
        std::string target;
        std::string told;
    } cases[] = {
        {"http://localhost/a b?c='d'&e=\\", "http://localhost/a b?c='d'&e=\\|"},
        {file, folder.path() + u8"/ä b;$(x).html|"},
        {"--help", "./--help|"},
    };
    for (const auto& [target, told] : cases) {
        zaUtils::openBrowser(target);
        EXPECT_EQ(folder.content("told"), told);
    }
    ::setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

}  // namespace
