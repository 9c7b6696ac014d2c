#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "Support/StoppedClock.h"
#include "zaUtils/Progress/zaDelayedProgress.h"
#include "zaUtils/Progress/zaProgress.h"

namespace {

using Texts = std::vector<std::string>;

class Dialog : public zaProgressDialogBase {
public:
    explicit Dialog(Texts& events) : _events(events) {}
    ~Dialog() override { add("destroyed", zaProgress::the().progress()); }

    void initProgress(const std::string& text, unsigned int maximum) override {
        add(text, maximum);
    }
    void incrementProgressBy(float amount) override { add("amount", amount); }
    void incrementProgressBy(unsigned int steps) override { add("steps", steps); }
    void incrementProgress() override { add("step", 1); }
    void setProgress(float value) override { add("set", value); }
    unsigned int progress() override { return 42; }
    void terminateProgress() override { add("end", 0); }

    std::string throwsAt;

private:
    void add(const std::string& what, double value) {
        std::ostringstream event;
        event << what << ' ' << value;
        _events.push_back(event.str());
        if (what == throwsAt) throw std::runtime_error(what);
    }

    Texts& _events;
};

/// A dialog in place, a depth of 0, a stored visibility of Visible and a clock of our own.
class Progress : public testing::Test {
protected:
    Progress() {
        auto owned = std::make_unique<Dialog>(events);
        dialog = owned.get();
        progress.setProgressDialog(std::move(owned));
        progress.initProgress("reset", 0, zaProgress::Visible);
        progress.terminateProgress();
        events.clear();
    }
    ~Progress() override { progress.setProgressDialog(nullptr); }

