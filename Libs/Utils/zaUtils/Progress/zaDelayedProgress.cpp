#include "zaUtils/Progress/zaDelayedProgress.h"

#include <utility>

#include "zaUtils/Os/SteadyClock.h"
#include "zaUtils/Progress/zaProgress.h"

zaDelayedProgress::zaDelayedProgress(const std::string& title, int maximum, double delaySeconds)
    : _title(title),
      _maximum(static_cast<unsigned int>(maximum)),
      _progress(&zaProgress::the()),
      _start(za::os::steadyNanoseconds()),
      _delay(delaySeconds) {}

zaDelayedProgress::~zaDelayedProgress() {
    hide();
}

void zaDelayedProgress::increment() {
    if (_shown) {
        _progress->incrementProgress();
        return;
    }
    ++_pending;
    checkVisibility();
}

void zaDelayedProgress::checkVisibility() {
    if (_shown || !(getDuration() >= _delay)) return;
    _shown = true;
    _progress->initProgress(_title, _maximum, zaProgress::Visible);
    _progress->incrementProgressBy(_pending);
    _pending = 0;
}

void zaDelayedProgress::hide() {
    if (std::exchange(_shown, false)) _progress->terminateProgress();
}

double zaDelayedProgress::getDuration() const {
    return static_cast<double>(za::os::steadyNanoseconds() - _start) * 1e-9;
}
