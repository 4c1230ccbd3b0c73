// Which readings of which disk are good, and which fail, since when and why.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "StorageDevices/ConnectedDevices.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/Vorn/Seconds.h"
#include "runtime/model/EmmcData.h"
#include "runtime/model/IOStatData.h"
#include "runtime/model/NvmeData.h"
#include "runtime/model/PollInterval.h"
#include "runtime/model/SmartData.h"

namespace Agent {

// What the monitors share.
struct Entities {
   Pelm::Ptr<PollInterval> pollInterval = Pelm::make<PollInterval>();
   Pelm::Ptr<StorageDevices::ConnectedDevices> devices = Pelm::make<StorageDevices::ConnectedDevices>();
   Pelm::Ptr<StorageDevices::SmartData> smart = Pelm::make<StorageDevices::SmartData>();
   Pelm::Ptr<StorageDevices::NvmeData> nvme = Pelm::make<StorageDevices::NvmeData>();
   Pelm::Ptr<StorageDevices::EmmcData> emmc = Pelm::make<StorageDevices::EmmcData>();
   Pelm::Ptr<StorageDevices::IOStatData> ioStat = Pelm::make<StorageDevices::IOStatData>();
};

struct Reading {
   struct Failure {
      Vorn::Seconds since;  // UTC
      std::string reason;
   };

   char const * source;                    // "smartctl", "nvme", "emmc" or "iostat"
   std::optional<Vorn::Seconds> lastGood;  // UTC; empty: never
   std::optional<Failure> failure;         // while it fails
};

// A tool's reading fails from the end of a run that filed nothing, until one files something. What is read
// without a tool fails when it is more than two polls late.
class Readings {
 public:
   Readings(Entities const & entities, Pelm::Ptr<Brul::ChildProcessTrackerSm const> const & tracker);
   Readings(Readings const &) = delete;
   Readings & operator=(Readings const &) = delete;
   ~Readings() = default;

   // One per source that the disk is read from; none for a disk that is not there.
   std::vector<Reading> of(Pelm::String const & serial) const;

   void handleDisk(Pelm::String const & serial,
                   Vorn::Change<Pelm::Ptr<StorageDevices::ConnectedDisk const>> const & change);
   void handleFinishedRun(Vorn::Change<Pelm::Ptr<Brul::FinishedRun const>> const & change);

 private:
   struct Tool {
      std::uint64_t count = 0;  // good readings at the end of the latest run
      std::optional<Reading::Failure> failure;
   };
   struct Disk {
      Vorn::Seconds seenUtc;  // when it appeared
      Tool smartctl;
      Tool nvme;
   };

   void add(Pelm::String const & serial);
   static void note(Tool & tool, std::uint64_t count, Brul::FinishedRun const & run);
   Reading emmcReading(Disk const & disk, StorageDevices::HealthReading const & reading) const;
   Reading ioStatReading(Disk const & disk, StorageDevices::IOStat const & history) const;

   Entities entities_;
   std::map<Pelm::String, Disk> disks_;
   Vorn::NotifieeConst devicesReactor_;
   Vorn::NotifieeConst trackerReactor_;
};

}  // namespace Agent
