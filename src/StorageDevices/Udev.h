// Ownership of libudev's objects, and its texts as strings.
#pragma once

#include <libudev.h>

#include <memory>

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

// A property of the device; empty when it has none of that name.
inline Pelm::String udevProperty(udev_device * device, char const * name) {
   return udev_device_get_property_value(device, name);
}

}  // namespace StorageDevices
