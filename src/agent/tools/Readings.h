// The state of each disk's readings as operators see it: good or failing, since when and why.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/Entities.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Seconds.h"
#include "runtime/model/HealthReading.h"

namespace Agent {

struct Reading {
   struct Failure {
      Vorn::Seconds since;  // UTC
      std::string reason;
      unsigned polls = 1;  // in a row
      bool hangs = false;  // the tool does not end by itself
      bool operator==(Failure const &) const = default;
   };

   char const * source;                    // "smartctl", "nvme", "emmc" or "iostat"
   std::optional<Vorn::Seconds> lastGood;  // UTC; empty: never
   std::optional<Failure> failure;         // while it fails
   bool operator==(Reading const &) const = default;
};

// What the monitors have recorded (`HealthReading`). A tool's reading also fails when, after the first run,
// none has ended for more than three polls and three minutes. A reading without a tool fails from the second
// failed poll in a row.
class Readings {
 public:
   explicit Readings(Entities const & entities) : entities_{entities} {}

   // One per source of the disk's data; none for a disk that is not connected.
   std::vector<Reading> of(Pelm::String const & serial) const;

   // UTC minus framework time. It changes only with a correction of the wall clock, so that published times
   // stay equal.
   Vorn::Seconds utcOffset() const;

 private:
   Reading toolReading(StorageDevices::HealthReading const & reading) const;
   Reading ownReading(StorageDevices::HealthReading const & reading) const;
   Reading inUtc(StorageDevices::HealthReading const & reading) const;

   Entities entities_;
   mutable Vorn::Seconds utcOffset_ = 0;
};

}  // namespace Agent
