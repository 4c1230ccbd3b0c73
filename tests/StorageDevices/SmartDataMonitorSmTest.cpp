#include "StorageDevices/SmartDataMonitorSm.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "tests/StorageDevices/SmartDataMonitorSmTest.h"

namespace StorageDevices {

namespace {

using Texts = std::vector<std::string>;

// Records the notifications of a record in their order.
struct RecordWatcher {
   void handleVerdict() { notified.emplace_back("verdict"); }
   void handleHours() { notified.emplace_back("attributes"); }
   Texts notified;
   Vorn::NotifieeConst reactor;
};

TEST_F(SmartDataMonitorSmTest, RunsTheToolOncePerPollAndStoresItsReport) {
   plug();
   start();
   EXPECT_TRUE(eventually([&] { return record()->reading.count() == 1; }));
   EXPECT_EQ(content(), healthyContent);
   EXPECT_EQ(record()->powerOnHours()->raw, 12345);
   EXPECT_EQ(runs(), Texts{smartctlRun});
   Vorn::Host::runFor(61);
   EXPECT_TRUE(eventually([&] { return record()->reading.count() == 2; }));
   EXPECT_EQ(runs(), (Texts{smartctlRun, smartctlRun}));
   EXPECT_TRUE(traces_.errors().empty());
   EXPECT_TRUE(monitor_->smartctlProcess.empty());
   EXPECT_TRUE(monitor_->smartctlReactor.empty());
}

TEST_F(SmartDataMonitorSmTest, ReadsUsbDrivesThroughScsiAndTheOthersDirectly) {
   for (unsigned char const bus : {0, 1, 2, 3})
      plug({.name = "bus" + std::to_string(bus),
            .blockDevice = "/dev/b" + std::to_string(bus),
            .busType = bus});
   start();
   poll();
   Texts seen = runs();
   std::sort(seen.begin(), seen.end());
   EXPECT_EQ(seen, (Texts{"smartctl --json=c --offlineauto=on -HA -d scsi /dev/b0",
                          "smartctl --json=c --offlineauto=on -HA /dev/b1",
                          "smartctl --json=c --offlineauto=on -HA /dev/b2"}));
}

TEST_F(SmartDataMonitorSmTest, IgnoresADiskOfNoKnownBus) {
   plug({.name = "E1", .busType = ConnectedDisk::BusType::other});
   start();
   poll();
   EXPECT_TRUE(data_->deviceData.empty());
   EXPECT_TRUE(monitor_->smartDbMapping.empty());
   EXPECT_TRUE(runs().empty());
}

TEST_F(SmartDataMonitorSmTest, KeepsButDoesNotPollARecordWhoseDiskIsOnNoKnownBus) {
   data_->deviceDataIs("S1");
   plug({.name = "S1", .busType = ConnectedDisk::BusType::other});
   start();
   poll();
   EXPECT_TRUE(record());
   EXPECT_TRUE(runs().empty());
   EXPECT_TRUE(monitor_->smartctlProcess.empty());
}

// A run that waits for the file "go", and then does something, while the disk changes its device node.
TEST_F(SmartDataMonitorSmTest, NamesTheDeviceOfTheRunInItsTraces) {
   std::string const wait =
       "while [ ! -e \"" + (folder_.path() / "go").string() + "\" ]; do sleep 0.01; done; ";
   DiskFields changed = disk_;
   changed.blockDevice = "/dev/sdz";
   for (auto const & [does, text] :
        {std::pair{"exit 1", " Error running smartctl for /dev/sda; exit code: 1"},
         std::pair{"echo {}", " Could not obtain health status for /dev/sda"}}) {
      toolDoes(wait + does);
      plug();
      start();
      Vorn::Host::turn();
      plug(changed);
      folder_.write("go", "");
      EXPECT_TRUE(Support::turnInRealTime([&] { return monitor_->smartctlProcess.empty(); }));
      EXPECT_EQ(traces_.errors(), Texts{smartctlHandler + std::string{text}});
      std::filesystem::remove(folder_.path() / "go");
      traces_.clear();
   }
}

TEST_F(SmartDataMonitorSmTest, NotifiesNobodyOfTheSameReportTwice) {
   plug();
   start();
   poll();
   Support::ChangeRecorder const hoursChanges{record()->powerOnHours};
   Support::ChangeRecorder const sectorChanges{record()->reallocatedSectorCount};
   Support::ChangeRecorder const unknownChanges{record()->unknownAttr};
   Support::ChangeRecorder const passingChanges{record()->allAttrsPassing};
   poll();
   EXPECT_EQ(record()->reading.count(), 2U);
   EXPECT_EQ(hoursChanges.count() + sectorChanges.count() + unknownChanges.count() + passingChanges.count(),
             0U);
}

TEST_F(SmartDataMonitorSmTest, NotifiesOnlyOfTheFieldThatAReportDrops) {
   plug();
   start();
   poll();
   Support::ChangeRecorder const hoursChanges{record()->powerOnHours};
   Support::ChangeRecorder const sectorChanges{record()->reallocatedSectorCount};
   Support::ChangeRecorder const unknownChanges{record()->unknownAttr};
   toolPrints(report("true", hoursRow + "," + spinUp));
   poll();
   EXPECT_EQ(hoursChanges.count(), 0U);
   EXPECT_EQ(unknownChanges.count(), 0U);
   ASSERT_EQ(sectorChanges.count(), 1U);
   EXPECT_EQ((*sectorChanges.changes()[0].old)->raw, 3);
   EXPECT_FALSE(*sectorChanges.changes()[0].now);
}

TEST_F(SmartDataMonitorSmTest, ReadsTheAttributesAndKeepsTheVerdictWithoutANewVerdict) {
   Texts const expected = {"ok true, passing true", "powerOnHours 500"};
   EXPECT_EQ(contentAfter(report("", rowText(9, "Power_On_Hours", 100, 500))), expected);
   EXPECT_EQ(record()->reading.count(), 2U);
   EXPECT_EQ(traces_.errors(),
             Texts{std::string{smartctlHandler} + " Could not obtain health status for /dev/sda"});
}

TEST_F(SmartDataMonitorSmTest, ReadsTheVerdictAndKeepsTheAttributesWithoutATable) {
   Texts expected = healthyContent;
   expected[0] = "ok false, passing true";
   EXPECT_EQ(contentAfter(R"({"smart_status":{"passed":false}})"), expected);
   EXPECT_EQ(record()->reading.count(), 2U);
   EXPECT_TRUE(traces_.errors().empty());
   EXPECT_EQ(traces_.texts(2),
             Texts{std::string{smartctlHandler} + " Could not obtain SMART attributes for /dev/sda"});
}

TEST_F(SmartDataMonitorSmTest, TracesTheMissingVerdictFirstWithoutEither) {
   EXPECT_EQ(contentAfter("{}"), healthyContent);
   std::string const start = smartctlHandler;
   EXPECT_EQ(
       traces_.lines(),
       (std::vector<Support::TraceRecorder::Line>{
           {"StorageSmartDataMonitorSm", 0, start + " Could not obtain health status for /dev/sda"},
           {"StorageSmartDataMonitorSm", 2, start + " Could not obtain SMART attributes for /dev/sda"}}));
}

TEST_F(SmartDataMonitorSmTest, StoresTheVerdictBeforeTheAttributes) {
   plug();
   start();
   RecordWatcher watcher;
   watcher.reactor.notifierIs(record());
   watcher.reactor.on<&RecordWatcher::handleVerdict>(record()->healthStatusOk, watcher);
   watcher.reactor.on<&RecordWatcher::handleHours>(record()->powerOnHours, watcher);
   watcher.reactor.hasNotificationActiveIs(true);
   poll();
   EXPECT_EQ(watcher.notified, (Texts{"verdict", "attributes"}));
}

TEST_F(SmartDataMonitorSmTest, EmptiesTheAttributesWithAnEmptyTable) {
   EXPECT_EQ(contentAfter(report("true", "")), Texts{"ok true, passing true"});
}

TEST_F(SmartDataMonitorSmTest, ReportsARowBelowItsThreshold) {
   EXPECT_EQ(contentAfter(report("true", rowText(5, "Reallocated_Sector_Ct", 10, 3)))[0],
             "ok true, passing false");
}

TEST_F(SmartDataMonitorSmTest, RecordsWhySinceWhenAndHowOftenReadingsFail) {
   plug();
   start();
   poll();
   auto const & reading = record()->reading;
   EXPECT_STREQ(reading.source(), "smartctl");
   Vorn::Seconds const good = reading.time();
   EXPECT_FALSE(reading.failure());
   toolDoes("exit 2");
   Vorn::Seconds const first = Vorn::System::currentTime();
   poll();
   ASSERT_TRUE(reading.failure());
   EXPECT_EQ(reading.failure()->reason,
             "the device could not be opened or identified, or is in a low-power mode");
   time->jumpBy(10);
   toolPrints("{}");
   Vorn::Seconds const second = Vorn::System::currentTime();
   poll();
   EXPECT_EQ(reading.failure()->reason, "unreadable output") << "it holds neither verdict nor attribute";
   EXPECT_EQ(reading.failure()->since, first);
   EXPECT_EQ(reading.failure()->polls, 2U);
   EXPECT_FALSE(reading.failure()->hangs);
   EXPECT_EQ(reading.time(), good);
   EXPECT_EQ(reading.ended(), second);
   toolPrints(healthy);
   Vorn::Seconds const last = Vorn::System::currentTime();
   poll();
   EXPECT_FALSE(reading.failure());
   EXPECT_EQ(reading.count(), 2U);
   EXPECT_EQ(reading.ended(), last);
}

TEST_F(SmartDataMonitorSmTest, RecordsAReadingThatTheTimeLimitEndedAsHanging) {
   Vorn::Host::timeSourceIs(nullptr);  // virtual time waits for the tool
   tracker_->timeLimitIs(0.1);
   plug();
   start();
   toolDoes("exec sleep 60");
   interval_->intervalIs(61);
   ASSERT_TRUE(Support::turnInRealTime([&] { return bool{record()->reading.failure()}; }));
   EXPECT_EQ(record()->reading.failure()->reason, "exceeded its time limit");
   EXPECT_TRUE(record()->reading.failure()->hangs);
}

TEST_F(SmartDataMonitorSmTest, RecordsARunWithAcceptedExitBitsAsGood) {
   tracker_->failurePolicyIs([](Pelm::String const &, int) { return false; });
   plug();
   start();
   toolDoes("cat \"" + folder_.write("output", healthy).string() + "\"; exit 8");
   poll();
   EXPECT_FALSE(record()->reading.failure());
   EXPECT_EQ(record()->reading.count(), 1U);
}

TEST_F(SmartDataMonitorSmTest, ChangesNothingForOutputThatIsNoDocument) {
   EXPECT_EQ(contentAfter(""), healthyContent);
   EXPECT_EQ(traces_.errors(),
             Texts{std::string{smartctlHandler} + " JSON parsing error: The document is empty."});
}

TEST_F(SmartDataMonitorSmTest, ChangesNothingForAReportThatIsCutOff) {
   EXPECT_EQ(contentAfter(healthy.substr(0, healthy.size() / 2)), healthyContent);
   EXPECT_EQ(traces_.errors().size(), 1U);
   EXPECT_EQ(record()->reading.count(), 1U);
}

TEST_F(SmartDataMonitorSmTest, ChangesNothingForADocumentThatIsNoObject) {
   EXPECT_EQ(contentAfter("[1, 2, 3]"), healthyContent);
   EXPECT_EQ(record()->reading.count(), 1U);
   EXPECT_EQ(traces_.errors(),
             Texts{std::string{smartctlHandler} + " Could not obtain health status for /dev/sda"});
}

}  // namespace

}  // namespace StorageDevices
