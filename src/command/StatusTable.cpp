#include "command/StatusTable.h"

#include <syslog.h>

#include <algorithm>
#include <tuple>
#include <vector>

#include "base/JsonView.h"
#include "base/Text.h"
#include "command/DiskRow.h"

namespace Command {

namespace {

using Json = rapidjson::Value;

constexpr std::size_t maxRows = 256;
constexpr std::size_t maxCell = 400;
constexpr std::size_t widthForSentences = 160;  // a narrower terminal has them below the table

// A device may give itself a long name: cells stay short.
std::string safe(std::string_view text) {
   return Base::cutToWidth(Base::escaped(text.substr(0, maxCell)), maxCell);
}

Cell safe(Cell cell) {
   cell.text = safe(cell.text);
   return cell;
}

// "2026-11-20 19:04" of a message.
std::string messageTime(Json const & message) {
   auto const time = Base::jsonNumber(&message, "time");
   std::string text = Base::utcTime(time.value_or(-1e300));
   if (text.size() > 16)
      text = text.substr(0, 10) + " " + text.substr(11, 5);
   return text;
}

Tone messageTone(Json const & message) {
   double const severity = Base::jsonNumber(&message, "severity").value_or(LOG_INFO);
   return severity <= LOG_ERR ? Tone::bad : severity <= LOG_WARNING ? Tone::warning : Tone::plain;
}

Cell messageCell(Json const * message) {
   if (message == nullptr)
      return {};
   return {messageTime(*message) + " " + safe(Base::jsonText(message, "text")), messageTone(*message)};
}

// The connected disks, and the absent ones with their last figures.
std::vector<DiskRow> sortedRows(Json const & state, Json const & disks) {
   std::vector<DiskRow> rows;
   for (auto const & disk : disks.GetObject())
      rows.push_back(diskRow(state, std::string{Base::jsonText(disk.name)}, disk.value));
   auto const * figures = Base::jsonMember(&state, "figures");
   if (figures != nullptr && figures->IsObject())
      for (auto const & member : figures->GetObject()) {
         auto const * gone = Base::jsonMember(&member.value, "disk");
         if (gone != nullptr && gone->IsObject() &&
             Base::jsonMember(&disks, Base::jsonText(member.name)) == nullptr)
            rows.push_back(diskRow(state, std::string{Base::jsonText(member.name)}, *gone));
      }
   std::sort(rows.begin(), rows.end(), [](DiskRow const & a, DiskRow const & b) {
      return std::tie(a.mountPoint, a.device, a.name) < std::tie(b.mountPoint, b.device, b.name);
   });
   return rows;
}

std::vector<Column> emptyColumns() {
   using Omit = Column::Omit;
   return {{"VERDICT", 7, Omit::ifEmpty},
           {"DISK", 12},
           {"MODEL", 12, Omit::early},
           {"FIRMWARE", 8, Omit::early},
           {"DEVICE", 12},
           {"BUS", 12, Omit::early},
           {"SIZE", 7, Omit::never, true},
           {"MOUNT POINT", 12},
           {"KIND", 5, Omit::early},
           {"FS", 7, Omit::late},
           {"TEMP", 5, Omit::ifEmpty, true},
           {"LIFE", 5, Omit::ifEmpty, true},
           {"HOURS", 6, Omit::late, true},
           {"WRITTEN", 8, Omit::late},
           {"AGE", 5, Omit::late, true},
           {"REASON", 24, Omit::ifEmpty},
           {"READING", 24, Omit::ifEmpty},
           {"LAST MESSAGE", 40, Omit::ifEmpty}};
}

// Breaks a sentence between words; a word longer than a line is cut.
std::string wrapped(std::string_view sentence, std::size_t width) {
   std::string result;
   std::size_t used = 0;
   while (!sentence.empty()) {
      std::string_view const word = sentence.substr(0, sentence.find(' '));
      sentence.remove_prefix(std::min(word.size() + 1, sentence.size()));
      std::string const fitting = width == 0 ? std::string{word} : Base::cutToWidth(word, width);
      std::size_t const cells = Base::displayWidth(fitting);
      bool const fits = width == 0 || used + 1 + cells <= width;
      if (used > 0)
         result += fits ? " " : "\n";
      used = (used > 0 && fits ? used + 1 : 0) + cells;
      result += fitting;
   }
   return result + "\n";
}

bool sentencesFitIn(TableOptions const & options) {
   return options.width == 0 || options.width >= widthForSentences;
}

// Sentences without room in the table: one per disk, below a title. Empty where no disk has one.
template <class CellOf>
std::string listBelow(char const * title, std::vector<DiskRow> const & rows, std::size_t width,
                      CellOf cellOf) {
   std::string result;
   for (std::size_t at = 0; at < std::min(rows.size(), maxRows); ++at) {
      std::string const sentence = cellOf(rows[at]).text;
      if (!sentence.empty())
         result += wrapped(safe(rows[at].name) + ": " + sentence, width);
   }
   return result.empty() ? result : Base::cutToWidth(title, width) + "\n" + result;
}

std::string diskTable(std::vector<DiskRow> const & rows, Json const * messages,
                      TableOptions const & options) {
   bool const besides = sentencesFitIn(options);
   auto const messageOf = [&](DiskRow const & disk) { return messageCell(lastMessageOf(disk, messages)); };
   auto const readingOf = [](DiskRow const & disk) { return safe(disk.reading); };
   auto const reasonOf = [](DiskRow const & disk) { return safe(disk.reason); };
   std::vector<Column> columns = emptyColumns();
   for (std::size_t at = 0; at < std::min(rows.size(), maxRows); ++at) {
      DiskRow const & disk = rows[at];
      std::vector<Cell> cells{safe(disk.verdict),
                              {safe(disk.name)},
                              {safe(disk.model)},
                              {safe(disk.firmware)},
                              {safe(disk.device)},
                              {safe(disk.bus)},
                              {disk.size},
                              {safe(disk.mountPoint)},
                              {disk.kind},
                              {disk.fileSystem},
                              {disk.temperature},
                              {disk.life},
                              {disk.hours},
                              {disk.written},
                              {disk.age},
                              besides ? reasonOf(disk) : Cell{},
                              besides ? readingOf(disk) : Cell{},
                              besides ? messageOf(disk) : Cell{}};
      for (std::size_t column = 0; column < columns.size(); ++column)
         columns[column].cells.push_back(std::move(cells[column]));
   }
   std::string result = textTable(std::move(columns), options.width, options.colour);
   if (rows.size() > maxRows)
      result += "and " + std::to_string(rows.size() - maxRows) + " more disks; --json shows them all\n";
   if (besides)
      return result;
   return result + listBelow("Reasons:", rows, options.width, reasonOf) +
          listBelow("Failing readings:", rows, options.width, readingOf) +
          listBelow("Last messages:", rows, options.width, messageOf);
}

std::string counted(std::size_t disks) {
   return std::to_string(disks) + (disks == 1 ? " disk" : " disks");
}

// A device that could not be classified yet may be a disk.
std::string readiness(Json const & state) {
   Json const * const waiting =
       Base::jsonMember(Base::jsonMember(&state, "discovery"), "unclassifiedDevices");
   std::size_t const count = waiting != nullptr && waiting->IsObject() ? waiting->MemberCount() : 0;
   if (count == 0)
      return "ready, ";
   return "not complete: " + std::to_string(count) +
          (count == 1 ? " device waits to be classified, " : " devices wait to be classified, ");
}

// ", missing: /mnt/a, /mnt/b".
std::string missing(Json const & state) {
   Json const * const mountPoints = Base::jsonMember(Base::jsonMember(&state, "unit"), "missing");
   std::string result;
   for (Json const & mountPoint : Base::jsonElements(mountPoints))
      result += (result.empty() ? ", missing: " : ", ") + safe(Base::jsonText(mountPoint));
   return result;
}

std::string headline(Json const & state, Json const * disks) {
   std::string const version = safe(Base::jsonText(&state, "version"));
   std::string result = "storagedevices" + (version.empty() ? "" : " " + version) + ": ";
   if (auto const ready = Base::jsonBool(&state, "internalDevicesReady"))
      result += *ready ? readiness(state) : "still identifying devices, ";
   std::string const verdict = safe(Base::jsonText(Base::jsonMember(&state, "unit"), "verdict"));
   result += verdict.empty() ? "" : "unit " + verdict + ", ";
   result += disks == nullptr ? "disks not known" : counted(disks->MemberCount()) + missing(state);
   if (auto const time = Base::jsonNumber(&state, "time"))
      result += ", " + Base::utcTime(*time);
   return result;
}

std::string whyNoDisks(Json const & state) {
   if (!Base::jsonBool(&state, "internalDevicesReady").value_or(true))
      return "No disks yet: the devices of this machine are still being identified.";
   return "No disks: none of this machine's devices matches an entry of the appliance's blockdev "
          "file, or there is none. \"storagedevices check-config\" shows how each device is classified.";
}

// The newest message unless a row shows it; for example that of a disk that is gone.
std::string messageWithoutRow(std::vector<DiskRow> const & rows, Json const * messages) {
   auto const all = Base::jsonElements(messages);
   if (all.empty())
      return {};
   Json const & newest = all.back();
   bool const shown =
       std::any_of(rows.begin(), rows.begin() + static_cast<long>(std::min(rows.size(), maxRows)),
                   [&](DiskRow const & disk) { return lastMessageOf(disk, messages) == &newest; });
   if (shown || !newest.IsObject())
      return {};
   int const severity =
       static_cast<int>(std::clamp(Base::jsonNumber(&newest, "severity").value_or(-1), -1.0, 8.0));
   return "Latest message: " + messageTime(newest) + " " + std::string{Base::severityWord(severity)} + " " +
          safe(Base::jsonText(&newest, "name")) + ": " + safe(Base::jsonText(&newest, "text"));
}

}  // namespace

std::string statusTable(Json const & state, Json const * messages, TableOptions const & options) {
   Json const * disks = Base::jsonMember(Base::jsonMember(&state, "connectedDevices"), "disk");
   if (disks != nullptr && !disks->IsObject())
      disks = nullptr;
   std::string result = wrapped(headline(state, disks), options.width);
   std::vector<DiskRow> rows;
   if (disks == nullptr)
      result +=
          wrapped("The agent's answer does not list the disks: is it of the same version as this program?",
                  options.width);
   else
      rows = sortedRows(state, *disks);
   if (!rows.empty())
      result += diskTable(rows, messages, options);
   else if (disks != nullptr)
      result += wrapped(whyNoDisks(state), options.width);
   std::string const message = messageWithoutRow(rows, messages);
   return result + (message.empty() ? "" : wrapped(message, options.width));
}

std::string statusTable(std::string_view state, std::string_view messages, TableOptions const & options) {
   rapidjson::Document const stateDocument = Base::parsedJson(state, "state document");
   if (messages.empty())
      return statusTable(stateDocument, nullptr, options);
   rapidjson::Document const messagesDocument = Base::parsedJson(messages, "list of messages");
   return statusTable(stateDocument, Base::jsonMember(&messagesDocument, "messages"), options);
}

}  // namespace Command
