#include "zaUtils/Os/SteadyClock.h"

#include <atomic>
#include <chrono>

namespace za::os {

namespace {

std::int64_t hostClock() {
    using std::chrono::nanoseconds;
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<nanoseconds>(now).count();
}

std::atomic<SteadyClock> g_clock{hostClock};

}  // namespace

std::int64_t steadyNanoseconds() {
    return g_clock.load(std::memory_order_relaxed)();
}

SteadyClock exchangeSteadyClock(SteadyClock clock) {
    return g_clock.exchange(clock);
}

}  // namespace za::os
