#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <iomanip>
#include <limits>
#include <sstream>
#include <streambuf>
#include <thread>

#include "Support/LogCapture.h"
#include "Support/ScratchFolder.h"
#include "zaUtils/Logging/zaLog.h"
#include "zaUtils/Os/Clock.h"

/// Opens the log's private members to its tests.
struct zaLogTestAccess {
    static void colorOutput(int type, const char* msg) { zaLog::colorOutput(type, msg); }
};

namespace {

using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

constexpr std::int64_t kMoment = 1709802301;  // a second in March 2024

/// The moment in local time, written by the standard library.
std::string stamp(const char* format) {
    const std::time_t time = kMoment;
    std::ostringstream text;
    text << std::put_time(std::localtime(&time), format);
    return text.str();
}

const std::string& plainStamp() {
    static const std::string text = stamp("%Y-%m-%d %H:%M:%S ");
    return text;
}

/// Starts each test with the log's first state, a string that collects the lines, and a clock that
/// stands still.
class Log : public testing::Test {
protected:
    Log() : _clock(za::os::exchangeClock([] { return kMoment; })) {
        reset();
        zaLog::enableOutputBuffer(lines);
        CaptureStdout();
        CaptureStderr();
    }
    ~Log() override {
        if (_captures) {
            GetCapturedStdout();
            GetCapturedStderr();
        }
        reset();
        za::os::exchangeClock(_clock);
    }

    static void reset() {
        zaLog::setEnabled(true);
        zaLog::setLogFormat(zaLog::Html);
        zaLog::_add_time_stamp = true;
        zaLog::_nr = 0;
        zaLog::_log_file.clear();
        zaLog::disableOutputBuffer();
        zaLog::disableOutputStream();
        zaLog::clearLastError();
    }

    /// What came to standard output and standard error, a '|' between them.
    std::string console() {
        _captures = false;
        const std::string out = GetCapturedStdout();
        return out + "|" + GetCapturedStderr();
    }

    std::string take() {
        std::string result;
        result.swap(lines);
        return result;
    }

