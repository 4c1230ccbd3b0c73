// What a host gets from a drive that its tool finds failing, with the tracker of an appliance and without.
#include "StorageDevices/ApplianceTracker.h"

#include <gtest/gtest.h>

#include <string>

#include "StorageDevices/Factories.h"
#include "StorageDevices/SmartDataMonitorSm.h"
#include "tests/StorageDevices/DataFiles.h"
#include "tests/support/ToolMonitorTest.h"

namespace StorageDevices {
namespace {

class ApplianceTrackerTest : public Support::ToolMonitorTest {
 protected:
   ApplianceTrackerTest() : ToolMonitorTest{"smartctl", "StorageSmartDataMonitorSm", {.name = "S1"}} {}

   ToolRules rules() const {
      ToolRules result;
      result.path = folder_.string();
      return result;
   }
   // The tool prints the report of a failing drive and ends so.
   void smartctlEndsWith(int exitCode) const {
      auto const report = folder_.write("report", TestData::sample("sata-ssd-failing/smartctl.json"));
      toolDoes("cat \"" + report.string() + "\"; exit " + std::to_string(exitCode));
   }
   // What a host reads of the drive in its first poll.
   Pelm::Ptr<DeviceSmartData> readingWith(Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker) const {
      plug();
      auto const records = Pelm::make<SmartData>();
      auto const monitor = smartDataMonitorSmFactory(interval_, devices_, records, tracker);
      poll();
      return records->deviceData("S1");
   }
};

TEST_F(ApplianceTrackerTest, ReadsADriveThatIsFailing) {
   smartctlEndsWith(8);
   auto const record = readingWith(applianceTracker(rules()));
   EXPECT_TRUE(record->healthStatusRead());
   EXPECT_FALSE(record->healthStatusOk());
   EXPECT_TRUE(record->reallocatedSectorCount());
}

TEST_F(ApplianceTrackerTest, LeavesATrackerWithoutRulesStrict) {
   smartctlEndsWith(8);
   auto const record = readingWith(tracker_);
   EXPECT_FALSE(record->healthStatusRead());
   EXPECT_FALSE(record->reallocatedSectorCount());
}

TEST_F(ApplianceTrackerTest, FailsARunThatReportsItsOwnFailure) {
   smartctlEndsWith(8 | 2);
   EXPECT_FALSE(readingWith(applianceTracker(rules()))->healthStatusRead());
}

TEST_F(ApplianceTrackerTest, AcceptsTheBitsThatTheRulesName) {
   ToolRules mine = rules();
   mine.acceptExitBits = {{"nvme", 1}};
   auto const tracker = applianceTracker(mine);
   EXPECT_FALSE(tracker->isFailure("nvme", 1));
   EXPECT_TRUE(tracker->isFailure("nvme", 3));
   EXPECT_TRUE(tracker->isFailure("smartctl", 8)) << "a table replaces the default whole";
   EXPECT_TRUE(tracker->isFailure("hdparm", 1));
}

TEST_F(ApplianceTrackerTest, EndsARunAfterAMinuteUnlessTheRulesSayOtherwise) {
   EXPECT_EQ(applianceTracker()->timeLimit(), Vorn::Seconds{60});
   ToolRules mine;
   mine.timeout = 0;
   EXPECT_EQ(applianceTracker(mine)->timeLimit(), Vorn::Seconds{0});
   EXPECT_EQ(tracker_->timeLimit(), Vorn::Seconds{0});
}

TEST_F(ApplianceTrackerTest, ReplacesTheRulesOfATracker) {
   auto const tracker = applianceTracker();
   ToolRules mine;
   mine.nvmeCompat = false;
   mine.path = "/opt/tools";
   mine.timeout = 5;
   mine.acceptExitBits.clear();
   toolRulesIs(*tracker, mine);
   EXPECT_EQ(tracker->toolPath(), "/opt/tools");
   EXPECT_EQ(tracker->timeLimit(), Vorn::Seconds{5});
   EXPECT_TRUE(tracker->isFailure("smartctl", 8));
}

}  // namespace
}  // namespace StorageDevices
