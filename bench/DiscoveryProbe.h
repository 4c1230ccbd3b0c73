// Measures discovery in the calling process, with the devices that this process sees.
//
// The time of the programs is measured where they are started and awaited. Functions of this file replace
// those of the runtime, and the loop's wait.
#pragma once

#include <cstddef>
#include <filesystem>

namespace Bench {

// The model in the tool's report of every disk.
constexpr char const * reportedModel = "Reported by its tool";

class DiscoveryProbe {
 public:
   // `etc` is the folder of the appliance's files, `tools` that of the tools' programs. Throws
   // std::runtime_error when libudev does not see that many disks, as do all below when what they do goes
   // wrong.
   DiscoveryProbe(std::filesystem::path etc, std::filesystem::path tools, std::size_t disks);

   // Entries of blockdev, 1 or more. All are tried for every disk, since only the last one matches.
   void entriesIs(std::size_t count);

   enum class Kind { removable, fixed };
   struct Times {
      double all = 0;       // seconds from the factory's call to the moment when all disks are known
      double programs = 0;  // those among them in which programs were started and awaited
   };
   // Measures removable disks, for which no tool runs, or fixed ones.
   Times discovery(Kind kind) const;

   // Seconds for discovery's queries of libudev alone.
   double udev() const;

 private:
   std::filesystem::path etc_;
   std::filesystem::path tools_;
   std::size_t disks_;
};

}  // namespace Bench
