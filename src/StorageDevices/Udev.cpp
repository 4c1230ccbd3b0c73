#include "StorageDevices/Udev.h"

#include <cerrno>
#include <string_view>

#include "StorageDevices/Shortage.h"

namespace StorageDevices {

namespace {

// Room for three thousand messages of udev, of some 5 KiB each. Memory is used only while messages wait.
constexpr int socketBufferBytes = 16 << 20;

int matchDisks(udev_monitor * monitor) {
   return udev_monitor_filter_add_match_subsystem_devtype(monitor, "block", "disk");
}

// A large buffer survives bursts. Without the privilege to have one, a lost event is still noticed.
int enlarge(udev_monitor * monitor) {
   udev_monitor_set_receive_buffer_size(monitor, socketBufferBytes);
   return 0;
}

int scan(udev_enumerate * devices) {
   int result = udev_enumerate_add_match_subsystem(devices, "block");
   if (result >= 0)
      result = udev_enumerate_add_match_property(devices, "DEVTYPE", "disk");
   return result >= 0 ? udev_enumerate_scan_devices(devices) : result;
}

bool isLoop(std::string_view name) {
   return name.starts_with("loop");
}

}  // namespace

std::string nameIn(std::string const & sysPath) {
   return sysPath.substr(sysPath.rfind('/') + 1);
}

bool isFollowed(udev_device * device) {
   char const * const name = udev_device_get_sysname(device);
   return udev_device_get_devtype(device) && name && !isLoop(name);
}

DiskList listDisks(udev * context) {
   // Without descriptors udev may leave out devices without an error.
   if (int const error = descriptorShortage())
      return {{}, {}, error};
   UdevEnumeratePtr const devices{udev_enumerate_new(context)};
   if (!devices)
      return {{}, {}, ENOMEM};
   if (int const result = scan(devices.get()); result < 0)
      return {{}, {}, -result};
   DiskList list;
   for (udev_list_entry * entry = udev_enumerate_get_list_entry(devices.get()); entry;
        entry = udev_list_entry_get_next(entry)) {
      std::string const sysPath = udev_list_entry_get_name(entry);
      (isLoop(nameIn(sysPath)) ? list.loopPaths : list.sysPaths).push_back(sysPath);
   }
   return list;
}

UdevMonitorPtr openDiskMonitor(udev * context) {
   UdevMonitorPtr monitor{udev_monitor_new_from_netlink(context, "udev")};
   if (!monitor)
      return nullptr;
   for (auto const step : {&matchDisks, &udev_monitor_filter_update, &enlarge, &udev_monitor_enable_receiving,
                           &udev_monitor_get_fd})
      if (int const result = step(monitor.get()); result < 0) {
         monitor.reset();
         errno = -result;
         return nullptr;
      }
   return monitor;
}

}  // namespace StorageDevices
