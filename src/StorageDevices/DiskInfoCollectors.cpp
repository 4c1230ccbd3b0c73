#include "StorageDevices/DiskInfoCollectors.h"

#include "StorageDevices/EmmcDiskInfoCollectorSm.h"
#include "StorageDevices/EusbDiskInfoCollectorSm.h"
#include "StorageDevices/NvmeDiskInfoCollectorSm.h"
#include "StorageDevices/SsdDiskInfoCollectorSm.h"

namespace StorageDevices {

Pelm::Ptr<DiskInfoCollectorSm> diskInfoCollectorFor(udev_device * device,
                                                    DeviceClassification const & classification,
                                                    Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker) {
   switch (classification.collector) {
      case DeviceClassification::Collector::none:
         return nullptr;
      case DeviceClassification::Collector::ssd:
         return SsdDiskInfoCollectorSmIs(classification.disk, tracker);
      case DeviceClassification::Collector::eusb:
         return EusbDiskInfoCollectorSmIs(classification.disk, device);
      case DeviceClassification::Collector::nvme:
         return NvmeDiskInfoCollectorSmIs(classification.disk, tracker);
      case DeviceClassification::Collector::emmc:
         return EmmcDiskInfoCollectorSmIs(classification.disk, device);
   }
   return nullptr;
}

}  // namespace StorageDevices
