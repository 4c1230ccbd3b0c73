#include "simulation/SimulatedUnit.h"

#include <gtest/gtest.h>
#include <libudev.h>
#include <poll.h>
#include <rapidjson/document.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <thread>

using namespace StorageDevices::Simulation;

namespace {

struct Unref {
   void operator()(udev * p) const { udev_unref(p); }
   void operator()(udev_monitor * p) const { udev_monitor_unref(p); }
   void operator()(udev_device * p) const { udev_device_unref(p); }
   void operator()(udev_enumerate * p) const { udev_enumerate_unref(p); }
};
using Device = std::unique_ptr<udev_device, Unref>;

std::string text(char const * value) {
   return value == nullptr ? "(none)" : value;
}

std::string property(Device const & device, char const * name) {
   return text(udev_device_get_property_value(device.get(), name));
}

std::string attribute(udev_device * device, char const * name) {
   return device == nullptr ? "(no device)" : text(udev_device_get_sysattr_value(device, name));
}

std::string name(udev_device * device) {
   return device == nullptr ? "(none)" : udev_device_get_sysname(device);
}

class Udev {
 public:
   Device device(std::string const & sysPath) const {
      return Device(udev_device_new_from_syspath(context_.get(), sysPath.c_str()));
   }

   std::vector<std::string> disks() const {
      std::unique_ptr<udev_enumerate, Unref> const enumeration(udev_enumerate_new(context_.get()));
      udev_enumerate_add_match_subsystem(enumeration.get(), "block");
      udev_enumerate_add_match_property(enumeration.get(), "DEVTYPE", "disk");
      udev_enumerate_scan_devices(enumeration.get());
      std::vector<std::string> names;
      for (auto * entry = udev_enumerate_get_list_entry(enumeration.get()); entry != nullptr;
           entry = udev_list_entry_get_next(entry))
         names.push_back(name(device(udev_list_entry_get_name(entry)).get()));
      std::sort(names.begin(), names.end());
      return names;
   }

   udev * context() const { return context_.get(); }

 private:
   std::unique_ptr<udev, Unref> context_{udev_new()};
};

// Receives the events of whole disks, as a monitor program does.
class Listener {
 public:
   Listener() {
      udev_monitor_filter_add_match_subsystem_devtype(monitor_.get(), "block", "disk");
      udev_monitor_filter_update(monitor_.get());
      EXPECT_EQ(udev_monitor_enable_receiving(monitor_.get()), 0);
   }

