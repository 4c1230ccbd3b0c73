#include "StorageDevices/EmmcDataMonitorSm.h"

#include <gtest/gtest.h>

#include "StorageDevices/Factories.h"
#include "tests/support/DiskFields.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

namespace {

using Texts = std::vector<std::string>;

constexpr unsigned char emmcBus = ConnectedDisk::BusType::other;
constexpr char opener[] =
    "bool StorageDevices::EmmcDataAccess::safeOpenFilestream(std::ifstream&, std::string)";
constexpr char updater[] = "virtual void StorageDevices::EmmcDataMonitorSm::updateDevice(const String&)";

class EmmcDataMonitorSmTest : public Support::VirtualTimeTest {
 protected:
   EmmcDataMonitorSmTest() { std::filesystem::create_directory(folder_.path() / "mmcblk0"); }

   void registersAre(char const * lifeTime, char const * preEolInfo) const {
      folder_.write("mmcblk0/life_time", lifeTime);
      folder_.write("mmcblk0/pre_eol_info", preEolInfo);
   }
   void plug(std::string const & serial, unsigned char busType = emmcBus, bool removable = false) const {
      Support::DiskFields{
          .name = serial, .blockDevice = "/dev/mmcblk0", .removable = removable, .busType = busType}
          .writeTo(*devices_);
   }
   void start() {
      monitor_ = emmcDataMonitorSmFactory(interval_, devices_, data_);
      monitor_->emmcBaseDirIs(folder_.string() + "/%s");
   }
   // Type A, type B and pre-EOL; -1 where nothing was read.
   std::vector<int> values(char const * serial) const {
      auto const shown = [](EmmcAttr attr) { return attr.present() ? attr.raw() : -1; };
      Pelm::Ptr<DeviceEmmcData> const record = data_->deviceData(serial);
      if (!record)
         return {};
      return {shown(record->lifetimeEstTypA()), shown(record->lifetimeEstTypB()),
              shown(record->preEolInfo())};
   }

