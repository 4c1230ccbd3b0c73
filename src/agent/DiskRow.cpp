#include "agent/DiskRow.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "agent/JsonView.h"

namespace Agent {

namespace {

using Json = rapidjson::Value;

std::string wholeText(double value) {
   return std::to_string(static_cast<long>(std::lround(value)));
}

std::string busText(Json const & disk, std::string const & interfaceAndAddress) {
   auto const bus = jsonNumber(&disk, "busType");
   auto const storageType = jsonNumber(&disk, "mibType");
   constexpr double emmc = 3;
   std::string word;
   if (bus == 0)
      word = "USB";
   else if (bus == 1)
      word = "SATA";
   else if (bus == 2)
      word = "NVMe";
   else if (bus == 3)
      word = storageType == emmc ? "eMMC" : "other";
   std::string const address = jsonText(&disk, "devAddress");
   std::string const & shown = address.empty() ? interfaceAndAddress : address;
   return word + (word.empty() || shown.empty() ? "" : " ") + shown;
}

std::string sizeText(Json const & disk) {
   auto const gigabytes = jsonNumber(&disk, "sizeGb");
   if (!gigabytes.has_value() || *gigabytes < 0 || *gigabytes > 4294967295.0)
      return {};
   return wholeText(*gigabytes) + " GB";
}

std::string kindText(Json const & disk) {
   auto const removable = jsonBool(&disk, "removable");
   if (!removable.has_value())
      return {};
   return *removable ? "removable" : "fixed";
}

// What the disk's records say of it.
struct Records {
   Json const * smart;
   Json const * nvme;
   Json const * emmc;
   Json const * fileSystem;

   Records(Json const & state, std::string const & name, std::string const & mountPoint)
       : smart{jsonMember(jsonMember(&state, "smartData"), name)},
         nvme{jsonMember(jsonMember(&state, "nvmeData"), name)},
         emmc{jsonMember(jsonMember(&state, "emmcData"), name)},
         fileSystem{jsonMember(jsonMember(jsonMember(&state, "mountPoints"), mountPoint), "fsHealth")} {}

   std::optional<double> nvmeValue(char const * field) const {
      return jsonNumber(jsonMember(nvme, field), "value");
   }
   Json const * smartAttr(char const * field) const { return jsonMember(jsonMember(smart, "attrs"), field); }
};

// Collects findings; the worst comes first.
class Verdict {
 public:
   void test(std::optional<bool> good, std::string const & otherwise, Tone tone = Tone::bad) {
      known_ = known_ || good.has_value();
      if (good.value_or(true))
         return;
      text_ += (text_.empty() ? "" : ", ") + otherwise;
      tone_ = std::max(tone_, tone);
   }

   Cell cell() const {
      if (!text_.empty())
         return {text_, tone_};
      return known_ ? Cell{"ok", Tone::good} : Cell{};
   }

