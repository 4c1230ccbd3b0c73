#include "demo/ApplianceState.h"

#include <algorithm>
#include <stdexcept>
#include <type_traits>

#include "base/FileSystemWord.h"
#include "base/JsonView.h"
#include "base/Text.h"

namespace Demo {

namespace {

unsigned natural(rapidjson::Value const & value, std::string_view name) {
   double const number = Base::jsonNumber(&value, name).value_or(0);
   return number > 0 && number < 4294967296.0 ? static_cast<unsigned>(number) : 0;
}

DiskState diskState(rapidjson::Value const & value) {
   DiskState disk;
   disk.model = Base::jsonText(&value, "model");
   disk.firmware = Base::jsonText(&value, "firmwareRevision");
   disk.blockDevice = Base::jsonText(&value, "blockDevice");
   disk.mountPoint = Base::jsonText(&value, "mountPoint");
   disk.removable = Base::jsonBool(&value, "removable").value_or(false);
   disk.mibType = static_cast<int>(natural(value, "mibType"));
   disk.busType = static_cast<int>(natural(value, "busType"));
   disk.sizeGb = natural(value, "sizeGb");
   return disk;
}

std::string failingReading(rapidjson::Value const * readings) {
   for (auto const & reading : Base::jsonElements(readings))
      if (std::string const reason = Base::jsonText(&reading, "reason"); !reason.empty())
         return Base::jsonText(&reading, "source") + ": " + reason;
   return {};
}

std::vector<std::string> codesOf(rapidjson::Value const * reasons) {
   std::vector<std::string> codes;
   for (auto const & reason : Base::jsonElements(reasons))
      codes.push_back(Base::jsonText(&reason, "code"));
   return codes;
}

DiskHealth diskHealth(rapidjson::Value const & state, std::string const & serial) {
   auto const * verdict = Base::jsonMember(Base::jsonMember(&state, "verdicts"), serial);
   auto const * figures = Base::jsonMember(Base::jsonMember(&state, "figures"), serial);
   DiskHealth health;
   health.verdict = Base::jsonText(verdict, "verdict");
   health.reasons = codesOf(Base::jsonMember(verdict, "reasons"));
   health.temperature = Base::jsonNumber(figures, "temperature");
   health.hours = Base::jsonNumber(figures, "powerOnHours");
   health.lifeLeft = Base::jsonNumber(figures, "lifeLeft");
   health.failing = failingReading(Base::jsonMember(Base::jsonMember(&state, "readings"), serial));
   return health;
}

// Of each member of an object of the document.
template <class Visit>
void forEachMember(rapidjson::Value const * object, Visit visit) {
   if (object != nullptr && object->IsObject())
      for (auto const & member : object->GetObject())
         visit(std::string{Base::jsonText(member.name)}, member.value);
}

void addMessages(ApplianceState & state, rapidjson::Value const * messages) {
   for (auto const & message : Base::jsonElements(messages))
      state.messages.push_back(
          {natural(message, "sequence"), Base::jsonText(&message, "name"), Base::jsonText(&message, "text")});
}

rapidjson::Document parsedObject(std::string_view text, char const * what) {
   auto json = Base::parsedJson(text, what);
   if (!json.IsObject())
      throw std::runtime_error(std::string("the agent's ") + what + " is no JSON object");
   return json;
}

std::string described(std::string const & serial, DiskState const & disk) {
   return Base::escaped(serial) + "  " + Base::escaped(disk.model) + "  firmware " +
          Base::escaped(disk.firmware) + "  " + Base::escaped(disk.blockDevice) + "  " +
          std::to_string(disk.sizeGb) + " GB  " + (disk.removable ? "removable  " : "fixed  ") +
          Base::escaped(disk.mountPoint);
}

template <typename Value>
void difference(std::string & line, char const * what, Value const & before, Value const & now) {
   if (before == now)
      return;
   line.append("  ").append(what).append(" ");
   if constexpr (std::is_arithmetic_v<Value>)
      line.append(std::to_string(before)).append(" -> ").append(std::to_string(now));
   else
      line.append(Base::escaped(before)).append(" -> ").append(Base::escaped(now));
}

std::string shown(std::optional<double> value) {
   return value ? std::to_string(static_cast<std::int64_t>(*value)) : "?";
}

std::string shown(std::string const & text) {
   return text.empty() ? "?" : text;
}

// "warning (life-low, overheat)".
std::string verdictText(DiskHealth const & health) {
   std::string text = shown(health.verdict);
   for (std::size_t i = 0; i < health.reasons.size(); ++i)
      text += (i == 0 ? " (" : ", ") + health.reasons[i];
   return text + (health.reasons.empty() ? "" : ")");
}

std::string healthChanges(DiskHealth const & before, DiskHealth const & now) {
   std::string line;
   difference(line, "verdict", verdictText(before), verdictText(now));
   difference(line, "degrees", shown(before.temperature), shown(now.temperature));
   difference(line, "hours", shown(before.hours), shown(now.hours));
   difference(line, "life left", shown(before.lifeLeft), shown(now.lifeLeft));
   auto const reading = [](DiskHealth const & health) {
      return health.failing.empty() ? std::string("good") : health.failing;
   };
   difference(line, "reading", reading(before), reading(now));
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

bool ApplianceState::hasReason(std::string const & serial, std::string_view code) const {
   auto const * found = healthOf(serial);
   return found != nullptr &&
          std::find(found->reasons.begin(), found->reasons.end(), code) != found->reasons.end();
}

bool ApplianceState::hasLogged(std::string_view name, std::initializer_list<std::string_view> parts) const {
   return std::any_of(messages.begin(), messages.end(), [&](Message const & message) {
      return message.name == name && std::all_of(parts.begin(), parts.end(), [&](std::string_view part) {
                return message.text.find(part) != std::string::npos;
             });
   });
}

ApplianceState parseState(std::string_view document, std::string_view messages) {
   auto const json = parsedObject(document, "state document");
   ApplianceState state;
   state.internalDevicesReady = Base::jsonBool(&json, "internalDevicesReady").value_or(false);
   forEachMember(Base::jsonMember(Base::jsonMember(&json, "connectedDevices"), "disk"),
                 [&](auto const & serial, auto const & disk) {
                    state.disks.emplace(serial, diskState(disk));
                    state.health.emplace(serial, diskHealth(json, serial));
                 });
   forEachMember(Base::jsonMember(&json, "verdicts"), [&](auto const & serial, auto const &) {
      state.health.emplace(serial, diskHealth(json, serial));
   });
   forEachMember(Base::jsonMember(&json, "mountPoints"), [&](auto const & mountPoint, auto const & mount) {
      state.fileSystems.emplace(mountPoint, Base::fileSystemWord(&mount));
   });
   if (!messages.empty()) {
      auto const list = parsedObject(messages, "list of messages");
      addMessages(state, Base::jsonMember(&list, "messages"));
   }
   return state;
}

std::vector<std::string> messageNames(std::string_view catalogue) {
   auto const json = parsedObject(catalogue, "catalogue");
   std::vector<std::string> names;
   for (auto const & message : Base::jsonElements(Base::jsonMember(&json, "messages")))
      names.push_back(Base::jsonText(&message, "name"));
   return names;
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
         lines.push_back("~ " + Base::escaped(serial) + changes(*old, disk));
   }
   for (auto const & [serial, health] : now.health) {
      auto const * old = before.healthOf(serial);
      if (health != (old ? *old : DiskHealth{}))
         lines.push_back("~ " + Base::escaped(serial) + healthChanges(old ? *old : DiskHealth{}, health));
   }
   for (auto const & [mountPoint, word] : now.fileSystems) {
      auto const old = before.fileSystems.find(mountPoint);
      std::string line;
      difference(line, "file system", shown(old == before.fileSystems.end() ? "" : old->second), word);
      if (!line.empty())
         lines.push_back("~ " + Base::escaped(mountPoint) + line);
   }
   return lines;
}

}  // namespace Demo