   Support::TempDir folder_;
   Support::TraceRecorder traces_{{"StorageEmmcDataMonitorSm", 7}};
   Pelm::Ptr<PollInterval> interval_ = Pelm::make<PollInterval>();
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   Pelm::Ptr<EmmcData> data_ = Pelm::make<EmmcData>();
   Pelm::Ptr<EmmcDataMonitorSm> monitor_;
};

TEST_F(EmmcDataMonitorSmTest, ReadsTheThreeRegistersAtEveryPoll) {
   registersAre("0x01 0x02\n", "0x01\n");
   plug("E1");
   start();
   EXPECT_EQ(values("E1"), (std::vector<int>{-1, -1, -1})) << "before the first poll";
   Vorn::Host::turn();
   EXPECT_EQ(values("E1"), (std::vector<int>{1, 2, 1}));
   registersAre("0x03 0b\n", "02\n");
   Vorn::Host::runFor(61);
   EXPECT_EQ(values("E1"), (std::vector<int>{3, 11, 2}));
   EXPECT_EQ(data_->deviceData("E1")->reading.count(), 2U);
   EXPECT_TRUE(traces_.errors().empty());
}

TEST_F(EmmcDataMonitorSmTest, KeepsAllThreeValuesWhenAFileIsMissing) {
   registersAre("0x01 0x02\n", "0x01\n");
   plug("E1");
   start();
   Vorn::Host::turn();
   registersAre("0x05 0x06\n", "");
   std::filesystem::remove(folder_.path() / "mmcblk0/pre_eol_info");
   Vorn::Host::runFor(61);
   EXPECT_EQ(values("E1"), (std::vector<int>{1, 2, 1}));
   auto const & reading = data_->deviceData("E1")->reading;
   EXPECT_EQ(reading.count(), 1U);
   ASSERT_TRUE(reading.failure());
   EXPECT_EQ(reading.failure()->reason, "the registers life_time and pre_eol_info cannot be read");
   EXPECT_EQ(traces_.errors(),
             (Texts{std::string{opener} + " Could not open " + folder_.string() + "/mmcblk0/pre_eol_info",
                    std::string{updater} + " Error while parsing data for E1"}));
}

TEST_F(EmmcDataMonitorSmTest, RecordsSinceWhenAndHowOftenReadingsFail) {
   registersAre("0x01 0x02\n", "0x01\n");
   plug("E1");
   start();
   Vorn::Host::turn();
   auto const & reading = data_->deviceData("E1")->reading;
   EXPECT_STREQ(reading.source(), "emmc");
   Vorn::Seconds const good = reading.time();
   registersAre("rubbish", "0x01\n");
   Vorn::Host::runFor(121);
   EXPECT_EQ(reading.time(), good);
   ASSERT_TRUE(reading.failure());
   EXPECT_EQ(reading.failure()->since, good + 60);
   EXPECT_EQ(reading.failure()->polls, 2U);
   registersAre("0x01 0x02\n", "0x01\n");
   Vorn::Host::runFor(60);
   EXPECT_FALSE(reading.failure());
}

TEST_F(EmmcDataMonitorSmTest, ReadsOneFileWhenTheOtherCannotBeOpened) {
   plug("E1");
   start();
   Vorn::Host::turn();
   EXPECT_EQ(traces_.errors(),
             (Texts{std::string{opener} + " Could not open " + folder_.string() + "/mmcblk0/life_time",
                    std::string{opener} + " Could not open " + folder_.string() + "/mmcblk0/pre_eol_info",
                    std::string{updater} + " Error while parsing data for E1"}));
   EXPECT_EQ(values("E1"), (std::vector<int>{-1, -1, -1}));
}

TEST_F(EmmcDataMonitorSmTest, WatchesOnlyDisksOfNoKnownBus) {
   registersAre("0x01 0x02\n", "0x01\n");
   for (unsigned char const bus : {0, 1, 2})
      plug("disk" + std::to_string(bus), bus);
   plug("E1");
   start();
   EXPECT_EQ(data_->deviceData.size(), 1U);
   EXPECT_TRUE(data_->deviceData.contains("E1"));
}

TEST_F(EmmcDataMonitorSmTest, KeepsButDoesNotReadARecordWhoseDiskMovedToAnotherBus) {
   registersAre("0x01 0x02\n", "0x01\n");
   plug("E1");
   start();
   Vorn::Host::turn();
   registersAre("0x05 0x06\n", "0x02\n");
   plug("E1", ConnectedDisk::BusType::nvme);
   Vorn::Host::runFor(121);
   EXPECT_EQ(values("E1"), (std::vector<int>{1, 2, 1}));
   EXPECT_EQ(data_->deviceData("E1")->reading.count(), 1U);
   plug("E1");
   Vorn::Host::runFor(61);
   EXPECT_EQ(values("E1"), (std::vector<int>{5, 6, 2}));
}

TEST_F(EmmcDataMonitorSmTest, DropsADeviceThatGoesAndRecordsOfAnEarlierRun) {
   data_->deviceDataIs("gone");
   plug("E1");
   start();
   EXPECT_FALSE(data_->deviceData.contains("gone"));
   devices_->diskDel("E1");
   EXPECT_TRUE(data_->deviceData.empty());
}

TEST_F(EmmcDataMonitorSmTest, ReadsARemovableDeviceAsSoonAsItAppears) {
   registersAre("0x01 0x02\n", "0x01\n");
   start();
   plug("removable", emmcBus, true);
   EXPECT_EQ(values("removable"), (std::vector<int>{1, 2, 1}));
}

TEST_F(EmmcDataMonitorSmTest, ReadsSysfsByDefault) {
   plug("E1");
   monitor_ = emmcDataMonitorSmFactory(interval_, devices_, data_);
   EXPECT_EQ(monitor_->emmcBaseDir(), "/sys/block/%s/device");
}

TEST_F(EmmcDataMonitorSmTest, DoesNotReadARecordWhoseDiskIsGone) {
   start();
   data_->deviceDataIs("stranger");
   Vorn::Host::runFor(61);
   EXPECT_TRUE(traces_.errors().empty());
   EXPECT_EQ(values("stranger"), (std::vector<int>{-1, -1, -1}));
}

}  // namespace

}  // namespace StorageDevices
