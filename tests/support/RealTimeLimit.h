// Ends the program when a test exceeds its limit of real time. Without it, a turn that never ends stalls the
// whole program until CTest kills it, and nothing names the test.
#pragma once

#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>

namespace Support {

// While it lives. One at a time: a process has one such timer.
class RealTimeLimit {
 public:
   // Enough for the sanitizers on a loaded machine.
   explicit RealTimeLimit(std::chrono::milliseconds limit = std::chrono::seconds{60}) {
      message() = sentence(limit);
      std::signal(SIGALRM, &RealTimeLimit::end);
      timerIs(limit);
   }
   RealTimeLimit(RealTimeLimit const &) = delete;
   RealTimeLimit & operator=(RealTimeLimit const &) = delete;
   ~RealTimeLimit() {
      timerIs(std::chrono::milliseconds{0});
      std::signal(SIGALRM, SIG_DFL);
   }

   // What is left of it.
   static std::chrono::seconds left() {
      itimerval timer{};
      getitimer(ITIMER_REAL, &timer);
      return std::chrono::seconds{timer.it_value.tv_sec};
   }

 private:
   // Made beforehand, since a signal handler may take no memory.
   static std::string & message() {
      static std::string text;
      return text;
   }
   static std::string sentence(std::chrono::milliseconds limit) {
      auto const * test = testing::UnitTest::GetInstance()->current_test_info();
      std::string const name =
          test ? std::string{test->test_suite_name()} + "." + test->name() : "outside of a test";
      return "\n" + name + ": not over after " + std::to_string(limit.count()) +
             " ms of real time: a handler never returns, or the loop never comes to what the test waits "
             "for\n";
   }
   static void timerIs(std::chrono::milliseconds span) {
      auto const seconds = std::chrono::duration_cast<std::chrono::seconds>(span);
      std::chrono::microseconds const rest = span - seconds;
      itimerval const timer{.it_interval = {}, .it_value = {seconds.count(), rest.count()}};
      setitimer(ITIMER_REAL, &timer, nullptr);
   }
   static void end(int) {
      [[maybe_unused]] auto const written = ::write(STDERR_FILENO, message().data(), message().size());
      std::abort();
   }
};

}  // namespace Support
