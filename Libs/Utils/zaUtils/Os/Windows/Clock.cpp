#include "zaUtils/Os/Clock.h"

#include <ctime>

#include "zaUtils/Os/Windows/WindowsApi.h"

namespace za::os {

/// Not the C library's clock, which can cost as much as writing a line.
std::int64_t systemSeconds() {
    constexpr std::int64_t kTicksPerSecond = 10'000'000;
    constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;
    FILETIME time;
    GetSystemTimeAsFileTime(&time);
    const std::int64_t ticks =
        (static_cast<std::int64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
    return ticks / kTicksPerSecond - kSecondsFrom1601To1970;
}

LocalTime toLocalTime(std::int64_t seconds) {
    const __time64_t time = seconds;
    std::tm parts{};
    _localtime64_s(&parts, &time);
    return {parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
            parts.tm_hour,        parts.tm_min,     parts.tm_sec};
}

}  // namespace za::os
