#include "StorageDevices/DiscoveryPreview.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "runtime/Vorn/Shortage.h"
#include "simulation/SimulatedUnit.h"
#include "tests/support/ProcessState.h"
#include "tests/support/SpawnFailure.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/UdevFailure.h"
#include "tests/support/UdevStartFailure.h"

namespace StorageDevices {

namespace {

using namespace StorageDevices::Simulation;

class DiscoveryPreviewTest : public testing::Test {
 protected:
   DiscoveryPreviewTest() { fruConfig_->etcDirIs(unit_.etcFolder().string()); }

   // Device to outcome and reason.
   std::map<std::string, std::string> examined() const {
      std::map<std::string, std::string> result;
      for (PreviewedDevice const & device : previewDiscovery(fruConfig_).devices)
         result.emplace(device.device, device.outcome + ": " + device.reason);
      return result;
   }

   SimulatedUnit unit_;
   Pelm::Ptr<FruConfig> fruConfig_ = Pelm::make<FruConfig>();
   Support::TraceRecorder traces_{{"StorageDiscoveryPreview", 0}};
};

TEST_F(DiscoveryPreviewTest, ShowsTheClassificationOfEveryDeviceAndRunsNoTool) {
   unit_.blockdevIs(
       {{".*/ata", "drive"}, {".*/nvme", "drive2"}, {".*/mmc_host", "flash"}, {".*/usb1", "usb1"}});
   unit_.multidriveIs({".*/ata2"});
   auto spinning = sataDisk("sdc", 3, "C", "Kestrel", 1953125);
   spinning.rotational = "1";
   auto nameless = otherDisk("vdb", "virtual", 1);
   auto strange = otherDisk("vda", "virtual", 1);
   strange.serial = "V";
   for (auto const & disk :
        {sataDisk("sda", 1, "A", "Kestrel", 468862128), sataDisk("sdb", 2, "B", "Kestrel", 1000), spinning,
         nvmeDrive("nvme0n1", "N", "Marlin", 937703088),
         emmcDevice("mmcblk0", std::string(32, '1'), 61071360), usbDisk("sdd", "1-1", "D", "Flash", 31250000),
         otherDisk("loop0", "virtual", 8), nameless, strange})
      unit_.add(disk);
   EXPECT_EQ(
       examined(),
       (std::map<std::string, std::string>{
           {"/dev/loop0", "skipped: loop devices are no disks"},
           {"/dev/mmcblk0", "fixed: /mnt/flash, other (mmc0), 31 GB, identified by its CID register"},
           {"/dev/nvme0n1", "fixed: /mnt/drive2, nvme (nvme0n1), 480 GB, identified by nvme list"},
           {"/dev/sda", "fixed: /mnt/drive, sata (ata1), 240 GB, identified by hdparm -I"},
           {"/dev/sdb", "skipped: multidrive lists it and it is not the source drive of multidrive_src"},
           {"/dev/sdc", "fixed: /mnt/drive, sata (ata3), 1 GB, identified by its link under /dev/disk/by-id"},
           {"/dev/sdd", "removable: /mnt/usb1, usb (usb 1-1), 16 GB, identified by udev's properties"},
           {"/dev/vda", "skipped: no entry of blockdev matches its path"},
           {"/dev/vdb", "skipped: udev has no serial number for it"}}));
   EXPECT_TRUE(unit_.tools().runs().empty());
}

TEST_F(DiscoveryPreviewTest, ShowsThePathsThatPatternsAreMatchedAgainst) {
   unit_.add(nvmeDrive("nvme0n1", "N", "Marlin", 1000));
   auto const preview = previewDiscovery(fruConfig_);
   ASSERT_EQ(preview.devices.size(), 1U);
   EXPECT_EQ("/sys/devices/" + preview.devices[0].sysPath, unit_.sysPath("nvme0n1"));
}

TEST_F(DiscoveryPreviewTest, ShowsSerialNumbersAndTheMountPointsOfDisks) {
   unit_.blockdevIs({{".*/ata1/", "drive"}});
   auto nameless = otherDisk("vdb", "virtual", 1);
   for (auto const & disk :
        {sataDisk("sda", 1, "A", "Kestrel", 1000), sataDisk("sdb", 2, "B", "Kestrel", 1000), nameless})
      unit_.add(disk);
   std::map<std::string, std::string> shown;
   for (PreviewedDevice const & device : previewDiscovery(fruConfig_).devices)
      shown[device.device] = device.serial + " " + device.mountPoint;
   EXPECT_EQ(shown, (std::map<std::string, std::string>{
                        {"/dev/sda", "A /mnt/drive"}, {"/dev/sdb", "B "}, {"/dev/vdb", " "}}));
}

TEST_F(DiscoveryPreviewTest, ShowsWhetherBlockdevCanBeReadAndItsNumberOfEntries) {
   auto const without = previewDiscovery(fruConfig_);
   EXPECT_FALSE(without.blockdevReadable);
   EXPECT_EQ(without.blockdevEntries, 0U);
   EXPECT_TRUE(without.udevAvailable);
   EXPECT_EQ(traces_.errors(), std::vector<std::string>{" could not open /etc/blockdev"});
   unit_.blockdevIs({{"a", "b"}, {"c", "d"}});
   auto const with = previewDiscovery(fruConfig_);
   EXPECT_TRUE(with.blockdevReadable);
   EXPECT_EQ(with.blockdevEntries, 2U);
}

TEST_F(DiscoveryPreviewTest, NamesADeviceWithoutNodeAsTheKernelDoes) {
   auto disk = nvmeDrive("nvme0n1", "N", "Marlin", 1000);
   disk.absent = {"DEVNAME"};
   unit_.add(disk);
   auto const devices = examined();
   ASSERT_EQ(devices.size(), 1U);
   EXPECT_EQ(devices.begin()->first, "nvme0n1");
   EXPECT_EQ(devices.begin()->second, "skipped: udev has no device node for it");
}

TEST_F(DiscoveryPreviewTest, NamesTheRemedyWhereProcessesAreScarce) {
   Support::TraceRecorder const quiet{{"StorageCDevsUtil", 0}};
   unit_.blockdevIs({{R"(.*/ata\(1\))", "drive"}});
   unit_.add(sataDisk("sda", 1, "A", "Kestrel", 1000));
   Support::SpawnFailure const failure{EAGAIN, "expr"};
   std::string const why = "expr cannot be started: " + Vorn::errorAndRemedy(EAGAIN);
   EXPECT_EQ(examined().at("/dev/sda"), "skipped: " + why);
   EXPECT_EQ(previewDiscovery(fruConfig_).errors,
             std::vector<std::string>{unit_.etcFolder().string() +
                                      "/blockdev: its patterns cannot be matched, because " + why});
}

TEST_F(DiscoveryPreviewTest, ShowsADeviceThatItCannotReadButNoneThatIsGone) {
   unit_.add(sataDisk("sda", 1, "A", "Kestrel", 1000));
   {
      Support::UdevFailure const failure{ENOMEM, "/sda"};
      EXPECT_EQ(examined().at("sda"), "skipped: " + Vorn::errorAndRemedy(ENOMEM));
   }
   Support::UdevFailure const failure{ENODEV, "/sda"};
   EXPECT_TRUE(examined().empty());
}

TEST_F(DiscoveryPreviewTest, ReportsWhyUdevIsNotThere) {
   Support::UdevStartFailure const failure{"udev_new", ENOMEM};
   auto const preview = previewDiscovery(fruConfig_);
   EXPECT_FALSE(preview.udevAvailable);
   EXPECT_EQ(preview.udevError, Vorn::errorAndRemedy(ENOMEM));
}

TEST_F(DiscoveryPreviewTest, ReportsAMissingScan) {
   Support::DescriptorLimit const limit{0};
   auto const preview = previewDiscovery(fruConfig_);
   EXPECT_FALSE(preview.udevAvailable);
   EXPECT_TRUE(preview.devices.empty());
}

}  // namespace

}  // namespace StorageDevices
