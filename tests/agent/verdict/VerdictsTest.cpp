#include "agent/verdict/Verdicts.h"

#include "tests/support/UnitOfRecords.h"

namespace Agent {
namespace {

class VerdictsTest : public Support::UnitOfRecords {
 protected:
   Vorn::Seconds since() const { return verdicts.disks().verdict(serial)->since(); }
   Vorn::Seconds reasonSince(std::string_view code) const {
      for (Reason const & reason : verdicts.disks().verdict(serial)->reasons())
         if (reason.code == code)
            return reason.since;
      return -1;
   }
   void mediaErrorsAre(std::int64_t count) const { nvme().mediaErrorsIs({"media_errors", count}); }
   void spareIsExhausted(bool is) const { nvme().criticalWarningIs({"critical_warning", is ? 1 : 0}); }
   void nvmeIsThere() {
      diskIs(BusType::nvme);
      allIsRead();
      verdicts.evaluate();
   }
   void unitIs(Verdict verdict, std::vector<std::string> const & missing) const {
      auto const unit = verdicts.unit();
      EXPECT_STREQ(verdictWord(unit.verdict), verdictWord(verdict));
      EXPECT_EQ(unit.missing, missing);
   }
   void settle() { manager = StorageDevices::mountPtMonitorManagerSmFactory(entities.devices); }
};

TEST_F(VerdictsTest, OrdersFailingAbsentWarningUnknownOk) {
   EXPECT_GT(Verdict::failing, Verdict::absent);
   EXPECT_GT(Verdict::absent, Verdict::warning);
   EXPECT_GT(Verdict::warning, Verdict::unknown);
   EXPECT_GT(Verdict::unknown, Verdict::ok);
   EXPECT_STREQ(verdictWord(Verdict::absent), "absent");
}

TEST_F(VerdictsTest, DecidesByTheWorstReasonAndListsItFirst) {
   diskIs(BusType::nvme);
   mediaErrorsAre(1);
   spareIsExhausted(true);
   EXPECT_EQ(word(), "failing");
   EXPECT_EQ(reasons(),
             "nvme-spare-exhausted: spare blocks are below the drive's threshold\n"
             "media-errors: media errors: 1\n"
             "not-read-yet: not read yet: smartctl, nvme");
}

TEST_F(VerdictsTest, EvaluatesOnceForAllRequestsOfATurn) {
   nvmeIsThere();
   verdicts.intervalIs(Vorn::Seconds::infinity());
   verdicts.evaluateOnce();
   spareIsExhausted(true);
   verdicts.evaluateOnce();
   EXPECT_STREQ(verdictWord(verdicts.disks().verdict(serial)->verdict()), "ok");
   Vorn::Host::turn(0);
   verdicts.evaluateOnce();
   EXPECT_STREQ(verdictWord(verdicts.disks().verdict(serial)->verdict()), "failing");
}

TEST_F(VerdictsTest, DatesAVerdictToFiveSecondsWithoutARequest) {
   nvmeIsThere();
   Vorn::Host::runFor(100.5);
   Vorn::Seconds const began = Vorn::System::currentTime();
   mediaErrorsAre(1);
   Vorn::Host::runFor(50);
   EXPECT_LE((since() - began).value(), 5);
   EXPECT_LE((reasonSince("media-errors") - began).value(), 5);
}

TEST_F(VerdictsTest, DatesAVerdictToTheSecondWhileItsChangesAreFollowed) {
   nvmeIsThere();
   Vorn::Host::runFor(100.5);
   verdicts.followedIs(true);
   Vorn::Host::runFor(2.2);
   Vorn::Seconds const began = Vorn::System::currentTime();
   mediaErrorsAre(1);
   Vorn::Host::runFor(1);
   EXPECT_LE((since() - began).value(), 1);
   verdicts.followedIs(false);
   Vorn::Host::runFor(6);
   Vorn::Seconds const unfollowed = Vorn::System::currentTime();
   mediaErrorsAre(0);
   Vorn::Host::runFor(5);
   EXPECT_EQ(verdicts.disks().verdict(serial)->verdict(), Verdict::ok);
   EXPECT_LE((since() - unfollowed).value(), 5);
}

TEST_F(VerdictsTest, KeepsTheTimeOfAReasonThatContinues) {
   nvmeIsThere();
   mediaErrorsAre(1);
   verdicts.evaluate();
   Vorn::Seconds const began = reasonSince("media-errors");
   time->jumpBy(10);
   mediaErrorsAre(2);
   EXPECT_EQ(reasons(), "media-errors: media errors: 2");
   EXPECT_EQ(reasonSince("media-errors"), began);
   EXPECT_EQ(since(), began);
}

TEST_F(VerdictsTest, DatesAVerdictThatReturnsFromAWorseOneFromItsReturn) {
   nvmeIsThere();
   mediaErrorsAre(1);
   verdicts.evaluate();
   Vorn::Seconds const began = since();
   time->jumpBy(10);
   spareIsExhausted(true);
   EXPECT_EQ(word(), "failing");
   EXPECT_EQ(since(), began + 10);
   time->jumpBy(10);
   spareIsExhausted(false);
   EXPECT_EQ(word(), "warning");
   EXPECT_EQ(since(), began + 20);
   EXPECT_EQ(reasonSince("media-errors"), began);
}

TEST_F(VerdictsTest, KeepsTheTimeOfAVerdictAtASecondReasonForIt) {
   nvmeIsThere();
   mediaErrorsAre(1);
   verdicts.evaluate();
   Vorn::Seconds const began = since();
   time->jumpBy(10);
   nvme().percentageUsedIs({"percent_used", 95});
   verdicts.evaluate();
   EXPECT_EQ(since(), began);
   EXPECT_EQ(reasonSince("life-low"), began + 10);
}

TEST_F(VerdictsTest, DatesAFailingReadingFromItsFirstFailure) {
   nvmeIsThere();
   time->jumpBy(10);
   Vorn::Seconds const first = Vorn::System::currentTime();
   for (int poll = 0; poll < 3; ++poll) {
      readingFails("nvme");
      verdicts.evaluate();
      time->jumpBy(60);
   }
   EXPECT_EQ(reasonSince("reading-fails"), first);
   EXPECT_EQ(since(), first);
}

TEST_F(VerdictsTest, DatesAReasonOfSeveralSourcesFromTheFirst) {
   nvmeIsThere();
   Vorn::Seconds const first = Vorn::System::currentTime();
   for (char const * const tool : {"smartctl", "nvme"}) {
      for (int poll = 0; poll < 3; ++poll)
         readingFails(tool);
      time->jumpBy(60);
   }
   verdicts.evaluate();
   EXPECT_EQ(reasonSince("reading-fails"), first);
}

TEST_F(VerdictsTest, DatesAVerdictNotBeforeTheOneThatItFollows) {
   nvmeIsThere();
   entities.kernelErrors->fsListIs(serial, "/dev/sda", "", false);
   entities.kernelErrors->fsList(serial)->syslogTimestampIs(Vorn::System::currentTimeUtc() - 100);
   EXPECT_EQ(word(), "failing");
   EXPECT_EQ(since(), Vorn::System::currentTime()) << "the disk was ok until then";
   EXPECT_NEAR(reasonSince("kernel-errors").value(), since().value() - 100, 1e-3);
}

TEST_F(VerdictsTest, DatesKernelErrorsFromTheirTime) {
   nvmeIsThere();
   time->jumpBy(10);
   entities.kernelErrors->fsListIs(serial, "/dev/sda", "", false);
   entities.kernelErrors->fsList(serial)->syslogTimestampIs(Vorn::System::currentTimeUtc());
   Vorn::Seconds const reported = Vorn::System::currentTime();
   time->jumpBy(1);
   verdicts.evaluate();
   EXPECT_NEAR(reasonSince("kernel-errors").value(), reported.value(), 1e-3);
}

TEST_F(VerdictsTest, KeepsTimesWhenTheWallClockIsCorrected) {
   nvmeIsThere();
   mediaErrorsAre(1);
   verdicts.evaluate();
   Vorn::Seconds const began = since();
   wallClockJumpsBy(86400.0 * 365);
   time->jumpBy(5);
   verdicts.evaluate();
   EXPECT_EQ(since(), began);
   EXPECT_EQ(began + readings.utcOffset(), Vorn::System::currentTimeUtc() - 5);
}

TEST_F(VerdictsTest, KeepsTheRecordWhileNothingChanges) {
   nvmeIsThere();
   auto const record = verdicts.disks().verdict(serial);
   time->jumpBy(10);
   verdicts.evaluate();
   EXPECT_EQ(verdicts.disks().verdict(serial), record);
}

TEST_F(VerdictsTest, KeepsTheFiguresWhileNeitherTheyNorAReadingChange) {
   nvmeIsThere();
   nvme().percentageUsedIs({"percent_used", 20});
   verdicts.evaluate();
   auto const figuresAfter = [this](Vorn::Seconds span) {
      time->jumpBy(span);
      verdicts.evaluate();
      return verdicts.disks().figures(serial);
   };
   auto const first = figuresAfter(10);
   EXPECT_EQ(figuresAfter(10), first);
   nvme().percentageUsedIs({"percent_used", 21});
   auto const worn = figuresAfter(10);
   EXPECT_NE(worn, first);
   readingFails("nvme");
   auto const failing = figuresAfter(10);
   EXPECT_NE(failing, worn);
   EXPECT_EQ(figuresAfter(10), failing);
}

TEST_F(VerdictsTest, KeepsTheLastFiguresOfARemovedDiskUntilItComesBack) {
   nvmeIsThere();
   nvme().percentageUsedIs({"percent_used", 20});
   verdicts.evaluate();
   time->jumpBy(10);
   diskGoes();
   EXPECT_EQ(word(), "absent");
   EXPECT_EQ(since(), Vorn::System::currentTime());
   auto const figures = verdicts.disks().figures(serial);
   EXPECT_EQ(figures->lifeLeft, 80);
   EXPECT_EQ(figures->disk->blockDevice(), "/dev/sda");
   nvmeIsThere();
   EXPECT_EQ(word(), "ok");
   EXPECT_FALSE(verdicts.disks().figures(serial)->lifeLeft);
}

TEST_F(VerdictsTest, ForgetsARemovedDiskOnDemand) {
   nvmeIsThere();
   EXPECT_EQ(verdicts.forgetAbsent(), 0U);
   diskGoes();
   EXPECT_EQ(word(), "absent");
   EXPECT_EQ(verdicts.forgetAbsent(), 1U);
   EXPECT_EQ(word(), "(none)");
   EXPECT_TRUE(verdicts.disks().figures.empty());
}

TEST_F(VerdictsTest, ReportsARemovedDiskAbsentWhateverTheKernelReported) {
   nvmeIsThere();
   entities.kernelErrors->fsListIs(serial, "/dev/sda", "", false);
   entities.kernelErrors->fsList(serial)->syslogTimestampIs(Vorn::System::currentTimeUtc());
   EXPECT_EQ(word(), "failing");
   diskGoes();
   EXPECT_EQ(reasons(), "removed: removed");
}

TEST_F(VerdictsTest, ComputesFiguresFromTheRecords) {
   nvmeIsThere();
   nvme().temperatureCelsiusIs({"temperature", 41});
   nvme().powerOnHoursIs({"power_on_hours", 900});
   nvme().dataUnitsWrittenIs({"data_units_written", 10});
   entities.ioStat->ioStatDataIs(serial);
   entities.ioStat->ioStatData(serial)->recordMeasurement(1, 1, 5000);
   verdicts.evaluate();
   auto const figures = verdicts.disks().figures(serial);
   EXPECT_EQ(figures->temperature, 41);
   EXPECT_EQ(figures->powerOnHours, 900);
   EXPECT_EQ(figures->bytesWritten, 5120000);
   EXPECT_EQ(figures->bytesWrittenSinceBoot, 5000);
   EXPECT_EQ(figures->lastRead, Vorn::System::currentTimeUtc());
}

TEST_F(VerdictsTest, PrefersTheSmartLogOfAnNvmeDriveAndTheOldestOfItsReadings) {
   nvmeIsThere();
   nvme().percentageUsedIs({"percent_used", 20});
   StorageDevices::SmartAttr attr;
   attr.name = "Percent_Lifetime_Remain";
   attr.value = attr.reportedValue = 50;
   smart().lifetimeRemainingIs(StorageDevices::OptionalSmartAttr::from(attr));
   Vorn::Seconds const oldest = Vorn::System::currentTimeUtc();
   time->jumpBy(30);
   nvme().reading.countInc();
   verdicts.evaluate();
   EXPECT_EQ(verdicts.disks().figures(serial)->lifeLeft, 80);
   EXPECT_EQ(verdicts.disks().figures(serial)->lastRead, oldest);
}

TEST_F(VerdictsTest, IgnoresADrivesCountBelowTheBytesWrittenSinceBoot) {
   nvmeIsThere();
   nvme().dataUnitsWrittenIs({"data_units_written", 10});
   entities.ioStat->ioStatDataIs(serial);
   entities.ioStat->ioStatData(serial)->recordMeasurement(1, 1, 5120001);
   verdicts.evaluate();
   EXPECT_FALSE(verdicts.disks().figures(serial)->bytesWritten);
}

TEST_F(VerdictsTest, ReportsTheUnitUnknownBeforeItsDisksAreIdentified) {
   unitIs(Verdict::unknown, {});
   nvmeIsThere();
   mediaErrorsAre(1);
   verdicts.evaluate();
   unitIs(Verdict::warning, {});
}

TEST_F(VerdictsTest, ReportsTheUnitUnknownAtLeastWhileADeviceIsNotKnown) {
   settle();
   nvmeIsThere();
   unitIs(Verdict::ok, {});
   allDevicesKnown = false;
   unitIs(Verdict::unknown, {});
   mediaErrorsAre(1);
   verdicts.evaluate();
   unitIs(Verdict::warning, {});
   mediaErrorsAre(0);
   diskGoes();
   verdicts.evaluate();
   verdicts.forgetAbsent();
   unitIs(Verdict::warning, {"/mnt/drive"});
}

TEST_F(VerdictsTest, RatesTheUnitAsItsWorstDiskAndMissingOnesAsAWarning) {
   settle();
   unitIs(Verdict::warning, {"/mnt/drive"});
   nvmeIsThere();
   unitIs(Verdict::ok, {});
   spareIsExhausted(true);
   verdicts.evaluate();
   unitIs(Verdict::failing, {});
   diskGoes();
   verdicts.evaluate();
   unitIs(Verdict::absent, {"/mnt/drive"});
}

TEST_F(VerdictsTest, RatesTheUnitAsItsWorstDiskInAnyOrder) {
   settle();
   nvmeIsThere();
   for (int i = 0; i < 8; ++i)
      Support::DiskFields{.name = "GOOD" + std::to_string(i), .mountPoint = "/mnt/" + std::to_string(i)}
          .writeTo(*entities.devices);
   spareIsExhausted(true);
   verdicts.evaluate();
   unitIs(Verdict::failing, {});
}

TEST_F(VerdictsTest, ListsMissingMountPointsInOrder) {
   settle();
   std::vector<std::string> missing;
   for (int i = 0; i < 8; ++i) {
      entities.fruConfig->expectedMountsIs(Pelm::String{"a" + std::to_string(i)});
      missing.push_back("/mnt/a" + std::to_string(i));
   }
   missing.emplace_back("/mnt/drive");
   unitIs(Verdict::warning, missing);
}

TEST_F(VerdictsTest, ListsNoMembersOfAnEmptyUnit) {
   verdicts.evaluate();
   EXPECT_TRUE(verdicts.disks().verdict.empty());
   EXPECT_TRUE(verdicts.disks().figures.empty());
}

}  // namespace
}  // namespace Agent
