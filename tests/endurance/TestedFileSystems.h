// The mounts and files of the unit under test.
#pragma once

#include <filesystem>
#include <map>
#include <memory>

#include "StorageDevices/MountPtMonitorManagerSm.h"
#include "base/UniqueFd.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Notifiee.h"
#include "tests/endurance/World.h"

namespace Endurance {

class TestedFileSystems {
 public:
   // Mount points are folders below `root`.
   TestedFileSystems(std::filesystem::path root, World const & world);
   ~TestedFileSystems();

   // The mount points whose tests follow the world from now on.
   void monitorsAre(Pelm::Ptr<StorageDevices::MountPtMonitorManagerSm> monitors);
   // A test may have been made. To be called before it opens its file.
   void findTests();
   // The world has changed.
   void update();

 private:
   class Test;

   void foldersAre();

   std::filesystem::path root_;
   World const & world_;
   Pelm::Ptr<StorageDevices::MountPtMonitorManagerSm> monitors_;
   std::map<Place const *, std::unique_ptr<Test>> tests_;
   std::map<Place const *, Base::UniqueFd> files_;  // in memory
};

}  // namespace Endurance
