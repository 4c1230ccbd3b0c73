// What the records say of one disk at one moment.
#pragma once

#include <vector>

#include "StorageDevices/ConnectedDisk.h"
#include "StorageDevices/MountPtMonitorManagerSm.h"
#include "agent/Entities.h"
#include "agent/tools/Readings.h"
#include "agent/verdict/FileSystemTests.h"

namespace Agent {

// What is wrong with a mount, as the kernel's table has it.
enum class MountFault { none, gone, readOnly, changed };

// A record that there is none of, or that is of a bus which the disk has left, is null.
struct DiskRecords {
   Pelm::Ptr<StorageDevices::ConnectedDisk const> disk;
   bool present = true;
   Pelm::Ptr<StorageDevices::DeviceSmartData const> smart;
   Pelm::Ptr<StorageDevices::DeviceNvmeData const> nvme;
   Pelm::Ptr<StorageDevices::DeviceEmmcData const> emmc;
   Pelm::Ptr<StorageDevices::IOStat const> ioStat;
   Pelm::Ptr<Environment::Temperature::TempSensorStatus const> sensor;
   Pelm::Ptr<StorageDevErrorSyslogInfo const> kernelErrors;
   Pelm::Ptr<StorageDevices::FsHealthSm const> fileSystem;
   FileSystemTests::Result test = FileSystemTests::Result::none;
   MountFault mount = MountFault::none;
   std::vector<Reading> readings;
   Vorn::Seconds utc;  // now
};

// The disk must be there. `manager` is null while no mount point is watched. Of several disks that belong at
// one mount point, the one that its messages name has the mount point's faults.
DiskRecords recordsOf(Pelm::String const & serial, Entities const & entities, Readings const & readings,
                      StorageDevices::MountPtMonitorManagerSm const * manager, FileSystemTests & tests);

// The drive that a sensor shows: of several that are configured one that has a record.
Pelm::String driveOf(Entities const & entities, Pelm::String const & sensor);
bool hasRecord(Entities const & entities, Pelm::String const & serial);

}  // namespace Agent