 private:
   bool known_ = false;
   Tone tone_ = Tone::plain;
   std::string text_;
};

Cell healthCell(Records const & records) {
   Verdict verdict;
   verdict.test(jsonBool(records.smart, "healthStatusOk"), "SMART failing");
   if (auto const critical = records.nvmeValue("criticalWarning"))
      verdict.test(*critical == 0, "NVMe critical warning");
   double const endOfLife = jsonNumber(records.emmc, "preEolInfo").value_or(0);
   if (endOfLife >= 1 && endOfLife <= 3) {
      verdict.test(endOfLife != 3, "pre-EOL urgent");
      verdict.test(endOfLife != 2, "pre-EOL warning", Tone::warning);
   }
   verdict.test(jsonBool(records.fileSystem, "writeTestOk"), "write test failed");
   verdict.test(jsonBool(records.fileSystem, "readTestOk"), "read test failed");
   verdict.test(jsonBool(records.smart, "allAttrsPassing"), "attribute below threshold", Tone::warning);
   return verdict.cell();
}

bool isPlausible(std::optional<double> celsius) {
   return celsius.has_value() && *celsius > -273 && *celsius < 1000;
}

Cell temperatureCell(Json const * sensors, std::string const & name, Records const & records) {
   if (sensors != nullptr && sensors->IsObject()) {
      for (auto const & sensor : sensors->GetObject()) {
         auto const celsius = jsonNumber(&sensor.value, "temperature");
         if (jsonText(&sensor.value, "drive") != name || !isPlausible(celsius))
            continue;
         std::string const alarm = jsonText(&sensor.value, "alarm");
         if (alarm.empty() || alarm == "none")
            return {wholeText(*celsius) + " °C"};
         return {wholeText(*celsius) + " °C " + alarm, Tone::bad};
      }
   }
   auto const smart = jsonNumber(records.smartAttr("temperatureCelsius"), "reportedValue");
   auto const celsius = smart.has_value() ? smart : records.nvmeValue("temperatureCelsius");
   return isPlausible(celsius) ? Cell{wholeText(*celsius) + " °C"} : Cell{};
}

// The registers count tenths of the life used: 1 for up to 10 percent, 10 for up to 100, 11 for more.
std::optional<double> emmcLifeLeft(Json const * emmc) {
   std::optional<double> left;
   for (char const * field : {"lifetimeEstTypA", "lifetimeEstTypB"}) {
      auto const tenths = jsonNumber(emmc, field);
      if (tenths.has_value() && *tenths >= 1 && *tenths <= 11)
         left = std::min(left.value_or(100), 100 - 10 * (*tenths - 1));
   }
   return left;
}

Cell lifeCell(Records const & records) {
   std::optional<double> left = emmcLifeLeft(records.emmc);
   if (auto const used = records.nvmeValue("percentageUsed"))
      left = std::clamp(100 - *used, 0.0, 100.0);
   else if (auto const normalised = jsonNumber(records.smartAttr("lifetimeRemaining"), "value"))
      left = std::clamp(*normalised, 0.0, 100.0);
   if (!left.has_value())
      return {};
   return {wholeText(*left) + " %", *left < 10 ? Tone::bad : *left < 30 ? Tone::warning : Tone::plain};
}

Cell useCell(Records const & records) {
   auto const exceeded = jsonBool(records.fileSystem, "utilThresholdExceeded");
   if (!exceeded.has_value())
      return {};
   return *exceeded ? Cell{"full", Tone::warning} : Cell{"ok"};
}

bool names(std::string_view argument, DiskRow const & disk) {
   return !argument.empty() && (argument == disk.name || argument == disk.mountPoint ||
                                argument == disk.device || argument == disk.interfaceAndAddress);
}

}  // namespace

DiskRow diskRow(Json const & state, std::string const & name, Json const & disk) {
   DiskRow row;
   row.name = name;
   row.model = jsonText(&disk, "model");
   row.firmware = jsonText(&disk, "firmwareRevision");
   row.device = jsonText(&disk, "blockDevice");
   row.interfaceAndAddress = jsonText(&disk, "deviceIntfAndAddress");
   row.bus = busText(disk, row.interfaceAndAddress);
   row.size = sizeText(disk);
   row.mountPoint = jsonText(&disk, "mountPoint");
   row.kind = kindText(disk);
   Records const records{state, name, row.mountPoint};
   row.health = healthCell(records);
   row.temperature = temperatureCell(jsonMember(&state, "temperature"), name, records);
   row.life = lifeCell(records);
   row.use = useCell(records);
   return row;
}

Json const * lastMessageOf(DiskRow const & disk, Json const * messages) {
   if (messages == nullptr || !messages->IsArray())
      return nullptr;
   for (Json const * message = messages->End(); message != messages->Begin();) {
      --message;
      auto const * arguments = jsonMember(message, "arguments");
      if (arguments == nullptr || !arguments->IsArray())
         continue;
      if (std::any_of(arguments->Begin(), arguments->End(),
                      [&disk](Json const & argument) { return names(jsonText(argument), disk); }))
         return message;
   }
   return nullptr;
}

}  // namespace Agent
