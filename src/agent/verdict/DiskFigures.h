// The figures of one disk that operators compare, whatever kind of drive it is.
#pragma once

#include <optional>
#include <vector>

#include "agent/tools/Readings.h"
#include "agent/verdict/DiskRecords.h"
#include "runtime/Pelm/Node.h"

namespace Agent {

struct DiskFigures : public Pelm::Node {
   Pelm::Ptr<StorageDevices::ConnectedDisk const> disk;  // as it is or was
   // Of its sensor, else as the drive reports it, in degrees Celsius.
   std::optional<double> temperature;
   std::optional<double> lifeLeft;      // percent of the rated life
   std::optional<double> powerOnHours;  // of operation
   // In the drive's life; empty where the drive does not count in known units.
   std::optional<double> bytesWritten;
   std::optional<double> bytesWrittenSinceBoot;  // as the kernel counts them
   // UTC of the oldest good reading behind these figures; without health readings, of the I/O statistics.
   std::optional<Vorn::Seconds> lastRead;
   std::vector<Reading> readings;  // all of its sources

   bool isEq(DiskFigures const & other) const;
};

// Empty for the figures that the records do not have.
Pelm::Ptr<DiskFigures const> figuresOf(DiskRecords const & records);

// Percent of the rated life that is left, of whichever record has it.
std::optional<double> lifeLeft(DiskRecords const & records);
std::optional<double> temperature(DiskRecords const & records);

}  // namespace Agent
