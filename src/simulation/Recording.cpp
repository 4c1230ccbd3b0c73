#include <stdexcept>

#include "simulation/Disk.h"

namespace StorageDevices::Simulation {

namespace {

std::string_view nextLine(std::string_view & text) {
   auto const end = text.find('\n');
   auto const line = text.substr(0, end);
   text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
   return line;
}

void lineIs(DeviceRecord & record, bool isDisk, std::string_view line) {
   if (line.starts_with("E: SUBSYSTEM="))
      record.subsystem = line.substr(13);
   // umockdev would create nodes and links for these and never remove them; the disk's own node stays.
   bool const node = line.starts_with("N: ") || line.starts_with("S: ");
   if (!node || (isDisk && line == "N: " + std::string(record.name())))
      record.text.append(line).append("\n");
}

}  // namespace

std::vector<DeviceRecord> deviceRecords(std::string_view recording) {
   std::vector<DeviceRecord> records;
   bool inDevice = false;
   while (!recording.empty()) {
      auto const line = nextLine(recording);
      if (line.starts_with("P: /devices/")) {
         records.push_back({std::string(line.substr(3)), {}, {}, {}});
         inDevice = true;
      }
      if (line.empty()) {
         inDevice = false;
         continue;
      }
      if (!inDevice)
         throw std::invalid_argument("a device of a recording begins with its path: " + std::string(line));
      lineIs(records.back(), records.size() == 1, line);
   }
   if (records.empty())
      throw std::invalid_argument("the recording holds no device");
   for (auto const & record : records)
      if (record.subsystem.empty())
         throw std::invalid_argument(record.path + " has no subsystem");
   return records;
}

}  // namespace StorageDevices::Simulation
