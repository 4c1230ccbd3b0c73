#include "StorageDevices/DeviceLifetimeMonitorSm.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/StorageDevices/DeviceLifetimeMonitorSmTest.h"

namespace StorageDevices {

namespace {

TEST_F(DeviceLifetimeMonitorSmTest, LogsAFallOfOneUnitInADayWithTheBytesWrittenMeanwhile) {
   written(5 * gib);
   settle();
   written(17 * gib + gib / 2);
   later(1);
   life(89);
   ASSERT_EQ(names(), Texts{info});
   EXPECT_EQ(logs_.messages()[0].arguments,
             (Texts{"/mnt/drive", "KS0001", "Kestrel_S2", "KF1.2", "12", "1"}));
   EXPECT_EQ(logs_.texts()[0],
             "Lifetime of /mnt/drive (SN:KS0001 Model:Kestrel_S2 Firmware:KF1.2) has decreased faster than "
             "expected (12GB written in the last 1 days).");
   EXPECT_EQ(change().numPastLogs(), 1);
   EXPECT_EQ(change().lastBytesWritten(), 17 * gib + gib / 2);
}

TEST_F(DeviceLifetimeMonitorSmTest, RecordsTheFirstFigureAndNeverLogsTheFirstChange) {
   EXPECT_FALSE(monitor_->deviceLifetimeChange.contains("KS0001"));
   life(90);
   EXPECT_EQ(change().lastValue(), 90);
   EXPECT_FALSE(change().firstDropDetected());
   later(0.001);
   life(10);
   EXPECT_TRUE(change().firstDropDetected());
   EXPECT_TRUE(logs_.messages().empty());
   EXPECT_EQ(traces_.texts(2), (Texts{" Lifetime changed from -1 to 90 for /mnt/drive SN: KS0001",
                                      " Lifetime changed from 90 to 10 for /mnt/drive SN: KS0001",
                                      " Detected first drop since agent start for /mnt/drive SN: KS0001"}));
}

TEST_F(DeviceLifetimeMonitorSmTest, TreatsARiseAsAFirstChangeToo) {
   life(50);
   later(1);
   life(60);
   EXPECT_TRUE(change().firstDropDetected());
   EXPECT_TRUE(logs_.messages().empty());
   later(1);
   life(59);
   EXPECT_EQ(names(), Texts{info});
}

TEST_F(DeviceLifetimeMonitorSmTest, TreatsOnlyMinusOneAsNoFigure) {
   for (std::int64_t const figure : {0, -2, -100}) {
      monitor_->deviceLifetimeChangeDelAll();
      life(figure);
      later(1);
      life(figure - 10);
      EXPECT_TRUE(change().firstDropDetected()) << figure;
   }
   life(-1);
   later(1);
   life(-50);
   EXPECT_TRUE(logs_.messages().empty()) << "as after no figure";
   later(1);
   life(-51);
   EXPECT_EQ(names(), Texts{warning});
}

TEST_F(DeviceLifetimeMonitorSmTest, CountsInFrameworkTimeWhateverTheWallClock) {
   settle();
   wallClockJumpsBy(100 * 365 * day);
   later(1);
   life(89);
   ASSERT_EQ(names(), Texts{info});
   EXPECT_EQ(logs_.messages()[0].arguments[5], "1");
   wallClockJumpsBy(-200 * 365 * day);
   later(31);
   life(88);
   EXPECT_EQ(names(), Texts{info}) << "slow enough";
}

TEST_F(DeviceLifetimeMonitorSmTest, AcceptsOneUnitInThirtyDays) {
   settle();
   later(30);
   life(89);
   EXPECT_TRUE(logs_.messages().empty());
   EXPECT_EQ(traces_.texts(2).back(), "3.85802e-07 Was within threshold for /mnt/drive SN: KS0001");
   later(29.99);
   life(88);
   EXPECT_EQ(names(), Texts{info});
}

TEST_F(DeviceLifetimeMonitorSmTest, MovesItsReferenceAtARiseWithoutLogging) {
   settle();
   written(40 * gib);
   later(1);
   life(95);
   EXPECT_TRUE(logs_.messages().empty());
   EXPECT_EQ(change().lastValue(), 95);
   EXPECT_EQ(change().timestamp(), Vorn::System::currentTime());
   EXPECT_EQ(change().lastBytesWritten(), 40 * gib);
   later(29);
   life(94);
   EXPECT_EQ(names(), Texts{info}) << "counted from the rise";
}

TEST_F(DeviceLifetimeMonitorSmTest, WarnsAtTheFirstMessageBelowThirty) {
   settle();
   later(1);
   life(29);
   EXPECT_EQ(names(), Texts{warning});
}

TEST_F(DeviceLifetimeMonitorSmTest, InformsAtThirty) {
   settle();
   later(1);
   life(30);
   EXPECT_EQ(names(), Texts{info});
}

TEST_F(DeviceLifetimeMonitorSmTest, WarnsAtTheEleventhMessageWhateverTheFigure) {
   settle();
   for (int i = 0; i < 11; ++i) {
      later(1);
      life(89 - i % 2 * 5);
      later(1);
      life(90);
   }
   later(1);
   life(80);
   Texts expected(10, info);
   expected.insert(expected.end(), 2, warning);
   EXPECT_EQ(names(), expected);
}

TEST_F(DeviceLifetimeMonitorSmTest, WrapsTheNumberOfMessages) {
   settle();
   auto const fall = [&] {
      later(1);
      life(89);
      later(1);
      life(90);
   };
   for (int i = 0; i < 255; ++i)
      fall();
   EXPECT_EQ(change().numPastLogs(), 255);
   fall();
   EXPECT_EQ(change().numPastLogs(), 0);
   logs_.clear();
   fall();
   EXPECT_EQ(names(), Texts{info});
}

TEST_F(DeviceLifetimeMonitorSmTest, LogsAMessageBeforeItCountsIt) {
   std::vector<int> counts;
   Vorn::Host::logSinkIs([&](Vorn::Host::LogMessage const &) { counts.push_back(change().numPastLogs()); });
   settle();
   later(1);
   life(89);
   later(1);
   life(88);
   EXPECT_EQ(counts, (std::vector<int>{0, 1}));
}

TEST_F(DeviceLifetimeMonitorSmTest, CountsMoreBytesThanThirtyTwoBitsHold) {
   settle();
   written(5000 * gib);
   later(1);
   life(89);
   ASSERT_EQ(names(), Texts{info});
   EXPECT_EQ(logs_.messages()[0].arguments[4], "5000");
   EXPECT_EQ(change().lastBytesWritten(), 5000 * gib);
}

TEST_F(DeviceLifetimeMonitorSmTest, CountsNothingWrittenWhenTheCounterRestarted) {
   written(40 * gib);
   settle();
   written(gib);
   later(1);
   life(89);
   EXPECT_EQ(logs_.messages()[0].arguments[4], "0");
}

TEST_F(DeviceLifetimeMonitorSmTest, CountsNothingWrittenWithoutAHistory) {
   history_->ioStatDataDel("KS0001");
   settle();
   later(0.5);
   life(89);
   EXPECT_EQ(logs_.messages()[0].arguments[4], "0");
   EXPECT_EQ(logs_.messages()[0].arguments[5], "0.5");
}

TEST_F(DeviceLifetimeMonitorSmTest, CountsNothingWrittenWithAnEmptyHistory) {
   history_->ioStatDataDel("KS0001");
   history_->ioStatDataIs("KS0001");
   settle();
   later(1);
   life(89);
   EXPECT_EQ(change().lastBytesWritten(), 0U);
   ASSERT_EQ(names(), Texts{info});
   EXPECT_EQ(logs_.messages()[0].arguments[4], "0");
}

TEST_F(DeviceLifetimeMonitorSmTest, IgnoresAnEqualFigure) {
   settle();
   later(1);
   monitor_->handleChange("KS0001", 90);
   EXPECT_EQ(change().timestamp(), Vorn::System::currentTime() - day);
}

}  // namespace

}  // namespace StorageDevices
