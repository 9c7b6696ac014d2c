// Stacks of twenty frames: the first one of the process, with files and lines, later ones, and
// the capture alone.

#include <chrono>
#include <cstdio>
#include <functional>

#include "Benchmark.h"
#include "zaUtils/Diagnostics/zaStackWalker.h"
#include "zaUtils/Os/Stack.h"

namespace {

using Step = void (*)(int depth, const std::function<void()>& run);

void odd(int depth, const std::function<void()>& run);

// Read before each call, so that the compiler makes frames and not a loop.
Step volatile g_odd = odd;
Step volatile g_even = nullptr;
volatile int g_afterCall = 0;

/// Calls `run` with `depth` frames more on the stack, of two functions in turn: a frame that
/// returns to its own place would count as an endless stack.
void even(int depth, const std::function<void()>& run) {
    if (depth == 0) {
        run();
    } else {
        g_odd(depth - 1, run);
    }
    g_afterCall = depth;
}

void odd(int depth, const std::function<void()>& run) {
    if (depth == 0) {
        run();
    } else {
        g_even(depth - 1, run);
    }
    g_afterCall = depth;
}

class Walker : public zaStackWalker {
public:
    int frames = 0;

protected:
    void OnCallstackEntry(CallstackEntryType type, CallstackEntry& entry) override {
        if (type != EntryLast) ++frames;
        zaStackWalker::OnCallstackEntry(type, entry);
    }
};

double millisecondsOf(const std::function<void()>& run) {
    const auto start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

}  // namespace

int main() {
    constexpr int kDepth =
        13;  // with those of main, the C library, the benchmark and the walker: 20
    g_even = even;
    Walker walker;
    double first = 0;
    const auto walk = [&] {
        walker.frames = 0;
        walker.ShowCallstack(zaStackWalker::getCurrentThread());
    };
    even(kDepth, [&] { first = millisecondsOf(walk); });
    std::fprintf(stderr, "The first stack, %d frames with files and lines: %.3f ms\n",
                 walker.frames, first);
    even(kDepth, [&] {
        compare({"A later stack with files and lines",
                 "stack",
                 1,
                 {{"zaStackWalker::ShowCallstack", walk}}});
        za::os::StackHost& host = za::os::stackHost();
        const auto context = host.newContext(host.currentProcessId(), false);
        const auto capture = [&] { host.captureContext(*context); };
        compare({"The capture alone", "stack", 1, {{"za::os::StackHost", capture}}});
    });
}
