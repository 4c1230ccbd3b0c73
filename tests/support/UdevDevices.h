// libudev's devices of a simulated unit.
#pragma once

#include <libudev.h>

#include <stdexcept>
#include <string>

#include "StorageDevices/Udev.h"

namespace Support {

class UdevDevices {
 public:
   StorageDevices::UdevDevicePtr device(std::string const & sysPath) const {
      StorageDevices::UdevDevicePtr device{udev_device_new_from_syspath(context_.get(), sysPath.c_str())};
      if (!device)
         throw std::runtime_error{"no device " + sysPath};
      return device;
   }

 private:
   StorageDevices::UdevPtr context_{udev_new()};
};

}  // namespace Support
