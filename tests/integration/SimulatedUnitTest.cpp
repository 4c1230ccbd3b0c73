#include "simulation/SimulatedUnit.h"

#include <gtest/gtest.h>
#include <libudev.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/integration/SimulatedUnitTest.h"

using namespace StorageDevices::Simulation;
using namespace UnitTest;

namespace {

std::string content(std::filesystem::path const & path) {
   std::ifstream in(path);
   std::ostringstream all;
   all << in.rdbuf();
   return all.str();
}

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
