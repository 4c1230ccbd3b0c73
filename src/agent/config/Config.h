// The agent's configuration: the values that an operator may set, and their defaults.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "StorageDevices/ApplianceTracker.h"
#include "base/DefaultPaths.h"
#include "base/HttpAddress.h"

namespace Agent {

// A configuration that cannot be used. what() is one line without control characters, such as
// "/etc/x.toml:3: poll_interval: must be a whole number of seconds, 1 or more, not 0".
class ConfigError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

// The programs that the monitors run, whose exit codes `accept_exit_bits` may name.
inline constexpr char const * toolNames[] = {"hdparm", "nvme", "smartctl"};

enum class LogDestination { automatic, journal, syslog, standardError };

struct Config {
   struct Appliance {
      std::string etcDir = "/etc";  // absolute
      std::vector<std::string> expectedMounts{"flash", "drive"};
      std::string mountSourceDir = "/run/storagedevices/mount-source";  // absolute
      std::map<std::string, std::string> sensors;  // drive serial number -> a name of Config::sensors
      bool operator==(Appliance const &) const = default;
   };

   struct Sensor {
      std::string description;
      double overheat = 0;  // degrees Celsius, below critical
      double critical = 0;  // degrees Celsius
      bool operator==(Sensor const &) const = default;
   };

   // The timeout is 0 to 86400 s. A table of exit bits in the file replaces the default whole.
   using Tools = StorageDevices::ToolRules;

   struct KernelMessages {
      std::string socket = "/var/run/kernelmessages";  // absolute, at most 107 bytes
      bool forwardKmsg = true;
      bool modernKernels = true;
      bool operator==(KernelMessages const &) const = default;
   };

   struct Status {
      std::string socket = Base::defaultStatusSocket;  // absolute, at most 107 bytes
      std::optional<Base::HttpAddress> http;           // not loopback: needs allowRemote
      bool allowRemote = false;
      std::string socketGroup;  // name of the group that may connect; empty: no group
      bool operator==(Status const &) const = default;
   };

   struct History {
      double hours = 24;                                 // 0 to 8760
      std::string file = "/run/storagedevices/history";  // absolute, or empty: none
      bool operator==(History const &) const = default;
   };

   // Percent of a disk's rated life that is left, 0 to 100.
   struct VerdictLimits {
      double lifeWarning = 10;
      double lifeFailing = 1;  // not above lifeWarning
      bool operator==(VerdictLimits const &) const = default;
   };

   std::int64_t pollInterval = 60;  // seconds, 1 or more
   Appliance appliance;
   std::map<std::string, Sensor> sensors;  // by sensor name
   Tools tools;
   KernelMessages kernelMessages;
   Status status;
   LogDestination logDestination = LogDestination::automatic;
   History history;
   VerdictLimits verdict;
   std::map<std::string, int> trace;  // facility -> highest level written, 0 to 9
   double timeScale = 1.0;            // 0.001 to 100000

   bool operator==(Config const &) const = default;
};

inline constexpr std::size_t maxConfigSize = std::size_t{1} << 20U;  // bytes

// Reads a configuration in TOML. Missing keys keep their defaults. Raises ConfigError for an unknown key,
// tool or trace facility, and for a value of the wrong type or out of range. Also for a text of more than
// `maxConfigSize`, and for a drive whose sensor has no section. `fileName` appears only in the error.
// Facilities are those of this program and its loaded libraries.
Config parseConfig(std::string_view text, std::string const & fileName);

}  // namespace Agent
