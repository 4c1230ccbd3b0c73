#include "agent/verdict/VerdictRules.h"

#include <set>

#include "tests/support/UnitOfRecords.h"

namespace Agent {
namespace {

using StorageDevices::OptionalSmartAttr;
using StorageDevices::SmartAttr;

OptionalSmartAttr countAttr(std::uint8_t id, char const * name, std::int64_t raw,
                            char const * rendered = "") {
   SmartAttr attr;
   attr.id = id;
   attr.name = name;
   attr.value = 100;
   attr.raw = raw;
   attr.rawString = rendered;
   return OptionalSmartAttr::from(attr);
}

OptionalSmartAttr lifeAttr(std::uint8_t percent) {
   auto attr = *countAttr(202, "Percent_Lifetime_Remain", 0);
   attr.value = percent;
   attr.reportedValue = percent;
   return OptionalSmartAttr::from(attr);
}

// One test per row of the table: a record to which it applies, and a similar one to which it does not.
class VerdictRulesTest : public Support::UnitOfRecords {
 protected:
   void diskIs(unsigned char bus = BusType::sata) {
      UnitOfRecords::diskIs(bus);
      allIsRead();
      ASSERT_EQ(reasons(), "");
      ASSERT_EQ(word(), "ok");
   }
   void criticalWarningIs(std::int64_t bits) const { nvme().criticalWarningIs({"critical_warning", bits}); }
};

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

// A sensor that alarms: the monitor of the library writes its status.
class HotDiskTest : public VerdictRulesTest {
 protected:
   void degreesAre(std::int64_t degrees) { nvme().temperatureCelsiusIs({"temperature", degrees}); }

   Pelm::Ptr<StorageDevices::TempSensorSm> const monitor = StorageDevices::tempSensorSmFactory(
       entities.fruConfig, entities.sensors, entities.sensorStatus, entities.nvme, entities.smart);
};

TEST_F(HotDiskTest, ReportsCriticalTemperatureForTheSensorsAlarm) {
   diskIs(BusType::nvme);
   degreesAre(81);
   EXPECT_EQ(reasons(), "critical-temperature: critical temperature: 81 °C");
   EXPECT_EQ(word(), "failing");
}

TEST_F(HotDiskTest, DoesNotReportOverheatBesideCriticalTemperature) {
   diskIs(BusType::nvme);
   degreesAre(81);
   criticalWarningIs(2);
   EXPECT_EQ(reasons(), "critical-temperature: critical temperature: 81 °C");
}

TEST_F(HotDiskTest, ShowsTheSensorsTemperatureWhileAJumpWaitsForItsConfirmation) {
   diskIs(BusType::nvme);
   degreesAre(40);
   degreesAre(75);
   criticalWarningIs(2);
   EXPECT_EQ(reasons(), "overheat: high temperature: 40 °C");
}

TEST_F(HotDiskTest, ReportsTheAlarmOfASensorForOneDriveAlone) {
   char const another[] = "ANOTHER";
   entities.fruConfig->serialToSensorMapIs(another, "T1");
   diskIs(BusType::nvme);
   Support::DiskFields{.name = another, .mountPoint = "/mnt/other"}.writeTo(*entities.devices);
   entities.smart->deviceDataIs(another);
   entities.smart->deviceData(another)->reading.countInc();
   Pelm::Ptr<Environment::Temperature::TempSensorStatus> const status{
       dynamic_cast<Environment::Temperature::TempSensorStatus *>(
           entities.sensorStatus->entityPtr("T1").get())};
   status->alarmIs(Environment::Temperature::TempSensorStatus::Alarm::overheat);
   verdicts.evaluate();
   EXPECT_EQ(verdicts.disks().verdict(serial)->reasons().size() +
                 verdicts.disks().verdict(another)->reasons().size(),
             1U);
}

TEST_F(HotDiskTest, ReportsOverheatForTheSensorsAlarm) {
   diskIs(BusType::nvme);
   degreesAre(65);
   EXPECT_EQ(reasons(), "");
   degreesAre(71);
   EXPECT_EQ(reasons(), "overheat: high temperature: 71 °C");
   EXPECT_EQ(word(), "warning");
}

TEST_F(HotDiskTest, EndsOverheatWithTheRecordOfTheDrive) {
   diskIs(BusType::nvme);
   degreesAre(71);
   entities.nvme->deviceDataDel(serial);
   entities.smart->deviceDataDel(serial);
   EXPECT_EQ(reasons(), "");
}

TEST_F(VerdictRulesTest, ReportsOverheatForAnNvmeDrivesOwnLimits) {
   diskIs(BusType::nvme);
   nvme().temperatureCelsiusIs({"temperature", 66});
   criticalWarningIs(2);
   EXPECT_EQ(reasons(), "overheat: high temperature: 66 °C");
   EXPECT_EQ(word(), "warning");
}

TEST_F(VerdictRulesTest, ReportsOverheatWithoutADegreeWhereTheDriveReportsNone) {
   diskIs(BusType::nvme);
   criticalWarningIs(2);
   EXPECT_EQ(reasons(), "overheat: high temperature: the drive reports it");
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
