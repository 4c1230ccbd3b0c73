#include "agent/tools/ToolRuns.h"

#include <gtest/gtest.h>

#include "tests/support/VirtualTimeTest.h"

namespace Agent {
namespace {

class ToolRunsTest : public Support::VirtualTimeTest {
 protected:
   Pelm::Ptr<Brul::FinishedRun> end(int exitCode, bool failed = false, bool timedOut = false) {
      auto run = Pelm::make<Brul::FinishedRun>();
      run->argv = {"smartctl", "/dev/sda"};
      run->exitCode = exitCode;
      run->failed = failed;
      run->timedOut = timedOut;
      tracker->finishedRunIs(run);
      return run;
   }

   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
   ToolRuns runs{tracker};
};

TEST_F(ToolRunsTest, StartsWithNone) {
   EXPECT_EQ(runs.runs(), 0U);
   EXPECT_EQ(runs.failed(), 0U);
   EXPECT_EQ(runs.timedOut(), 0U);
   EXPECT_TRUE(runs.last().empty());
}

TEST_F(ToolRunsTest, CountsFailedAndTimedOutRuns) {
   end(0);
   end(4);
   end(2, true);
   end(-15, true, true);
   EXPECT_EQ(runs.runs(), 4U);
   EXPECT_EQ(runs.failed(), 2U);
   EXPECT_EQ(runs.timedOut(), 1U);
}

TEST_F(ToolRunsTest, CountsEqualRunsEachByItself) {
   end(0);
   end(0);
   EXPECT_EQ(runs.runs(), 2U);
}

TEST_F(ToolRunsTest, KeepsTheLatestWithTheTimeOfTheirEnd) {
   for (int run = 0; run < 100; ++run) {
      end(run);
      time->jumpBy(10);
   }
   ASSERT_EQ(runs.last().size(), ToolRuns::kept);
   EXPECT_EQ(runs.last().front().run->exitCode, 68);
   EXPECT_EQ(runs.last().back().run->exitCode, 99);
   EXPECT_EQ(runs.last().back().utc, Vorn::System::currentTimeUtc() - 10);
   EXPECT_EQ(runs.runs(), 100U);
}

// Publishes a run while it is notified of one, as a monitor may.
class Publishing {
 public:
   explicit Publishing(Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker) : tracker_{std::move(tracker)} {
      reactor_.notifierIs(tracker_);
      reactor_.on<&Publishing::handleRun>(tracker_->finishedRun, *this);
      reactor_.hasNotificationActiveIs(true);
   }
   void handleRun() {
      if (left_-- > 0)
         tracker_->finishedRunIs(Pelm::make<Brul::FinishedRun>());
   }

 private:
   int left_ = 2;
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_;
   Vorn::NotifieeConst reactor_;
};

TEST_F(ToolRunsTest, LosesAndDuplicatesNoneWhenRunsEndTogether) {
   Publishing const first{tracker};
   ToolRuns const later{tracker};
   end(3);
   EXPECT_EQ(later.runs(), 3U);
   ASSERT_EQ(later.last().size(), 3U);
   EXPECT_EQ(later.last().front().run->exitCode, 3);
   EXPECT_EQ(runs.runs(), 3U);
}

}  // namespace
}  // namespace Agent
