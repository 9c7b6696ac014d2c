#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "LogFilter.h"

class LogReport;

struct LogRequest {
    std::vector<std::string> files;
    LogFilter filter;
    std::optional<std::size_t> lastEntries;  ///< of what the files hold at first; all if not set
    bool follow = false;
};

/// Hands the wanted entries of all files to the report, ordered by their time; those of the same
/// time, and those of one file, stay in the order of the files and lines. Needs no more memory than
/// one entry for each file and the last entries asked for.
///
/// With `follow`, goes on with what is added to the files until the user interrupts the program.
/// @return the exit code
int runLog(const LogRequest& request, LogReport& report);
