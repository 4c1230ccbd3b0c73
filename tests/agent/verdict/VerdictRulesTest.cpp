#include "agent/verdict/VerdictRules.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>

#include "tests/agent/verdict/VerdictRulesTest.h"

namespace Agent {
namespace {

using StorageDevices::OptionalSmartAttr;

TEST_F(VerdictRulesTest, ListsEachCodeOnceTheWorstFirst) {
   std::set<std::string> codes;
   Verdict last = Verdict::failing;
   for (VerdictRule const & rule : verdictRules()) {
      EXPECT_TRUE(codes.insert(rule.code).second) << rule.code;
      EXPECT_LE(rule.verdict, last) << rule.code;
      last = rule.verdict;
   }
   EXPECT_EQ(codes.size(), 30U);
}

TEST_F(VerdictRulesTest, ReportsSelfAssessmentFailedFromTheDrivesOwnWord) {
   diskIs();
   smart().healthStatusOkIs(false);
   EXPECT_EQ(reasons(), "");  // it has not said anything yet
   smart().healthStatusReadIs(true);
   EXPECT_EQ(reasons(), "self-assessment-failed: the drive reports that it is failing");
   EXPECT_EQ(word(), "failing");
   smart().healthStatusOkIs(true);
   EXPECT_EQ(reasons(), "");
}

TEST_F(VerdictRulesTest, NamesTheAttributesBelowTheirThreshold) {
   diskIs();
   auto attr = *countAttr(5, "Reallocated_Sector_Ct", 0);
   attr.thresh = 100;
   smart().reallocatedSectorCountIs(OptionalSmartAttr::from(attr));
   smart().currentPendingSectorCountIs(countAttr(197, "Current_Pending_Sector", 0));
   smart().allAttrsPassingIs(false);
   EXPECT_EQ(reasons(), "");
   smart().attrsReadIs(true);
   EXPECT_EQ(reasons(), "attribute-below-threshold: Reallocated_Sector_Ct at or below the drive's threshold");
   EXPECT_EQ(word(), "failing");
}

TEST_F(VerdictRulesTest, NamesThreeAttributesBelowTheirThresholdAtMost) {
   diskIs();
   for (std::uint8_t id = 1; id < 6; ++id) {
      auto attr = *countAttr(id, (std::string{"A"} + std::to_string(6 - id)).c_str(), 0);
      attr.thresh = 100;
      smart().unknownAttrIs(attr);
   }
   EXPECT_EQ(reasons(), "");
   smart().attrsReadIs(true);
   smart().allAttrsPassingIs(false);
   EXPECT_EQ(reasons(), "attribute-below-threshold: A1, A2, A3, … at or below the drive's threshold");
}

TEST_F(VerdictRulesTest, ReportsNvmeSpareExhaustedForBitZeroOfTheWarning) {
   diskIs(BusType::nvme);
   criticalWarningIs(1);
   EXPECT_EQ(reasons(), "nvme-spare-exhausted: spare blocks are below the drive's threshold");
   EXPECT_EQ(word(), "failing");
}

TEST_F(VerdictRulesTest, ReportsNvmeUnreliableForBitTwoOfTheWarning) {
   diskIs(BusType::nvme);
   criticalWarningIs(4);
   EXPECT_EQ(reasons(), "nvme-unreliable: the drive reports reduced reliability");
   EXPECT_EQ(word(), "failing");
}

TEST_F(VerdictRulesTest, ReportsNvmeReadOnlyForBitThreeOfTheWarning) {
   diskIs(BusType::nvme);
   criticalWarningIs(8);
   EXPECT_EQ(reasons(), "nvme-read-only: the drive is read-only");
   EXPECT_EQ(word(), "failing");
}

TEST_F(VerdictRulesTest, ReportsNvmeBackupFailedForBitFourOfTheWarning) {
   diskIs(BusType::nvme);
   criticalWarningIs(16);
   EXPECT_EQ(reasons(), "nvme-backup-failed: the backup of the drive's memory has failed");
   EXPECT_EQ(word(), "failing");
}

TEST_F(VerdictRulesTest, ReportsEmmcLifeExceededAtTheRegistersLastStep) {
   diskIs(BusType::other);
   emmc().lifetimeEstTypAIs(StorageDevices::LifetimeEmmcAttr{1});
   emmc().lifetimeEstTypBIs(StorageDevices::LifetimeEmmcAttr{0x0B});
   EXPECT_EQ(reasons(), "emmc-life-exceeded: its rated life is exceeded");
   EXPECT_EQ(word(), "failing");
}

TEST_F(VerdictRulesTest, ReportsEmmcLifeExceededForEitherType) {
   diskIs(BusType::other);
   emmc().lifetimeEstTypAIs(StorageDevices::LifetimeEmmcAttr{0x0B});
   emmc().lifetimeEstTypBIs(StorageDevices::LifetimeEmmcAttr{1});
   EXPECT_EQ(reasons(), "emmc-life-exceeded: its rated life is exceeded");
}

TEST_F(VerdictRulesTest, ReportsEmmcSpareUrgentForPreEolInfoThree) {
   diskIs(BusType::other);
   emmc().preEolInfoIs(StorageDevices::PreEolEmmcAttr{3});
   EXPECT_EQ(reasons(), "emmc-spare-urgent: 90 % of its reserved blocks are used");
   EXPECT_EQ(word(), "failing");
}

TEST_F(VerdictRulesTest, ReportsEmmcSpareLowForPreEolInfoTwo) {
   diskIs(BusType::other);
   emmc().preEolInfoIs(StorageDevices::PreEolEmmcAttr{1});
   EXPECT_EQ(reasons(), "");
   emmc().preEolInfoIs(StorageDevices::PreEolEmmcAttr{2});
   EXPECT_EQ(reasons(), "emmc-spare-low: 80 % of its reserved blocks are used");
   EXPECT_EQ(word(), "warning");
}

TEST_F(VerdictRulesTest, ReportsLifeUsedUpFromItsLimit) {
   diskIs();
   smart().lifetimeRemainingIs(lifeAttr(1));
   EXPECT_EQ(reasons(), "life-used-up: 1 % of its rated life is left");
   EXPECT_EQ(word(), "failing");
   limits.lifeFailing = 0;
   EXPECT_EQ(word(), "warning");
}

TEST_F(VerdictRulesTest, ReportsLifeLowFromItsLimit) {
   diskIs();
   smart().lifetimeRemainingIs(lifeAttr(11));
   EXPECT_EQ(reasons(), "");
   smart().lifetimeRemainingIs(lifeAttr(10));
   EXPECT_EQ(reasons(), "life-low: 10 % of its rated life is left");
   EXPECT_EQ(word(), "warning");
   limits.lifeWarning = 9;
   EXPECT_EQ(reasons(), "");
}

TEST_F(VerdictRulesTest, ReportsLifeLowForNvmeAndEmmcToo) {
   diskIs(BusType::nvme);
   nvme().percentageUsedIs({"percent_used", 91});
   EXPECT_EQ(reasons(), "life-low: 9 % of its rated life is left");
   diskGoes();
   UnitOfRecords::diskIs(BusType::other);
   allIsRead();
   emmc().lifetimeEstTypAIs(StorageDevices::LifetimeEmmcAttr{0x0A});
   EXPECT_EQ(reasons(), "life-low: 10 % of its rated life is left");
}

TEST_F(VerdictRulesTest, ReadsOnlyTheRecordsOfTheDisksBus) {
   diskIs(BusType::other);
   entities.smart->deviceDataIs(serial);
   smart().healthStatusReadIs(true);
   EXPECT_EQ(reasons(), "") << "left from before the disk moved";
   smart().healthStatusOkIs(true);
   VerdictRulesTest::diskIs(BusType::sata);
   entities.nvme->deviceDataIs(serial);
   criticalWarningIs(1);
   EXPECT_EQ(reasons(), "");
}

TEST_F(VerdictRulesTest, ReportsRemovedForAFixedDiskAlone) {
   diskIs();
   diskGoes();
   EXPECT_EQ(reasons(), "removed: removed");
   EXPECT_EQ(word(), "absent");
   UnitOfRecords::diskIs(BusType::usb, true);
   EXPECT_EQ(reasons(), "not-read-yet: not read yet: smartctl");
   diskGoes();
   EXPECT_EQ(word(), "(none)");
}

}  // namespace
}  // namespace Agent
