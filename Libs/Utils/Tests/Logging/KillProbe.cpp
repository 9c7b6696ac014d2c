// Logs numbered lines from several threads until it is killed. For each call that has returned, the
// thread adds a byte to a file of its own, which outlives the process. All files lie in the working
// directory.

#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "zaUtils/Logging/zaLog.h"

namespace {

constexpr int kThreads = 4;

void logForEver(int thread) {
    std::FILE* acknowledged = std::fopen(("thread" + std::to_string(thread)).c_str(), "wb");
    if (!acknowledged) return;
    std::setvbuf(acknowledged, nullptr, _IONBF, 0);
    for (int line = 0;; ++line) {
        zaLog::info("thread %d line %d ends here", thread, line);
        if (std::fputc('.', acknowledged) == EOF) return;
    }
}

}  // namespace

int main() {
    zaLog::setLogFormat(zaLog::Plain);
    zaLog::setLogFile("killed.log");
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back(logForEver, i);
    for (std::thread& thread : threads)
        thread.join();
    return 1;
}
