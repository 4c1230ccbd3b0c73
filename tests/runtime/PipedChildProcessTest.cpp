#include "runtime/Brul/PipedChildProcessSm.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "runtime/Vorn/Process.h"
#include "runtime/Vorn/Shortage.h"
#include "tests/runtime/PipedChildProcessTest.h"
#include "tests/support/ProcessState.h"
#include "tests/support/RealTime.h"
#include "tests/support/TempDir.h"

namespace {

using Brul::ChildProcessTrackerSm;
using RuntimeTest::Argv;
using RuntimeTest::Command;
using RuntimeTest::PipedChildProcessTest;

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

}  // namespace
