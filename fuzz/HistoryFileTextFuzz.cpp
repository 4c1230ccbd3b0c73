// A history is refused, or each of its rows is one that can be, and no part of it is good by itself. A
// history that is kept and written again has the latest of these rows.
#include <boost/crc.hpp>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "Check.h"
#include "agent/history/HistoryFileText.h"

namespace {

using namespace Agent;

void checkRows(RowsOfText const & rows) {
   FUZZ_CHECK(rows.size() <= HistoryRows::mostRows);
   for (std::size_t i = 0; i < rows.size(); ++i) {
      HistoryRow const row = rows[i];
      FUZZ_CHECK(std::isfinite(row.time.value()) && (i == 0 || row.time > rows[i - 1].time));
      FUZZ_CHECK(!(std::fabs(row.temperature) > 1000) && !(row.lifeLeft < 0 || row.lifeLeft > 100));
      FUZZ_CHECK(!std::isinf(row.readBytesPerSecond) && !(row.writtenBytesPerSecond < 0));
   }
}

std::string bytesOf(RowsOfText const & rows, std::size_t index) {
   HistoryRow const row = rows[index];
   std::string bytes(sizeof row, '\0');
   std::memcpy(bytes.data(), &row, sizeof row);
   return bytes;
}

// The last of `read`, bit by bit, since a figure may be no number.
void checkSame(RowsOfText const & again, RowsOfText const & read) {
   FUZZ_CHECK(again.size() <= read.size() && (again.size() > 0) == (read.size() > 0));
   for (std::size_t back = 1; back <= again.size(); ++back)
      FUZZ_CHECK(bytesOf(again, again.size() - back) == bytesOf(read, read.size() - back));
}

DiskHistory historyOf(DiskOfText const & disk) {
   constexpr Vorn::Seconds year = 31536000;
   DiskHistory history{year};
   for (std::size_t i = 0; i < disk.fine.size(); ++i)
      history.fine().restore(disk.fine[i]);
   for (std::size_t i = 0; i < disk.coarse.size(); ++i)
      history.coarse()->restore(disk.coarse[i]);
   return history;
}

void checkRoundTrip(std::vector<DiskOfText> const & disks) {
   HistoryTextWriter writer;
   std::string text = writer.begin();
   for (DiskOfText const & disk : disks)
      text += writer.disk(disk.serial, historyOf(disk), 0);
   text += writer.end();
   HistoryOfText const again = readHistoryText(text);
   FUZZ_CHECK(again.state == HistoryOfText::State::good && again.disks.size() == disks.size());
   for (std::size_t i = 0; i < disks.size(); ++i) {
      FUZZ_CHECK(again.disks[i].serial == disks[i].serial);
      checkSame(again.disks[i].fine, disks[i].fine);
      checkSame(again.disks[i].coarse, disks[i].coarse);
   }
}

// With a checksum that fits, since no mutation would find it.
std::string checked(std::string text) {
   std::uint32_t value = 0;
   if (text.size() < sizeof value)
      return text;
   boost::crc_32_type checksum;
   checksum.process_bytes(text.data(), text.size() - sizeof value);
   value = checksum.checksum();
   std::memcpy(text.data() + text.size() - sizeof value, &value, sizeof value);
   return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const input(data, data + size);
   readHistoryText(input);
   std::string const text = checked(input);
   HistoryOfText const history = readHistoryText(text);
   FUZZ_CHECK(history.state == HistoryOfText::State::good || history.disks.empty());
   for (DiskOfText const & disk : history.disks) {
      FUZZ_CHECK(!disk.serial.empty() && disk.serial.size() <= HistoryTextWriter::longestSerial);
      checkRows(disk.fine);
      checkRows(disk.coarse);
   }
   checkRoundTrip(history.disks);
   if (history.state == HistoryOfText::State::good)
      FUZZ_CHECK(readHistoryText(checked(text.substr(0, size - 1))).state != HistoryOfText::State::good);
   return 0;
}
