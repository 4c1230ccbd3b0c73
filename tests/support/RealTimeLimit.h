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
#include <utility>

namespace Support {

// While it lives. Every test has one of the usual length (TestMain.cpp); a test that needs more makes its
// own, which suspends the outer one.
class RealTimeLimit {
 public:
   // Enough for the sanitizers on a loaded machine.
   explicit RealTimeLimit(std::chrono::milliseconds limit = std::chrono::seconds{60})
       : outerMessage_{std::exchange(message(), sentence(limit))} {
      std::signal(SIGALRM, &RealTimeLimit::end);
      auto const seconds = std::chrono::duration_cast<std::chrono::seconds>(limit);
      std::chrono::microseconds const rest = limit - seconds;
      itimerval const timer{.it_interval = {}, .it_value = {seconds.count(), rest.count()}};
      setitimer(ITIMER_REAL, &timer, &outer_);
   }
   RealTimeLimit(RealTimeLimit const &) = delete;
   RealTimeLimit & operator=(RealTimeLimit const &) = delete;
   ~RealTimeLimit() {
      setitimer(ITIMER_REAL, &outer_, nullptr);
      message() = outerMessage_;
   }

   // What is left of it; 0 without one.
   static std::chrono::seconds left() {
      itimerval timer{};
      getitimer(ITIMER_REAL, &timer);
      return std::chrono::seconds{timer.it_value.tv_sec};
   }

 private:
   // Made beforehand, since a signal handler may take no memory.
   static std::string & message() {
      // Never destroyed: a test that exits destroys its limit last.
      static std::string & text = *new std::string;
      return text;
   }
   static std::string testName() {
      auto const & all = *testing::UnitTest::GetInstance();
      if (auto const * const test = all.current_test_info())
         return std::string{test->test_suite_name()} + "." + test->name();
      auto const * const suite = all.current_test_suite();
      return suite ? std::string{suite->name()} + ", outside of its tests" : "outside of a test";
   }
   static std::string sentence(std::chrono::milliseconds limit) {
      return "\n" + testName() + ": not over after " + std::to_string(limit.count()) +
             " ms of real time: a handler never returns, or the loop never comes to what the test waits "
             "for\n";
   }
   static void end(int) {
      [[maybe_unused]] auto const written = ::write(STDERR_FILENO, message().data(), message().size());
      std::abort();
   }

   std::string outerMessage_;
   itimerval outer_{};
};

}  // namespace Support
