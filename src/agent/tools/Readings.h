// The state of each disk's readings: good or failing, since when and why.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "StorageDevices/ConnectedDevices.h"
#include "agent/Entities.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/Vorn/Seconds.h"

namespace Agent {

struct Reading {
   struct Failure {
      Vorn::Seconds since;  // UTC
      std::string reason;
      unsigned polls = 1;  // in a row
      bool hangs = false;  // the tool does not end by itself
   };

   char const * source;                    // "smartctl", "nvme", "emmc" or "iostat"
   std::optional<Vorn::Seconds> lastGood;  // UTC; empty: never
   std::optional<Failure> failure;         // while it fails
};

// A tool's reading fails from the end of a run that changed no record until a run that does. It also fails
// when, after the first run, none has ended for more than three polls and three minutes. A reading without a
// tool fails when it is more than two polls late.
class Readings {
 public:
   Readings(Entities const & entities, Pelm::Ptr<Brul::ChildProcessTrackerSm const> const & tracker);
   Readings(Readings const &) = delete;
   Readings & operator=(Readings const &) = delete;
   ~Readings() = default;

   // One per source of the disk's data; none for a disk that is not connected.
   std::vector<Reading> of(Pelm::String const & serial) const;

   // UTC minus framework time. It changes only with a correction of the wall clock, so that published times
   // stay equal.
   Vorn::Seconds utcOffset() const;

   void handleDisk(Pelm::String const & serial,
                   Vorn::Change<Pelm::Ptr<StorageDevices::ConnectedDisk>> const & change);
   void handleFinishedRun(Vorn::Change<Pelm::Ptr<Brul::FinishedRun const>> const & change);

 private:
   // Times are framework times, so that ages stay correct when the wall clock is corrected.
   struct Tool {
      std::uint64_t count = 0;             // good readings at the end of the latest run
      std::optional<Vorn::Seconds> ended;  // the latest run
      std::optional<Reading::Failure> failure;
   };
   struct Disk {
      Vorn::Seconds seen;  // when it appeared
      Tool smartctl;
      Tool nvme;
   };

   void add(Pelm::String const & serial);
   static void note(std::vector<std::pair<Tool *, std::uint64_t>> const & read,
                    Brul::FinishedRun const & run);
   static void note(Tool & tool, std::uint64_t count, Brul::FinishedRun const & run);
   Reading inUtc(Reading reading) const;
   Reading toolReading(char const * source, Tool const & tool,
                       StorageDevices::HealthReading const & reading) const;
   Reading emmcReading(Disk const & disk, StorageDevices::HealthReading const & reading) const;
   Reading ioStatReading(Disk const & disk, StorageDevices::IOStat const & history) const;

   Entities entities_;
   std::map<Pelm::String, Disk> disks_;
   mutable Vorn::Seconds utcOffset_ = 0;  // of UTC from the framework's time
   Vorn::NotifieeConst devicesReactor_;
   Vorn::NotifieeConst trackerReactor_;
};

}  // namespace Agent
