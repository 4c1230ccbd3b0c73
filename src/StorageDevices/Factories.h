// What the library exports: one factory per monitor. Each makes a machine, starts it and hands it out;
// the host keeps the pointer for as long as the monitor shall run. A machine that could not start is
// handed out all the same, idle, and the failure is traced.
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

// Discovery: keeps `connectedDevices` equal to the disks of this unit. Call it first; every other
// monitor works from that set.
STORAGEDEVICES_API Pelm::Ptr<ConnectedDevicesSm> connectedDevicesSmFactory(
    Pelm::Ptr<FruConfig const> const & fruConfig, Pelm::Ptr<ConnectedDevices> const & connectedDevices,
    Pelm::Ptr<Brul::ChildProcessTrackerSm> const & childProcessTrackerSm);

// SMART of SATA, NVMe and USB drives, through smartctl.
STORAGEDEVICES_API Pelm::Ptr<SmartDataMonitorSm> smartDataMonitorSmFactory(
    Pelm::Ptr<PollInterval const> const & pollInterval, Pelm::Ptr<ConnectedDevices const> const & devices,
    Pelm::Ptr<SmartData> const & data, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker);

// The smart log of NVMe drives, through nvme-cli.
STORAGEDEVICES_API Pelm::Ptr<NvmeDataMonitorSm> nvmeDataMonitorSmFactory(
    Pelm::Ptr<PollInterval const> const & pollInterval, Pelm::Ptr<ConnectedDevices const> const & devices,
    Pelm::Ptr<NvmeData> const & data, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker);

// The health registers of eMMC chips.
STORAGEDEVICES_API Pelm::Ptr<EmmcDataMonitorSm> emmcDataMonitorSmFactory(
    Pelm::Ptr<PollInterval const> const & pollInterval, Pelm::Ptr<ConnectedDevices const> const & devices,
    Pelm::Ptr<EmmcData> const & data);

// How much was read from and written to every disk over the last day.
STORAGEDEVICES_API Pelm::Ptr<IOStatSm> iOStatSmFactory(
    Pelm::Ptr<PollInterval const> const & pollInterval,
    Pelm::Ptr<ConnectedDevices const> const & connectedDevices, Pelm::Ptr<IOStatData> const & ioStatData);

// Tells of disks that are missing or not mounted as expected, once, and of fixed disks that go. Call it
// when discovery has settled.
STORAGEDEVICES_API Pelm::Ptr<DeviceDetectionSm> deviceDetectionSmFactory(
    Pelm::Ptr<FruConfig const> const & fruConfig, Pelm::Ptr<ConnectedDevices const> const & devices);

// Warns of disks whose life falls fast.
STORAGEDEVICES_API Pelm::Ptr<DeviceLifetimeMonitorSm> deviceLifetimeMonitorSmFactory(
    Pelm::Ptr<ConnectedDevices> const & devices, Pelm::Ptr<EmmcData const> const & emmcData,
    Pelm::Ptr<NvmeData const> const & nvmeData, Pelm::Ptr<SmartData const> const & smartData,
    Pelm::Ptr<IOStatData> const & iostat);

// Shows the drives' temperatures as sensors of the unit.
STORAGEDEVICES_API Pelm::Ptr<TempSensorSm> tempSensorSmFactory(
    Pelm::Ptr<FruConfig const> const & fruConfig,
    Pelm::Ptr<Environment::Temperature::Config const> const & envTempConfigDir,
    Pelm::Ptr<Vorn::Dir> const & envTempStatusDir, Pelm::Ptr<NvmeData const> const & nvmeData,
    Pelm::Ptr<SmartData const> const & smartData);

// Tells of devices that the kernel reports errors of. Kernel lines arrive on a socket that is made at the
// path.
STORAGEDEVICES_API Pelm::Ptr<StorageDeviceErrWatcherSm> storageDeviceErrWatcherSmFactory(
    Pelm::Ptr<StorageDevicesInfo> const & sdevInfo, Pelm::Ptr<ConnectedDevices const> const & connDevs,
    Pelm::String const & unixSockName);

// Watches the mount points of the fixed disks that are known when it is called, and tests their file
// systems. Call it when discovery has settled.
STORAGEDEVICES_API Pelm::Ptr<MountPtMonitorManagerSm> mountPtMonitorManagerSmFactory(
    Pelm::Ptr<ConnectedDevices> const & devices);

// One mount point of the above.
STORAGEDEVICES_API Pelm::Ptr<MountPtMonitorSm> mountPtMonitorSmFactory(
    Pelm::String const & mountPt, Pelm::Ptr<MountPtMonitorHelper> const & helper,
    Pelm::Ptr<ConnectedDevices const> const & devices);

// The test of one file system, which runs between `start` and `stop`, and the system calls that it makes.
STORAGEDEVICES_API Pelm::Ptr<FsHealthSm> fsHealthSmFactory(Pelm::String const & mntPt, unsigned int blkSize,
                                                           Pelm::Ptr<ConnectedDevices const> const & devices);
STORAGEDEVICES_API Pelm::Ptr<FsHealthIoOps> fsHealthIoOpsFactory();

}  // namespace StorageDevices
