// What each factory takes and makes, to the type: a host is written against these.
#include "StorageDevices/Factories.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "StorageDevices/ConnectedDevicesSm.h"
#include "StorageDevices/DeviceDetectionSm.h"
#include "StorageDevices/DeviceLifetimeMonitorSm.h"
#include "StorageDevices/EmmcDataMonitorSm.h"
#include "StorageDevices/FsHealthIoOps.h"
#include "StorageDevices/FsHealthSm.h"
#include "StorageDevices/IOStatSm.h"
#include "StorageDevices/MountPtMonitorManagerSm.h"
#include "StorageDevices/MountPtMonitorSm.h"
#include "StorageDevices/NvmeDataMonitorSm.h"
#include "StorageDevices/SdErrWatcherSm.h"
#include "StorageDevices/SmartDataMonitorSm.h"
#include "StorageDevices/TempSensorSm.h"

namespace StorageDevices {

namespace {

using Pelm::Ptr;
using Pelm::String;
using ChildTracker = Brul::ChildProcessTrackerSm;
using Sensors = Environment::Temperature::Config;

// Pointers are passed by reference, texts too.
template <class T>
using Taken = std::conditional_t<std::is_same_v<T, unsigned>, T, T const &>;

template <class Machine, class... Arguments, class Factory>
constexpr bool makes(Factory *) {
   return std::is_same_v<Factory, Ptr<Machine>(Taken<Arguments>...)> &&
          std::is_base_of_v<Pelm::Node, Machine>;
}

static_assert(makes<ConnectedDevicesSm, Ptr<FruConfig const>, Ptr<ConnectedDevices>, Ptr<ChildTracker>>(
    &connectedDevicesSmFactory));
static_assert(
    makes<DeviceDetectionSm, Ptr<FruConfig const>, Ptr<ConnectedDevices const>>(&deviceDetectionSmFactory));
static_assert(makes<SmartDataMonitorSm, Ptr<PollInterval const>, Ptr<ConnectedDevices const>, Ptr<SmartData>,
                    Ptr<ChildTracker>>(&smartDataMonitorSmFactory));
static_assert(makes<NvmeDataMonitorSm, Ptr<PollInterval const>, Ptr<ConnectedDevices const>, Ptr<NvmeData>,
                    Ptr<ChildTracker>>(&nvmeDataMonitorSmFactory));
static_assert(makes<EmmcDataMonitorSm, Ptr<PollInterval const>, Ptr<ConnectedDevices const>, Ptr<EmmcData>>(
    &emmcDataMonitorSmFactory));
static_assert(
    makes<IOStatSm, Ptr<PollInterval const>, Ptr<ConnectedDevices const>, Ptr<IOStatData>>(&iOStatSmFactory));
static_assert(makes<DeviceLifetimeMonitorSm, Ptr<ConnectedDevices>, Ptr<EmmcData const>, Ptr<NvmeData const>,
                    Ptr<SmartData const>, Ptr<IOStatData>>(&deviceLifetimeMonitorSmFactory));
static_assert(makes<TempSensorSm, Ptr<FruConfig const>, Ptr<Sensors const>, Ptr<Vorn::Dir>,
                    Ptr<NvmeData const>, Ptr<SmartData const>>(&tempSensorSmFactory));
static_assert(makes<FsHealthSm, String, unsigned, Ptr<ConnectedDevices const>>(&fsHealthSmFactory));
static_assert(makes<FsHealthIoOps>(&fsHealthIoOpsFactory));
static_assert(makes<MountPtMonitorManagerSm, Ptr<ConnectedDevices>>(&mountPtMonitorManagerSmFactory));
static_assert(makes<MountPtMonitorSm, String, Ptr<MountPtMonitorHelper>, Ptr<ConnectedDevices const>>(
    &mountPtMonitorSmFactory));
static_assert(makes<StorageDeviceErrWatcherSm, Ptr<StorageDevicesInfo>, Ptr<ConnectedDevices const>, String>(
    &storageDeviceErrWatcherSmFactory));

// The collections of the shared model by key and value.
template <class Key, class Value, class Collection>
constexpr bool isCollection =
    std::is_same_v<typename Collection::Key, Key> && std::is_same_v<typename Collection::Value, Value>;
static_assert(isCollection<String, Ptr<ConnectedDisk>, decltype(ConnectedDevices::disk)>);
static_assert(isCollection<String, String, decltype(ConnectedDevices::udevSerialToSerialMap)>);
static_assert(isCollection<String, String, decltype(FruConfig::serialToSensorMap)>);
static_assert(isCollection<String, Ptr<StorageDevErrorSyslogInfo>, decltype(StorageDevicesInfo::fsList)>);
static_assert(isCollection<String, Ptr<IOStat>, decltype(IOStatData::ioStatData)>);
static_assert(isCollection<String, Ptr<DeviceSmartData>, decltype(SmartData::deviceData)>);
static_assert(isCollection<String, Ptr<DeviceNvmeData>, decltype(NvmeData::deviceData)>);
static_assert(isCollection<String, Ptr<DeviceEmmcData>, decltype(EmmcData::deviceData)>);

TEST(FactoriesTest, MakesAMachineOwnedByItsPointerAlone) {
   auto const devices = Pelm::make<ConnectedDevices>();
   auto const first = mountPtMonitorSmFactory("/mnt/flash", Pelm::make<MountPtMonitorHelper>(), devices);
   auto const second = mountPtMonitorSmFactory("/mnt/flash", Pelm::make<MountPtMonitorHelper>(), devices);
   EXPECT_NE(first, second);
   EXPECT_EQ(first->useCount(), 1U);
   EXPECT_EQ(fsHealthIoOpsFactory()->useCount(), 1U);
   EXPECT_EQ(fsHealthSmFactory("/mnt/flash", 512, devices)->useCount(), 1U);
}

}  // namespace

}  // namespace StorageDevices
