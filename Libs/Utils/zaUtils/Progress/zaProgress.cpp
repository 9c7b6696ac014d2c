#include "zaUtils/Progress/zaProgress.h"

#include <utility>

zaProgressDialogBase::~zaProgressDialogBase() = default;

zaProgress& zaProgress::the() {
    static zaProgress progress;
    return progress;
}

void zaProgress::setProgressDialog(std::unique_ptr<zaProgressDialogBase>&& dialog) {
    _dialog = std::move(dialog);
}

bool zaProgress::isActive() const {
    return _dialog && _activeLevel >= 1 && static_cast<unsigned int>(_activeLevel) == _depth;
}

void zaProgress::initProgress(const std::string& text, unsigned int maximum,
                              ProgressVisibility visibility) {
    ++_depth;
    if (_activeLevel > 0) {
        _visibility = Hidden;  // deliberately never restored
        return;
    }
    if (visibility != KeepCurrent) _visibility = visibility;
    if (_visibility != Visible || !_dialog) return;
    _activeLevel = static_cast<int>(_depth);
    _dialog->initProgress(text, maximum);
}

void zaProgress::incrementProgressBy(unsigned int steps) {
    if (isActive()) _dialog->incrementProgressBy(steps);
}

void zaProgress::incrementProgressBy(float amount) {
    if (isActive()) _dialog->incrementProgressBy(amount);
}

void zaProgress::incrementProgress() {
    if (isActive()) _dialog->incrementProgress();
}

void zaProgress::setProgress(float value) {
    if (isActive()) _dialog->setProgress(value);
}

unsigned int zaProgress::progress() {
    return isActive() ? _dialog->progress() : 0;
}

void zaProgress::terminateProgress() {
    // Ends even when the dialog throws.
    struct End {
        zaProgress& progress;
        bool wasActive;
        ~End() {
            if (wasActive) progress._activeLevel = 0;
            --progress._depth;
        }
    } const end{*this, isActive()};
    if (end.wasActive) _dialog->terminateProgress();
}
