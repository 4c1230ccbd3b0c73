// The collectors that read udev: eMMC and eUSB.
#include <gtest/gtest.h>

#include "StorageDevices/EmmcDiskInfoCollectorSm.h"
#include "StorageDevices/EusbDiskInfoCollectorSm.h"
#include "runtime/Vorn/Notifiee.h"
#include "simulation/SimulatedUnit.h"
#include "tests/support/DiskFields.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/UdevDevices.h"

namespace StorageDevices {

namespace {

using namespace StorageDevices::Simulation;
using Support::DiskFields;

class UdevCollectorTest : public testing::Test {
 protected:
   using Factory = Pelm::Ptr<DiskInfoCollectorSm> (*)(Pelm::Ptr<ConnectedDisk const> const &, udev_device *);

   // The udev device is gone when the collector is used.
   DiskFields collected(Factory factory, Disk const & disk) {
      unit_.add(disk);
      auto const collector = factory(disk_.make(), udev_.device(unit_.sysPath(disk.name)).get());
      unit_.vanish(disk.name);
      type_ = collector->mibType();
      EXPECT_TRUE(collector->device()->isEq(*disk_.make()));
      return collector->finalDisk() ? Support::fieldsOf(*collector->finalDisk())
                                    : DiskFields{.name = "(none)"};
   }

   SimulatedUnit unit_;
   Support::UdevDevices udev_;
   Support::TraceRecorder traces_{{"StorageDiskInfoCollectorSm", 7}};
   EntityMib::StorageType type_;
   DiskFields disk_{.name = "udev serial",
                    .blockDevice = "/dev/x",
                    .mountPoint = "/mnt/flash",
                    .model = "udev model",
                    .firmwareRevision = "udev firmware",
                    .busType = ConnectedDisk::BusType::other,
                    .devAddress = "",
                    .sizeGb = 32};
};

class EmmcDiskInfoCollectorSmTest : public UdevCollectorTest {
 protected:
   DiskFields collected(Disk const & disk) {
      return UdevCollectorTest::collected(&EmmcDiskInfoCollectorSmIs, disk);
   }
   DiskFields collectedCid(std::string_view cid) { return collected(emmcDevice("mmcblk0", cid, 1000)); }
   DiskFields collectedFrom(std::string const & sysPath) {
      return Support::fieldsOf(
          *EmmcDiskInfoCollectorSmIs(disk_.make(), udev_.device(sysPath).get())->finalDisk());
   }
   // How many errors have been traced when the disk is published; 0 if it is not.
   std::size_t tracedBeforeResult(Disk const & disk) {
      unit_.add(disk);
      auto const device = udev_.device(unit_.sysPath(disk.name));
      auto const collector = Pelm::make<EmmcDiskInfoCollectorSm>(disk_.make(), device.get());
      Vorn::NotifieeConst reactor;
      reactor.notifierIs(collector);
      reactor.on<&EmmcDiskInfoCollectorSmTest::handleResult>(collector->finalDisk, *this);
      reactor.hasNotificationActiveIs(true);
      traces_.clear();
      tracedBefore_ = 0;
      collector->handleInitialized();
      unit_.vanish(disk.name);
      return tracedBefore_;
   }
   DiskFields unchanged() const {
      DiskFields disk = disk_;
      disk.mibType = 3;
      return disk;
   }
   std::string error() const { return traces_.errors().empty() ? "" : traces_.errors().front(); }

   static std::string signature() {
      return "void StorageDevices::EmmcDiskInfoCollectorSm::handleInitialized()";
   }

 private:
   void handleResult() { tracedBefore_ = traces_.errors().size(); }

