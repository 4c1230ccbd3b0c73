// The health of a simulated drive, and the tools' reports of it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace StorageDevices::Simulation {

// In which the kernel and the tools count, whatever a drive stores.
inline constexpr std::uint64_t sectorBytes = 512;

// A healthy drive in its second year.
struct DriveHealth {
   bool passed = true;    // the drive's self-assessment
   int temperature = 34;  // degrees Celsius
   std::uint64_t powerOnHours = 9120;
   std::uint64_t powerCycles = 41;
   unsigned percentUsed = 7;                         // of the rated life; may exceed 100
   bool rawLifeIsLeft = false;                       // a SATA drive's raw figure is the percentage left
   std::uint64_t bytesWritten = 18'400'000'000'000;  // in its life
   std::uint64_t bytesRead = 26'100'000'000'000;     // likewise
   std::uint64_t reallocatedSectors = 0;
   std::uint64_t mediaErrors = 0;
   unsigned availableSpare = 100;  // percent
   unsigned criticalWarning = 0;   // bits of an NVMe drive; 1: spare below its threshold
   unsigned preEndOfLife = 1;      // of an eMMC device: 1 normal, 2 warning, 3 urgent
};

// The output of `smartctl --json=c --offlineauto=on -HA`, version 7.3. It is for a SATA drive with its
// attribute table, an NVMe drive with its health log, and a USB disk behind a bridge.
std::string smartctlAtaReport(std::string_view name, DriveHealth const & health);
std::string smartctlNvmeReport(std::string_view name, DriveHealth const & health);
std::string smartctlScsiReport(std::string_view name, DriveHealth const & health);

// The exit code that goes with a smartctl report.
int smartctlExitCode(DriveHealth const & health);

// The output of `nvme smart-log --output-format=json`, version 2.4.
std::string nvmeSmartLog(DriveHealth const & health);

// The registers of an eMMC device, in the kernel's form of "life_time" and "pre_eol_info".
std::string emmcLifeTime(DriveHealth const & health);
std::string emmcPreEndOfLife(DriveHealth const & health);

}  // namespace StorageDevices::Simulation
