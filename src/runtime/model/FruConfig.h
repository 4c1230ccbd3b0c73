// The expected storage of the unit, and the directories of its files. Written by the host.
#pragma once

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Collection.h"

class VORN_API FruConfig : public Pelm::Node {
 public:
   FruConfig();
   ~FruConfig() override;

   // Directory of the appliance's files blockdev, multidrive and multidrive_src. Discovery reads them at its
   // start, and again only where a shortage kept it from that.
   Vorn::Attribute<Pelm::String, FruConfig> etcDir{*this, "etcDir", "/etc"};
   void etcDirIs(Pelm::String value);

   // Directory of the mount-source files, one per mount name. DeviceDetectionSm reads them once, at its
   // start.
   Vorn::Attribute<Pelm::String, FruConfig> mountSourceDir{*this, "mountSourceDir", "/etc"};
   void mountSourceDirIs(Pelm::String value);

   // The mount names (second fields of blockdev entries) at which the unit must have a disk: "drive2" for
   // /mnt/drive2. A disk at one of them is fixed. So are those at flash, drive and drive2, expected or not.
   struct Expected {
      bool operator==(Expected const &) const = default;
   };
   Vorn::Collection<Pelm::String, Expected, FruConfig> expectedMounts{*this, "expectedMounts"};
   void expectedMountsIs(Pelm::String const & mount);
   void expectedMountsDel(Pelm::String const & mount);
   void expectedMountsDelAll();

   // A drive's serial number to the name of its temperature sensor; an empty name: none. Changes take effect
   // at once. Configure the sensor first (Environment::Temperature::Config): an unknown one is not shown.
   Vorn::Collection<Pelm::String, Pelm::String, FruConfig> serialToSensorMap{*this, "serialToSensorMap"};
   void serialToSensorMapIs(Pelm::String const & serial, Pelm::String sensor);
   void serialToSensorMapDel(Pelm::String const & serial);
   void serialToSensorMapDelAll();
};
