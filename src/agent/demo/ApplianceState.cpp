#include "agent/demo/ApplianceState.h"

#include <stdexcept>
#include <type_traits>

#include "agent/JsonView.h"
#include "agent/Text.h"

namespace Agent::Demo {

namespace {

unsigned natural(rapidjson::Value const & value, std::string_view name) {
   double const number = jsonNumber(&value, name).value_or(0);
   return number > 0 && number < 4294967296.0 ? static_cast<unsigned>(number) : 0;
}

DiskState diskState(rapidjson::Value const & value) {
   DiskState disk;
   disk.model = jsonText(&value, "model");
   disk.firmware = jsonText(&value, "firmwareRevision");
   disk.blockDevice = jsonText(&value, "blockDevice");
   disk.mountPoint = jsonText(&value, "mountPoint");
   disk.removable = jsonBool(&value, "removable").value_or(false);
   disk.mibType = static_cast<int>(natural(value, "mibType"));
   disk.busType = static_cast<int>(natural(value, "busType"));
   disk.sizeGb = natural(value, "sizeGb");
   return disk;
}

std::string described(std::string const & serial, DiskState const & disk) {
   return escaped(serial) + "  " + escaped(disk.model) + "  firmware " + escaped(disk.firmware) + "  " +
          escaped(disk.blockDevice) + "  " + std::to_string(disk.sizeGb) + " GB  " +
          (disk.removable ? "removable  " : "fixed  ") + escaped(disk.mountPoint);
}

template <typename Value>
void difference(std::string & line, char const * what, Value const & before, Value const & now) {
   if (before == now)
      return;
   line.append("  ").append(what).append(" ");
   if constexpr (std::is_arithmetic_v<Value>)
      line.append(std::to_string(before)).append(" -> ").append(std::to_string(now));
   else
      line.append(escaped(before)).append(" -> ").append(escaped(now));
}

std::string changes(DiskState const & before, DiskState const & now) {
   std::string line;
   difference(line, "model", before.model, now.model);
   difference(line, "firmware", before.firmware, now.firmware);
   difference(line, "device", before.blockDevice, now.blockDevice);
   difference(line, "mount point", before.mountPoint, now.mountPoint);
   difference(line, "GB", before.sizeGb, now.sizeGb);
   difference(line, "type", before.mibType, now.mibType);
   difference(line, "bus", before.busType, now.busType);
   if (before.removable != now.removable)
      line += now.removable ? "  now removable" : "  now fixed";
   return line;
}

}  // namespace

DiskState const * ApplianceState::disk(std::string const & serial) const {
   auto const found = disks.find(serial);
   return found == disks.end() ? nullptr : &found->second;
}

ApplianceState parseState(std::string_view document) {
   rapidjson::Document json;
   json.Parse(document.data(), document.size());
   if (json.HasParseError() || !json.IsObject())
      throw std::runtime_error("the agent's state is no JSON object");
   ApplianceState state;
   state.internalDevicesReady = jsonBool(&json, "internalDevicesReady").value_or(false);
   auto const * disks = jsonMember(jsonMember(&json, "connectedDevices"), "disk");
   if (disks != nullptr && disks->IsObject())
      for (auto const & member : disks->GetObject())
         state.disks.emplace(jsonText(member.name), diskState(member.value));
   return state;
}

std::vector<std::string> differences(ApplianceState const & before, ApplianceState const & now) {
   std::vector<std::string> lines;
   for (auto const & [serial, disk] : before.disks)
      if (now.disk(serial) == nullptr)
         lines.push_back("- " + described(serial, disk));
   for (auto const & [serial, disk] : now.disks) {
      auto const * old = before.disk(serial);
      if (old == nullptr)
         lines.push_back("+ " + described(serial, disk));
      else if (*old != disk)
         lines.push_back("~ " + escaped(serial) + changes(*old, disk));
   }
   return lines;
}

}  // namespace Agent::Demo
