#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// A moment in the local time of whoever wrote the log, as the decimal number YYYYMMDDhhmmss. It
/// compares as the moments do.
using LogTime = std::int64_t;

constexpr LogTime kUnknownTime = 0;

/// Reads a time from the start of `text`. Digits stand where `pattern` has one of the letters of
/// YYYY, MM, DD, hh, mm and ss, and every other character as it is in the pattern. What the pattern
/// lacks is 0.
/// @return kUnknownTime when the text is not made so, or is no date and time of day
LogTime readTime(std::string_view text, std::string_view pattern);

/// "YYYY-MM-DD hh:mm:ss"
std::string formatTime(LogTime time);

/// Reads "YYYY-MM-DD", "YYYY-MM-DD hh:mm" or "YYYY-MM-DD hh:mm:ss" as the first moment that it
/// stands for, or the last; kUnknownTime for every other text.
LogTime firstMomentOf(std::string_view text);
LogTime lastMomentOf(std::string_view text);
