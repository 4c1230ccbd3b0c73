// The figures of one disk at one moment, or over a span in which readings were joined.
#pragma once

#include <cmath>
#include <limits>

#include "runtime/Vorn/Seconds.h"

namespace Agent {

struct DiskRecords;

inline constexpr float noReading = std::numeric_limits<float>::quiet_NaN();

struct HistoryRow {
   Vorn::Seconds time;  // of the framework; of joined readings the first one's
   // NaN where nothing was read.
   float temperature = noReading;            // degrees Celsius; of joined readings the highest
   float lifeLeft = noReading;               // percent of the rated life; the lowest
   float readBytesPerSecond = noReading;     // the mean
   float writtenBytesPerSecond = noReading;  // the mean

   bool isEmpty() const {
      return std::isnan(temperature) && std::isnan(lifeLeft) && std::isnan(readBytesPerSecond) &&
             std::isnan(writtenBytesPerSecond);
   }
};

// What the latest poll has read, `interval` being the poll interval and `now` framework time. What it failed
// to read is not read, whatever an earlier poll has left in the record.
HistoryRow historyRowOf(DiskRecords const & records, Vorn::Seconds now, Vorn::Seconds interval);

}  // namespace Agent
