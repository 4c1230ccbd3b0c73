// Runs of real programs, in real time.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "runtime/Brul/PipedChildProcessSm.h"
#include "runtime/Vorn/ActivityManager.h"
#include "runtime/Vorn/Process.h"
#include "runtime/Vorn/Shortage.h"
#include "tests/support/ProcessState.h"
#include "tests/support/RealTime.h"
#include "tests/support/TempDir.h"
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
using Brul::PipedChildProcessSm;
using State = PipedChildProcessSm::State;
using Argv = std::vector<Pelm::String>;
using Vorn::System::currentTime;

// Watches a run and writes down its states.
class Command {
 public:
   Command(Pelm::Ptr<ChildProcessTrackerSm> const & tracker, Argv const & argv)
       : process{PipedChildProcessSm::PipedChildProcessSmIs(tracker)} {
      for (Pelm::String const & argument : argv)
         process->argPush(argument);
      reactor_.notifierIs(process);
      reactor_.on<&Command::handleState>(process->state, *this);
      reactor_.hasNotificationActiveIs(true);
      process->hasNotificationActiveIs(true);
   }

   bool over() const { return process->state() == State::failed || process->state() == State::finished; }
   void drop() {
      reactor_.notifierIs(nullptr);
      process = nullptr;
   }

   Pelm::Ptr<PipedChildProcessSm> process;
   std::vector<std::string> states;
   std::function<void()> then;

 private:
   void handleState() {
      states.push_back(process->state().stringValue().str());
      if (auto const next = then)
         next();
   }
   Vorn::NotifieeConst reactor_;
};

// Whether a process runs; one that has died and waits to be reaped does not.
bool isRunning(pid_t pid) {
   std::ifstream file{"/proc/" + std::to_string(pid) + "/stat"};
   std::string const stat{std::istreambuf_iterator<char>{file}, {}};
   std::size_t const state = stat.rfind(") ");
   return state != std::string::npos && stat[state + 2] != 'Z' && stat[state + 2] != 'X';
}

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

class PipedChildProcessTest : public testing::Test {
 protected:
   PipedChildProcessTest() { Vorn::Host::timeSourceIs(nullptr); }
   ~PipedChildProcessTest() override {
      tracker = nullptr;
      EXPECT_FALSE(Support::hasChildren()) << "no test leaves a child";
      EXPECT_EQ(Vorn::activityManager().outsideWork(), 0);
   }

   // Runs a command to its end.
   std::unique_ptr<Command> run(Argv const & argv, bool captureStdout = true, bool captureStderr = true) {
      auto result = std::make_unique<Command>(tracker, argv);
      result->process->start(captureStdout, captureStderr);
      EXPECT_TRUE(Support::turnInRealTime([&] { return result->over(); }));
      return result;
   }
   std::unique_ptr<Command> shell(std::string const & script) { return run({"sh", "-c", script}); }

   Pelm::Ptr<ChildProcessTrackerSm> tracker = Pelm::make<ChildProcessTrackerSm>();
};

TEST_F(PipedChildProcessTest, FinishesWithItsOutputs) {
   auto const done = shell("echo out; echo err >&2");
   EXPECT_EQ(done->states, (std::vector<std::string>{"running", "finished"}));
   EXPECT_EQ(done->process->exitCode(), 0);
   EXPECT_EQ(done->process->stdoutBuffer(), "out\n");
   EXPECT_EQ(done->process->stderrString(), "err\n");
}

TEST_F(PipedChildProcessTest, KeepsOnlyCapturedOutput) {
   auto const done = run({"sh", "-c", "echo out; echo err >&2"}, false, false);
   EXPECT_EQ(done->process->state(), State::finished);
   EXPECT_EQ(done->process->stdoutBuffer(), "");
   EXPECT_EQ(done->process->stderrString(), "");
}

TEST_F(PipedChildProcessTest, HasAnEmptyStandardInput) {
   EXPECT_EQ(run({"cat"})->process->stdoutBuffer(), "");
   EXPECT_EQ(run({"readlink", "/proc/self/fd/0"})->process->stdoutBuffer(), "/dev/null\n");
}

