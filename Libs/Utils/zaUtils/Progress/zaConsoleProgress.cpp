#include "zaUtils/Progress/zaConsoleProgress.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

#include "zaUtils/Os/Console.h"
#include "zaUtils/Os/Interrupt.h"
#include "zaUtils/Os/SteadyClock.h"
#include "zaUtils/Os/TextWidth.h"

using za::os::Stream;

namespace {

constexpr std::int64_t kRedrawNanoseconds = 1'000'000'000 / 20;
constexpr int kUnknownWidth = 80;
constexpr int kShortestBar = 10;
constexpr int kLongestBar = 30;
constexpr int kShortestLabel = 12;  // unless the whole text is shorter

class StandardError : public zaConsoleProgress::Screen {
public:
    bool isTerminal() override { return za::os::isTerminal(Stream::Error); }
    int width() override { return za::os::consoleWidth(Stream::Error); }
    void write(const std::string& text) override {
        if (za::os::writeToConsole(Stream::Error, za::os::Colour::Unchanged, text)) return;
        za::os::writeToStream(Stream::Error, text);
    }
};

/// NaN counts as nothing done.
double withinUnit(double fraction) {
    return fraction > 0.0 ? std::min(fraction, 1.0) : 0.0;
}

/// Rounded down, but not by what many additions have lost.
int percentOf(double fraction) {
    return static_cast<int>(fraction * 100.0 + 1e-9);
}

std::string padded(const std::string& text, std::size_t width) {
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

/// "0:42", "1:02:03"; empty when that is too long to be of use.
std::string durationText(double seconds) {
    if (!(seconds < 360000.0)) return "";
    const int total = static_cast<int>(std::lround(seconds));
    const auto twoDigits = [](int value) {
        return std::string(value < 10 ? ":0" : ":") + std::to_string(value);
    };
    if (total < 3600) return std::to_string(total / 60) + twoDigits(total % 60);
    return std::to_string(total / 3600) + twoDigits(total / 60 % 60) + twoDigits(total % 60);
}

/// One digit behind the point, which is a point everywhere; empty for numbers out of all bounds.
std::string rateText(double rate, const std::string& unit) {
    char digits[32];
    if (!(rate < 1e12)) return "";
    const auto end =
        std::to_chars(digits, digits + sizeof digits, rate, std::chars_format::fixed, 1);
    return std::string(digits, end.ptr) + unit + "/s";
}

/// What a line tells.
struct Line {
    std::string label;
    double fraction;
    std::string rate;  // may be empty
    std::string time;  // may be empty
};

std::string barText(double fraction, int length) {
    const auto done = static_cast<std::size_t>(fraction * length + 1e-9);
    return '[' + std::string(done, '#') +
           std::string(static_cast<std::size_t>(length) - done, '.') + ']';
}

/// The line with this end, if that leaves room for a bar and some of the label.
std::optional<std::string> layOut(const Line& line, const std::string& end, int columns) {
    const int labelWidth = za::os::textWidth(line.label);
    const int separators = labelWidth > 0 ? 2 : 1;
    const int room = columns - static_cast<int>(end.size()) - separators - 2;  // two brackets
    const int label = std::min(labelWidth, std::max(kShortestLabel, room - kShortestBar));
    if (room - label < kShortestBar) return {};
    const std::string bar = barText(line.fraction, std::min(room - label, kLongestBar));
    const std::string text = za::os::fitColumns(line.label, label);
    return (text.empty() ? "" : text + ' ') + bar + ' ' + end;
}

/// A line of at most so many columns. What matters least goes first: the rate, the time, the bar,
/// the label.
std::string compose(const Line& line, int columns) {
    const std::string percent = padded(std::to_string(percentOf(line.fraction)) + '%', 4);
    const std::string time = line.time.empty() ? "" : "  " + line.time;
    const std::string rate = line.rate.empty() ? "" : "  " + line.rate;
    const std::string ends[] = {percent + rate + time, percent + time, percent};
    for (const std::string& end : ends) {
        if (const auto text = layOut(line, end, columns)) return *text;
    }
    const std::string label = za::os::fitColumns(line.label, columns - 5);
    return za::os::fitColumns(label.empty() ? percent : label + ' ' + percent, columns);
}

}  // namespace

zaConsoleProgress::Screen::~Screen() = default;

/// The progress of one operation and how it is shown.
class zaConsoleProgress::Display {
public:
    explicit Display(Screen* screen) : _screen(screen ? *screen : _standardError) {}

