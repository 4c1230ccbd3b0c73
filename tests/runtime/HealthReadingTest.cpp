#include "runtime/model/HealthReading.h"

#include <gtest/gtest.h>

#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {
namespace {

class HealthReadingTest : public Support::VirtualTimeTest {
 protected:
   static Vorn::Seconds now() { return Vorn::System::currentTime(); }

   HealthReading reading{"smartctl"};
};

TEST_F(HealthReadingTest, KnowsNothingBeforeTheFirstReading) {
   EXPECT_EQ(reading.count(), 0U);
   EXPECT_EQ(reading.time(), 0);
   EXPECT_FALSE(reading.ended());
   EXPECT_FALSE(reading.failure());
}

TEST_F(HealthReadingTest, KeepsTheTimeOfTheLatestGoodOneThroughFailures) {
   reading.countInc();
   Vorn::Seconds const good = now();
   time->jumpBy(60);
   reading.failureIs("it sleeps");
   EXPECT_EQ(reading.count(), 1U);
   EXPECT_EQ(reading.time(), good);
   EXPECT_EQ(reading.ended(), now()) << "the failed one has ended";
}

TEST_F(HealthReadingTest, CountsFailuresInARowFromTheFirstAndNamesTheLatest) {
   Vorn::Seconds const first = now();
   reading.failureIs("it sleeps", true);
   EXPECT_TRUE(reading.failure()->hangs);
   time->jumpBy(60);
   reading.failureIs("it fails");
   EXPECT_EQ(reading.failure()->since, first);
   EXPECT_EQ(reading.failure()->reason, "it fails");
   EXPECT_EQ(reading.failure()->polls, 2U);
   EXPECT_FALSE(reading.failure()->hangs);
}

TEST_F(HealthReadingTest, EndsAFailureWithAGoodOne) {
   reading.failureIs("it sleeps");
   time->jumpBy(60);
   reading.countInc();
   EXPECT_FALSE(reading.failure());
   time->jumpBy(60);
   reading.failureIs("it fails");
   EXPECT_EQ(reading.failure()->since, now());
   EXPECT_EQ(reading.failure()->polls, 1U);
}

TEST_F(HealthReadingTest, DatesAGoodOneByItsOwnTime) {
   reading.countInc(now() - 5);
   EXPECT_EQ(reading.time(), now() - 5);
   EXPECT_EQ(reading.ended(), now() - 5);
}

}  // namespace
}  // namespace StorageDevices
