#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <map>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "Support/FaultyFileBackend.h"
#include "Support/LogCapture.h"
#include "Support/ScratchFolder.h"
#include "Support/TestEnvironment.h"
#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Os/Clock.h"
#include "zaUtils/Platform/zaPlatform.h"

namespace {

using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

const std::string kCsvHeader = "Date;Time;Type of Message;Message Number;Description\n";
const std::string kRenameFailed = "zaLog::setLogFile: couldn't rename old log file!\n";
const std::string kNewDay = "create new log file, new day started!\n";

std::atomic<std::int64_t> g_now;

/// A moment in March 2024, local time.
std::int64_t march(int day, int hour, int minute, int second) {
    std::tm parts{};
    parts.tm_year = 124;
    parts.tm_mon = 2;
    parts.tm_mday = day;
    parts.tm_hour = hour;
    parts.tm_min = minute;
    parts.tm_sec = second;
    parts.tm_isdst = -1;
    return std::mktime(&parts);
}

/// The text as a file in text mode stores it.
std::string stored(const std::string& text) {
    if (std::filesystem::path::preferred_separator != '\\') return text;
    std::string result;
    for (const char c : text)
        result += c == '\n' ? std::string("\r\n") : std::string(1, c);
    return result;
}

std::string settingTo(const std::string& path) {
    return "Setting log file to '" + path + "'.\n";
}

/// Starts each test on 7 March 2024 with no log file and all the output captured.
class LogFile : public testing::Test {
protected:
    LogFile() : _clock(za::os::exchangeClock([] { return g_now.load(); })) {
        g_now = march(7, 9, 5, 1);
        zaPlatform::setAppName("Viewer");
        CaptureStdout();
        CaptureStderr();
    }
    ~LogFile() override {
        console();
        GetCapturedStdout();
        GetCapturedStderr();
        zaLog::_log_file.clear();
        za::os::exchangeClock(_clock);
    }

    /// What came to standard output and standard error since the last call, a '|' between them.
    static std::string console() {
        const std::string out = GetCapturedStdout();
        std::string text = out + "|" + GetCapturedStderr();
        CaptureStdout();
        CaptureStderr();
        return text;
    }

    /// A log file of the format in use over one that holds `content`.
    void set(const std::string& content) {
        folder.make("app.log", content);
        zaLog::setLogFile(folder.path("app.log").c_str());
    }

