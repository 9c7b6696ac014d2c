#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "Diagnostics/Registers.h"
#include "Support/ScratchFolder.h"
#include "Support/TestEnvironment.h"
#include "zaUtils/Diagnostics/zaStackWalker.h"
#include "zaUtils/Platform/zaProcessInfo.h"
#include "zaUtils/Platform/zaUtils.h"

// Stacks as they are. Which line a frame shows depends on the optimiser, so functions and files are
// looked for.

namespace {

using testing::HasSubstr;
using testing::Not;

MATCHER_P(Shows, pattern, "") {
    return std::regex_search(arg, std::regex(pattern));
}

/// Written after a call, so that the call does not become a jump.
volatile int g_afterCall = 0;

class Frames : public zaStackWalker {
public:
    using zaStackWalker::zaStackWalker;

    std::vector<unsigned long long> counters;
    std::vector<std::string> errors;
    int lastEntries = 0;

protected:
    void OnCallstackEntry(CallstackEntryType type, CallstackEntry& entry) override {
        if (type == EntryFirst) counters.clear();
        if (type == EntryLast) {
            ++lastEntries;
        } else {
            counters.push_back(entry.offset);
        }
        zaStackWalker::OnCallstackEntry(type, entry);
    }
    void OnDbgHelpErr(const char* function, unsigned long error,
                      unsigned long long address) override {
        errors.push_back(dbgHelpErrText(function, error, address));
    }
};

using Walk = void (*)(zaStackWalker& walker);
void walkThisThread(zaStackWalker& walker) {
    EXPECT_TRUE(walker.ShowCallstack(zaStackWalker::getCurrentThread()));
}

class Walked {
public:
    [[gnu::noinline]] static void inner(zaStackWalker& walker, Walk walk) {
        walk(walker);
        ++g_afterCall;
    }
    [[gnu::noinline]] static void outer(zaStackWalker& walker, Walk walk) {
        inner(walker, walk);
        ++g_afterCall;
    }
};

/// A line of the test's own file with the function, and one of its callers after it.
constexpr const char* kWayHere =
    "RealStackTest.cpp \\([0-9]+\\): .*inner.*\n.*RealStackTest.cpp \\([0-9]+\\): .*outer";

/// A thread that waits in a function of this file, or does something there again and again.
class OtherThread {
public:
    explicit OtherThread(bool busy) : _thread([this, busy] { run(busy); }) {
        while (!_handle)
            std::this_thread::yield();
    }
    ~OtherThread() {
        end();
        zaStackWalker::closeThread(_handle);
    }
    OtherThread(const OtherThread&) = delete;
    OtherThread& operator=(const OtherThread&) = delete;

    void* handle() const { return _handle; }
    long rounds() const { return _rounds; }
    void end() {
        _ends = true;
        if (_thread.joinable()) _thread.join();
    }

private:
    [[gnu::noinline]] void run(bool busy) {
        _handle = handleOfThisThread();
        std::vector<std::unique_ptr<char[]>> kept(64);
        while (!_ends) {
            ++_rounds;
            if (!busy) {
                std::this_thread::yield();
                continue;
            }
            const auto n = static_cast<std::size_t>(_rounds.load());
            kept[n % kept.size()] = std::make_unique<char[]>(n * 37 % 5000 + 1);
        }
    }

    std::atomic<void*> _handle{nullptr};
    std::atomic<bool> _ends{false};
    std::atomic<long> _rounds{0};
    std::thread _thread;
};

TEST(RealStack, ShowsFunctionsFilesAndLinesOfThisThread) {
    Frames walker;
    Walked::outer(walker, walkThisThread);
    EXPECT_THAT(walker.getOutput(), Shows(kWayHere));
    EXPECT_THAT(walker.getOutput(),
                Shows("zaStackWalker.cpp \\([0-9]+\\): zaStackWalker::ShowCallstack"));
    EXPECT_EQ(walker.lastEntries, 1);
    const std::string first = walker.getOutput();
    walkThisThread(walker);
    EXPECT_THAT(walker.getOutput(), Not(Shows(kWayHere)));
    EXPECT_LT(walker.getOutput().size(), first.size());
}

TEST(RealStack, ShowsACapturedContext) {
    Frames walker;
    Walked::outer(walker, [](zaStackWalker& w) {
        withRegisters(
            [&](const CONTEXT* context) { EXPECT_TRUE(w.ShowCallstack(nullptr, context)); });
    });
    EXPECT_THAT(walker.getOutput(), Shows(kWayHere));
    EXPECT_THAT(walker.getOutput(), HasSubstr("withRegisters"));
}

TEST(RealStack, ShowsAnotherThreadWhichGoesOn) {
    Frames walker;
    OtherThread other(false);
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(walker.ShowCallstack(other.handle()));
        EXPECT_THAT(walker.getOutput(), Shows("[(][0-9]+[)]: .*run[^a-z]"));
        const long before = other.rounds();
        while (other.rounds() == before)
            std::this_thread::yield();
    }
    other.end();
    EXPECT_FALSE(walker.ShowCallstack(other.handle()));
    EXPECT_EQ(walker.getOutput(), "");
}

TEST(RealStack, SurvivesThreadsThatEndMeanwhile) {
    Frames walker;
    for (int i = 0; i < 100; ++i) {
        std::atomic<void*> handle{nullptr};
        std::thread brief([&] { handle = handleOfThisThread(); });
        while (!handle)
            std::this_thread::yield();
        if (!walker.ShowCallstack(handle)) {
            EXPECT_TRUE(walker.counters.empty()) << i;
        }
        walker.counters.clear();
        brief.join();
        zaStackWalker::closeThread(handle);
    }
}

