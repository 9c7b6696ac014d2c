#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "LogTime.h"

/// One message of a log.
struct LogEntry {
    enum class Kind { None, Info, Warning, Error };

    LogTime time = kUnknownTime;  ///< its own, or else that of what comes before it
    bool hasTime = false;         ///< the time is its own
    Kind kind = Kind::None;       ///< none where time stamps were switched off
    std::optional<int> number;    ///< none as well in HTML
    std::string text;             ///< the message as it was logged; lines are separated by '\n'
};

/// Makes entries of the lines of a log file.
///
/// The layout (plain, HTML, CSV) is recognised line by line. A line that begins no entry belongs to
/// the entry before it; where there is none that it could belong to, it is an entry of its own. The
/// headers of HTML and CSV files are left out; an HTML header's time is that of the entries behind
/// it that have none.
class LogParser {
public:
    /// A longer message is given out in pieces, so that memory stays bounded whatever the file.
    static constexpr std::size_t kMaxText = std::size_t{1} << 20;

    /// Takes the next line, without its line end. True when it ended an entry, which is in `entry`
    /// then.
    bool add(std::string_view line, LogEntry& entry);

    /// Hands out the last entry; false when there is none. Lines that belong to it may still come,
    /// and make an entry like it.
    bool finish(LogEntry& entry);

    /// Whether the last entry is known to have ended.
    bool isComplete() const { return _hasLast && _mode == Mode::Between; }

    /// The latest time that was read.
    LogTime time() const { return _time; }

private:
    /// What a line that begins no entry is.
    enum class Mode {
        Between,     ///< an entry of its own
        InMessage,   ///< the next line of a plain or CSV message
        InHtmlSpan,  ///< the next line of an HTML message, which ends where its span does
    };
    struct Start;

    static bool recognise(std::string_view line, Start& start);
    bool skipHeader(std::string_view line);
    void begin(const Start& start);
    void beginWithoutStamp(std::string_view line);
    bool addContinuation(std::string_view line, LogEntry& entry);
    void appendText(std::string_view text, bool isHtml);

    LogEntry _last;
    bool _hasLast = false;
    Mode _mode = Mode::Between;
    LogTime _time = kUnknownTime;
};
