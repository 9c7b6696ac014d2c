// Shows its progress on the console until it is done or asked to stop; if asked, it then waits for
// an interrupt with its usual effect. Run by console_progress_test.py.
//
// usage: ConsoleProgressProbe SECONDS

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "zaUtils/Progress/zaConsoleProgress.h"

int main(int argc, char** argv) {
    const std::chrono::duration<double> seconds(argc > 1 ? std::atof(argv[1]) : 1.0);
    zaConsoleProgress console;
    bool isCancelled = false;
    {
        zaStackedProgress work(u8"Working on 日本 with a label that is much too long to fit", 100,
                               &console);
        for (int i = 0; i < 100 && !isCancelled; ++i) {
            std::this_thread::sleep_for(seconds / 100);
            work.incrementBy(1);
            isCancelled = work.cancelled();
        }
    }
    std::puts(isCancelled ? "asked to stop" : "done");
    std::fflush(stdout);
    if (isCancelled) {
        std::this_thread::sleep_for(seconds);
        std::puts("survived");
    }
}
