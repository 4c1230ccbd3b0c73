#include "agent/Signals.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

#include "runtime/host/Loop.h"

namespace {

// Each in a process of its own: what it does to signals is the process's.
TEST(TerminationSignalsDeathTest, StopTheLoop) {
   auto const runUntil = [](int signal) {
      Agent::TerminationSignals const signals;
      std::raise(signal);
      Host::run();
      std::exit(0);
   };
   for (int const signal : {SIGTERM, SIGINT, SIGHUP})
      EXPECT_EXIT(runUntil(signal), testing::ExitedWithCode(0), "");
}

TEST(TerminationSignalsDeathTest, ThatComeWhileStoppingDoNoHarm) {
   auto const stopTwice = [] {
      {
         Agent::TerminationSignals const signals;
         std::raise(SIGINT);
         Host::run();
         std::raise(SIGTERM);
         std::raise(SIGINT);
      }
      std::exit(0);
   };
   EXPECT_EXIT(stopTwice(), testing::ExitedWithCode(0), "");
}

}  // namespace
