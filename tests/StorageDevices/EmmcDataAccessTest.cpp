#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "NaiveHealth.h"
#include "StorageDevices/EmmcDataMonitorSm.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"

namespace StorageDevices {
namespace {

using NaiveHealth::Registers;

class EmmcDataAccessTest : public testing::Test {
 protected:
   std::string unopened(std::string const & name) const {
      return "bool StorageDevices::EmmcDataAccess::safeOpenFilestream(std::ifstream&, std::string)"
             " Could not open " +
             folder.string() + "/" + name;
   }
   bool read() { return EmmcDataAccess::getEmmcAttrs(folder.string(), *record); }
   bool read(std::string const & lifeTime, std::string const & preEolInfo) {
      folder.write("life_time", lifeTime);
      folder.write("pre_eol_info", preEolInfo);
      return read();
   }
   // The values of the device's record: none before the first good reading.
   std::optional<Registers> stored() const { return NaiveHealth::registersOf(*record); }

   Support::TempDir folder;
   Support::TraceRecorder traces{{"StorageEmmcDataMonitorSm", 9}};
   Pelm::Ptr<DeviceEmmcData> const record = Pelm::make<DeviceEmmcData>("SN1");
};

TEST_F(EmmcDataAccessTest, ReadsBothFiles) {
   EXPECT_TRUE(read("0x01 0x02\n", "0x01\n"));
   EXPECT_EQ(stored(), (Registers{1, 2, 1}));
   EXPECT_TRUE(record->lifetimeEstTypA().present());
   EXPECT_TRUE(record->lifetimeEstTypB().present());
   EXPECT_TRUE(record->preEolInfo().present());
   EXPECT_TRUE(traces.lines().empty());
}

TEST_F(EmmcDataAccessTest, ReadsHexadecimalNumbersWithAndWithoutTheirPrefix) {
   EXPECT_TRUE(read("01 0b", "02"));
   EXPECT_EQ(stored(), (Registers{1, 11, 2}));
   EXPECT_TRUE(read("0X0A\t0xFF\n", "ff"));
   EXPECT_EQ(stored(), (Registers{10, 255, 255}));
   EXPECT_TRUE(read("10\n11", "0"));
   EXPECT_EQ(stored(), (Registers{16, 17, 0}));
   EXPECT_TRUE(read("\n  0x0000000000000003 3 trailing", "7 8"));
   EXPECT_EQ(stored(), (Registers{3, 3, 7}));
}

// A number, not the character with that code.
TEST_F(EmmcDataAccessTest, ReadsASingleDigit) {
   EXPECT_TRUE(read("1 2", "3"));
   EXPECT_EQ(stored(), (Registers{1, 2, 3}));
}

TEST_F(EmmcDataAccessTest, StoresNothingFromAnUnreadableText) {
   for (auto const * lifeTime : {"", "\n", "0x01", "0x01\n", "x 0x01", "0x01,0x02", "0x100 0x01",
                                 "0x01 0x100", "0x01 -1", "0x1ffffffff 0x01", "0x", "zz zz"}) {
      EXPECT_FALSE(read(lifeTime, "0x01")) << lifeTime;
      EXPECT_FALSE(stored()) << lifeTime;
   }
   for (auto const * preEolInfo : {"", " ", "0x", "0x100", "100", "-1", "g", "0x100000001"}) {
      EXPECT_FALSE(read("0x01 0x02", preEolInfo)) << preEolInfo;
      EXPECT_FALSE(stored()) << preEolInfo;
   }
   EXPECT_EQ(record->reading.count(), 0U);
   // The caller traces that; both files were opened.
   EXPECT_TRUE(traces.lines().empty());
}

TEST_F(EmmcDataAccessTest, KeepsTheRecordWithoutPreEolInfo) {
   ASSERT_TRUE(read("0x01 0x02", "0x01"));
   folder.write("life_time", "0x05 0x06");
   std::filesystem::remove(folder.path() / "pre_eol_info");
   EXPECT_FALSE(read());
   EXPECT_EQ(stored(), (Registers{1, 2, 1}));
   EXPECT_EQ(traces.errors(), std::vector<std::string>{unopened("pre_eol_info")});
}

TEST_F(EmmcDataAccessTest, KeepsTheRecordWithoutLifeTime) {
   ASSERT_TRUE(read("0x01 0x02", "0x01"));
   folder.write("pre_eol_info", "0x03");
   std::filesystem::remove(folder.path() / "life_time");
   EXPECT_FALSE(read());
   EXPECT_EQ(stored(), (Registers{1, 2, 1}));
   EXPECT_EQ(traces.errors(), std::vector<std::string>{unopened("life_time")});
}

TEST_F(EmmcDataAccessTest, TracesBothMissingFiles) {
   EXPECT_FALSE(read());
   EXPECT_FALSE(stored());
   EXPECT_EQ(traces.errors(), (std::vector<std::string>{unopened("life_time"), unopened("pre_eol_info")}));
}

TEST_F(EmmcDataAccessTest, StoresNothingFromAFolderInTheFilesPlace) {
   folder.write("life_time", "0x01 0x02");
   std::filesystem::create_directory(folder.path() / "pre_eol_info");
   EXPECT_FALSE(read());
   EXPECT_FALSE(stored());
}

TEST_F(EmmcDataAccessTest, StoresPreEolInfoFirstAndNotifiesOfChangesAlone) {
   class Order {
    public:
      explicit Order(DeviceEmmcData const & data) {
         reactor_.notifierIs(Pelm::Ptr<Pelm::Node const>{&data});
         reactor_.on<&Order::handleA>(data.lifetimeEstTypA, *this);
         reactor_.on<&Order::handleB>(data.lifetimeEstTypB, *this);
         reactor_.on<&Order::handlePreEol>(data.preEolInfo, *this);
         reactor_.hasNotificationActiveIs(true);
      }
      std::string notified;

    private:
      void handleA() { notified += 'A'; }
      void handleB() { notified += 'B'; }
      void handlePreEol() { notified += 'P'; }
      Vorn::NotifieeConst reactor_;
   };
   Order order(*record);
   ASSERT_TRUE(read("0x01 0x02", "0x01"));
   EXPECT_EQ(order.notified, "PAB");
   ASSERT_TRUE(read("0x01 0x03", "0x01"));
   EXPECT_EQ(order.notified, "PABB");
}

TEST_F(EmmcDataAccessTest, CountsGoodReadings) {
   EXPECT_TRUE(read("0x01 0x02", "0x01"));
   EXPECT_TRUE(read("0x01 0x02", "0x01"));
   EXPECT_FALSE(read("0x01", "0x01"));
   EXPECT_EQ(record->reading.count(), 2U);
}

TEST_F(EmmcDataAccessTest, OpensTheFileOrTraces) {
   folder.write("here", "text");
   std::ifstream here;
   EXPECT_TRUE(EmmcDataAccess::safeOpenFilestream(here, folder.string() + "/here"));
   EXPECT_EQ(here.get(), 't');
   std::ifstream gone;
   EXPECT_FALSE(EmmcDataAccess::safeOpenFilestream(gone, folder.string() + "/gone"));
   EXPECT_EQ(traces.errors(), std::vector<std::string>{unopened("gone")});
}

TEST(LifetimeEmmcAttrTest, AnswersThePercentThatIsLeft) {
   EXPECT_EQ(LifetimeEmmcAttr().percentValue(), -1);
   int const expected[] = {-1, 100, 90, 80, 70, 60, 50, 40, 30, 20, 10, 0};
   for (unsigned raw = 0; raw < 256; ++raw)
      EXPECT_EQ(LifetimeEmmcAttr(static_cast<std::uint8_t>(raw)).percentValue(),
                raw < std::size(expected) ? expected[raw] : -1)
          << raw;
}

TEST(EmmcAttrTest, DistinguishesAnUnreadValueFromZero) {
   EXPECT_FALSE(PreEolEmmcAttr().present());
   EXPECT_TRUE(PreEolEmmcAttr(0).present());
   EXPECT_NE(PreEolEmmcAttr(), PreEolEmmcAttr(0));
   EXPECT_EQ(PreEolEmmcAttr(3).raw(), 3);
}

TEST(EmmcDataTest, KeepsRecordsUntilTheyAreDeleted) {
   auto const all = Pelm::make<EmmcData>();
   all->deviceDataIs("SN1");
   auto const first = all->deviceData("SN1");
   ASSERT_TRUE(first);
   EXPECT_EQ(first->name(), "SN1");
   all->deviceDataIs("SN1");
   EXPECT_EQ(all->deviceData("SN1"), first);
   all->deviceDataDel("SN1");
   EXPECT_FALSE(all->deviceData("SN1"));
}

}  // namespace
}  // namespace StorageDevices
