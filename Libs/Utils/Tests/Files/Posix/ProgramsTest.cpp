#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>

#include "zaUtils/Files/zaFile.h"

// What a started program gets and leaves behind in terms that this host alone has.

namespace {

bool runsInShell(const std::string& script) {
    return zaFile::execute("/bin/sh -c " + zaFile::quoteArgument(script), true);
}

bool hasNoChildren() {
    siginfo_t info;
    return ::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) < 0 && errno == ECHILD;
}

TEST(PosixPrograms, InheritNoStreamsDescriptorsOrSignalSettings) {
    const int inheritable = ::dup(STDERR_FILENO);
    ::signal(SIGUSR1, SIG_IGN);
    for (const char* fd : {"/0", "/1", "/2"})
        EXPECT_TRUE(runsInShell(std::string("test $(readlink /proc/$$/fd") + fd + ") = /dev/null"));
    EXPECT_TRUE(runsInShell("test ! -e /proc/$$/fd/" + std::to_string(inheritable)));
    // Fields of the status line: id, name, state, parent, group, session.
    EXPECT_TRUE(runsInShell("read -r a b c d e f g </proc/$$/stat; test $f = $$"));
    EXPECT_FALSE(runsInShell("kill -USR1 $$; exit 0"));
    ::signal(SIGUSR1, SIG_DFL);
    ::close(inheritable);
}

TEST(PosixPrograms, AreSearchedAlongThePath) {
    EXPECT_TRUE(zaFile::execute("true", true));
    EXPECT_TRUE(zaFile::execute(R"(\bin\sh -c "exit 0")", true));
}

TEST(PosixPrograms, LeaveNoZombies) {
    EXPECT_TRUE(zaFile::execute("true", false));
    EXPECT_FALSE(zaFile::execute("/no/such/program", false));
    EXPECT_TRUE(zaFile::executeW("true", true));
    EXPECT_TRUE(hasNoChildren());

    // One whose callback throws is a child until it ends and another one is started.
    const auto fail = [](unsigned int, void*) { throw std::runtime_error("from the callback"); };
    EXPECT_THROW(zaFile::execute("sleep 0.3", true, fail, nullptr), std::runtime_error);
    EXPECT_FALSE(hasNoChildren());
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!hasNoChildren() && std::chrono::steady_clock::now() < end)
        EXPECT_TRUE(zaFile::execute("sleep 0.05", true));
    EXPECT_TRUE(hasNoChildren());
}

TEST(PosixPrograms, EndWithAnUnknownCodeWhenSomebodyElseReapsThem) {
    ::signal(SIGCHLD, SIG_IGN);
    EXPECT_FALSE(zaFile::execute("true", true));
    EXPECT_EQ(zaFile::executeProcess("true", false), -1);
    EXPECT_TRUE(zaFile::execute("true", false));
    ::signal(SIGCHLD, SIG_DFL);
    EXPECT_EQ(zaFile::executeProcess("kill -TERM $$", false), 128 + SIGTERM);
}

TEST(PosixPrograms, RunWithoutAFreeDescriptorButPipesDoNot) {
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const int last = ::dup(STDIN_FILENO);
    const rlimit full{static_cast<rlim_t>(last) + 1, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &full);
    EXPECT_TRUE(zaFile::execute("sleep 0.02", true));
    EXPECT_FALSE(zaFile::execute("sleep 0.02", false));
    std::exception_ptr failure;
    try {
        zaFile::executeProcess("true", true);
    } catch (...) {
        failure = std::current_exception();
    }
    ::setrlimit(RLIMIT_NOFILE, &before);  // a sanitizer needs a descriptor to look at the failure
    ::close(last);
    ASSERT_TRUE(failure);
    try {
        std::rethrow_exception(failure);
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "zaFile::execute_no_output: popen() failed!");
    }
}

}  // namespace
