#include "StorageDevices/MountPtMonitorManagerSm.h"

#include <gtest/gtest.h>

#include "StorageDevices/Factories.h"
#include "tests/StorageDevices/FakeMounts.h"
#include "tests/support/DiskFields.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

namespace {

using Texts = std::vector<std::string>;

class MountPtMonitorManagerSmTest : public Support::VirtualTimeTest {
 protected:
   MountPtMonitorManagerSmTest() {
      MountPtMonitorHelper::creatorIs([this] {
         helpers_.push_back(Pelm::make<FakeMounts>());
         return helpers_.back();
      });
   }
   ~MountPtMonitorManagerSmTest() override { MountPtMonitorHelper::creatorIs(nullptr); }

   void plug(std::string const & serial, std::string const & mountPoint, bool removable = false) const {
      Support::DiskFields{.name = serial, .mountPoint = mountPoint, .removable = removable}.writeTo(
          *devices_);
   }
   Texts watched() {
      manager_ = mountPtMonitorManagerSmFactory(devices_);
      Texts result;
      for (auto const & [mountPt, monitor] : manager_->mountPtMonitorSm)
         result.push_back(mountPt.str());
      return result;
   }

   Support::TraceRecorder traces_{{"StorageDevicesMountPtMonitorManagerSm", 7}};
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   std::vector<Pelm::Ptr<FakeMounts>> helpers_;
   Pelm::Ptr<MountPtMonitorManagerSm> manager_;
};

TEST_F(MountPtMonitorManagerSmTest, WatchesEachFixedDiskWithAHelperOfItsOwn) {
   plug("A", "/mnt/flash");
   plug("B", "/mnt/drive");
   plug("stick", "/mnt/usb1", true);
   EXPECT_EQ(watched(), (Texts{"/mnt/flash", "/mnt/drive"}));
   EXPECT_EQ(helpers_.size(), 2U);
   EXPECT_EQ(traces_.texts(2), (Texts{"Instantiating state machine for /mnt/flash",
                                      "Instantiating state machine for /mnt/drive"}));
   EXPECT_TRUE(traces_.errors().empty());
}

TEST_F(MountPtMonitorManagerSmTest, WatchesEachMountPointOnce) {
   plug("A", "/mnt/flash");
   plug("B", "/mnt/flash");
   EXPECT_EQ(watched(), Texts{"/mnt/flash"});
   EXPECT_EQ(traces_.texts(1), Texts{"Already have a monitoring SM for /mnt/flash, skipping"});
}

TEST_F(MountPtMonitorManagerSmTest, UsesOneHelperPerName) {
   plug("A", "/mnt/flash");
   plug("B", "/mnt/flash");
   watched();
   EXPECT_EQ(helpers_.size(), 1U);
   EXPECT_TRUE(traces_.errors().empty());
}

TEST_F(MountPtMonitorManagerSmTest, WatchesAMountPointWithoutAName) {
   plug("A", "");
   EXPECT_EQ(watched(), Texts{""});
}

TEST_F(MountPtMonitorManagerSmTest, TracesAMissingMainFlash) {
   EXPECT_EQ(watched(), Texts{});
   EXPECT_EQ(traces_.errors(), Texts{"No monitoring state machine instantiated for /mnt/flash"});
}

TEST_F(MountPtMonitorManagerSmTest, TracesAMissingMainFlashBesideOtherMountPoints) {
   plug("A", "/mnt/drive");
   watched();
   EXPECT_EQ(traces_.errors(), Texts{"No monitoring state machine instantiated for /mnt/flash"});
}

TEST_F(MountPtMonitorManagerSmTest, DecidesOnTheMountPointsOnce) {
   plug("A", "/mnt/flash");
   watched();
   plug("B", "/mnt/drive");
   devices_->diskDel("A");
   Vorn::Host::runFor(10);
   EXPECT_EQ(manager_->mountPtMonitorSm.size(), 1U);
   manager_->mountPtMonitorSmDel("/mnt/flash");
   EXPECT_TRUE(manager_->mountPtMonitorSm.empty());
}

TEST_F(MountPtMonitorManagerSmTest, ReleasesItsMonitorsWhenReleased) {
   plug("A", "/mnt/flash");
   watched();
   manager_ = nullptr;
   Vorn::Host::runFor(1000);
   EXPECT_TRUE(helpers_[0]->asked.empty());
}

TEST_F(MountPtMonitorManagerSmTest, ReleasesItsMonitorsWhenStopped) {
   plug("A", "/mnt/flash");
   watched();
   manager_->vornDoZombieReactors(true);
   Vorn::Host::runFor(1000);
   EXPECT_TRUE(helpers_[0]->asked.empty());
}

}  // namespace

}  // namespace StorageDevices
