// Who plays in the story: the unit's disks, and how to tell from the agent's state that they are well.
#pragma once

#include <string>
#include <vector>

#include "demo/ApplianceState.h"
#include "simulation/SimulatedUnit.h"

namespace Agent::Demo {

using Simulation::Disk;
using Simulation::SimulatedUnit;
using Simulation::Tool;

inline constexpr char flashSerial[] = "KS0240118842";
inline constexpr char driveSerial[] = "MRN7A0031955";
inline constexpr char cardSerial[] = "00a1b2c3";
inline constexpr char eusbSerial[] = "WR7F31C0";
inline constexpr char firstStickSerial[] = "VT00051D";
inline constexpr char readerSerial[] = "PL3390AA";
inline constexpr char strangeSerial[] = "KS0240118999";

inline constexpr std::uint64_t smallCard = 16;
inline constexpr std::uint64_t bigCard = 64;
constexpr std::uint64_t sectors(std::uint64_t gigabytes) {
   constexpr std::uint64_t gigabyte = 1000000000;
   return gigabytes * gigabyte / 512;
}

// Those of the unit, mounted at flash, drive, drive2 and eusb.
Disk flashDisk();
Disk driveDisk();
Disk cardDisk();
Disk eusbDisk();
// Those that come and go.
Disk firstStick();
Disk cardReader();
Disk strangeDisk();  // one that hdparm cannot read, in the bay of flash

// As good as new. What a SATA disk counts of its life is what is left.
Simulation::DriveHealth fresh();
// hdparm or nvme and the health's tools know the disk.
void toolsKnow(SimulatedUnit & unit, Disk const & disk);
// Each disk's first partition is where it belongs, half full and without errors.
void mountAll(SimulatedUnit & unit);
// A line of the kernel's log, without the time that it begins with.
void kernelSays(SimulatedUnit & unit, std::string const & line);

bool flashIdentified(ApplianceState const & state);
bool driveIdentified(ApplianceState const & state);
bool bootDisksIdentified(ApplianceState const & state);
bool firstStickThere(ApplianceState const & state);
bool cardReaderThere(ApplianceState const & state, std::uint64_t gigabytes);
bool strangeDiskThere(ApplianceState const & state);

// Whether the life that a disk has left is known and no reading of it fails.
bool isRead(ApplianceState const & state, char const * serial);
// Whether the agent's verdict on the three that say how they are is that.
bool bootDisksHealthy(ApplianceState const & state);
bool failing(ApplianceState const & state, char const * serial, std::string const & reading);

// The word for a file system, empty when its mount point is not watched.
std::string fileSystem(ApplianceState const & state, char const * mountPoint);
// Whether all four mount points are watched and each one's word is one of these.
bool fileSystemsAre(ApplianceState const & state, std::vector<std::string> const & words);

}  // namespace Agent::Demo
