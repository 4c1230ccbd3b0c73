#include "agent/service/Signals.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "runtime/host/Loop.h"

namespace {

// Each in a process of its own: what it does to signals is the process's.
TEST(SignalsDeathTest, StopsTheLoop) {
   auto const runUntil = [](int signal) {
      Agent::Signals const signals{[] { std::exit(2); }};
      std::raise(signal);
      Vorn::Host::run();
      std::exit(0);
   };
   for (int const signal : {SIGTERM, SIGINT, SIGQUIT, SIGUSR1, SIGUSR2, SIGALRM})
      EXPECT_EXIT(runUntil(signal), testing::ExitedWithCode(0), "") << signal;
}

TEST(SignalsDeathTest, ReloadsAtASighupAndKeepsTheLoopRunning) {
   auto const reloadTwice = [] {
      int reloads = 0;
      Agent::Signals const signals{[&reloads] { ++reloads; }};
      for (int count = 0; count < 2; ++count) {
         std::raise(SIGHUP);
         Vorn::Host::turn(0);
      }
      std::exit(reloads == 2 && !Vorn::Host::stopRequested() ? 0 : 1);
   };
   EXPECT_EXIT(reloadTwice(), testing::ExitedWithCode(0), "");
}

// A process that has a terminal of its own, which goes.
[[noreturn]] void loseTerminal(void (*disposition)(int)) {
   std::signal(SIGHUP, disposition);
   setsid();
   int const master = posix_openpt(O_RDWR | O_CLOEXEC);
   grantpt(master);
   unlockpt(master);
   int const terminal = open(ptsname(master), O_RDWR | O_CLOEXEC);
   ioctl(terminal, TIOCSCTTY, 0);
   Agent::Signals const signals{[] { std::exit(3); }};
   close(master);
   Vorn::Host::run();
   std::exit(0);
}

TEST(SignalsDeathTest, EndsAnAgentWithItsTerminalUnlessToldToOutliveIt) {
   EXPECT_EXIT(loseTerminal(SIG_DFL), testing::ExitedWithCode(0), "");
   EXPECT_EXIT(loseTerminal(SIG_IGN), testing::ExitedWithCode(3), "");
}

TEST(SignalsDeathTest, ReportsAFileThatMayNotGrowAsAWriteError) {
   auto const writeTooMuch = [] {
      Agent::Signals const signals{[] {}};
      std::FILE * const file = std::tmpfile();
      rlimit const limit{1, 1};
      setrlimit(RLIMIT_FSIZE, &limit);
      ssize_t const first = write(fileno(file), "ab", 2);
      std::exit(first == 1 && write(fileno(file), "c", 1) < 0 && errno == EFBIG ? 0 : 1);
   };
   EXPECT_EXIT(writeTooMuch(), testing::ExitedWithCode(0), "");
}

TEST(SignalsDeathTest, ReportsAPipeThatNobodyReadsAsAWriteError) {
   auto const writeInVain = [] {
      Agent::Signals const signals{[] {}};
      int ends[2] = {-1, -1};
      bool const made = pipe(ends) == 0 && close(ends[0]) == 0;
      std::exit(made && write(ends[1], "x", 1) < 0 && errno == EPIPE ? 0 : 1);
   };
   EXPECT_EXIT(writeInVain(), testing::ExitedWithCode(0), "");
}

TEST(SignalsDeathTest, DoesNoHarmWhileStopping) {
   auto const stopTwice = [] {
      {
         Agent::Signals const signals{[] {}};
         std::raise(SIGINT);
         Vorn::Host::run();
         for (int const signal : {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGALRM})
            std::raise(signal);
      }
      std::exit(0);
   };
   EXPECT_EXIT(stopTwice(), testing::ExitedWithCode(0), "");
}

}  // namespace