// Stopped at any moment, most often with the allocator's lock held.
TEST(RealStack, NeverHangsOrLeaksOnAThreadThatAllocates) {
    const int walks = std::getenv("ZA_TEST_ALL") ? 10000 : 100;
    OtherThread other(true);
    Frames walker;
    std::size_t before = 0;
    for (int i = 0; i < walks; ++i) {
        if (i == walks / 10) before = memoryInUse();
        ASSERT_TRUE(walker.ShowCallstack(other.handle())) << i;
        ASSERT_FALSE(walker.counters.empty());
        walker.errors.clear();
    }
    constexpr std::size_t kMargin = 2000000;
    EXPECT_LT(memoryInUse(), before + kMargin);
}

TEST(RealStack, SurvivesWildRegisters) {
    Frames walker;
    constexpr unsigned long long kEnd = ~0ull;
    char here = 0;
    const auto stack = reinterpret_cast<unsigned long long>(&here) & ~15ull;
    const auto data = reinterpret_cast<unsigned long long>(&g_afterCall);
    for (const unsigned long long instruction : {0ull, 1ull, 0x123456789ABCull, data, kEnd - 7}) {
        for (const unsigned long long pointer :
             {0ull, 1ull, 8ull, stack, stack + 1, data, kEnd - 7}) {
            SCOPED_TRACE(testing::Message() << std::hex << instruction << ' ' << pointer);
            withWildRegisters(instruction, pointer, [&](const CONTEXT* context) {
                EXPECT_TRUE(walker.ShowCallstack(nullptr, context));
            });
        }
    }
}

void* noHandle() {
    return reinterpret_cast<void*>(0x7FFFFFF0ull);  // NOLINT(performance-no-int-to-ptr)
}

TEST(RealStack, FailsForWhatIsNoThreadAndNoProcess) {
    Frames walker;
    for (void* thread : {static_cast<void*>(nullptr), noHandle()}) {
        EXPECT_FALSE(walker.ShowCallstack(thread));
        EXPECT_EQ(walker.getOutput().find("RealStackTest"), std::string::npos);
    }
    constexpr unsigned long kNoProcess = 0x7FFFFFF0;
    EXPECT_EQ(zaStackWalker::openProcess(kNoProcess), nullptr);
    EXPECT_TRUE(zaStackWalker::getThreadIds(kNoProcess).empty());
    Frames ofNone(zaStackWalker::OptSymbols, nullptr, kNoProcess, noHandle());
    EXPECT_FALSE(ofNone.LoadModules());
    EXPECT_FALSE(ofNone.ShowCallstack(noHandle()));
}

struct LimitedReads {
    int left;
    int done;
};

int readSome(void*, unsigned long long base, void* buffer, unsigned long size,
             unsigned long* bytesRead, void* userData) {
    auto& reads = *static_cast<LimitedReads*>(userData);
    if (reads.left-- <= 0) return 0;
    ++reads.done;
    return readOwnMemory(base, buffer, size, bytesRead);
}

TEST(RealStack, ShowsFewerFramesWhenReadsFail) {
    Frames walker;
    withRegisters([&](const CONTEXT* context) {
        LimitedReads all{1000000, 0};
        ASSERT_TRUE(walker.ShowCallstack(nullptr, context, readSome, &all));
        const std::vector<unsigned long long> whole = walker.counters;
        ASSERT_GT(whole.size(), 3u);
        ASSERT_GT(all.done, 3);
        const int step = all.done > 60 ? all.done / 60 : 1;
        for (int n = 0; n < all.done; n += step) {
            SCOPED_TRACE(n);
            walker.counters.clear();
            LimitedReads some{n, 0};
            EXPECT_TRUE(walker.ShowCallstack(nullptr, context, readSome, &some));
            ASSERT_LE(walker.counters.size(), whole.size());
            if (n < all.done / 2) {
                EXPECT_LT(walker.counters.size(), whole.size());
            }
        }
    });
    LimitedReads own{1000000, 0};
    ASSERT_TRUE(walker.ShowCallstack(zaStackWalker::getCurrentThread(), nullptr, readSome, &own));
    EXPECT_GT(own.done, 3);
    EXPECT_THAT(walker.getOutput(), HasSubstr("RealStackTest.cpp"));
}

TEST(RealStack, PassesOverABrokenLibrary) {
    const ScratchFolder folder;
    const TestVariable programs("ProgramFiles", folder.path());
    std::filesystem::create_directories(folder.native("Debugging Tools for Windows (x64)"));
    folder.make("Debugging Tools for Windows (x64)/dbghelp.dll", "MZ no library");
    Frames walker;
    Walked::outer(walker, walkThisThread);
    EXPECT_THAT(walker.getOutput(), Shows(kWayHere));
}

TEST(RealStack, PrintsItself) {
    testing::internal::CaptureStderr();
    zaUtils::printBTalways();
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(text.compare(0, 18, "zaUtils::printBT:\n"), 0) << text;
    EXPECT_THAT(text, Shows("zaUtilsBackTrace.cpp \\([0-9]+\\): .*printBTalways"));
    EXPECT_THAT(text, HasSubstr("RealStackTest.cpp"));
    EXPECT_EQ(text.substr(text.size() - 2), "\n\n");
}

}  // namespace
