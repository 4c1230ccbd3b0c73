// Reads the kernel's mount table. Only the table and sysfs are read, never the mount point, so a hanging
// mount cannot stall the caller.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/Export.h"
#include "runtime/Pelm/String.h"

namespace StorageDevices::Mounts {

struct Mount {
   // The block device below the file system, such as /dev/sda1 or /dev/dm-0. Without one (an overlay, a
   // network share), the table's source.
   Pelm::String device;
   // Bytes of a logical block of that device; 0: unknown.
   std::uint32_t blkSize = 0;
   // Whether the mount or the file system itself is read-only.
   bool readOnly = false;
};

// The mounts on the path; the last one is visible, the others lie below it. Empty when there is none, or the
// table cannot be read. Raises std::system_error when descriptors or memory are short: the mounts are unknown
// then.
VORN_API std::vector<Mount> mountsAt(Pelm::String const & path);

// Every path of the table on which something is mounted, once, in the table's order. Raises like `mountsAt`.
VORN_API std::vector<std::string> mountPoints();

// The devices below a device-mapper node, such as /dev/sda2, at all levels; none for any other device.
VORN_API std::vector<std::string> devicesBelow(std::string const & device);

// The path by which a mounted file system is accessed: the mount point below the root of `rootIs`.
VORN_API Pelm::String accessPath(Pelm::String const & mountPoint);

// Replaces / as the root of the mount table, sysfs and the mount points; for tests and simulations.
VORN_API void rootIs(std::string const & directory);

}  // namespace StorageDevices::Mounts
