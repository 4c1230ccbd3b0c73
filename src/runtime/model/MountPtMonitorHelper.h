// The system queries of the mount point monitors.
#pragma once

#include <cstdint>
#include <functional>

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"

class VORN_API MountPtMonitorHelper : public Pelm::Node {
 public:
   struct MountState {
      bool mounted = false;
      bool readOnly = false;
      Pelm::String device;        // below the file system
      std::uint32_t blkSize = 0;  // of that device, in bytes, a power of two of at least 8; 0: not known
   };

   // Reads the mount table and sysfs, never the mount point, so a hanging mount cannot stall the caller. A
   // test or a host may override it. Of several mounts on the path it is the visible one. Raises
   // std::system_error where a shortage keeps the table from being read.
   virtual MountState mountState(Pelm::String const & mountPt) const;

   using Creator = std::function<Pelm::Ptr<MountPtMonitorHelper>()>;
   // Creates the helper of a monitor, with the host's creator if it has set one. It must not answer null.
   static Pelm::Ptr<MountPtMonitorHelper> make();
   // Applies to monitors that are made after it. Null, the default: MountPtMonitorHelper itself.
   static void creatorIs(Creator creator);
};
