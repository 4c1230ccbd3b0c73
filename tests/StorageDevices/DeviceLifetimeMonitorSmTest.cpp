#include "StorageDevices/DeviceLifetimeMonitorSm.h"

#include <gtest/gtest.h>

#include <functional>

#include "StorageDevices/Factories.h"
#include "tests/support/DiskFields.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/Units.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

namespace {

using Texts = std::vector<std::string>;

constexpr char const * info = "STORAGEDEVICE_LIFETIME_INFO";
constexpr char const * warning = "STORAGEDEVICE_LIFETIME_WARNING";

class DeviceLifetimeMonitorSmTest : public Support::VirtualTimeTest {
 protected:
   DeviceLifetimeMonitorSmTest() {
      disk_.writeTo(*devices_);
      smart_->deviceDataIs("KS0001");
      nvme_->deviceDataIs("KS0001");
      history_->ioStatDataIs("KS0001");
      written(0);
      monitor_ = deviceLifetimeMonitorSmFactory(devices_, emmc_, nvme_, smart_, history_);
   }

   // The SMART figure becomes that; its normalised value is another one.
   void life(std::int64_t raw) const {
      SmartAttr attr;
      attr.id = 202;
      attr.name = "Percent_Lifetime_Remain";
      attr.raw = raw;
      attr.value = 7;
      attr.reportedValue = 7;
      smart_->deviceData("KS0001")->lifetimeRemainingIs(OptionalSmartAttr::from(attr));
   }
   // The NVMe figure, percent left.
   void left(std::int64_t percent) const {
      nvme_->deviceData("KS0001")->percentageUsedIs({"percent_used", 100 - percent});
   }
   void written(std::uint64_t bytes) const {
      history_->ioStatData("KS0001")->recordMeasurement(Vorn::System::currentTime(), 1, bytes);
   }
   void later(double days) const { time->jumpBy(days * day); }
   // As after the first reading and the first change: the figure is 90 and its time known.
   void settle() const {
      life(91);
      later(1);
      life(90);
   }
   Texts names() const {
      Texts result;
      for (auto const & message : logs_.messages())
         result.push_back(message.name);
      return result;
   }
   DeviceLifetimeChange const & change() const { return *monitor_->deviceLifetimeChange("KS0001"); }

