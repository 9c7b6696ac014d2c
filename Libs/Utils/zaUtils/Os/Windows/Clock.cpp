#include "zaUtils/Os/Clock.h"

#include <ctime>

namespace za::os {

LocalTime toLocalTime(std::int64_t seconds) {
    const __time64_t time = seconds;
    std::tm parts{};
    _localtime64_s(&parts, &time);
    return {parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
            parts.tm_hour,        parts.tm_min,     parts.tm_sec};
}

}  // namespace za::os
