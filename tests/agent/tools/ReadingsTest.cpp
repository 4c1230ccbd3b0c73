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

   void end(std::vector<Pelm::String> argv, int exitCode = 0, bool failed = false) const {
      auto const run = Pelm::make<Brul::FinishedRun>();
      run->argv = std::move(argv);
      run->exitCode = exitCode;
      run->failed = failed;
      tracker->finishedRunIs(run);
   }
   void endSmartctl(char const * device, int exitCode = 0, bool failed = false) const {
      end({"smartctl", "--json=c", "--offlineauto=on", "-HA", device}, exitCode, failed);
   }
   // A run whose output the monitor could read.
   void endWell(char const * serial, char const * device) const {
      entities.smart->deviceData(serial)->reading.countInc();
      endSmartctl(device);
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
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
   Readings readings{entities, tracker};
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
   endSmartctl("/dev/sda", 1, true);
   Vorn::Seconds const bad = Vorn::System::currentTimeUtc();
   time->jumpBy(60);
   entities.devices->diskIs("A", StorageType::sataSsd, "/dev/sdb", "/mnt/y", "M", "2", false, BusType::sata,
                            "1", 1);
   ASSERT_TRUE(of("A", "smartctl").failure);
   EXPECT_EQ(of("A", "smartctl").failure->since, bad);
}

TEST_F(ReadingsTest, NamesTheReasonOfAReadingThatTheTrackerEnded) {
   addDisk("A", "/dev/sda", BusType::sata);
   auto const run = Pelm::make<Brul::FinishedRun>();
   run->argv = {"smartctl", "-HA", "/dev/sda"};
   run->failed = true;
   run->exitCode = -9;
   run->reason = "it wrote more than 4 MiB";
   tracker->finishedRunIs(run);
   EXPECT_EQ(reason("A", "smartctl"), "ended: it wrote more than 4 MiB");
}

TEST_F(ReadingsTest, ReportsNothingGoodOrFailingBeforeTheFirstRun) {
   addDisk("A", "/dev/sda", BusType::sata);
   time->jumpBy(100000);
   EXPECT_FALSE(of("A", "smartctl").lastGood);
   EXPECT_FALSE(of("A", "smartctl").failure);
}

TEST_F(ReadingsTest, FailsFromTheFirstBadRunUntilAGoodOne) {
   addDisk("A", "/dev/sda", BusType::sata);
   endWell("A", "/dev/sda");
   Vorn::Seconds const good = Vorn::System::currentTimeUtc();
   time->jumpBy(60);
   Vorn::Seconds const bad = Vorn::System::currentTimeUtc();
   endSmartctl("/dev/sda", 2, true);
   EXPECT_EQ(reason("A", "smartctl"), "device open failed, or it could not be identified or sleeps");
   time->jumpBy(60);
   endSmartctl("/dev/sda");
   EXPECT_EQ(reason("A", "smartctl"), "unreadable output");
   EXPECT_EQ(of("A", "smartctl").failure->since, bad);
   EXPECT_EQ(of("A", "smartctl").lastGood, good);
   endWell("A", "/dev/sda");
   EXPECT_FALSE(of("A", "smartctl").failure);
   EXPECT_EQ(of("A", "smartctl").lastGood, Vorn::System::currentTimeUtc());
}

TEST_F(ReadingsTest, CountsARunWithAcceptedBitsAsGoodWhenItStoredSomething) {
   addDisk("A", "/dev/sda", BusType::sata);
   entities.smart->deviceData("A")->reading.countInc();
   endSmartctl("/dev/sda", 8, false);
   EXPECT_FALSE(of("A", "smartctl").failure);
}

