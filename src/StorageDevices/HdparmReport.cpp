#include "StorageDevices/HdparmReport.h"

#include <charconv>
#include <cstddef>
#include <system_error>

#include "StorageDevices/CharacterClasses.h"

namespace StorageDevices {

namespace {

constexpr std::string_view modelLabel = "Model Number:";
constexpr std::string_view serialLabel = "Serial Number:";
constexpr std::string_view firmwareLabel = "Firmware Revision:";
constexpr std::string_view sizeUnit = " GB)";

using CharacterClass = bool (*)(char);

constexpr bool isInModel(char c) {
   return isWord(c) || (c >= ' ' && c <= '.');
}

constexpr bool isInSerial(char c) {
   return isWord(c) || c == ' ' || c == '-';
}

constexpr bool isInFirmware(char c) {
   return isWord(c) || (c >= ' ' && c <= '/');
}

std::string_view asCString(std::string_view text) {
   return text.substr(0, text.find('\0'));
}

template <CharacterClass isIn>
std::size_t skip(std::string_view text, std::size_t at) {
   while (at < text.size() && isIn(text[at]))
      ++at;
   return at;
}

struct Value {
   std::string_view text;
   std::size_t next;  // behind the label of the next line
};

// Reads the value that begins at `at`, behind its label, up to and including the next label.
//
// No class contains a line feed or a colon. A value can therefore begin behind all the white space and end at
// a line feed. Or it is empty and stands before the last line feed of that white space, which needs one more
// white space character before it. The second way requires the next label right where the first way would
// begin its value, and that label's colon excludes the first way. So no choice made here needs backtracking
// when a later line does not match.
template <CharacterClass isIn>
std::optional<Value> readValue(std::string_view report, std::size_t at, std::string_view nextLabel) {
   std::size_t const begin = skip<isSpace>(report, at);
   if (begin == at)
      return std::nullopt;
   std::size_t const end = skip<isIn>(report, begin);
   if (end < report.size() && report[end] == '\n') {
      std::size_t const next = skip<isSpace>(report, end + 1);
      if (report.substr(next).starts_with(nextLabel))
         return Value{report.substr(begin, end - begin), next + nextLabel.size()};
   }
   std::size_t const feed = report.substr(at + 1, begin - at - 1).rfind('\n');
   if (feed == std::string_view::npos || !report.substr(begin).starts_with(nextLabel))
      return std::nullopt;
   return Value{report.substr(at + 1 + feed, 0), begin + nextLabel.size()};
}

// The identity whose model label ends at `at`.
std::optional<HdparmIdentity> readIdentity(std::string_view report, std::size_t at) {
   auto const model = readValue<isInModel>(report, at, serialLabel);
   if (!model)
      return std::nullopt;
   auto const serial = readValue<isInSerial>(report, model->next, firmwareLabel);
   if (!serial)
      return std::nullopt;
   auto const firmware = readValue<isInFirmware>(report, serial->next, "");
   if (!firmware)
      return std::nullopt;
   return HdparmIdentity{model->text, serial->text, firmware->text};
}

}  // namespace

std::optional<HdparmIdentity> findIdentity(std::string_view report) {
   report = asCString(report);
   for (std::size_t at = report.find(modelLabel); at != std::string_view::npos;
        at = report.find(modelLabel, at)) {
      at += modelLabel.size();
      if (auto const identity = readIdentity(report, at))
         return identity;
   }
   return std::nullopt;
}

std::optional<std::string_view> findSizeGb(std::string_view report) {
   report = asCString(report);
   std::size_t end = 0;
   for (std::size_t open = report.find('('); open != std::string_view::npos; open = report.find('(', end)) {
      std::size_t const begin = open + 1;
      end = skip<isDigit>(report, begin);
      if (end > begin && report.substr(end).starts_with(sizeUnit))
         return report.substr(begin, end - begin);
   }
   return std::nullopt;
}

std::optional<std::uint32_t> parseSizeGb(std::string_view digits) {
   std::uint32_t size = 0;
   auto const result = std::from_chars(digits.data(), digits.data() + digits.size(), size);
   if (result.ec != std::errc())
      return std::nullopt;
   return size;
}

std::string_view strippedMatch(std::string_view text) {
   return text.substr(0, text.find_last_not_of(' ') + 1);  // npos + 1 is 0: nothing but blanks
}

}  // namespace StorageDevices
