#include "agent/history/HistoryFileText.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <optional>
#include <type_traits>

namespace Agent {

namespace {

constexpr std::string_view name = "storagedevices history ";
constexpr std::uint32_t version = 1;
constexpr std::size_t checksumBytes = sizeof(std::uint32_t);

static_assert(std::is_trivially_copyable_v<HistoryRow>);

// Before each disk. One without a serial number and rows is the end.
struct BlockHead {
   std::uint32_t serialBytes = 0;
   std::uint32_t fineRows = 0;
   std::uint32_t coarseRows = 0;
};

template <class Value>
void append(std::string & text, Value const & value) {
   text.append(reinterpret_cast<char const *>(&value), sizeof value);
}

void appendRows(std::string & text, HistoryRows const & rows, Vorn::Seconds utcOffset) {
   for (std::uint64_t number = rows.first(); number < rows.end(); ++number) {
      HistoryRow row = *rows.row(number);
      row.time += utcOffset;
      append(text, row);
   }
}

std::uint32_t checksumOf(std::string_view text) {
   boost::crc_32_type checksum;
   checksum.process_bytes(text.data(), text.size());
   return checksum.checksum();
}

// Removes the first bytes of the text and answers them; empty, and nothing removed, if it is shorter.
std::optional<std::string_view> cut(std::string_view & text, std::size_t bytes) {
   if (text.size() < bytes)
      return std::nullopt;
   std::string_view const part = text.substr(0, bytes);
   text.remove_prefix(bytes);
   return part;
}

template <class Value>
bool read(std::string_view & text, Value & value) {
   auto const bytes = cut(text, sizeof value);
   if (bytes)
      std::memcpy(&value, bytes->data(), sizeof value);
   return bytes.has_value();
}

bool isFigure(float value, float least, float most) {
   return std::isnan(value) || (value >= least && value <= most);
}

bool isRow(HistoryRow const & row) {
   constexpr float absoluteZero = -273;
   constexpr float hottest = 1000;
   constexpr float whole = 100;
   constexpr float fastest = std::numeric_limits<float>::max();
   return std::isfinite(row.time.value()) && isFigure(row.temperature, absoluteZero, hottest) &&
          isFigure(row.lifeLeft, 0, whole) && isFigure(row.readBytesPerSecond, 0, fastest) &&
          isFigure(row.writtenBytesPerSecond, 0, fastest);
}

bool areRows(RowsOfText const & rows) {
   for (std::size_t i = 0; i < rows.size(); ++i)
      if (HistoryRow const row = rows[i]; !isRow(row) || (i > 0 && row.time <= rows[i - 1].time))
         return false;
   return true;
}

bool cutRows(std::string_view & text, std::uint32_t count, RowsOfText & rows) {
   if (count > HistoryRows::mostRows)
      return false;
   auto const bytes = cut(text, count * sizeof(HistoryRow));
   if (bytes)
      rows = RowsOfText{*bytes};
   return bytes && areRows(rows);
}

// Empty where the text is damaged.
std::optional<std::vector<DiskOfText>> disksOf(std::string_view text) {
   std::vector<DiskOfText> disks;
   for (BlockHead head; read(text, head);) {
      if (head.serialBytes == 0)
         return text.empty() && head.fineRows == 0 && head.coarseRows == 0 ? std::optional{disks}
                                                                           : std::nullopt;
      DiskOfText disk;
      auto const serial = cut(text, head.serialBytes);
      if (!serial || serial->size() > HistoryTextWriter::longestSerial ||
          !cutRows(text, head.fineRows, disk.fine) || !cutRows(text, head.coarseRows, disk.coarse))
         return std::nullopt;
      disk.serial = *serial;
      disks.push_back(disk);
   }
   return std::nullopt;
}

// Of the first line, which is cut off; empty where it has none.
std::optional<std::uint32_t> cutVersion(std::string_view & text) {
   std::uint32_t value = 0;
   auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
   text.remove_prefix(static_cast<std::size_t>(end - text.data()));
   if (error != std::errc{} || !text.starts_with('\n'))
      return std::nullopt;
   text.remove_prefix(1);
   return value;
}

// Whether the text ends with its checksum, after a head of that length.
bool isWhole(std::string_view text, std::size_t head) {
   if (text.size() < head + checksumBytes)
      return false;
   std::uint32_t checksum = 0;
   std::string_view const body = text.substr(0, text.size() - checksumBytes);
   std::memcpy(&checksum, text.data() + body.size(), checksumBytes);
   return checksum == checksumOf(body);
}

}  // namespace

HistoryRow RowsOfText::operator[](std::size_t index) const {
   HistoryRow row;
   std::memcpy(&row, bytes_.data() + index * sizeof row, sizeof row);
   return row;
}

HistoryOfText readHistoryText(std::string_view text) {
   using State = HistoryOfText::State;
   if (text.empty())
      return {State::empty, {}};
   if (!text.starts_with(name))
      return {State::foreign, {}};
   std::string_view rest = text.substr(name.size());
   auto const written = cutVersion(rest);
   if (written && *written > version)
      return {State::later, {}};
   std::size_t const head = text.size() - rest.size();
   bool const isOurs = written == version && isWhole(text, head);
   auto disks = isOurs ? disksOf(text.substr(head, rest.size() - checksumBytes)) : std::nullopt;
   return disks ? HistoryOfText{State::good, std::move(*disks)} : HistoryOfText{State::damaged, {}};
}

std::string HistoryTextWriter::counted(std::string part) {
   checksum_.process_bytes(part.data(), part.size());
   return part;
}

std::string HistoryTextWriter::begin() {
   return counted(std::string{name}.append(std::to_string(version)).append("\n"));
}

std::string HistoryTextWriter::disk(std::string_view serial, DiskHistory const & history,
                                    Vorn::Seconds utcOffset) {
   auto const count = [](HistoryRows const & rows) { return static_cast<std::uint32_t>(rows.size()); };
   auto const & coarse = history.coarse();
   std::string text;
   append(text, BlockHead{static_cast<std::uint32_t>(serial.size()), count(history.fine()),
                          coarse ? count(*coarse) : 0});
   text += serial;
   appendRows(text, history.fine(), utcOffset);
   if (coarse)
      appendRows(text, *coarse, utcOffset);
   return counted(std::move(text));
}

std::string HistoryTextWriter::end() {
   std::string text;
   append(text, BlockHead{});
   text = counted(std::move(text));
   append(text, std::uint32_t{checksum_.checksum()});
   return text;
}

}  // namespace Agent
