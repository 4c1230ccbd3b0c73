// Writes one device in the text form of umockdev-record.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>

#include "simulation/Disk.h"

namespace StorageDevices::Simulation {

class DeviceText {
 public:
   // `path` begins with "/devices/".
   DeviceText(std::string path, std::string_view subsystem);

   DeviceText & node(std::string_view name);
   DeviceText & property(std::string_view name, std::string_view value);
   // A line feed ends the value, as in sysfs.
   DeviceText & attribute(std::string_view name, std::string_view value);
   DeviceText & link(std::string_view name, std::string_view target);

   // Takes `values` over those given so far; leaves out what is in `absent`.
   DeviceText & propertiesAre(std::map<std::string, std::string> const & values);
   DeviceText & attributesAre(std::map<std::string, std::string> const & values);
   DeviceText & absentAre(std::set<std::string> const & names);

   std::string const & path() const { return path_; }
   // Throws std::invalid_argument for a name or value that is impossible in sysfs.
   DeviceRecord record() const;

 private:
   std::string path_;
   std::string subsystem_;
   std::string node_;
   std::map<std::string, std::string, std::less<>> properties_;
   std::map<std::string, std::string, std::less<>> attributes_;
   std::map<std::string, std::string, std::less<>> links_;
};

}  // namespace StorageDevices::Simulation
