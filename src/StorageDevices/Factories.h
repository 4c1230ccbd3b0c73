// One factory per monitor. Each creates a machine, starts it and answers it. The monitor runs as long as the
// host keeps the pointer. A machine that could not start is answered too; it is idle, and the failure is
// traced or goes to the host's failure sink. The answer is null where there was no memory for it. No argument
// may be null. Records and configuration are kept by the machine, which follows their changes. Reactor thread
// only.
#pragma once

#include "StorageDevices/ConnectedDevices.h"
#include "StorageDevices/Export.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/model/EmmcData.h"
#include "runtime/model/FruConfig.h"
#include "runtime/model/IOStatData.h"
#include "runtime/model/MountPtMonitorHelper.h"
#include "runtime/model/NvmeData.h"
#include "runtime/model/PollInterval.h"
#include "runtime/model/SmartData.h"
#include "runtime/model/StorageDevicesInfo.h"
#include "runtime/model/Temperature.h"

namespace StorageDevices {

class ConnectedDevicesSm;
class DeviceDetectionSm;
class DeviceLifetimeMonitorSm;
class EmmcDataMonitorSm;
class FsHealthIoOps;
class FsHealthSm;
class IOStatSm;
class MountPtMonitorManagerSm;
class MountPtMonitorSm;
class NvmeDataMonitorSm;
class SmartDataMonitorSm;
class StorageDeviceErrWatcherSm;
class TempSensorSm;

// Discovery: keeps `connectedDevices` equal to the disks of this unit. Call it first; every other monitor
// reads that set.
STORAGEDEVICES_API Pelm::Ptr<ConnectedDevicesSm> connectedDevicesSmFactory(
    Pelm::Ptr<FruConfig const> const & fruConfig, Pelm::Ptr<ConnectedDevices> const & connectedDevices,
    Pelm::Ptr<Brul::ChildProcessTrackerSm> const & childProcessTrackerSm);

// SMART of SATA, NVMe and USB drives, through smartctl. The tool needs the rights to open the drives.
STORAGEDEVICES_API Pelm::Ptr<SmartDataMonitorSm> smartDataMonitorSmFactory(
    Pelm::Ptr<PollInterval const> const & pollInterval, Pelm::Ptr<ConnectedDevices const> const & devices,
    Pelm::Ptr<SmartData> const & data, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker);

// The smart log of NVMe drives, through nvme-cli. Versions that print other layouts need the filter
// (ApplianceTracker.h).
STORAGEDEVICES_API Pelm::Ptr<NvmeDataMonitorSm> nvmeDataMonitorSmFactory(
    Pelm::Ptr<PollInterval const> const & pollInterval, Pelm::Ptr<ConnectedDevices const> const & devices,
    Pelm::Ptr<NvmeData> const & data, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker);

// The health registers of eMMC devices.
STORAGEDEVICES_API Pelm::Ptr<EmmcDataMonitorSm> emmcDataMonitorSmFactory(
    Pelm::Ptr<PollInterval const> const & pollInterval, Pelm::Ptr<ConnectedDevices const> const & devices,
    Pelm::Ptr<EmmcData> const & data);

// The bytes read from and written to each disk in the last day.
STORAGEDEVICES_API Pelm::Ptr<IOStatSm> iOStatSmFactory(
    Pelm::Ptr<PollInterval const> const & pollInterval,
    Pelm::Ptr<ConnectedDevices const> const & connectedDevices, Pelm::Ptr<IOStatData> const & ioStatData);

// Logs disks that are missing or not mounted as expected, once, and removals of fixed disks. Call it when
// `internalDevicesReady` is true.
STORAGEDEVICES_API Pelm::Ptr<DeviceDetectionSm> deviceDetectionSmFactory(
    Pelm::Ptr<FruConfig const> const & fruConfig, Pelm::Ptr<ConnectedDevices const> const & devices);

// Logs disks whose remaining life falls fast.
STORAGEDEVICES_API Pelm::Ptr<DeviceLifetimeMonitorSm> deviceLifetimeMonitorSmFactory(
    Pelm::Ptr<ConnectedDevices> const & devices, Pelm::Ptr<EmmcData const> const & emmcData,
    Pelm::Ptr<NvmeData const> const & nvmeData, Pelm::Ptr<SmartData const> const & smartData,
    Pelm::Ptr<IOStatData> const & iostat);

// Publishes the drives' temperatures as sensors of the unit.
STORAGEDEVICES_API Pelm::Ptr<TempSensorSm> tempSensorSmFactory(
    Pelm::Ptr<FruConfig const> const & fruConfig,
    Pelm::Ptr<Environment::Temperature::Config const> const & envTempConfigDir,
    Pelm::Ptr<Vorn::Dir> const & envTempStatusDir, Pelm::Ptr<NvmeData const> const & nvmeData,
    Pelm::Ptr<SmartData const> const & smartData);

// Logs devices for which the kernel reports errors. Creates a socket at the path, on which it receives kernel
// lines; a file that is there is removed. The folder must belong to no other user.
STORAGEDEVICES_API Pelm::Ptr<StorageDeviceErrWatcherSm> storageDeviceErrWatcherSmFactory(
    Pelm::Ptr<StorageDevicesInfo> const & sdevInfo, Pelm::Ptr<ConnectedDevices const> const & connDevs,
    Pelm::String const & unixSockName);

// Watches the mount points of the fixed disks that are connected at the time of the call, and tests their
// file systems. Call it when `internalDevicesReady` is true.
STORAGEDEVICES_API Pelm::Ptr<MountPtMonitorManagerSm> mountPtMonitorManagerSmFactory(
    Pelm::Ptr<ConnectedDevices> const & devices);

// Watches a single mount point in that way.
STORAGEDEVICES_API Pelm::Ptr<MountPtMonitorSm> mountPtMonitorSmFactory(
    Pelm::String const & mountPt, Pelm::Ptr<MountPtMonitorHelper> const & helper,
    Pelm::Ptr<ConnectedDevices const> const & devices);

// The test of one file system, which runs between `start` and `stop`, and its system calls.
STORAGEDEVICES_API Pelm::Ptr<FsHealthSm> fsHealthSmFactory(Pelm::String const & mntPt, unsigned int blkSize,
                                                           Pelm::Ptr<ConnectedDevices const> const & devices);
STORAGEDEVICES_API Pelm::Ptr<FsHealthIoOps> fsHealthIoOpsFactory();

}  // namespace StorageDevices