    /// A whole of so many of a unit is done at `maximum`.
    void start(const std::string& label, double maximum, double whole, const std::string& unit);
    void setLabel(const std::string& label);
    void setValue(double value);
    void finish(bool cancelled);
    void clear();

    double value() const { return _value; }

    int levels = 0;  // handled at the same time
    double delay = 0.0;
    double levelWhole = 100.0;  // of the unit
    std::string levelUnit = " %";

private:
    double secondsSoFar() const {
        return static_cast<double>(za::os::steadyNanoseconds() - _start) * 1e-9;
    }
    bool isTooSoon() const { return delay > 0.0 && secondsSoFar() < delay; }
    void show();
    void redraw(const std::string& time, const char* end);
    void writeTenth();
    std::string rate() const;
    std::string timeLeft() const;

    StandardError _standardError;
    Screen& _screen;
    std::optional<za::os::InterruptWatch> _watch;  // while something is in progress

    std::string _label;
    double _value = 0.0;
    double _maximum = 1.0;
    double _fraction = 0.0;  // shown, from 0 to 1
    double _whole = 1.0;
    std::string _unit;
    std::int64_t _start = 0;

    bool _isTerminal = false;
    std::int64_t _lastRedraw = 0;
    std::string _lastLine;
    int _lastTenth = 0;
};

void zaConsoleProgress::Display::start(const std::string& label, double maximum, double whole,
                                       const std::string& unit) {
    _watch.emplace(zaStackedProgress::cancelAll);
    _label.clear();
    _value = 0.0;
    _maximum = maximum;
    _fraction = 0.0;
    _whole = whole;
    _unit = unit;
    _start = za::os::steadyNanoseconds();
    _isTerminal = _screen.isTerminal();
    _lastRedraw = _start - kRedrawNanoseconds;
    _lastLine.clear();
    _lastTenth = 0;
    setLabel(label);
}

void zaConsoleProgress::Display::setLabel(const std::string& label) {
    if (label.empty()) return;  // the last thing that a level says before it ends
    std::string oneLine;
    for (const char c : label) {
        if (c == '\n') {
            oneLine += " - ";
        } else {
            oneLine += c;
        }
    }
    _label = za::os::fitColumns(oneLine, std::numeric_limits<int>::max());
    show();
}

void zaConsoleProgress::Display::setValue(double value) {
    _value = value;
    // When a level ends, it is completed even if it was cancelled: that is not to be seen.
    if (!zaStackedProgress::s_cancelled) _fraction = withinUnit(value / _maximum);
    show();
}

void zaConsoleProgress::Display::show() {
    if (!_watch || isTooSoon()) return;
    if (!_isTerminal) {
        writeTenth();
        return;
    }
    const std::int64_t now = za::os::steadyNanoseconds();
    if (now - _lastRedraw < kRedrawNanoseconds) return;
    _lastRedraw = now;
    redraw(timeLeft(), "");
}

void zaConsoleProgress::Display::redraw(const std::string& time, const char* end) {
    const int width = _screen.width();
    const int columns = std::max((width > 0 ? width : kUnknownWidth) - 1, 1);
    std::string line = compose({_label, _fraction, rate(), time}, columns);
    if (line == _lastLine && *end == '\0') return;
    // Blanks over what is left of a longer line before.
    const int left = std::min(za::os::textWidth(_lastLine), columns) - za::os::textWidth(line);
    const std::string blanks(static_cast<std::size_t>(std::max(left, 0)), ' ');
    _screen.write('\r' + line + blanks + end);
    _lastLine = std::move(line);
}

void zaConsoleProgress::Display::writeTenth() {
    const int tenth = percentOf(_fraction) / 10;
    if (tenth <= _lastTenth || tenth == 10) return;  // the last one comes at the end
    _lastTenth = tenth;
    const std::string prefix = _label.empty() ? "" : _label + ": ";
    _screen.write(prefix + std::to_string(10 * tenth) + "%\n");
}

std::string zaConsoleProgress::Display::rate() const {
    const double seconds = secondsSoFar();
    if (!(seconds > 0.0) || _fraction == 0.0) return "";
    return rateText(_fraction * _whole / seconds, _unit);
}

std::string zaConsoleProgress::Display::timeLeft() const {
    if (_fraction == 0.0) return "";
    const std::string left = durationText(secondsSoFar() * (1.0 - _fraction) / _fraction);
    return left.empty() ? "" : left + " left";
}

void zaConsoleProgress::Display::finish(bool cancelled) {
    if (!_watch) return;
    _watch.reset();
    if (isTooSoon()) return;
    const std::string time = cancelled ? "cancelled" : "in " + durationText(secondsSoFar());
    if (_isTerminal) {
        redraw(time, "\n");
        _lastLine.clear();
        return;
    }
    const std::string prefix = _label.empty() ? "" : _label + ": ";
    _screen.write(prefix + std::to_string(percentOf(_fraction)) + "% " + time + '\n');
}

void zaConsoleProgress::Display::clear() {
    if (_lastLine.empty()) return;
    const int width = za::os::textWidth(_lastLine);
    _screen.write('\r' + std::string(static_cast<std::size_t>(width), ' ') + '\r');
    _lastLine.clear();
}

zaConsoleProgress::zaConsoleProgress() : _display(std::make_unique<Display>(nullptr)) {}

zaConsoleProgress::zaConsoleProgress(Screen& screen)
    : _display(std::make_unique<Display>(&screen)) {}

zaConsoleProgress::~zaConsoleProgress() = default;

void zaConsoleProgress::setDelay(double seconds) {
    _display->delay = seconds;
}

void zaConsoleProgress::setWhole(double amount, const std::string& unit) {
    _display->levelWhole = amount;
    _display->levelUnit = unit;
}

void zaConsoleProgress::clear() {
    _display->clear();
}

void zaConsoleProgress::startProgress(const std::string& text) {
    if (_display->levels++ == 0)
        _display->start(text, 1.0, _display->levelWhole, _display->levelUnit);
}

void zaConsoleProgress::finishProgress(bool cancelled) {
    if (--_display->levels == 0) _display->finish(cancelled);
}

void zaConsoleProgress::setProgress(double fraction) {
    _display->setValue(fraction);
}

void zaConsoleProgress::setProgressState(const std::string& text) {
    _display->setLabel(text);
}

void zaConsoleProgress::incrementProgress(double) {}

void zaConsoleProgress::initProgress(const std::string& text, unsigned int maximum) {
    // Without a level nobody else withdraws an old request to stop.
    if (zaStackedProgress::s_count == 0) zaStackedProgress::s_cancelled = false;
    _display->start(text, maximum, maximum, "");
}

void zaConsoleProgress::incrementProgressBy(float amount) {
    _display->setValue(_display->value() + static_cast<double>(amount));
}

void zaConsoleProgress::incrementProgressBy(unsigned int steps) {
    _display->setValue(_display->value() + steps);
}

void zaConsoleProgress::incrementProgress() {
    _display->setValue(_display->value() + 1.0);
}

void zaConsoleProgress::setProgress(float value) {
    _display->setValue(static_cast<double>(value));
}

unsigned int zaConsoleProgress::progress() {
    constexpr double kLargest = 4294967295.0;
    const double value = _display->value();
    return value > 0.0 ? static_cast<unsigned int>(std::min(value, kLargest)) : 0;
}

void zaConsoleProgress::terminateProgress() {
    _display->finish(zaStackedProgress::s_cancelled);
}
