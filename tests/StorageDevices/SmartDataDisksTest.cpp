// The SMART monitor: disks that come and go, their mappings, and its own end.
#include <gtest/gtest.h>

#include "tests/StorageDevices/SmartDataMonitorSmTest.h"

namespace StorageDevices {

namespace {

// Deviates in two attributes and counts how often it is asked.
class TestDatabase final : public DriveDatabase {
 public:
   explicit TestDatabase(std::vector<std::string> & asked) : asked_{asked} {}
   DriveSmartMapping findDeviceMapping(Pelm::String const & model) const override {
      asked_.push_back(model.str());
      DriveSmartMapping mapping;
      mapping[9].ignore = true;
      mapping[3].field = {&DeviceSmartData::wearLevelingCount, &DeviceSmartData::wearLevelingCountIs};
      mapping[3].value = [](SmartAttr const & attr) -> std::int64_t { return std::int64_t{attr.value} * 2; };
      return mapping;
   }

 private:
   std::vector<std::string> & asked_;
};

TEST_F(SmartDataMonitorSmTest, AsksForTheMappingOncePerDiskAndUsesIt) {
   Texts asked;
   driveDatabaseIs(std::make_unique<TestDatabase>(asked));
   plug();
   start();
   poll();
   poll();
   EXPECT_EQ(content(), (Texts{"ok true, passing true", "reallocatedSectorCount 100", "wearLevelingCount 194",
                               "unknown Power_On_Hours"}));
   DiskFields changed = disk_;
   changed.model = "Kestrel_S3";
   plug(changed);
   EXPECT_EQ(asked, Texts{"Kestrel_S2"}) << "a change does not ask again";
   unplug();
   plug(changed);
   EXPECT_EQ(asked, (Texts{"Kestrel_S2", "Kestrel_S3"}));
}

TEST_F(SmartDataMonitorSmTest, UsesTheTableOfNamesAloneWithoutAMapping) {
   Texts asked;
   driveDatabaseIs(std::make_unique<TestDatabase>(asked));
   plug();
   start();
   monitor_->smartDbMappingDel("S1");
   poll();
   EXPECT_EQ(content(), healthyContent);
}

TEST_F(SmartDataMonitorSmTest, ReadsARemovableDriveAsSoonAsItAppears) {
   start();
   Vorn::Host::turn();
   plug({.name = "S1", .removable = true, .busType = ConnectedDisk::BusType::usb});
   EXPECT_EQ(monitor_->smartctlProcess.size(), 1U);
   EXPECT_TRUE(Support::turnInRealTime([&] { return record()->reading.count() == 1; }));
}

TEST_F(SmartDataMonitorSmTest, DropsRecordsOfAnEarlierRunUnlessTheirDiskIsConnected) {
   data_->deviceDataIs("gone");
   data_->deviceDataIs("S1");
   plug();
   start();
   EXPECT_FALSE(data_->deviceData.contains("gone"));
   EXPECT_TRUE(data_->deviceData.contains("S1"));
   EXPECT_TRUE(monitor_->smartDbMapping.contains("S1"));
}

TEST_F(SmartDataMonitorSmTest, AllowsItsSubscriberToDropItDuringItsReading) {
   plug();
   start();
   struct Dropper {
      void handleVerdict() { *monitor = nullptr; }
      Pelm::Ptr<SmartDataMonitorSm> * monitor;
      Vorn::NotifieeConst reactor;
   } dropper{&monitor_, {}};
   dropper.reactor.notifierIs(record());
   dropper.reactor.on<&Dropper::handleVerdict>(record()->healthStatusRead, dropper);
   dropper.reactor.hasNotificationActiveIs(true);
   poll();
   EXPECT_FALSE(monitor_);
   EXPECT_EQ(content(), healthyContent) << "what it began to file it files";
}

TEST_F(SmartDataMonitorSmTest, DropsAReadingWhoseRecordWasDeletedMeanwhile) {
   plug();
   start();
   Vorn::Host::turn();
   data_->deviceDataDel("S1");
   EXPECT_TRUE(Support::turnInRealTime([&] { return monitor_->smartctlProcess.empty(); }));
   EXPECT_TRUE(data_->deviceData.empty());
}

TEST_F(SmartDataMonitorSmTest, EndsItsRunsWhenDropped) {
   toolDoes("exec sleep 1000");
   plug();
   start();
   Vorn::Host::turn();
   ASSERT_TRUE(Support::hasChildren());
   monitor_ = nullptr;
   EXPECT_TRUE(Support::turnInRealTime([] { return !Support::hasChildren(); }));
}

TEST_F(SmartDataMonitorSmTest, EndsWhenReleasedAsItTracesABadReport) {
   toolPrints("{");
   plug();
   start();
   Vorn::Host::traceSinkIs([this](Vorn::Host::TraceLine const & line) {
      if (line.level == 0)
         monitor_ = nullptr;
   });
   poll();
   EXPECT_FALSE(monitor_);
   EXPECT_EQ(record()->reading.count(), 0U);
}

}  // namespace

}  // namespace StorageDevices