TEST_F(PipedChildProcessTest, FailsForExitCodesButZeroUnlessThePolicySaysOtherwise) {
   auto const plain = shell("exit 4");
   EXPECT_EQ(plain->process->state(), State::failed);
   EXPECT_EQ(plain->process->exitCode(), 4);
   tracker->failurePolicyIs(
       [](Pelm::String const & program, int exitCode) { return program != "sh" || exitCode != 4; });
   EXPECT_EQ(shell("exit 4")->process->state(), State::finished);
   EXPECT_EQ(shell("exit 5")->process->state(), State::failed);
   EXPECT_EQ(shell("kill -9 $$")->process->state(), State::failed) << "a death by signal always is one";
}

TEST_F(PipedChildProcessTest, FailsForADeathBySignalWithItsNumber) {
   auto const done = shell("echo last words; kill -TERM $$");
   EXPECT_EQ(done->process->state(), State::failed);
   EXPECT_EQ(done->process->exitCode(), -SIGTERM);
   EXPECT_EQ(done->process->stdoutBuffer(), "last words\n");
}

TEST_F(PipedChildProcessTest, KeepsOutputUpToFourMebibytesWhole) {
   auto const done = run({"head", "-c", "4194304", "/dev/zero"});
   EXPECT_EQ(done->process->state(), State::finished);
   EXPECT_EQ(done->process->stdoutBuffer().size(), 4194304U);
}

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

TEST_F(PipedChildProcessTest, RunsToItsEndThoughItClosesItsOutputs) {
   auto const done = shell("exec >&- 2>&-; sleep 0.3; exit 3");
   EXPECT_EQ(done->process->exitCode(), 3);
   EXPECT_GE(tracker->finishedRun()->duration, Vorn::Seconds{0.3});
}

TEST_F(PipedChildProcessTest, KillsAGrandchildThatKeepsAnOutputAfterAShortGrace) {
   for (char const * const keepsBothOrOne :
        {"sleep 1000 & echo $!", "sleep 1000 2>&- & echo $!", "sleep 1000 >&- & echo $!"}) {
      auto const done = shell(keepsBothOrOne);
      EXPECT_EQ(done->process->state(), State::finished);
      EXPECT_EQ(done->process->exitCode(), 0);
      EXPECT_GE(tracker->finishedRun()->duration, Vorn::Seconds{0.5}) << keepsBothOrOne;
      EXPECT_LT(tracker->finishedRun()->duration, Vorn::Seconds{10});
      pid_t const grandchild = std::atoi(done->process->stdoutBuffer().c_str());
      ASSERT_GT(grandchild, 0);
      EXPECT_TRUE(Support::turnInRealTime([&] { return !isRunning(grandchild); })) << keepsBothOrOne;
   }
}

TEST_F(PipedChildProcessTest, EndsThoughAGrandchildInASessionOfItsOwnKeepsAnOutput) {
   // Nothing kills it, so what it keeps stays open at its end: both outputs, each alone.
   for (char const * const kept : {"setsid sleep 1000 & echo $!", "setsid sleep 1000 2>&- & echo $!",
                                   "setsid sleep 1000 >&- & echo $!"}) {
      auto const done = shell(kept);
      EXPECT_EQ(done->process->state(), State::finished) << kept;
      EXPECT_LT(tracker->finishedRun()->duration, Vorn::Seconds{10});
      pid_t const grandchild = std::atoi(done->process->stdoutBuffer().c_str());
      ASSERT_GT(grandchild, 0);
      EXPECT_TRUE(isRunning(grandchild)) << "it is out of reach";
      kill(grandchild, SIGKILL);
   }
}

TEST_F(PipedChildProcessTest, ReadsAGrandchildThatFinishesWithinTheGrace) {
   auto const done = shell("(sleep 0.1; echo late) & echo early");
   EXPECT_EQ(done->process->stdoutBuffer(), "early\nlate\n");
   auto const onOneOutput = shell("(sleep 0.1; echo late >&2) >&- & echo early >&2");
   EXPECT_EQ(onOneOutput->process->stderrString(), "early\nlate\n");
}

