#include "command/machine/MachineDisks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "base/SimulatedUnit.h"
#include "runtime/model/MountTable.h"
#include "simulation/SimulatedUnit.h"
#include "tests/support/ProcessState.h"
#include "tests/support/TempDir.h"

namespace Command {
namespace {

namespace fs = std::filesystem;
using namespace StorageDevices::Simulation;
using Words = std::vector<std::string>;

class MachineDisksTest : public testing::Test {
 protected:
   MachineDisksTest() {
      fs::create_directories(root_.path() / "proc/self");
      fs::create_directories(root_.path() / "sys/dev/block");
      fs::create_directories(root_.path() / "sys/class/block");
   }
   ~MachineDisksTest() override { StorageDevices::Mounts::rootIs(""); }

   // Mounts a device in the table of the test's own.
   void mount(std::string const & name, std::string const & mountPoint) {
      std::string const number = "259:" + std::to_string(++mounts_);
      fs::create_directories(root_.path() / "sys/dev/block" / number);
      std::ofstream{root_.path() / "sys/dev/block" / number / "uevent"} << "DEVNAME=" << name << '\n';
      table_ += "36 25 " + number + " / " + mountPoint + " rw shared:1 - ext4 /dev/" + name + " rw\n";
      root_.write("proc/self/mountinfo", table_);
   }
   std::vector<MachineDisk> disks() const {
      Support::EnvironmentSetting const root{Base::simulatedRootVariable, root_.string()};
      return machineDisks(unit_.etcFolder());
   }
   MachineDisk disk(std::string const & name) const {
      for (MachineDisk const & disk : disks())
         if (disk.device == "/dev/" + name)
            return disk;
      ADD_FAILURE() << "no " << name;
      return {};
   }

