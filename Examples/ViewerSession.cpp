// The session of an imaginary viewer application: it starts as a host of the library does, logs to
// plain, HTML and CSV files while a day ends, runs another program, and shows what is in its
// folders.
//
// usage: ViewerSession SESSION_FOLDER
//
// It is meant to lie in the "bin\WIN64" of an installation. Days pass by a clock of its own, which
// is why this one program of the examples looks behind the library's public interface. Exits with 0
// when everything came out as it should.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Os/Clock.h"
#include "zaUtils/Platform/zaConsole.h"
#include "zaUtils/Platform/zaPlatform.h"
#include "zaUtils/Platform/zaUtils.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kRenderOption = "--render";

std::int64_t g_time = 0;  ///< what the clock of this session shows

void setTime(int day, int hour, int minute, int second) {
    std::tm time{};
    time.tm_year = 2024 - 1900;
    time.tm_mon = 3 - 1;
    time.tm_mday = day;
    time.tm_hour = hour;
    time.tm_min = minute;
    time.tm_sec = second;
    time.tm_isdst = -1;
    g_time = std::mktime(&time);
}

void say(const std::string& text) {
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);  // the log writes past it
}

void expect(bool asItShould, const std::string& outcome) {
    say((asItShould ? "  " : "  NOT AS IT SHOULD BE: ") + outcome);
    if (!asItShould) std::exit(EXIT_FAILURE);
}

fs::path native(const std::string& path) {
    return fs::u8path(zaFile::convertToUnixSeparators(path));
}

/// The folder's files with their sizes.
void list(const std::string& folder) {
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(native(folder)))
        if (entry.is_regular_file()) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    say(folder);
    for (const fs::path& file : files) {
        const std::string name = file.lexically_relative(native(folder)).generic_u8string();
        say("  " + name + ", " + std::to_string(fs::file_size(file)) + " bytes");
    }
}

void initialise(const char* program, const std::string& folder) {
    say("Start-up");
    zaPlatform::init(program);
    zaPlatform::initProduct();
    zaPlatform::setDisplayVersionYearString("2024");
    zaUtils::setenv("VIEWER_LOG_DIR", (folder + "\\logs").c_str());
    say(std::string("  application   ") + zaPlatform::getAppVersionName());
    say(std::string("  installation  ") + zaPlatform::getBaseDir());
    say(std::string("  programs      ") + zaPlatform::getBinDir());
    say(std::string("  data          ") + zaPlatform::getDataDir());
    say(std::string("  preferences   ") + zaPlatform::getPreferencesDir());
    say(std::string("  own data      ") + zaPlatform::getWritableDataDir());
    say(std::string("  scratch       ") + zaFile::getTmpDir());
}

struct LogTarget {
    zaLog::Format format;
    const char* name;
};
constexpr LogTarget kLogs[] = {
    {zaLog::Plain, "viewer.log"}, {zaLog::Html, "viewer.html"}, {zaLog::Csv, "viewer.csv"}};

void logTo(const LogTarget& target) {
    zaLog::setLogFormat(target.format);
    zaLog::setLogFile(target.name);
    expect(zaLog::getLogFile() != nullptr, std::string("logging to ") + target.name);
}

void work(const char* scene) {
    zaLog::info("Scene '%s' loaded, %d objects", scene, 1204);
    zaLog::warning("Texture <%s> is missing", "oak & beech");
    zaLog::error("Couldn't read \"%s\"", u8"Möbel.dat");
}

/// The same application, started twice, on both sides of midnight; the CSV log is also written to
/// while the day ends.
void logOverAChangeOfDay() {
    say("The evening of 6 March");
    setTime(6, 23, 59, 50);
    for (const LogTarget& target : kLogs) {
        logTo(target);
        work("evening");
    }
    say("Midnight passes while the CSV log is in use");
    setTime(7, 0, 0, 5);
    work("night");
    say("Started again in the morning of 7 March");
    setTime(7, 8, 30, 0);
    for (const LogTarget& target : kLogs) {
        logTo(target);
        work("morning");
    }
}

void runAnotherProgram(const std::string& program) {
    say("Another program");
    int calls = 0;
    const auto countCalls = [](unsigned int, void* count) { ++*static_cast<int*>(count); };
    const std::string command = '"' + program + "\" " + kRenderOption;
    const bool succeeded = zaFile::executeW(command, true, countCalls, &calls);
    expect(succeeded && calls >= 2,
           "it ran well, and this one was called back several times meanwhile");
    expect(!zaFile::executeW(command + " badly", true, nullptr, nullptr), "its failure is told");
}

/// Both ways to start when the installation is not where it was said to be.
void showFallbacks(const std::string& programName) {
    say("Fallbacks");
    const std::string installation = zaPlatform::getBaseDir();
    zaPlatform::init(programName.c_str());  // as if found along the search path
    expect(zaPlatform::getBaseDir() == installation,
           std::string("found from the running program: ") + zaPlatform::getBaseDir());
    const std::string nowhere = installation + "\\nowhere";
    zaPlatform::init(nowhere.c_str(), "Viewer");
    expect(std::string("zarn") == zaPlatform::getAppName(), std::string("no installation: ") +
                                                                zaPlatform::getAppName() + " in " +
                                                                zaPlatform::getBaseDir());
}

/// What the other program does: nothing, for half a second.
int render(bool badly) {
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    return badly ? 3 : 0;
}

void writeScratchFile() {
    const std::string scratch = zaFile::getTmpName(zaFile::getTmpDir(), "preview");
    zaFile::write(scratch, "pixels");
    zaFile::addTmpFile(scratch);
    expect(zaFile::exists(scratch), "a scratch file: " + scratch);
    zaFile::removeTmpFiles();
    expect(!zaFile::exists(scratch), "removed again");
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments = zaConsole::getArguments(argc, argv);
    if (arguments.empty()) {
        std::fprintf(stderr, "usage: ViewerSession SESSION_FOLDER\n");
        return EXIT_FAILURE;
    }
    if (arguments[0] == kRenderOption) return render(arguments.size() > 1);

    za::os::exchangeClock([] { return g_time; });
    setTime(6, 23, 59, 0);
    const std::string& folder = arguments[0];
    initialise(argv[0], folder);
    const std::string program =
        std::string(zaPlatform::getExeDir()) + '\\' + zaFile::getFileName(argv[0]);
    logOverAChangeOfDay();
    runAnotherProgram(program);
    writeScratchFile();
    say("Folders");
    const std::string logs = folder + "\\logs";
    list(logs);
    expect(zaFile::exists(logs + "\\viewer.log20240306-235950") &&
               zaFile::exists(logs + "\\viewer.csv20240306-235950") &&
               zaFile::exists(logs + "\\viewer.html00000-000000"),
           "the logs of the evening were set aside");
    showFallbacks(zaFile::getFileName(program));
    return EXIT_SUCCESS;
}
