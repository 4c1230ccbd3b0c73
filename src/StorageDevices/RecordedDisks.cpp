#include "StorageDevices/RecordedDisks.h"

namespace StorageDevices {

Pelm::Ptr<ConnectedDisk const> RecordedDisks::disk(Pelm::String const & udevSerial) const {
   auto const name = devices_->udevSerialToSerialMap(udevSerial);
   return name ? devices_->disk(*name) : nullptr;
}

void RecordedDisks::insert(Pelm::String const & udevSerial, Pelm::Ptr<ConnectedDisk const> const & disk) {
   if (auto const stored = this->disk(udevSerial)) {
      if (stored->isEqButTexts(*disk))
         return;
      formerNames_.insert_or_assign(stored->name(), udevSerial);
   }
   formerNames_.erase(disk->name());
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
   // A copy, since a subscriber may cause another disk to be recorded.
   for (auto const & [name, udevSerial] : std::unordered_map{formerNames_})
      if (isGone(udevSerial) && formerNames_.erase(name) > 0)
         devices_->diskDel(name);
}

}  // namespace StorageDevices
