// Ownership of libudev's objects, and its texts as strings.
#pragma once

#include <libudev.h>

#include <memory>
#include <string>
#include <vector>

#include "runtime/Pelm/String.h"

namespace StorageDevices {

template <auto unref>
struct UdevUnref {
   template <class T>
   void operator()(T * object) const {
      unref(object);
   }
};

using UdevPtr = std::unique_ptr<udev, UdevUnref<udev_unref>>;
using UdevMonitorPtr = std::unique_ptr<udev_monitor, UdevUnref<udev_monitor_unref>>;
using UdevEnumeratePtr = std::unique_ptr<udev_enumerate, UdevUnref<udev_enumerate_unref>>;
using UdevDevicePtr = std::unique_ptr<udev_device, UdevUnref<udev_device_unref>>;

// The folders in sysfs of all whole disks. A loop device is no disk.
struct DiskList {
   std::vector<std::string> sysPaths;
   std::vector<std::string> loopPaths;  // of the loop devices, for a host that says why they are skipped
   int error = 0;                       // errno value when they could not be listed
};
DiskList listDisks(udev * context);

// A receiving monitor of the events of whole disks; null, with errno set, when udev refuses it.
UdevMonitorPtr openDiskMonitor(udev * context);

// The kernel's name of a device.
std::string nameIn(std::string const & sysPath);

// Whether the events of the device are followed: it has a type in udev, and it is no loop device. The filter
// of `openDiskMonitor` passes no device without a type.
bool isFollowed(udev_device * device);

// A property of the device; empty when it has none of that name.
inline Pelm::String udevProperty(udev_device * device, char const * name) {
   return udev_device_get_property_value(device, name);
}

}  // namespace StorageDevices