   std::size_t tracedBefore_ = 0;
};

TEST_F(EmmcDiskInfoCollectorSmTest, ReadsModelSerialAndFirmwareFromTheRegister) {
   DiskFields expected = disk_;
   expected.mibType = 3;
   expected.model = "Samsung KSTREL";
   expected.name = "00000a1f";
   expected.firmwareRevision = "0.10";
   EXPECT_EQ(collectedCid("1501004b535452454c0a00000a1f5ac1"), expected);
   EXPECT_EQ(type_.value(), 3);
   EXPECT_TRUE(traces_.lines().empty());
}

TEST_F(EmmcDiskInfoCollectorSmTest, ShowsAnUnknownManufacturerAsItsNumber) {
   EXPECT_EQ(collectedCid("9B01004B202020205A21DEADBEEF5AC1").model, "0x9b K    Z");
}

TEST_F(EmmcDiskInfoCollectorSmTest, TracesARegisterOfAnotherLength) {
   for (std::string const & cid : {std::string(31, 'a'), std::string(33, 'a'), std::string{""}}) {
      traces_.clear();
      auto disk = emmcDevice("mmcblk0", "", 1000);
      disk.serial = "0x1";
      disk.deviceAttributes["cid"] = cid;
      EXPECT_EQ(collected(disk), unchanged());
      EXPECT_EQ(error(), signature() + " Error parsing CID register (size)") << cid;
   }
}

TEST_F(EmmcDiskInfoCollectorSmTest, TracesARegisterWithACharacterThatIsNoDigit) {
   EXPECT_EQ(collectedCid("15010g4b535452454c0a00000a1f5ac1"), unchanged());
   EXPECT_EQ(error(), signature() + " Error parsing CID register (hex)");
}

TEST_F(EmmcDiskInfoCollectorSmTest, TracesADeviceWithoutRegister) {
   EXPECT_EQ(collectedCid(""), unchanged());
   EXPECT_EQ(error(), signature() + " Error reading CID register");
}

TEST_F(EmmcDiskInfoCollectorSmTest, TracesAFailureBeforeItPublishesTheDisk) {
   std::map<std::string, std::string> const errors{
       {"a", "(size)"}, {std::string(32, 'x'), "(hex)"}, {"", ""}};
   for (auto const & [cid, kind] : errors) {
      auto disk = emmcDevice("mmcblk0", "", 1000);
      disk.serial = "0x1";
      if (!cid.empty())
         disk.deviceAttributes["cid"] = cid;
      EXPECT_EQ(tracedBeforeResult(disk), 1U) << kind;
   }
   EXPECT_EQ(tracedBeforeResult(otherDisk("mmcblk0", "virtual", 1000)), 1U);
}

TEST_F(EmmcDiskInfoCollectorSmTest, ReadsTheRegisterOfTheParentWhateverItsSubsystem) {
   auto disk = nvmeDrive("nvme0n1", "N", "Marlin", 1000);
   disk.deviceAttributes["cid"] = "1501004b535452454c0a00000a1f5ac1";
   EXPECT_EQ(collected(disk).model, "Samsung KSTREL");
}

TEST_F(EmmcDiskInfoCollectorSmTest, IgnoresARegisterAboveTheParent) {
   unit_.addRecording(
       "P: /devices/host/device/block/mmcblk0\nN: mmcblk0\nE: DEVNAME=/dev/mmcblk0\nE: DEVTYPE=disk\n"
       "E: SUBSYSTEM=block\n\nP: /devices/host/device\nE: SUBSYSTEM=mmc\n\n"
       "P: /devices/host\nE: SUBSYSTEM=mmc_host\nA: cid=1501004b535452454c0a00000a1f5ac1\n");
   EXPECT_EQ(collectedFrom(unit_.sysPath("mmcblk0")), unchanged());
   EXPECT_EQ(error(), signature() + " Error reading CID register");
}

TEST_F(EmmcDiskInfoCollectorSmTest, IgnoresARegisterOfTheDiskItself) {
   auto disk = emmcDevice("mmcblk0", "", 1000);
   disk.serial = "0x1";
   disk.attributes["cid"] = "1501004b535452454c0a00000a1f5ac1";
   EXPECT_EQ(collected(disk), unchanged());
   EXPECT_EQ(error(), signature() + " Error reading CID register");
}

TEST_F(EmmcDiskInfoCollectorSmTest, TracesADiskWithoutParent) {
   EXPECT_EQ(collected(otherDisk("mmcblk0", "virtual", 1000)), unchanged());
   EXPECT_EQ(error(), signature() + " Error getting parent block device");
}

class EusbDiskInfoCollectorSmTest : public UdevCollectorTest {
 protected:
   DiskFields collectedLinks(std::optional<std::string> const & links) {
      auto disk = usbDisk("sda", "1-1", "any", "any", 1000);
      disk.devLinks = links;
      if (!links)
         disk.absent = {"DEVLINKS"};
      return UdevCollectorTest::collected(&EusbDiskInfoCollectorSmIs, disk);
   }
};

TEST_F(EusbDiskInfoCollectorSmTest, ReadsTheModelFromTheLinkById) {
   disk_.name = "0123ABCD";
   DiskFields expected = disk_;
   expected.mibType = 1;
   expected.model = "Vendor_Flash_Drive";
   EXPECT_EQ(
       collectedLinks("/dev/disk/by-path/a-0123ABCD /dev/disk/by-id/usb-Vendor_Flash_Drive_0123ABCD-0:0"),
       expected);
   EXPECT_EQ(type_.value(), 1);
   EXPECT_TRUE(traces_.lines().empty());
}

TEST_F(EusbDiskInfoCollectorSmTest, KeepsTheModelWithoutAUsableLink) {
   disk_.name = "0123ABCD";
   for (std::optional<std::string> const & links :
        {std::optional<std::string>{}, std::optional<std::string>{"/dev/disk/by-path/pci-1"},
         std::optional<std::string>{"/dev/disk/by-id/nohyphen"},
         std::optional<std::string>{"/dev/disk/by-id/usb-0123ABCD-0:0"}})
      EXPECT_EQ(collectedLinks(links).model, "udev model") << links.value_or("(none)");
   EXPECT_TRUE(traces_.lines().empty());
}

TEST_F(EusbDiskInfoCollectorSmTest, ReplacesEmptyTextsByUnknown) {
   disk_.name = disk_.model = disk_.firmwareRevision = "";
   DiskFields const result = collectedLinks("/dev/disk/by-path/only");
   EXPECT_EQ(result.name, "Unknown");
   EXPECT_EQ(result.model, "Unknown");
   EXPECT_EQ(result.firmwareRevision, "Unknown");
   EXPECT_EQ(result.mibType, 1);
}

}  // namespace

}  // namespace StorageDevices
