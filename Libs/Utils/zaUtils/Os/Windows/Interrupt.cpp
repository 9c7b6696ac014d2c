#include "zaUtils/Os/Interrupt.h"

#include <atomic>
#include <mutex>

#include "zaUtils/Os/Windows/WindowsApi.h"

namespace za::os {

namespace {

std::mutex g_mutex;
int g_watches = 0;
std::atomic<bool> g_isFirst{false};
std::atomic<OnInterrupt> g_onInterrupt{nullptr};

/// The system asks the handlers from the newest to the oldest until one says that it has done it.
BOOL WINAPI handleInterrupt(DWORD event) {
    if (event != CTRL_C_EVENT || !g_isFirst.exchange(false)) return FALSE;
    g_onInterrupt.load()();
    return TRUE;
}

}  // namespace

InterruptWatch::InterruptWatch(OnInterrupt onInterrupt) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_onInterrupt = onInterrupt;
    g_isFirst = true;
    if (++g_watches == 1) SetConsoleCtrlHandler(handleInterrupt, TRUE);
}

InterruptWatch::~InterruptWatch() {
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (--g_watches == 0) SetConsoleCtrlHandler(handleInterrupt, FALSE);
}

}  // namespace za::os