TEST_F(PipedChildProcessTest, FailsFromALaterTurnForAMissingProgram) {
   Command done{tracker, {"no-such-program-here", "-x"}};
   done.process->start(true, true);
   EXPECT_EQ(done.states, (std::vector<std::string>{"running"})) << "never from inside start";
   EXPECT_TRUE(Support::turnInRealTime([&] { return done.over(); }));
   EXPECT_EQ(done.process->state(), State::failed);
   EXPECT_EQ(done.process->exitCode(), 127);
   EXPECT_EQ(done.process->stderrString(), "no-such-program-here: No such file or directory");
   EXPECT_EQ(tracker->finishedRun()->exitCode, 127);
   EXPECT_TRUE(tracker->finishedRun()->failed);
}

TEST_F(PipedChildProcessTest, FailsWithoutAProgram) {
   auto const done = run({});
   EXPECT_EQ(done->process->state(), State::failed);
   EXPECT_EQ(done->process->stderrString(), "(no program): No such file or directory");
}

TEST_F(PipedChildProcessTest, FailsWithTheReasonForAFileThatIsNotExecutable) {
   Support::TempDir const folder;
   std::string const plain = folder.write("plain", "#!/bin/sh\ntrue\n");
   auto const done = run({Pelm::String{plain}});
   EXPECT_EQ(done->process->exitCode(), 127);
   EXPECT_EQ(done->process->stderrString(), plain + ": Permission denied");
}

TEST_F(PipedChildProcessTest, SearchesTheToolPathFirst) {
   Support::TempDir const folder;
   folder.writeScript("hostname", "echo the tool");
   tracker->toolPathIs(Pelm::String{folder.string()});
   EXPECT_EQ(run({"hostname"})->process->stdoutBuffer(), "the tool\n");
}

TEST_F(PipedChildProcessTest, RunsOnceAndKeepsTheCommandItWasStartedWith) {
   Command done{tracker, {"sh", "-c", "exit 4"}};
   tracker->failurePolicyIs([](Pelm::String const & program, int) { return program != "sh"; });
   done.process->start(true, true);
   done.process->start(true, true);
   done.process->argPopAll();
   EXPECT_TRUE(Support::turnInRealTime([&] { return done.over(); }));
   done.process->start(true, true);
   EXPECT_EQ(done.states, (std::vector<std::string>{"running", "finished"}));
   EXPECT_EQ(tracker->finishedRun()->argv, (Argv{"sh", "-c", "exit 4"}));
}

TEST_F(PipedChildProcessTest, PassesArgumentsUnchanged) {
   Command done{tracker, {"printf", "%s|", "replaced", "a b", "", "\"$HOME\"", "popped"}};
   done.process->argIs(2, "*");
   done.process->argPop();
   EXPECT_EQ(done.process->arg.front(), "%s|");
   done.process->argPopAll();
   for (char const * const argument : {"printf", "%s|", "*", "a b", "", "\"$HOME\""})
      done.process->argPush(argument);
   done.process->start(true, true);
   EXPECT_TRUE(Support::turnInRealTime([&] { return done.over(); }));
   EXPECT_EQ(done.process->stdoutBuffer(), "*|a b||\"$HOME\"|");
}

TEST_F(PipedChildProcessTest, IsNeitherReadNorPublishedWhileNotificationIsOff) {
   for (char const * const program : {"true", "no-such-program-here"}) {
      Command done{tracker, {program}};
      done.process->hasNotificationActiveIs(false);
      done.process->start(true, true);
      Vorn::Host::runFor(0.1);
      EXPECT_EQ(done.process->state(), State::running);
      done.process->hasNotificationActiveIs(true);
      EXPECT_TRUE(Support::turnInRealTime([&] { return done.over(); }));
   }
}

