#include <cstdint>
#include <ctime>
#include <limits>

#include "zaUtils/Os/Error.h"
#include "zaUtils/Os/ProcessTable.h"
#include "zaUtils/Os/Shell.h"
#include "zaUtils/Os/Text.h"
#include "zaUtils/Platform/zaUtils.h"

namespace {

constexpr std::size_t kMaxErrorLength = 1023;

/// The processor's conversion to 32 bits: what lies out of range gives the lowest number.
std::int32_t truncateTo32Bits(double value) {
    constexpr auto kLowest = std::numeric_limits<std::int32_t>::min();
    const bool fits = value > -2147483649.0 && value < 2147483648.0;
    return fits ? static_cast<std::int32_t>(value) : kLowest;
}

/// The clock as soon as it shows something else than `time`.
std::clock_t tickAfter(std::clock_t time) {
    std::clock_t now;
    do {
        now = std::clock();
    } while (now == time);
    return now;
}

double secondsBetween(std::clock_t start, std::clock_t end) {
    return static_cast<double>(end - start) / CLOCKS_PER_SEC;
}

double sumOfSquares() {
    double sum = 0.0;
    double x = 0.123456789;
    while (x < 1e8) {
        sum += x * x;
        x += 1.0;
    }
    return sum;
}

}  // namespace

std::string zaUtils::getLastError() {
    const za::os::SystemError error = za::os::lastSystemError();
    if (error.code == 0) return {};
    std::string text = " (Error " + std::to_string(error.code) + ": '" + error.text + "')";
    za::os::truncateUtf8(text, kMaxErrorLength);
    return text;
}

void zaUtils::openBrowser(const std::string& target) {
    za::os::openDocument(target);
}

bool zaUtils::findProcess(const std::string& exeName) {
    return za::os::isProgramRunning(exeName);
}

void zaUtils::calcMips(int& mips, int& check) {
    const std::clock_t firstTick = tickAfter(std::clock());
    const std::clock_t afterFirstTick = std::clock();
    const std::clock_t start = tickAfter(std::clock());
    const volatile double sum = sumOfSquares();  // to be done before the clock is read
    const std::clock_t end = std::clock();

    const auto truncated = static_cast<std::uint32_t>(truncateTo32Bits(sum));
    check = static_cast<int>(truncated + 0xA9732580u);
    mips = static_cast<int>(
        200.0 / (secondsBetween(start, end) + secondsBetween(firstTick, afterFirstTick)));
}

void zaUtils::beep() {
    constexpr int kHertz = 523;
    constexpr int kMilliseconds = 500;
    za::os::beep(kHertz, kMilliseconds);
}
