#include <gtest/gtest.h>
#include <process.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "Support/ScratchFolder.h"
#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Platform/zaPlatform.h"
#include "zaUtils/Platform/zaProcessInfo.h"
#include "zaUtils/Platform/zaUtils.h"

// Processes as this host makes them, with a second program, because there is no fork.

namespace {

std::string probe() {
    return zaFile::getFilePath(zaPlatform::getThisSharedLibraryPath(0)) + "\\ProcessProbe.exe";
}

TEST(ProcessInfo, KnowsALivingParent) {
    EXPECT_EQ(zaProcessInfo::getpid(), ::_getpid());
    const std::string id = std::to_string(::_getpid());
    EXPECT_EQ(::_spawnl(_P_WAIT, probe().c_str(), "ProcessProbe", "child", id.c_str(), nullptr), 0);
}

TEST(ProcessInfo, Gives1WhenTheParentHasEnded) {
    // The pipe is open until the orphan ends, too.
    FILE* pipe = ::_popen(("\"" + probe() + "\" parent 2>&1").c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string output;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe))
        output += static_cast<char>(c);
    EXPECT_EQ(::_pclose(pipe), 0);
    EXPECT_EQ(output, "Fatal: Could not get parent information.\nparent 1\n");
}

TEST(OpenBrowser, OpensWhatTheTargetNames) {
    const ScratchFolder folder;
    for (const char* file : {"ProcessProbe.exe", ZAUTILS_LIBRARY_NAME, ZAPRODUCT_LIBRARY_NAME}) {
        std::filesystem::copy_file(std::filesystem::u8path(zaFile::getFilePath(probe())) / file,
                                   folder.native(file));
    }
    zaUtils::openBrowser(folder.path("ProcessProbe.exe"));
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!folder.has("opened") && std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
    EXPECT_TRUE(folder.has("opened"));
    zaUtils::openBrowser(folder.path("no such document"));  // nothing happens
}

}  // namespace
