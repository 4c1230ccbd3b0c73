// The records of one disk at one moment.
#pragma once

#include <vector>

#include "StorageDevices/ConnectedDisk.h"
#include "StorageDevices/MountPtMonitorManagerSm.h"
#include "agent/Entities.h"
#include "agent/tools/Readings.h"
#include "agent/verdict/FileSystemTests.h"
#include "agent/verdict/MountedDisks.h"

namespace Agent {

// The fault of a mount, by the kernel's mount table.
enum class MountFault { none, gone, readOnly, changed };

// A missing record is null, and so is one of a bus that the disk has left.
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

// The disk must be connected. `manager` is null while no mount point is watched. Of several disks with one
// mount point, the disk that its messages name has the faults.
DiskRecords recordsOf(Pelm::String const & serial, Entities const & entities, Readings const & readings,
                      StorageDevices::MountPtMonitorManagerSm const * manager, MountedDisks const & mounted,
                      FileSystemTests & tests);

// The same without its file system and its readings.
DiskRecords healthRecordsOf(Pelm::String const & serial, Entities const & entities);

// The drive that a sensor shows; of several configured drives one that has a record.
Pelm::String driveOf(Entities const & entities, Pelm::String const & sensor);
bool hasRecord(Entities const & entities, Pelm::String const & serial);

}  // namespace Agent
