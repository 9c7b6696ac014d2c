#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "Support/StoppedClock.h"
#include "zaUtils/Os/TextWidth.h"
#include "zaUtils/Progress/zaConsoleProgress.h"

namespace {

using Texts = std::vector<std::string>;

/// A screen that keeps what is written.
class ConsoleProgress : public testing::Test, public zaConsoleProgress::Screen {
protected:
    bool isTerminal() override { return terminal; }
    int width() override { return columns; }
    void write(const std::string& text) override { written.push_back(text); }

    StoppedClock clock;
    bool terminal = true;
    int columns = 70;
    Texts written;
    zaConsoleProgress console{*this};
};

TEST_F(ConsoleProgress, DrawsALevelOnATerminal) {
    {
        zaStackedProgress level("Loading", 4, &console);
        clock.letPass(20);
        level.incrementBy(1);
        clock.letPass(100);
        level.setState("Loading\ntextures");
        clock.letPass(3605);
    }
    const Texts expected{
        "\rLoading [..............................]   0%",
        "\rLoading [#######.......................]  25%  1.2 %/s  1:00 left",
        "\rLoading - textures [#####..................]  25%  0.2 %/s  6:00 left",
        "\rLoading - textures [#######################] 100%  0.0 %/s  0:00 left",
        "\rLoading - textures [######################] 100%  0.0 %/s  in 1:02:05\n"};
    EXPECT_EQ(written, expected);
}

TEST_F(ConsoleProgress, DrawsTheDialogOfZaProgressInSteps) {
    console.initProgress("Steps", 8);
    clock.letPass(2);
    console.incrementProgress();
    clock.letPass(2);
    console.incrementProgressBy(2u);
    console.incrementProgressBy(0.5f);
    EXPECT_EQ(console.progress(), 3u);
    console.setProgress(9.0f);
    console.terminateProgress();
    console.incrementProgress();
    EXPECT_EQ(written,
              (Texts{"\rSteps [..............................]   0%",
                     "\rSteps [###...........................]  12%  0.5/s  0:14 left",
                     "\rSteps [###########...................]  37%  0.8/s  0:07 left",
                     "\rSteps [##############################] 100%  2.0/s  in 0:04  \n"}));
}

TEST_F(ConsoleProgress, RedrawsAtMostTwentyTimesASecond) {
    zaStackedProgress level("Level", 1000, &console);
    for (int i = 0; i < 1000; ++i) {  // in one second
        clock.letPass(0.001);
        level.incrementBy(1);
    }
    EXPECT_EQ(written.size(), 21u);
}

TEST_F(ConsoleProgress, NeverIsWiderThanTheTerminal) {
    for (columns = 1; columns <= 120; ++columns) {
        for (const char* label :
             {"", "Short", u8"日本語の長いラベルと größe und mehr", "\033[2J\t\x80"}) {
            SCOPED_TRACE(label + std::to_string(columns));
            written.clear();
            console.initProgress(label, 2);
            clock.letPass(5);
            console.incrementProgress();
            console.terminateProgress();
            for (const std::string& line : written) {
                const std::string shown = line.substr(1, line.find('\n') - 1);
                EXPECT_LE(za::os::textWidth(shown), std::max(columns - 1, 1)) << shown;
                EXPECT_EQ(shown.find_first_of("\033\t"), std::string::npos);
            }
            EXPECT_TRUE(columns < 6 || written.back().find("50%") != std::string::npos);
        }
    }
    columns = 0;  // not known: 80
    console.initProgress(std::string(200, 'x'), 1);
    EXPECT_EQ(za::os::textWidth(written.back().substr(1)), 79);
}

TEST_F(ConsoleProgress, WritesALineAtEveryTenthWhenItIsNoTerminal) {
    terminal = false;
    {
        zaStackedProgress level("Level", 1000, &console);
        for (int i = 0; i < 333; ++i)
            level.incrementBy(1);
        level.setState("Level\npart");
        level.incrementBy(300);
        clock.letPass(75);
    }
    EXPECT_EQ(written, (Texts{"Level: 10%\n", "Level: 20%\n", "Level: 30%\n", "Level - part: 60%\n",
                              "Level - part: 100% in 1:15\n"}));
}

TEST_F(ConsoleProgress, ShowsNothingBeforeItsDelayAndTheRateInItsUnit) {
    console.setDelay(2);
    console.setWhole(40, " MB");
    { zaStackedProgress("Short", 1, &console).incrementBy(1); }
    for (const bool isTerminal : {false, true}) {
        terminal = isTerminal;
        zaStackedProgress level("Long", 8, &console);
        for (int i = 0; i < 4; ++i) {
            clock.letPass(0.75);
            level.incrementBy(1);
        }
        console.clear();
        console.clear();
    }
    console.clear();
    EXPECT_EQ(written,
              (Texts{"Long: 30%\n", "Long: 50%\n", "Long: 100% in 0:03\n",
                     "\rLong [###########...................]  37%  6.7 MB/s  0:04 left",
                     "\rLong [###############...............]  50%  6.7 MB/s  0:03 left",
                     '\r' + std::string(63, ' ') + '\r',
                     "\rLong [##############################] 100%  13.3 MB/s  in 0:03\n"}));
}

TEST_F(ConsoleProgress, StandsStillFromTheRequestToStopOn) {
    for (const auto& [isTerminal, end] :
         {std::pair{true, "]  30%  30.0 %/s  cancelled\n"}, {false, "Level: 30% cancelled\n"}}) {
        terminal = isTerminal;
        {
            zaStackedProgress level("Level", 10, &console);
            level.incrementBy(3);
            clock.letPass(1);
            zaStackedProgress::cancelAll();
            level.incrementBy(4);
        }
        EXPECT_NE(written.back().find(end), std::string::npos) << written.back();
    }
    // A dialog's progress begins without the request.
    zaStackedProgress::cancelAll();
    console.initProgress("Dialog", 2);
    EXPECT_FALSE(zaStackedProgress::s_cancelled);
}

TEST_F(ConsoleProgress, OddNumbersAreShownWithinBounds) {
    for (const unsigned int maximum : {0u, 5u}) {
        for (const float value : {std::nanf(""), HUGE_VALF, -HUGE_VALF, -1.0f, 0.0f, 1e30f}) {
            SCOPED_TRACE(std::to_string(value) + " of " + std::to_string(maximum));
            console.initProgress("Odd", maximum);
            clock.letPass(1e-9);
            console.setProgress(value);
            console.terminateProgress();
            const char* shown = value > 0 ? " 100%" : "   0%";
            EXPECT_NE(written.back().find(shown), std::string::npos) << written.back();
            EXPECT_EQ(console.progress(), value > 0 ? 4294967295u : 0u);
        }
    }
}

// Published widths: UAX #11, and the general categories of combining characters.
TEST(TextWidth, CountsTheColumnsOfATerminal) {
    const struct {
        const char* text;
        int width;
    } cases[] = {{"", 0},         {"abc", 3},          {u8"größe", 5},
                 {u8"日本", 4},   {u8"e\u0301", 1},    {u8"ﾊﾝｶｸ", 4},
                 {u8"Ａ", 2},     {u8"한글", 4},       {u8"\u1112\u1161\u11ab", 2},
                 {u8"😀", 2},      {u8"a\u200bb", 2},   {u8"กำ", 2},
                 {u8"\u3000", 2}, {u8"\u303f", 1},     {u8"𠀀", 2},
                 {"\xFF", 1},     {u8"\U000E0100", 0}, {u8"─", 1}};
    for (const auto& c : cases)
        EXPECT_EQ(za::os::textWidth(c.text), c.width) << c.text;
    EXPECT_EQ(za::os::fitColumns(u8"日本語", 6), u8"日本語");
    EXPECT_EQ(za::os::fitColumns(u8"日本語", 5), u8"日本…");
    EXPECT_EQ(za::os::fitColumns(u8"日本語", 4), u8"日…");
    EXPECT_EQ(za::os::fitColumns(u8"e\u0301e\u0301e\u0301", 2), u8"e\u0301…");
    EXPECT_EQ(za::os::fitColumns(u8"ab", 1), u8"…");
    EXPECT_EQ(za::os::fitColumns("ab", 0), "");
    EXPECT_EQ(za::os::fitColumns(u8"\033[1m\u0085\x80", 9), u8"?[1m?\uFFFD");
}

}  // namespace
