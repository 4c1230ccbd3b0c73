#include "agent/tools/Readings.h"

#include <gtest/gtest.h>

#include "tests/support/VirtualTimeTest.h"

namespace Agent {
namespace {

using BusType = StorageDevices::ConnectedDisk::BusType;
using EntityMib::StorageType;

class ReadingsTest : public Support::VirtualTimeTest {
 protected:
   void addDisk(char const * serial, char const * device, BusType bus) const {
      entities.devices->diskIs(serial, StorageType::sataSsd, device, "/mnt/x", "M", "1", false, bus, "1", 1);
      if (bus == BusType::other)
         entities.emmc->deviceDataIs(serial);
      else
         entities.smart->deviceDataIs(serial);
      if (bus == BusType::nvme)
         entities.nvme->deviceDataIs(serial);
   }
   void delDisk(char const * serial) const {
      entities.devices->diskDel(serial);
      entities.smart->deviceDataDel(serial);
      entities.nvme->deviceDataDel(serial);
      entities.emmc->deviceDataDel(serial);
   }

   StorageDevices::HealthReading & smart(char const * serial) const {
      return entities.smart->deviceData(serial)->reading;
   }
   StorageDevices::HealthReading & emmc(char const * serial) const {
      return entities.emmc->deviceData(serial)->reading;
   }

   Reading of(char const * serial, std::string_view source) const {
      for (Reading const & reading : readings.of(serial))
         if (reading.source == source)
            return reading;
      ADD_FAILURE() << serial << " is not read from " << source;
      return {"", {}, {}};
   }
   std::string reason(char const * serial, std::string_view source) const {
      auto const failure = of(serial, source).failure;
      return failure ? failure->reason : "";
   }

