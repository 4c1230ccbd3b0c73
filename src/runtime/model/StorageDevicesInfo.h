// The records of devices for reports of kernel errors. Written by the kernel error watcher.
#pragma once

#include <cstdint>

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Collection.h"
#include "runtime/Vorn/Seconds.h"

// The record of one device. It outlives the disconnection of a fixed device.
class VORN_API StorageDevErrorSyslogInfo : public Pelm::Node {
 public:
   StorageDevErrorSyslogInfo(Pelm::String name, Pelm::String blockDevice, Pelm::String interfaceAndAddress,
                             bool removable);
   ~StorageDevErrorSyslogInfo() override;

   // The device's serial number, its key.
   Pelm::String const & name() const { return name_; }
   // The device node, for example /dev/sda.
   Pelm::String const & blockDevice() const { return blockDevice_; }
   // The port's name in kernel lines (`ConnectedDisk::deviceIntfAndAddress`), for example ata2; empty: none.
   Pelm::String const & interfaceAndAddress() const { return interfaceAndAddress_; }
   // Whether the device is not part of the unit's fixed storage. Its record goes when the device does.
   bool removable() const { return removable_; }
   // Whether a record of these arguments would equal this one but for its attributes.
   bool isMadeOf(Pelm::String const & blockDevice, Pelm::String const & interfaceAndAddress,
                 bool removable) const {
      return blockDevice_ == blockDevice && interfaceAndAddress_ == interfaceAndAddress &&
             removable_ == removable;
   }

   template <class T>
   using Attribute = Vorn::Attribute<T, StorageDevErrorSyslogInfo>;

   // The block device without its directory, for example sda: the other name in kernel lines.
   Attribute<Pelm::String> kernelDevName{*this, "kernelDevName"};
   void kernelDevNameIs(Pelm::String value);
   // As in the disk's record when this one was created; the firmware revision is followed.
   Attribute<Pelm::String> model{*this, "model"};
   void modelIs(Pelm::String value);
   Attribute<Pelm::String> firmwareRevision{*this, "firmwareRevision"};
   void firmwareRevisionIs(Pelm::String value);

   // Wall-clock time of the last message about this device, in seconds since 1970 UTC; 0: none yet. A further
   // error is logged a day later at the earliest. If the clock is set back, the host sets a time that then
   // lies in the future to 0.
   Attribute<Vorn::Seconds> syslogTimestamp{*this, "syslogTimestamp"};
   void syslogTimestampIs(Vorn::Seconds value);

   // How often the fixed device was disconnected since the creation of the record.
   Attribute<std::uint32_t> disconnectCount{*this, "disconnectCount"};
   void disconnectCountInc(std::uint32_t n);

 private:
   Pelm::String name_;
   Pelm::String blockDevice_;
   Pelm::String interfaceAndAddress_;
   bool removable_;
};

// The records of all devices, fixed ones that are gone included. The host keeps it: a monitor that is made
// again goes on with the same records, so that no message comes twice within a day.
class VORN_API StorageDevicesInfo : public Pelm::Node {
 public:
   StorageDevicesInfo();
   ~StorageDevicesInfo() override;

   // By serial number.
   Vorn::Collection<Pelm::String, Pelm::Ptr<StorageDevErrorSyslogInfo>, StorageDevicesInfo> fsList{*this,
                                                                                                   "fsList"};

   // Creates the record of a name, or replaces it if another argument differs. The counters of a replaced
   // record are lost.
   void fsListIs(Pelm::String const & name, Pelm::String blockDevice, Pelm::String interfaceAndAddress,
                 bool removable);
   // A device that comes back later has a new record, so its next error is logged at once.
   void fsListDel(Pelm::String const & name);
   void fsListDelAll();
};
