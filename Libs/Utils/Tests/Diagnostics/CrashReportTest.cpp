#include <gtest/gtest.h>

#include <cstdio>

#include "Support/ScratchFolder.h"
#include "zaUtils/Diagnostics/zaCrashReport.h"
#include "zaUtils/Logging/Internal/LogRing.h"
#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Os/Crash.h"

// What the process keeps once crashes are watched for.

namespace {

TEST(CrashReport, NeedsAFolderThatCanBeWritten) {
    const ScratchFolder folder;
    folder.make("file", "");
    EXPECT_FALSE(zaCrashReport::install(""));
    EXPECT_FALSE(zaCrashReport::install(folder.path("missing")));
    EXPECT_FALSE(zaCrashReport::install(folder.path("file")));
    EXPECT_FALSE(za::log::logRing().isEnabled());
    EXPECT_EQ(folder.entries(), 1u);
}

TEST(CrashReport, KeepsMessagesOnceInstalled) {
    const ScratchFolder folder;
    zaLog::info("before");
    ASSERT_TRUE(zaCrashReport::install(folder.path()));
    zaLog::warning("kept %d", 1);
    const za::log::LogRing& ring = za::log::logRing();
    ASSERT_EQ(ring.size(), 1u);
    EXPECT_STREQ(ring[0].text, "kept 1");
    EXPECT_EQ(ring[0].kind, 'W');
    EXPECT_TRUE(zaCrashReport::install(folder.path()));
    EXPECT_FALSE(zaCrashReport::install(folder.path("missing")));
    EXPECT_EQ(folder.entries(), 0u);
}

int* volatile g_nowhere = nullptr;

void say(const char* text) {
    std::fputs(text, stderr);
    std::fflush(stderr);
}

void crash(void*) {
    *g_nowhere = 1;
}

/// Leaves parts that crash, one inside the other, and says so.
void writeWithCrashes(const za::os::CrashEvent& event) {
    say("once ");
    const bool done = za::os::runGuarded(
        [](void*) {
            if (!za::os::runGuarded(crash, nullptr)) say("inner ");
            *g_nowhere = 2;
        },
        nullptr);
    if (!done) say("outer ");
    if (za::os::runGuarded([](void*) {}, nullptr)) say(event.reason);
}

TEST(CrashReportDeathTest, GoesOnAfterAPartThatCrashed) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            za::os::installCrashHandlers(writeWithCrashes);
            crash(nullptr);
        },
        "once inner outer null pointer access");
}

}  // namespace
