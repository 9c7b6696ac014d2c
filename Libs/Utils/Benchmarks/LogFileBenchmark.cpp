// Messages to a plain log file, beside the least that any writer must do which has the line already
// and, like the log, opens and closes the file for each line.

#include <cstdio>
#include <fstream>
#include <string>

#include "Benchmark.h"
#include "zaUtils/Logging/zaLog.h"

namespace {

constexpr int kLines = 10;

void logLines() {
    for (int i = 0; i < kLines; ++i)
        zaLog::info("Scene %s loaded in %d ms", "engine-block", 4711);
}

void appendLines(const std::string& path, const std::string& line) {
    for (int i = 0; i < kLines; ++i) {
        std::FILE* file = std::fopen(path.c_str(), "a");
        if (!file) return;
        std::fwrite(line.data(), 1, line.size(), file);
        std::fclose(file);
    }
}

std::string firstLine(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line + '\n';
}

}  // namespace

int main() {
    const BenchmarkFolder folder;
    zaLog::setLogFormat(zaLog::Plain);
    zaLog::setLogFile(folder.path("zaLog.log").c_str());
    logLines();
    const std::string line = firstLine(folder.path("zaLog.log"));
    const std::string peer = folder.path("peer.log");
    compare({"A message to a plain log file, which is opened and closed for each line",
             "line",
             kLines,
             {{"zaLog::info, console to the null device", logLines},
              {"fopen(\"a\"), fwrite, fclose of that line", [&] { appendLines(peer, line); }}}});
}
