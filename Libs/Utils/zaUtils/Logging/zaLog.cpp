#include "zaUtils/Logging/zaLog.h"

#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string_view>

#include "zaUtils/Logging/Internal/LogRing.h"
#include "zaUtils/Os/Clock.h"
#include "zaUtils/Os/Console.h"
#include "zaUtils/Os/ThreadSlot.h"

using za::os::Colour;
using za::os::Stream;

bool zaLog::_enabled = true;
bool zaLog::_add_time_stamp = true;
int zaLog::_log_format = zaLog::Html;
int zaLog::_nr = 0;
zaLog::Callback zaLog::_info_fp = nullptr;
zaLog::Callback zaLog::_warning_fp = nullptr;
zaLog::Callback zaLog::_error_fp = nullptr;
std::string* zaLog::_output_buffer = nullptr;
void* zaLog::_output_streambuf = nullptr;
std::string zaLog::_last_error;
std::string zaLog::_log_file;
std::mutex zaLog::_log_mutex;

/// The whole difference between the three kinds.
struct zaLog::KindTraits {
    const char* word;
    int baseNumber;
    int consoleType;
    const char* htmlColour;
    const char* htmlAlternateColour;
    const char* streamStart;
    const char* streamEnd;
};

namespace {

constexpr std::size_t kFormatBufferSize = 2048;
constexpr int kMostDigits = std::numeric_limits<int>::digits10 + 2;  // with a sign
constexpr int kAllTargets = zaLog::ToCallback | zaLog::ToLines;
constexpr int kAlternateConsoleType = 4;

/// True while this thread holds the log's lock.
thread_local bool t_holdsLock = false;

/// Holds the log's lock, and marks that this thread does. Taken again by the same thread (a
/// callback that reads the last error), it does nothing.
class LogLock {
public:
    LogLock() : _isOuter(!t_holdsLock) {
        if (!_isOuter) return;
        zaLog::_log_mutex.lock();
        t_holdsLock = true;
    }
    ~LogLock() {
        if (!_isOuter) return;
        t_holdsLock = false;
        zaLog::_log_mutex.unlock();
    }
    LogLock(const LogLock&) = delete;
    LogLock& operator=(const LogLock&) = delete;

private:
    bool _isOuter;
};

/// A text and a newline in one piece, so that one write can take them; on the stack if short.
class TextLine {
public:
    explicit TextLine(const char* text) : _size(std::strlen(text) + 1) {
        char* target = _small;
        if (_size > sizeof _small) {
            _large = std::make_unique<char[]>(_size);
            target = _large.get();
        }
        std::memcpy(target, text, _size - 1);
        target[_size - 1] = '\n';
        _text = {target, _size};
    }

    std::string_view text() const { return _text; }

private:
    std::size_t _size;
    std::unique_ptr<char[]> _large;
    std::string_view _text;
    char _small[kFormatBufferSize];
};

/// Formats text with "%s" and "%d", which is what most messages consist of, in a fraction of the
/// time that the C library takes for it. False, with `out` in disorder, for what it cannot do or
/// what does not fit.
bool formatSimple(char* out, char* const end, const char* format, std::va_list arguments) {
    for (; *format != '\0'; ++format) {
        if (end - out <= kMostDigits) return false;
        if (*format != '%') {
            *out++ = *format;
        } else if (*++format == 'd') {
            out = std::to_chars(out, end, va_arg(arguments, int)).ptr;
        } else if (*format == 's') {
            const char* text = va_arg(arguments, const char*);
            const std::size_t size = text ? std::strlen(text) : kFormatBufferSize;
            if (size >= static_cast<std::size_t>(end - out)) return false;
            std::memcpy(out, text, size);
            out += size;
        } else {
            return false;
        }
    }
    *out = '\0';
    return true;
}

/// The formatted text of one message, cut to fit.
class FormattedText {
public:
    FormattedText(const char* format, std::va_list arguments) ZAUTILS_PRINTF(2, 0) {
        std::va_list copy;
        va_copy(copy, arguments);
        const bool isDone = formatSimple(_text, std::end(_text), format, copy);
        va_end(copy);
        if (isDone) return;
        _text[0] = '\0';
        const int length = std::vsnprintf(_text, sizeof _text, format, arguments);
        // A failed formatter need not have terminated what it wrote.
        if (length < 0) _text[sizeof _text - 1] = '\0';
    }

