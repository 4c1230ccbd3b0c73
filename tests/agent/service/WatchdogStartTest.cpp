// How the watchdog is had in the end where the system refuses its thread at first.
#include "agent/service/WatchdogStart.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "runtime/Vorn/Shortage.h"
#include "tests/support/DatagramSocket.h"
#include "tests/support/PipedLog.h"
#include "tests/support/VirtualTimeTest.h"

namespace Agent {
namespace {

class WatchdogStartTest : public Support::VirtualTimeTest, protected Support::PipedLog {
 protected:
   WatchdogStartTest() { setenv("NOTIFY_SOCKET", socket.name().c_str(), 1); }
   ~WatchdogStartTest() override {
      unsetenv("NOTIFY_SOCKET");
      unsetenv("WATCHDOG_USEC");
   }

   void start() {
      manager = std::make_unique<ServiceManager>();
      begun = Vorn::System::currentTime();
      watchdog = std::make_unique<WatchdogStart>(*log, *manager, [this] { return make(); });
   }
   std::unique_ptr<Watchdog> make() {
      attempts.push_back((Vorn::System::currentTime() - begun).value());
      if (attempts.size() <= refusals)
         throw std::system_error{EAGAIN, std::generic_category(), "no thread"};
      return std::make_unique<Watchdog>(*log, *manager);
   }

   Support::TempDir folder;
   Support::DatagramSocket socket{folder.string() + "/notify"};
   std::size_t refusals = 0;
   std::vector<double> attempts;  // seconds after the start
   Vorn::Seconds begun = 0;
   std::unique_ptr<ServiceManager> manager;
   std::unique_ptr<WatchdogStart> watchdog;
};

TEST_F(WatchdogStartTest, ReportsNothingOfAWatchdogThatStarts) {
   start();
   Vorn::Host::runFor(1000);
   EXPECT_EQ(attempts, std::vector<double>{0});
   EXPECT_EQ(written(), "");
}

TEST_F(WatchdogStartTest, RetriesMoreAndMoreRarelyAndReportsBothEndsOnce) {
   refusals = 9;
   start();
   std::string const refused = written();
   EXPECT_TRUE(refused.ends_with(
       " warning storagedevices: the watchdog cannot be started and will be retried: no thread: " +
       Vorn::errorAndRemedy(EAGAIN) + "\n"))
       << refused;
   Vorn::Host::runFor(240);
   EXPECT_EQ(written(), "");
   Vorn::Host::runFor(1000);
   EXPECT_EQ(attempts, (std::vector<double>{0, 1, 3, 7, 15, 31, 63, 123, 183, 243}));
   std::string const had = written();
   EXPECT_TRUE(had.ends_with(" info storagedevices: the watchdog has started\n")) << had;
   EXPECT_EQ(std::count(had.begin(), had.end(), '\n'), 1);
}

TEST_F(WatchdogStartTest, SendsKeepAlivesFromTheLoopUntilTheWatchdogStarts) {
   setenv("WATCHDOG_USEC", "12000000", 1);
   refusals = 100;
   start();
   Vorn::Host::runFor(300);
   for (std::size_t i = 3; i < attempts.size(); ++i)
      EXPECT_EQ(attempts[i] - attempts[i - 1], 3) << "a quarter of the manager's patience";
   EXPECT_GE(attempts.size(), 100U);
   std::vector<std::string> const signs = socket.received();
   EXPECT_GE(signs.size(), 5U) << "as many as the socket keeps";
   for (std::string const & sign : signs)
      EXPECT_EQ(sign, "WATCHDOG=1");
}

}  // namespace
}  // namespace Agent
