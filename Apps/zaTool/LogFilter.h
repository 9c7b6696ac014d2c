#pragma once

#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "LogParser.h"

/// Which entries are wanted. What is empty wants all; an entry that lacks what is asked for is left
/// out.
struct LogFilter {
    std::vector<LogEntry::Kind> kinds;
    std::vector<std::pair<int, int>> numbers;  ///< first and last of each range
    LogTime since = kUnknownTime;
    LogTime until = std::numeric_limits<LogTime>::max();
    std::string text;         ///< a part of the message
    bool ignoreCase = false;  ///< of ASCII letters

    bool matches(const LogEntry& entry) const;
};
