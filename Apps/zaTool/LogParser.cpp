#include "LogParser.h"

#include <algorithm>
#include <charconv>
#include <utility>

using Kind = LogEntry::Kind;

namespace {

constexpr std::string_view kSpanStart = "<span style=\"color:#";
constexpr std::string_view kSpanColourEnd = ";\">";
constexpr std::string_view kSpanEnd = "</span><br>";

constexpr std::string_view kHtmlHeaderStart = "<head><style type=\"text/css\">";
constexpr std::string_view kHtmlHeaderTime = "Log file from ";
constexpr std::string_view kCsvHeader = "Date;Time;Type of Message;Message Number;Description";

constexpr std::string_view kPlainStamp = "YYYY-MM-DD hh:mm:ss ";
constexpr std::string_view kCsvStamp = "DD.MM.YYYY;hh:mm:ss;";

bool takePrefix(std::string_view& text, std::string_view prefix) {
    if (text.substr(0, prefix.size()) != prefix) return false;
    text.remove_prefix(prefix.size());
    return true;
}

bool takeSuffix(std::string_view& text, std::string_view suffix) {
    if (text.size() < suffix.size()) return false;
    if (text.substr(text.size() - suffix.size()) != suffix) return false;
    text.remove_suffix(suffix.size());
    return true;
}

Kind takeKind(std::string_view& text) {
    if (takePrefix(text, "INFO")) return Kind::Info;
    if (takePrefix(text, "WARN")) return Kind::Warning;
    if (takePrefix(text, "ERROR")) return Kind::Error;
    return Kind::None;
}

/// The normal and the alternate colour of each kind.
Kind kindOfColour(std::string_view digits) {
    if (digits == "008c00" || digits == "008c8c") return Kind::Info;
    if (digits == "b4b400" || digits == "b4b48c") return Kind::Warning;
    if (digits == "b40000" || digits == "b4008c") return Kind::Error;
    return Kind::None;
}

/// The character that a numeric reference at the start of the text stands for, of the four that
/// logs hold; '\0' for anything else.
char referencedCharacter(std::string_view text) {
    constexpr std::pair<std::string_view, char> kReferences[] = {
        {"&#34;", '"'}, {"&#38;", '&'}, {"&#60;", '<'}, {"&#62;", '>'}};
    for (const auto& [reference, character] : kReferences) {
        if (text.substr(0, reference.size()) == reference) return character;
    }
    return '\0';
}

void appendDecoded(std::string& target, std::string_view text) {
    constexpr std::size_t kReferenceSize = 5;
    for (;;) {
        const std::size_t found = text.find('&');
        target += text.substr(0, found);
        if (found == std::string_view::npos) return;
        text.remove_prefix(found);
        const char character = referencedCharacter(text);
        target += character == '\0' ? '&' : character;
        text.remove_prefix(character == '\0' ? 1 : kReferenceSize);
    }
}

}  // namespace

/// How a line begins an entry.
struct LogParser::Start {
    Mode mode = Mode::InMessage;
    LogTime time = kUnknownTime;
    Kind kind = Kind::None;
    std::optional<int> number;
    std::string_view text;
    bool isHtml = false;

    /// Reads kind, number and message, each followed by `separator`.
    bool readMessage(std::string_view rest, char separator) {
        kind = takeKind(rest);
        if (kind == Kind::None || !takePrefix(rest, {&separator, 1})) return false;
        const char* const first = rest.data();
        const auto [end, error] = std::from_chars(first, first + rest.size(), number.emplace());
        if (error != std::errc()) return false;
        rest.remove_prefix(static_cast<std::size_t>(end - first));
        // Editors may have taken off the blank in front of an empty message.
        if (!rest.empty() && !takePrefix(rest, {&separator, 1})) return false;
        text = rest;
        return true;
    }