TEST_F(ReadingsTest, CountsOnlyRunsThatReadHealth) {
   addDisk("N", "/dev/nvme0n1", BusType::nvme);
   end({"nvme", "list", "-o", "json", "/dev/nvme0n1"}, 1, true);
   end({"hdparm", "-I", "/dev/nvme0n1"}, 1, true);
   end({"smartctl", "--scan"}, 1, true);
   end({"smartctl"}, 1, true);
   end({}, 1, true);
   EXPECT_FALSE(of("N", "smartctl").failure);
   EXPECT_FALSE(of("N", "nvme").failure);
   end({"nvme", "smart-log", "--output-format=json", "/dev/nvme0n1"}, 127, true);
   EXPECT_EQ(reason("N", "nvme"), "not found or not executable");
   EXPECT_FALSE(of("N", "smartctl").failure);
}

TEST_F(ReadingsTest, DistinguishesTheRunsOfDisks) {
   addDisk("A", "/dev/sda", BusType::sata);
   addDisk("B", "/dev/sdb", BusType::sata);
   endSmartctl("/dev/sdb", 1, true);
   endSmartctl("/dev/sd", 1, true);
   EXPECT_FALSE(of("A", "smartctl").failure);
   EXPECT_EQ(reason("B", "smartctl"), "command line not understood");
}

TEST_F(ReadingsTest, ReadsADiskUnderTwoNamesUnderBoth) {
   addDisk("old", "/dev/sda", BusType::sata);
   addDisk("new", "/dev/sda", BusType::sata);
   for (int poll = 0; poll < 2; ++poll) {
      endWell("old", "/dev/sda");
      endWell("new", "/dev/sda");
   }
   EXPECT_FALSE(of("old", "smartctl").failure);
   EXPECT_FALSE(of("new", "smartctl").failure);
   endSmartctl("/dev/sda", 2, true);
   EXPECT_TRUE(of("old", "smartctl").failure);
   EXPECT_TRUE(of("new", "smartctl").failure);
}

TEST_F(ReadingsTest, StartsAfreshForADiskThatComesBack) {
   addDisk("A", "/dev/sda", BusType::sata);
   endWell("A", "/dev/sda");
   endSmartctl("/dev/sda", 1, true);
   delDisk("A");
   EXPECT_TRUE(readings.of("A").empty());
   addDisk("A", "/dev/sda", BusType::sata);
   EXPECT_FALSE(of("A", "smartctl").failure);
   EXPECT_FALSE(of("A", "smartctl").lastGood);
   endWell("A", "/dev/sda");
   EXPECT_FALSE(of("A", "smartctl").failure);
}

TEST_F(ReadingsTest, FailsForAnEmmcDeviceAfterTwoEmptyPolls) {
   entities.pollInterval->intervalIs(100);
   addDisk("E", "/dev/mmcblk0", BusType::other);
   Vorn::Seconds const seen = Vorn::System::currentTimeUtc();
   time->jumpBy(250);
   EXPECT_FALSE(of("E", "emmc").failure);
   time->jumpBy(1);
   ASSERT_TRUE(of("E", "emmc").failure);
   EXPECT_EQ(of("E", "emmc").failure->since, seen);
   entities.emmc->deviceData("E")->reading.countInc();
   Vorn::Seconds const good = Vorn::System::currentTimeUtc();
   EXPECT_FALSE(of("E", "emmc").failure);
   time->jumpBy(251);
   EXPECT_EQ(of("E", "emmc").failure->since, good + 100);
   EXPECT_EQ(of("E", "emmc").lastGood, good);
}

TEST_F(ReadingsTest, ShowsMeasurementsInUtc) {
   entities.pollInterval->intervalIs(100);
   addDisk("A", "/dev/sda", BusType::sata);
   entities.ioStat->ioStatDataIs("A");
   entities.ioStat->ioStatData("A")->recordMeasurement(Vorn::System::currentTime(), 1, 2);
   Vorn::Seconds const good = Vorn::System::currentTimeUtc();
   time->jumpBy(200);
   EXPECT_EQ(of("A", "iostat").lastGood, good);
   EXPECT_FALSE(of("A", "iostat").failure);
   time->jumpBy(51);
   EXPECT_EQ(reason("A", "iostat"), "the statistics in /sys/block cannot be read");
}

