#include "zaUtils/Os/Clock.h"

#include <atomic>

namespace za::os {

namespace {

std::atomic<Clock> g_clock{systemSeconds};

}  // namespace

std::int64_t secondsNow() {
    return g_clock.load()();
}

LocalTime localTimeNow() {
    return toLocalTime(secondsNow());
}

Clock exchangeClock(Clock clock) {
    return g_clock.exchange(clock);
}

}  // namespace za::os
