#include "command/DiskRow.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string_view>

#include "base/FileSystemWord.h"
#include "base/JsonView.h"
#include "command/Quantity.h"

namespace Command {

namespace {

using Json = rapidjson::Value;

std::string wholeText(double value) {
   return std::to_string(std::llround(value));
}

std::string busText(Json const & disk, std::string const & interfaceAndAddress) {
   auto const bus = Base::jsonNumber(&disk, "busType");
   auto const storageType = Base::jsonNumber(&disk, "mibType");
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
   std::string const address = Base::jsonText(&disk, "devAddress");
   std::string const & shown = address.empty() ? interfaceAndAddress : address;
   return word + (word.empty() || shown.empty() ? "" : " ") + shown;
}

std::string sizeText(Json const & disk) {
   auto const gigabytes = Base::jsonNumber(&disk, "sizeGb");
   if (!gigabytes.has_value() || *gigabytes < 0 || *gigabytes > 4294967295.0)
      return {};
   return wholeText(*gigabytes) + " GB";
}

std::string kindText(Json const & disk) {
   auto const removable = Base::jsonBool(&disk, "removable");
   if (!removable.has_value())
      return {};
   return *removable ? "removable" : "fixed";
}

std::string numberText(Json const * figures, char const * name, char const * unit) {
   auto const value = Base::jsonNumber(figures, name);
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
   std::string const word = Base::jsonText(verdict, "verdict");
   return {word, toneOf(word)};
}

// All of them, as they come: the worst first.
Cell reasonCell(Json const * verdict) {
   Cell cell{"", toneOf(Base::jsonText(verdict, "verdict"))};
   for (Json const & reason : Base::jsonElements(Base::jsonMember(verdict, "reasons")))
      cell.text.append(cell.text.empty() ? "" : "; ").append(Base::jsonText(&reason, "text"));
   return cell;
}

std::string writtenText(Json const * figures) {
   if (auto const inLife = Base::jsonNumber(figures, "bytesWritten"))
      return bytesText(*inLife);
   auto const sinceBoot = Base::jsonNumber(figures, "bytesWrittenSinceBoot");
   std::string const text = sinceBoot.has_value() ? bytesText(*sinceBoot) : "";
   return text.empty() ? text : text + " since boot";
}

std::string sourceText(Json const & reading) {
   std::string const source = Base::jsonText(&reading, "source");
   if (source == "emmc")
      return "eMMC registers";
   return source == "iostat" ? "I/O statistics" : source;
}

Cell readingCell(Json const * readings, std::optional<double> now) {
   Cell cell;
   for (Json const & reading : Base::jsonElements(readings)) {
      auto const since = Base::jsonNumber(&reading, "failingSince");
      if (!since.has_value())
         continue;
      cell.text.append(cell.text.empty() ? "" : "; ").append(sourceText(reading)).append(" failing");
      if (now.has_value())
         cell.text.append(" for ").append(spanText(*now - *since));
      cell.text.append(": ").append(Base::jsonText(&reading, "reason"));
      cell.tone = Tone::warning;
   }
   return cell;
}

std::string ageText(Json const * figures, std::optional<double> now) {
   auto const lastRead = Base::jsonNumber(figures, "lastRead");
   return lastRead.has_value() && now.has_value() ? spanText(*now - *lastRead) : "";
}

void addIdentity(DiskRow & row, Json const & disk) {
   row.model = Base::jsonText(&disk, "model");
   row.firmware = Base::jsonText(&disk, "firmwareRevision");
   row.device = Base::jsonText(&disk, "blockDevice");
   row.interfaceAndAddress = Base::jsonText(&disk, "deviceIntfAndAddress");
   row.bus = busText(disk, row.interfaceAndAddress);
   row.size = sizeText(disk);
   row.mountPoint = Base::jsonText(&disk, "mountPoint");
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
   auto const now = Base::jsonNumber(&state, "time");
   auto const * const verdict = Base::jsonMember(Base::jsonMember(&state, "verdicts"), name);
   DiskRow row;
   row.name = name;
   addIdentity(row, disk);
   addFigures(row, Base::jsonMember(Base::jsonMember(&state, "figures"), name), now);
   row.verdict = verdictCell(verdict);
   row.reason = reasonCell(verdict);
   row.reading = readingCell(Base::jsonMember(Base::jsonMember(&state, "readings"), name), now);
   // The mount point is that of the disk only while it is there.
   if (Base::jsonText(verdict, "verdict") != "absent")
      row.fileSystem =
          Base::fileSystemWord(Base::jsonMember(Base::jsonMember(&state, "mountPoints"), row.mountPoint));
   return row;
}

Json const * lastMessageOf(DiskRow const & disk, Json const * messages) {
   auto const all = Base::jsonElements(messages);
   auto const found = std::find_if(all.rbegin(), all.rend(), [&disk](Json const & message) {
      auto const arguments = Base::jsonElements(Base::jsonMember(&message, "arguments"));
      return std::any_of(arguments.begin(), arguments.end(),
                         [&disk](Json const & argument) { return names(Base::jsonText(argument), disk); });
   });
   return found == all.rend() ? nullptr : &*found;
}

}  // namespace Command
