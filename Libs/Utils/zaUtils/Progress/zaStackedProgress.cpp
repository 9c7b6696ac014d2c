#include "zaUtils/Progress/zaStackedProgress.h"

#include "zaUtils/Logging/zaLog.h"

std::atomic<int> zaStackedProgress::s_count{0};
std::atomic<bool> zaStackedProgress::s_cancelled{false};

static_assert(std::atomic<bool>::is_always_lock_free, "cancelAll is called by signal handlers");

namespace {

thread_local zaStackedProgress* t_current = nullptr;

}  // namespace

void zaStackedProgress::Handler::startProgress(const std::string&) {}
void zaStackedProgress::Handler::finishProgress(bool) {}
void zaStackedProgress::Handler::setProgress(double) {}
void zaStackedProgress::Handler::incrementProgress(double) {}
void zaStackedProgress::Handler::setProgressState(const std::string&) {}

zaStackedProgress::zaStackedProgress(const std::string& text, double maximum, Handler* handler)
    : _state(text), _maximum(maximum), _handler(handler) {
    if (s_count.fetch_add(1) == 0) s_cancelled.store(false);
    push(this);
    if (!_handler) return;
    try {
        _handler->startProgress(_state);
    } catch (...) {
        // There will be no destructor to do this.
        countDown();
        pop(this);
        throw;
    }
}

zaStackedProgress::~zaStackedProgress() {
    finish();
    countDown();
    pop(this);
}

void zaStackedProgress::countDown() {
    if (s_count.fetch_sub(1) == 1) s_cancelled.store(false);
}

void zaStackedProgress::push(zaStackedProgress* level) {
    level->_parent = t_current;
    t_current = level;
}

void zaStackedProgress::pop(zaStackedProgress* level) {
    if (t_current == level) {
        t_current = level->_parent;
    } else {
        zaLog::warningNR("zaStackedProgress::pop failed");
    }
}

void zaStackedProgress::incrementBy(double amount) {
    if (amount == 0.0) return;
    propagate(amount);
}

void zaStackedProgress::propagate(double amount) {
    for (zaStackedProgress* level = this;; level = level->_parent) {
        const double added = amount * level->_scale;
        level->_value += added;
        if (level->_handler) level->report(added);
        if (!level->_parent) return;
        amount = added / level->_maximum;
        if (amount == 0.0) return;  // NaN deliberately goes on
    }
}

void zaStackedProgress::report(double added) {
    _handler->incrementProgress(added / _maximum);
    _handler->setProgress(getPercent());
}

void zaStackedProgress::setState(const std::string& text) {
    _state = text;
    std::string combined;
    for (zaStackedProgress* level = t_current; level; level = level->_parent) {
        if (combined.empty()) {
            combined = level->_state;
        } else if (!level->_state.empty()) {
            combined.insert(0, 1, '\n').insert(0, level->_state);
        }
        if (level->_handler) level->_handler->setProgressState(combined);
    }
}

void zaStackedProgress::finish() {
    _scale = 1.0;  // deliberate: what is left counts as it is, whatever the scale was
    const double remaining = _maximum - _value;
    if (remaining > 0.0) propagate(remaining);
    setState({});
    if (_handler) _handler->finishProgress(s_cancelled.load());
}

void zaStackedProgress::cancelAll() {
    s_cancelled.exchange(true);
}

zaStackedProgress* zaStackedProgress::current() {
    return t_current;
}
