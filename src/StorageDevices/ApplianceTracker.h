// The child-process tracker of an appliance: which runs of its tools have failed, how long they may take, and
// where the tools are found. A tracker that a host makes itself knows no such rules. Its runs have no time
// limit, every exit code but 0 is a failure, and `nvme` is the one on PATH.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "StorageDevices/Export.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Seconds.h"

namespace StorageDevices {

struct ToolRules {
   Vorn::Seconds timeout = 60;  // of real time, after which a run is ended and has failed; 0: no limit
   std::string path;  // absolute directories, separated by colons, that are searched before PATH; or empty
   // Tool -> the bits of its exit code that do not make a run fail. smartctl sets such bits beside a whole
   // report: for a drive that is failing, or one that lacks a feature.
   std::map<std::string, std::uint8_t> acceptExitBits{{"smartctl", 0xfc}};
   // Whether `nvme` runs through the filter that brings the output of every nvme-cli into one layout.
   bool nvmeCompat = true;
   bool operator==(ToolRules const &) const = default;
};

// A tracker with these rules.
STORAGEDEVICES_API Pelm::Ptr<Brul::ChildProcessTrackerSm> applianceTracker(ToolRules const & rules = {});

// Replaces the rules of a tracker. Runs in flight keep their time limit.
STORAGEDEVICES_API void toolRulesIs(Brul::ChildProcessTrackerSm & tracker, ToolRules const & rules);

// The directory of that filter, which is installed beside the library. Empty: it is not there, and the output
// of nvme-cli versions with other layouts cannot be read.
STORAGEDEVICES_API std::string nvmeFilterDirectory();

}  // namespace StorageDevices
