// A helper of the mount point monitor that answers what a test says.
#pragma once

#include <new>
#include <string>
#include <vector>

#include "StorageDevices/MountPtMonitorSm.h"

namespace StorageDevices {

class FakeMounts final : public MountPtMonitorHelper {
 public:
   MountState mountState(Pelm::String const & mountPt) const override {
      asked.push_back(mountPt.str());
      if (raises)
         throw std::bad_alloc{};
      return answer;
   }
   MountState answer{true, false, "/dev/sda1", 4096};
   bool raises = false;
   mutable std::vector<std::string> asked;
};

}  // namespace StorageDevices
