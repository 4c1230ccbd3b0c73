#include "agent/history/HistoryRow.h"

#include <cmath>

#include "tests/support/UnitOfRecords.h"

namespace Agent {
namespace {

class HistoryRowTest : public Support::UnitOfRecords {
 protected:
   static constexpr Vorn::Seconds interval = 60;

   HistoryRow row() const {
      return historyRowOf(healthRecordsOf(serial, entities), Vorn::System::currentTime(), interval);
   }
   void nvmeIsRead(std::int64_t degrees, std::int64_t used) const {
      nvme().temperatureCelsiusIs({"temperature", degrees});
      nvme().percentageUsedIs({"percent_used", used});
      nvme().reading.countInc();
   }
   void ioIs(std::uint64_t read, std::uint64_t written) const {
      entities.ioStat->ioStatDataIs(serial);
      auto const measurements = entities.ioStat->ioStatData(serial);
      measurements->recordMeasurement(Vorn::System::currentTime(), read, written);
      measurements->reading.countInc();
   }
};

TEST_F(HistoryRowTest, ShowsWhatTheRecordsSay) {
   diskIs(BusType::nvme);
   ioIs(1000, 2000);
   time->jumpBy(60);
   ioIs(7000, 62000);
   nvmeIsRead(37, 12);
   HistoryRow const row = this->row();
   EXPECT_EQ(row.time, Vorn::System::currentTime());
   EXPECT_FLOAT_EQ(row.temperature, 37);
   EXPECT_FLOAT_EQ(row.lifeLeft, 88);
   EXPECT_FLOAT_EQ(row.readBytesPerSecond, 100);
   EXPECT_FLOAT_EQ(row.writtenBytesPerSecond, 1000);
}

TEST_F(HistoryRowTest, IsEmptyBeforeTheFirstReading) {
   diskIs(BusType::nvme);
   EXPECT_TRUE(row().isEmpty());
   ioIs(1000, 2000);
   EXPECT_TRUE(row().isEmpty()) << "one measurement makes no rate";
}

TEST_F(HistoryRowTest, ShowsNoFigureWhoseReadingFails) {
   diskIs(BusType::nvme);
   nvmeIsRead(37, 12);
   readingFails("nvme");
   EXPECT_TRUE(row().isEmpty());
   nvmeIsRead(37, 12);
   EXPECT_FALSE(row().isEmpty());
}

TEST_F(HistoryRowTest, ShowsNoFigureOfAnEarlierPoll) {
   diskIs(BusType::nvme);
   nvmeIsRead(37, 12);
   time->jumpBy(70);
   EXPECT_FALSE(row().isEmpty()) << "the tool may be late";
   time->jumpBy(10);
   EXPECT_TRUE(row().isEmpty());
}

TEST_F(HistoryRowTest, TakesTheAgeFromTheLogThatTheFiguresAreOf) {
   diskIs(BusType::nvme);
   nvmeIsRead(37, 12);
   time->jumpBy(600);
   smart().reading.countInc();
   EXPECT_TRUE(row().isEmpty());
}

TEST_F(HistoryRowTest, ShowsTheLifeOfAnEmmcDevice) {
   diskIs(BusType::other);
   emmc().lifetimeEstTypAIs(StorageDevices::LifetimeEmmcAttr{3});
   EXPECT_TRUE(row().isEmpty());
   emmc().reading.countInc();
   EXPECT_FLOAT_EQ(row().lifeLeft, 80);
   EXPECT_TRUE(std::isnan(row().temperature));
}

TEST_F(HistoryRowTest, ShowsNoRateWhereACounterFalls) {
   diskIs();
   ioIs(1000, 2000);
   time->jumpBy(60);
   ioIs(10, 62000);
   EXPECT_TRUE(std::isnan(row().readBytesPerSecond));
   EXPECT_FLOAT_EQ(row().writtenBytesPerSecond, 1000);
}

TEST_F(HistoryRowTest, TakesNoRateFromMeasurementsCloseToEachOther) {
   diskIs();
   ioIs(0, 0);
   time->jumpBy(60);
   ioIs(6000, 0);
   time->jumpBy(0.01);
   ioIs(10000, 0);
   EXPECT_NEAR(row().readBytesPerSecond, 10000 / 60.01, 0.01);
}

TEST_F(HistoryRowTest, ShowsTheMeanOverMeasurementsThatFailed) {
   diskIs();
   ioIs(0, 0);
   time->jumpBy(300);
   ioIs(30000, 0);
   EXPECT_FLOAT_EQ(row().readBytesPerSecond, 100);
   entities.ioStat->ioStatData(serial)->reading.failureIs("it fails");
   EXPECT_TRUE(row().isEmpty());
}

}  // namespace
}  // namespace Agent
