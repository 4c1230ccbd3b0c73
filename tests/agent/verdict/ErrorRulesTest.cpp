// The rules about errors that were counted, about spare blocks, and about readings that fail.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>

#include "tests/agent/verdict/VerdictRulesTest.h"

namespace Agent {
namespace {

using StorageDevices::OptionalSmartAttr;

TEST_F(VerdictRulesTest, ReportsKernelErrorsForADay) {
   diskIs();
   entities.kernelErrors->fsListIs(serial, "/dev/sda", "ata2", false);
   EXPECT_EQ(reasons(), "");
   entities.kernelErrors->fsList(serial)->syslogTimestampIs(Vorn::System::currentTimeUtc() - 86399);
   EXPECT_EQ(reasons(), "kernel-errors: the kernel reports errors on it");
   EXPECT_EQ(word(), "failing");
   time->jumpBy(2);
   allIsRead();
   EXPECT_EQ(reasons(), "");
}

TEST_F(VerdictRulesTest, ReportsNoKernelErrorsWithoutOneWhereTheClockWasNeverSet) {
   wallClockJumpsBy(Vorn::Seconds{1000} - Vorn::System::currentTimeUtc());
   diskIs();
   entities.kernelErrors->fsListIs(serial, "/dev/sda", "ata2", false);
   EXPECT_EQ(reasons(), "");
}

TEST_F(VerdictRulesTest, ReportsPendingSectorsForARawCountAboveZero) {
   diskIs();
   smart().currentPendingSectorCountIs(countAttr(197, "Current_Pending_Sector", 0, "0"));
   EXPECT_EQ(reasons(), "");
   smart().currentPendingSectorCountIs(countAttr(197, "Current_Pending_Sector", 1, "1"));
   EXPECT_EQ(reasons(), "pending-sectors: pending sectors: 1");
   EXPECT_EQ(word(), "warning");
}

TEST_F(VerdictRulesTest, ReportsUncorrectableErrorsOf187OrOf198) {
   diskIs();
   smart().offlineUncorrectableSectorCountIs(countAttr(198, "Offline_Uncorrectable", 2));
   EXPECT_EQ(reasons(), "uncorrectable-errors: uncorrectable errors: 2");
   smart().reportedUncorrectableErrorCountIs(countAttr(187, "Reported_Uncorrect", 5));
   EXPECT_EQ(reasons(), "uncorrectable-errors: uncorrectable errors: 5");
   EXPECT_EQ(word(), "warning");
}

TEST_F(VerdictRulesTest, ReportsUncorrectableErrorsUnderTheirOtherName) {
   diskIs();
   smart().unknownAttrIs(*countAttr(187, "Uncorrectable_Error_Cnt", 4));
   EXPECT_EQ(reasons(), "uncorrectable-errors: uncorrectable errors: 4");
   for (auto const & [id, name] :
        {std::pair{187, "Vendor_Specific"}, {187, ""}, {5, "Uncorrectable_Error_Cnt"}}) {
      smart().unknownAttrDelAll();
      smart().unknownAttrIs(*countAttr(static_cast<std::uint8_t>(id), name, 4));
      EXPECT_EQ(reasons(), "") << id << " " << name;
   }
}

TEST_F(VerdictRulesTest, ReportsTheLargerCountOfTwoUnderOneNumber) {
   diskIs();
   smart().reportedUncorrectableErrorCountIs(countAttr(187, "Reported_Uncorrect", 5));
   smart().unknownAttrIs(*countAttr(187, "Uncorrectable_Error_Cnt", 4));
   EXPECT_EQ(reasons(), "uncorrectable-errors: uncorrectable errors: 5");
}

TEST_F(VerdictRulesTest, ReportsReallocatedSectorsForARawCountAboveZero) {
   diskIs();
   smart().reallocatedSectorCountIs(countAttr(5, "Reallocated_Sector_Ct", 8, "8"));
   EXPECT_EQ(reasons(), "reallocated-sectors: reallocated sectors: 8");
   EXPECT_EQ(word(), "warning");
   smart().reallocatedSectorCountIs(countAttr(5, "Reallocated_Sector_Ct", 0x50008, "8 (5 0)"));
   EXPECT_EQ(reasons(), "");
}

TEST_F(VerdictRulesTest, IgnoresCommandTimeoutsThatPackThreeCounts) {
   diskIs();
   smart().unknownAttrIs(*countAttr(188, "Command_Timeout", 11, "11"));
   EXPECT_EQ(reasons(), "command-timeouts: command timeouts: 11");
   EXPECT_EQ(word(), "warning");
   smart().unknownAttrIs(*countAttr(188, "Command_Timeout", 51540393996, "51540393996"));
   EXPECT_EQ(reasons(), "");
   smart().unknownAttrIs(*countAttr(188, "Command_Timeout", 8590065666, "2 2 2"));
   EXPECT_EQ(reasons(), "");
}

TEST_F(VerdictRulesTest, ReportsMediaErrorsOfTheNvmeLog) {
   diskIs(BusType::nvme);
   nvme().mediaErrorsIs({"media_errors", 1});
   EXPECT_EQ(reasons(), "media-errors: media errors: 1");
   EXPECT_EQ(word(), "warning");
}

TEST_F(VerdictRulesTest, ReportsSpareLowBelowATenthAboveTheDrivesLimit) {
   diskIs(BusType::nvme);
   nvme().availableSpareThresholdIs({"spare_thresh", 10});
   for (auto const & [spare, isLow] :
        {std::pair{100, false}, {20, false}, {19, true}, {11, true}, {0, false}}) {
      nvme().availableSpareIs({"avail_spare", spare});
      std::string const text = "spare-low: " + std::to_string(spare) + " % of its spare blocks are left";
      EXPECT_EQ(reasons(), isLow ? text : "") << spare;
   }
   nvme().availableSpareIs({"avail_spare", 19});
   EXPECT_EQ(word(), "warning");
   nvme().availableSpareThresholdIs({"spare_thresh", 0});
   nvme().availableSpareIs({"avail_spare", 5});
   EXPECT_EQ(reasons(), "") << "the drive has no limit";
   nvme().availableSpareThresholdIs({"spare_thresh", 100});
   nvme().availableSpareIs({"avail_spare", 100});
   EXPECT_EQ(reasons(), "") << "no spare block is used";
}

TEST_F(VerdictRulesTest, ReportsSpareLowOfASataDriveWithALimit) {
   diskIs();
   auto attr = *countAttr(232, "Available_Reservd_Space", 0);
   attr.value = 5;
   smart().availableReservedSpaceIs(OptionalSmartAttr::from(attr));
   EXPECT_EQ(reasons(), "");
   attr.value = 15;
   attr.thresh = 10;
   smart().availableReservedSpaceIs(OptionalSmartAttr::from(attr));
   EXPECT_EQ(reasons(), "spare-low: 15 % of its spare blocks are left");
}

TEST_F(VerdictRulesTest, NamesTheSourcesThatWereNotReadYet) {
   UnitOfRecords::diskIs(BusType::nvme);
   EXPECT_EQ(reasons(), "not-read-yet: not read yet: smartctl, nvme");
   EXPECT_EQ(word(), "unknown");
   smart().reading.countInc();
   EXPECT_EQ(reasons(), "not-read-yet: not read yet: nvme");
   nvme().reading.countInc();
   EXPECT_EQ(reasons(), "");
}

TEST_F(VerdictRulesTest, ReportsASourceThatWasNeverReadUnderOneCodeAlone) {
   UnitOfRecords::diskIs(BusType::nvme);
   entities.ioStat->ioStatDataIs(serial);
   readingFails("smartctl", true);
   for (int poll = 0; poll < 3; ++poll)
      readingFails("nvme");
   EXPECT_EQ(reasons(), "reading-fails: readings fail: nvme\ntool-hangs: tools that hang: smartctl");
}

TEST_F(VerdictRulesTest, ReportsReadingFailsAfterThreePollsInARow) {
   diskIs();
   readingFails("smartctl");
   readingFails("smartctl");
   EXPECT_EQ(reasons(), "");
   readingFails("smartctl");
   EXPECT_EQ(reasons(), "reading-fails: readings fail: smartctl");
   EXPECT_EQ(word(), "unknown");
   allIsRead();
   EXPECT_EQ(reasons(), "");
}

TEST_F(VerdictRulesTest, ReportsReadingFailsOfAnEmmcDeviceAfterThreePollsInARow) {
   diskIs(BusType::other);
   emmc().reading.failureIs("no registers");
   emmc().reading.failureIs("no registers");
   EXPECT_EQ(reasons(), "");
   emmc().reading.failureIs("no registers");
   EXPECT_EQ(reasons(), "reading-fails: readings fail: emmc");
}

TEST_F(VerdictRulesTest, ReportsToolHangsFromTheFirstRunThatItsLimitEnded) {
   diskIs();
   readingFails("smartctl", true);
   EXPECT_EQ(reasons(), "tool-hangs: tools that hang: smartctl");
   EXPECT_EQ(word(), "unknown");
   for (int poll = 0; poll < 3; ++poll)
      readingFails("smartctl", true);
   EXPECT_EQ(reasons(), "tool-hangs: tools that hang: smartctl");
   readingFails("smartctl");
   EXPECT_EQ(reasons(), "reading-fails: readings fail: smartctl");
}

TEST_F(VerdictRulesTest, ReportsToolHangsWhenNoRunEndsAnyMore) {
   diskIs();
   time->jumpBy(209);
   EXPECT_EQ(reasons(), "");
   time->jumpBy(2);
   EXPECT_EQ(reasons(), "tool-hangs: tools that hang: smartctl");
}

}  // namespace
}  // namespace Agent
