#include "agent/history/History.h"

#include <cmath>
#include <string>

#include "tests/support/UnitOfRecords.h"

namespace Agent {
namespace {

class HistoryTest : public Support::UnitOfRecords {
 protected:
   HistoryTest() { diskIs(BusType::nvme); }

   // Reads the drive at each poll, for that long.
   void drivesAreRead(Vorn::Seconds span) const {
      for (Vorn::Seconds rest = span; rest > 0; rest -= interval()) {
         nvme().temperatureCelsiusIs({"temperature", 37});
         nvme().reading.countInc();
         Vorn::Host::runFor(interval());
      }
   }
   Vorn::Seconds interval() const { return entities.pollInterval->interval(); }
   HistoryRows const & rows() const { return history.disk(serial)->fine(); }
   void otherDiskIs(std::string const & name) const {
      Support::DiskFields{.name = name, .mountPoint = "", .busType = BusType::nvme}.writeTo(
          *entities.devices);
      entities.smart->deviceDataIs(name);
      entities.nvme->deviceDataIs(name);
      entities.nvme->deviceData(name)->temperatureCelsiusIs({"temperature", 27});
      entities.nvme->deviceData(name)->reading.countInc();
   }

   History history{entities, 86400};
};

TEST_F(HistoryTest, AddsARowSecondsAfterEachPoll) {
   EXPECT_EQ(history.disk(serial), nullptr);
   Vorn::Seconds const began = Vorn::System::currentTime();
   drivesAreRead(180);
   ASSERT_EQ(rows().size(), 3U);
   EXPECT_EQ(rows().front().time, began + 5);
   EXPECT_EQ(rows().back().time, began + 125);
   EXPECT_FLOAT_EQ(rows().back().temperature, 37);
}

TEST_F(HistoryTest, FollowsTheInterval) {
   drivesAreRead(60);
   entities.pollInterval->intervalIs(2);
   Vorn::Seconds const changed = Vorn::System::currentTime();
   drivesAreRead(40);
   EXPECT_EQ(rows().row(rows().first() + 1)->time, changed + 1);
   EXPECT_EQ(rows().size(), 4U) << "rows 17.3 seconds apart";
}

TEST_F(HistoryTest, LeavesAGapWhereNothingWasRead) {
   drivesAreRead(120);
   readingFails("nvme");
   Vorn::Host::runFor(600);
   drivesAreRead(120);
   ASSERT_EQ(rows().size(), 5U);
   EXPECT_TRUE(rows().row(rows().first() + 2)->isEmpty());
}

TEST_F(HistoryTest, KeepsTheHistoryOfADiskThatGoes) {
   drivesAreRead(120);
   diskGoes();
   Vorn::Host::runFor(3600);
   ASSERT_NE(history.disk(serial), nullptr);
   EXPECT_EQ(rows().size(), 2U);
   diskIs(BusType::nvme);
   drivesAreRead(60);
   EXPECT_EQ(rows().size(), 4U);
   EXPECT_FLOAT_EQ(rows().back().temperature, 37);
}

TEST_F(HistoryTest, ForgetsADiskThatIsGoneForTheWholeSpan) {
   drivesAreRead(120);
   diskGoes();
   Vorn::Host::runFor(86000);
   EXPECT_NE(history.disk(serial), nullptr);
   Vorn::Host::runFor(600);
   EXPECT_EQ(history.disk(serial), nullptr);
}

TEST_F(HistoryTest, ForgetsGoneDisksWhenAsked) {
   otherDiskIs("B");
   drivesAreRead(60);
   diskGoes();
   history.forgetGone();
   EXPECT_EQ(history.disk(serial), nullptr);
   EXPECT_NE(history.disk("B"), nullptr);
}

TEST_F(HistoryTest, ForgetsTheLongestGoneOfTooMany) {
   drivesAreRead(60);
   diskGoes();
   for (std::size_t i = 0; i < History::mostGone; ++i)
      otherDiskIs("B" + std::to_string(i));
   Vorn::Host::runFor(60);
   entities.devices->diskDelAll();
   Vorn::Host::runFor(60);
   EXPECT_EQ(history.disk(serial), nullptr);
   EXPECT_NE(history.disk("B0"), nullptr);
   EXPECT_EQ(history.disks().size(), History::mostGone);
}

TEST_F(HistoryTest, KeepsNothingWhereNoneIsWanted) {
   History const none{entities, 0};
   drivesAreRead(180);
   EXPECT_TRUE(none.disks().empty());
   EXPECT_FALSE(history.disks().empty());
}

TEST_F(HistoryTest, ContinuesAHistoryThatWasKeptBefore) {
   history.diskIs(serial).fine().restore({Vorn::System::currentTime() - 3000, 30});
   drivesAreRead(60);
   ASSERT_EQ(rows().size(), 3U);
   EXPECT_FLOAT_EQ(rows().front().temperature, 30);
   EXPECT_TRUE(rows().row(rows().first() + 1)->isEmpty());
}

}  // namespace
}  // namespace Agent