TEST_F(PipedChildProcessTest, KillsItsWholeGroupAndLeavesNoZombieWhenDropped) {
   Command running{tracker, {"sh", "-c", "sleep 1000 & echo $!; echo $$; wait"}};
   running.process->start(true, true);
   auto const lines = [&] {
      std::string const & text = running.process->stdoutBuffer();
      return std::count(text.begin(), text.end(), '\n');
   };
   ASSERT_TRUE(Support::turnInRealTime([&] { return lines() == 2; }));
   std::string const pids = running.process->stdoutBuffer();
   pid_t const grandchild = std::atoi(pids.c_str());
   pid_t const child = std::atoi(pids.c_str() + pids.find('\n'));
   ASSERT_TRUE(isRunning(grandchild) && isRunning(child));
   running.drop();
   EXPECT_EQ(tracker->orphans(), 1U);
   EXPECT_TRUE(Support::turnInRealTime([&] { return tracker->orphans() == 0; }));
   EXPECT_FALSE(Support::hasChildren());
   EXPECT_TRUE(Support::turnInRealTime([&] { return !isRunning(grandchild); }));
}

TEST_F(PipedChildProcessTest, LeavesNoZombieWhenDroppedTogetherWithTheTracker) {
   Command running{tracker, {"sleep", "1000"}};
   running.process->start(true, true);
   tracker = nullptr;
   running.drop();
   EXPECT_FALSE(Support::hasChildren());
}

TEST_F(PipedChildProcessTest, AllowsItsOwnerToDropItDuringItsNotification) {
   for (Argv const & argv :
        {Argv{"true"}, Argv{"no-such-program-here"}, Argv{"head", "-c", "10485760", "/dev/zero"},
         Argv{"sh", "-c", "setsid sleep 0.7 &"}}) {
      Command done{tracker, argv};
      done.then = [&] {
         if (done.over())
            done.drop();
      };
      done.process->start(true, true);
      EXPECT_TRUE(Support::turnInRealTime([&] { return !done.process; }));
      EXPECT_EQ(tracker->finishedRun()->argv, argv);
      EXPECT_TRUE(Support::turnInRealTime([&] { return tracker->orphans() == 0; }));
   }
}

TEST_F(PipedChildProcessTest, AllowsItsOwnerToDropItWhileItStarts) {
   Command done{tracker, {"sleep", "1000"}};
   done.then = [&] { done.drop(); };
   done.process->start(true, true);
   EXPECT_FALSE(done.process);
   EXPECT_TRUE(Support::turnInRealTime([&] { return tracker->orphans() == 0; }));
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
   tracker->timeLimitIs(0.2);
   auto const done = shell("trap 'exit 0' TERM; while :; do sleep 0.05; done");
   EXPECT_EQ(done->process->state(), State::failed);
   EXPECT_EQ(done->process->exitCode(), 0);
   EXPECT_TRUE(tracker->finishedRun()->failed);
}

TEST_F(PipedChildProcessTest, IsKilledAtItsTimeLimitWhenItIgnoresTermination) {
   tracker->timeLimitIs(0.2);
   auto const done = shell("trap '' TERM; while :; do sleep 0.05; done");
   EXPECT_EQ(done->process->exitCode(), -SIGKILL);
   EXPECT_EQ(tracker->orphans(), 0U) << "killed and reaped, not given up";
   EXPECT_TRUE(tracker->finishedRun()->timedOut);
   EXPECT_GE(tracker->finishedRun()->duration, Vorn::Seconds{2.2});
}