    std::string lines;
    LogCapture callbacks;

private:
    za::os::Clock _clock;
    bool _captures = true;
};

TEST_F(Log, PlainLinesCarryTimeKindNumberAndText) {
    zaLog::setLogFormat(zaLog::Plain);
    zaLog::info("Scene %s, %d%%", "loaded", 5);
    EXPECT_EQ(take(), plainStamp() + "INFO 100 Scene loaded, 5%\n");
    zaLog::warning("Disk almost full");
    EXPECT_EQ(take(), plainStamp() + "WARN 200 Disk almost full\n");
    zaLog::error("Cannot read file\n");
    EXPECT_EQ(take(), plainStamp() + "ERROR 300 Cannot read file\n");

    zaLog::_add_time_stamp = false;
    zaLog::info("bare");
    EXPECT_EQ(take(), "bare\n");
}

TEST_F(Log, CsvLinesSeparateTheirFields) {
    zaLog::setLogFormat(zaLog::Csv);
    zaLog::error("Cannot read; file");
    EXPECT_EQ(take(), stamp("%d.%m.%Y;%H:%M:%S;") + "ERROR;300;Cannot read; file\n");
    zaLog::_add_time_stamp = false;
    zaLog::warning("bare\n\n");
    EXPECT_EQ(take(), "bare\n\n");
}

TEST_F(Log, HtmlLinesAreEscapedAndColoured) {
    zaLog::info("a<b & \"c\">\n");
    EXPECT_EQ(take(), "<span style=\"color:#008c00;\">" + plainStamp() +
                          "a&#60;b &#38; &#34;c&#34;&#62;</span><br>\n");
    zaLog::_add_time_stamp = false;
    const auto line = [](const std::string& colour) {
        return "<span style=\"color:#" + colour + ";\">x</span><br>\n";
    };
    zaLog::warning("x");
    EXPECT_EQ(take(), line("b4b400"));
    zaLog::error("x");
    EXPECT_EQ(take(), line("b40000"));
    zaLog::infoI("x", 4, true);
    zaLog::warningI("x", 4, true);
    zaLog::errorI("x", 4, true);
    EXPECT_EQ(take(), line("008c8c") + line("b4b48c") + line("b4008c"));
}

TEST_F(Log, HtmlTextLosesOneFinalNewlineOnly) {
    EXPECT_EQ(zaLog::convertToHtml(""), "");
    EXPECT_EQ(zaLog::convertToHtml("\n"), "");
    EXPECT_EQ(zaLog::convertToHtml("a\nb\n\n"), "a\nb\n");
    EXPECT_EQ(zaLog::convertToHtml("\xC3\xA4'\x01"), "\xC3\xA4'\x01");
}

TEST_F(Log, OtherFormatsGiveEmptyLines) {
    zaLog::setLogFormat(7);
    zaLog::error("x");
    EXPECT_EQ(take(), "");
}

TEST_F(Log, PlainAndCsvSwitchTimeStampsOn) {
    zaLog::_add_time_stamp = false;
    zaLog::setLogFormat(zaLog::Html);
    EXPECT_FALSE(zaLog::_add_time_stamp);
    zaLog::setLogFormat(zaLog::Plain);
    EXPECT_TRUE(zaLog::_add_time_stamp);
    zaLog::_add_time_stamp = false;
    zaLog::setLogFormat(zaLog::Csv);
    EXPECT_TRUE(zaLog::_add_time_stamp);
}

TEST_F(Log, ANumberStaysForAllLaterMessages) {
    zaLog::setLogFormat(zaLog::Plain);
    zaLog::warning(7, "a %d", 1);
    zaLog::error("b");
    EXPECT_EQ(take(), plainStamp() + "WARN 207 a 1\n" + plainStamp() + "ERROR 307 b\n");

    zaLog::setEnabled(false);
    zaLog::info(8, "not stored");
    EXPECT_EQ(zaLog::_nr, 7);
    zaLog::infoIPython(9, "stored all the same");
    EXPECT_EQ(zaLog::_nr, 9);
    zaLog::setEnabled(true);
    zaLog::info(10, static_cast<const char*>(nullptr));
    EXPECT_EQ(zaLog::_nr, 9);
    zaLog::error(-300, "%s", "negative");
    EXPECT_EQ(take(), plainStamp() + "ERROR 0 negative\n");
}

TEST_F(Log, LiteralCallsTakeThePercentSign) {
    zaLog::_add_time_stamp = false;
    zaLog::infoIPython("100%s");
    zaLog::warningIPython(2, "%n");
    zaLog::errorIPython(3, "%d%d");
    EXPECT_EQ(callbacks.messages(), (std::vector<std::string>{"I 100%s", "W %n", "E %d%d"}));
    EXPECT_EQ(zaLog::_nr, 3);
    EXPECT_STREQ(zaLog::getLastError(), "%d%d");
}

TEST_F(Log, DisabledOrWithoutTextNothingHappens) {
    zaLog::setEnabled(false);
    EXPECT_FALSE(zaLog::isEnabled());
    zaLog::info("%s", "x");
    zaLog::warningIPython("x");
    zaLog::errorI("x", 6, false);
    zaLog::setEnabled(true);
    zaLog::error(static_cast<const char*>(nullptr));
    zaLog::errorI(nullptr, 6, false);
    zaLog::infoNR("%d", 1);
    zaLog::warningNR("%d", 1);
    zaLog::errorNR("%d", 1);
    EXPECT_EQ(lines, "");
    EXPECT_TRUE(callbacks.messages().empty());
    EXPECT_STREQ(zaLog::getLastError(), "");
    EXPECT_EQ(console(), "|");
}

TEST_F(Log, FlagsChooseCallbackAndLinesButNeverTheConsole) {
    std::stringbuf stream;
    zaLog::enableOutputStream(static_cast<std::streambuf*>(&stream));
    zaLog::_add_time_stamp = false;
    zaLog::infoI("two", 2, false);
    EXPECT_EQ(lines + stream.str(), "");
    zaLog::infoI("four", 4, false);
    EXPECT_NE(lines.find("four"), std::string::npos);
    EXPECT_NE(stream.str().find("four"), std::string::npos);
    zaLog::errorI("zero", 0, false);
    zaLog::warningI("one", 1, false);
    EXPECT_EQ(callbacks.messages(), (std::vector<std::string>{"I two"}));
    EXPECT_STREQ(zaLog::getLastError(), "zero");
    EXPECT_EQ(console(), "two\nfour\none\n|zero\n");
}

TEST_F(Log, TheConsoleAlwaysAddsANewline) {
    zaLog::info("a\n");
    zaLog::warning("b");
    zaLog::error("c\n");
    zaLog::infoI("d", 0, true);
    zaLog::errorI("e", 0, true);
    EXPECT_EQ(console(), "a\n\nb\nd\n|c\n\ne\n");
}

TEST_F(Log, UnknownConsoleTypesAreReportedAndNotWritten) {
    for (const int type : {-1, 3, 7})
        zaLogTestAccess::colorOutput(type, "x");
    EXPECT_EQ(console(),
              "|zaLog::colorOutput : unknown tpye (-1)!\n"
              "zaLog::colorOutput : unknown tpye (3)!\n"
              "zaLog::colorOutput : unknown tpye (7)!\n");
}

TEST_F(Log, FormattedTextIsCutAt2047Bytes) {
    zaLog::_add_time_stamp = false;
    zaLog::setLogFormat(zaLog::Plain);
    zaLog::_add_time_stamp = false;
    for (const std::size_t length : {2046u, 2047u, 2048u, 3000u}) {
        SCOPED_TRACE(length);
        const std::string text(length, 'x');
        const std::string expected = text.substr(0, 2047);
        zaLog::error("%s", text.c_str());
        EXPECT_EQ(take(), expected + "\n");
        EXPECT_EQ(callbacks.messages().back(), "E " + expected);
        EXPECT_EQ(zaLog::getLastError(), expected);
        // A literal text is never cut.
        zaLog::warningIPython(text.c_str());
        EXPECT_EQ(take(), text + "\n");
    }
}

TEST_F(Log, TextIsFormattedAsTheCLibraryDoes) {
    const std::string nearTheLimit(2040, 'x');
    zaLog::info("%d%s|%d%%", std::numeric_limits<int>::min(), "", 0);
    zaLog::info("%s%d", nearTheLimit.c_str(), 12345678);
    zaLog::info("%d %5.2f %-4s|%c %s", -1, 2.5, "ab", 'c', "d");
    EXPECT_EQ(callbacks.messages(),
              (std::vector<std::string>{"I -2147483648|0%", "I " + nearTheLimit + "1234567",
                                        "I -1  2.50 ab  |c d"}));
}

TEST_F(Log, AFailingFormatterLeavesWhatItWrote) {
    const wchar_t notACharacter[] = {static_cast<wchar_t>(0xDC00), 0};
    zaLog::info("abc%ls", notACharacter);
    ASSERT_EQ(callbacks.messages().size(), 1u);
    const std::string text = callbacks.messages()[0].substr(2);
    EXPECT_EQ(text.substr(0, 3), std::string("abc").substr(0, text.size()));
    EXPECT_LT(text.size(), 16u);
}

TEST_F(Log, AnEmptyLineThrowsAndReleasesTheLock) {
    for (const int format : {zaLog::Plain, zaLog::Csv}) {
        zaLog::setLogFormat(format);
        zaLog::_add_time_stamp = false;
        try {
            zaLog::info("%s", "");
            ADD_FAILURE() << "nothing thrown";
        } catch (const std::out_of_range& error) {
            EXPECT_STREQ(error.what(), "invalid string position");
        }
        zaLog::info("still works");
        EXPECT_EQ(take(), "still works\n");
    }
    // Without a line target no line is built.
    zaLog::disableOutputBuffer();
    EXPECT_NO_THROW(zaLog::infoIPython(""));
}

/// Counts flushes and remembers the bytes.
class CountingBuffer : public std::stringbuf {
public:
    int flushes = 0;

protected:
    int sync() override {
        ++flushes;
        return 0;
    }
};

TEST_F(Log, TheStreamGetsLinesInTerminalColoursAndIsNotFlushed) {
    CountingBuffer stream;
    zaLog::enableOutputStream(static_cast<std::streambuf*>(&stream));
    zaLog::setLogFormat(zaLog::Plain);
    zaLog::_add_time_stamp = false;
    zaLog::info("i");
    zaLog::warning("w");
    zaLog::error("e");
    EXPECT_EQ(stream.str(), "i\n\033[33mw\n\033[0m\033[31me\n\033[0m");
    EXPECT_EQ(stream.flushes, 0);
    EXPECT_EQ(take(), "i\nw\ne\n");
    zaLog::disableOutputStream();
    zaLog::info("later");
    EXPECT_EQ(stream.str().find("later"), std::string::npos);
}

TEST_F(Log, LinesAreAppendedToTheLogFile) {
    const ScratchFolder folder;
    zaLog::_log_file = folder.path("log.txt");
    zaLog::setLogFormat(zaLog::Plain);
    zaLog::_add_time_stamp = false;
    zaLog::info("one\ntwo");
    zaLog::infoI("not a line", 2, false);
    std::ifstream file(folder.native("log.txt"));  // line ends are the host's
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "one\ntwo\n");
    // A file that cannot be opened loses the line silently.
    zaLog::_log_file = folder.path("missing\\log.txt");
    zaLog::info("lost");
    EXPECT_EQ(console(), "one\ntwo\nnot a line\nlost\n|");
}

