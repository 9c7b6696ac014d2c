#pragma once

#include <cstdint>
#include <string>

#include "zaUtils/Api.h"

class zaProgress;

/// A progress that shows only if the operation takes long.
///
/// Steps are counted until the delay has passed; the next step then starts the dialog of
/// `zaProgress` and reports all of them at once. Only `increment` looks at the time, so an
/// operation without a step is never shown.
class ZAUTILS_API zaDelayedProgress {
public:
    /// @param maximum       number of steps
    /// @param delaySeconds  with 0 or less the first step shows; with NaN none does
    zaDelayedProgress(const std::string& title, int maximum, double delaySeconds);
    /// As `hide`; an exception of the dialog terminates the program.
    ~zaDelayedProgress();

    /// A copy deliberately takes over every member: that of a shown progress ends it, too.
    zaDelayedProgress(const zaDelayedProgress&) = default;
    zaDelayedProgress& operator=(const zaDelayedProgress&) = default;

    /// One step.
    void increment();

    /// Ends the progress if it is shown. The next step starts another one.
    void hide();

    /// Seconds since construction.
    double getDuration() const;

private:
    void checkVisibility();

    std::string _title;
    unsigned int _maximum;
    unsigned int _pending = 0;  // steps not reported yet
    zaProgress* _progress;
    bool _shown = false;
    std::int64_t _start;  // nanoseconds of the steady clock
    double _delay;
};
