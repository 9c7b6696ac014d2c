// Tells its process id and waits, two threads of it, until its input ends. With an argument it
// prints its own stack instead.

#include <atomic>
#include <cstdio>
#include <thread>

#include "zaUtils/Platform/zaProcessInfo.h"
#include "zaUtils/Platform/zaUtils.h"

namespace {

volatile int g_characters = 0;

[[gnu::noinline]] void waitForTheEnd() {
    while (std::getchar() != EOF)
        ++g_characters;
}

[[gnu::noinline]] void sleepUntilTheEnd(const std::atomic<bool>& ends) {
    while (!ends)
        std::this_thread::yield();
}

}  // namespace

int main(int argc, char**) {
    if (argc > 1) {
        zaUtils::printBTalways();
        return 0;
    }
    static std::atomic<bool> ends{false};
    std::thread sleeper([] { sleepUntilTheEnd(ends); });
    std::printf("%d\n", zaProcessInfo::getpid());
    std::fflush(stdout);
    waitForTheEnd();
    ends = true;
    sleeper.join();
}
