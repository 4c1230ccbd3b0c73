// The records that the lifetime monitor follows: which figure it reads, and disks that come and go.
#include <gtest/gtest.h>

#include <functional>

#include "tests/StorageDevices/DeviceLifetimeMonitorSmTest.h"

namespace StorageDevices {

namespace {

TEST_F(DeviceLifetimeMonitorSmTest, IgnoresAChangeOfAnEmmcRecord) {
   emmc_->deviceDataIs("KS0001");
   emmc_->deviceData("KS0001")->lifetimeEstTypAIs(LifetimeEmmcAttr{1});
   emmc_->deviceData("KS0001")->lifetimeEstTypAIs(LifetimeEmmcAttr{5});
   emmc_->deviceData("KS0001")->lifetimeEstTypBIs(LifetimeEmmcAttr{6});
   emmc_->deviceDataDel("KS0001");
   EXPECT_TRUE(monitor_->deviceLifetimeChange.empty());
}

TEST_F(DeviceLifetimeMonitorSmTest, IgnoresAFigureThatGoesAndCountsItsReturnAsAChange) {
   settle();
   smart_->deviceData("KS0001")->lifetimeRemainingIs({});
   EXPECT_EQ(change().lastValue(), 90);
   later(1);
   life(80);
   EXPECT_EQ(names(), Texts{info});
}

TEST_F(DeviceLifetimeMonitorSmTest, CountsTheRemainderOfAnNvmeDrive) {
   left(91);
   later(1);
   left(90);
   later(1);
   left(89);
   EXPECT_EQ(names(), Texts{info});
   EXPECT_EQ(change().lastValue(), 89);
   left(-150);
   EXPECT_EQ(change().lastValue(), 0) << "a drive may outlive its rating";
   nvme_->deviceData("KS0001")->percentageUsedIs({"percent_used", INT64_MIN});
   EXPECT_GT(change().lastValue(), 100);
}

TEST_F(DeviceLifetimeMonitorSmTest, ReadsEmmcDevicesOnDemand) {
   monitor_->handleEmmcData("KS0001", LifetimeEmmcAttr{}, LifetimeEmmcAttr{1});
   EXPECT_EQ(change().lastValue(), 100);
   later(1);
   monitor_->handleEmmcData("KS0001", LifetimeEmmcAttr{1}, LifetimeEmmcAttr{2});
   later(1);
   monitor_->handleEmmcData("KS0001", {}, LifetimeEmmcAttr{3});
   monitor_->handleEmmcData("KS0001", LifetimeEmmcAttr{2}, LifetimeEmmcAttr{});
   EXPECT_EQ(change().lastValue(), 90);
   monitor_->handleEmmcData("KS0001", LifetimeEmmcAttr{2}, LifetimeEmmcAttr{3});
   EXPECT_EQ(names(), Texts{info});
   EXPECT_EQ(change().lastValue(), 80);
}

TEST_F(DeviceLifetimeMonitorSmTest, IgnoresAChangeWithoutAnOldValue) {
   monitor_->handleSmartData("KS0001", {}, OptionalSmartAttr::from({}));
   monitor_->handleNvmeData("KS0001", {}, NvmeAttr{"percent_used", 3});
   EXPECT_FALSE(monitor_->deviceLifetimeChange.contains("KS0001"));
}

TEST_F(DeviceLifetimeMonitorSmTest, IgnoresAChangeWithoutANewValue) {
   monitor_->handleSmartData("KS0001", OptionalSmartAttr::from({}), {});
   monitor_->handleEmmcData("KS0001", LifetimeEmmcAttr{2}, {});
   EXPECT_FALSE(monitor_->deviceLifetimeChange.contains("KS0001"));
}

TEST_F(DeviceLifetimeMonitorSmTest, WatchesRecordsThatComeLaterAndReleasesThoseThatGo) {
   Support::DiskFields{.name = "KS0002"}.writeTo(*devices_);
   smart_->deviceDataIs("KS0002");
   Pelm::Ptr<DeviceSmartData> const record = smart_->deviceData("KS0002");
   SmartAttr attr;
   attr.raw = 50;
   record->lifetimeRemainingIs(OptionalSmartAttr::from(attr));
   EXPECT_EQ(monitor_->deviceLifetimeChange("KS0002")->lastValue(), 50);
   smart_->deviceDataDel("KS0002");
   attr.raw = 40;
   record->lifetimeRemainingIs(OptionalSmartAttr::from(attr));
   EXPECT_EQ(monitor_->deviceLifetimeChange("KS0002")->lastValue(), 50);
}

TEST_F(DeviceLifetimeMonitorSmTest, IgnoresADiskThatChanges) {
   settle();
   disk_.firmwareRevision = "KF1.3";
   disk_.writeTo(*devices_);
   later(1);
   life(89);
   ASSERT_EQ(names(), Texts{info});
   EXPECT_EQ(logs_.messages()[0].arguments[3], "KF1.3");
}

TEST_F(DeviceLifetimeMonitorSmTest, FollowsNvmeRecordsThatComeAndGo) {
   Support::DiskFields{.name = "KS0002"}.writeTo(*devices_);
   nvme_->deviceDataIs("KS0002");
   Pelm::Ptr<DeviceNvmeData> const record = nvme_->deviceData("KS0002");
   record->percentageUsedIs({"percent_used", 50});
   EXPECT_EQ(monitor_->deviceLifetimeChange("KS0002")->lastValue(), 50);
   nvme_->deviceDataDel("KS0002");
   record->percentageUsedIs({"percent_used", 60});
   EXPECT_EQ(monitor_->deviceLifetimeChange("KS0002")->lastValue(), 50);
}

TEST_F(DeviceLifetimeMonitorSmTest, ForgetsADiskThatGoes) {
   settle();
   devices_->diskDel("KS0001");
   EXPECT_TRUE(monitor_->deviceLifetimeChange.empty());
   disk_.writeTo(*devices_);
   life(90);
   later(1);
   life(80);
   EXPECT_TRUE(logs_.messages().empty()) << "the first change of what came back";
}

TEST_F(DeviceLifetimeMonitorSmTest, NamesADiskThatIsNotConnectedByItsSerialAlone) {
   devices_->diskDel("KS0001");
   settle();
   later(1);
   life(89);
   ASSERT_EQ(names(), Texts{info});
   EXPECT_EQ(logs_.messages()[0].arguments, (Texts{"", "KS0001", "", "", "0", "1"}));
}

TEST_F(DeviceLifetimeMonitorSmTest, IgnoresEventsAsAZombie) {
   settle();
   monitor_->vornDoZombieReactors(true);
   later(1);
   life(50);
   left(40);
   devices_->diskDel("KS0001");
   EXPECT_EQ(change().lastValue(), 90);
}

// Lets go of the monitor when it makes the record of a disk, then has more to say of it.
struct LifetimeDropper {
   void handleChange() {
      change = (*monitor)->deviceLifetimeChange("KS0001");
      reactor.notifierIs(nullptr);
      *monitor = nullptr;
      then();
   }
   Pelm::Ptr<DeviceLifetimeMonitorSm> * monitor;
   std::function<void()> then;
   Pelm::Ptr<DeviceLifetimeChange> change;
   Vorn::NotifieeConst reactor;
};

TEST_F(DeviceLifetimeMonitorSmTest, IgnoresFurtherChangesWhenDroppedWithinItsOwn) {
   LifetimeDropper dropper{&monitor_,
                           [&] {
                              life(70);
                              left(60);
                              devices_->diskDel("KS0001");
                           },
                           {},
                           {}};
   dropper.reactor.notifierIs(monitor_);
   dropper.reactor.on<&LifetimeDropper::handleChange>(monitor_->deviceLifetimeChange, dropper);
   dropper.reactor.hasNotificationActiveIs(true);
   monitor_->handleChange("KS0001", 80);
   EXPECT_FALSE(monitor_);
   EXPECT_EQ(dropper.change->lastValue(), 80);
   life(50);
   EXPECT_EQ(dropper.change->lastValue(), 80);
}

TEST_F(DeviceLifetimeMonitorSmTest, WatchesNoFurtherRecordsAsAZombie) {
   monitor_->vornDoZombieReactors(true);
   smart_->deviceDataDel("KS0001");
   nvme_->deviceDataDel("KS0001");
   smart_->deviceDataIs("KS0001");
   nvme_->deviceDataIs("KS0001");
   life(91);
   left(90);
   EXPECT_TRUE(monitor_->deviceLifetimeChange.empty());
}

}  // namespace

}  // namespace StorageDevices