   SimulatedUnit unit_;
   Support::TempDir root_;
   std::string table_;
   int mounts_ = 0;
};

TEST_F(MachineDisksTest, ListsDisksInTheOrderOfTheirNamesAndNothingElse) {
   for (auto const & disk :
        {sataDisk("sdb", 2, "B", "Kestrel", 1000), sataDisk("sdaa", 3, "AA", "Kestrel", 1000),
         sataDisk("sda", 1, "A", "Kestrel", 1000), otherDisk("loop0", "virtual", 8),
         otherDisk("sr0", "pci0000:00/0000:00:1f.2", 8), otherDisk("dm-0", "virtual", 8),
         otherDisk("mmcblk0boot0", "platform/soc", 8),
         otherDisk("vda", "pci0000:00/0000:00:04.0/virtio1", 8)})
      unit_.add(disk);
   Words names;
   for (MachineDisk const & disk : disks())
      names.push_back(disk.device + " " + disk.serial);
   EXPECT_EQ(names, (Words{"/dev/sda A", "/dev/sdb B", "/dev/vda ", "/dev/sdaa AA"}));
}

TEST_F(MachineDisksTest, RepeatsWhyDiscoverySkipsADisk) {
   unit_.add(sataDisk("sda", 1, "A", "Kestrel", 1000));
   unit_.add(sataDisk("sdb", 2, "B", "Kestrel", 1000));
   unit_.add(otherDisk("vda", "pci0000:00/0000:00:04.0/virtio1", 8));
   unit_.multidriveIs({".*/ata2/"});
   EXPECT_EQ(disk("sda").obstacle, "");
   EXPECT_EQ(disk("sdb").obstacle, "multidrive lists it and it is not the source drive of multidrive_src");
   EXPECT_EQ(disk("vda").obstacle, "udev has no serial number for it");
}

TEST_F(MachineDisksTest, KnowsWhatIsMadeToBePulled) {
   auto drive = usbDisk("sda", "1-1", "A", "Drive", 1000);
   auto stick = usbDisk("sdb", "1-2", "B", "Stick", 1000);
   auto soldered = usbDisk("sdc", "1-3", "C", "Module", 1000);
   auto card = emmcDevice("mmcblk0", std::string(32, '1'), 1000);
   auto chip = emmcDevice("mmcblk1", std::string(32, '2'), 1000);
   for (Disk * made : {&stick, &soldered})
      made->attributes["removable"] = "1";
   drive.attributes["removable"] = "0";
   card.deviceAttributes["type"] = "SD";
   chip.deviceAttributes["type"] = "MMC";
   for (auto const & disk : {drive, stick, soldered, card, chip, sataDisk("sdd", 1, "D", "Kestrel", 1000)})
      unit_.add(disk);
   fs::path port = unit_.sysFolder("sdc");
   while (port.filename() != "1-3")
      port = port.parent_path();
   std::ofstream{port / "removable"} << "fixed\n";
   for (char const * name : {"sdb", "mmcblk0"})
      EXPECT_TRUE(disk(name).isRemovable) << name;
   for (char const * name : {"sda", "sdc", "mmcblk1", "sdd"})
      EXPECT_FALSE(disk(name).isRemovable) << name;
   for (char const * name : {"sda", "sdb", "sdc"})
      EXPECT_TRUE(disk(name).isUsb) << name;
   EXPECT_FALSE(disk("sdd").isUsb);
}

TEST_F(MachineDisksTest, FindsTheMountPointsOfADiskAndOfItsPartitions) {
   unit_.add(sataDisk("sda", 1, "A", "Kestrel", 1000));
   unit_.add(sataDisk("sdaa", 2, "AA", "Kestrel", 1000));
   unit_.add(nvmeDrive("nvme0n1", "N1", "Marlin", 1000));
   unit_.add(nvmeDrive("nvme0n11", "N11", "Marlin", 1000));
   mount("sda2", "/mnt/b");
   mount("sda1", "/mnt/a b");
   mount("sdaa1", "/mnt/c");
   mount("sdap1", "/mnt/f");
   mount("nvme0n1p12", "/mnt/d");
   mount("nvme0n11", "/mnt/e");
   mount("sda3", "/mnt/over");
   mount("sdaa", "/mnt/over");
   root_.write("proc/self/mountinfo", [this] {
      std::string escaped = table_;
      escaped.replace(escaped.find("a b"), 3, "a\\040b");
      return escaped;
   }());
   EXPECT_EQ(disk("sda").mountPoints, (Words{"/mnt/b", "/mnt/a b"}));
   EXPECT_EQ(disk("sdaa").mountPoints, (Words{"/mnt/c", "/mnt/over"}));
   EXPECT_EQ(disk("nvme0n1").mountPoints, Words{"/mnt/d"});
   EXPECT_EQ(disk("nvme0n11").mountPoints, Words{"/mnt/e"});
}

TEST_F(MachineDisksTest, LooksThroughMappedDevices) {
   unit_.add(sataDisk("sda", 1, "A", "Kestrel", 1000));
   unit_.add(sataDisk("sdb", 2, "B", "Kestrel", 1000));
   mount("dm-1", "/mnt/drive");
   fs::create_directories(root_.path() / "sys/class/block/dm-1/slaves/dm-0");
   fs::create_directories(root_.path() / "sys/class/block/dm-0/slaves/sda3");
   EXPECT_EQ(disk("sda").mountPoints, Words{"/mnt/drive"});
   EXPECT_TRUE(disk("sdb").mountPoints.empty());
}

TEST_F(MachineDisksTest, NamesTheDevicesThatAreMadeOfADisk) {
   unit_.add(sataDisk("sda", 1, "A", "Kestrel", 1000));
   unit_.add(sataDisk("sdb", 2, "B", "Kestrel", 1000));
   fs::create_directories(unit_.sysFolder("sda") / "holders/md0");
   fs::create_directories(unit_.sysFolder("sda") / "sda2/holders/md1");
   fs::create_directories(unit_.sysFolder("sdb") / "queue/holders/md2");
   EXPECT_EQ(disk("sda").users, (Words{"md0", "md1"}));
   EXPECT_TRUE(disk("sdb").users.empty());
}

}  // namespace
}  // namespace Command
