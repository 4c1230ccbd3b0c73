#include "StorageDevices/BusAddress.h"

#include <gtest/gtest.h>

#include <string>

#include "StorageDevices/CDevsUtil.h"
#include "simulation/SimulatedUnit.h"
#include "tests/support/TempDir.h"
#include "tests/support/UdevDevices.h"

namespace StorageDevices {

namespace {

using namespace StorageDevices::Simulation;
using BusType = ConnectedDisk::BusType;

class BusAddressTest : public testing::Test {
 protected:
   // A device recorded on a real kernel. No recording reaches the SCSI host's class device, so that is
   // added where the test names the host.
   void recorded(std::string const & name, std::string const & host = "", std::string const & uniqueId = "") {
      std::string text = Support::fileContent(std::string{TEST_DATA_DIR} + "/udev/" + name + ".umockdev");
      if (!host.empty())
         text += "\nP: " + host + "/scsi_host/" + host.substr(host.rfind('/') + 1) +
                 "\nE: SUBSYSTEM=scsi_host\nA: unique_id=" + uniqueId + "\\n\n";
      unit_.addRecording(text);
   }
   UdevDevicePtr device(std::string_view name) const { return udev_.device(unit_.sysPath(name)); }

   std::string ata(std::string_view name) const { return text(CDevsUtil::getAtaScsiId(device(name).get())); }
   std::string usb(std::string_view name) const {
      return text(CDevsUtil::getUsbInterface(device(name).get()));
   }
   std::string nvme(std::string_view name) const { return text(CDevsUtil::getNvme(device(name).get())); }
   std::string serial(std::string_view name) const { return CDevsUtil::udevSerial(device(name).get()).str(); }
   std::string bus(std::string_view name) const {
      BusAddress const address = busAddress(device(name).get());
      return address.busType.stringValue().str() + " " + address.devAddress.str();
   }
   static std::string text(Vorn::Optional<Pelm::String> const & address) {
      return address ? (*address).str() : "(none)";
   }

