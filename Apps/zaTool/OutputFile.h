#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zaUtils/Streams/cached_ofstream.h"

/// A file, or standard output under the name "-", written from its start to its end.
///
/// The file is there as a whole or not at all: until `commit` it has another name in the same
/// folder, and what is not committed is removed.
class OutputFile {
public:
    /// Asks the user before it replaces a file.
    explicit OutputFile(std::string name);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// False after a failure, which `problem` tells.
    bool write(std::string_view bytes);
    /// Makes what was written the file of the name; false after a failure.
    bool commit();

    /// Why the file cannot be written; empty when it can.
    const std::string& problem() const { return _problem; }

private:
    bool fail();

    std::string _name;
    std::string _temporaryName;
    std::optional<cached_ofstream> _file;  ///< not set for standard output
    std::string _problem;
};