TEST_F(PipedChildProcessTest, IsEndedAtItsTimeLimitThoughItsOutputIsKeptOutOfReach) {
   tracker->timeLimitIs(0.2);
   auto const done = shell("trap '' TERM; setsid sleep 1000 & echo $!; while :; do sleep 0.05; done");
   EXPECT_EQ(done->process->exitCode(), -SIGKILL);
   EXPECT_EQ(done->process->stderrString(), "sh: it exceeded its time limit");
   EXPECT_GE(tracker->finishedRun()->duration, Vorn::Seconds{3.2});
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

TEST_F(PipedChildProcessTest, RunsAgainAtOnceAfterItsLastRunWasDropped) {
   auto first = std::make_unique<Command>(tracker, Argv{"sleep", "0"});
   first->process->start(true, true);
   first->drop();
   EXPECT_EQ(run({"sleep", "0"})->process->state(), State::finished);
}

TEST_F(PipedChildProcessTest, RunsUndisturbedWithinItsTimeLimit) {
   tracker->timeLimitIs(10);
   auto const done = shell("exit 0");
   EXPECT_EQ(done->process->state(), State::finished);
   EXPECT_FALSE(tracker->finishedRun()->timedOut);
   EXPECT_FALSE(tracker->finishedRun()->failed);
}

TEST_F(PipedChildProcessTest, EndsInAHostThatLetsTheKernelReap) {
   auto * const before = std::signal(SIGCHLD, SIG_IGN);
   auto const done = shell("echo out; sleep 0.2");
   std::signal(SIGCHLD, before);
   EXPECT_EQ(done->process->state(), State::failed) << "its exit code is lost";
   EXPECT_EQ(done->process->exitCode(), Brul::waitFailed);
   EXPECT_EQ(done->process->stdoutBuffer(), "out\n");
}

TEST_F(PipedChildProcessTest, KeepsTheSignalHandlingOfTheHost) {
   auto const dispositions = [] {
      std::vector<void (*)(int)> handlers;
      for (int signal = 1; signal < NSIG; ++signal) {
         struct sigaction action {};
         sigaction(signal, nullptr, &action);
         handlers.push_back(action.sa_handler);
      }
      return handlers;
   };
   sigset_t maskBefore{};
   sigprocmask(SIG_BLOCK, nullptr, &maskBefore);
   auto const before = dispositions();
   tracker->timeLimitIs(0.2);
   shell("sleep 1000");
   shell("exit 0");
   EXPECT_EQ(dispositions(), before);
   sigset_t maskAfter{};
   sigprocmask(SIG_BLOCK, nullptr, &maskAfter);
   EXPECT_EQ(std::memcmp(&maskBefore, &maskAfter, sizeof maskBefore), 0);
}

TEST_F(PipedChildProcessTest, FailsWithoutDescriptorsAndLeaksNothing) {
   shell("true");
   auto const before = Support::openDescriptors();
   std::vector<State> ends;
   for (unsigned spare = 0; spare < 24; ++spare) {
      auto const done = [&] {
         Support::DescriptorLimit const limit{spare};
         return shell("test -e /proc/self/fd/0");
      }();
      ends.push_back(done->process->state());
      EXPECT_TRUE(done->over());
      bool const started = done->process->exitCode() != 127;
      EXPECT_TRUE(!started || done->process->exitCode() == 0) << spare << ": no run without standard input";
      EXPECT_EQ(done->process->stderrString(), started ? "" : "sh: " + Vorn::errorAndRemedy(EMFILE)) << spare;
   }
   EXPECT_EQ(Support::openDescriptors(), before);
   EXPECT_EQ(ends.front(), State::failed);
   EXPECT_EQ(ends.back(), State::finished);
}

TEST_F(PipedChildProcessTest, PublishesFinishedRunsOneByOne) {
   class Listener {
    public:
      explicit Listener(Pelm::Ptr<ChildProcessTrackerSm> const & tracker) : tracker_{*tracker} {
         reactor_.notifierIs(tracker);
         reactor_.on<&Listener::handleRun>(tracker->finishedRun, *this);
         reactor_.hasNotificationActiveIs(true);
      }
      std::vector<int> exitCodes;

    private:
      void handleRun() { exitCodes.push_back(tracker_.finishedRun()->exitCode); }
      ChildProcessTrackerSm & tracker_;
      Vorn::NotifieeConst reactor_;
   };
   EXPECT_FALSE(tracker->finishedRun());
   Listener const listener{tracker};
   shell("exit 1");
   shell("exit 0");
   shell("exit 0");
   EXPECT_EQ(listener.exitCodes, (std::vector<int>{1, 0, 0}));
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
