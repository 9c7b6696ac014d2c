#pragma once

#include <cstdint>

namespace za::os {

/// A moment as the calendar and the clock on the wall show it; month and day count from 1.
struct LocalTime {
    int year, month, day, hour, minute, second;
};

/// Converts seconds since 1970 (UTC) by the process's time zone.
LocalTime toLocalTime(std::int64_t seconds);

/// Seconds since 1970 (UTC), by the system's clock.
std::int64_t systemSeconds();

/// The same, by the clock in place.
std::int64_t secondsNow();

/// The time now, by the clock in place.
LocalTime localTimeNow();

/// Gives seconds since 1970 (UTC).
using Clock = std::int64_t (*)();

/// Puts another clock in place and returns the one before; for tests that change the day.
Clock exchangeClock(Clock clock);

}  // namespace za::os
