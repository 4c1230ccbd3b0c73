// The unit's verdicts as a monitoring plugin reports them (`storagedevices check`).
#pragma once

#include <rapidjson/fwd.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Command {

// The exit codes of monitoring plugins.
enum class PluginStatus { ok = 0, warning = 1, critical = 2, unknown = 3 };

// "OK", "WARNING", "CRITICAL", "UNKNOWN".
std::string_view statusWord(PluginStatus status);

// What a verdict, as the agent spells it, means to a monitoring system. A word that is no verdict is unknown.
PluginStatus statusOf(std::string_view verdict);

struct CheckedReason {
   std::string code;
   std::string verdict;
   std::string text;
};

// Texts are those of the document: not escaped.
struct CheckedDisk {
   std::string serial;
   std::string device;   // node; of an absent disk the former one
   std::string verdict;  // as the agent spells it
   PluginStatus status = PluginStatus::unknown;
   std::vector<CheckedReason> reasons{};
   std::optional<double> temperature{};  // degrees Celsius, as are the limits of its sensor
   std::optional<double> overheat{};
   std::optional<double> critical{};
   std::optional<double> lifeLeft{};  // percent of the rated life
};

struct CheckResult {
   PluginStatus status = PluginStatus::unknown;
   std::vector<CheckedDisk> disks{};             // the worst first, those of a verdict by serial number
   std::vector<std::string> missing{};           // expected mount points without a disk
   std::string remark{};                         // why more than the disks is not known; empty: nothing
   std::map<std::string, std::size_t> counts{};  // of disks, by each verdict that the agent knows
   std::optional<double> lifeWarning{};          // the agent's limits, percent of the rated life left
   std::optional<double> lifeFailing{};
};

// Reads the state document. Failing and absent disks and missing mount points are critical, an unknown disk
// makes the unit unknown. So does a unit without disks, and one whose disks are still being identified.
// Raises std::runtime_error with one line for a document without verdicts.
CheckResult checkResult(rapidjson::Value const & state);

// The line of the plugin with its line break: "STORAGE WARNING - …|…". At most 8,000 bytes. What a device
// says of itself can neither end the line nor begin the performance data.
std::string checkLine(CheckResult const & result);
// The line for a check that could not be made.
std::string unknownLine(std::string_view why);

// The same as one JSON object with a line break: "status", "exitCode", "disks", "missing", and "remark" or
// "error".
std::string checkJson(CheckResult const & result);
std::string unknownJson(std::string_view why);

}  // namespace Command
