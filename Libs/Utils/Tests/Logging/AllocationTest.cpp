#include <gtest/gtest.h>

#include "Support/AllocationCount.h"
#include "zaUtils/Logging/zaLog.h"

namespace {

int g_calls = 0;

TEST(LogAllocation, AMessageToACallbackAllocatesNothing) {
    testing::internal::CaptureStdout();
    zaLog::setInfoCB([](const char*) { ++g_calls; });
    zaLog::info("the first one may fill the C library's own buffers %d", 0);

    const int before = allocationCount();
    for (int i = 0; i < 1000; ++i)
        zaLog::info("message %d of %s, %.3f", i, "many", i / 7.0);
    const int after = allocationCount();

    zaLog::setInfoCB(nullptr);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(g_calls, 1001);
    EXPECT_EQ(after - before, 0);
    // The counter works: a text that does not fit on the stack is copied to the heap.
    const std::string large(5000, 'x');
    const int beforeLarge = allocationCount();
    testing::internal::CaptureStdout();
    zaLog::infoIPython(large.c_str());
    testing::internal::GetCapturedStdout();
    EXPECT_GT(allocationCount() - beforeLarge, 0);
}

}  // namespace
