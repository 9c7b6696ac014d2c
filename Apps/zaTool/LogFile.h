#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "LineBuffer.h"
#include "LogParser.h"

/// Reads the entries of one log file, and those that are added to it.
///
/// A file that grows is open only while it is read, because an open file can be neither renamed nor
/// removed on Windows. It is known again by how it begins. When its name leads to another file, or
/// to one that was cut short, the old one is read to its end, provided that it is found under the
/// name that the log gives to a file which it sets aside; then the new one is read from its start.
class LogFile {
public:
    /// @param grows  whether more may come behind the file's end
    LogFile(std::string name, bool grows);

    /// Looks what there is to read; to be called first, and for a file that grows again and again.
    /// @return false when nothing has changed, or the file cannot be read, which `problem` tells
    bool look();

    /// Reads the next entry; false when there is none before the next call of `look`.
    ///
    /// A line without line end is held back while the file may grow, and so is an entry that may
    /// not be whole, until the file has not changed between two looks.
    bool next(LogEntry& entry);

    const std::string& name() const { return _name; }
    /// Why the file cannot be read; empty when it can.
    const std::string& problem() const { return _problem; }
    bool wasRead() const { return _wasRead; }
    /// How many bytes of the file were read.
    std::uint64_t position() const { return _position; }

private:
    /// What tells that a file has changed, without opening it.
    struct Sight {
        bool exists = false;
        std::uintmax_t size = 0;
        std::filesystem::file_time_type written;

        bool operator==(const Sight& other) const {
            return exists == other.exists && size == other.size && written == other.written;
        }
    };

    static Sight see(const std::filesystem::path& path);
    bool open(const std::filesystem::path& path);
    bool isKnown();
    bool readOn();
    bool readSetAside();
    void startAnew();
    bool readChunk();

    std::string _name;
    bool _grows;
    std::string _problem;
    bool _wasRead = false;

    Sight _seen;
    std::ifstream _stream;
    std::uint64_t _position = 0;
    std::string _head;  ///< the first bytes of the file
    LogTime _firstTime = kUnknownTime;
    bool _endIsFinal;       ///< nothing comes behind the end of what is being read
    bool _isQuiet = false;  ///< nothing came since the last look
    LineBuffer _lines;
    LogParser _parser;
};
