#include "agent/history/HistoryRow.h"

#include <optional>

#include "agent/verdict/DiskFigures.h"
#include "agent/verdict/DiskRecords.h"

namespace Agent {

namespace {

using StorageDevices::HealthReading;
using StorageDevices::IOStat;

// A tool may take longer at one poll than at the next.
Vorn::Seconds maxAgeOf(Vorn::Seconds interval) {
   constexpr double lateness = 1.25;
   return interval * lateness + 1;
}

float floatOf(std::optional<double> figure) {
   return figure ? static_cast<float>(*figure) : noReading;
}

// The reading behind temperature and life left: the figures prefer NVMe's log where it was ever read.
HealthReading const * healthReading(DiskRecords const & records) {
   if (records.nvme && records.nvme->reading.count() > 0)
      return &records.nvme->reading;
   if (records.smart)
      return &records.smart->reading;
   return records.emmc ? &records.emmc->reading : nullptr;
}

// The newest measurement that is at least half an interval before the last one. A change of the poll interval
// makes measurements so close to each other that their rate says nothing.
IOStat::Measurement const * earlier(IOStat const & measurements, Vorn::Seconds interval) {
   Vorn::Seconds const latest = measurements[measurements.size() - 1].time;
   for (std::size_t i = measurements.size() - 1; i > 0; --i)
      if (latest - measurements[i - 1].time >= interval / 2)
         return &measurements[i - 1];
   return nullptr;
}

// A counter that falls has begun anew.
float rate(std::uint64_t from, std::uint64_t to, Vorn::Seconds span) {
   return to < from ? noReading : static_cast<float>(static_cast<double>(to - from) / span.value());
}

void addRates(HistoryRow & row, IOStat const & measurements, Vorn::Seconds interval) {
   IOStat::Measurement const & last = measurements[measurements.size() - 1];
   IOStat::Measurement const * const first = earlier(measurements, interval);
   if (!first)
      return;
   Vorn::Seconds const span = last.time - first->time;
   row.readBytesPerSecond = rate(first->bytesRead, last.bytesRead, span);
   row.writtenBytesPerSecond = rate(first->bytesWritten, last.bytesWritten, span);
}

}  // namespace

HistoryRow historyRowOf(DiskRecords const & records, Vorn::Seconds now, Vorn::Seconds interval) {
   auto const isFresh = [&](HealthReading const & reading) {
      return reading.count() > 0 && !reading.failure() && now - reading.time() <= maxAgeOf(interval);
   };
   HistoryRow row{now};
   if (auto const * const reading = healthReading(records); reading && isFresh(*reading)) {
      row.temperature = floatOf(temperature(records));
      row.lifeLeft = floatOf(lifeLeft(records));
   }
   if (records.ioStat && isFresh(records.ioStat->reading) && !records.ioStat->empty())
      addRates(row, *records.ioStat, interval);
   return row;
}

}  // namespace Agent
