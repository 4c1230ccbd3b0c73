// A history is refused, or each of its rows is one that can be, and no part of it is good by itself.
#include <boost/crc.hpp>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

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
   if (history.state == HistoryOfText::State::good)
      FUZZ_CHECK(readHistoryText(checked(text.substr(0, size - 1))).state != HistoryOfText::State::good);
   return 0;
}
