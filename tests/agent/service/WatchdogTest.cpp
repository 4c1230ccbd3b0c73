// The watchdog's thread beside a loop of the test's own. Also run under ThreadSanitizer.
#include "agent/service/Watchdog.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>

#include "runtime/Vorn/BlockingCall.h"
#include "runtime/host/Loop.h"
#include "runtime/host/TimeSource.h"
#include "tests/support/DatagramSocket.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/PipedLog.h"

namespace {

// While it is set, every thread but the first finds no memory.
std::atomic<bool> noMemoryForOtherThreads = false;

}  // namespace

bool Support::refusesAllocation(std::size_t /*bytes*/) {
   return noMemoryForOtherThreads && gettid() != getpid();
}

namespace Agent {
namespace {

namespace fs = std::filesystem;

class WatchdogTest : public testing::Test, protected Support::PipedLog {
 protected:
   WatchdogTest() {
      setenv("NOTIFY_SOCKET", socket.name().c_str(), 1);
      Vorn::Host::turn(0);  // the latest turn of the loop, in any test, ended just now
   }
   ~WatchdogTest() override {
      unsetenv("NOTIFY_SOCKET");
      unsetenv("WATCHDOG_USEC");
   }

   static std::set<std::string> threads() {
      std::set<std::string> ids;
      for (auto const & task : fs::directory_iterator{"/proc/self/task"})
         ids.insert(task.path().filename());
      return ids;
   }
   static bool isBlocked(std::string const & thread, int signal) {
      std::ifstream status{"/proc/self/task/" + thread + "/status"};
      std::uint64_t mask = 0;
      for (std::string word; status >> word;)
         if (word == "SigBlk:")
            status >> std::hex >> mask;
      return (mask >> static_cast<unsigned>(signal - 1) & 1U) != 0;
   }
   Support::TempDir folder;
   Support::DatagramSocket socket{folder.string() + "/notify"};
};

TEST_F(WatchdogTest, RunsOneThreadThatReceivesNoSignalsAndEndsAtOnce) {
   ServiceManager const manager;
   std::thread{[] {}}.join();  // a sanitizer starts one of its own with the first
   auto const before = threads();
   auto const start = std::chrono::steady_clock::now();
   {
      Watchdog const watchdog{*log, manager};
      auto now = threads();
      for (std::string const & thread : before)
         now.erase(thread);
      ASSERT_EQ(now.size(), 1U);
      for (int const signal : {SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGUSR1, SIGPIPE, SIGALRM})
         EXPECT_TRUE(isBlocked(*now.begin(), signal)) << signal;
      EXPECT_FALSE(isBlocked(std::to_string(gettid()), SIGTERM));
   }
   EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds{900});
   EXPECT_EQ(threads(), before);
   EXPECT_EQ(written(), "");
}

TEST_F(WatchdogTest, SendsFourKeepAlivesWithinTheManagersPatience) {
   setenv("WATCHDOG_USEC", "80000", 1);
   ServiceManager const manager;
   auto const start = std::chrono::steady_clock::now();
   Watchdog const watchdog{*log, manager};
   for (int i = 0; i < 5; ++i)
      EXPECT_EQ(socket.next(), "WATCHDOG=1");
   EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds{80});
}

TEST_F(WatchdogTest, SendsKeepAlivesInRealSecondsWhateverTheTimeScale) {
   setenv("WATCHDOG_USEC", "80000", 1);
   ServiceManager const manager;
   for (double const scale : {0.001, 1000.0}) {
      Vorn::Host::timeSourceIs(std::make_unique<Vorn::Host::RealTime>(scale));
      auto const start = std::chrono::steady_clock::now();
      {
         Watchdog const watchdog{*log, manager};
         for (int i = 0; i < 5; ++i)
            EXPECT_EQ(socket.next(), "WATCHDOG=1");
      }
      auto const span = std::chrono::steady_clock::now() - start;
      EXPECT_GE(span, std::chrono::milliseconds{80}) << scale;
      EXPECT_LT(span, std::chrono::seconds{20}) << scale;
      socket.received();
   }
   Vorn::Host::timeSourceIs(nullptr);
}

TEST_F(WatchdogTest, SendsNoKeepAlivesWithoutAWatchfulManager) {
   ServiceManager const manager;
   {
      Watchdog const watchdog{*log, manager};
      manager.notify("READY=1");
      EXPECT_EQ(socket.next(), "READY=1");
   }
   EXPECT_TRUE(socket.received().empty());
}

#ifndef STORAGEDEVICES_ALLOCATES_BY_ITSELF
TEST_F(WatchdogTest, SendsKeepAlivesWithoutMemoryForASample) {
   setenv("WATCHDOG_USEC", "80000", 1);
   ServiceManager const manager;
   Vorn::BlockingCall const call{"fsync", "/mnt/a-name-that-takes-memory-to-be-kept"};
   noMemoryForOtherThreads = true;
   {
      Watchdog const watchdog{*log, manager};
      for (int i = 0; i < 3; ++i)
         EXPECT_EQ(socket.next(), "WATCHDOG=1");
   }
   noMemoryForOtherThreads = false;
}

TEST_F(WatchdogTest, LeavesTheLogAThreadThatNeedsNoMemoryForALine) {
   noMemoryForOtherThreads = true;
   log->notice(6, "a line");
   EXPECT_TRUE(written().ends_with(" info storagedevices: a line\n"));
   noMemoryForOtherThreads = false;
}
#endif

TEST_F(WatchdogTest, KeepsLinesOfTwoThreadsWholeBesideABusyLoop) {
   ServiceManager const manager;
   Watchdog const watchdog{*log, manager};
   std::atomic<bool> done = false;
   std::string text;
   std::thread reader{[&] {
      while (!done)
         text += written();
   }};
   std::thread beside{[&] {
      for (int i = 0; i < 200; ++i)
         log->notice(4, std::string(500, 'b'));
   }};
   for (int i = 0; i < 200; ++i) {
      Vorn::Host::turn(0);
      Vorn::BlockingCall const call{"fsync", "/mnt/drive"};
      log->notice(6, std::string(500, 'a'));
      EXPECT_EQ(watchdog.stalls().count, 0U);
   }
   beside.join();
   done = true;
   reader.join();
   text += written();
   std::uint64_t whole = 0;
   for (std::size_t at = 0, end = 0; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
      std::string const line = text.substr(at, end - at);
      whole += line.ends_with(": " + std::string(500, 'a')) || line.ends_with(": " + std::string(500, 'b'));
   }
   EXPECT_EQ(whole + log->dropped(), 400U);
   EXPECT_GT(whole, 0U);
}

}  // namespace
}  // namespace Agent
