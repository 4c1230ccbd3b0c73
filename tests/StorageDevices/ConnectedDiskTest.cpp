#include "StorageDevices/ConnectedDisk.h"

#include <gtest/gtest.h>

#include "tests/support/DiskFields.h"

namespace StorageDevices {

namespace {

using BusType = ConnectedDisk::BusType;
using Support::DiskFields;

std::string deviceName(std::string const & blockDevice) {
   DiskFields fields;
   fields.blockDevice = blockDevice;
   return fields.make()->blockDeviceName().str();
}

std::string interfaceAndAddress(BusType::Value bus, std::string const & address,
                                std::string const & blockDevice) {
   DiskFields fields;
   fields.busType = bus;
   fields.devAddress = address;
   fields.blockDevice = blockDevice;
   return fields.make()->deviceIntfAndAddress().str();
}

TEST(ConnectedDiskTest, StoresTheTenFieldsInConstructorOrder) {
   ConnectedDisk const disk{
       "S1",       EntityMib::StorageType::eMmc, "/dev/x", "/mnt/y", "M", "F", true, BusType::usb, "2-1",
       4294967295U};
   EXPECT_EQ(disk.name(), "S1");
   EXPECT_EQ(disk.mibType(), EntityMib::StorageType::eMmc);
   EXPECT_EQ(disk.blockDevice(), "/dev/x");
   EXPECT_EQ(disk.mountPoint(), "/mnt/y");
   EXPECT_EQ(disk.model(), "M");
   EXPECT_EQ(disk.firmwareRevision(), "F");
   EXPECT_TRUE(disk.removable());
   EXPECT_EQ(disk.busType(), BusType::usb);
   EXPECT_EQ(disk.devAddress(), "2-1");
   EXPECT_EQ(disk.sizeGb(), 4294967295U);
}

TEST(ConnectedDiskTest, GivesBusAndStorageTypesTheirNumbersAndNames) {
   EXPECT_EQ(BusType{BusType::usb}.value(), 0);
   EXPECT_EQ(BusType{BusType::sata}.value(), 1);
   EXPECT_EQ(BusType{BusType::nvme}.value(), 2);
   EXPECT_EQ(BusType{BusType::other}.value(), 3);
   EXPECT_EQ(sizeof(BusType), 1U);
   EXPECT_EQ(BusType{2}.stringValue(), "nvme");
   EXPECT_EQ(BusType::instance("sata")->value(), 1);
   using EntityMib::StorageType;
   EXPECT_EQ(StorageType{}.value(), 0);
   EXPECT_EQ(StorageType{StorageType::eUsb}.value(), 1);
   EXPECT_EQ(StorageType{StorageType::sataSsd}.value(), 2);
   EXPECT_EQ(StorageType{StorageType::eMmc}.value(), 3);
   EXPECT_EQ(StorageType{StorageType::nvme}.value(), 4);
   EXPECT_EQ(StorageType{StorageType::unknown}.stringValue(), "unknown");
   EXPECT_EQ(StorageType::instance("eMmc")->value(), 3);
   EXPECT_FALSE(StorageType::instance("floppy").has_value());
}

TEST(ConnectedDiskTest, NamesTheBlockDeviceWithoutItsDirectory) {
   EXPECT_EQ(deviceName("/dev/sda"), "sda");
   EXPECT_EQ(deviceName("/dev/mapper/root"), "root");
   EXPECT_EQ(deviceName("nvme0n1"), "nvme0n1");
   EXPECT_EQ(deviceName("/dev/"), "");
   EXPECT_EQ(deviceName(""), "");
}

TEST(ConnectedDiskTest, NamesADiskOnABusByItsAddress) {
   EXPECT_EQ(interfaceAndAddress(BusType::usb, "1-1.2", "/dev/sdb"), "usb 1-1.2");
   EXPECT_EQ(interfaceAndAddress(BusType::sata, "2", "/dev/sda"), "ata2");
   EXPECT_EQ(interfaceAndAddress(BusType::nvme, "nvme0n1", "/dev/nvme0n1"), "nvme0n1");
}

TEST(ConnectedDiskTest, LeavesADiskWithoutAddressUnnamed) {
   for (auto const bus : {BusType::usb, BusType::sata, BusType::nvme, BusType::other})
      EXPECT_EQ(interfaceAndAddress(bus, "", "/dev/sda"), "") << +bus;
   EXPECT_EQ(interfaceAndAddress(BusType::usb, "", "/dev/mmcblk0"), "");
   EXPECT_EQ(interfaceAndAddress(BusType::other, "", ""), "");
}

TEST(ConnectedDiskTest, NamesAnMmcDeviceByTheNumberInItsNode) {
   EXPECT_EQ(interfaceAndAddress(BusType::other, "", "/dev/mmcblk0"), "mmc0");
   EXPECT_EQ(interfaceAndAddress(BusType::other, "", "/dev/emmcblk12"), "mmc12");
   EXPECT_EQ(interfaceAndAddress(BusType::other, "", "/dev/mmcblk1boot0"), "mmc1");
   EXPECT_EQ(interfaceAndAddress(BusType::other, "", "/dev/mmcblk"), "");
   EXPECT_EQ(interfaceAndAddress(BusType::other, "", "/dev/mmcblkx1"), "");
   EXPECT_EQ(interfaceAndAddress(BusType::other, "", "/dev/mmcblk0/sda"), "");
}

// One function per field, each changing that field alone.
using Alter = void (*)(DiskFields &);
constexpr std::pair<char const *, Alter> alterations[] = {
    {"name", [](DiskFields & disk) { disk.name = "other"; }},
    {"mibType", [](DiskFields & disk) { disk.mibType = EntityMib::StorageType::nvme; }},
    {"blockDevice", [](DiskFields & disk) { disk.blockDevice = "/dev/sdb"; }},
    {"mountPoint", [](DiskFields & disk) { disk.mountPoint = "/mnt/flash"; }},
    {"model", [](DiskFields & disk) { disk.model = "other"; }},
    {"firmwareRevision", [](DiskFields & disk) { disk.firmwareRevision = "other"; }},
    {"removable", [](DiskFields & disk) { disk.removable = true; }},
    {"busType", [](DiskFields & disk) { disk.busType = BusType::other; }},
    {"devAddress", [](DiskFields & disk) { disk.devAddress = "3"; }},
    {"sizeGb", [](DiskFields & disk) { disk.sizeGb = 241; }}};

TEST(ConnectedDiskTest, ComparesEqualOnlyWhenAllTenFieldsAre) {
   auto const disk = DiskFields{}.make();
   EXPECT_TRUE(disk->isEq(*DiskFields{}.make()));
   for (auto const & [field, alter] : alterations) {
      DiskFields other;
      alter(other);
      EXPECT_FALSE(disk->isEq(*other.make())) << field;
   }
}

TEST(ConnectedDiskTest, IgnoresModelAndFirmwareWhereComparedWithoutTexts) {
   auto const disk = DiskFields{}.make();
   EXPECT_TRUE(disk->isEqButTexts(*DiskFields{}.make()));
   for (auto const & [field, alter] : alterations) {
      DiskFields other;
      alter(other);
      bool const isText = std::string_view{field} == "model" || std::string_view{field} == "firmwareRevision";
      EXPECT_EQ(disk->isEqButTexts(*other.make()), isText) << field;
   }
}

}  // namespace

}  // namespace StorageDevices
