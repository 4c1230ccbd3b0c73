// Limits of a run: its time, its output, and what becomes of one that cannot be ended.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include "runtime/Vorn/ActivityManager.h"
#include "runtime/Vorn/Process.h"
#include "tests/runtime/PipedChildProcessTest.h"
#include "tests/support/ProcessState.h"
#include "tests/support/RealTime.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

bool groupsAreUnkillable = false;
pid_t blockedGroup = 0;  // the group of the last signal that was not sent

}  // namespace

// In the place of the C library's for this program.
extern "C" [[gnu::visibility("default")]] int kill(pid_t pid, int signal) noexcept {
   if (groupsAreUnkillable && pid < 0) {
      blockedGroup = pid;
      return 0;
   }
   return static_cast<int>(syscall(SYS_kill, pid, signal));
}

namespace {

using Brul::ChildProcessTrackerSm;
using RuntimeTest::Argv;
using RuntimeTest::Command;
using RuntimeTest::PipedChildProcessTest;
using Vorn::System::currentTime;

// While it lives no process group gets a signal, as if all its processes were stuck in the kernel.
class UnkillableGroups {
 public:
   UnkillableGroups() {
      groupsAreUnkillable = true;
      blockedGroup = 0;
   }
   UnkillableGroups(UnkillableGroups const &) = delete;
   UnkillableGroups & operator=(UnkillableGroups const &) = delete;
   ~UnkillableGroups() { groupsAreUnkillable = false; }
};

TEST_F(PipedChildProcessTest, FailsARunWithMoreOutputAndDelaysNothing) {
   for (char const * const script :
        {"exec head -c 10485760 /dev/zero", "exec head -c 10485760 /dev/zero >&2"}) {
      auto const done = shell(script);
      EXPECT_EQ(done->process->state(), State::failed);
      EXPECT_EQ(done->process->exitCode(), -SIGKILL);
      EXPECT_EQ(done->process->stderrString(), "sh: its output exceeded 4 MiB");
      EXPECT_TRUE(Support::turnInRealTime([&] { return tracker->orphans() == 0; }));
      EXPECT_FALSE(Support::hasChildren());
   }
}

TEST_F(PipedChildProcessTest, IsTerminatedAtItsTimeLimit) {
   tracker->timeLimitIs(0.2);
   EXPECT_EQ(tracker->timeLimit(), Vorn::Seconds{0.2});
   auto const done = shell("echo part; exec sleep 1000");
   EXPECT_EQ(done->process->state(), State::failed);
   EXPECT_EQ(done->process->exitCode(), -SIGTERM);
   EXPECT_EQ(done->process->stdoutBuffer(), "part\n");
   EXPECT_EQ(done->process->stderrString(), "sh: it exceeded its time limit");
   EXPECT_TRUE(tracker->finishedRun()->timedOut);
   EXPECT_LT(tracker->finishedRun()->duration, Vorn::Seconds{2});
}

TEST_F(PipedChildProcessTest, FailsWhenItEndsWellAfterItsTermination) {
   tracker->timeLimitIs(1);  // time enough for the shell to set its trap
   auto const done = shell("trap 'exit 0' TERM; while :; do sleep 0.05; done");
   EXPECT_EQ(done->process->state(), State::failed);
   EXPECT_EQ(done->process->exitCode(), 0);
   EXPECT_TRUE(tracker->finishedRun()->failed);
}

TEST_F(PipedChildProcessTest, IsKilledAtItsTimeLimitWhenItIgnoresTermination) {
   tracker->timeLimitIs(1);  // time enough for the shell to set its trap
   auto const done = shell("trap '' TERM; while :; do sleep 0.05; done");
   EXPECT_EQ(done->process->exitCode(), -SIGKILL);
   EXPECT_EQ(tracker->orphans(), 0U) << "killed and reaped, not given up";
   EXPECT_TRUE(tracker->finishedRun()->timedOut);
   EXPECT_GE(tracker->finishedRun()->duration, Vorn::Seconds{3});
}

TEST_F(PipedChildProcessTest, IsEndedAtItsTimeLimitThoughItsOutputIsKeptOutOfReach) {
   tracker->timeLimitIs(1);  // time enough for the shell to set its trap
   auto const done = shell("trap '' TERM; setsid sleep 1000 & echo $!; while :; do sleep 0.05; done");
   EXPECT_EQ(done->process->exitCode(), -SIGKILL);
   EXPECT_EQ(done->process->stderrString(), "sh: it exceeded its time limit");
   EXPECT_GE(tracker->finishedRun()->duration, Vorn::Seconds{4});
   EXPECT_LT(tracker->finishedRun()->duration, Vorn::Seconds{15});
   kill(std::atoi(done->process->stdoutBuffer().c_str()), SIGKILL);
   EXPECT_TRUE(Support::turnInRealTime([&] { return tracker->orphans() == 0; }));
}

TEST_F(PipedChildProcessTest, IsNotRunAgainWhileItsLastRunCannotBeEnded) {
   // Stands for a run that is stuck in the kernel: killed, and still alive.
   pid_t const stuck = Vorn::spawnProcess({"sleep", "1000"}, -1, -1, -1);
   ASSERT_GT(stuck, 0);
   auto const pidfd = static_cast<int>(syscall(SYS_pidfd_open, stuck, 0));
   tracker->orphanIs(stuck, pidfd, {"sh", "-c", "exit 0"});
   auto const refused = shell("exit 0");
   EXPECT_EQ(refused->states, (std::vector<std::string>{"running", "failed"}));
   EXPECT_EQ(refused->process->exitCode(), -SIGKILL);
   EXPECT_EQ(refused->process->stderrString(),
             "sh: its last run exceeded the time limit and cannot be ended");
   EXPECT_TRUE(tracker->finishedRun()->timedOut);
   EXPECT_EQ(tracker->orphans(), 1U);
   EXPECT_EQ(shell("exit 0;")->process->state(), State::finished) << "another command is";
   kill(stuck, SIGKILL);
   EXPECT_TRUE(Support::turnInRealTime([&] { return tracker->orphans() == 0; }));
   EXPECT_EQ(shell("exit 0")->process->state(), State::finished);
}

TEST_F(PipedChildProcessTest, RunsAgainThoughARunThatWroteTooMuchLives) {
   std::string const script = "head -c 5000000 /dev/zero; exec sleep 1000";
   {
      UnkillableGroups const unkillable;
      EXPECT_EQ(shell(script)->process->stderrString(), "sh: its output exceeded 4 MiB");
   }
   EXPECT_EQ(tracker->orphans(), 1U);
   EXPECT_FALSE(tracker->hasStuckRun({"sh", "-c", Pelm::String{script}}));
   ASSERT_LT(blockedGroup, -1) << "a group of its own";
   kill(blockedGroup, SIGKILL);
   EXPECT_TRUE(Support::turnInRealTime([&] { return tracker->orphans() == 0; }));
}

TEST_F(PipedChildProcessTest, RunsUndisturbedWithinItsTimeLimit) {
   tracker->timeLimitIs(10);
   auto const done = shell("exit 0");
   EXPECT_EQ(done->process->state(), State::finished);
   EXPECT_FALSE(tracker->finishedRun()->timedOut);
   EXPECT_FALSE(tracker->finishedRun()->failed);
}

class PipedChildProcessInVirtualTimeTest : public Support::VirtualTimeTest {};

TEST_F(PipedChildProcessInVirtualTimeTest, EndsBeforeVirtualTimeAdvances) {
   auto const tracker = Pelm::make<ChildProcessTrackerSm>();
   Command done{tracker, {"sh", "-c", "sleep 0.1; echo out"}};
   done.process->start(true, true);
   EXPECT_TRUE(eventually([&] { return done.over(); }));
   EXPECT_EQ(currentTime(), Vorn::Seconds{1000}) << "the run took no virtual time";
   EXPECT_EQ(done.process->stdoutBuffer(), "out\n");
}

TEST_F(PipedChildProcessInVirtualTimeTest, BlocksItsCommandUntilItHasDiedAfterItsTimeLimit) {
   auto const tracker = Pelm::make<ChildProcessTrackerSm>();
   tracker->timeLimitIs(5);
   Argv const argv{"sleep", "1000"};
   Command done{tracker, argv};
   done.process->start(true, true);
   {
      UnkillableGroups const unkillable;
      Vorn::activityManager().outsideWorkInc(-1);  // time does not wait for it
      EXPECT_TRUE(eventually([&] { return done.over(); }));
      Vorn::activityManager().outsideWorkInc(1);
   }
   EXPECT_EQ(currentTime(), Vorn::Seconds{1008}) << "terminated after 5 s, killed after 7, given up after 8";
   EXPECT_EQ(done.process->stderrString(), "sleep: it exceeded its time limit");
   EXPECT_TRUE(tracker->hasStuckRun(argv));
   ASSERT_LT(blockedGroup, -1) << "a group of its own";
   kill(blockedGroup, SIGKILL);
   siginfo_t died{};
   waitid(P_PID, static_cast<id_t>(-blockedGroup), &died, WEXITED | WNOWAIT);
   EXPECT_EQ(tracker->orphans(), 1U);
   EXPECT_FALSE(tracker->hasStuckRun(argv)) << "it has died, if nobody has reaped it yet";
   EXPECT_TRUE(eventually([&] { return tracker->orphans() == 0; }));
}

}  // namespace
