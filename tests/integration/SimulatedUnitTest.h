// A simulated unit, and its devices as libudev shows them.
#pragma once

#include <gtest/gtest.h>
#include <libudev.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "simulation/SimulatedUnit.h"

namespace UnitTest {

struct Unref {
   void operator()(udev * p) const { udev_unref(p); }
   void operator()(udev_monitor * p) const { udev_monitor_unref(p); }
   void operator()(udev_device * p) const { udev_device_unref(p); }
   void operator()(udev_enumerate * p) const { udev_enumerate_unref(p); }
};
using UdevDevice = std::unique_ptr<udev_device, Unref>;

inline std::string text(char const * value) {
   return value == nullptr ? "(none)" : value;
}

inline std::string property(UdevDevice const & device, char const * name) {
   return text(udev_device_get_property_value(device.get(), name));
}

inline std::string attribute(udev_device * device, char const * name) {
   return device == nullptr ? "(no device)" : text(udev_device_get_sysattr_value(device, name));
}

inline std::string name(udev_device * device) {
   return device == nullptr ? "(none)" : udev_device_get_sysname(device);
}

class Udev {
 public:
   UdevDevice device(std::string const & sysPath) const {
      return UdevDevice(udev_device_new_from_syspath(context_.get(), sysPath.c_str()));
   }

   std::vector<std::string> disks() const {
      std::unique_ptr<udev_enumerate, Unref> const enumeration(udev_enumerate_new(context_.get()));
      udev_enumerate_add_match_subsystem(enumeration.get(), "block");
      udev_enumerate_add_match_property(enumeration.get(), "DEVTYPE", "disk");
      udev_enumerate_scan_devices(enumeration.get());
      std::vector<std::string> names;
      for (auto * entry = udev_enumerate_get_list_entry(enumeration.get()); entry != nullptr;
           entry = udev_list_entry_get_next(entry))
         names.push_back(name(device(udev_list_entry_get_name(entry)).get()));
      std::sort(names.begin(), names.end());
      return names;
   }

   udev * context() const { return context_.get(); }

 private:
   std::unique_ptr<udev, Unref> context_{udev_new()};
};

inline std::vector<std::string> tree(std::filesystem::path const & folder) {
   std::vector<std::string> paths;
   for (auto const & entry : std::filesystem::recursive_directory_iterator(folder))
      paths.push_back(entry.path().string());
   std::sort(paths.begin(), paths.end());
   return paths;
}

inline constexpr char const * kestrelCid = "fe014e4b455354523421a1b2c3d45a00";

class SimulatedUnitTest : public testing::Test {
 protected:
   UdevDevice device(std::string_view disk) { return udev_.device(unit_.sysPath(disk)); }

   static udev_device * parent(UdevDevice const & device, char const * subsystem, char const * type) {
      return udev_device_get_parent_with_subsystem_devtype(device.get(), subsystem, type);
   }

   StorageDevices::Simulation::SimulatedUnit unit_;
   Udev udev_;
};

}  // namespace UnitTest
