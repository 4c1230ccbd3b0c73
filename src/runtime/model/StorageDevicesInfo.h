// What is kept of each device for the reports of kernel errors. Written by the kernel error watcher.
#pragma once

#include <cstdint>
#include <utility>

#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Collection.h"
#include "runtime/Vorn/Seconds.h"

// The record of one device. It outlives the disconnection of a fixed device.
class StorageDevErrorSyslogInfo : public Pelm::Node {
 public:
   StorageDevErrorSyslogInfo(Pelm::String name, Pelm::String blockDevice, Pelm::String interfaceAndAddress,
                             bool removable)
       : name_{std::move(name)},
         blockDevice_{std::move(blockDevice)},
         interfaceAndAddress_{std::move(interfaceAndAddress)},
         removable_{removable} {}

   // The device's serial number, its key.
   Pelm::String const & name() const { return name_; }
   Pelm::String const & blockDevice() const { return blockDevice_; }
   Pelm::String const & interfaceAndAddress() const { return interfaceAndAddress_; }
   bool removable() const { return removable_; }

   template <class T>
   using Attribute = Vorn::Attribute<T, StorageDevErrorSyslogInfo>;

   // The block device without its directory.
   Attribute<Pelm::String> kernelDevName{*this, "kernelDevName"};
   void kernelDevNameIs(Pelm::String value) { kernelDevName.valueIs(std::move(value)); }
   Attribute<Pelm::String> model{*this, "model"};
   void modelIs(Pelm::String value) { model.valueIs(std::move(value)); }
   Attribute<Pelm::String> firmwareRevision{*this, "firmwareRevision"};
   void firmwareRevisionIs(Pelm::String value) { firmwareRevision.valueIs(std::move(value)); }

   // UTC of the last message about this device; 0: there was none.
   Attribute<Vorn::Seconds> syslogTimestamp{*this, "syslogTimestamp"};
   void syslogTimestampIs(Vorn::Seconds value) { syslogTimestamp.valueIs(value); }

   // How often the fixed device has gone.
   Attribute<std::uint32_t> disconnectCount{*this, "disconnectCount"};
   void disconnectCountInc(std::uint32_t n) { disconnectCount.valueIs(disconnectCount() + n); }

 private:
   Pelm::String name_;
   Pelm::String blockDevice_;
   Pelm::String interfaceAndAddress_;
   bool removable_;
};

class StorageDevicesInfo : public Pelm::Node {
 public:
   Vorn::Collection<Pelm::String, Pelm::Ptr<StorageDevErrorSyslogInfo>, StorageDevicesInfo> fsList{*this,
                                                                                                   "fsList"};

   // Creates the record of a name; one that is there already stays as it is.
   void fsListIs(Pelm::String const & name, Pelm::String blockDevice, Pelm::String interfaceAndAddress,
                 bool removable) {
      if (!fsList.contains(name))
         fsList.memberIs(name, Pelm::make<StorageDevErrorSyslogInfo>(
                                   name, std::move(blockDevice), std::move(interfaceAndAddress), removable));
   }
   void fsListDel(Pelm::String const & name) { fsList.memberDel(name); }
};
