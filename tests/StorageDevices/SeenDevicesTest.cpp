#include "StorageDevices/SeenDevices.h"

#include <gtest/gtest.h>

#include "tests/support/DiskFields.h"
#include "tests/support/TempDir.h"

namespace StorageDevices {

namespace {

class SeenDevicesTest : public testing::Test {
 protected:
   // A device's folder that is there.
   Pelm::String folder(char const * name) const {
      std::filesystem::create_directories(folder_.path() / name);
      return (folder_.path() / name).string();
   }
   Pelm::String seenAt(char const * name, char const * udevSerial) {
      Pelm::String path = folder(name);
      DeviceClassification classification;
      classification.disk = Support::DiskFields{}.make();
      seen_.seenIs(path, {udevSerial, "drive", classification});
      return path;
   }
   void vanish(char const * name) const { std::filesystem::remove(folder_.path() / name); }

   Support::TempDir folder_;
   SeenDevices seen_;
   Scan scan_;
};

TEST_F(SeenDevicesTest, KeepsADeviceThatTheScanFound) {
   scan_.serials[seenAt("a", "A")] = "A";
   EXPECT_FALSE(seen_.isGone("A", scan_));
   vanish("a");
   EXPECT_FALSE(seen_.isGone("A", scan_)) << "its events will report it";
}

TEST_F(SeenDevicesTest, ReportsADeviceWhoseFolderIsGone) {
   seenAt("a", "A");
   vanish("a");
   EXPECT_TRUE(seen_.isGone("A", scan_));
   scan_.complete = false;
   EXPECT_TRUE(seen_.isGone("A", scan_));
}

TEST_F(SeenDevicesTest, KeepsADeviceThatCouldNotBeReadOrHasLostItsSerial) {
   Pelm::String const path = seenAt("a", "A");
   EXPECT_FALSE(seen_.isGone("A", scan_)) << "left out of the list";
   scan_.serials[path] = "";
   EXPECT_FALSE(seen_.isGone("A", scan_));
}

TEST_F(SeenDevicesTest, MissesOnlyAFolderThatIsNotThere) {
   EXPECT_FALSE(isInSysfs("/dev/null/device"));
   EXPECT_TRUE(isInSysfs(Pelm::String{"/" + std::string(300, 'x')})) << "nobody could look";
}

TEST_F(SeenDevicesTest, KnowsNoPathOfASkippedDevice) {
   seen_.seenIs(folder("a"), {"A", "drive", std::nullopt});
   EXPECT_TRUE(seen_.pathOf("A").empty());
   EXPECT_FALSE(seen_.isPresent("A", "/dev/sda"));
   Pelm::String const path = seenAt("b", "A");
   EXPECT_EQ(seen_.pathOf("A"), path);
}

TEST_F(SeenDevicesTest, ComparesAllOfAClassification) {
   DeviceClassification one;
   one.disk = Support::DiskFields{}.make();
   DeviceClassification other = one;
   EXPECT_TRUE(one == other);
   other.kind = DeviceClassification::Kind::fixed;
   EXPECT_FALSE(one == other);
   other = one;
   other.collector = DeviceClassification::Collector::eusb;
   EXPECT_FALSE(one == other);
   other = one;
   other.links = "/dev/disk/by-id/usb-Kestrel";
   EXPECT_FALSE(one == other);
   other = one;
   other.disk = Support::DiskFields{.sizeGb = 480}.make();
   EXPECT_FALSE(one == other);
}

TEST_F(SeenDevicesTest, ReportsADeviceWhosePlaceAnotherHasTaken) {
   scan_.serials[seenAt("a", "A")] = "B";
   EXPECT_TRUE(seen_.isGone("A", scan_));
}

TEST_F(SeenDevicesTest, KeepsADeviceThatMoved) {
   seenAt("a", "A");
   vanish("a");
   scan_.serials[folder("b")] = "A";
   EXPECT_FALSE(seen_.isGone("A", scan_));
}

TEST_F(SeenDevicesTest, ReportsASerialOfAnEarlierRunOnlyAfterACompleteScan) {
   EXPECT_TRUE(seen_.isGone("A", scan_));
   scan_.complete = false;
   EXPECT_FALSE(seen_.isGone("A", scan_));
}

TEST_F(SeenDevicesTest, ForgetsRemovedDevicesAndThoseOfTheSameSerial) {
   seenAt("a", "SAME");
   Pelm::String const second = seenAt("b", "SAME");
   Pelm::String const other = seenAt("c", "OTHER");
   seen_.goneDel();
   EXPECT_TRUE(seen_.seen(second));
   vanish("a");
   seen_.goneDel();
   EXPECT_FALSE(seen_.seen(second));
   EXPECT_TRUE(seen_.seen(other));
   EXPECT_EQ(seen_.pathOf("OTHER"), other);
   EXPECT_EQ(seen_.pathOf("SAME"), "");
}

TEST_F(SeenDevicesTest, FindsADeviceByItsNodeWhileItsFolderExists) {
   seenAt("a", "A");
   Pelm::String const node = Support::DiskFields{}.blockDevice;
   EXPECT_TRUE(seen_.isPresent("A", node));
   EXPECT_FALSE(seen_.isPresent("B", node));
   EXPECT_FALSE(seen_.isPresent("A", "/dev/other"));
   vanish("a");
   EXPECT_FALSE(seen_.isPresent("A", node));
}

TEST_F(SeenDevicesTest, HasNoPathToTheSerialOfASkippedDevice) {
   seen_.seenIs(folder("a"), {"A", "", std::nullopt});
   EXPECT_EQ(seen_.pathOf("A"), "");
   EXPECT_TRUE(seen_.seen(folder("a")));
   seen_.delAll();
   EXPECT_FALSE(seen_.seen(folder("a")));
}

}  // namespace

}  // namespace StorageDevices