   Entities entities;
   Readings readings{entities};
};

TEST_F(ReadingsTest, ListsTheSourcesOfADisk) {
   auto const sources = [&](char const * serial) {
      std::string names;
      for (Reading const & reading : readings.of(serial))
         names.append(reading.source).append(" ");
      return names;
   };
   addDisk("A", "/dev/sda", BusType::sata);
   addDisk("N", "/dev/nvme0n1", BusType::nvme);
   addDisk("E", "/dev/mmcblk0", BusType::other);
   entities.ioStat->ioStatDataIs("E");
   EXPECT_EQ(sources("A"), "smartctl ");
   EXPECT_EQ(sources("N"), "smartctl nvme ");
   EXPECT_EQ(sources("E"), "emmc iostat ");
   EXPECT_EQ(sources("X"), "");
}

TEST_F(ReadingsTest, ListsTheSourcesOfTheNewBusOfADiskThatMoved) {
   auto const move = [&](char const * serial, BusType bus) {
      entities.devices->diskIs(serial, StorageType::sataSsd, "/dev/sdx", "/mnt/x", "M", "1", false, bus, "1",
                               1);
   };
   addDisk("E", "/dev/mmcblk0", BusType::other);
   addDisk("N", "/dev/nvme0n1", BusType::nvme);
   move("E", BusType::sata);
   move("N", BusType::sata);
   EXPECT_TRUE(readings.of("E").empty());
   ASSERT_EQ(readings.of("N").size(), 1U);
   EXPECT_STREQ(readings.of("N").front().source, "smartctl");
   move("N", BusType::other);
   EXPECT_TRUE(readings.of("N").empty());
}

TEST_F(ReadingsTest, KeepsTheFailuresOfADiskThatChanges) {
   addDisk("A", "/dev/sda", BusType::sata);
   smart("A").failureIs("bad");
   Vorn::Seconds const bad = Vorn::System::currentTimeUtc();
   time->jumpBy(60);
   entities.devices->diskIs("A", StorageType::sataSsd, "/dev/sdb", "/mnt/y", "M", "2", false, BusType::sata,
                            "1", 1);
   ASSERT_TRUE(of("A", "smartctl").failure);
   EXPECT_EQ(of("A", "smartctl").failure->since, bad);
}

TEST_F(ReadingsTest, ReportsNothingGoodOrFailingBeforeTheFirstRun) {
   addDisk("A", "/dev/sda", BusType::sata);
   time->jumpBy(100000);
   EXPECT_FALSE(of("A", "smartctl").lastGood);
   EXPECT_FALSE(of("A", "smartctl").failure);
}

TEST_F(ReadingsTest, StartsAfreshForADiskThatComesBack) {
   addDisk("A", "/dev/sda", BusType::sata);
   smart("A").countInc();
   smart("A").failureIs("bad");
   delDisk("A");
   EXPECT_TRUE(readings.of("A").empty());
   addDisk("A", "/dev/sda", BusType::sata);
   EXPECT_FALSE(of("A", "smartctl").failure);
   EXPECT_FALSE(of("A", "smartctl").lastGood);
   smart("A").countInc();
   EXPECT_FALSE(of("A", "smartctl").failure);
}

TEST_F(ReadingsTest, ShowsWhatTheMonitorHasRecorded) {
   addDisk("A", "/dev/sda", BusType::sata);
   smart("A").countInc();
   Vorn::Seconds const good = Vorn::System::currentTimeUtc();
   time->jumpBy(60);
   Vorn::Seconds const bad = Vorn::System::currentTimeUtc();
   smart("A").failureIs("it sleeps");
   EXPECT_EQ(reason("A", "smartctl"), "it sleeps");
   time->jumpBy(60);
   smart("A").failureIs("it hangs", true);
   auto const shown = of("A", "smartctl");
   EXPECT_EQ(shown.lastGood, good);
   ASSERT_TRUE(shown.failure);
   EXPECT_EQ(shown.failure->since, bad);
   EXPECT_EQ(shown.failure->reason, "it hangs");
   EXPECT_EQ(shown.failure->polls, 2U);
   EXPECT_TRUE(shown.failure->hangs);
   smart("A").countInc();
   EXPECT_FALSE(of("A", "smartctl").failure);
   EXPECT_EQ(of("A", "smartctl").lastGood, Vorn::System::currentTimeUtc());
}

TEST_F(ReadingsTest, ShowsAReadingWithoutAToolAsFailingFromTheSecondFailedPoll) {
   addDisk("E", "/dev/mmcblk0", BusType::other);
   entities.ioStat->ioStatDataIs("E");
   auto & ioStat = entities.ioStat->ioStatData("E")->reading;
   Vorn::Seconds const first = Vorn::System::currentTimeUtc();
   emmc("E").failureIs("no registers");
   ioStat.failureIs("no statistics");
   EXPECT_FALSE(of("E", "emmc").failure);
   EXPECT_FALSE(of("E", "iostat").failure);
   time->jumpBy(60);
   emmc("E").failureIs("no registers");
   ioStat.failureIs("no statistics");
   EXPECT_EQ(reason("E", "emmc"), "no registers");
   EXPECT_EQ(reason("E", "iostat"), "no statistics");
   EXPECT_EQ(of("E", "emmc").failure->since, first);
   EXPECT_EQ(of("E", "emmc").failure->polls, 2U);
}

TEST_F(ReadingsTest, ShowsTheNewestMeasurementAsTheLatestGoodReading) {
   addDisk("A", "/dev/sda", BusType::sata);
   entities.ioStat->ioStatDataIs("A");
   entities.ioStat->ioStatData("A")->recordMeasurement(Vorn::System::currentTime() - 5, 1, 2);
   Vorn::Seconds const good = Vorn::System::currentTimeUtc() - 5;
   time->jumpBy(350);
   EXPECT_EQ(of("A", "iostat").lastGood, good);
}

TEST_F(ReadingsTest, ReportsAHangingToolWhenItsRunDoesNotEnd) {
   entities.pollInterval->intervalIs(100);
   addDisk("A", "/dev/sda", BusType::sata);
   smart("A").countInc();
   Vorn::Seconds const ended = Vorn::System::currentTimeUtc();
   time->jumpBy(350);
   EXPECT_FALSE(of("A", "smartctl").failure);
   time->jumpBy(1);
   ASSERT_TRUE(of("A", "smartctl").failure);
   EXPECT_TRUE(of("A", "smartctl").failure->hangs);
   EXPECT_EQ(of("A", "smartctl").failure->since, ended);
   EXPECT_EQ(reason("A", "smartctl"), "its run has not ended");
   smart("A").countInc();
   EXPECT_FALSE(of("A", "smartctl").failure);
}

TEST_F(ReadingsTest, ReportsAHangingToolNotBeforeThreeMinutesHoweverShortItsInterval) {
   entities.pollInterval->intervalIs(10);
   addDisk("A", "/dev/sda", BusType::sata);
   smart("A").countInc();
   time->jumpBy(180);
   EXPECT_FALSE(of("A", "smartctl").failure);
   time->jumpBy(1);
   EXPECT_TRUE(of("A", "smartctl").failure);
}

TEST_F(ReadingsTest, CountsTheSilenceOfAToolFromItsLatestFailureAndDatesItFromTheFirst) {
   entities.pollInterval->intervalIs(100);
   addDisk("A", "/dev/sda", BusType::sata);
   smart("A").countInc();
   time->jumpBy(100);
   Vorn::Seconds const first = Vorn::System::currentTimeUtc();
   smart("A").failureIs("bad");
   time->jumpBy(100);
   smart("A").failureIs("bad");
   time->jumpBy(350);
   EXPECT_FALSE(of("A", "smartctl").failure->hangs);
   time->jumpBy(1);
   EXPECT_TRUE(of("A", "smartctl").failure->hangs);
   EXPECT_EQ(of("A", "smartctl").failure->since, first);
}

TEST_F(ReadingsTest, KeepsTheOffsetOfUtcAtASmallCorrection) {
   Vorn::Seconds const offset = readings.utcOffset();
   for (double const correction : {0.4, -0.8}) {
      wallClockJumpsBy(correction);
      EXPECT_EQ(readings.utcOffset(), offset) << correction;
   }
   wallClockJumpsBy(2);
   EXPECT_NEAR((readings.utcOffset() - offset).value(), 1.6, 0.01);
}

TEST_F(ReadingsTest, KeepsAgesWhenTheWallClockIsCorrected) {
   entities.pollInterval->intervalIs(100);
   for (double const years : {30, -30}) {
      addDisk("A", "/dev/sda", BusType::sata);
      smart("A").countInc();
      smart("A").failureIs("bad");
      double const corrected = Vorn::System::currentTimeUtc().value() + years * 365 * 86400;
      auto source = std::make_unique<Vorn::Host::VirtualTime>(Vorn::System::currentTime(), corrected);
      time = source.get();
      Vorn::Host::timeSourceIs(std::move(source));
      time->jumpBy(350);
      EXPECT_EQ(of("A", "smartctl").lastGood, corrected);
      EXPECT_EQ(of("A", "smartctl").failure->since, corrected);
      EXPECT_FALSE(of("A", "smartctl").failure->hangs) << years;
      time->jumpBy(1);
      EXPECT_TRUE(of("A", "smartctl").failure->hangs) << years;
      delDisk("A");
   }
}

}  // namespace
}  // namespace Agent