    const char* text() const { return _text; }

private:
    char _text[kFormatBufferSize];
};

Colour colourOf(int type) {
    switch (type) {
        case 1:
            return Colour::Yellow;
        case 2:
            return Colour::BrightRed;
        case 4:
            return Colour::BlueAdded;
        case 5:
            return Colour::Grey;
        case 6:
            return Colour::BrightMagenta;
        default:
            return Colour::Unchanged;
    }
}

/// Where lines are built, under the log's lock: one after the other in the same memory, unless a
/// huge message took more of it than is worth keeping. Never destroyed, for messages at exit.
std::string& lineBuffer() {
    constexpr std::size_t kMostKept = 65536;
    static std::string& line = *new std::string;
    if (line.capacity() > kMostKept) std::string().swap(line);
    return line;
}

/// The time in the layouts that lines begin with. Conversion to local time is slow next to the rest
/// of a message, so the texts are kept for the second they stand for. Used under the log's lock.
class LineStamps {
public:
    const char* plain() {
        refresh();
        return _plain;
    }
    const char* csv() {
        refresh();
        return _csv;
    }

private:
    static constexpr std::size_t kSize = 96;  // six numbers of any size

    void refresh() {
        const std::int64_t second = za::os::secondsNow();
        if (second == _second) return;
        const za::os::LocalTime t = za::os::toLocalTime(second);
        std::snprintf(_plain, kSize, "%d-%02d-%02d %02d:%02d:%02d ", t.year, t.month, t.day, t.hour,
                      t.minute, t.second);
        std::snprintf(_csv, kSize, "%02d.%02d.%d;%02d:%02d:%02d;", t.day, t.month, t.year, t.hour,
                      t.minute, t.second);
        _second = second;
    }

    std::int64_t _second = std::numeric_limits<std::int64_t>::min();
    char _plain[kSize] = "";
    char _csv[kSize] = "";
};

LineStamps g_stamps;

/// Appends time, kind and number, the last two each followed by the separator.
void appendPrefix(std::string& line, const char* time, std::string_view kind, int number,
                  char separator) {
    line += time;
    line += kind;
    char rest[kMostDigits + 2];
    rest[0] = separator;
    char* end = std::to_chars(rest + 1, std::end(rest), number).ptr;
    *end++ = separator;
    line.append(rest, static_cast<std::size_t>(end - rest));
}

}  // namespace

const zaLog::KindTraits& zaLog::traits(Kind kind) {
    static constexpr KindTraits kTraits[] = {
        {"INFO", 100, 0, "008c00", "008c8c", "", ""},
        {"WARN", 200, 1, "b4b400", "b4b48c", "\033[33m", "\033[0m"},
        {"ERROR", 300, 2, "b40000", "b4008c", "\033[31m", "\033[0m"},
    };
    return kTraits[static_cast<int>(kind)];
}

zaLog::Callback zaLog::callback(Kind kind) {
    switch (kind) {
        case Kind::Info:
            return _info_fp;
        case Kind::Warning:
            return _warning_fp;
        case Kind::Error:
            return _error_fp;
    }
    return nullptr;
}

void zaLog::info(const char* format, ...) {
    if (!_enabled || !format) return;
    std::va_list arguments;
    va_start(arguments, format);
    const FormattedText formatted(format, arguments);
    va_end(arguments);
    infoI(formatted.text(), kAllTargets, false);
}

