#pragma once

#include <cstdint>

namespace za::os {

/// Nanoseconds since some moment of the past.
using SteadyClock = std::int64_t (*)();

/// The time by the clock in place, which never goes back.
std::int64_t steadyNanoseconds();

/// Puts another clock in place and returns the one before; for tests that let time pass.
SteadyClock exchangeSteadyClock(SteadyClock clock);

}  // namespace za::os
