#include "StorageDevices/IOStatSm.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include "StorageDevices/Factories.h"
#include "tests/support/DiskFields.h"
#include "tests/support/ProcessState.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

namespace {

using Texts = std::vector<std::string>;
using History = std::vector<IOStat::Measurement>;

class IOStatSmTest : public Support::VirtualTimeTest {
 protected:
   IOStatSmTest() { statIs("sda", "1 0 2000 0 2 0 4000 0 0 0 0 0 0 0 0 0 0\n"); }

   void statIs(std::string const & disk, std::string const & text) const {
      folder_.write(disk + ".stat", text);
   }
   void plug(std::string const & serial, std::string const & node = "/dev/sda") const {
      Support::DiskFields{.name = serial, .blockDevice = node}.writeTo(*devices_);
   }
   void start() { monitor_ = iOStatSmFactory(interval_, devices_, data_); }
   History history(char const * serial) const {
      History result;
      if (Pelm::Ptr<IOStat> const stat = data_->ioStatData(serial))
         for (std::size_t i = 0; i < stat->size(); ++i)
            result.push_back((*stat)[i]);
      return result;
   }
   // Starts with a disk whose line is that, and answers the three counters.
   std::vector<unsigned> countersOf(std::string const & line) {
      statIs("sda", line);
      plug("A");
      start();
      return {monitor_->openErrorCount(), monitor_->getlineErrorCount(), monitor_->regexErrorCount()};
   }

