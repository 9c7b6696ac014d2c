#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <limits>
#include <string_view>

#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Os/Clock.h"
#include "zaUtils/Os/Environment.h"
#include "zaUtils/Os/File.h"
#include "zaUtils/Platform/zaPlatform.h"
#include "zaUtils/Strings/zaString.h"

using za::os::File;
using za::os::LocalTime;
using za::os::OpenMode;

namespace {

constexpr std::size_t kPathBufferSize = 2048;  // the final NUL included
constexpr std::string_view kCsvHeader = "Date;Time;Type of Message;Message Number;Description\n";

/// Reads a file from its start as the C library's fgets and fscanf do, but the same on every host.
/// Lines may end in LF or CR LF: to a pattern both are white space.
class Scanner {
public:
    explicit Scanner(File& file) : _file(file) {}

    /// Goes behind the line's end, or behind `mostBytes` of a longer line.
    void skipLine(int mostBytes) {
        for (int c = 0; mostBytes > 0 && c != kEnd && c != '\n'; --mostBytes) {
            c = peek();
            if (c != kEnd) ++_position;
        }
    }

    /// Reads what the pattern tells until something does not fit it. A pattern holds "%d" with or
    /// without a width, blanks, which stand for any white space, and characters as they are.
    void scan(std::string_view pattern, std::initializer_list<int*> numbers) {
        auto number = numbers.begin();
        for (std::size_t i = 0; i < pattern.size(); ++i) {
            if (pattern[i] == ' ') {
                skipSpace();
            } else if (pattern[i] != '%') {
                if (!skip(pattern[i])) return;
            } else {
                const int width = std::atoi(pattern.data() + i + 1);
                if (!scanNumber(width > 0 ? width : kAnyWidth, **number++)) return;
                i = pattern.find('d', i);
            }
        }
    }

private:
    static constexpr int kEnd = -1;
    static constexpr int kAnyWidth = std::numeric_limits<int>::max();

    /// The next byte. A file that cannot be read further ends.
    int peek() {
        if (_position == _count) {
            _position = 0;
            static_cast<void>(_file.read(_bytes, sizeof _bytes, _count));
        }
        return _count > 0 ? static_cast<unsigned char>(_bytes[_position]) : kEnd;
    }

    bool skip(char wanted) {
        const bool isThere = peek() == static_cast<unsigned char>(wanted);
        if (isThere) ++_position;
        return isThere;
    }

    void skipSpace() {
        while (peek() == ' ' || (peek() >= '\t' && peek() <= '\r'))
            ++_position;
    }

    /// The sign counts for the width.
    bool scanNumber(int width, int& number) {
        skipSpace();
        std::string text;
        if (peek() == '-' || peek() == '+') text += static_cast<char>(peek());
        _position += text.size();
        const std::size_t digits = text.size();
        for (; static_cast<int>(text.size()) < width && peek() >= '0' && peek() <= '9'; ++_position)
            text += static_cast<char>(peek());
        if (text.size() == digits) return false;
        number = static_cast<int>(std::strtoll(text.c_str(), nullptr, 10));
        return true;
    }

