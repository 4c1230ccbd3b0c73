// Classifies a block device: skipped, a removable disk, or a fixed disk and the collector that identifies it.
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

// How the appliance's files classify a device's path.
struct PathClassification {
   enum class Kind {
      inactive,  // a drive of the multidrive file that is not the source drive
      unlisted,  // no blockdev entry matches it
      known,     // mounted at `mount`
   };

   Kind kind = Kind::unlisted;
   Pelm::String mount;  // mount name of the matching entry
   int shortage = 0;  // errno of a shortage that kept a pattern from being matched: then `kind` is undecided
};

// Answers whether a pattern matches the beginning of a path.
using Matcher = std::function<CDevsUtil::ExprAnswer(char const * path, char const * pattern)>;

// Whether multidrive lists the path, which begins below /sys/devices, and multidrive_src does not.
bool isInactive(Pelm::String const & path, ApplianceRules const & rules);

// `path` begins below /sys/devices. Calls `matcher` once per pattern that it tries.
PathClassification classifyPath(Pelm::String const & path, ApplianceRules const & rules,
                                Matcher const & matcher = &CDevsUtil::askExpr);

struct DeviceClassification {
   enum class Kind {
      removable,  // may come and go
      fixed,      // belongs to the unit
   };
   enum class Collector { none, ssd, eusb, nvme, emmc };

   Kind kind = Kind::removable;
   Pelm::Ptr<ConnectedDisk const> disk;  // with udev's properties
   Collector collector = Collector::none;
   Pelm::String links;  // DEVLINKS, which the collector of USB flash disks also reads

   bool operator==(DeviceClassification const & other) const {
      return kind == other.kind && collector == other.collector && disk->isEq(*other.disk) &&
             links == other.links;
   }
};

// Whether the device has a udev serial, a node and a path; discovery needs all three.
bool isAddressable(udev_device * device);

// The path that the appliance's patterns are matched with: the part below /sys/devices.
Pelm::String patternPath(udev_device * device);

// For an addressable device whose blockdev entry has the mount name `mount`. Reads only udev and sysfs.
DeviceClassification classify(udev_device * device, Pelm::String const & mount, FruConfig const & fruConfig);

}  // namespace StorageDevices
