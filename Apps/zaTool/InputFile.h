#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "zaUtils/Streams/cached_ifstream.h"

/// A file, or standard input under the name "-", read from its start to its end.
class InputFile {
public:
    /// What is read at once.
    static constexpr std::size_t kChunk = std::size_t{1} << 20;

    explicit InputFile(std::string name);

    /// Bytes in all; 0 for standard input.
    std::uint64_t size() const { return _size; }

    /// Reads up to kChunk bytes; false at the end and after a failure, which `problem` tells.
    bool read(std::string& bytes);

    /// Why the file cannot be read; empty when it can.
    const std::string& problem() const { return _problem; }

    /// What to call it in messages.
    const std::string& label() const { return _label; }

private:
    std::size_t readSome(char* target);

    std::string _name;
    std::string _label;
    std::uint64_t _size = 0;
    std::optional<cached_ifstream> _file;  ///< not set for standard input
    std::string _problem;
};