   Support::TempDir folder_;
   Support::EnvironmentSetting path_{"STORAGEDEVICES_IOSTAT_PATH_BASE", folder_.string() + "/%s.stat"};
   Support::TraceRecorder traces_{{"StorageIOStatSm", 7}};
   Pelm::Ptr<PollInterval> interval_ = Pelm::make<PollInterval>();
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   Pelm::Ptr<IOStatData> data_ = Pelm::make<IOStatData>();
   Pelm::Ptr<IOStatSm> monitor_;
};

TEST_F(IOStatSmTest, StoresSectorsAsBytesUnderThePathOfTheEnvironment) {
   plug("A");
   start();
   EXPECT_EQ(history("A"), (History{{1000, 1024000, 2048000}}));
   EXPECT_EQ(traces_.texts(7),
             Texts{"collectIoStatForDisk recording a measurement for A: (1024000, 2048000)"});
   EXPECT_EQ(monitor_->ioStatPathBase(), folder_.string() + "/%s.stat");
}

TEST_F(IOStatSmTest, StoresMoreSectorsThanThirtyTwoBitsCount) {
   statIs("sda", "1 0 4294967297 0 2 0 36028797018963967 0 0 0 0\n");
   plug("A");
   start();
   EXPECT_EQ(history("A"), (History{{1000, 2199023256064, 18446744073709551104U}}));
}

TEST_F(IOStatSmTest, ReadsSysfsWithoutTheEnvironment) {
   unsetenv("STORAGEDEVICES_IOSTAT_PATH_BASE");
   plug("A", "/dev/no-such-disk");
   start();
   EXPECT_EQ(traces_.errors(), Texts{"collectIoStatForDisk failed to open /sys/block/no-such-disk/stat"});
   EXPECT_EQ(monitor_->openErrorCount(), 1U);
   EXPECT_TRUE(data_->ioStatData.contains("A")) << "its history begins when it can be read";
}

TEST_F(IOStatSmTest, SamplesADiskThatAppearsAtOnce) {
   start();
   Vorn::Host::runFor(10);
   plug("A");
   EXPECT_EQ(history("A"), (History{{1010, 1024000, 2048000}}));
}

TEST_F(IOStatSmTest, SamplesEveryDiskOncePerIntervalFromOneIntervalAfterTheStart) {
   statIs("sdb", "1 0 8 0 2 0 16 0 0 0 0\n");
   plug("A");
   plug("B", "/dev/sdb");
   start();
   Vorn::Host::runFor(59);
   EXPECT_EQ(history("A").size(), 1U);
   statIs("sda", "1 0 3000 0 2 0 5000 0 0 0 0\n");
   Vorn::Host::runFor(62);
   EXPECT_EQ(history("A"),
             (History{{1000, 1024000, 2048000}, {1060, 1536000, 2560000}, {1120, 1536000, 2560000}}));
   EXPECT_EQ(history("B"), (History{{1000, 4096, 8192}, {1060, 4096, 8192}, {1120, 4096, 8192}}));
}

TEST_F(IOStatSmTest, PollsAtOnceAndRestartsThePeriodWhenTheIntervalChanges) {
   plug("A");
   start();
   Vorn::Host::runFor(20);
   interval_->intervalIs(100);
   EXPECT_EQ(history("A").size(), 2U);
   Vorn::Host::runFor(99);
   EXPECT_EQ(history("A").size(), 2U);
   Vorn::Host::runFor(2);
   EXPECT_EQ(history("A").size(), 3U);
}

TEST_F(IOStatSmTest, PollsNothingBeforeItIsInitialised) {
   plug("A");
   data_->ioStatDataIs("A");
   monitor_ = Pelm::make<IOStatSm>(interval_, devices_, data_);
   monitor_->ioStatPathBaseIs((folder_.string() + "/%s.stat").c_str());
   interval_->intervalIs(5);
   Vorn::Host::runFor(60);
   EXPECT_TRUE(history("A").empty());
}

TEST_F(IOStatSmTest, DropsTheHistoryOfARemovedDiskAtOnce) {
   plug("A");
   start();
   Vorn::Host::runFor(200);
   devices_->diskDel("A");
   EXPECT_FALSE(data_->ioStatData.contains("A"));
   plug("A");
   EXPECT_EQ(history("A"), (History{{1200, 1024000, 2048000}}));
}

TEST_F(IOStatSmTest, KeepsTheHistoryOfADiskThatChanges) {
   plug("A");
   start();
   statIs("sdb", "1 0 8 0 2 0 16 0 0 0 0\n");
   plug("A", "/dev/sdb");
   EXPECT_EQ(history("A").size(), 1U);
   Vorn::Host::runFor(61);
   EXPECT_EQ(history("A").back(), (IOStat::Measurement{1060, 4096, 8192})) << "read from its new place";
}

TEST_F(IOStatSmTest, DropsRecordsOfAnEarlierRunAndKeepsTheRest) {
   data_->ioStatDataIs("gone");
   data_->ioStatDataIs("A");
   data_->ioStatDataIs("gone too");
   plug("A");
   start();
   EXPECT_EQ(data_->ioStatData.size(), 1U);
   EXPECT_TRUE(history("A").empty()) << "a disk with a history waits for the next poll";
}

TEST_F(IOStatSmTest, KeepsOneDayAndOneIntervalOfHistory) {
   plug("A");
   start();
   Vorn::Host::runFor(3 * 86400);
   History const kept = history("A");
   EXPECT_EQ(kept.front().time, 1000 + 3 * 86400 - 86400 - 60);
   EXPECT_EQ(kept.back().time, 1000 + 3 * 86400);
   EXPECT_EQ(kept.size(), 1442U);
}

TEST_F(IOStatSmTest, CountsAMissingFile) {
   plug("A", "/dev/sdx");
   start();
   EXPECT_EQ(monitor_->openErrorCount(), 1U);
   EXPECT_EQ(traces_.errors(),
             Texts{"collectIoStatForDisk failed to open " + folder_.string() + "/sdx.stat"});
   Vorn::Host::runFor(61);
   EXPECT_EQ(monitor_->openErrorCount(), 2U) << "and tries again";
   EXPECT_TRUE(history("A").empty());
}

TEST_F(IOStatSmTest, KeepsAnEmptyHistoryOfADiskThatCannotBeSampled) {
   plug("A", "/dev/sdx");
   start();
   Vorn::Host::runFor(61);
   Pelm::Ptr<IOStat> const stat = data_->ioStatData("A");
   ASSERT_TRUE(stat);
   EXPECT_FALSE(stat->topMeasurement());
   EXPECT_EQ(stat->reading.failure()->polls, 2U);
   statIs("sdx", "1 0 2000 0 2 0 4000 0\n");
   Vorn::Host::runFor(60);
   EXPECT_EQ(data_->ioStatData("A"), stat) << "the same history is filled";
   EXPECT_EQ(history("A"), (History{{1120, 1024000, 2048000}}));
}

TEST_F(IOStatSmTest, CountsAFileWithoutALine) {
   EXPECT_EQ(countersOf(""), (std::vector<unsigned>{0, 1, 0}));
   EXPECT_EQ(traces_.errors(),
             Texts{"collectIoStatForDisk failed to getline " + folder_.string() + "/sda.stat"});
   EXPECT_TRUE(history("A").empty());
}

TEST_F(IOStatSmTest, RecordsEachKindOfFailureAsAFailedReading) {
   statIs("sdb", "");
   statIs("sdc", "rubbish\n");
   plug("B", "/dev/sdb");
   plug("C", "/dev/sdc");
   plug("X", "/dev/sdx");
   start();
   for (char const * const serial : {"B", "C", "X"})
      EXPECT_TRUE(data_->ioStatData(serial)->reading.failure()) << serial;
}

TEST_F(IOStatSmTest, CountsAFolderAsAFileWithoutALine) {
   std::filesystem::create_directory(folder_.path() / "sdd.stat");
   plug("A", "/dev/sdd");
   start();
   EXPECT_EQ(monitor_->getlineErrorCount(), 1U);
}

TEST_F(IOStatSmTest, CountsALineWithFewerThanSevenNumbers) {
   EXPECT_EQ(countersOf("1 2 3 4 5 6\n7 8 9 10 11 12 13\n"), (std::vector<unsigned>{0, 0, 1}));
   EXPECT_EQ(traces_.errors(), Texts{"collectIoStatForDisk failed to extract IO info"});
   EXPECT_TRUE(history("A").empty());
}

TEST_F(IOStatSmTest, CountsANumberThatIsTooLong) {
   EXPECT_EQ(countersOf("1 2 18446744073709551616 4 5 6 7\n"), (std::vector<unsigned>{0, 0, 1}));
   EXPECT_TRUE(history("A").empty());
}

TEST_F(IOStatSmTest, CountsALineThatIsTooLong) {
   // What is read of it ends in the middle of the seventh number.
   std::string const start = "1 2 3 4 5 6 7";
   EXPECT_EQ(countersOf(std::string(4096 - start.size(), ' ') + start + "7777"),
             (std::vector<unsigned>{0, 0, 1}))
       << "the last number would be a part of it";
}

TEST_F(IOStatSmTest, KeepsTheHistoryAfterAFailedSample) {
   plug("A");
   start();
   statIs("sda", "rubbish\n");
   Vorn::Host::runFor(61);
   EXPECT_EQ(history("A"), (History{{1000, 1024000, 2048000}}));
   EXPECT_EQ(monitor_->regexErrorCount(), 1U);
   auto const & reading = data_->ioStatData("A")->reading;
   EXPECT_EQ(reading.time(), 1000);
   ASSERT_TRUE(reading.failure());
   EXPECT_EQ(reading.failure()->reason, "the statistics in /sys/block cannot be read");
   EXPECT_EQ(reading.failure()->since, 1060);
   statIs("sda", "1 2 3 4 5 6 7\n");
   Vorn::Host::runFor(60);
   EXPECT_FALSE(reading.failure());
}

TEST_F(IOStatSmTest, ReadsButStoresNothingWhenItShouldNotRecord) {
   start();
   monitor_->shouldRecordMeasurementIs(false);
   plug("A");
   statIs("sdb", "rubbish");
   plug("B", "/dev/sdb");
   EXPECT_TRUE(history("A").empty());
   EXPECT_EQ(data_->ioStatData("A")->reading.count(), 1U) << "a good reading all the same";
   EXPECT_EQ(data_->ioStatData("B")->reading.count(), 0U);
   EXPECT_EQ(monitor_->regexErrorCount(), 1U) << "it is checked all the same";
}

TEST_F(IOStatSmTest, DropsOldMeasurementsThoughItShouldNotRecord) {
   plug("A");
   start();
   monitor_->shouldRecordMeasurementIs(false);
   Vorn::Host::runFor(86400 + 60);
   EXPECT_EQ(history("A").size(), 1U);
   Vorn::Host::runFor(61);
   EXPECT_TRUE(history("A").empty());
}

TEST_F(IOStatSmTest, DropsNothingAfterAFailedSampleHoweverOld) {
   plug("A");
   start();
   statIs("sda", "rubbish\n");
   Vorn::Host::runFor(3 * 86400);
   EXPECT_EQ(history("A"), (History{{1000, 1024000, 2048000}}));
}

TEST_F(IOStatSmTest, KeepsTheFailureCountersAfterAGoodSample) {
   std::string const good = "1 0 2000 0 2 0 4000 0\n";
   EXPECT_EQ(countersOf("rubbish\n"), (std::vector<unsigned>{0, 0, 1}));
   statIs("sda", "");
   Vorn::Host::runFor(61);
   std::filesystem::remove(folder_.path() / "sda.stat");
   Vorn::Host::runFor(60);
   statIs("sda", good);
   Vorn::Host::runFor(200);
   EXPECT_EQ(history("A").back().bytesRead, 1024000U);
   EXPECT_EQ((std::vector<unsigned>{monitor_->openErrorCount(), monitor_->getlineErrorCount(),
                                    monitor_->regexErrorCount()}),
             (std::vector<unsigned>{1, 1, 1}));
}

TEST_F(IOStatSmTest, UsesAnEnvironmentVariableThatIsSetButEmpty) {
   setenv("STORAGEDEVICES_IOSTAT_PATH_BASE", "", 1);
   plug("A");
   start();
   EXPECT_EQ(monitor_->ioStatPathBase(), "");
   EXPECT_EQ(traces_.errors(), Texts{"collectIoStatForDisk failed to open "});
}

TEST_F(IOStatSmTest, MeasuresInFrameworkTimeWhateverTheWallClock) {
   plug("A");
   start();
   wallClockJumpsBy(-50 * 365 * 86400.0);
   Vorn::Host::runFor(61);
   wallClockJumpsBy(100 * 365 * 86400.0);
   Vorn::Host::runFor(60);
   ASSERT_EQ(history("A").size(), 3U);
   EXPECT_EQ(history("A").back().time, 1120);
}

TEST_F(IOStatSmTest, KeepsNoDescriptorBetweenSamples) {
   auto const before = Support::openDescriptors();
   plug("A");
   plug("B", "/dev/sdx");
   start();
   Vorn::Host::runFor(200);
   EXPECT_EQ(Support::openDescriptors(), before);
}

TEST_F(IOStatSmTest, UsesLittleMoreMemoryThanADayOfMeasurementsAtOneSecond) {
#ifdef STORAGEDEVICES_SANITIZED
   GTEST_SKIP() << "the sanitizers have an allocator of their own";
#endif
   constexpr std::size_t disks = 10;
   constexpr std::size_t day = 86400;
   for (std::size_t i = 0; i < disks; ++i)
      plug("disk" + std::to_string(i));
   interval_->intervalIs(1);
   traces_.levelsAre(0);
   start();
   std::size_t const before = mallinfo2().uordblks;
   Vorn::Host::runFor(1.5 * day);
   std::size_t const taken = mallinfo2().uordblks - before;
   EXPECT_EQ(data_->ioStatData("disk0")->size(), day + 2);
   std::size_t const bare = disks * (day + 2) * sizeof(IOStat::Measurement);
   EXPECT_EQ(sizeof(IOStat::Measurement), 24U);
   EXPECT_LT(taken, bare + bare / 10);
   RecordProperty("bytesPerMeasurement",
                  std::to_string(static_cast<double>(taken) / static_cast<double>(bare) * 24));
}

TEST_F(IOStatSmTest, IgnoresEventsAsAZombie) {
   plug("A");
   start();
   monitor_->vornDoZombieReactors(true);
   plug("B");
   interval_->intervalIs(5);
   Vorn::Host::runFor(60);
   EXPECT_EQ(history("A").size(), 1U);
   EXPECT_FALSE(data_->ioStatData.contains("B"));
}

TEST_F(IOStatSmTest, AllowsItsSubscriberToDropItAtAFailedSample) {
   struct Dropper {
      void handleOpenErrorCount() {
         reactor.notifierIs(nullptr);
         *monitor = nullptr;
         devices.diskDel("C");
      }
      Pelm::Ptr<IOStatSm> * monitor;
      ConnectedDevices & devices;
      Vorn::NotifieeConst reactor;
   } dropper{&monitor_, *devices_, {}};
   plug("A", "/dev/sdx");
   plug("B");
   plug("C");
   start();
   dropper.reactor.notifierIs(monitor_);
   dropper.reactor.on<&Dropper::handleOpenErrorCount>(monitor_->openErrorCount, dropper);
   dropper.reactor.hasNotificationActiveIs(true);
   Vorn::Host::runFor(61);
   EXPECT_FALSE(monitor_);
   Vorn::Host::runFor(200);
   EXPECT_EQ(history("B").size(), 1U) << "nobody needs the rest of its poll";
   EXPECT_EQ(history("C").size(), 1U) << "nor is anybody subscribed to the disk that went";
}

}  // namespace

}  // namespace StorageDevices
