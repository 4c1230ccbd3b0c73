#include "StorageDevices/RecordedDisks.h"

namespace StorageDevices {

Pelm::Ptr<ConnectedDisk const> RecordedDisks::disk(Pelm::String const & udevSerial) const {
   auto const name = devices_->udevSerialToSerialMap(udevSerial);
   return name ? devices_->disk(*name) : nullptr;
}

void RecordedDisks::insert(Pelm::String const & udevSerial, Pelm::Ptr<ConnectedDisk const> const & disk) {
   auto const stored = this->disk(udevSerial);
   if (stored && stored->isEqButTexts(*disk))
      return;
   devices_->udevSerialToSerialMapIs(udevSerial, disk->name());
   devices_->diskIs(disk->name(), disk->mibType(), disk->blockDevice(), disk->mountPoint(), disk->model(),
                    disk->firmwareRevision(), disk->removable(), disk->busType(), disk->devAddress(),
                    disk->sizeGb());
}

void RecordedDisks::remove(Pelm::String const & udevSerial) {
   auto const name = devices_->udevSerialToSerialMap(udevSerial);
   if (!name)
      return;
   devices_->udevSerialToSerialMapDel(udevSerial);
   devices_->diskDel(*name);
}

void RecordedDisks::removeGone(std::function<bool(Pelm::String const & udevSerial)> const & isGone) {
   for (auto const & [udevSerial, name] : devices_->udevSerialToSerialMap)
      if (isGone(udevSerial))
         remove(Pelm::String{udevSerial});
}

}  // namespace StorageDevices
