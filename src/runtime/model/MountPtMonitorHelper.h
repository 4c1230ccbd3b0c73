// What the mount point monitors ask of the system.
#pragma once

#include <cstdint>
#include <functional>

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"

class RUNTIME_API MountPtMonitorHelper : public Pelm::Node {
 public:
   struct MountState {
      bool mounted = false;
      bool readOnly = false;
      Pelm::String device;        // that backs it
      std::uint32_t blkSize = 0;  // of that device, in bytes, a power of two of at least 8; 0: not known
   };

   // Reads the mount table and sysfs, never the mount point. A test or a host may answer otherwise.
   virtual MountState mountState(Pelm::String const & mountPt) const;
};

using MountPtMonitorHelperCreator = std::function<Pelm::Ptr<MountPtMonitorHelper>()>;

// A helper for one more monitor, of the host's making where it has set a creator.
RUNTIME_API Pelm::Ptr<MountPtMonitorHelper> newMountPtMonitorHelper();
// Null: the usual helper.
RUNTIME_API void mountPtMonitorHelperCreatorIs(MountPtMonitorHelperCreator creator);
