#include "zaUtils/Os/Clock.h"

#include <atomic>
#include <ctime>

namespace za::os {

namespace {

std::int64_t systemClock() {
    return std::time(nullptr);
}

std::atomic<Clock> g_clock{systemClock};

}  // namespace

LocalTime localTimeNow() {
    return toLocalTime(g_clock.load()());
}

Clock exchangeClock(Clock clock) {
    return g_clock.exchange(clock);
}

}  // namespace za::os
