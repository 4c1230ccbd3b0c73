#include "demo/ApplianceState.h"

#include <algorithm>
#include <stdexcept>
#include <type_traits>

#include "base/Text.h"
#include "command/FileSystemWord.h"
#include "command/JsonView.h"

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

std::optional<double> valueOf(rapidjson::Value const * attr, char const * member) {
   return jsonNumber(attr, member);
}

std::string failingReading(rapidjson::Value const * readings) {
   if (readings == nullptr || !readings->IsArray())
      return {};
   for (auto const & reading : readings->GetArray())
      if (std::string const reason = jsonText(&reading, "reason"); !reason.empty())
         return jsonText(&reading, "source") + ": " + reason;
   return {};
}

std::string alarmOf(rapidjson::Value const & state, std::string const & serial) {
   auto const * sensors = jsonMember(&state, "temperature");
   if (sensors == nullptr || !sensors->IsObject())
      return {};
   for (auto const & sensor : sensors->GetObject())
      if (jsonText(&sensor.value, "drive") == serial)
         return jsonText(&sensor.value, "alarm");
   return {};
}

DiskHealth diskHealth(rapidjson::Value const & state, std::string const & serial) {
   auto const * smart = jsonMember(jsonMember(&state, "smartData"), serial);
   auto const * attrs = jsonMember(smart, "attrs");
   auto const * nvme = jsonMember(jsonMember(&state, "nvmeData"), serial);
   auto const * emmc = jsonMember(jsonMember(&state, "emmcData"), serial);
   auto const firstOf = [](std::optional<double> a, std::optional<double> b) { return a ? a : b; };
   DiskHealth health;
   health.passed = jsonBool(smart, "healthStatusOk");
   health.temperature = firstOf(valueOf(jsonMember(attrs, "temperatureCelsius"), "reportedValue"),
                                valueOf(jsonMember(nvme, "temperatureCelsius"), "value"));
   health.hours = firstOf(valueOf(jsonMember(attrs, "powerOnHours"), "reportedValue"),
                          valueOf(jsonMember(nvme, "powerOnHours"), "value"));
   health.lifeUsed =
       firstOf(valueOf(jsonMember(nvme, "percentageUsed"), "value"), jsonNumber(emmc, "lifetimeEstTypA"));
   health.lifeLeft = valueOf(jsonMember(attrs, "lifetimeRemaining"), "raw");
   health.failing = failingReading(jsonMember(jsonMember(&state, "readings"), serial));
   health.alarm = alarmOf(state, serial);
   return health;
}

void addFileSystems(ApplianceState & state, rapidjson::Value const * mountPoints) {
   if (mountPoints == nullptr || !mountPoints->IsObject())
      return;
   for (auto const & member : mountPoints->GetObject())
      state.fileSystems[std::string{jsonText(member.name)}] = {
          std::string{fileSystemWord(&member.value)},
          jsonBool(jsonMember(&member.value, "fsHealth"), "utilThresholdExceeded").value_or(false)};
}

void addMessages(ApplianceState & state, rapidjson::Value const * messages) {
   if (messages == nullptr || !messages->IsArray())
      return;
   for (auto const & message : messages->GetArray())
      state.messages.push_back(
          {natural(message, "sequence"), jsonText(&message, "name"), jsonText(&message, "text")});
}

rapidjson::Document parsedObject(std::string_view text, char const * what) {
   rapidjson::Document json;
   json.Parse(text.data(), text.size());
   if (json.HasParseError() || !json.IsObject())
      throw std::runtime_error(std::string("the agent's ") + what + " is no JSON object");
   return json;
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

std::string shown(std::optional<double> value) {
   return value ? std::to_string(static_cast<long>(*value)) : "?";
}

std::string shown(std::optional<bool> verdict) {
   return !verdict ? "?" : *verdict ? "passed" : "FAILING";
}

std::string shown(std::string const & failing) {
   return failing.empty() ? "good" : failing;
}

std::string healthChanges(DiskHealth const & before, DiskHealth const & now) {
   std::string line;
   auto const tell = [&line](char const * what, auto const & old, auto const & current) {
      difference(line, what, shown(old), shown(current));
   };
   tell("self-test", before.passed, now.passed);
   tell("degrees", before.temperature, now.temperature);
   tell("hours", before.hours, now.hours);
   tell("life used", before.lifeUsed, now.lifeUsed);
   tell("life left", before.lifeLeft, now.lifeLeft);
   tell("reading", before.failing, now.failing);
   if (!now.alarm.empty())
      difference(line, "alarm", before.alarm.empty() ? std::string("?") : before.alarm, now.alarm);
   return line;
}

std::string changes(FileSystemState const & before, FileSystemState const & now) {
   std::string line;
   difference(line, "file system", before.word.empty() ? std::string("?") : before.word, now.word);
   if (before.isFull != now.isFull)
      line += now.isFull ? "  now full" : "  full no more";
   return line;
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

DiskHealth const * ApplianceState::healthOf(std::string const & serial) const {
   auto const found = health.find(serial);
   return found == health.end() ? nullptr : &found->second;
}

bool ApplianceState::told(std::string_view name, std::initializer_list<std::string_view> parts) const {
   return std::any_of(messages.begin(), messages.end(), [&](Message const & message) {
      return message.name == name && std::all_of(parts.begin(), parts.end(), [&](std::string_view part) {
                return message.text.find(part) != std::string::npos;
             });
   });
}

ApplianceState parseState(std::string_view document, std::string_view messages) {
   auto const json = parsedObject(document, "state");
   ApplianceState state;
   state.internalDevicesReady = jsonBool(&json, "internalDevicesReady").value_or(false);
   auto const * disks = jsonMember(jsonMember(&json, "connectedDevices"), "disk");
   if (disks != nullptr && disks->IsObject())
      for (auto const & member : disks->GetObject()) {
         std::string const serial{jsonText(member.name)};
         state.disks.emplace(serial, diskState(member.value));
         state.health.emplace(serial, diskHealth(json, serial));
      }
   addFileSystems(state, jsonMember(&json, "mountPoints"));
   if (!messages.empty()) {
      auto const list = parsedObject(messages, "list of messages");
      addMessages(state, jsonMember(&list, "messages"));
   }
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
      auto const * oldHealth = before.healthOf(serial);
      auto const * health = now.healthOf(serial);
      if (health != nullptr && *health != (oldHealth ? *oldHealth : DiskHealth{}))
         lines.push_back("~ " + escaped(serial) +
                         healthChanges(oldHealth ? *oldHealth : DiskHealth{}, *health));
   }
   for (auto const & [mountPoint, fileSystem] : now.fileSystems) {
      auto const old = before.fileSystems.find(mountPoint);
      std::string const line =
          changes(old == before.fileSystems.end() ? FileSystemState{} : old->second, fileSystem);
      if (!line.empty())
         lines.push_back("~ " + escaped(mountPoint) + line);
   }
   return lines;
}

}  // namespace Agent::Demo
