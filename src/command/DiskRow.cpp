#include "command/DiskRow.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string_view>

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

std::string numberText(Json const * figures, char const * name, char const * unit) {
   auto const value = jsonNumber(figures, name);
   bool const sane = value.has_value() && *value > -1e9 && *value < 1e9;
   return sane ? wholeText(*value) + unit : "";
}

Tone toneOf(std::string_view verdict) {
   if (verdict == "ok")
      return Tone::good;
   if (verdict == "failing" || verdict == "absent")
      return Tone::bad;
   return verdict == "warning" || verdict == "unknown" ? Tone::warning : Tone::plain;
}

Cell verdictCell(Json const * verdict) {
   std::string const word = jsonText(verdict, "verdict");
   return {word, toneOf(word)};
}

template <class Visit>
void forEachElement(Json const * array, Visit visit) {
   if (array != nullptr && array->IsArray())
      for (Json const & element : array->GetArray())
         visit(element);
}

// All of them, as they come: the worst first.
Cell reasonCell(Json const * verdict) {
   Cell cell{"", toneOf(jsonText(verdict, "verdict"))};
   forEachElement(jsonMember(verdict, "reasons"), [&cell](Json const & reason) {
      cell.text.append(cell.text.empty() ? "" : "; ").append(jsonText(&reason, "text"));
   });
   return cell;
}

std::string writtenText(Json const * figures) {
   if (auto const inLife = jsonNumber(figures, "bytesWritten"))
      return bytesText(*inLife);
   auto const sinceBoot = jsonNumber(figures, "bytesWrittenSinceBoot");
   std::string const text = sinceBoot.has_value() ? bytesText(*sinceBoot) : "";
   return text.empty() ? text : text + " since boot";
}

std::string sourceText(Json const & reading) {
   std::string const source = jsonText(&reading, "source");
   if (source == "emmc")
      return "eMMC registers";
   return source == "iostat" ? "I/O statistics" : source;
}

Cell readingCell(Json const * readings, std::optional<double> now) {
   Cell cell;
   forEachElement(readings, [&](Json const & reading) {
      auto const since = jsonNumber(&reading, "failingSince");
      if (!since.has_value())
         return;
      cell.text.append(cell.text.empty() ? "" : "; ").append(sourceText(reading)).append(" failing");
      if (now.has_value())
         cell.text.append(" for ").append(spanText(*now - *since));
      cell.text.append(": ").append(jsonText(&reading, "reason"));
      cell.tone = Tone::warning;
   });
   return cell;
}

std::string ageText(Json const * figures, std::optional<double> now) {
   auto const lastRead = jsonNumber(figures, "lastRead");
   return lastRead.has_value() && now.has_value() ? spanText(*now - *lastRead) : "";
}

void addIdentity(DiskRow & row, Json const & disk) {
   row.model = jsonText(&disk, "model");
   row.firmware = jsonText(&disk, "firmwareRevision");
   row.device = jsonText(&disk, "blockDevice");
   row.interfaceAndAddress = jsonText(&disk, "deviceIntfAndAddress");
   row.bus = busText(disk, row.interfaceAndAddress);
   row.size = sizeText(disk);
   row.mountPoint = jsonText(&disk, "mountPoint");
   row.kind = kindText(disk);
}

void addFigures(DiskRow & row, Json const * figures, std::optional<double> now) {
   row.temperature = numberText(figures, "temperature", " °C");
   row.life = numberText(figures, "lifeLeft", " %");
   row.hours = numberText(figures, "powerOnHours", "");
   row.written = writtenText(figures);
   row.age = ageText(figures, now);
}

bool names(std::string_view argument, DiskRow const & disk) {
   return !argument.empty() && (argument == disk.name || argument == disk.mountPoint ||
                                argument == disk.device || argument == disk.interfaceAndAddress);
}

}  // namespace

DiskRow diskRow(Json const & state, std::string const & name, Json const & disk) {
   auto const now = jsonNumber(&state, "time");
   auto const * const verdict = jsonMember(jsonMember(&state, "verdicts"), name);
   DiskRow row;
   row.name = name;
   addIdentity(row, disk);
   addFigures(row, jsonMember(jsonMember(&state, "figures"), name), now);
   row.verdict = verdictCell(verdict);
   row.reason = reasonCell(verdict);
   row.reading = readingCell(jsonMember(jsonMember(&state, "readings"), name), now);
   // The mount point is that of the disk only while it is there.
   if (jsonText(verdict, "verdict") != "absent")
      row.fileSystem = fileSystemWord(jsonMember(jsonMember(&state, "mountPoints"), row.mountPoint));
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