TEST_F(Log, LoggingFromACallbackGoesToStandardErrorAlone) {
    zaLog::setWarningCB([](const char*) {
        zaLog::info("inner %d", 1);
        zaLog::errorIPython("inner error");
        LogCapture::messages().push_back(zaLog::getLastError());
    });
    zaLog::_add_time_stamp = false;
    zaLog::setLogFormat(zaLog::Plain);
    zaLog::_add_time_stamp = false;
    zaLog::error("before");
    zaLog::warning("outer");
    EXPECT_EQ(take(), "before\nouter\n");
    EXPECT_EQ(callbacks.messages(), (std::vector<std::string>{"E before", "before"}));
    EXPECT_EQ(console(), "outer\n|before\ninner 1\ninner error\n");
}

TEST_F(Log, ACallbacksExceptionReachesTheCallerAndLeavesTheLogUsable) {
    zaLog::setErrorCB([](const char*) { throw std::runtime_error("from the callback"); });
    EXPECT_THROW(zaLog::error("x"), std::runtime_error);
    EXPECT_EQ(lines, "");
    EXPECT_STREQ(zaLog::getLastError(), "x");
    zaLog::setErrorCB(nullptr);
    std::thread([] { zaLog::error("from another thread"); }).join();
    EXPECT_STREQ(zaLog::getLastError(), "from another thread");
    EXPECT_EQ(console(), "|from another thread\n");
}