    bool readSpan(std::string_view rest) {
        constexpr std::size_t kColourSize = 6;
        kind = kindOfColour(rest.substr(0, kColourSize));
        rest.remove_prefix(std::min(kColourSize, rest.size()));
        if (!takePrefix(rest, kSpanColourEnd)) return false;
        mode = takeSuffix(rest, kSpanEnd) ? Mode::Between : Mode::InHtmlSpan;
        time = readTime(rest, kPlainStamp);
        if (time != kUnknownTime) rest.remove_prefix(kPlainStamp.size());
        text = rest;
        isHtml = true;
        return true;
    }
};

bool LogParser::recognise(std::string_view line, Start& start) {
    const auto takeStamp = [&](std::string_view pattern) {
        start.time = readTime(line, pattern);
        return start.time != kUnknownTime;
    };
    if (takeStamp(kPlainStamp)) return start.readMessage(line.substr(kPlainStamp.size()), ' ');
    if (takeStamp(kCsvStamp)) return start.readMessage(line.substr(kCsvStamp.size()), ';');
    return takePrefix(line, kSpanStart) && start.readSpan(line);
}

/// Whether the line is the header of a file.
bool LogParser::skipHeader(std::string_view line) {
    if (line == kCsvHeader) return true;
    if (!takePrefix(line, kHtmlHeaderStart)) return false;
    const std::size_t found = line.find(kHtmlHeaderTime);
    if (found == std::string_view::npos) return true;
    const std::string_view text = line.substr(found + kHtmlHeaderTime.size());
    const LogTime time = readTime(text, "DD.MM.YYYY hh:mm:ss");
    if (time != kUnknownTime) _time = time;
    return true;
}

bool LogParser::add(std::string_view line, LogEntry& entry) {
    // No message in HTML holds a '<', so a line that starts with one can but end it.
    const bool fitsInSpan = line.substr(0, 1) != "<" || line == kSpanEnd;
    if (_mode == Mode::InHtmlSpan && fitsInSpan) return addContinuation(line, entry);

    Start start;
    const bool isStart = recognise(line, start);
    const bool isHeader = !isStart && skipHeader(line);
    if (!isStart && !isHeader && _mode == Mode::InMessage) return addContinuation(line, entry);

    const bool ended = finish(entry);
    if (isStart) {
        begin(start);
    } else {
        _mode = Mode::Between;
        if (!isHeader && !line.empty()) beginWithoutStamp(line);
    }
    return ended;
}

void LogParser::begin(const Start& start) {
    if (start.time != kUnknownTime) _time = start.time;
    _mode = start.mode;
    _hasLast = true;
    _last.time = _time;
    _last.hasTime = start.time != kUnknownTime;
    _last.kind = start.kind;
    _last.number = start.number;
    _last.text.clear();
    appendText(start.text, start.isHtml);
}

void LogParser::beginWithoutStamp(std::string_view line) {
    Start start;
    start.mode = Mode::Between;
    start.text = line;
    begin(start);
}

bool LogParser::addContinuation(std::string_view line, LogEntry& entry) {
    const bool isHtml = _mode == Mode::InHtmlSpan;
    if (isHtml && takeSuffix(line, kSpanEnd)) _mode = Mode::Between;
    bool ended = false;
    if (_hasLast && _last.text.size() < kMaxText) {
        _last.text += '\n';
    } else {
        ended = finish(entry);
        _last.text.clear();
        _hasLast = true;
    }
    appendText(line, isHtml);
    return ended;
}

void LogParser::appendText(std::string_view text, bool isHtml) {
    if (isHtml) {
        appendDecoded(_last.text, text);
    } else {
        _last.text += text;
    }
}

bool LogParser::finish(LogEntry& entry) {
    if (!_hasLast) return false;
    _hasLast = false;
    std::swap(entry, _last);
    // Lines that still belong to it make an entry like it.
    _last.time = entry.time;
    _last.hasTime = entry.hasTime;
    _last.kind = entry.kind;
    _last.number = entry.number;
    return true;
}
