#include "StorageDevices/DiskInfoCollectors.h"

#include "StorageDevices/EmmcDiskInfoCollectorSm.h"
#include "StorageDevices/EusbDiskInfoCollectorSm.h"
#include "StorageDevices/NvmeDiskInfoCollectorSm.h"
#include "StorageDevices/SsdDiskInfoCollectorSm.h"

namespace StorageDevices {

Pelm::Ptr<DiskInfoCollectorSm> diskInfoCollectorFor(udev_device * device, DeviceVerdict const & verdict,
                                                    Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker) {
   switch (verdict.collector) {
      case DeviceVerdict::Collector::none:
         return nullptr;
      case DeviceVerdict::Collector::ssd:
         return SsdDiskInfoCollectorSmIs(verdict.disk, tracker);
      case DeviceVerdict::Collector::eusb:
         return EusbDiskInfoCollectorSmIs(verdict.disk, device);
      case DeviceVerdict::Collector::nvme:
         return NvmeDiskInfoCollectorSmIs(verdict.disk, tracker);
      case DeviceVerdict::Collector::emmc:
         return EmmcDiskInfoCollectorSmIs(verdict.disk, device);
   }
   return nullptr;
}

}  // namespace StorageDevices
