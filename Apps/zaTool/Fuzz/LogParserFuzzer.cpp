// Entries do not depend on how the bytes arrive, and what the log writes is read back as it was.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "Fuzzing.h"
#include "LineBuffer.h"
#include "LogParser.h"
#include "zaUtils/Logging/zaLog.h"

namespace {

std::vector<LogEntry> entriesOf(const std::string& bytes, std::size_t pieceSize) {
    LineBuffer lines;
    LogParser parser;
    std::vector<LogEntry> entries;
    LogEntry entry;
    std::string_view line;
    for (std::size_t i = 0; i < bytes.size(); i += pieceSize) {
        const std::size_t size = std::min(pieceSize, bytes.size() - i);
        std::memcpy(lines.room(size), bytes.data() + i, size);
        lines.added(size);
        while (lines.next(line)) {
            if (parser.add(line, entry)) entries.push_back(entry);
        }
    }
    if (lines.takeRest(line) && parser.add(line, entry)) entries.push_back(entry);
    if (parser.finish(entry)) entries.push_back(entry);
    return entries;
}

bool isSame(const LogEntry& a, const LogEntry& b) {
    return a.time == b.time && a.hasTime == b.hasTime && a.kind == b.kind && a.number == b.number &&
           a.text == b.text;
}

void checkPieces(const std::string& bytes, std::size_t pieceSize) {
    const auto whole = entriesOf(bytes, bytes.size() + 1);
    const auto pieces = entriesOf(bytes, pieceSize);
    require(std::equal(whole.begin(), whole.end(), pieces.begin(), pieces.end(), isSame),
            "pieces give the same entries");
    for (const LogEntry& entry : whole) {
        require(entry.time == kUnknownTime || firstMomentOf(formatTime(entry.time)) == entry.time,
                "times are read as they are shown");
        require(entry.text.find("\r\n") == std::string::npos, "line ends are LF alone");
    }
}

/// The bytes that the log writes for one warning.
std::string logged(const std::string& message, int format) {
    std::string line;
    zaLog::setLogFormat(format);
    zaLog::enableOutputBuffer(line);
    zaLog::warningI(message.c_str(), zaLog::ToLines, false);
    zaLog::disableOutputBuffer();
    return line;
}

void checkRoundTrip(std::string message) {
    // No reader can tell a line of a message that looks like an entry or a header, or ends in CR,
    // from a real one. Each needs one of these; NUL ends a message.
    constexpr std::string_view kUnclear("\r;:h\0", 5);
    const auto isUnclear = [&](char c) { return kUnclear.find(c) != std::string_view::npos; };
    message.erase(std::remove_if(message.begin(), message.end(), isUnclear), message.end());
    for (const int format : {zaLog::Plain, zaLog::Html, zaLog::Csv}) {
        const auto entries = entriesOf(logged(message, format), 7);
        require(entries.size() == 1, "a message is one entry");
        const LogEntry& entry = entries.front();
        require(entry.kind == LogEntry::Kind::Warning && entry.hasTime, "kind and time are read");
        require(entry.number == (format == zaLog::Html ? std::nullopt : std::optional(200)),
                "the number is read");
        const bool losesNewline = !message.empty() && message.back() == '\n';
        require(entry.text == message.substr(0, message.size() - (losesNewline ? 1 : 0)),
                "the message is read as it was logged");
    }
}

}  // namespace

int LLVMFuzzerInitialize(int*, char***) {
    return std::freopen("/dev/null", "w", stdout) ? 0 : 1;  // where the log shows its messages
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const std::size_t pieceSize = input.ConsumeIntegralInRange<std::size_t>(1, 64);
    const std::string bytes = input.ConsumeRemainingBytesAsString();
    checkPieces(bytes, pieceSize);
    checkRoundTrip(bytes);
    return 0;
}
