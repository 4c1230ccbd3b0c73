// Events of a simulated unit, and their listeners.
#include <gtest/gtest.h>
#include <libudev.h>
#include <poll.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/integration/SimulatedUnitTest.h"

using namespace StorageDevices::Simulation;
using namespace UnitTest;

namespace {

// Receives the events of whole disks, as a monitor program does.
class Listener {
 public:
   Listener() {
      udev_monitor_filter_add_match_subsystem_devtype(monitor_.get(), "block", "disk");
      udev_monitor_filter_update(monitor_.get());
      EXPECT_EQ(udev_monitor_enable_receiving(monitor_.get()), 0);
   }

   UdevDevice next() { return UdevDevice(udev_monitor_receive_device(monitor_.get())); }

   std::string nextEvent() {
      auto const device = next();
      return device ? text(udev_device_get_action(device.get())) + " " + name(device.get()) : "(nothing)";
   }

   unsigned readAll() {
      unsigned count = 0;
      while (next())
         ++count;
      return count;
   }

   bool wait(int milliseconds) {
      pollfd entry{udev_monitor_get_fd(monitor_.get()), POLLIN, 0};
      return poll(&entry, 1, milliseconds) > 0;
   }

 private:
   Udev udev_;
   std::unique_ptr<udev_monitor, Unref> monitor_{udev_monitor_new_from_netlink(udev_.context(), "udev")};
};

}  // namespace

TEST_F(SimulatedUnitTest, DeliversBytesOfEveryKindToTheListener) {
   std::string const odd = "\x1b[31m\xff\xc3 \\n";
   auto disk = sataDisk("sda", 1, odd, "Kestrel", 1000);
   disk.attributes["state"] = odd;
   Listener listener;
   unit_.plug(disk);
   auto const event = listener.next();
   ASSERT_NE(event, nullptr);
   EXPECT_EQ(property(event, "ID_SERIAL_SHORT"), odd);
   EXPECT_EQ(attribute(event.get(), "state"), odd);
}

TEST_F(SimulatedUnitTest, EnumeratesADiskPresentAtBootWithoutAnEvent) {
   Listener listener;
   unit_.add(sataDisk("sda", 1, "KS0001", "Kestrel", 1000));
   unit_.add(nvmeDrive("nvme0n1", "MR7700", "Marlin", 1000));
   EXPECT_EQ(listener.nextEvent(), "(nothing)");
   EXPECT_EQ(udev_.disks(), (std::vector<std::string>{"nvme0n1", "sda"}));
   EXPECT_EQ(unit_.disks(), udev_.disks());
}

TEST_F(SimulatedUnitTest, DeliversTheSerialOfARemovalReadLate) {
   Listener listener;
   unit_.plug(usbDisk("sdb", "1-1", "0123ABCD", "Flash", 1000));
   unit_.unplug("sdb");
   EXPECT_EQ(listener.nextEvent(), "add sdb");
   auto const removal = listener.next();
   ASSERT_NE(removal, nullptr);
   EXPECT_STREQ(udev_device_get_action(removal.get()), "remove");
   EXPECT_EQ(property(removal, "ID_SERIAL_SHORT"), "0123ABCD");
   EXPECT_EQ(attribute(removal.get(), "size"), "(none)");
   EXPECT_TRUE(udev_.disks().empty());
}

TEST_F(SimulatedUnitTest, ShowsNewAttributesAndPropertiesAtAChange) {
   unit_.add(usbDisk("sdb", "1-1", "0123ABCD", "Flash", 1000));
   Listener listener;
   unit_.sectorsIs("sdb", 2000);
   unit_.attributeDel("sdb", "queue/rotational");
   unit_.propertyIs("sdb", "ID_REVISION", "2.00");
   unit_.change("sdb");
   auto const event = listener.next();
   ASSERT_NE(event, nullptr);
   EXPECT_STREQ(udev_device_get_action(event.get()), "change");
   EXPECT_EQ(attribute(event.get(), "size"), "2000");
   EXPECT_EQ(attribute(event.get(), "queue/rotational"), "(none)");
   EXPECT_EQ(property(event, "ID_REVISION"), "2.00");
   unit_.announce("sdb", "bind");
   EXPECT_EQ(listener.nextEvent(), "bind sdb");
}

TEST_F(SimulatedUnitTest, LeavesNothingOfAnUnpluggedDiskAndAllowsItsReturn) {
   unit_.add(usbDisk("sdb", "1-1.2", "FIRST", "Flash", 1000));
   unit_.add(nvmeDrive("nvme1n1", "MR7701", "Marlin", 1000));
   auto const before = tree(unit_.folder().parent_path());
   for (int round = 0; round < 3; ++round) {
      unit_.plug(usbDisk("sdc", "1-1.3", "SECOND", "Flash", 1000));
      unit_.plug(nvmeDrive("nvme0n1", "MR7700", "Marlin", 1000));
      EXPECT_EQ(udev_.disks(), (std::vector<std::string>{"nvme0n1", "nvme1n1", "sdb", "sdc"}));
      unit_.unplug("sdc");
      unit_.vanish("nvme0n1");
      EXPECT_EQ(tree(unit_.folder().parent_path()), before);
   }
   EXPECT_EQ(name(parent(device("sdb"), "usb", "usb_interface")), "1-1.2:1.0");
}

