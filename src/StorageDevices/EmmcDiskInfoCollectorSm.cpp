#include "StorageDevices/EmmcDiskInfoCollectorSm.h"

#include <utility>
#include <variant>

#include "StorageDevices/Cid.h"
#include "StorageDevices/Udev.h"
#include "runtime/Vorn/Machine.h"

namespace StorageDevices {

namespace {

// Support greps for this text; it does not follow the compiler's spelling of signatures.
constexpr char handleInitializedName[] = "void StorageDevices::EmmcDiskInfoCollectorSm::handleInitialized()";

}  // namespace

EmmcDiskInfoCollectorSm::EmmcDiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> disk, udev_device * udevDisk)
    : DiskInfoCollectorSm{std::move(disk)}, udevDisk_{udevDisk} {}

void EmmcDiskInfoCollectorSm::handleInitialized() {
   udev_device * const mmc = udev_device_get_parent(udevDisk_);
   if (!mmc) {
      VORN_TRACE(collectorTrace, 0) << handleInitializedName << " Error getting parent block device";
      finalizeUnchanged();
      return;
   }
   char const * const text = udev_device_get_sysattr_value(mmc, "cid");
   if (!text) {
      VORN_TRACE(collectorTrace, 0) << handleInitializedName << " Error reading CID register";
      finalizeUnchanged();
      return;
   }
   parseCidRegister(text);
}

void EmmcDiskInfoCollectorSm::parseCidRegister(char const * text) {
   auto const parsed = parseCid(text);
   if (auto const * const error = std::get_if<CidError>(&parsed)) {
      VORN_TRACE(collectorTrace, 0) << handleInitializedName << " Error parsing CID register "
                                    << (*error == CidError::size ? "(size)" : "(hex)");
      finalizeUnchanged();
      return;
   }
   CidIdentity const identity = cidIdentity(std::get<Cid>(parsed));
   finalize(Pelm::String{identity.serial}, Pelm::String{identity.model}, Pelm::String{identity.firmware},
            device()->sizeGb());
}

Pelm::Ptr<DiskInfoCollectorSm> EmmcDiskInfoCollectorSmIs(Pelm::Ptr<ConnectedDisk const> const & disk,
                                                         udev_device * udevDevice) {
   return Vorn::makeMachine<EmmcDiskInfoCollectorSm>(disk, udevDevice);
}

}  // namespace StorageDevices