void zaLog::info(int nr, const char* format, ...) {
    if (!_enabled || !format) return;
    _nr = nr;
    std::va_list arguments;
    va_start(arguments, format);
    const FormattedText formatted(format, arguments);
    va_end(arguments);
    infoI(formatted.text(), kAllTargets, false);
}

void zaLog::warning(const char* format, ...) {
    if (!_enabled || !format) return;
    std::va_list arguments;
    va_start(arguments, format);
    const FormattedText formatted(format, arguments);
    va_end(arguments);
    warningI(formatted.text(), kAllTargets, false);
}

void zaLog::warning(int nr, const char* format, ...) {
    if (!_enabled || !format) return;
    _nr = nr;
    std::va_list arguments;
    va_start(arguments, format);
    const FormattedText formatted(format, arguments);
    va_end(arguments);
    warningI(formatted.text(), kAllTargets, false);
}

void zaLog::error(const char* format, ...) {
    if (!_enabled || !format) return;
    std::va_list arguments;
    va_start(arguments, format);
    const FormattedText formatted(format, arguments);
    va_end(arguments);
    errorI(formatted.text(), kAllTargets, false);
}

void zaLog::error(int nr, const char* format, ...) {
    if (!_enabled || !format) return;
    _nr = nr;
    std::va_list arguments;
    va_start(arguments, format);
    const FormattedText formatted(format, arguments);
    va_end(arguments);
    errorI(formatted.text(), kAllTargets, false);
}

void zaLog::infoIPython(const char* msg) {
    infoI(msg, kAllTargets, false);
}

void zaLog::infoIPython(int nr, const char* msg) {
    _nr = nr;
    infoI(msg, kAllTargets, false);
}

void zaLog::warningIPython(const char* msg) {
    warningI(msg, kAllTargets, false);
}

void zaLog::warningIPython(int nr, const char* msg) {
    _nr = nr;
    warningI(msg, kAllTargets, false);
}

void zaLog::errorIPython(const char* msg) {
    errorI(msg, kAllTargets, false);
}

void zaLog::errorIPython(int nr, const char* msg) {
    _nr = nr;
    errorI(msg, kAllTargets, false);
}

void zaLog::infoI(const char* msg, int flags, bool alternate) {
    write(Kind::Info, msg, flags, alternate);
}

void zaLog::warningI(const char* msg, int flags, bool alternate) {
    write(Kind::Warning, msg, flags, alternate);
}

void zaLog::errorI(const char* msg, int flags, bool alternate) {
    write(Kind::Error, msg, flags, alternate);
}

void zaLog::infoNR(const char*, ...) {}
void zaLog::warningNR(const char*, ...) {}
void zaLog::errorNR(const char*, ...) {}

void zaLog::write(Kind kind, const char* msg, int flags, bool alternate) {
    if (!_enabled || !msg) return;
    if (t_holdsLock) {
        // Logged from a callback or a stream buffer, where the lock cannot be taken again.
        za::os::writeToStream(Stream::Error, TextLine(msg).text());
        return;
    }
    const LogLock lock;
    const KindTraits& kindTraits = traits(kind);
    if (kind == Kind::Error) _last_error = msg;
    if (za::log::LogRing& ring = za::log::logRing(); ring.isEnabled()) {
        ring.add(*kindTraits.word, msg, za::os::secondsNow());
    }
    if (const Callback call = callback(kind); call && (flags & ToCallback)) call(msg);
    const int type = kindTraits.consoleType + (alternate ? kAlternateConsoleType : 0);
    colorOutput(type, msg);
    if (!(flags & ToLines)) return;
    if (!_output_streambuf && !_output_buffer && _log_file.empty()) return;
    std::string& line = lineBuffer();
    buildLine(line, kindTraits, msg, alternate);
    writeLine(kindTraits, line);
}