   Device next() { return Device(udev_monitor_receive_device(monitor_.get())); }

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

struct UnitOutcome {
   int exitCode = -1;
   std::string output;
};

UnitOutcome run(std::string const & command) {
   UnitOutcome outcome;
   auto * pipe = popen((command + " 2>/dev/null").c_str(), "r");
   std::array<char, 4096> buffer{};
   for (std::size_t got = 0; (got = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
      outcome.output.append(buffer.data(), got);
   auto const status = pclose(pipe);
   outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
   return outcome;
}

std::string content(std::filesystem::path const & path) {
   std::ifstream in(path);
   std::ostringstream all;
   all << in.rdbuf();
   return all.str();
}

std::vector<std::string> tree(std::filesystem::path const & folder) {
   std::vector<std::string> paths;
   for (auto const & entry : std::filesystem::recursive_directory_iterator(folder))
      paths.push_back(entry.path().string());
   std::sort(paths.begin(), paths.end());
   return paths;
}

constexpr char const * kestrelCid = "fe014e4b455354523421a1b2c3d45a00";

class SimulatedUnitTest : public testing::Test {
 protected:
   Device device(std::string_view disk) { return udev_.device(unit_.sysPath(disk)); }

   static udev_device * parent(Device const & device, char const * subsystem, char const * type) {
      return udev_device_get_parent_with_subsystem_devtype(device.get(), subsystem, type);
   }

   SimulatedUnit unit_;
   Udev udev_;
};

}  // namespace

TEST_F(SimulatedUnitTest, PlacesASataDiskBelowItsScsiHostWithItsPort) {
   unit_.add(sataDisk("sda", 2, "KS0001", "Kestrel S2 128GB", 250069680));
   auto const disk = device("sda");
   EXPECT_EQ(unit_.sysPath("sda"),
             "/sys/devices/pci0000:00/0000:00:02.0/ata2/host1/target1:0:0/1:0:0:0/block/sda");
   EXPECT_STREQ(udev_device_get_devnode(disk.get()), "/dev/sda");
   EXPECT_EQ(property(disk, "ID_BUS"), "ata");
   EXPECT_EQ(property(disk, "ID_SERIAL_SHORT"), "KS0001");
   EXPECT_EQ(property(disk, "ID_SERIAL"), "Kestrel_S2_128GB_KS0001");
   EXPECT_EQ(property(disk, "ID_MODEL"), "Kestrel_S2_128GB");
   EXPECT_EQ(attribute(disk.get(), "size"), "250069680");
   EXPECT_EQ(attribute(disk.get(), "queue/rotational"), "0");
   auto * const host = parent(disk, "scsi", "scsi_host");
   ASSERT_EQ(name(host), "host1");
   auto const hostClass = udev_.device(std::string(udev_device_get_syspath(host)) + "/scsi_host/host1");
   EXPECT_EQ(attribute(hostClass.get(), "unique_id"), "2");
   EXPECT_STREQ(udev_device_get_subsystem(hostClass.get()), "scsi_host");
}

TEST_F(SimulatedUnitTest, AllowsASataDiskWithoutItsHostOrTheHostsNumber) {
   auto disk = sataDisk("sda", 1, "KS0001", "Kestrel", 1000);
   disk.scsiHost = Disk::ScsiHost::absent;
   unit_.add(disk);
   EXPECT_EQ(parent(device("sda"), "scsi", "scsi_host"), nullptr);
   auto second = sataDisk("sdb", 2, "KS0002", "Kestrel", 1000);
   second.scsiHost = Disk::ScsiHost::withoutUniqueId;
   unit_.add(second);
   auto const sdb = device("sdb");
   auto * const host = parent(sdb, "scsi", "scsi_host");
   ASSERT_NE(host, nullptr);
   auto const hostClass = udev_.device(std::string(udev_device_get_syspath(host)) + "/scsi_host/host1");
   ASSERT_NE(hostClass, nullptr);
   EXPECT_EQ(attribute(hostClass.get(), "unique_id"), "(none)");
}

TEST_F(SimulatedUnitTest, PlacesAnNvmeNamespaceBelowItsDrive) {
   unit_.add(nvmeDrive("nvme0n1", "MR7700", "Marlin N7 480", 937703088));
   auto const disk = device("nvme0n1");
   EXPECT_EQ(unit_.sysPath("nvme0n1"), "/sys/devices/pci0000:00/0000:01:00.0/nvme/nvme0/nvme0n1");
   EXPECT_EQ(property(disk, "ID_MODEL"), "Marlin N7 480");
   EXPECT_EQ(property(disk, "ID_SERIAL_SHORT"), "MR7700");
   EXPECT_EQ(property(disk, "ID_SERIAL"), "Marlin_N7_480_MR7700_1");
   EXPECT_EQ(property(disk, "ID_BUS"), "(none)");
   EXPECT_EQ(attribute(parent(disk, "nvme", nullptr), "transport"), "pcie");
   EXPECT_EQ(parent(disk, "usb", "usb_interface"), nullptr);
}

TEST_F(SimulatedUnitTest, ShowsTheRegisterOfAnEmmcDeviceAsAnAttributeOfItsParent) {
   unit_.add(emmcDevice("mmcblk0", kestrelCid, 30535680));
   auto const disk = device("mmcblk0");
   auto * const mmc = udev_device_get_parent(disk.get());
   EXPECT_EQ(name(mmc), "mmc0:0001");
   EXPECT_EQ(attribute(mmc, "cid"), kestrelCid);
   EXPECT_EQ(property(disk, "ID_NAME"), "KESTR4");
   EXPECT_EQ(property(disk, "ID_SERIAL"), "0xa1b2c3d4");
   EXPECT_EQ(property(disk, "ID_SERIAL_SHORT"), "(none)");
   EXPECT_EQ(property(disk, "ID_MODEL"), "(none)");
}

TEST_F(SimulatedUnitTest, PlacesAUsbDiskBelowItsInterfaceAndTheHubs) {
   auto stick = usbDisk("sdb", "1-1.2", "0123ABCD", "Flash Drive", 60437492);
   stick.vendor = "Vireo";
   unit_.add(stick);
   auto const disk = device("sdb");
   auto * const interface = parent(disk, "usb", "usb_interface");
   EXPECT_EQ(name(interface), "1-1.2:1.0");
   auto * const port = udev_device_get_parent(interface);
   EXPECT_EQ(name(port), "1-1.2");
   EXPECT_EQ(name(udev_device_get_parent(port)), "1-1");
   EXPECT_EQ(name(udev_device_get_parent(udev_device_get_parent(port))), "usb1");
   EXPECT_EQ(property(disk, "ID_SERIAL"), "Vireo_Flash_Drive_0123ABCD-0:0");
   EXPECT_EQ(attribute(disk.get(), "queue/rotational"), "1");
   EXPECT_NE(property(disk, "DEVLINKS").find("/dev/disk/by-id/usb-Vireo_Flash_Drive_0123ABCD-0:0"),
             std::string::npos);
}

TEST_F(SimulatedUnitTest, MakesNoParentsForADiskOfNoBus) {
   unit_.add(otherDisk("loop0", "virtual", 8));
   auto virtio = otherDisk("vda", "pci0000:00/0000:00:07.0/virtio3", 2048);
   virtio.properties["ID_SERIAL"] = "virtual-1";
   unit_.add(virtio);
   EXPECT_EQ(unit_.sysPath("loop0"), "/sys/devices/virtual/block/loop0");
   EXPECT_EQ(udev_device_get_parent(device("loop0").get()), nullptr);
   EXPECT_EQ(property(device("vda"), "ID_SERIAL"), "virtual-1");
   EXPECT_EQ(udev_.disks(), (std::vector<std::string>{"loop0", "vda"}));
}

TEST_F(SimulatedUnitTest, PrefersTheDisksOwnSettingsToTheDefaults) {
   auto disk = sataDisk("sda", 1, "KS0001", "Kestrel", 1000);
   disk.properties = {{"ID_BUS", "scsi"}, {"ID_NAME", "Odd Name"}};
   disk.attributes = {{"size", "many"}};
   disk.deviceAttributes = {{"state", "offline"}};
   disk.absent = {"ID_SERIAL_SHORT", "queue/rotational"};
   disk.devLinks = "/dev/disk/by-path/only";
   disk.uniqueId = "77";
   unit_.add(disk);
   auto const sda = device("sda");
   EXPECT_EQ(property(sda, "ID_BUS"), "scsi");
   EXPECT_EQ(property(sda, "ID_NAME"), "Odd Name");
   EXPECT_EQ(property(sda, "ID_SERIAL_SHORT"), "(none)");
   EXPECT_EQ(property(sda, "DEVLINKS"), "/dev/disk/by-path/only");
   EXPECT_EQ(attribute(sda.get(), "size"), "many");
   EXPECT_EQ(attribute(sda.get(), "queue/rotational"), "(none)");
   EXPECT_EQ(attribute(udev_device_get_parent(sda.get()), "state"), "offline");
   auto const hostClass = udev_.device("/sys/devices/pci0000:00/0000:00:02.0/ata1/host0/scsi_host/host0");
   EXPECT_EQ(attribute(hostClass.get(), "unique_id"), "77");
}

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

TEST_F(SimulatedUnitTest, RefusesTheImpossibleAndChangesNothing) {
   unit_.add(sataDisk("sda", 1, "KS0001", "Kestrel", 1000));
   auto const before = tree(unit_.folder().parent_path());
   EXPECT_THROW(unit_.add(sataDisk("sda", 2, "KS0002", "Kestrel", 1000)), std::invalid_argument);
   auto sameHost = sataDisk("sdb", 2, "KS0002", "Kestrel", 1000);
   sameHost.host = 0;
   EXPECT_THROW(unit_.add(sameHost), std::invalid_argument);
   EXPECT_THROW(unit_.add(sataDisk("../sdb", 2, "KS0002", "Kestrel", 1000)), std::invalid_argument);
   EXPECT_THROW(unit_.add(sataDisk("sdb", 2, "KS\n0002", "Kestrel", 1000)), std::invalid_argument);
   EXPECT_THROW(unit_.add(nvmeDrive("nvme", "MR7700", "Marlin", 1000)), std::invalid_argument);
   EXPECT_THROW(unit_.add(usbDisk("sdb", "here", "0123", "Flash", 1000)), std::invalid_argument);
   EXPECT_THROW(unit_.unplug("sdb"), std::invalid_argument);
   EXPECT_THROW(unit_.sectorsIs("sdb", 1), std::invalid_argument);
   EXPECT_EQ(tree(unit_.folder().parent_path()), before);
}

TEST_F(SimulatedUnitTest, IsTheOnlyUnitAtATime) {
   EXPECT_THROW(SimulatedUnit second, std::runtime_error);
}

TEST_F(SimulatedUnitTest, IsVisibleToAProcessWithItsEnvironment) {
   unit_.add(nvmeDrive("nvme0n1", "MR7700", "Marlin", 1000));
   std::string command = "env -i PATH=/usr/bin:/bin";
   for (auto const & [name, value] : unit_.environment())
      command.append(" '").append(name).append("=").append(value).append("'");
   EXPECT_EQ(run(command + " ls /sys/block").output, "nvme0n1\n");
   EXPECT_EQ(run(command + " cat /sys/block/nvme0n1/size").output, "1000\n");
   EXPECT_EQ(run(command + " cat /sys/block/nvme0n1/device/transport").output, "pcie\n");
}

TEST(SimulatedUnitFolderTest, IsRemovedWithTheUnitAlsoAfterAnException) {
   std::filesystem::path folder;
   try {
      SimulatedUnit unit;
      folder = unit.folder().parent_path();
      unit.add(emmcDevice("mmcblk0", kestrelCid, 1000));
      unit.unplug("mmcblk1");
   } catch (std::invalid_argument const &) {
   }
   ASSERT_FALSE(folder.empty());
   EXPECT_FALSE(std::filesystem::exists(folder));
}

class FakeToolsTest : public SimulatedUnitTest {
 protected:
   UnitOutcome tool(std::string const & commandLine) {
      return run(unit_.toolsPath().string() + "/" + commandLine);
   }
   FakeTools & tools() { return unit_.tools(); }
};

TEST_F(FakeToolsTest, PrintsTheGivenOutputForTheDevice) {
   std::string const rubbish("\x00\xff{]\n", 5);
   tools().outputIs(Tool::hdparm, "sda", "the report\n");
   tools().outputIs(Tool::nvmeList, "nvme0n1", rubbish);
   auto const report = tool("hdparm -I /dev/sda");
   EXPECT_EQ(report.output, "the report\n");
   EXPECT_EQ(report.exitCode, 0);
   EXPECT_EQ(tool("nvme list -o json /dev/nvme0n1").output, rubbish);
   EXPECT_EQ(tools().runs(),
             (std::vector<std::string>{"hdparm -I /dev/sda", "nvme list -o json /dev/nvme0n1"}));
}

TEST_F(FakeToolsTest, FailsForAnUnknownDeviceAndForOtherArguments) {
   auto const unknown = tool("hdparm -I /dev/sdx");
   EXPECT_EQ(unknown.exitCode, 2);
   EXPECT_EQ(unknown.output, "");
   EXPECT_EQ(tool("hdparm -i /dev/sda").exitCode, 22);
   EXPECT_EQ(tool("nvme list").exitCode, 22);
   EXPECT_EQ(tool("nvme list -o json /dev/nvme9n1").exitCode, 2);
}

TEST_F(FakeToolsTest, FailsHangsAndIsSlowOnDemand) {
   tools().outputIs(Tool::hdparm, "sda", "the report\n");
   tools().exitCodeIs(Tool::hdparm, "sda", 5);
   auto const failed = tool("hdparm -I /dev/sda");
   EXPECT_EQ(failed.exitCode, 5);
   EXPECT_EQ(failed.output, "the report\n");
   tools().hangsIs(Tool::hdparm, "sda", true);
   auto const hung = run("timeout 0.3 " + unit_.toolsPath().string() + "/hdparm -I /dev/sda");
   EXPECT_EQ(hung.exitCode, 124);
   EXPECT_EQ(hung.output, "");
   tools().deviceDel("sda");
   tools().outputIs(Tool::hdparm, "sda", "the report\n");
   tools().delayIs(Tool::hdparm, "sda", 0.2);
   auto const start = std::chrono::steady_clock::now();
   auto const slow = tool("hdparm -I /dev/sda");
   EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
   EXPECT_EQ(slow.output, "the report\n");
   EXPECT_EQ(slow.exitCode, 0);
   EXPECT_THROW(tools().exitCodeIs(Tool::hdparm, "sda", 256), std::invalid_argument);
   EXPECT_THROW(tools().outputIs(Tool::hdparm, "../sda", ""), std::invalid_argument);
}

TEST(ToolReportsTest, WritesIdentityAndSizeIntoAReportOfHdparm) {
   auto const report = hdparmReport({"sda", "Kestrel S2", "KS0001", "KF1.2", 468862128});
   EXPECT_NE(report.find("\tModel Number:       Kestrel S2" + std::string(30, ' ') +
                         "\n\tSerial Number:      KS0001" + std::string(14, ' ') +
                         "\n\tFirmware Revision:  KF1.2   \n"),
             std::string::npos);
   EXPECT_NE(report.find(" 240057 MBytes (240 GB)\n"), std::string::npos);
   EXPECT_TRUE(report.starts_with("\n/dev/sda:\n\nATA device"));
}

TEST(ToolReportsTest, ListsEveryDriveInADocumentOfNvme) {
   auto const text = nvmeListDocument({{"nvme1n1", "Other \"N\"", "MR\t1", "1", 1000},
                                       {"nvme0n1", "Marlin", "MR7700", "4.1", 480103981056}});
   rapidjson::Document document;
   document.Parse(text.data(), text.size());
   ASSERT_FALSE(document.HasParseError()) << text;
   auto const & drives = document["Devices"];
   ASSERT_EQ(drives.Size(), 2U);
   EXPECT_STREQ(drives[0]["ModelNumber"].GetString(), "Other \"N\"");
   EXPECT_STREQ(drives[0]["SerialNumber"].GetString(), "MR\t1");
   EXPECT_STREQ(drives[1]["DevicePath"].GetString(), "/dev/nvme0n1");
   EXPECT_STREQ(drives[1]["Firmware"].GetString(), "4.1");
   EXPECT_EQ(drives[1]["PhysicalSize"].GetUint64(), 480103981056U);
   document.Parse(nvmeListDocument({}).c_str());
   ASSERT_FALSE(document.HasParseError());
   EXPECT_TRUE(document["Devices"].Empty());
}

TEST_F(SimulatedUnitTest, WritesTheApplianceFilesAsConfigured) {
   EXPECT_FALSE(std::filesystem::exists(unit_.etcFolder() / "blockdev"));
   unit_.blockdevIs({{"pci0000:00/0000:00:02.0/ata1/.*", "flash"}, {".*nvme.*", "drive"}});
   unit_.multidriveIs({"one.*", "two.*"});
   unit_.multidriveSrcIs("one.*");
   EXPECT_EQ(content(unit_.etcFolder() / "blockdev"),
             "pci0000:00/0000:00:02.0/ata1/.* flash\n.*nvme.* drive\n");
   EXPECT_EQ(content(unit_.etcFolder() / "multidrive"), "one.*\ntwo.*\n");
   EXPECT_EQ(content(unit_.etcFolder() / "multidrive_src"), "one.*\n");
   unit_.multidriveSrcIs(std::nullopt);
   EXPECT_FALSE(std::filesystem::exists(unit_.etcFolder() / "multidrive_src"));
}
