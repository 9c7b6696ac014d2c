#pragma once

#include <cstdint>
#include <string>

#include "zaUtils/Progress/zaConsoleProgress.h"
#include "zaUtils/Progress/zaStackedProgress.h"

/// Lets the display wait for a moment, so that short work shows nothing.
void showOnlyLongWork(zaConsoleProgress& console);

/// The progress of work on so many bytes, shown on standard error when it takes longer than a
/// moment. Ctrl-C asks the work to stop.
class ByteProgress {
public:
    ByteProgress(const std::string& text, std::uint64_t total);

    /// Counts bytes that were dealt with; false when the work is to stop.
    bool add(std::uint64_t count);
    /// Counts all bytes up to this one, whether they were dealt with or left out.
    void reach(std::uint64_t position);

    bool isCancelled() const { return _level.cancelled(); }

    /// To be called before anything else is printed.
    void clear() { _console.clear(); }

private:
    zaConsoleProgress _console;
    zaStackedProgress _level;
    std::uint64_t _done = 0;
};
