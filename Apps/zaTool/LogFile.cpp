#include "LogFile.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "FileWalk.h"
#include "LastReason.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kChunkSize = std::size_t{64} << 10;
constexpr std::size_t kHeadSize = 1024;

/// What the log appends to the name of a file whose first entry it could not read (such as every
/// HTML file) when it sets the file aside.
constexpr const char* kUnknownSuffix = "00000-000000";

/// The same for all other files.
std::string setAsideSuffix(LogTime firstTime) {
    constexpr std::size_t kTimeOfDaySize = 6;
    if (firstTime == kUnknownTime) return kUnknownSuffix;
    std::string digits = std::to_string(firstTime);
    return digits.insert(digits.size() - kTimeOfDaySize, 1, '-');
}

}  // namespace

LogFile::LogFile(std::string name, bool grows)
    : _name(std::move(name)), _grows(grows), _endIsFinal(!grows) {}

LogFile::Sight LogFile::see(const fs::path& path) {
    std::error_code error;
    Sight sight;
    sight.exists = fs::exists(path, error);
    if (!sight.exists) return sight;
    sight.size = fs::file_size(path, error);
    sight.written = fs::last_write_time(path, error);
    return sight;
}

bool LogFile::open(const fs::path& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (fs::is_directory(status)) {
        _problem = "is a folder";
        return false;
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        // Devices and pipes may never end, or wait for ever.
        _problem = "is no regular file";
        return false;
    }
    errno = 0;
    _stream.close();
    _stream.open(path, std::ios::binary);
    if (!_stream.is_open()) {
        _problem = "cannot be read: " + lastReason();
        return false;
    }
    return true;
}

bool LogFile::look() {
    if (_grows && _endIsFinal) startAnew();
    const fs::path path = toStandardPath(_name);
    const Sight sight = see(path);
    if (sight.exists && sight == _seen) {
        _isQuiet = true;
        return _problem.empty();
    }
    _seen = {};
    if (!sight.exists && _position > 0) return readSetAside();
    if (!sight.exists && _wasRead) return false;  // between two days
    if (!open(path)) return false;
    _seen = sight;
    _problem.clear();
    _isQuiet = !_wasRead;  // what is there from the beginning is whole
    _wasRead = true;
    return readOn() || readSetAside();
}

/// Whether the open file begins as the one that was read so far, and reaches as far.
bool LogFile::isKnown() {
    std::string head(_head.size(), '\0');
    _stream.read(head.data(), static_cast<std::streamsize>(head.size()));
    _stream.clear();
    _stream.seekg(0, std::ios::end);
    return head == _head && _stream.tellg() >= static_cast<std::streamoff>(_position);
}

/// Goes on in the open file, if it is the one that was read so far.
bool LogFile::readOn() {
    if (!isKnown()) return false;
    _stream.seekg(static_cast<std::streamoff>(_position));
    return true;
}

/// Goes on in the file that was read so far under its new name. Where there is none, what has been
/// read of it is all that there is.
bool LogFile::readSetAside() {
    _endIsFinal = true;
    const std::string problem = _problem;
    for (const std::string& suffix : {setAsideSuffix(_firstTime), std::string(kUnknownSuffix)}) {
        if (open(toStandardPath(_name + suffix)) && readOn()) return true;
    }
    _problem = problem;
    _stream.close();
    return true;
}

void LogFile::startAnew() {
    _seen = {};
    _position = 0;
    _head.clear();
    _firstTime = kUnknownTime;
    _endIsFinal = false;
    _isQuiet = false;
    _lines.clear();
    _parser = {};
}

bool LogFile::readChunk() {
    if (!_stream.is_open()) return false;
    errno = 0;
    char* const bytes = _lines.room(kChunkSize);
    _stream.read(bytes, static_cast<std::streamsize>(kChunkSize));
    const auto size = static_cast<std::size_t>(_stream.gcount());
    if (_stream.bad()) _problem = "cannot be read: " + lastReason();
    if (size < kChunkSize) _stream.close();  // at once: there may be very many files
    if (size == 0) return false;
    _lines.added(size);
    _position += size;
    if (_head.size() < kHeadSize) _head.append(bytes, std::min(size, kHeadSize - _head.size()));
    return true;
}

bool LogFile::next(LogEntry& entry) {
    std::string_view line;
    do {
        while (_lines.next(line)) {
            const bool ended = _parser.add(line, entry);
            if (_firstTime == kUnknownTime) _firstTime = _parser.time();
            if (ended) return true;
        }
    } while (readChunk());
    if (_endIsFinal && _lines.takeRest(line) && _parser.add(line, entry)) return true;
    const bool isWhole = _endIsFinal || _isQuiet || _parser.isComplete();
    return isWhole && _parser.finish(entry);
}
