// The history as the text of a file: a line with the version, a block per disk, an end block, a checksum. The
// numbers are in the machine's own byte order, since the file is read where it was written; the checksum
// shows another order. Reading trusts nothing.
#pragma once

#include <boost/crc.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "agent/history/DiskHistory.h"

namespace Agent {

// Of a thousand disks with a day each, and of 250 disks with the most that one keeps.
inline constexpr std::size_t mostHistoryBytes = std::size_t{64} << 20U;

// Rows in a text that was read. Their times are in UTC.
class RowsOfText {
 public:
   RowsOfText() = default;
   // `bytes` must be those of whole rows.
   explicit RowsOfText(std::string_view bytes) : bytes_{bytes} {}

   std::size_t size() const { return bytes_.size() / sizeof(HistoryRow); }
   HistoryRow operator[](std::size_t index) const;

 private:
   std::string_view bytes_;
};

struct DiskOfText {
   std::string_view serial;
   RowsOfText fine;
   RowsOfText coarse;
};

struct HistoryOfText {
   enum class State { good, empty, foreign, later, damaged };

   State state;
   std::vector<DiskOfText> disks;  // if good; valid as long as the text
};

// A good text is whole, and each of its rows has a finite time, later than the row before, and figures that
// can be: a temperature from -273 to 1000, a life left from 0 to 100, rates of 0 or more, or no number.
HistoryOfText readHistoryText(std::string_view text);

// Writes such a text, in parts that are to be joined in the order of the calls.
class HistoryTextWriter {
 public:
   std::string begin();
   // The serial number must not be empty, nor longer than `longestSerial`.
   std::string disk(std::string_view serial, DiskHistory const & history, Vorn::Seconds utcOffset);
   std::string end();

   static constexpr std::size_t longestSerial = 4096;

 private:
   std::string counted(std::string part);

   boost::crc_32_type checksum_;
};

}  // namespace Agent
