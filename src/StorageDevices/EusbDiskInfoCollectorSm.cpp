#include "StorageDevices/EusbDiskInfoCollectorSm.h"

#include <utility>

#include "StorageDevices/EusbModel.h"
#include "StorageDevices/Udev.h"
#include "runtime/Vorn/Machine.h"

namespace StorageDevices {

EusbDiskInfoCollectorSm::EusbDiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> disk, udev_device * udevDisk)
    : DiskInfoCollectorSm{std::move(disk)}, udevDisk_{udevDisk} {}

void EusbDiskInfoCollectorSm::handleInitialized() {
   EusbIdentity const identity =
       eusbIdentity(udevProperty(udevDisk_, "DEVLINKS").view(), device()->name().view(),
                    device()->model().view(), device()->firmwareRevision().view());
   finalize(Pelm::String{identity.serial}, Pelm::String{identity.model}, Pelm::String{identity.firmware},
            device()->sizeGb());
}

Pelm::Ptr<DiskInfoCollectorSm> EusbDiskInfoCollectorSmIs(Pelm::Ptr<ConnectedDisk const> const & disk,
                                                         udev_device * udevDevice) {
   return Vorn::makeMachine<EusbDiskInfoCollectorSm>(disk, udevDevice);
}

}  // namespace StorageDevices
