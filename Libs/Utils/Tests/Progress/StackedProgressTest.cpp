#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "zaUtils/Progress/zaStackedProgress.h"

namespace {

using Texts = std::vector<std::string>;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
const double kNaN = std::nan("");

/// Keeps what it hears; several may share one list.
class Recorder : public zaStackedProgress::Handler {
public:
    explicit Recorder(Texts& events, const char* name = "") : _events(events), _name(name) {}

    void startProgress(const std::string& text) override { add("start", text); }
    void finishProgress(bool cancelled) override { add("finish", cancelled); }
    void setProgress(double fraction) override { add("set", fraction); }
    void incrementProgress(double fraction) override { add("increment", fraction); }
    void setProgressState(const std::string& text) override { add("state", text); }

private:
    template <typename T>
    void add(const char* what, const T& value) {
        std::ostringstream event;
        event << _name << what << ' ' << std::boolalpha << value;
        _events.push_back(event.str());
    }

    Texts& _events;
    std::string _name;
};

TEST(StackedProgress, MovesTheLevelsAroundByTheirScale) {
    zaStackedProgress outer("outer", 4, nullptr);
    outer.setScale(2);
    {
        zaStackedProgress inner("inner", 10, nullptr);
        inner.incrementBy(5);
        EXPECT_EQ(inner.getValue(), 5);
        EXPECT_EQ(outer.getValue(), 1);
    }
    EXPECT_EQ(outer.getValue(), 2);
    outer.incrementBy(0.5);
    EXPECT_EQ(outer.getPercent(), 0.75);
    {
        zaStackedProgress("exceeds its maximum, adds nothing at its end", 2, nullptr)
            .incrementBy(3);
    }
    EXPECT_EQ(outer.getValue(), 6);
}

TEST(StackedProgress, TellsHandlersFromTheInnermostOutward) {
    Texts events;
    Recorder outerHandler(events, "outer ");
    Recorder innerHandler(events, "inner ");
    {
        zaStackedProgress outer("A", 2, &outerHandler);
        zaStackedProgress inner("B", 4, &innerHandler);
        inner.setScale(3);
        inner.incrementBy(0.0);
        inner.incrementBy(1);
    }
    const Texts expected{"outer start A", "inner start B", "inner increment 0.75", "inner set 0.75",
                         "outer increment 0.375", "outer set 0.375",
                         // The rest counts as it is, although a scale of 3 was set.
                         "inner increment 0.25", "inner set 1", "outer increment 0.125",
                         "outer set 0.5", "inner state ", "outer state A", "inner finish false",
                         "outer increment 0.5", "outer set 1", "outer state ",
                         "outer finish false"};
    EXPECT_EQ(events, expected);
}

TEST(StackedProgress, StateJoinsTheTextsFromTheInnermostOutwardWhicheverLevelIsAsked) {
    Texts events;
    Recorder a(events, "a ");
    Recorder b(events, "b ");
    Recorder c(events, "c ");
    zaStackedProgress outer("A", 1, &a);
    zaStackedProgress middle("", 1, &b);
    zaStackedProgress inner("C", 1, &c);
    const std::pair<zaStackedProgress&, const char*> levels[] = {
        {outer, "A"}, {middle, ""}, {inner, "C"}};
    for (const auto& [level, text] : levels) {
        events.clear();
        level.setState(text);
        EXPECT_EQ(events, (Texts{"c state C", "b state C", "a state A\nC"}));
    }
    events.clear();
    inner.setState("");
    EXPECT_EQ(events, (Texts{"c state ", "b state ", "a state A"}));
}

TEST(StackedProgress, CancellingReachesEveryLevelUntilAllHaveEnded) {
    Texts events;
    Recorder handler(events);
    {
        zaStackedProgress outer("outer", 1, nullptr);
        {
            zaStackedProgress inner("inner", 1, &handler);
            std::thread(zaStackedProgress::cancelAll).join();
            EXPECT_TRUE(inner.cancelled());
        }
        EXPECT_EQ(events.back(), "finish true");
        EXPECT_TRUE(outer.cancelled());
        EXPECT_TRUE(zaStackedProgress("next", 1, nullptr).cancelled());
    }
    EXPECT_FALSE(zaStackedProgress::s_cancelled);
    zaStackedProgress::cancelAll();  // while nothing runs: forgotten by the first level
    EXPECT_FALSE(zaStackedProgress("fresh", 1, nullptr).cancelled());
}

TEST(StackedProgress, OddNumbersGoWhereTheArithmeticTakesThem) {
    const struct {
        double maximum, amount;
        Texts events;  // the last one is of the level around
    } cases[] = {
        {0, 2, {"increment inf", "set 0", "set inf"}},
        {-4, 2, {"increment -0.5", "set 0", "set -0.5"}},
        {kNaN, 2, {"increment nan", "set 0", "set nan"}},
        {4, kNaN, {"increment nan", "set nan", "set nan"}},
        {4, kInfinity, {"increment inf", "set inf", "set inf"}},
        {kInfinity, 2, {"increment 0", "set 0"}},  // no part of it is ever one of the level around
    };
    class SetOnly : public Recorder {
        using Recorder::Recorder;
        void incrementProgress(double) override {}
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.amount) + " of " + std::to_string(c.maximum));
        Texts events;
        SetOnly around(events);
        Recorder handler(events);
        zaStackedProgress outer("outer", 1, &around);
        zaStackedProgress inner("inner", c.maximum, &handler);
        events.clear();
        inner.incrementBy(c.amount);
        EXPECT_EQ(events, c.events);
    }
}

