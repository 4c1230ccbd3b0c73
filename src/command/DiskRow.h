// One disk of the state document, formatted for the status table. Nothing is derived that the document does
// not say. Pure functions. Texts from devices are not escaped here.
#pragma once

#include <rapidjson/fwd.h>

#include <optional>
#include <string>

#include "command/TextTable.h"

namespace Command {

// An unknown value is an empty text.
struct DiskRow {
   std::string name;
   std::string model;
   std::string firmware;
   std::string device;
   std::string bus;  // kind of bus and address on it: "SATA 1"
   std::string size;
   std::string mountPoint;
   std::string kind;  // "fixed" or "removable"
   Cell verdict;
   Cell reason;  // all reasons for it, the worst first
   std::string temperature;
   std::string life;        // percent of the rated life that is left
   std::string hours;       // powered on
   std::string written;     // to the drive in its life, or where it does not report that, "… since boot"
   std::string age;         // of the last good reading of its health
   Cell reading;            // the readings that fail, for how long and why
   std::string fileSystem;  // how its test goes, in a word
   std::string interfaceAndAddress;
};

// `disk` is the member `name` of the document's connectedDevices.disk; for an absent disk it is the member
// "disk" of its figures.
DiskRow diskRow(rapidjson::Value const & state, std::string const & name, rapidjson::Value const & disk);

// The newest of the log messages (oldest first, an array) that names the disk among its arguments;
// null when none does.
rapidjson::Value const * lastMessageOf(DiskRow const & disk, rapidjson::Value const * messages);

}  // namespace Command
