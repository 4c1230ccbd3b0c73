// The health registers of the unit's eMMC devices (JEDEC eMMC 5.0 and later), which the kernel shows in
// sysfs. Written by the eMMC monitor alone.
#pragma once

#include <cstdint>

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Collection.h"
#include "runtime/model/HealthReading.h"

namespace StorageDevices {

// A register byte that may not have been read yet.
class EmmcAttr {
 public:
   EmmcAttr() = default;
   explicit EmmcAttr(std::uint8_t raw) : raw_{raw}, present_{true} {}

   // The byte of the register; 0 also before it was read.
   std::uint8_t raw() const { return raw_; }
   // False until the register was read once.
   bool present() const { return present_; }
   bool operator==(EmmcAttr const &) const = default;

 private:
   std::uint8_t raw_ = 0;
   bool present_ = false;
};

// DEVICE_LIFE_TIME_EST_TYP_A and _B of the extended CSD register. 0x01 stands for up to 10 percent of the
// life used, and so on to 0x0A for up to 100. 0x0B stands for more, 0 for not defined.
class LifetimeEmmcAttr : public EmmcAttr {
 public:
   using EmmcAttr::EmmcAttr;

   // Percent of the life left at the start of the step: 100 for 0x01, down in tens to 10 for 0x0A, and 0 for
   // 0x0B. Any other value gives -1.
   int percentValue() const {
      constexpr std::uint8_t exceeded = 0x0B;
      if (!present() || raw() == 0 || raw() > exceeded)
         return -1;
      return (exceeded - raw()) * 10;
   }
};

// PRE_EOL_INFO of the extended CSD register, of the reserved blocks: 1 normal, 2 80 percent used, 3 90
// percent used; 0: not defined.
class PreEolEmmcAttr : public EmmcAttr {
 public:
   using EmmcAttr::EmmcAttr;
};

// One device's registers at the last good reading. All three are read together or none.
class VORN_API DeviceEmmcData : public Pelm::Node {
 public:
   explicit DeviceEmmcData(Pelm::String name);
   ~DeviceEmmcData() override;

   // The device's serial number, its key.
   Pelm::String const & name() const { return name_; }

   // EXT_CSD byte 268, first word of sysfs `life_time`. Life used of the blocks of type A, in steps of ten
   // percent; which blocks these are is the vendor's choice. Absent: not read yet.
   Vorn::Attribute<LifetimeEmmcAttr, DeviceEmmcData> lifetimeEstTypA{*this, "lifetimeEstTypA"};
   void lifetimeEstTypAIs(LifetimeEmmcAttr value);
   // EXT_CSD byte 269, second word of `life_time`. The same of type B.
   Vorn::Attribute<LifetimeEmmcAttr, DeviceEmmcData> lifetimeEstTypB{*this, "lifetimeEstTypB"};
   void lifetimeEstTypBIs(LifetimeEmmcAttr value);
   // EXT_CSD byte 267, sysfs `pre_eol_info`. Reserved blocks used, in three steps. Absent: not read yet.
   Vorn::Attribute<PreEolEmmcAttr, DeviceEmmcData> preEolInfo{*this, "preEolInfo"};
   void preEolInfoIs(PreEolEmmcAttr value);

   // How the readings of this record go; not an attribute, so it notifies nobody. A reading counts as failed
   // where a file is missing or has no number; then no register is written.
   HealthReading reading{"emmc"};

 private:
   Pelm::String name_;
};

// The records of all devices that the monitor reads. A record goes with its device.
class VORN_API EmmcData : public Pelm::Node {
 public:
   EmmcData();
   ~EmmcData() override;

   // By serial number.
   Vorn::Collection<Pelm::String, Pelm::Ptr<DeviceEmmcData>, EmmcData> deviceData{*this, "deviceData"};

   // Creates the record of a name; an existing one stays.
   void deviceDataIs(Pelm::String const & name);
   void deviceDataDel(Pelm::String const & name);
   void deviceDataDelAll();
};

}  // namespace StorageDevices