TEST_F(Log, TheLastErrorStaysValidOnEachThread) {
    zaLog::error("first");
    const char* mine = zaLog::getLastError();
    std::thread([] {
        zaLog::error("second, and much longer than what fits into a short string");
        EXPECT_STREQ(zaLog::getLastError(),
                     "second, and much longer than what fits into a short string");
    }).join();
    EXPECT_STREQ(mine, "first");
    zaLog::clearLastError();
    EXPECT_STREQ(zaLog::getLastError(), "");
}

TEST_F(Log, MessagesOfManyThreadsStayWholeAndInOrder) {
    constexpr int kThreads = 16;
    constexpr int kMessages = 20000;
    zaLog::setInfoCB(nullptr);
    zaLog::setLogFormat(zaLog::Plain);
    zaLog::_add_time_stamp = false;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kMessages; ++i)
                zaLog::info("thread %d message %d end", t, i);
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    const std::string out = console();
    std::vector<int> next(kThreads, 0);
    int count = 0;
    std::istringstream read(take());
    for (std::string line; std::getline(read, line); ++count) {
        int thread = -1;
        int message = -1;
        int length = 0;
        ASSERT_EQ(
            std::sscanf(line.c_str(), "thread %d message %d end%n", &thread, &message, &length), 2);
        ASSERT_EQ(static_cast<std::size_t>(length), line.size());
        ASSERT_EQ(message, next.at(static_cast<std::size_t>(thread))++);
    }
    EXPECT_EQ(count, kThreads * kMessages);
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), kThreads * kMessages);
}

}  // namespace