void zaLog::buildLine(std::string& line, const KindTraits& kind, const char* msg, bool alternate) {
    line.clear();
    if (_log_format == Html) {
        line += "<span style=\"color:#";
        line += alternate ? kind.htmlAlternateColour : kind.htmlColour;
        line += ";\">" + convertToHtml(addTimestamp(msg)) + "</span><br>\n";
    } else if (_log_format == Plain || _log_format == Csv) {
        // Time, kind and number deliberately go together: without the stamp there is none of them.
        const auto addPrefix = _log_format == Plain ? addExtraInfo : addExtraInfoCSV;
        if (_add_time_stamp) addPrefix(line, kind.word, kind.baseNumber + _nr);
        line += msg;
        if (line.empty()) throw std::out_of_range("invalid string position");
        if (line.back() != '\n') line += '\n';
    }
}

void zaLog::writeLine(const KindTraits& kind, const std::string& line) {
    if (_output_buffer) *_output_buffer += line;
    if (_output_streambuf) {
        std::ostream stream(static_cast<std::streambuf*>(_output_streambuf));
        stream << kind.streamStart << line << kind.streamEnd;
    }
    if (!_log_file.empty()) addToLogFile(line);
}

void zaLog::addExtraInfo(std::string& line, const std::string& kind, int number) {
    appendPrefix(line, g_stamps.plain(), kind, number, ' ');
}

void zaLog::addExtraInfoCSV(std::string& line, const std::string& kind, int number) {
    appendPrefix(line, g_stamps.csv(), kind, number, ';');
}

std::string zaLog::addTimestamp(const char* msg) {
    return std::string(_add_time_stamp ? g_stamps.plain() : "") + msg;
}

std::string zaLog::convertToHtml(const std::string& text) {
    std::string result;
    result.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '"':
                result += "&#34;";
                break;
            case '&':
                result += "&#38;";
                break;
            case '<':
                result += "&#60;";
                break;
            case '>':
                result += "&#62;";
                break;
            default:
                result += c;
        }
    }
    if (!result.empty() && result.back() == '\n') result.pop_back();
    return result;
}

void zaLog::colorOutput(int type, const char* msg) {
    if (type < 0 || type == 3 || type > 6) {
        std::fprintf(stderr, "zaLog::colorOutput : unknown tpye (%d)!\n", type);
        return;
    }
    // The newline is added even when the text ends with one, unlike in lines: deliberate.
    const TextLine line(msg);
    const bool isError = type == 2 || type == 6;
    const Stream stream = isError ? Stream::Error : Stream::Output;
    if (za::os::writeToConsole(stream, colourOf(type), line.text())) return;
    za::os::writeToStream(stream, line.text());
    if (isError) std::fflush(stderr);
}

void zaLog::setEnabled(bool enabled) {
    _enabled = enabled;
}

bool zaLog::isEnabled() {
    return _enabled;
}

void zaLog::setLogFormat(int format) {
    _log_format = format;
    if (format == Plain || format == Csv) _add_time_stamp = true;
}

void zaLog::setInfoCB(Callback callback) {
    _info_fp = callback;
}

void zaLog::setWarningCB(Callback callback) {
    _warning_fp = callback;
}

void zaLog::setErrorCB(Callback callback) {
    _error_fp = callback;
}

void zaLog::enableOutputBuffer(std::string& buffer) {
    _output_buffer = &buffer;
}

void zaLog::disableOutputBuffer() {
    _output_buffer = nullptr;
}

void zaLog::enableOutputStream(void* streambuf) {
    _output_streambuf = streambuf;
}

void zaLog::disableOutputStream() {
    _output_streambuf = nullptr;
}

const char* zaLog::getLastError() {
    static const za::os::ThreadSlot slot(
        [](void* text) { delete static_cast<std::string*>(text); });
    auto* copy = static_cast<std::string*>(slot.get());
    if (!copy) {
        copy = new std::string;
        slot.set(copy);
    }
    const LogLock lock;
    *copy = _last_error;
    return copy->c_str();
}

void zaLog::clearLastError() {
    const LogLock lock;
    _last_error.clear();
}