    ScratchFolder folder;
    LogCapture callbacks;

private:
    za::os::Clock _clock;
};

TEST_F(LogFile, PlainAndHtmlLayoutsAreExact) {
    zaLog::setLogFormat(zaLog::Plain);
    zaLog::setLogFile(folder.path("plain").c_str());
    EXPECT_EQ(zaLog::getLogFile(), folder.path("plain"));
    zaLog::warning("Disk almost full\n");
    EXPECT_EQ(folder.content("plain"), stored("2024-03-07 09:05:01 WARN 200 Disk almost full\n"));

    zaLog::setLogFormat(zaLog::Html);
    const std::string dashes = "<font color=\"#b40000\">" + std::string(52, '-') + "</font><br>";
    const std::string head =
        "<head><style type=\"text/css\">span { white-space: pre-wrap;}</style>"
        "</head><br><p align=\"middle\">" +
        dashes + "<font color=\"#b40000\">Log file from 07.03.2024 09:05:01" + "</font><br>" +
        dashes + "</p>\n";
    const std::string line =
        "<span style=\"color:#008c00;\">2024-03-07 09:05:01 a&#60;b</span><br>\n";
    zaLog::setLogFile(folder.path("html").c_str());
    zaLog::info("a<b");
    EXPECT_EQ(folder.content("html"), stored(head + line));

    // An HTML log is deliberately always set aside, and reused when that fails.
    zaLog::setLogFile(folder.path("html").c_str());
    EXPECT_EQ(folder.content("html00000-000000"), stored(head + line));
    EXPECT_EQ(folder.content("html"), stored(head));
    console();
    zaLog::setLogFile(folder.path("html").c_str());
    EXPECT_EQ(console(), settingTo(folder.path("html")) + "|" + kRenameFailed);
    EXPECT_EQ(folder.content("html"), stored(head + head));
}

TEST_F(LogFile, AFileOfAnotherDayIsSetAsideUnderTheTimeOfItsFirstEntry) {
    const struct {
        int format;
        std::string content;
        const char* suffix;  // empty: the file is kept
    } kCases[] = {
        {zaLog::Plain, "2024-03-06 08:00:00 INFO 100 x\n", "20240306-080000"},
        {zaLog::Plain, "2024-03-07 00:00:00 INFO 100 x\n", ""},
        {zaLog::Plain, "2024-3-7", ""},  // what was read counts
        {zaLog::Plain, "2024-03-07x", ""},
        {zaLog::Plain, "2023-03-07 23:59:59 ", "20230307-235959"},
        {zaLog::Plain, "2024-02-07 00:00:00 ", "20240207-000000"},
        {zaLog::Plain, "", "00000-000000"},
        {zaLog::Plain, "\n\ngarbage", "00000-000000"},
        {zaLog::Plain, "2024-04", "20240400-000000"},
        {zaLog::Plain, "2024-040-07", "20240400-000000"},  // two characters at most
        {zaLog::Plain, "\r\n\t+2024-\v 4-\f-5 6:+7:08", "202404-5-060708"},
        {zaLog::Plain, "-3--3-07 -:", "-3-307-000000"},
        {zaLog::Plain, "2024-- 3-07", "20240000-000000"},
        {zaLog::Plain, "99999999999-01-02 03:04:05", "12157521910102-030405"},
        {zaLog::Plain, "99999999999999999999-01-02", "-10102-000000"},
        {zaLog::Plain, std::string(5000, ' ') + std::string(5000, '0') + "2024-03-06 1:2:3",
         "20240306-010203"},
        {zaLog::Html, "2024-03-06 08:00:00 ", "20240306-080000"},
        {zaLog::Csv, kCsvHeader + "06.03.2024;08:00:00;INFO;100;x\n", "20240306-080000"},
        {zaLog::Csv, kCsvHeader + "07.03.2024;08:00:00;INFO;100;x\n", ""},
        {zaLog::Csv, "any header\r\n\r\n6.3.2024;", "20240306-000000"},
        {zaLog::Csv, kCsvHeader, "00000-000000"},
        {zaLog::Csv, "", "00000-000000"},
        // 1023 bytes of the first line are skipped.
        {zaLog::Csv, std::string(1022, 'x') + "\n06.03.2024;", "20240306-000000"},
        {zaLog::Csv, std::string(1023, 'x') + "06.03.2024;", "20240306-000000"},
        {zaLog::Csv, std::string(1024, 'x') + "06.03.2024;", "00000-000000"},
        {zaLog::Csv, std::string(1023, 'x') + "\n06.03.2024;", "20240306-000000"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.content.substr(0, 60) + " -> " + c.suffix);
        const ScratchFolder own;
        zaLog::setLogFormat(c.format);
        zaLog::setLogFile(own.make("app.log", c.content).c_str());
        EXPECT_EQ(own.content(std::string("app.log") + c.suffix), c.content);
        EXPECT_EQ(own.entries(), *c.suffix ? 2u : 1u);
        if (*c.suffix && c.format == zaLog::Plain) {
            EXPECT_EQ(own.content("app.log"), "");
        }
    }
}

TEST_F(LogFile, AnOldFileWhoseNewNameIsTakenIsKept) {
    zaLog::setLogFormat(zaLog::Plain);
    folder.make("app.log20240306-080000", "taken");
    set("2024-03-06 08:00:00 old\n");
    EXPECT_EQ(console(), settingTo(folder.path("app.log")) + "|" + kRenameFailed);
    zaLog::info("new");
    EXPECT_EQ(folder.content("app.log"),
              "2024-03-06 08:00:00 old\n" + stored("2024-03-07 09:05:01 INFO 100 new\n"));
    EXPECT_EQ(folder.content("app.log20240306-080000"), "taken");
}

TEST_F(LogFile, AVariableNamedLikeTheApplicationGivesTheDirectory) {
    zaLog::setLogFormat(zaLog::Plain);
    const auto fileFor = [&](const std::string& value) {
        const TestVariable variable("VIEWER_LOG_DIR", value);
        zaLog::setLogFile((folder.path("elsewhere") + "/app.log").c_str());
        return zaLog::getLogFile() ? zaLog::getLogFile() : "none, " + LogCapture::messages().back();
    };
    EXPECT_EQ(fileFor(folder.path("deep\\er")), folder.path("deep\\er\\app.log"));
    EXPECT_TRUE(folder.has("deep/er/app.log"));
    // The separator is deliberately added to one that is there.
    EXPECT_EQ(fileFor(folder.path("deep\\")), folder.path("deep\\\\app.log"));
    EXPECT_TRUE(folder.has("deep/app.log"));

    const std::string unset =
        "none, E Couldn't create log file '" + folder.path("elsewhere") + "/app.log'!";
    EXPECT_EQ(fileFor(""), unset);
    std::string longest = folder.path();
    while (longest.size() < 2046)
        longest += "\\.";
    longest += std::string(2047 - longest.size(), '\\');
    EXPECT_EQ(fileFor(longest), longest + "\\app.log");
    EXPECT_EQ(fileFor(longest + "\\"), unset);

    // A folder that cannot be made shows when the file is opened.
    const std::string inAFile = folder.make("file", "") + "\\sub";
    EXPECT_EQ(fileFor(inAFile), "none, E Couldn't create log file '" + inAFile + "\\app.log'!");
}

TEST_F(LogFile, AFileThatCannotBeOpenedIsReportedAndNotUsed) {
    std::filesystem::create_directories(folder.native("dir/below"));
    for (const int format : {zaLog::Plain, zaLog::Html, zaLog::Csv}) {
        for (const char* name : {"missing\\app.log", "dir"}) {
            SCOPED_TRACE(std::to_string(format) + name);
            zaLog::setLogFormat(format);
            set("");
            console();
            const std::string path = folder.path(name);
            const std::string error = "Couldn't create log file '" + path + "'!";
            std::string expected = settingTo(path) + "|";
            if (format == zaLog::Csv && *name == 'm') {
                expected += "zaLog::writeCSVHeader: couldn't write log file '";
                expected += path + "'!\n";
            }
            expected += error + "\n";
            zaLog::setLogFile(path.c_str());
            EXPECT_EQ(zaLog::getLogFile(), nullptr);
            EXPECT_EQ(LogCapture::messages().back(), "E " + error);
            EXPECT_EQ(console(), expected);
        }
    }
    EXPECT_TRUE(folder.has("dir/below"));
}

TEST_F(LogFile, AnExceptionFromTheErrorCallbackLeavesTheLogUsable) {
    zaLog::setLogFormat(zaLog::Plain);
    set("");
    zaLog::setErrorCB([](const char*) { throw std::runtime_error("from the callback"); });
    EXPECT_THROW(zaLog::setLogFile(folder.path("a\\b").c_str()), std::runtime_error);
    EXPECT_EQ(zaLog::getLogFile(), nullptr);
    zaLog::setErrorCB(nullptr);
    set("");
    zaLog::error("again");
    EXPECT_EQ(folder.content("app.log"), stored("2024-03-07 09:05:01 ERROR 300 again\n"));
}

TEST_F(LogFile, ACsvLogBeginsAnewWithTheFirstMessageOfADay) {
    zaLog::setLogFormat(zaLog::Csv);
    const std::string path = folder.path("app.csv");
    zaLog::setLogFile(path.c_str());
    EXPECT_EQ(folder.content("app.csv"), stored(kCsvHeader));
    zaLog::info("one");
    zaLog::info("two");
    EXPECT_EQ(console(), settingTo(path) + "one\n" + kNewDay + settingTo(path) + "two\n|");
    const std::string first =
        kCsvHeader + "07.03.2024;09:05:01;INFO;100;one\n" + "07.03.2024;09:05:01;INFO;100;two\n";
    EXPECT_EQ(folder.content("app.csv00000-000000"), stored(kCsvHeader));
    EXPECT_EQ(folder.content("app.csv"), stored(first));

    g_now = march(8, 0, 0, 0);
    zaLog::error("three");
    EXPECT_EQ(folder.content("app.csv20240307-090501"), stored(first));
    EXPECT_EQ(folder.content("app.csv"),
              stored(kCsvHeader + "08.03.2024;00:00:00;ERROR;300;three\n"));
}

TEST_F(LogFile, ARollOverThatCannotReopenSaysSoOnStandardErrorAlone) {
    zaLog::setLogFormat(zaLog::Csv);
    set(kCsvHeader + "07.03.2024;08:00:00;\n");
    g_now = march(8, 0, 0, 0);
    const std::string inAFile = folder.path("app.log\\sub");
    const TestVariable variable("VIEWER_LOG_DIR", inAFile);
    console();
    zaLog::info("lost");
    zaLog::info("next");
    const std::string path = inAFile + "\\app.log";
    EXPECT_EQ(console(), "lost\n" + kNewDay + settingTo(path) +
                             "next\n|zaLog::writeCSVHeader: couldn't write log file '" + path +
                             "'!\nCouldn't create log file '" + path + "'!\n");
    EXPECT_EQ(zaLog::getLogFile(), nullptr);
    EXPECT_EQ(LogCapture::messages(), (std::vector<std::string>{"I lost", "I next"}));
}

TEST_F(LogFile, NoFailingCallLosesWhatIsInTheFile) {
    const std::string old = kCsvHeader + "06.03.2024;08:00:00;INFO;100;old\n";
    for (const int format : {zaLog::Plain, zaLog::Html, zaLog::Csv}) {
        zaLog::setLogFormat(format);
        for (int call = 1, failed = 1; failed; ++call) {
            SCOPED_TRACE(std::to_string(format) + ", call " + std::to_string(call));
            const ScratchFolder own;
            own.make("app.log", old);
            FaultyFileBackend backend;
            backend.failCall(call, call % 2 ? ENOSPC : EACCES);
            zaLog::setLogFile(own.path("app.log").c_str());
            zaLog::info("one");
            zaLog::info("two");
            failed = backend.hasFailed();
            EXPECT_EQ(backend.openFiles(), 0);
            const bool isReported = console().find("Couldn't create log file") != std::string::npos;
            EXPECT_EQ(zaLog::getLogFile() == nullptr, isReported);
            std::string all;
            for (const auto& entry : std::filesystem::directory_iterator(own.native(".")))
                all += own.content(entry.path().filename().u8string());
            EXPECT_NE(all.find(old), std::string::npos);
            const bool hasBoth =
                all.find("one") != std::string::npos && all.find("two") != std::string::npos;
            EXPECT_TRUE(hasBoth || failed);
        }
    }
}

TEST_F(LogFile, ThreadsThatLogAcrossMidnightLoseNoRow) {
    constexpr int kThreads = 4;
    constexpr int kRows = 200;
    zaLog::setLogFormat(zaLog::Csv);
    zaLog::setInfoCB(nullptr);
    set("");
    g_now = march(7, 23, 59, 50);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kRows; ++i, i % 20 ? 0 : ++g_now)
                zaLog::info("thread %d row %d", t, i);
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    std::map<std::string, int> rows;
    for (const auto& entry : std::filesystem::directory_iterator(folder.native("."))) {
        std::istringstream content(folder.content(entry.path().filename().u8string()));
        for (std::string row; std::getline(content, row);)
            ++rows[row.substr(row.rfind(';') + 1, row.find('\r') - row.rfind(';') - 1)];
    }
    for (int i = 0; i < kThreads * kRows; ++i) {
        const std::string text =
            "thread " + std::to_string(i / kRows) + " row " + std::to_string(i % kRows);
        EXPECT_EQ(rows[text], 1) << text;
    }
    EXPECT_TRUE(folder.has("app.log"));
    EXPECT_GT(folder.entries(), 2u);
}

}  // namespace
