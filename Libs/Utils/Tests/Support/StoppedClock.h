#pragma once

#include <cmath>
#include <cstdint>

#include "zaUtils/Os/SteadyClock.h"

/// While it lives, time passes only as it is told.
class StoppedClock {
public:
    StoppedClock() : _before(za::os::exchangeSteadyClock([] { return _now; })) {}
    ~StoppedClock() { za::os::exchangeSteadyClock(_before); }
    StoppedClock(const StoppedClock&) = delete;
    StoppedClock& operator=(const StoppedClock&) = delete;

    static void letPass(double seconds) { _now += std::llround(seconds * 1e9); }

private:
    static inline std::int64_t _now = 0;
    za::os::SteadyClock _before;
};
