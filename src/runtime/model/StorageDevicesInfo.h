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
class RUNTIME_API StorageDevErrorSyslogInfo : public Pelm::Node {
 public:
   StorageDevErrorSyslogInfo(Pelm::String name, Pelm::String blockDevice, Pelm::String interfaceAndAddress,
                             bool removable);
   ~StorageDevErrorSyslogInfo() override;

   // The device's serial number, its key.
   Pelm::String const & name() const { return name_; }
   Pelm::String const & blockDevice() const { return blockDevice_; }
   Pelm::String const & interfaceAndAddress() const { return interfaceAndAddress_; }
   bool removable() const { return removable_; }
   bool isMadeOf(Pelm::String const & blockDevice, Pelm::String const & interfaceAndAddress,
                 bool removable) const {
      return blockDevice_ == blockDevice && interfaceAndAddress_ == interfaceAndAddress &&
             removable_ == removable;
   }

   template <class T>
   using Attribute = Vorn::Attribute<T, StorageDevErrorSyslogInfo>;

   // The block device without its directory.
   Attribute<Pelm::String> kernelDevName{*this, "kernelDevName"};
   void kernelDevNameIs(Pelm::String value);
   Attribute<Pelm::String> model{*this, "model"};
   void modelIs(Pelm::String value);
   Attribute<Pelm::String> firmwareRevision{*this, "firmwareRevision"};
   void firmwareRevisionIs(Pelm::String value);

   // UTC of the last message about this device; 0: none yet.
   Attribute<Vorn::Seconds> syslogTimestamp{*this, "syslogTimestamp"};
   void syslogTimestampIs(Vorn::Seconds value);

   // How often the fixed device was disconnected.
   Attribute<std::uint32_t> disconnectCount{*this, "disconnectCount"};
   void disconnectCountInc(std::uint32_t n);

 private:
   Pelm::String name_;
   Pelm::String blockDevice_;
   Pelm::String interfaceAndAddress_;
   bool removable_;
};

class RUNTIME_API StorageDevicesInfo : public Pelm::Node {
 public:
   StorageDevicesInfo();
   ~StorageDevicesInfo() override;

   Vorn::Collection<Pelm::String, Pelm::Ptr<StorageDevErrorSyslogInfo>, StorageDevicesInfo> fsList{*this,
                                                                                                   "fsList"};

   // Creates the record of a name, or replaces it if another argument differs. The counters of a replaced
   // record are lost.
   void fsListIs(Pelm::String const & name, Pelm::String blockDevice, Pelm::String interfaceAndAddress,
                 bool removable);
   void fsListDel(Pelm::String const & name);
   void fsListDelAll();
};
