// Whatever a log file begins with, the time of its first entry is what the C library's fgets and
// fscanf read from it, and the file is set aside whole under that time or kept.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "Fuzzing.h"
#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Os/Clock.h"

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kNow = 1709802301;  // a second in March 2024

fs::path folder() {
    static const fs::path path = fs::temp_directory_path() / "zaUtils log file fuzzer";
    return path;
}

struct Entry {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
};

Entry firstEntry(std::string content, int format) {
    Entry e;
    if (content.empty()) return e;
    std::FILE* file = ::fmemopen(content.data(), content.size(), "r");
    if (format == zaLog::Csv) {
        char header[1024];
        if (std::fgets(header, sizeof header, file)) {
            static_cast<void>(std::fscanf(file, "%02d.%02d.%d;%02d:%02d:%02d;", &e.day, &e.month,
                                          &e.year, &e.hour, &e.minute, &e.second));
        }
    } else {
        static_cast<void>(std::fscanf(file, "%d-%02d-%02d %02d:%02d:%02d ", &e.year, &e.month,
                                      &e.day, &e.hour, &e.minute, &e.second));
    }
    std::fclose(file);
    return e;
}

/// The name under which the file's content is to be found.
std::string expectedName(const Entry& e) {
    const za::os::LocalTime now = za::os::localTimeNow();
    if (e.year == now.year && e.month == now.month && e.day == now.day) return "log";
    char suffix[96];
    std::snprintf(suffix, sizeof suffix, "%d%02d%02d-%02d%02d%02d", e.year, e.month, e.day, e.hour,
                  e.minute, e.second);
    return std::string("log") + suffix;
}

std::string readFile(const std::string& name) {
    std::ifstream file(folder() / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

int LLVMFuzzerInitialize(int*, char***) {
    za::os::exchangeClock([] { return kNow; });
    return std::freopen("/dev/null", "w", stdout) ? 0 : 1;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return -1;
    const int format = data[0] % 2 ? zaLog::Plain : zaLog::Csv;
    const std::string content(reinterpret_cast<const char*>(data + 1), size - 1);
    fs::remove_all(folder());
    fs::create_directories(folder());
    std::ofstream(folder() / "log", std::ios::binary) << content;

    zaLog::setLogFormat(format);
    zaLog::setLogFile((folder() / "log").u8string().c_str());
    const std::string name = expectedName(firstEntry(content, format));
    require(readFile(name) == content, "the file lies whole under the time of its first entry");
    const auto files = std::distance(fs::directory_iterator(folder()), {});
    require(files == (name == "log" ? 1 : 2), "no other file was made");
    return 0;
}
