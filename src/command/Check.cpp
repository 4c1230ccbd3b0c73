#include "command/Check.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "base/JsonText.h"
#include "base/JsonView.h"

namespace Command {

namespace {

using Json = rapidjson::Value;

struct VerdictMeaning {
   std::string_view verdict;
   PluginStatus status;
};

// The worst first. Any other word is unknown.
constexpr std::array meanings{
    VerdictMeaning{"failing", PluginStatus::critical}, VerdictMeaning{"absent", PluginStatus::critical},
    VerdictMeaning{"warning", PluginStatus::warning}, VerdictMeaning{"unknown", PluginStatus::unknown},
    VerdictMeaning{"ok", PluginStatus::ok}};

// How far from the worst; of any other word that of "unknown".
std::size_t placeOf(std::string_view verdict) {
   auto const * const found =
       std::find_if(meanings.begin(), meanings.end(),
                    [verdict](VerdictMeaning const & each) { return each.verdict == verdict; });
   return found == meanings.end() ? placeOf("unknown") : static_cast<std::size_t>(found - meanings.begin());
}

// A larger one is worse. What is not known may be as it should.
int rank(PluginStatus status) {
   constexpr std::array ranks{0, 2, 3, 1};
   return ranks.at(static_cast<std::size_t>(status));
}

PluginStatus worse(PluginStatus a, PluginStatus b) {
   return rank(a) < rank(b) ? b : a;
}

// An absent disk is described by its figures.
std::string deviceOf(Json const & state, std::string const & serial) {
   Json const * const connected = Base::jsonMember(Base::jsonMember(&state, "connectedDevices"), "disk");
   std::string device = Base::jsonText(Base::jsonMember(connected, serial), "blockDevice");
   if (!device.empty())
      return device;
   Json const * const figures = Base::jsonMember(Base::jsonMember(&state, "figures"), serial);
   return Base::jsonText(Base::jsonMember(figures, "disk"), "blockDevice");
}

void addFigures(CheckedDisk & disk, Json const & state) {
   Json const * const figures = Base::jsonMember(Base::jsonMember(&state, "figures"), disk.serial);
   disk.temperature = Base::jsonNumber(figures, "temperature");
   disk.lifeLeft = Base::jsonNumber(figures, "lifeLeft");
   Json const * const sensors = Base::jsonMember(&state, "temperature");
   if (sensors == nullptr || !sensors->IsObject())
      return;
   for (auto const & sensor : sensors->GetObject())
      if (Base::jsonText(&sensor.value, "drive") == disk.serial) {
         disk.overheat = Base::jsonNumber(&sensor.value, "overheat");
         disk.critical = Base::jsonNumber(&sensor.value, "critical");
      }
}

CheckedDisk diskOf(Json const & state, std::string serial, Json const * verdict) {
   CheckedDisk disk{std::move(serial), {}, Base::jsonText(verdict, "verdict")};
   if (disk.verdict.empty())
      disk.verdict = "unknown";
   disk.status = statusOf(disk.verdict);
   disk.device = deviceOf(state, disk.serial);
   for (Json const & reason : Base::jsonElements(Base::jsonMember(verdict, "reasons")))
      disk.reasons.push_back({Base::jsonText(&reason, "code"), Base::jsonText(&reason, "verdict"),
                              Base::jsonText(&reason, "text")});
   addFigures(disk, state);
   return disk;
}

std::vector<CheckedDisk> disksOf(Json const & state, Json const & verdicts) {
   std::vector<CheckedDisk> disks;
   for (auto const & verdict : verdicts.GetObject())
      disks.push_back(diskOf(state, std::string{Base::jsonText(verdict.name)}, &verdict.value));
   std::sort(disks.begin(), disks.end(), [](CheckedDisk const & a, CheckedDisk const & b) {
      return std::tuple{placeOf(a.verdict), std::string_view{a.serial}} <
             std::tuple{placeOf(b.verdict), std::string_view{b.serial}};
   });
   return disks;
}

std::string remarkOn(Json const & state, CheckResult const & result) {
   Json const * const waiting =
       Base::jsonMember(Base::jsonMember(&state, "discovery"), "unclassifiedDevices");
   if (Base::jsonBool(&state, "internalDevicesReady") == false)
      return "disks are still being identified";
   if (waiting != nullptr && waiting->IsObject() && !waiting->ObjectEmpty())
      return "devices that wait to be classified: " + std::to_string(waiting->MemberCount());
   std::string const unit = Base::jsonText(Base::jsonMember(&state, "unit"), "verdict");
   if (worse(result.status, statusOf(unit)) != result.status)
      return "the agent's verdict on the unit: " + (unit.empty() ? "none" : unit);
   if (result.disks.empty() && result.missing.empty())
      return "no disk is watched: \"storagedevices check-config\" shows why";
   return {};
}

void countVerdicts(CheckResult & result) {
   for (VerdictMeaning const & meaning : meanings)
      result.counts[std::string{meaning.verdict}] = 0;
   for (CheckedDisk const & disk : result.disks)
      ++result.counts[std::string{meanings.at(placeOf(disk.verdict)).verdict}];
}

void writeOptional(Base::JsonWriter & writer, char const * key, std::optional<double> const & value) {
   if (value)
      Base::writeMember(writer, key, *value);
}

void writeDisk(Base::JsonWriter & writer, CheckedDisk const & disk) {
   writer.StartObject();
   Base::writeMember(writer, "serial", disk.serial);
   Base::writeMember(writer, "device", disk.device);
   Base::writeMember(writer, "verdict", disk.verdict);
   writer.Key("reasons");
   writer.StartArray();
   for (CheckedReason const & reason : disk.reasons) {
      writer.StartObject();
      Base::writeMember(writer, "code", reason.code);
      Base::writeMember(writer, "verdict", reason.verdict);
      Base::writeMember(writer, "text", reason.text);
      writer.EndObject();
   }
   writer.EndArray();
   writeOptional(writer, "temperature", disk.temperature);
   writeOptional(writer, "lifeLeft", disk.lifeLeft);
   writer.EndObject();
}

// An object with the status, and what `rest` adds.
template <class Rest>
std::string statusJson(PluginStatus status, Rest rest) {
   Base::JsonBuffer buffer;
   Base::JsonWriter writer{buffer};
   writer.StartObject();
   Base::writeMember(writer, "status", statusWord(status));
   Base::writeMember(writer, "exitCode", static_cast<int>(status));
   rest(writer);
   writer.EndObject();
   return std::string{buffer.GetString(), buffer.GetSize()} + "\n";
}

}  // namespace

std::string_view statusWord(PluginStatus status) {
   constexpr std::array<std::string_view, 4> words{"OK", "WARNING", "CRITICAL", "UNKNOWN"};
   return words.at(static_cast<std::size_t>(status));
}

PluginStatus statusOf(std::string_view verdict) {
   return meanings.at(placeOf(verdict)).status;
}

CheckResult checkResult(Json const & state) {
   Json const * const verdicts = Base::jsonMember(&state, "verdicts");
   if (verdicts == nullptr || !verdicts->IsObject())
      throw std::runtime_error{
          "the agent's answer has no verdicts: is it of the same version as this program?"};
   Json const * const limits = Base::jsonMember(&state, "limits");
   CheckResult result{.status = PluginStatus::ok,
                      .disks = disksOf(state, *verdicts),
                      .lifeWarning = Base::jsonNumber(limits, "lifeWarning"),
                      .lifeFailing = Base::jsonNumber(limits, "lifeFailing")};
   countVerdicts(result);
   for (Json const & mountPoint :
        Base::jsonElements(Base::jsonMember(Base::jsonMember(&state, "unit"), "missing")))
      result.missing.emplace_back(Base::jsonText(mountPoint));
   if (!result.missing.empty())
      result.status = PluginStatus::critical;
   for (CheckedDisk const & disk : result.disks)
      result.status = worse(result.status, disk.status);
   result.remark = remarkOn(state, result);
   if (!result.remark.empty())
      result.status = worse(result.status, PluginStatus::unknown);
   result.status =
       worse(result.status, statusOf(Base::jsonText(Base::jsonMember(&state, "unit"), "verdict")));
   return result;
}

std::string checkJson(CheckResult const & result) {
   return statusJson(result.status, [&result](Base::JsonWriter & writer) {
      writer.Key("disks");
      writer.StartArray();
      for (CheckedDisk const & disk : result.disks)
         writeDisk(writer, disk);
      writer.EndArray();
      writer.Key("missing");
      writer.StartArray();
      for (std::string const & mountPoint : result.missing)
         Base::writeText(writer, mountPoint);
      writer.EndArray();
      if (!result.remark.empty())
         Base::writeMember(writer, "remark", result.remark);
   });
}

std::string unknownJson(std::string_view why) {
   return statusJson(PluginStatus::unknown,
                     [why](Base::JsonWriter & writer) { Base::writeMember(writer, "error", why); });
}

}  // namespace Command