    File& _file;
    char _bytes[1024];
    std::size_t _position = 0;
    std::size_t _count = 0;
};

/// When the file's first entry was written. A first entry that is read in part counts as far as it
/// was read; the rest is 0.
LocalTime firstEntry(File& file) {
    constexpr int kMostBytesOfHeader = 1023;
    LocalTime t{};
    Scanner scanner(file);
    if (zaLog::_log_format == zaLog::Csv) {
        scanner.skipLine(kMostBytesOfHeader);
        scanner.scan("%02d.%02d.%d;%02d:%02d:%02d;",
                     {&t.day, &t.month, &t.year, &t.hour, &t.minute, &t.second});
    } else {
        scanner.scan("%d-%02d-%02d %02d:%02d:%02d ",
                     {&t.year, &t.month, &t.day, &t.hour, &t.minute, &t.second});
    }
    return t;
}

bool isOfToday(const LocalTime& time) {
    const LocalTime now = za::os::localTimeNow();
    return time.year == now.year && time.month == now.month && time.day == now.day;
}

/// Where the log file lies: the environment may name another directory, which is made if need be.
std::string placeOf(const char* fileName) {
    const std::string variable = zaString::toUpper(zaPlatform::getAppName()) + "_LOG_DIR";
    std::string directory;
    if (!za::os::environmentValue(variable, directory)) return fileName;
    if (directory.empty() || directory.size() >= kPathBufferSize) return fileName;
    zaFile::createPath(directory);
    // A separator at the directory's end deliberately does not count.
    return directory + '\\' + zaFile::getFileName(fileName);
}

/// What a file's name gets appended when the file is set aside.
std::string suffixOf(const LocalTime& t) {
    char suffix[96];  // six numbers of any size
    std::snprintf(suffix, sizeof suffix, "%d%02d%02d-%02d%02d%02d", t.year, t.month, t.day, t.hour,
                  t.minute, t.second);
    return suffix;
}

void setAsideFileOfAnotherDay(const std::string& path) {
    File file;
    if (!file.open(path, OpenMode::Read).ok()) return;
    const LocalTime begun = firstEntry(file);
    static_cast<void>(file.close());  // Windows renames no open file
    if (isOfToday(begun)) return;
    if (!za::os::renameFile(path, path + suffixOf(begun)).ok()) {
        std::fputs("zaLog::setLogFile: couldn't rename old log file!\n", stderr);
    }
}

std::string htmlHeader() {
    constexpr const char* kDashes =
        "<font color=\"#b40000\">----------------------------------------------------</font><br>";
    const LocalTime now = za::os::localTimeNow();
    char time[96];
    std::snprintf(time, sizeof time, "%02d.%02d.%d %02d:%02d:%02d", now.day, now.month, now.year,
                  now.hour, now.minute, now.second);
    std::string header =
        "<head><style type=\"text/css\">span { white-space: pre-wrap;}</style></head>"
        "<br>"
        "<p align=\"middle\">";
    header += kDashes;
    header += "<font color=\"#b40000\">Log file from ";
    header += time;
    header += "</font><br>";
    header += kDashes;
    header += "</p>\n";
    return header;
}

/// Lines are written as well as can be: what a full disk does not take is lost silently.
void writeText(File& file, std::string_view text) {
    static_cast<void>(file.write(text.data(), text.size()));
}

/// Whether the CSV file's first row is of another day, or missing.
bool beginsOnAnotherDay(const std::string& path) {
    File file;
    return file.open(path, OpenMode::Read).ok() && !isOfToday(firstEntry(file));
}

}  // namespace

void zaLog::setLogFile(const char* fileName) {
    const std::string path = placeOf(fileName);
    setAsideFileOfAnotherDay(path);
    if (_log_format == Csv) writeCSVHeader(path.c_str());
    std::printf("Setting log file to '%s'.\n", path.c_str());

    File file;
    if (!file.open(path, OpenMode::AppendText).ok()) {
        _log_file.clear();
        // Inside of a message (see addToLogFile) this goes to standard error alone: the log takes
        // no other message while its lock is held.
        error("Couldn't create log file '%s'!", path.c_str());
        return;
    }
    _log_file = path;
    if (_log_format == Html) writeText(file, htmlHeader());
}

const char* zaLog::getLogFile() {
    return _log_file.empty() ? nullptr : _log_file.c_str();
}

void zaLog::writeCSVHeader(const char* fileName) {
    const std::string path = fileName ? fileName : _log_file;
    if (zaFile::exists(path)) return;
    File file;
    if (file.open(path, OpenMode::WriteText).ok()) {
        writeText(file, kCsvHeader);
    } else {
        std::fprintf(stderr, "zaLog::writeCSVHeader: couldn't write log file '%s'!\n",
                     path.c_str());
    }
}

void zaLog::addToLogFile(const std::string& line) {
    if (_log_file.empty()) return;
    if (_log_format == Csv && beginsOnAnotherDay(_log_file)) {
        std::fputs("create new log file, new day started!\n", stdout);
        setLogFile(_log_file.c_str());
    }
    File file;
    if (file.open(_log_file, OpenMode::AppendText).ok()) writeText(file, line);
}