TEST_F(ReadingsTest, CountsPollsThatFailInARow) {
   addDisk("A", "/dev/sda", BusType::sata);
   endSmartctl("/dev/sda", 1, true);
   endSmartctl("/dev/sda");
   EXPECT_EQ(of("A", "smartctl").failure->polls, 2U);
   endWell("A", "/dev/sda");
   endSmartctl("/dev/sda");
   EXPECT_EQ(of("A", "smartctl").failure->polls, 1U);
}

TEST_F(ReadingsTest, CountsEmptyPollsWithoutATool) {
   entities.pollInterval->intervalIs(100);
   addDisk("E", "/dev/mmcblk0", BusType::other);
   entities.emmc->deviceData("E")->reading.countInc();
   time->jumpBy(251);
   EXPECT_EQ(of("E", "emmc").failure->polls, 2U);
   time->jumpBy(98);
   EXPECT_EQ(of("E", "emmc").failure->polls, 2U);
   time->jumpBy(2);
   EXPECT_EQ(of("E", "emmc").failure->polls, 3U);
}

TEST_F(ReadingsTest, ReportsAHangingToolWhileItsRunsPassTheirLimit) {
   addDisk("A", "/dev/sda", BusType::sata);
   auto const run = Pelm::make<Brul::FinishedRun>();
   run->argv = {"smartctl", "-HA", "/dev/sda"};
   run->failed = run->timedOut = true;
   tracker->finishedRunIs(run);
   EXPECT_TRUE(of("A", "smartctl").failure->hangs);
   endSmartctl("/dev/sda", 1, true);
   EXPECT_FALSE(of("A", "smartctl").failure->hangs);
}

TEST_F(ReadingsTest, ReportsAHangingToolWhenItsRunDoesNotEnd) {
   entities.pollInterval->intervalIs(100);
   addDisk("A", "/dev/sda", BusType::sata);
   endWell("A", "/dev/sda");
   Vorn::Seconds const ended = Vorn::System::currentTimeUtc();
   time->jumpBy(350);
   EXPECT_FALSE(of("A", "smartctl").failure);
   time->jumpBy(1);
   ASSERT_TRUE(of("A", "smartctl").failure);
   EXPECT_TRUE(of("A", "smartctl").failure->hangs);
   EXPECT_EQ(of("A", "smartctl").failure->since, ended);
   EXPECT_EQ(reason("A", "smartctl"), "its run does not end");
   endWell("A", "/dev/sda");
   EXPECT_FALSE(of("A", "smartctl").failure);
}

TEST_F(ReadingsTest, IgnoresACorrectionOfTheWallClock) {
   entities.pollInterval->intervalIs(100);
   for (double const years : {30, -30}) {
      addDisk("A", "/dev/sda", BusType::sata);
      addDisk("E", "/dev/mmcblk0", BusType::other);
      entities.emmc->deviceData("E")->reading.countInc();
      endWell("A", "/dev/sda");
      endSmartctl("/dev/sda", 1, true);
      double const corrected = Vorn::System::currentTimeUtc().value() + years * 365 * 86400;
      auto source = std::make_unique<Host::VirtualTime>(Vorn::System::currentTime(), corrected);
      time = source.get();
      Host::timeSourceIs(std::move(source));
      time->jumpBy(200);
      EXPECT_EQ(of("A", "smartctl").lastGood, corrected);
      EXPECT_EQ(of("A", "smartctl").failure->since, corrected);
      EXPECT_FALSE(of("E", "emmc").failure) << years;
      time->jumpBy(51);
      EXPECT_TRUE(of("E", "emmc").failure) << years;
      delDisk("A");
      delDisk("E");
   }
}

}  // namespace
}  // namespace Agent
