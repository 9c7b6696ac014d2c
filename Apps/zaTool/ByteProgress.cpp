#include "ByteProgress.h"

#include "zaUtils/Platform/zaConsole.h"

namespace {

/// Seconds before anything is shown: in a log or a pipe, a few lines less are missed by nobody.
constexpr double kDelayOnTerminal = 1.0, kDelayElsewhere = 5.0;

/// Sets the display up, which must have been done when the level begins.
zaConsoleProgress* prepared(zaConsoleProgress& console, std::uint64_t total) {
    showOnlyLongWork(console);
    console.setWhole(static_cast<double>(total) / 1e6, " MB");
    return &console;
}

}  // namespace

void showOnlyLongWork(zaConsoleProgress& console) {
    const bool isTerminal = zaConsole::isTerminal(zaConsole::Stream::Error);
    console.setDelay(isTerminal ? kDelayOnTerminal : kDelayElsewhere);
}

ByteProgress::ByteProgress(const std::string& text, std::uint64_t total)
    : _level(text, static_cast<double>(total), prepared(_console, total)) {}

bool ByteProgress::add(std::uint64_t count) {
    _done += count;
    _level.incrementBy(static_cast<double>(count));
    return !isCancelled();
}

void ByteProgress::reach(std::uint64_t position) {
    if (position > _done) add(position - _done);
}
