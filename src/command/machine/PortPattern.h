// The pattern for /etc/blockdev that names the port of a disk.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Command {

struct PortPattern {
   // Matches the paths that the port's disk has after any reboot, and no other port's: a basic regular
   // expression that ends with "$".
   std::string pattern;
   // The same with each number that the kernel allots in the order of detection left open. Two ports with the
   // same one cannot be told apart after a reboot.
   std::string general;
   // The names in the pattern with such a number, such as "usb2": left open they would match another port
   // too.
   std::vector<std::string> kept;
   // Whether the path leads to a port: that of a virtual device does not.
   bool isPort = false;
};

// Answers the names in a folder of sysfs. The folder is given below /sys/devices.
using FolderNames = std::function<std::vector<std::string>(std::string const & folder)>;

// The numbers of hosts, buses, controllers and nodes depend on the order of detection, and so does that of a
// PCI bus below a bridge. Ports keep theirs: PCI device and function, ata, USB port, SCSI channel, id and
// unit. `path` is a disk's, below /sys/devices.
PortPattern portPattern(std::string const & path, FolderNames const & namesIn);

}  // namespace Command