TEST_F(SimulatedUnitTest, DeliversAThousandEventsToAListenerOfTheSameThreadThatReadsWhenFull) {
   unit_.add(sataDisk("sda", 1, "KS0001", "Kestrel", 1000));
   Listener listener;
   unsigned received = 0;
   unit_.whenFullIs([&] { received += listener.readAll(); });
   for (int i = 0; i < 1000; ++i)
      unit_.change("sda");
   EXPECT_EQ(received + listener.readAll(), 1000U);
}

TEST_F(SimulatedUnitTest, DeliversAThousandEventsToAListenerOfAnotherThread) {
   unit_.add(sataDisk("sda", 1, "KS0001", "Kestrel", 1000));
   Listener listener;
   unsigned received = 0;
   std::thread reader([&] {
      while (received < 1000 && listener.wait(10000))
         received += listener.readAll();
   });
   for (int i = 0; i < 1000; ++i)
      unit_.change("sda");
   reader.join();
   EXPECT_EQ(received, 1000U);
}

TEST_F(SimulatedUnitTest, ReportsAListenerThatDoesNotReadAndLosesNothing) {
   unit_.add(sataDisk("sda", 1, "KS0001", "Kestrel", 1000));
   Listener listener;
   unit_.patienceIs(std::chrono::milliseconds(20));
   unsigned sent = 0;
   EXPECT_THROW(
       {
          for (; sent < 10000; ++sent)
             unit_.change("sda");
       },
       ListenerStalled);
   EXPECT_GE(sent, 10U);
   EXPECT_EQ(listener.readAll(), sent);
   unit_.change("sda");
   EXPECT_EQ(listener.readAll(), 1U);
}

TEST_F(SimulatedUnitTest, CountsListenersWhileTheyLiveAndDoesNoHarmAfterwards) {
   unit_.add(sataDisk("sda", 1, "KS0001", "Kestrel", 1000));
   EXPECT_EQ(unit_.listeners(), 0U);
   auto first = std::make_unique<Listener>();
   Listener second;
   EXPECT_EQ(unit_.listeners(), 2U);
   first.reset();
   EXPECT_EQ(unit_.listeners(), 1U);
   unit_.change("sda");
   EXPECT_EQ(second.nextEvent(), "change sda");
}

TEST_F(SimulatedUnitTest, ReplaysARecordingOfARealDeviceUnchanged) {
   constexpr char const * recording =
       "P: /devices/pci0000:00/0000:00:02.0/ata2/host1/target1:0:0/1:0:0:0/block/sda\n"
       "N: sda\nS: disk/by-id/some-link\n"
       "E: DEVNAME=/dev/sda\nE: DEVTYPE=disk\nE: ID_SERIAL_SHORT=S2SATA00002\nE: SUBSYSTEM=block\n"
       "A: queue/rotational=1\\n\nA: size=1228800\\n\n"
       "\n"
       "P: /devices/pci0000:00/0000:00:02.0/ata2/host1\n"
       "N: some/node\n"
       "E: DEVTYPE=scsi_host\nE: SUBSYSTEM=scsi\n"
       "\n"
       "P: /devices/pci0000:00/0000:00:02.0/ata2/host1/scsi_host/host1\n"
       "E: SUBSYSTEM=scsi_host\nA: unique_id=2\\n\n";
   Listener listener;
   unit_.addRecording(recording);
   unit_.announce("sda", "add");
   EXPECT_EQ(listener.nextEvent(), "add sda");
   auto const disk = device("sda");
   EXPECT_EQ(property(disk, "ID_SERIAL_SHORT"), "S2SATA00002");
   EXPECT_EQ(attribute(disk.get(), "queue/rotational"), "1");
   EXPECT_EQ(name(parent(disk, "scsi", "scsi_host")), "host1");
   unit_.unplug("sda");
   EXPECT_THROW(unit_.addRecording("E: SUBSYSTEM=block\n"), std::invalid_argument);
   EXPECT_THROW(unit_.addRecording(""), std::invalid_argument);
   EXPECT_THROW(unit_.addRecording("P: /devices/a/block/sdb\nE: SUBSYSTEM=block\nE: nothing\n\n"
                                   "P: /devices/a\nE: SUBSYSTEM=pci\n"),
                std::invalid_argument);
   EXPECT_FALSE(std::filesystem::exists(unit_.folder().parent_path() / "sys/devices/a/uevent"));
   EXPECT_TRUE(unit_.disks().empty());
}
