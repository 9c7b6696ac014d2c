#pragma once

#include <memory>
#include <string>

#include "zaUtils/Api.h"

/// Shows the progress that `zaProgress` is told of; implemented by the application.
class ZAUTILS_API zaProgressDialogBase {
public:
    virtual ~zaProgressDialogBase();

    virtual void initProgress(const std::string& text, unsigned int maximum) = 0;
    virtual void incrementProgressBy(float amount) = 0;
    virtual void incrementProgressBy(unsigned int steps) = 0;
    virtual void incrementProgress() = 0;
    virtual void setProgress(float value) = 0;
    /// The current value.
    virtual unsigned int progress() = 0;
    virtual void terminateProgress() = 0;
};

/// The one progress of the process, counted in steps, that the application's dialog shows.
///
/// Operations may nest: only the one that started the dialog drives it. While it runs, the calls of
/// operations inside it are ignored, as are all calls while there is no dialog.
///
/// Every `initProgress` needs its `terminateProgress`, shown or not; one too many deliberately
/// wraps the depth around.
///
/// Thread safety: `the` is safe; the rest is meant for one thread at a time. Exceptions of the
/// dialog reach the caller.
class ZAUTILS_API zaProgress {
public:
    enum ProgressVisibility : int {
        Hidden = 0,       ///< do not show, nor what asks for KeepCurrent later
        Visible = 1,      ///< show, and what asks for KeepCurrent later
        KeepCurrent = 2,  ///< as asked last
    };

    /// The single instance; it and its dialog are destroyed when the process exits.
    static zaProgress& the();

    zaProgress(const zaProgress&) = delete;
    zaProgress& operator=(const zaProgress&) = delete;

    /// Takes the dialog over; the one before is destroyed once the new one is in place.
    void setProgressDialog(std::unique_ptr<zaProgressDialogBase>&& dialog);

    /// Begins a progress of `maximum` steps. It starts the dialog when none runs and it is to be
    /// visible. Begun while the dialog runs, it is not shown and deliberately leaves the visibility
    /// at Hidden for good: later ones that ask for KeepCurrent stay hidden until one asks for
    /// Visible.
    void initProgress(const std::string& text, unsigned int maximum, ProgressVisibility visibility);

    /// @name Calls to the dialog
    /// Reach the dialog from the progress that started it, and do nothing otherwise.
    /// @{
    void incrementProgressBy(unsigned int steps);
    void incrementProgressBy(float amount);
    void incrementProgress();
    void setProgress(float value);
    /// The dialog's current value; 0 when the dialog is out of reach.
    unsigned int progress();
    /// @}

    /// Ends the progress begun last, and the dialog if that progress started it.
    void terminateProgress();

private:
    zaProgress() = default;
    ~zaProgress() = default;

    bool isActive() const;

    std::unique_ptr<zaProgressDialogBase> _dialog;
    ProgressVisibility _visibility = Visible;
    int _activeLevel = 0;  // the depth at which the dialog was started; 0 when none runs
    unsigned int _depth = 0;
};

/// Advances the progress when the scope is left, however that happens.
class ZAUTILS_API zaProgressIncrementOnScopeExit {
public:
    explicit zaProgressIncrementOnScopeExit(unsigned int steps = 1) : _steps(steps) {}
    /// An exception of the dialog terminates the program.
    ~zaProgressIncrementOnScopeExit() { zaProgress::the().incrementProgressBy(_steps); }

    zaProgressIncrementOnScopeExit(const zaProgressIncrementOnScopeExit&) = delete;
    zaProgressIncrementOnScopeExit& operator=(const zaProgressIncrementOnScopeExit&) = delete;

private:
    unsigned int _steps;
};
