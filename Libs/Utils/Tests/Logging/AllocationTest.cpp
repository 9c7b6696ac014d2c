#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "zaUtils/Logging/zaLog.h"

// Every allocation of this program is counted.

namespace {

std::atomic<int> g_allocations{0};

void* allocate(std::size_t size) {
    ++g_allocations;
    if (void* memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

int g_calls = 0;

TEST(LogAllocation, AMessageToACallbackAllocatesNothing) {
    testing::internal::CaptureStdout();
    zaLog::setInfoCB([](const char*) { ++g_calls; });
    zaLog::info("the first one may fill the C library's own buffers %d", 0);

    const int before = g_allocations;
    for (int i = 0; i < 1000; ++i)
        zaLog::info("message %d of %s, %.3f", i, "many", i / 7.0);
    const int after = g_allocations;

    zaLog::setInfoCB(nullptr);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(g_calls, 1001);
    EXPECT_EQ(after - before, 0);
    // The counter works: a text that does not fit on the stack is copied to the heap.
    const std::string large(5000, 'x');
    const int beforeLarge = g_allocations;
    testing::internal::CaptureStdout();
    zaLog::infoIPython(large.c_str());
    testing::internal::GetCapturedStdout();
    EXPECT_GT(g_allocations - beforeLarge, 0);
}

}  // namespace
