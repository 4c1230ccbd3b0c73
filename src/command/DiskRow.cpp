#include "command/DiskRow.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "command/FileSystemWord.h"
#include "command/JsonView.h"
#include "command/Quantity.h"

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
   Json const * ioStat;
   Json const * readings;
   std::optional<double> now;

   Records(Json const & state, std::string const & name, std::string const & mountPoint)
       : smart{jsonMember(jsonMember(&state, "smartData"), name)},
         nvme{jsonMember(jsonMember(&state, "nvmeData"), name)},
         emmc{jsonMember(jsonMember(&state, "emmcData"), name)},
         fileSystem{jsonMember(jsonMember(jsonMember(&state, "mountPoints"), mountPoint), "fsHealth")},
         ioStat{jsonMember(jsonMember(&state, "ioStatData"), name)},
         readings{jsonMember(jsonMember(&state, "readings"), name)},
         now{jsonNumber(&state, "time")} {}

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

// The two phases have a verdict only when the test is over, which is while it waits for the next one.
void addFileSystemTest(Verdict & verdict, Json const * test) {
   auto const running = jsonBool(test, "running");
   verdict.test(running, "file system test stopped");
   if (!running.value_or(false) || jsonText(test, "state") != "idle")
      return;
   auto const written = jsonBool(test, "writeTestOk");
   verdict.test(written, "write test failed");
   if (written.value_or(false))
      verdict.test(jsonBool(test, "readTestOk"), "read test failed");
}

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
   addFileSystemTest(verdict, records.fileSystem);
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

std::optional<double> reportedValue(Json const * attr) {
   auto const reported = jsonNumber(attr, "reportedValue");
   return reported.has_value() ? reported : jsonNumber(attr, "value");
}

Cell lifeCell(Records const & records) {
   std::optional<double> left = emmcLifeLeft(records.emmc);
   if (auto const used = records.nvmeValue("percentageUsed"))
      left = std::clamp(100 - *used, 0.0, 100.0);
   else if (auto const reported = reportedValue(records.smartAttr("lifetimeRemaining")))
      left = std::clamp(*reported, 0.0, 100.0);
   if (!left.has_value())
      return {};
   return {wholeText(*left) + " %", *left < 10 ? Tone::bad : *left < 30 ? Tone::warning : Tone::plain};
}

// Some drives pack more than the hours into the raw value; the tool's rendering begins with them.
std::string hoursText(Records const & records) {
   constexpr double aCentury = 876600;
   Json const * const attr = records.smartAttr("powerOnHours");
   std::string const rendered = jsonText(attr, "rawString");
   auto const digits = std::min(rendered.find_first_not_of("0123456789"), rendered.size());
   std::optional<double> hours = records.nvmeValue("powerOnHours");
   if (digits > 0 && digits < 10)
      hours = std::stod(rendered.substr(0, digits));
   else if (auto const reported = reportedValue(attr))
      hours = reported;
   return hours.has_value() && *hours >= 0 && *hours <= aCentury ? wholeText(*hours) : "";
}

// Bytes written in the drive's life. Of a SATA drive it is the raw count that tells, in units that only the
// attribute's name hints at.
std::optional<double> lifetimeWritten(Records const & records) {
   constexpr double dataUnit = 512000;
   if (auto const units = records.nvmeValue("dataUnitsWritten"))
      return *units * dataUnit;
   Json const * const attr = records.smartAttr("totalLbasWritten");
   auto const raw = jsonNumber(attr, "raw");
   if (!raw.has_value() || *raw < 0)
      return std::nullopt;
   std::string const name = jsonText(attr, "name");
   if (name == "Host_Writes_32MiB")
      return *raw * 32 * 1048576;
   return name == "Total_LBAs_Written" ? std::optional{*raw * 512} : std::nullopt;
}

std::string writtenText(Records const & records) {
   std::optional<double> sinceBoot;
   if (records.ioStat != nullptr && records.ioStat->IsArray() && !records.ioStat->Empty())
      sinceBoot = jsonNumber(records.ioStat->End() - 1, "bytesWritten");
   auto const lifetime = lifetimeWritten(records);
   // A drive that tells less than was written since boot counts in other units.
   if (lifetime.has_value() && *lifetime >= sinceBoot.value_or(0))
      return bytesText(*lifetime);
   std::string const text = sinceBoot.has_value() ? bytesText(*sinceBoot) : "";
   return text.empty() ? text : text + " since boot";
}

template <class Visit>
void forEachReading(Records const & records, Visit visit) {
   if (records.readings != nullptr && records.readings->IsArray())
      for (Json const & reading : records.readings->GetArray())
         visit(reading);
}

std::string sourceText(Json const & reading) {
   std::string const source = jsonText(&reading, "source");
   if (source == "emmc")
      return "eMMC registers";
   return source == "iostat" ? "I/O statistics" : source;
}

Cell readingCell(Records const & records) {
   Cell cell;
   forEachReading(records, [&](Json const & reading) {
      auto const since = jsonNumber(&reading, "failingSince");
      if (!since.has_value())
         return;
      cell.text.append(cell.text.empty() ? "" : "; ").append(sourceText(reading)).append(" failing");
      if (records.now.has_value())
         cell.text.append(" for ").append(spanText(*records.now - *since));
      cell.text.append(": ").append(jsonText(&reading, "reason"));
      cell.tone = Tone::bad;
   });
   return cell;
}

// Of the figures in the row the oldest; of a disk without readings of its health those of its use.
Cell ageCell(Records const & records) {
   std::optional<double> health;
   std::optional<double> use;
   Cell cell;
   forEachReading(records, [&](Json const & reading) {
      bool const ofUse = jsonText(&reading, "source") == "iostat";
      std::optional<double> & oldest = ofUse ? use : health;
      if (auto const time = jsonNumber(&reading, "lastGood"))
         oldest = std::min(oldest.value_or(*time), *time);
      if (!ofUse && jsonNumber(&reading, "failingSince").has_value())
         cell = {"never", Tone::warning};
   });
   auto const & shown = health.has_value() || !cell.text.empty() ? health : use;
   if (shown.has_value() && records.now.has_value())
      cell.text = spanText(*records.now - *shown);
   return cell;
}

Cell fileSystemCell(Json const & state, std::string const & mountPoint) {
   std::string const word{fileSystemWord(jsonMember(jsonMember(&state, "mountPoints"), mountPoint))};
   if (word == "ok")
      return {word, Tone::good};
   return {word, word == "failed" || word == "stopped" ? Tone::bad : Tone::plain};
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
   row.hours = hoursText(records);
   row.written = writtenText(records);
   row.age = ageCell(records);
   row.reading = readingCell(records);
   row.fileSystem = fileSystemCell(state, row.mountPoint);
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