// The level that outlives the one around it is never destroyed, for it points to what is no more.
TEST(StackedProgress, ALevelDestroyedOutOfOrderLeavesTheStackAsItIs) {
    static std::aligned_storage_t<sizeof(zaStackedProgress), alignof(zaStackedProgress)> storage;
    std::thread([] {
        auto outer = std::make_unique<zaStackedProgress>("outer", 1, nullptr);
        auto* inner = new (&storage) zaStackedProgress("inner", 1, nullptr);
        outer.reset();
        EXPECT_EQ(zaStackedProgress::current(), inner);
    }).join();
    EXPECT_EQ(zaStackedProgress::current(), nullptr);
    EXPECT_EQ(zaStackedProgress::s_count.exchange(0), 1);
}

TEST(StackedProgress, ACopyTakesEverythingOverButIsNotCountedNorOnTheStack) {
    zaStackedProgress outer("outer", 4, nullptr);
    zaStackedProgress inner("inner", 10, nullptr);
    inner.incrementBy(5);
    {
        const zaStackedProgress copy = inner;
        EXPECT_EQ(copy.getValue(), 5);
        EXPECT_EQ(zaStackedProgress::current(), &inner);
        EXPECT_EQ(zaStackedProgress::s_count, 2);
        EXPECT_EQ(outer.getValue(), 0.5);
    }
    EXPECT_EQ(outer.getValue(), 1);  // the copy reported its own rest
    EXPECT_EQ(zaStackedProgress::current(), &inner);
    EXPECT_EQ(zaStackedProgress::s_count++, 1);  // put right what the copy counted down
}

class Thrower : public zaStackedProgress::Handler {
public:
    void startProgress(const std::string&) override { throwAt("start"); }
    void setProgress(double) override { throwAt("set"); }
    void finishProgress(bool) override { throwAt("finish"); }

    std::string when;

private:
    void throwAt(const char* now) const {
        if (when == now) throw std::runtime_error(now);
    }
};

TEST(StackedProgress, ExceptionsOfHandlersReachTheCallerAndLeaveTheStackInOrder) {
    Thrower handler;
    zaStackedProgress outer("outer", 1, nullptr);
    handler.when = "start";
    EXPECT_THROW(zaStackedProgress("inner", 1, &handler), std::runtime_error);
    EXPECT_EQ(zaStackedProgress::current(), &outer);
    EXPECT_EQ(zaStackedProgress::s_count, 1);
    {
        handler.when = "set";
        zaStackedProgress inner("inner", 4, &handler);
        EXPECT_THROW(inner.incrementBy(1), std::runtime_error);
        EXPECT_EQ(inner.getValue(), 1);
        EXPECT_EQ(outer.getValue(), 0);  // the walk outward was cut short
        handler.when.clear();
    }
    EXPECT_EQ(outer.getValue(), 0.75);
}

TEST(StackedProgressDeathTest, AnExceptionWhileALevelEndsTerminatesTheProgram) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Thrower handler;
    handler.when = "finish";
    EXPECT_DEATH(zaStackedProgress("level", 1, &handler), "");
}

TEST(StackedProgress, EveryThreadHasAStackOfItsOwn) {
    const auto work = [] {
        for (int round = 0; round < 200; ++round) {
            zaStackedProgress outer("outer", 3, nullptr);
            for (int i = 0; i < 3 && !outer.cancelled(); ++i) {
                zaStackedProgress inner("inner", 8, nullptr);
                for (int step = 0; step < 8; ++step)
                    inner.incrementBy(1);
                ASSERT_EQ(outer.getValue(), i + 1);
            }
            ASSERT_EQ(zaStackedProgress::current(), &outer);
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back(work);
    zaStackedProgress::cancelAll();
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(zaStackedProgress::s_count, 0);
}

}  // namespace
