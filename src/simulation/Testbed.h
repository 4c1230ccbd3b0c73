// The umockdev test bed of a simulated unit; hides GLib.
#pragma once

#include <filesystem>
#include <memory>
#include <string_view>

#include "simulation/Disk.h"

namespace StorageDevices::Simulation {

class Testbed {
 public:
   // Throws std::runtime_error when the preload is missing, another test bed lives or no folder can be made.
   Testbed();
   ~Testbed();

   std::filesystem::path const & folder() const { return folder_; }
   // The real path of a device's sysfs folder; `devicePath` is the kernel's.
   std::filesystem::path sysFolder(std::string_view devicePath) const;

   // Throws std::invalid_argument when umockdev does not understand the record.
   void deviceIs(DeviceRecord const & record);
   void deviceDel(DeviceRecord const & record);
   void propertyIs(std::string_view devicePath, std::string_view name, std::string_view value);
   // Every listener must have room; otherwise umockdev ends the process.
   void event(std::string_view devicePath, std::string_view action);

 private:
   struct Handle;
   std::unique_ptr<Handle> handle_;
   std::filesystem::path folder_;
};

}  // namespace StorageDevices::Simulation
