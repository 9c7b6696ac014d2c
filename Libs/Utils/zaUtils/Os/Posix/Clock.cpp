#include "zaUtils/Os/Clock.h"

#include <ctime>

namespace za::os {

std::int64_t systemSeconds() {
    return std::time(nullptr);
}

LocalTime toLocalTime(std::int64_t seconds) {
    const std::time_t time = seconds;
    std::tm parts{};
    ::localtime_r(&time, &parts);
    return {parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
            parts.tm_hour,        parts.tm_min,     parts.tm_sec};
}

}  // namespace za::os
