#include "agent/service/ServiceManager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "tests/support/DatagramSocket.h"

namespace Agent {
namespace {

class ServiceManagerTest : public testing::Test {
 protected:
   ~ServiceManagerTest() override {
      for (char const * const name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"})
         unsetenv(name);
   }
   static void variable(char const * name, std::string const & value) { setenv(name, value.c_str(), 1); }

   Support::TempDir folder;
};

TEST_F(ServiceManagerTest, IsNotifiedOnTheSocketThatItNames) {
   Support::DatagramSocket const socket{folder.string() + "/notify"};
   variable("NOTIFY_SOCKET", socket.name());
   ServiceManager const manager;
   manager.notify("READY=1");
   manager.notify("STOPPING=1");
   EXPECT_EQ(socket.received(), (std::vector<std::string>{"READY=1", "STOPPING=1"}));
   EXPECT_EQ(manager.patience(), std::nullopt);
}

TEST_F(ServiceManagerTest, SupportsAnAbstractSocket) {
   Support::DatagramSocket const socket{"@storagedevices-test-" + std::to_string(getpid())};
   variable("NOTIFY_SOCKET", socket.name());
   ServiceManager{}.notify("READY=1");
   EXPECT_EQ(socket.received(), std::vector<std::string>{"READY=1"});
}

TEST_F(ServiceManagerTest, ToleratesAMissingOrUnreachableSocket) {
   ServiceManager{}.notify("READY=1");
   for (std::string const & name : {std::string{}, std::string{"vsock:2:1234"}, folder.string() + "/nobody",
                                    "/" + std::string(200, 'x')}) {
      variable("NOTIFY_SOCKET", name);
      ServiceManager{}.notify("READY=1");
   }
}

TEST_F(ServiceManagerTest, StallsNobodyWhenItReadsNothing) {
   Support::DatagramSocket const socket{folder.string() + "/notify"};
   variable("NOTIFY_SOCKET", socket.name());
   ServiceManager const manager;
   for (int i = 0; i < 10000; ++i)
      manager.notify("WATCHDOG=1");
   EXPECT_GT(socket.received().size(), 0U);
}

TEST_F(ServiceManagerTest, SetsItsPatienceForThisProcessAlone) {
   variable("NOTIFY_SOCKET", folder.string() + "/notify");
   variable("WATCHDOG_USEC", "30000000");
   EXPECT_EQ(ServiceManager{}.patience(), 30.0);
   variable("WATCHDOG_PID", std::to_string(getpid()));
   EXPECT_EQ(ServiceManager{}.patience(), 30.0);
   variable("WATCHDOG_PID", std::to_string(getppid()));
   EXPECT_EQ(ServiceManager{}.patience(), std::nullopt);
   variable("WATCHDOG_PID", "");
   for (char const * const useless : {"", "0", "-5", "30s", "99999999999999999999"}) {
      variable("WATCHDOG_USEC", useless);
      EXPECT_EQ(ServiceManager{}.patience(), std::nullopt) << useless;
   }
}

}  // namespace
}  // namespace Agent
