// Measures discovery in the process that it is called in, with whatever devices that process sees.
//
// The time of the programs is taken where the library calls the runtime to start and to await them: this
// file's functions stand in the way of the runtime's own.
#pragma once

#include <cstddef>
#include <filesystem>

namespace Bench {

class DiscoveryProbe {
 public:
   // `etc` is the folder of the appliance's files. Throws std::runtime_error when libudev does not see
   // that many disks, as do all below when what they do goes wrong.
   DiscoveryProbe(std::filesystem::path etc, std::size_t disks);

   // Entries of blockdev, 1 to 4. All are tried for every disk: only the last one matches, and makes it
   // removable.
   void entriesIs(std::size_t count);

   struct Times {
      double all = 0;       // seconds of discovery, from the factory's call to its return
      double programs = 0;  // those among them in which programs were started and awaited
   };
   Times discovery() const;

   // Seconds that it takes to ask libudev what discovery asks.
   double udev() const;

 private:
   std::filesystem::path etc_;
   std::size_t disks_;
};

}  // namespace Bench
