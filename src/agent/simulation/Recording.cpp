#include <optional>
#include <stdexcept>

#include "agent/simulation/Disk.h"

namespace Agent::Simulation {

namespace {

std::string_view nextLine(std::string_view & text) {
   auto const end = text.find('\n');
   auto const line = text.substr(0, end);
   text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
   return line;
}

}  // namespace

std::vector<DeviceRecord> deviceRecords(std::string_view recording) {
   std::vector<DeviceRecord> records;
   bool inDevice = false;
   while (!recording.empty()) {
      auto const line = nextLine(recording);
      if (line.empty()) {
         inDevice = false;
         continue;
      }
      if (line.starts_with("P: /devices/")) {
         records.push_back({std::string(line.substr(3)), {}, {}, {}});
         inDevice = true;
      }
      if (!inDevice)
         throw std::invalid_argument("a device of a recording begins with its path: " + std::string(line));
      if (line.starts_with("E: SUBSYSTEM="))
         records.back().subsystem = line.substr(13);
      records.back().text.append(line).append("\n");
   }
   for (auto const & record : records)
      if (record.subsystem.empty())
         throw std::invalid_argument(record.path + " has no subsystem");
   if (records.empty())
      throw std::invalid_argument("the recording holds no device");
   return records;
}

}  // namespace Agent::Simulation
