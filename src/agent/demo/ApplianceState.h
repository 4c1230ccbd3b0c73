// What the agent's state document says of the disks, and how two such documents differ.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Agent::Demo {

struct DiskState {
   std::string model;
   std::string firmware;
   std::string blockDevice;
   std::string mountPoint;
   bool removable = false;
   int mibType = 0;
   int busType = 0;
   unsigned sizeGb = 0;

   bool operator==(DiskState const &) const = default;
};

// What the readings of a disk say; empty what none has said yet.
struct DiskHealth {
   std::optional<bool> passed;         // its own verdict
   std::optional<double> temperature;  // degrees Celsius
   std::optional<double> hours;        // of operation
   std::optional<double> lifeUsed;     // percent of an NVMe drive, tenths of an eMMC chip
   std::string failing;                // the reading that fails and why: "smartctl: unreadable output"

   bool operator==(DiskHealth const &) const = default;
};

struct ApplianceState {
   bool internalDevicesReady = false;
   std::map<std::string, DiskState> disks;  // by serial number

   std::map<std::string, DiskHealth> health;

   // Null when there is none of that serial.
   DiskState const * disk(std::string const & serial) const;
   DiskHealth const * healthOf(std::string const & serial) const;
};

// Throws std::runtime_error for a text that is no JSON object.
ApplianceState parseState(std::string_view document);

// One line for each disk that came ("+"), went ("-") or changed ("~"), its health included, safe to show.
std::vector<std::string> differences(ApplianceState const & before, ApplianceState const & now);

}  // namespace Agent::Demo