   Support::DiskFields disk_;
   Support::LogRecorder logs_;
   Support::TraceRecorder traces_{{"StorageDeviceLifetimeMonitorSm", 7}};
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   Pelm::Ptr<EmmcData> emmc_ = Pelm::make<EmmcData>();
   Pelm::Ptr<NvmeData> nvme_ = Pelm::make<NvmeData>();
   Pelm::Ptr<SmartData> smart_ = Pelm::make<SmartData>();
   Pelm::Ptr<IOStatData> history_ = Pelm::make<IOStatData>();
   Pelm::Ptr<DeviceLifetimeMonitorSm> monitor_;
};

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

TEST_F(DeviceLifetimeMonitorSmTest, IgnoresAChangeOfAnEmmcRecord) {
   emmc_->deviceDataIs("KS0001");
   emmc_->deviceData("KS0001")->lifetimeEstTypAIs(LifetimeEmmcAttr{1});
   emmc_->deviceData("KS0001")->lifetimeEstTypAIs(LifetimeEmmcAttr{5});
   emmc_->deviceData("KS0001")->lifetimeEstTypBIs(LifetimeEmmcAttr{6});
   emmc_->deviceDataDel("KS0001");
   EXPECT_TRUE(monitor_->deviceLifetimeChange.empty());
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

TEST_F(DeviceLifetimeMonitorSmTest, IgnoresAFigureThatGoesAndCountsItsReturnAsAChange) {
   settle();
   smart_->deviceData("KS0001")->lifetimeRemainingIs({});
   EXPECT_EQ(change().lastValue(), 90);
   later(1);
   life(80);
   EXPECT_EQ(names(), Texts{info});
}

TEST_F(DeviceLifetimeMonitorSmTest, CountsTheRemainderOfAnNvmeDrive) {
   left(91);
   later(1);
   left(90);
   later(1);
   left(89);
   EXPECT_EQ(names(), Texts{info});
   EXPECT_EQ(change().lastValue(), 89);
   left(-150);
   EXPECT_EQ(change().lastValue(), 0) << "a drive may outlive its rating";
   nvme_->deviceData("KS0001")->percentageUsedIs({"percent_used", INT64_MIN});
   EXPECT_GT(change().lastValue(), 100);
}

TEST_F(DeviceLifetimeMonitorSmTest, ReadsEmmcDevicesOnDemand) {
   monitor_->handleEmmcData("KS0001", LifetimeEmmcAttr{}, LifetimeEmmcAttr{1});
   EXPECT_EQ(change().lastValue(), 100);
   later(1);
   monitor_->handleEmmcData("KS0001", LifetimeEmmcAttr{1}, LifetimeEmmcAttr{2});
   later(1);
   monitor_->handleEmmcData("KS0001", {}, LifetimeEmmcAttr{3});
   monitor_->handleEmmcData("KS0001", LifetimeEmmcAttr{2}, LifetimeEmmcAttr{});
   EXPECT_EQ(change().lastValue(), 90);
   monitor_->handleEmmcData("KS0001", LifetimeEmmcAttr{2}, LifetimeEmmcAttr{3});
   EXPECT_EQ(names(), Texts{info});
   EXPECT_EQ(change().lastValue(), 80);
}

TEST_F(DeviceLifetimeMonitorSmTest, IgnoresAChangeWithoutAnOldValue) {
   monitor_->handleSmartData("KS0001", {}, OptionalSmartAttr::from({}));
   monitor_->handleNvmeData("KS0001", {}, NvmeAttr{"percent_used", 3});
   EXPECT_FALSE(monitor_->deviceLifetimeChange.contains("KS0001"));
}

TEST_F(DeviceLifetimeMonitorSmTest, WatchesRecordsThatComeLaterAndReleasesThoseThatGo) {
   Support::DiskFields{.name = "KS0002"}.writeTo(*devices_);
   smart_->deviceDataIs("KS0002");
   Pelm::Ptr<DeviceSmartData> const record = smart_->deviceData("KS0002");
   SmartAttr attr;
   attr.raw = 50;
   record->lifetimeRemainingIs(OptionalSmartAttr::from(attr));
   EXPECT_EQ(monitor_->deviceLifetimeChange("KS0002")->lastValue(), 50);
   smart_->deviceDataDel("KS0002");
   attr.raw = 40;
   record->lifetimeRemainingIs(OptionalSmartAttr::from(attr));
   EXPECT_EQ(monitor_->deviceLifetimeChange("KS0002")->lastValue(), 50);
}

TEST_F(DeviceLifetimeMonitorSmTest, IgnoresADiskThatChanges) {
   settle();
   disk_.firmwareRevision = "KF1.3";
   disk_.writeTo(*devices_);
   later(1);
   life(89);
   ASSERT_EQ(names(), Texts{info});
   EXPECT_EQ(logs_.messages()[0].arguments[3], "KF1.3");
}

TEST_F(DeviceLifetimeMonitorSmTest, FollowsNvmeRecordsThatComeAndGo) {
   Support::DiskFields{.name = "KS0002"}.writeTo(*devices_);
   nvme_->deviceDataIs("KS0002");
   Pelm::Ptr<DeviceNvmeData> const record = nvme_->deviceData("KS0002");
   record->percentageUsedIs({"percent_used", 50});
   EXPECT_EQ(monitor_->deviceLifetimeChange("KS0002")->lastValue(), 50);
   nvme_->deviceDataDel("KS0002");
   record->percentageUsedIs({"percent_used", 60});
   EXPECT_EQ(monitor_->deviceLifetimeChange("KS0002")->lastValue(), 50);
}

TEST_F(DeviceLifetimeMonitorSmTest, ForgetsADiskThatGoes) {
   settle();
   devices_->diskDel("KS0001");
   EXPECT_TRUE(monitor_->deviceLifetimeChange.empty());
   disk_.writeTo(*devices_);
   life(90);
   later(1);
   life(80);
   EXPECT_TRUE(logs_.messages().empty()) << "the first change of what came back";
}

TEST_F(DeviceLifetimeMonitorSmTest, NamesADiskThatIsNotConnectedByItsSerialAlone) {
   devices_->diskDel("KS0001");
   settle();
   later(1);
   life(89);
   ASSERT_EQ(names(), Texts{info});
   EXPECT_EQ(logs_.messages()[0].arguments, (Texts{"", "KS0001", "", "", "0", "1"}));
}

TEST_F(DeviceLifetimeMonitorSmTest, IgnoresEventsAsAZombie) {
   settle();
   monitor_->vornDoZombieReactors(true);
   later(1);
   life(50);
   left(40);
   devices_->diskDel("KS0001");
   EXPECT_EQ(change().lastValue(), 90);
}

// Lets go of the monitor when it makes the record of a disk, then has more to say of it.
struct LifetimeDropper {
   void handleChange() {
      change = (*monitor)->deviceLifetimeChange("KS0001");
      reactor.notifierIs(nullptr);
      *monitor = nullptr;
      then();
   }
   Pelm::Ptr<DeviceLifetimeMonitorSm> * monitor;
   std::function<void()> then;
   Pelm::Ptr<DeviceLifetimeChange> change;
   Vorn::NotifieeConst reactor;
};

TEST_F(DeviceLifetimeMonitorSmTest, IgnoresFurtherChangesWhenDroppedWithinItsOwn) {
   LifetimeDropper dropper{&monitor_,
                           [&] {
                              life(70);
                              left(60);
                              devices_->diskDel("KS0001");
                           },
                           {},
                           {}};
   dropper.reactor.notifierIs(monitor_);
   dropper.reactor.on<&LifetimeDropper::handleChange>(monitor_->deviceLifetimeChange, dropper);
   dropper.reactor.hasNotificationActiveIs(true);
   monitor_->handleChange("KS0001", 80);
   EXPECT_FALSE(monitor_);
   EXPECT_EQ(dropper.change->lastValue(), 80);
   life(50);
   EXPECT_EQ(dropper.change->lastValue(), 80);
}

TEST_F(DeviceLifetimeMonitorSmTest, WatchesNoFurtherRecordsAsAZombie) {
   monitor_->vornDoZombieReactors(true);
   smart_->deviceDataDel("KS0001");
   nvme_->deviceDataDel("KS0001");
   smart_->deviceDataIs("KS0001");
   nvme_->deviceDataIs("KS0001");
   life(91);
   left(90);
   EXPECT_TRUE(monitor_->deviceLifetimeChange.empty());
}

}  // namespace

}  // namespace StorageDevices