    StoppedClock clock;
    zaProgress& progress = zaProgress::the();
    Texts events;
    Dialog* dialog;
};

TEST_F(Progress, ForwardsToTheDialogBetweenItsBeginAndItsEnd) {
    progress.incrementProgress();
    EXPECT_EQ(progress.progress(), 0u);
    progress.initProgress("Load", 7, zaProgress::Visible);
    progress.incrementProgress();
    progress.incrementProgressBy(3u);
    progress.incrementProgressBy(0.5f);
    progress.setProgress(6.25f);
    EXPECT_EQ(progress.progress(), 42u);
    progress.setProgressDialog(std::make_unique<Dialog>(events));  // in place when the old one goes
    progress.terminateProgress();
    progress.incrementProgress();
    const Texts expected{"Load 7",   "step 1",       "steps 3", "amount 0.5",
                         "set 6.25", "destroyed 42", "end 0"};
    EXPECT_EQ(events, expected);
}

TEST_F(Progress, WithoutADialogOnlyTheDepthCounts) {
    progress.setProgressDialog(nullptr);
    progress.initProgress("unseen", 1, zaProgress::Visible);
    progress.setProgressDialog(std::make_unique<Dialog>(events));
    progress.incrementProgress();
    progress.terminateProgress();
    progress.initProgress("seen", 2, zaProgress::Visible);
    progress.terminateProgress();
    EXPECT_EQ(events, (Texts{"destroyed 0", "seen 2", "end 0"}));
}

TEST_F(Progress, ProgressInsideAShownOneIsIgnoredAndLeavesTheVisibilityAtHidden) {
    progress.initProgress("outer", 2, zaProgress::Visible);
    progress.initProgress("inner", 9, zaProgress::Visible);
    progress.incrementProgress();
    EXPECT_EQ(progress.progress(), 0u);
    progress.terminateProgress();
    progress.incrementProgress();
    progress.terminateProgress();
    progress.initProgress("later", 3, zaProgress::KeepCurrent);
    progress.incrementProgress();
    progress.terminateProgress();
    EXPECT_EQ(events, (Texts{"outer 2", "step 1", "end 0"}));
}

TEST_F(Progress, VisibilityIsKeptUntilAnotherIsAskedFor) {
    for (const auto& [visibility, isShown] : {std::pair{zaProgress::KeepCurrent, true},
                                              {zaProgress::Hidden, false},
                                              {zaProgress::KeepCurrent, false},
                                              {zaProgress::Visible, true},
                                              {zaProgress::KeepCurrent, true}}) {
        events.clear();
        progress.initProgress("p", 1, visibility);
        EXPECT_EQ(!events.empty(), isShown) << visibility;
        progress.terminateProgress();
    }
}

TEST_F(Progress, AnUnmatchedEndWrapsTheDepthAround) {
    progress.terminateProgress();
    // Depth 0 again: the dialog hears of the beginning, but nothing is active at depth 0.
    progress.initProgress("at depth", 0, zaProgress::Visible);
    progress.incrementProgress();
    progress.initProgress("at depth", 1, zaProgress::Visible);
    progress.incrementProgress();
    progress.terminateProgress();
    EXPECT_EQ(events, (Texts{"at depth 0", "at depth 1", "step 1", "end 0"}));
}

TEST_F(Progress, ADialogThatThrowsLeavesTheDepthRight) {
    dialog->throwsAt = "end";
    progress.initProgress("p", 1, zaProgress::Visible);
    EXPECT_THROW(progress.terminateProgress(), std::runtime_error);
    dialog->throwsAt = "p";
    EXPECT_THROW(progress.initProgress("p", 1, zaProgress::Visible), std::runtime_error);
    progress.terminateProgress();  // it had begun
    events.clear();
    progress.initProgress("last", 1, zaProgress::Visible);
    progress.terminateProgress();
    EXPECT_EQ(events, (Texts{"last 1", "end 0"}));
}

TEST_F(Progress, ADelayedOneShowsAtTheFirstStepAfterTheDelayWithAllStepsSoFar) {
    {
        zaDelayedProgress delayed("slow", 10, 2.0);
        clock.letPass(1.999999999);
        delayed.increment();
        delayed.increment();
        EXPECT_EQ(events, Texts{});
        clock.letPass(1e-9);
        EXPECT_EQ(delayed.getDuration(), 2.0);
        delayed.increment();
        delayed.increment();
        delayed.hide();
        delayed.hide();
        delayed.increment();  // hidden, but the delay has passed
    }
    EXPECT_EQ(events,
              (Texts{"slow 10", "steps 3", "step 1", "end 0", "slow 10", "steps 1", "end 0"}));
}

TEST_F(Progress, DelaysAtTheirLimits) {
    for (const auto& [delay, isShown] :
         {std::pair{0.0, true}, {-HUGE_VAL, true}, {HUGE_VAL, false}, {std::nan(""), false}}) {
        events.clear();
        zaDelayedProgress("p", 1, delay).increment();
        EXPECT_EQ(events, isShown ? (Texts{"p 1", "steps 1", "end 0"}) : Texts{}) << delay;
    }
}

TEST_F(Progress, ACopyOfAShownDelayedOneEndsItToo) {
    {
        zaDelayedProgress original("p", 1, 0.0);
        original.increment();
        const zaDelayedProgress copy = original;
    }
    // Both have ended it, so the depth has wrapped around.
    progress.initProgress("at depth", 0, zaProgress::Hidden);
    progress.initProgress("at depth", 1, zaProgress::Visible);
    progress.terminateProgress();
    EXPECT_EQ(events, (Texts{"p 1", "steps 1", "end 0", "at depth 1", "end 0"}));
}

TEST_F(Progress, LeavingAScopeAddsItsSteps) {
    progress.initProgress("p", 9, zaProgress::Visible);
    { const zaProgressIncrementOnScopeExit one; }
    { const zaProgressIncrementOnScopeExit five(5); }
    progress.terminateProgress();
    EXPECT_EQ(events, (Texts{"p 9", "steps 1", "steps 5", "end 0"}));
}

}  // namespace
