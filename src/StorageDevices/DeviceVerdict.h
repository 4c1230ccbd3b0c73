// What a block device is to this unit: nothing, a removable disk, or one of its own and who identifies it.
#pragma once

#include <functional>

#include "StorageDevices/ApplianceRules.h"
#include "StorageDevices/CDevsUtil.h"
#include "StorageDevices/ConnectedDisk.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/model/FruConfig.h"

struct udev_device;

namespace StorageDevices {

// What the appliance's files say of a device's path.
struct PathVerdict {
   enum class Kind {
      inactive,  // a drive of the multidrive file that is not the source drive
      strange,   // no blockdev entry speaks of it
      known,     // mounted at `mount`
   };

   Kind kind = Kind::strange;
   Pelm::String mount;  // mount name of the entry that speaks of it
   int shortage = 0;    // errno for want of which a pattern could not be matched: then nothing is decided
};

// What is asked whether a pattern matches the beginning of a path.
using Matcher = std::function<CDevsUtil::ExprAnswer(char const * path, char const * pattern)>;

// Whether multidrive lists the path, which begins below /sys/devices, and multidrive_src does not.
bool isInactive(Pelm::String const & path, ApplianceRules const & rules);

// `path`: below /sys/devices. Asks once per pattern tried.
PathVerdict judgePath(Pelm::String const & path, ApplianceRules const & rules,
                      Matcher const & matcher = &CDevsUtil::askExpr);

struct DeviceVerdict {
   enum class Kind {
      removable,  // may come and go
      fixed,      // belongs to the unit
   };
   enum class Collector { none, ssd, eusb, nvme, emmc };

   Kind kind = Kind::removable;
   Pelm::Ptr<ConnectedDisk const> disk;  // as udev knows it
   Collector collector = Collector::none;
   Pelm::String links;  // what the collector of USB flash reads besides

   bool operator==(DeviceVerdict const & other) const {
      return kind == other.kind && collector == other.collector && disk->isEq(*other.disk) &&
             links == other.links;
   }
};

// Whether the device has what discovery needs of every device: udev serial, node and path.
bool isAddressable(udev_device * device);

// The device's path as the appliance's patterns mean it: below /sys/devices.
Pelm::String patternPath(udev_device * device);

// For a device that is addressable and is mounted at that name. Reads udev and sysfs alone.
DeviceVerdict judge(udev_device * device, Pelm::String const & mount, FruConfig const & fruConfig);

}  // namespace StorageDevices
