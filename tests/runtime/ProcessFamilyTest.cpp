// What a run starts itself, and what is left of a run that is dropped.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "tests/runtime/PipedChildProcessTest.h"
#include "tests/support/ProcessState.h"
#include "tests/support/RealTime.h"

namespace {

using RuntimeTest::Argv;
using RuntimeTest::Command;
using RuntimeTest::PipedChildProcessTest;

// Whether a process runs; one that has died and waits to be reaped does not.
bool isRunning(pid_t pid) {
   std::ifstream file{"/proc/" + std::to_string(pid) + "/stat"};
   std::string const stat{std::istreambuf_iterator<char>{file}, {}};
   std::size_t const state = stat.rfind(") ");
   return state != std::string::npos && stat[state + 2] != 'Z' && stat[state + 2] != 'X';
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

TEST_F(PipedChildProcessTest, RunsAgainAtOnceAfterItsLastRunWasDropped) {
   auto first = std::make_unique<Command>(tracker, Argv{"sleep", "0"});
   first->process->start(true, true);
   first->drop();
   EXPECT_EQ(run({"sleep", "0"})->process->state(), State::finished);
}

}  // namespace
