// Runs whose outcome the host answers, in virtual time.
#include <gtest/gtest.h>

#include <csignal>
#include <optional>
#include <string>

#include "runtime/Brul/PipedChildProcessSm.h"
#include "tests/support/ProcessState.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

using Brul::PipedChildProcessSm;
using Brul::SubstitutedRun;
using State = PipedChildProcessSm::State;

class SubstitutedRunTest : public Support::VirtualTimeTest {
 protected:
   SubstitutedRunTest() {
      tracker_->substituteIs([this](std::vector<Pelm::String> const & argv) {
         return argv.front() == "tool" ? std::optional{outcome_} : std::nullopt;
      });
   }

   Pelm::Ptr<PipedChildProcessSm> started(char const * program) const {
      auto const run = PipedChildProcessSm::PipedChildProcessSmIs(tracker_);
      run->hasNotificationActiveIs(true);
      run->argPush(program);
      run->start(true, true);
      return run;
   }
   // The run to its end.
   Pelm::Ptr<PipedChildProcessSm> over(char const * program) const {
      auto const run = started(program);
      EXPECT_TRUE(eventually([&] { return run->state() != State::running; }));
      return run;
   }

   SubstitutedRun outcome_{0, "a report\n", "a word\n", 2.5};
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_ = Pelm::make<Brul::ChildProcessTrackerSm>();
};

TEST_F(SubstitutedRunTest, EndsAfterItsDurationWithItsOutputs) {
   auto const begin = Vorn::System::currentTime();
   auto const run = started("tool");
   EXPECT_EQ(run->state(), State::running);
   EXPECT_FALSE(Support::hasChildren());
   ASSERT_TRUE(eventually([&] { return run->state() == State::finished; }));
   EXPECT_EQ(Vorn::System::currentTime() - begin, 2.5);
   EXPECT_EQ(run->stdoutBuffer(), "a report\n");
   EXPECT_EQ(run->stderrString(), "a word\n");
   EXPECT_EQ(run->exitCode(), 0);
   EXPECT_EQ(tracker_->finishedRun()->argv.front(), "tool");
}

TEST_F(SubstitutedRunTest, FailsByTheTrackersPolicy) {
   outcome_.exitCode = 4;
   EXPECT_EQ(over("tool")->state(), State::failed);
   tracker_->failurePolicyIs([](Pelm::String const &, int exitCode) { return exitCode != 4; });
   EXPECT_EQ(over("tool")->state(), State::finished);
   outcome_.exitCode = -SIGSEGV;
   EXPECT_EQ(over("tool")->state(), State::failed);
}

TEST_F(SubstitutedRunTest, IsEndedAtTheTimeLimit) {
   tracker_->timeLimitIs(30);
   outcome_.duration = Vorn::Seconds::infinity();
   auto const begin = Vorn::System::currentTime();
   auto const run = over("tool");
   EXPECT_EQ(Vorn::System::currentTime() - begin, 30.0);
   EXPECT_EQ(run->state(), State::failed);
   EXPECT_EQ(run->exitCode(), -SIGTERM);
   EXPECT_TRUE(run->finishedRun()->timedOut);
   EXPECT_EQ(run->stderrString(), "tool: it exceeded its time limit");
}

TEST_F(SubstitutedRunTest, EndsByItselfBeforeTheTimeLimit) {
   tracker_->timeLimitIs(30);
   auto const run = over("tool");
   EXPECT_EQ(run->state(), State::finished);
   EXPECT_FALSE(run->finishedRun()->timedOut);
}

TEST_F(SubstitutedRunTest, LosesAnOutputAboveTheBound) {
   outcome_.standardOutput = std::string(Brul::OutputPipe::maxBytes, ' ');
   EXPECT_EQ(over("tool")->state(), State::finished);
   outcome_.standardOutput += ' ';
   auto const run = over("tool");
   EXPECT_EQ(run->state(), State::failed);
   EXPECT_EQ(run->stdoutBuffer(), "");
   EXPECT_EQ(run->stderrString(), "tool: its output exceeded 4 MiB");
}

TEST_F(SubstitutedRunTest, StartsAProcessWithoutAnAnswer) {
   auto const run = over("true");
   EXPECT_EQ(run->state(), State::finished);
   EXPECT_EQ(run->stdoutBuffer(), "");
}

TEST_F(SubstitutedRunTest, IsDroppedWhileItRuns) {
   auto run = started("tool");
   run = nullptr;
   EXPECT_FALSE(eventually([this] { return tracker_->finishedRun() != nullptr; }, 10));
}

}  // namespace
