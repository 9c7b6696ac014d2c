#pragma once

#include <memory>
#include <string>

#include "zaUtils/Api.h"
#include "zaUtils/Progress/zaProgress.h"
#include "zaUtils/Progress/zaStackedProgress.h"

/// Shows progress on the console, for command-line programs: of the level that it handles, or as
/// the dialog of `zaProgress`.
///
/// ```
/// zaConsoleProgress console;
/// zaStackedProgress work("Loading scene", 10, &console);  // the outermost level alone
/// ```
///
/// On a terminal it is one line, redrawn in place at most 20 times a second and once more at the
/// end, and never wider than the terminal (the text is cut, then the rest goes piece by piece):
///
/// `Loading scene [#########...........]  45%  3.1 %/s  0:18 left`
///
/// Otherwise it is a line at every tenth. The rate is that of the whole time so far, in steps for
/// the dialog and in percents for levels, unless `setWhole` tells more. All goes to standard error,
/// so that the program's output stays its own.
///
/// While something is in progress, the first Ctrl-C requests all operations to stop by
/// `zaStackedProgress::cancelAll`, and a second one ends the program as ever. From the request on
/// the progress shown stands still. (The dialog's progress, too, is asked to stop in this way: look
/// at `zaStackedProgress::s_cancelled`.)
///
/// Not thread-safe: for the progress of one thread.
class ZAUTILS_API zaConsoleProgress : public zaStackedProgress::Handler,
                                      public zaProgressDialogBase {
public:
    /// Where the progress is shown, if not on standard error.
    class ZAUTILS_API Screen {
    public:
        virtual ~Screen();
        /// Whether "\r" leads back to the beginning of the line.
        virtual bool isTerminal() = 0;
        /// Columns; 0 when that is not known.
        virtual int width() = 0;
        /// Writes UTF-8 text at once.
        virtual void write(const std::string& text) = 0;
    };

    zaConsoleProgress();
    /// The screen stays the caller's and must live as long as this object.
    explicit zaConsoleProgress(Screen& screen);
    ~zaConsoleProgress() override;

    zaConsoleProgress(const zaConsoleProgress&) = delete;
    zaConsoleProgress& operator=(const zaConsoleProgress&) = delete;

    /// Shows nothing of what ends within so many seconds. 0 unless told; for what begins
    /// afterwards.
    void setDelay(double seconds);
    /// What the handled level's whole range stands for, to show the rate in: 512.0 of " MB", say.
    void setWhole(double amount, const std::string& unit);
    /// Takes the line off the terminal, so that something else can be written there. It is back
    /// with the next redraw.
    void clear();

    /// @name As the handler of a level
    /// @{
    void startProgress(const std::string& text) override;
    void finishProgress(bool cancelled) override;
    void setProgress(double fraction) override;
    void setProgressState(const std::string& text) override;
    /// @}

    /// @name As the dialog of zaProgress
    /// @{
    void initProgress(const std::string& text, unsigned int maximum) override;
    void incrementProgressBy(float amount) override;
    void incrementProgressBy(unsigned int steps) override;
    void incrementProgress() override;
    void setProgress(float value) override;
    unsigned int progress() override;
    void terminateProgress() override;
    /// @}

private:
    // Every change of the progress is followed by the call above that tells its new state.
    void incrementProgress(double fraction) override;

    class Display;
    std::unique_ptr<Display> _display;
};