   SimulatedUnit unit_;
   Support::UdevDevices udev_;
};

TEST_F(BusAddressTest, ReadsTheIdOfARecordedSataDiskFromItsScsiHost) {
   recorded("sda", "/devices/pci0000:00/0000:00:02.0/ata2/host1", "2");
   EXPECT_EQ(ata("sda"), "2");
   EXPECT_EQ(usb("sda"), "(none)");
   EXPECT_EQ(nvme("sda"), "(none)");
   EXPECT_EQ(bus("sda"), "sata 2");
   EXPECT_EQ(serial("sda"), "S2SATA00002");
}

TEST_F(BusAddressTest, ReadsTheIdOfTheHostWhateverItsNumber) {
   recorded("sdb", "/devices/pci0000:00/0000:00:02.0/ata1/host0", "41");
   EXPECT_EQ(ata("sdb"), "41");
   EXPECT_EQ(bus("sdb"), "sata 41");
}

TEST_F(BusAddressTest, AssignsNoKnownBusToASataDiskWithoutTheHostsClassDevice) {
   recorded("sda");
   EXPECT_EQ(ata("sda"), "(none)");
   EXPECT_EQ(bus("sda"), "other ");
}

TEST_F(BusAddressTest, ReadsThePortOfARecordedUsbDiskFromItsInterface) {
   recorded("sdc");
   EXPECT_EQ(usb("sdc"), "2-2");
   EXPECT_EQ(nvme("sdc"), "(none)");
   EXPECT_EQ(bus("sdc"), "usb 2-2");
}

TEST_F(BusAddressTest, ReadsTheWholePathToARecordedUsbDiskBehindAHub) {
   recorded("sdd");
   EXPECT_EQ(usb("sdd"), "1-1.2");
   EXPECT_EQ(bus("sdd"), "usb 1-1.2");
}

TEST_F(BusAddressTest, EndsTheUsbAddressAtTheFirstOfTwoColons) {
   auto disk = usbDisk("sda", "1-1", "S", "Flash", 1000);
   disk.usbPort = "1-1:9";
   unit_.add(disk);
   EXPECT_EQ(*StorageDevices::CDevsUtil::getUsbInterface(device("sda").get()), "1-1");
}

TEST_F(BusAddressTest, NamesRecordedNvmeDrivesAfterTheirNamespaces) {
   recorded("nvme0n1");
   recorded("nvme1n1");
   EXPECT_EQ(ata("nvme0n1"), "(none)");
   EXPECT_EQ(usb("nvme0n1"), "(none)");
   EXPECT_EQ(bus("nvme0n1"), "nvme nvme0n1");
   EXPECT_EQ(bus("nvme1n1"), "nvme nvme1n1");
   EXPECT_EQ(serial("nvme1n1"), "NV0000002");
}

TEST_F(BusAddressTest, FindsNoAddressAndOnlyTheLongSerialOfARecordedCard) {
   recorded("mmcblk0");
   EXPECT_EQ(ata("mmcblk0"), "(none)");
   EXPECT_EQ(usb("mmcblk0"), "(none)");
   EXPECT_EQ(nvme("mmcblk0"), "(none)");
   EXPECT_EQ(bus("mmcblk0"), "other ");
   EXPECT_EQ(serial("mmcblk0"), "0xdeadbeef");
}

TEST_F(BusAddressTest, PrefersTheShortSerialAndLeavesAMissingOneEmpty) {
   auto both = sataDisk("sda", 1, "SHORT", "Kestrel", 1);
   auto longOnly = sataDisk("sdb", 2, "", "Kestrel", 1);
   longOnly.properties = {{"ID_SERIAL", "Kestrel_LONG"}, {"ID_SERIAL_SHORT", ""}};
   auto none = sataDisk("sdc", 3, "", "Kestrel", 1);
   none.absent = {"ID_SERIAL", "ID_SERIAL_SHORT"};
   for (auto const & disk : {both, longOnly, none})
      unit_.add(disk);
   EXPECT_EQ(serial("sda"), "SHORT");
   EXPECT_EQ(serial("sdb"), "Kestrel_LONG");
   EXPECT_EQ(serial("sdc"), "");
}

TEST_F(BusAddressTest, AssignsNoKnownBusToAnAtaDiskWithoutIdEvenBelowUsb) {
   auto noId = sataDisk("sda", 1, "A", "Kestrel", 1);
   noId.scsiHost = Disk::ScsiHost::withoutUniqueId;
   auto noHost = sataDisk("sdb", 2, "B", "Kestrel", 1);
   noHost.scsiHost = Disk::ScsiHost::absent;
   auto bridge = usbDisk("sdc", "1-1", "C", "Bridge", 1);
   bridge.properties["ID_BUS"] = "ata";
   bridge.scsiHost = Disk::ScsiHost::withoutUniqueId;
   for (auto const & disk : {noId, noHost, bridge})
      unit_.add(disk);
   EXPECT_EQ(bus("sda"), "other ");
   EXPECT_EQ(bus("sdb"), "other ");
   EXPECT_EQ(bus("sdc"), "other ");
   EXPECT_EQ(usb("sdc"), "1-1");
}

TEST_F(BusAddressTest, RequiresTheWholeWordAtaForASataBus) {
   unsigned port = 0;
   for (auto const & [name, idBus] : std::map<std::string, std::string>{
            {"sda", "ATA"}, {"sdb", "ata "}, {"sdc", "sata"}, {"sdd", "scsi"}, {"sde", ""}}) {
      auto disk = sataDisk(name, ++port, name, "Kestrel", 1);
      disk.properties["ID_BUS"] = idBus;
      unit_.add(disk);
      EXPECT_EQ(bus(name), "other ") << idBus;
   }
}

TEST_F(BusAddressTest, ClassifiesAnAtaDiskBelowUsbWithAnIdAsSata) {
   auto bridge = usbDisk("sda", "1-1", "A", "Bridge", 1);
   bridge.properties["ID_BUS"] = "ata";
   bridge.uniqueId = "9";
   unit_.add(bridge);
   EXPECT_EQ(bus("sda"), "sata 9");
}

TEST_F(BusAddressTest, StartsAnNvmeAddressAtTheFirstNvmeOfTheNode) {
   auto odd = otherDisk("xnvme3n1nvme", "virtual", 1);
   auto partOfUsb = usbDisk("nvme9n9", "1-1", "U", "Enclosure", 1);
   unit_.add(odd);
   unit_.add(partOfUsb);
   EXPECT_EQ(nvme("xnvme3n1nvme"), "nvme3n1nvme");
   EXPECT_EQ(bus("xnvme3n1nvme"), "nvme nvme3n1nvme");
   EXPECT_EQ(nvme("nvme9n9"), "nvme9n9");
   EXPECT_EQ(bus("nvme9n9"), "usb 1-1");
}

TEST_F(BusAddressTest, AcceptsAnEmptyIdAsAnId) {
   auto disk = sataDisk("sda", 1, "A", "Kestrel", 1);
   disk.uniqueId = "";
   unit_.add(disk);
   EXPECT_EQ(bus("sda"), "sata ");
}

}  // namespace

}  // namespace StorageDevices
