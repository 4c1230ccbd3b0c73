// A unit of one disk whose mount point the library's monitors watch and test.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "StorageDevices/Factories.h"
#include "tests/support/MountPoint.h"
#include "tests/support/UnitOfRecords.h"

namespace Support {

// The mount point is a folder that stands in for it.
class MountedDisk : public UnitOfRecords {
 protected:
   struct Helper final : public MountPtMonitorHelper {
      MountState mountState(Pelm::String const &) const override { return answer; }
      MountState answer{true, false, "/dev/sda1", 512};
   };

   MountedDisk() {
      MountPtMonitorHelper::creatorIs([this] { return helper; });
      DiskFields{.mountPoint = folder.string()}.writeTo(*entities.devices);
      manager = StorageDevices::mountPtMonitorManagerSmFactory(entities.devices);
   }
   ~MountedDisk() override { MountPtMonitorHelper::creatorIs(nullptr); }

   StorageDevices::FsHealthSm & test() const {
      return *manager->mountPtMonitorSm(folder.string().c_str())->fsHealthSm();
   }
   bool begins() {
      return eventually(
          [this] { return manager->mountPtMonitorSm(folder.string().c_str())->fsHealthSm() != nullptr; });
   }
   bool becomes(std::string const & wanted, Vorn::Seconds span = 2000) {
      bool const seen = eventually([&] { return reasons() == wanted; }, span);
      EXPECT_TRUE(seen) << reasons();
      return seen;
   }
   // A whole test, from one pause to the next.
   void oneTestGoesBy() {
      using State = StorageDevices::FsHealthSmState;
      ASSERT_TRUE(eventually([this] { return test().state() != State::idle; }, 100000));
      ASSERT_TRUE(eventually([this] { return test().state() == State::idle; }, 100000));
   }

   TempDir folder{folderWithDirectIo()};
   Pelm::Ptr<Helper> helper = Pelm::make<Helper>();
};

}  // namespace Support
