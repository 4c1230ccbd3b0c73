// The unit's disks in the story, and conditions of the agent's state that a step waits for.
#pragma once

#include <string>
#include <vector>

#include "demo/ApplianceState.h"
#include "simulation/SimulatedUnit.h"

namespace Demo {

using StorageDevices::Simulation::Disk;
using StorageDevices::Simulation::SimulatedUnit;
using StorageDevices::Simulation::Tool;

inline constexpr char flashSerial[] = "KS0240118842";
inline constexpr char driveSerial[] = "MRN7A0031955";
inline constexpr char emmcSerial[] = "00a1b2c3";
inline constexpr char eusbSerial[] = "WR7F31C0";
inline constexpr char stickSerial[] = "VT00051D";
inline constexpr char readerSerial[] = "PL3390AA";
inline constexpr char unreadableSerial[] = "KS0240118999";

inline constexpr std::uint64_t smallCard = 16;
inline constexpr std::uint64_t bigCard = 64;
constexpr std::uint64_t sectors(std::uint64_t gigabytes) {
   constexpr std::uint64_t gigabyte = 1000000000;
   return gigabytes * gigabyte / 512;
}

// Those of the unit, mounted at flash, drive, drive2 and eusb.
Disk flashDisk();
Disk driveDisk();
Disk emmcDisk();
Disk eusbDisk();
// Those that come and go.
Disk usbStick();
Disk cardReader();
Disk unreadableDisk();  // one that hdparm cannot read, in the bay of flash

// As new. A SATA disk reports the part of its life that is left.
StorageDevices::Simulation::DriveHealth fresh();
// hdparm, nvme and smartctl report the disk.
void toolsReport(SimulatedUnit & unit, Disk const & disk);
// Each disk's first partition is where it belongs, half full and without errors.
void mountAll(SimulatedUnit & unit);
// The kernel logs the line, which begins after the time.
void kernelLogs(SimulatedUnit & unit, std::string const & line);

bool flashIdentified(ApplianceState const & state);
bool driveIdentified(ApplianceState const & state);
bool bootDisksIdentified(ApplianceState const & state);
bool stickConnected(ApplianceState const & state);
bool cardReaderConnected(ApplianceState const & state, std::uint64_t gigabytes);
bool unreadableDiskConnected(ApplianceState const & state);

// Whether the life left of a disk is known and none of its readings fails.
bool isRead(ApplianceState const & state, char const * serial);
// Whether the verdict on the three disks that report their health is "ok".
bool bootDisksHealthy(ApplianceState const & state);
bool failing(ApplianceState const & state, char const * serial, std::string const & reading);

// The word for a file system, empty when its mount point is not watched.
std::string fileSystem(ApplianceState const & state, char const * mountPoint);
// Whether all four mount points are watched and each one's word is one of these.
bool fileSystemsAre(ApplianceState const & state, std::vector<std::string> const & words);

}  // namespace Demo
