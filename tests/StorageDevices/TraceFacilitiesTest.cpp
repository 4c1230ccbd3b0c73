// The names under which a host sets the levels of the library's traces.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "runtime/host/Trace.h"

namespace {

using Names = std::vector<std::string>;

TEST(TraceFacilitiesTest, FindsAFacilityNamedAfterEverySourceThatTraces) {
   Names const expected = {"DeviceDetectionSm",
                           "StorageCDevsUtil",
                           "StorageConnectedDevicesSm",
                           "StorageDataMonitorSm",
                           "StorageDeviceLifetimeMonitorSm",
                           "StorageDevicesErrWatchSm",
                           "StorageDevicesMountPtMonitorManagerSm",
                           "StorageDiscoveryPreview",
                           "StorageDiskInfoCollectorSm",
                           "StorageEmmcDataMonitorSm",
                           "StorageFsHealthSm",
                           "StorageIOStatSm",
                           "StorageMountPtMonitorSm",
                           "StorageNvmeDataMonitorSm",
                           "StorageSmartDataMonitorSm",
                           "StorageTempSensorSm"};
   Names present = Vorn::Host::traceFacilities();
   std::erase_if(present, [](std::string const & name) {
      return !name.starts_with("Storage") && name != "DeviceDetectionSm";
   });
   std::sort(present.begin(), present.end());
   EXPECT_EQ(present, expected);
}

}  // namespace
