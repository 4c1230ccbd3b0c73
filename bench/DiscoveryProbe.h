// Measures discovery in the process that it is called in, with whatever devices that process sees.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace Bench {

class DiscoveryProbe {
 public:
   // `etc` is the folder of the appliance's files. Throws std::runtime_error when libudev does not see
   // that many disks, as do all below when what they do goes wrong.
   DiscoveryProbe(std::filesystem::path etc, std::size_t disks);

   // Entries of blockdev, 1 to 4. All are tried for every disk: only the last one matches, and makes it
   // removable.
   void entriesIs(std::size_t count);

   // Each answers the seconds that it takes.
   double discovery() const;  // the whole of it, from the factory's call to its return
   double programs() const;   // the same runs of `expr` with nothing around them
   double udev() const;       // what discovery asks libudev

 private:
   std::filesystem::path etc_;
   std::vector<std::string> paths_;  // of the disks, below /sys/devices
   std::vector<std::string> patterns_;
};

}  // namespace Bench
