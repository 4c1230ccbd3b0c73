// Disks that come, change and go while discovery runs.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <random>

#include "tests/support/DiscoveryTest.h"

namespace {

using namespace StorageDevices::Simulation;
using Support::ChangeRecorder;
using Support::DiskFields;
using Serials = std::map<std::string, std::string>;

class DiscoveryEventsTest : public Support::DiscoveryTest {
 protected:
   DiscoveryEventsTest() {
      unit_.blockdevIs(
          {{".*/ata", "drive"}, {".*/nvme", "drive2"}, {".*/mmc_host", "flash"}, {".*/usb1", "usb1"}});
   }

   static Disk ssd(char const * udevSerial = "UDEV1", char const * name = "sda", unsigned port = 1) {
      return sataDisk(name, port, udevSerial, "Kestrel", 468862128);
   }
   static Disk drive() { return nvmeDrive("nvme0n1", "NUDEV", "Marlin", 937703088); }
   static Disk stick(char const * serial = "0123ABCD", char const * name = "sdb", char const * port = "1-1") {
      return usbDisk(name, port, serial, "Flash", 31250000);
   }
   static Disk chip() { return emmcDevice("mmcblk0", "1501004b535452454c0a00000a1f5ac1", 61071360); }

   void hdparmSays(char const * serial, char const * model = "Kestrel S2", char const * firmware = "KF1.2") {
      unit_.tools().outputIs(Tool::hdparm, "sda", hdparmReport({"sda", model, serial, firmware, 468862128}));
   }
   void plugAndSettle(Disk const & disk) {
      unit_.plug(disk);
      settle();
   }
   void changeAndSettle(char const * name) {
      unit_.change(name);
      settle();
   }
};

TEST_F(DiscoveryEventsTest, AddsAPluggedDiskAndRemovesAPulledOne) {
   startAndSettle();
   EXPECT_TRUE(disks().empty());
   plugAndSettle(stick());
   EXPECT_EQ(disk("0123ABCD").blockDevice, "/dev/sdb");
   EXPECT_EQ(traces_.texts(2).back(), " processing addition for /dev/sdb");
   EXPECT_EQ(traces_.count(2, " uevent received."), 1);
   EXPECT_EQ(traces_.count(2, " received uevent with actionadd"), 1);
   EXPECT_EQ(traces_.count(2, " handling add event"), 1);
   unit_.unplug("sdb");
   settle();
   EXPECT_TRUE(disks().empty());
   EXPECT_TRUE(serials().empty());
   EXPECT_EQ(traces_.count(2, " received uevent with actionremove"), 1);
   EXPECT_EQ(traces_.texts(2).back(), " handling remove event");
   EXPECT_TRUE(traces_.errors().empty());
}

TEST_F(DiscoveryEventsTest, IgnoresARemovalWithoutASerial) {
   startAndSettle();
   plugAndSettle(stick());
   for (char const * property : {"ID_SERIAL", "ID_SERIAL_SHORT"})
      unit_.propertyIs("sdb", property, "");
   unit_.announce("sdb", "remove");
   unit_.vanish("sdb");
   settle();
   EXPECT_EQ(traces_.texts(2).back(), " handling remove event");
   EXPECT_TRUE(has("0123ABCD"));
   EXPECT_EQ(serials(), (Serials{{"0123ABCD", "0123ABCD"}}));
}

TEST_F(DiscoveryEventsTest, ReadsEventsWithoutBlocking) {
   auto const before = Support::openDescriptors();
   start();
   EXPECT_TRUE(sm_->socketFd()->nonBlocking());
   for (int const fd : Support::openDescriptors()) {
      int type = 0;
      socklen_t size = sizeof type;
      if (!std::binary_search(before.begin(), before.end(), fd) &&
          getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size) == 0) {
         EXPECT_NE(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
      }
   }
}

TEST_F(DiscoveryEventsTest, FollowsNeitherEventsNorCollectorsAsAZombie) {
   unit_.tools().hangsIs(Tool::hdparm, "sda", true);
   unit_.add(ssd());
   start();
   ASSERT_TRUE(toolHasStarted());
   auto const collector = sm_->diskInfoCollectorSm("UDEV1");
   sm_->vornDoZombieReactors(true);
   unit_.plug(stick());
   // The event waits on the socket, which stays readable: not until all is idle.
   for (int turn = 0; turn < 20; ++turn)
      Vorn::Host::turn(0);
   collector->finalizeUnchanged();
   EXPECT_TRUE(disks().empty());
   EXPECT_EQ(sm_->diskInfoCollectorSm.size(), 1U);
}

TEST_F(DiscoveryEventsTest, NamesAnIdentifiedDiskByItsOwnSerialAndFindsItByTheUdevSerial) {
   hdparmSays("Y");
   unit_.add(ssd("X"));
   startAndSettle();
   EXPECT_EQ(disks().size(), 1U);
   EXPECT_EQ(disk("Y").model, "Kestrel S2");
   EXPECT_EQ(disk("Y").mibType, 2);
   EXPECT_EQ(disk("Y").sizeGb, 240U);
   EXPECT_EQ(serials(), (Serials{{"X", "Y"}}));
   unit_.unplug("sda");
   settle();
   EXPECT_TRUE(disks().empty());
   EXPECT_TRUE(serials().empty());
}

TEST_F(DiscoveryEventsTest, IdentifiesEveryKindOfFixedDisk) {
   hdparmSays("KS0001");
   unit_.tools().outputIs(Tool::nvmeList, "nvme0n1",
                          nvmeListDocument({{"nvme0n1", "Marlin 480", "MR7700", "M4.1", 480103981056}}));
   for (auto const & disk : {ssd(), drive(), chip()})
      unit_.add(disk);
   startAndSettle();
   EXPECT_EQ(serials(), (Serials{{"UDEV1", "KS0001"}, {"NUDEV", "MR7700"}, {"0x00000a1f", "00000a1f"}}));
   EXPECT_EQ(disk("MR7700").mibType, 4);
   EXPECT_EQ(disk("MR7700").mountPoint, "/mnt/drive2");
   EXPECT_EQ(disk("MR7700").devAddress, "nvme0n1");
   EXPECT_EQ(disk("00000a1f").model, "Samsung KSTREL");
   EXPECT_EQ(disk("00000a1f").mibType, 3);
   auto runs = unit_.tools().runs();
   std::sort(runs.begin(), runs.end());
   EXPECT_EQ(runs, (std::vector<std::string>{"hdparm -I /dev/sda", "nvme list -o json /dev/nvme0n1"}));
}

TEST_F(DiscoveryEventsTest, WritesNothingAtAChangeWithoutDifference) {
   hdparmSays("Y");
   unit_.add(ssd());
   unit_.add(stick());
   startAndSettle();
   ChangeRecorder const disks{devices_->disk};
   ChangeRecorder const map{devices_->udevSerialToSerialMap};
   changeAndSettle("sda");
   changeAndSettle("sdb");
   EXPECT_EQ(unit_.tools().runs().size(), 2U);
   EXPECT_EQ(disks.count() + map.count(), 0U);
}

TEST_F(DiscoveryEventsTest, WritesNothingAtAChangeOfModelOrFirmwareAlone) {
   hdparmSays("Y");
   unit_.add(ssd());
   unit_.add(stick());
   startAndSettle();
   ChangeRecorder const changes{devices_->disk};
   hdparmSays("Y", "Another", "KF9.9");
   changeAndSettle("sda");
   unit_.propertyIs("sdb", "ID_MODEL", "Another");
   unit_.propertyIs("sdb", "ID_REVISION", "9.9");
   changeAndSettle("sdb");
   EXPECT_EQ(changes.count(), 0U);
   EXPECT_EQ(disk("Y").model, "Kestrel S2");
   EXPECT_EQ(disk("0123ABCD").model, "Flash");
}

TEST_F(DiscoveryEventsTest, ReplacesTheRecordWithModelAndFirmwareAtAChangeOfTheSize) {
   unit_.add(stick());
   startAndSettle();
   ChangeRecorder const changes{devices_->disk};
   unit_.sectorsIs("sdb", 62500000);
   unit_.propertyIs("sdb", "ID_MODEL", "Another");
   changeAndSettle("sdb");
   ASSERT_EQ(changes.count(), 1U);
   EXPECT_EQ((*changes.changes()[0].old)->sizeGb(), 16U);
   EXPECT_EQ(disk("0123ABCD").sizeGb, 32U);
   EXPECT_EQ(disk("0123ABCD").model, "Another");
}

TEST_F(DiscoveryEventsTest, ReplacesTheRecordOfADiskThatComesBackElsewhere) {
   unit_.add(stick("0123ABCD", "sdb", "1-1"));
   startAndSettle();
   unit_.vanish("sdb");
   plugAndSettle(stick("0123ABCD", "sdc", "1-2"));
   EXPECT_EQ(disks().size(), 1U);
   EXPECT_EQ(disk("0123ABCD").blockDevice, "/dev/sdc");
   EXPECT_EQ(disk("0123ABCD").devAddress, "1-2");
   EXPECT_TRUE(traces_.errors().empty()) << "one device is no duplicate of itself";
}

TEST_F(DiscoveryEventsTest, KeepsTheOldRecordBesideTheNewWhenAnIdentityCannotBeReadAnyMore) {
   hdparmSays("Y");
   unit_.add(ssd("X"));
   startAndSettle();
   DiskFields const old = disk("Y");
   unit_.tools().exitCodeIs(Tool::hdparm, "sda", 5);
   changeAndSettle("sda");
   EXPECT_EQ(disk("Y"), old);
   EXPECT_EQ(disk("X").mibType, 2);
   EXPECT_EQ(serials(), (Serials{{"X", "X"}}));
   unit_.unplug("sda");
   settle();
   EXPECT_EQ(disks(), (std::map<std::string, DiskFields>{{"Y", old}}));
}

TEST_F(DiscoveryEventsTest, ChangesNothingAtTheRemovalOfAnUnknownDiskOrOfNone) {
   auto strange = otherDisk("vda", "virtual", 1);
   strange.serial = "strange";
   auto nameless = otherDisk("vdb", "virtual", 1);
   for (auto const & disk : {strange, nameless, stick()})
      unit_.add(disk);
   startAndSettle();
   devices_->udevSerialToSerialMapIs("", "0123ABCD");
   ChangeRecorder const changes{devices_->disk};
   unit_.unplug("vda");
   unit_.unplug("vdb");
   settle();
   EXPECT_EQ(changes.count(), 0U);
   EXPECT_TRUE(has("0123ABCD"));
}

TEST_F(DiscoveryEventsTest, IgnoresOtherActions) {
   unit_.add(stick());
   startAndSettle();
   ChangeRecorder const changes{devices_->disk};
   traces_.clear();
   unit_.sectorsIs("sdb", 1000000000);
   for (char const * const action : {"bind", "unbind", "move", "online", "offline"})
      unit_.announce("sdb", action);
   settle();
   EXPECT_EQ(changes.count(), 0U);
   EXPECT_EQ(traces_.lines().size(), 10U);
   EXPECT_EQ(traces_.count(2, " received uevent with actionoffline"), 1);
}

TEST_F(DiscoveryEventsTest, RemovesDisksOfAnEarlierRunAfterTheScanUnlessTheyAreConnected) {
   DiskFields{.name = "gone"}.writeTo(*devices_);
   devices_->udevSerialToSerialMapIs("udev gone", "gone");
   devices_->udevSerialToSerialMapIs("recordless", "nothing");
   DiskFields{.name = "0123ABCD"}.writeTo(*devices_);
   devices_->udevSerialToSerialMapIs("0123ABCD", "0123ABCD");
   unit_.add(stick());
   startAndSettle();
   EXPECT_EQ(serials(), (Serials{{"0123ABCD", "0123ABCD"}}));
   EXPECT_EQ(disks().size(), 1U);
   EXPECT_EQ(disk("0123ABCD").mountPoint, "/mnt/usb1");
}

TEST_F(DiscoveryEventsTest, KeepsADiskOfAnEarlierRunWhileItIsIdentifiedAgain) {
   DiskFields{.name = "Y"}.writeTo(*devices_);
   devices_->udevSerialToSerialMapIs("UDEV1", "Y");
   unit_.tools().hangsIs(Tool::hdparm, "sda", true);
   unit_.add(ssd());
   start();
   EXPECT_TRUE(has("Y"));
   EXPECT_EQ(serials(), (Serials{{"UDEV1", "Y"}}));
}

TEST_F(DiscoveryEventsTest, TracesTwoDisksOfOneSerialAndKeepsTheLast) {
   unit_.add(stick("SAME", "sdb", "1-1"));
   unit_.add(stick("SAME", "sdc", "1-2"));
   startAndSettle();
   ASSERT_EQ(traces_.errors().size(), 1U);
   EXPECT_EQ(disks().size(), 1U);
   std::string const last = disk("SAME").blockDevice;
   std::string const other = last == "/dev/sdb" ? "/dev/sdc" : "/dev/sdb";
   EXPECT_EQ(traces_.errors()[0], " serial SAME of " + last + " is also that of " + other);
   unit_.unplug("sdb");
   settle();
   unit_.unplug("sdc");
   settle();
   EXPECT_TRUE(disks().empty());
   EXPECT_TRUE(serials().empty());
}

TEST_F(DiscoveryEventsTest, LeavesOneCollectorForTwoDisksOfOneSerialIdentifiedAtATime) {
   unit_.add(ssd("SAME", "sda", 1));
   unit_.add(ssd("SAME", "sdb", 2));
   start();
   EXPECT_EQ(sm_->diskInfoCollectorSm.size(), 1U);
   EXPECT_EQ(sm_->infoReactor.size(), 1U);
   EXPECT_EQ(traces_.errors().size(), 1U);
   settle();
   EXPECT_EQ(disks().size(), 1U);
   EXPECT_TRUE(isReady());
}

TEST_F(DiscoveryEventsTest, ReachesTheRightSetAfterAStormOfEvents) {
   constexpr std::array<char const *, 8> names{"sdb", "sdc", "sdd", "sde", "sdf", "sdg", "sdh", "sdi"};
   unsigned port = 1;
   for (char const * const name : names)
      unit_.add(stick(name, name, ("1-" + std::to_string(port++)).c_str()));
   startAndSettle();
   unit_.whenFullIs(&handleEvents);
   std::mt19937 random{7};
   std::map<std::string, bool> present;
   for (char const * const name : names)
      present[name] = true;
   for (int i = 0; i < 1000; ++i) {
      char const * const name = names[random() % names.size()];
      bool const add = random() % 2 == 0;
      unit_.announce(name, add ? "add" : "remove");
      present[name] = add;
   }
   settle();
   for (auto const & [name, isPresent] : present)
      EXPECT_EQ(has(name.c_str()), isPresent) << name;
   EXPECT_EQ(serials().size(), disks().size());
   EXPECT_EQ(traces_.count(2, " uevent received."), 1000);
}

TEST_F(DiscoveryEventsTest, IdentifiesAFixedDiskOnceAfterAStormOfPlugsAndPulls) {
   hdparmSays("Y");
   unit_.add(ssd());
   startAndSettle();
   unit_.whenFullIs(&handleEvents);
   for (int i = 0; i < 100; ++i)
      for (char const * const action : {"remove", "add"})
         unit_.announce("sda", action);
   settle();
   EXPECT_TRUE(Support::turnInRealTime([&] { return tracker_->orphans() == 0; }));
   EXPECT_FALSE(Support::hasChildren());
   EXPECT_EQ(serials(), (Serials{{"UDEV1", "Y"}}));
   EXPECT_EQ(disks().size(), 1U);
}

}  // namespace
