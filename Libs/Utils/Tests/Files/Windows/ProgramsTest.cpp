#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>
#include <stdexcept>
#include <tuple>
#include <vector>

#include "zaUtils/Files/zaFile.h"

// Handles, which this host alone has, and the one limit of its C library that a test can reach.

namespace {

/// Process and thread handles of other processes that are open in this one.
int foreignHandles() {
    constexpr std::uintptr_t kHighest = 0x4000;
    int count = 0;
    for (std::uintptr_t value = 4; value < kHighest; value += 4) {
        const auto handle = reinterpret_cast<HANDLE>(value);
        DWORD id = GetProcessId(handle);
        if (id == 0) id = GetProcessIdOfThread(handle);
        if (id != 0 && id != GetCurrentProcessId()) ++count;
    }
    return count;
}

TEST(WindowsPrograms, DeliberatelyLeaveTheirHandlesOpen) {
    for (const auto& [execute, wait, left] :
         {std::tuple(&zaFile::execute, true, 0), std::tuple(&zaFile::execute, false, 2),
          std::tuple(&zaFile::executeW, true, 2), std::tuple(&zaFile::executeW, false, 2)}) {
        const int before = foreignHandles();
        EXPECT_TRUE(execute("cmd /c exit 0", wait, nullptr, nullptr));
        EXPECT_EQ(foreignHandles() - before, left);
    }
}

TEST(WindowsPrograms, PipesFailWithoutAFreeStream) {
    std::vector<std::FILE*> streams;
    while (std::FILE* stream = std::fopen("NUL", "rb"))
        streams.push_back(stream);
    EXPECT_THROW(zaFile::executeProcess("exit 0", true), std::runtime_error);
    for (std::FILE* stream : streams)
        std::fclose(stream);
    EXPECT_EQ(zaFile::executeProcess("exit 0", false), 0);
}

}  // namespace
