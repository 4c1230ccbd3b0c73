#include "StorageDevices/SettledStart.h"

#include <gtest/gtest.h>

#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {
namespace {

class SettledStartTest : public Support::VirtualTimeTest {
 protected:
   std::unique_ptr<SettledStart> waiting(Pelm::Ptr<ConnectedDevicesSm> const & watched) {
      return std::make_unique<SettledStart>(watched, [this] { ++starts; });
   }

   // Not started, so that it is the test that says when it is ready.
   Pelm::Ptr<ConnectedDevicesSm> discovery = Pelm::make<ConnectedDevicesSm>(
       Pelm::make<FruConfig>(), Pelm::make<ConnectedDevices>(), Pelm::make<Brul::ChildProcessTrackerSm>());
   int starts = 0;
};

TEST_F(SettledStartTest, StartsOnceWhenTheDevicesAreReadyButNotWithinTheChange) {
   auto const settled = waiting(discovery);
   Vorn::Host::runFor(59);
   EXPECT_EQ(starts, 0);
   discovery->handleInternalDevicesReady();
   ASSERT_TRUE(discovery->internalDevicesReady());
   EXPECT_EQ(starts, 0);
   Vorn::Host::turn();
   EXPECT_EQ(starts, 1);
   Vorn::Host::runFor(600);
   EXPECT_EQ(starts, 1);
}

TEST_F(SettledStartTest, StartsOnceWhenTheDevicesAreReadyAlready) {
   discovery->handleInternalDevicesReady();
   auto const settled = waiting(discovery);
   EXPECT_EQ(starts, 0);
   Vorn::Host::runFor(600);
   EXPECT_EQ(starts, 1);
}

TEST_F(SettledStartTest, StartsOnceAfterAMinute) {
   auto const settled = waiting(discovery);
   auto const begin = Vorn::System::currentTime();
   ASSERT_TRUE(eventually([&] { return starts == 1; }));
   EXPECT_EQ((Vorn::System::currentTime() - begin).value(), SettledStart::patience);
   discovery->handleInternalDevicesReady();
   Vorn::Host::runFor(600);
   EXPECT_EQ(starts, 1);
}

TEST_F(SettledStartTest, WaitsForTheMinuteAloneWithoutDiscovery) {
   auto const settled = waiting(nullptr);
   Vorn::Host::runFor(59);
   EXPECT_EQ(starts, 0);
   Vorn::Host::runFor(2);
   EXPECT_EQ(starts, 1);
}

TEST_F(SettledStartTest, StartsNothingWhenDestroyed) {
   auto settled = waiting(discovery);
   discovery->handleInternalDevicesReady();
   settled.reset();
   Vorn::Host::runFor(600);
   EXPECT_EQ(starts, 0);
}

}  // namespace
}  // namespace StorageDevices
