// The system queries of the mount point monitors.
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
      Pelm::String device;        // below the file system
      std::uint32_t blkSize = 0;  // of that device, in bytes, a power of two of at least 8; 0: not known
   };

   // Reads the mount table and sysfs, never the mount point. A test or a host may override it.
   virtual MountState mountState(Pelm::String const & mountPt) const;

   using Creator = std::function<Pelm::Ptr<MountPtMonitorHelper>()>;
   // Creates the helper of a monitor, with the host's creator if it has set one.
   static Pelm::Ptr<MountPtMonitorHelper> make();
   // Null, the default: MountPtMonitorHelper itself.
   static void creatorIs(Creator creator);
};
