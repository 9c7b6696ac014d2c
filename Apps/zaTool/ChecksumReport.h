#pragma once

#include <string>
#include <vector>

#include "ChecksumJob.h"

/// Everything that one run of a checksum command found out.
struct ChecksumReport {
    std::string command;  ///< "verify" and so on
    unsigned int skip = 0;
    int exitCode = 0;
    std::vector<ChecksumResult> results;
};

/// Writes the line of one file to the log.
void logResult(const ChecksumResult& result);

/// The report as a JSON document, in UTF-8 without a final newline. Bytes of file names that are no
/// UTF-8 are replaced by U+FFFD.
std::string toJson(const ChecksumReport& report);
