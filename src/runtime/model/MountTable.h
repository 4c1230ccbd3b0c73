// What the kernel's mount table says of a path. Only the table and sysfs are read, never the path itself: a
// mount that hangs cannot hold the one who asks.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/Export.h"
#include "runtime/Pelm/String.h"

namespace Mounts {

struct Mount {
   // The block device below the file system, as /dev/sda1 or /dev/dm-0; what the table names as its source
   // where there is none (an overlay, a network share).
   Pelm::String device;
   // Bytes of a logical block of that device; 0: not known.
   std::uint32_t blkSize = 0;
   // The mount or the file system itself takes no writes.
   bool readOnly = false;
};

// What is mounted on the path, the one that is seen there last; others may lie below it. Empty when nothing
// is, or when the table cannot be read.
RUNTIME_API std::vector<Mount> mountsAt(Pelm::String const & path);

// The devices that a device-mapper node is made of, as /dev/sda2, those below them included; none for any
// other device.
RUNTIME_API std::vector<std::string> devicesBelow(std::string const & device);

// Where the file system mounted at the path is reached.
RUNTIME_API Pelm::String accessPath(Pelm::String const & mountPoint);

// Where the mount table, sysfs and what is mounted are looked for instead of at /; for tests and simulations.
RUNTIME_API void rootIs(std::string const & directory);

}  // namespace Mounts
