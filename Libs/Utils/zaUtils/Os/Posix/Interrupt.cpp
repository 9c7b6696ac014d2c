#include "zaUtils/Os/Interrupt.h"

#include <signal.h>

#include <atomic>
#include <cerrno>
#include <mutex>

namespace za::os {

namespace {

std::mutex g_mutex;
int g_watches = 0;
struct sigaction g_before {};
std::atomic<OnInterrupt> g_onInterrupt{nullptr};

extern "C" void zaUtilsHandleInterrupt(int) {
    const int reason = errno;
    ::sigaction(SIGINT, &g_before, nullptr);
    g_onInterrupt.load()();
    errno = reason;
}

struct sigaction current() {
    struct sigaction action {};
    ::sigaction(SIGINT, nullptr, &action);
    return action;
}

}  // namespace

InterruptWatch::InterruptWatch(OnInterrupt onInterrupt) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    ++g_watches;
    g_onInterrupt = onInterrupt;
    const struct sigaction before = current();
    if (before.sa_handler == SIG_IGN || before.sa_handler == zaUtilsHandleInterrupt) return;
    g_before = before;
    struct sigaction ours {};
    ours.sa_handler = zaUtilsHandleInterrupt;
    ours.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &ours, nullptr);
}

InterruptWatch::~InterruptWatch() {
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (--g_watches > 0) return;
    // Not if an interrupt did it already, or if somebody else took over since.
    if (current().sa_handler == zaUtilsHandleInterrupt) ::sigaction(SIGINT, &g_before, nullptr);
}

}  // namespace za::os
