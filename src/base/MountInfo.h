// A line of /proc/self/mountinfo (proc(5)):
//
//    36 25 8:1 / /mnt/drive rw,noatime shared:1 - ext4 /dev/sda1 rw,errors=remount-ro
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

namespace Base {

struct MountInfo {
   dev_t number = 0;    // of the file system's device; major 0: a virtual one
   std::string target;  // the mount point
   std::string options;
   std::string source;     // what was mounted, such as /dev/sda1
   std::string fsOptions;  // of the file system, whatever its mounts say

   // Whether the mount or the file system has the option, with a value or without.
   bool has(std::string_view option) const;
};

// A device number as sysfs and the mount table write it: "8:1".
std::optional<dev_t> parseDeviceNumber(std::string_view text);

// Nothing for a line of another form. Escaped characters (\040) of the names are read.
std::optional<MountInfo> parseMountInfo(std::string_view line);

}  // namespace Base
