// The unit of an endurance run: its six places for disks, and what a script may set of a disk's health.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace Endurance {

enum class Kind { sata, nvme, emmc, fixedUsb, stick };

struct Place {
   std::string_view name;  // in scripts
   Kind kind;
   std::string_view mount;                      // below /mnt
   std::array<std::string_view, 2> kernelName;  // a disk that comes back may have the other one
   std::string_view port;                       // as the kernel's messages name it, of the first kernel name
   bool fixed;
};

inline constexpr std::array places{
    Place{"flash", Kind::sata, "flash", {"sda", "sdb"}, "ata1", true},
    Place{"drive", Kind::sata, "drive", {"sdc", "sdd"}, "ata2", true},
    Place{"nvme", Kind::nvme, "nvme", {"nvme0n1", "nvme1n1"}, "nvme0n1", true},
    Place{"emmc", Kind::emmc, "drive2", {"mmcblk0", "mmcblk1"}, "mmc0", true},
    Place{"eusb", Kind::fixedUsb, "eusb", {"sde", "sdf"}, "usb 1-1", true},
    Place{"stick", Kind::stick, "usb", {"sdg", "sdh"}, "usb 2-1", false},
};
inline constexpr std::size_t placeCount = places.size();

// What a drive reports of itself.
struct Health {
   bool passed = true;
   bool belowThreshold = false;  // an attribute of a SATA drive
   int temperature = 35;         // degrees Celsius
   int lifeLeft = 100;           // percent
   int reallocated = 0;
   int pending = 0;
   int uncorrectable = 0;
   int timeouts = 0;
   int mediaErrors = 0;
   int warning = 0;  // the critical warning of an NVMe drive, bits
   int spare = 100;  // percent, of an NVMe drive
   int endOfLife = 1;
   std::uint64_t sectorsWritten = 0;  // since the disk appeared
};

// What a tool does when it runs.
enum class ToolAct {
   reports,      // as it should
   fails,        // ends with 2 and prints nothing
   hangs,        // until its time limit
   printsNone,   // ends well and prints nothing
   isCut,        // prints the first half of its report
   printsNoise,  // prints bytes of chance
   nests,        // prints twenty thousand brackets
   floods,       // prints more than the bound of 4 MiB
   printsEmpty,  // prints an object without members
   swells,       // reports with 3 MiB of blanks, for which there must be memory
};
inline constexpr std::array<std::string_view, 10> toolActs{"reports",      "fails", "hangs", "prints-none",
                                                           "is-cut",       "noise", "nests", "floods",
                                                           "empty-object", "swells"};

// Seconds of a tool's run; of a hanging one, until it is ended.
inline constexpr double toolSpan = 0.125;
inline constexpr double toolLimit = 45;

// The drives there have temperature sensors, from the agent's start on.
inline constexpr std::array<std::string_view, 2> sensorPlaces{"flash", "nvme"};
inline constexpr double overheat = 70;
inline constexpr double critical = 80;

// The texts of a disk: the number is that of the disk, not of its place.
inline std::string udevSerial(Place const & place, int number) {
   std::string digits = std::to_string(number);
   digits.insert(0, 6 - digits.size(), '0');
   switch (place.kind) {
      case Kind::sata:
         return "KS" + digits;
      case Kind::nvme:
         return "MRN" + digits;
      case Kind::emmc:
         return "0x00" + digits;
      case Kind::fixedUsb:
         return "WRN" + digits;
      case Kind::stick:
         return "VIR" + digits;
   }
   return {};
}

}  // namespace Endurance
