// Discovery when udev fails it.
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "tests/support/DiscoveryTest.h"
#include "tests/support/UdevStartFailure.h"

namespace {

using namespace StorageDevices::Simulation;
using Texts = std::vector<std::string>;

class DiscoveryFailureTest : public Support::DiscoveryTest {
 protected:
   DiscoveryFailureTest() { unit_.blockdevIs({{".*/usb1", "usb1"}, {".*", "drive"}}); }

   void addStick(char const * name, char const * port) {
      unit_.add(usbDisk(name, port, name, "Flash", 1000));
   }
   // Descriptor of the socket on which discovery receives its events.
   int eventSocket(std::vector<int> const & before) const {
      for (int const fd : Support::openDescriptors()) {
         int type = 0;
         socklen_t size = sizeof type;
         if (!std::binary_search(before.begin(), before.end(), fd) &&
             getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size) == 0)
            return fd;
      }
      return -1;
   }
};

// A netlink socket that has lost messages. Its next reader gets ENOBUFS, like a reader of udev's socket that
// is slower than the events. -1 without the right to join a group.
int overflownSocket() {
   sockaddr_nl group{};
   group.nl_family = AF_NETLINK;
   group.nl_groups = 1;
   auto const * const address = reinterpret_cast<sockaddr const *>(&group);
   int const receiver = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_USERSOCK);
   if (bind(receiver, address, sizeof group) != 0) {
      close(receiver);
      return -1;
   }
   int const sender = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK);
   int const smallest = 1;
   setsockopt(receiver, SOL_SOCKET, SO_RCVBUF, &smallest, sizeof smallest);
   std::array<char, 4096> const message{};
   for (int i = 0; i < 16; ++i)
      sendto(sender, message.data(), message.size(), MSG_DONTWAIT, address, sizeof group);
   close(sender);
   return receiver;
}

TEST_F(DiscoveryFailureTest, TracesAnEventThatCannotBeReceivedAndNothingElse) {
   addStick("sdb", "1-1");
   startAndSettle();
   traces_.clear();
   sm_->handleSocket();
   EXPECT_EQ(traces_.errors(), Texts{" Could not receive device from udev."});
   EXPECT_EQ(traces_.lines().size(), 1U);
   EXPECT_TRUE(has("sdb"));
}

TEST_F(DiscoveryFailureTest, TracesLostEventsAndRescansEverything) {
   int const overflown = overflownSocket();
   if (overflown < 0)
      GTEST_SKIP() << "this account may not join a netlink group, so no socket can lose messages";
   addStick("sdb", "1-1");
   auto const before = Support::openDescriptors();
   startAndSettle();
   int const socket = eventSocket(before);
   ASSERT_GE(socket, 0);
   unit_.vanish("sdb");
   addStick("sdc", "1-2");
   unit_.add(nvmeDrive("nvme0n1", "NUDEV", "Marlin", 1000));
   ASSERT_EQ(dup2(overflown, socket), socket);
   close(overflown);
   traces_.clear();
   sm_->handleSocket();
   EXPECT_EQ(traces_.errors(), Texts{" Could not receive device from udev."});
   EXPECT_EQ(traces_.count(2, " enumerating devices"), 1);
   settle();
   EXPECT_FALSE(has("sdb"));
   EXPECT_TRUE(has("sdc"));
   EXPECT_TRUE(has("NUDEV"));
   EXPECT_EQ(serials().size(), 2U);
}

TEST_F(DiscoveryFailureTest, EndsTheCollectorsOfRemovedDisksAfterLostEvents) {
   int const overflown = overflownSocket();
   if (overflown < 0)
      GTEST_SKIP() << "this account may not join a netlink group, so no socket can lose messages";
   unit_.tools().hangsIs(Tool::nvmeList, "nvme0n1", true);
   unit_.add(nvmeDrive("nvme0n1", "NUDEV", "Marlin", 1000));
   auto const before = Support::openDescriptors();
   start();
   ASSERT_TRUE(toolHasStarted());
   unit_.vanish("nvme0n1");
   dup2(overflown, eventSocket(before));
   close(overflown);
   sm_->handleSocket();
   EXPECT_TRUE(sm_->diskInfoCollectorSm.empty());
   EXPECT_TRUE(sm_->infoReactor.empty());
   EXPECT_TRUE(isReady());
   EXPECT_TRUE(Support::turnInRealTime([&] { return tracker_->orphans() == 0; }));
   EXPECT_FALSE(Support::hasChildren());
}

TEST_F(DiscoveryFailureTest, StaysIdleWithoutAMonitor) {
   addStick("sdb", "1-1");
   {
      Support::DescriptorLimit const limit{0};
      start();
   }
   EXPECT_EQ(traces_.errors(),
             (Texts{" could not open /etc/blockdev", " Unable to initalize udev monitor."}));
   unit_.change("sdb");
   handleEvents();
   EXPECT_TRUE(disks().empty());
   EXPECT_FALSE(isReady());
   EXPECT_EQ(unit_.listeners(), 0U);
}

TEST_F(DiscoveryFailureTest, FollowsNoEventsWithoutAScan) {
   addStick("sdb", "1-1");
   {
      // Enough for the event socket alone.
      Support::DescriptorLimit const limit{1};
      start();
   }
   EXPECT_EQ(traces_.errors(), Texts{"  Unable to obtain initial device set."});
   unit_.change("sdb");
   settle();
   EXPECT_TRUE(disks().empty());
   EXPECT_FALSE(isReady());
}

TEST_F(DiscoveryFailureTest, StaysIdleWithoutAUdevContextUntilARescan) {
   addStick("sdb", "1-1");
   {
      Support::UdevStartFailure const failure{"udev_new", ENOMEM};
      start();
   }
   EXPECT_EQ(traces_.errors(), Texts{" Unable to create libudev context."});
   unit_.change("sdb");
   handleEvents();
   EXPECT_TRUE(disks().empty());
   EXPECT_FALSE(isReady());
   EXPECT_EQ(unit_.listeners(), 0U);
   EXPECT_TRUE(sm_->unclassifiedDevice.contains("udev"));
   sm_->rescan();
   EXPECT_TRUE(has("sdb"));
   EXPECT_TRUE(isReady());
   EXPECT_TRUE(sm_->unclassifiedDevice.empty());
}

// The steps by which the monitor is set up, each by the function that may fail.
class MonitorStepTest : public DiscoveryFailureTest, public testing::WithParamInterface<char const *> {};

TEST_P(MonitorStepTest, ReleasesTheMonitorWhenItFails) {
   addStick("sdb", "1-1");
   auto const before = Support::openDescriptors();
   {
      Support::UdevStartFailure const failure{GetParam(), ENOBUFS};
      start();
      sm_->rescan();
   }
   EXPECT_EQ(traces_.errors(), Texts(2, " Unable to initalize udev monitor."));
   EXPECT_EQ(Support::openDescriptors(), before);
   EXPECT_EQ(unit_.listeners(), 0U);
   EXPECT_TRUE(disks().empty());
   EXPECT_FALSE(isReady());
   sm_->rescan();
   EXPECT_TRUE(has("sdb"));
   unit_.unplug("sdb");
   settle();
   EXPECT_TRUE(disks().empty()) << "events are followed from then on";
}

INSTANTIATE_TEST_SUITE_P(Functions, MonitorStepTest,
                         testing::Values("udev_monitor_new_from_netlink",
                                         "udev_monitor_filter_add_match_subsystem_devtype",
                                         "udev_monitor_filter_update", "udev_monitor_enable_receiving",
                                         "udev_monitor_get_fd"),
                         [](auto const & function) { return function.param; });

}  // namespace
