// The disks of the agent's state document, and the differences between two such documents.
#pragma once

#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Demo {

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

// The agent's verdict on a disk and its figures; empty while unknown.
struct DiskHealth {
   std::string verdict;                // "ok", "warning", "failing" …
   std::vector<std::string> reasons;   // their codes, the worst first
   std::optional<double> temperature;  // degrees Celsius
   std::optional<double> hours;        // of operation
   std::optional<double> lifeLeft;     // percent
   std::string failing;                // the reading that fails and why: "smartctl: unreadable output"

   bool operator==(DiskHealth const &) const = default;
};

struct Message {
   unsigned sequence = 0;
   std::string name;
   std::string text;
};

struct ApplianceState {
   bool internalDevicesReady = false;
   std::map<std::string, DiskState> disks;          // by serial number
   std::map<std::string, DiskHealth> health;        // of absent disks too
   std::map<std::string, std::string> fileSystems;  // by mount point: how its test goes, "tested"
   std::vector<Message> messages;                   // since the agent started, oldest first

   // Whether there is a message of that name whose text contains all of these.
   bool hasLogged(std::string_view name, std::initializer_list<std::string_view> parts) const;
   // Null when there is none of that serial.
   DiskState const * disk(std::string const & serial) const;
   DiskHealth const * healthOf(std::string const & serial) const;
   // Whether the verdict on the disk has a reason of that code.
   bool hasReason(std::string const & serial, std::string_view code) const;
};

// From the state document and the list of messages, the latter empty if there is none. Throws
// std::runtime_error for a text that is no JSON object.
ApplianceState parseState(std::string_view document, std::string_view messages = {});

// Of all messages that can be logged, from the catalogue as JSON. Throws like `parseState`.
std::vector<std::string> messageNames(std::string_view catalogue);

// A line for each disk that came ("+"), went ("-") or changed ("~"), its health included. Then a line for
// each file system whose test has changed. The lines are safe to show.
std::vector<std::string> differences(ApplianceState const & before, ApplianceState const & now);

}  // namespace Demo
