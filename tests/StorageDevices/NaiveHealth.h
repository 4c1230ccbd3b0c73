// Second readings of smart logs, stat lines and eMMC registers, to compare the library's with.
#pragma once

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "NaiveJson.h"
#include "NaiveSmart.h"
#include "StorageDevices/BlockStat.h"
#include "runtime/model/EmmcData.h"
#include "runtime/model/NvmeData.h"

namespace StorageDevices::NaiveHealth {

struct LogField {
   char const * name;
   char const * key;
   DeviceNvmeData::Field DeviceNvmeData::*cell;
};

inline constexpr LogField logFields[] = {
    {"criticalWarning", "critical_warning", &DeviceNvmeData::criticalWarning},
    {"temperatureCelsius", "temperature", &DeviceNvmeData::temperatureCelsius},
    {"availableSpare", "avail_spare", &DeviceNvmeData::availableSpare},
    {"availableSpareThreshold", "spare_thresh", &DeviceNvmeData::availableSpareThreshold},
    {"percentageUsed", "percent_used", &DeviceNvmeData::percentageUsed},
    {"dataUnitsRead", "data_units_read", &DeviceNvmeData::dataUnitsRead},
    {"dataUnitsWritten", "data_units_written", &DeviceNvmeData::dataUnitsWritten},
    {"hostReadCommands", "host_read_commands", &DeviceNvmeData::hostReadCommands},
    {"hostWriteCommands", "host_write_commands", &DeviceNvmeData::hostWriteCommands},
    {"controllerBusyTime", "controller_busy_time", &DeviceNvmeData::controllerBusyTime},
    {"powerCycleCount", "power_cycles", &DeviceNvmeData::powerCycleCount},
    {"powerOnHours", "power_on_hours", &DeviceNvmeData::powerOnHours},
    {"unsafeShutdowns", "unsafe_shutdowns", &DeviceNvmeData::unsafeShutdowns},
    {"mediaErrors", "media_errors", &DeviceNvmeData::mediaErrors},
    {"numErrLogEntries", "num_err_log_entries", &DeviceNvmeData::numErrLogEntries},
    {"temperatureTimeWarning", "warning_temp_time", &DeviceNvmeData::temperatureTimeWarning},
    {"temperatureTimeCritical", "critical_comp_time", &DeviceNvmeData::temperatureTimeCritical},
};

inline constexpr char logTraceStart[] =
    "StorageDevices::NvmeAttr StorageDevices::parseAttr(const Document&, const char*)Property ";

// The seventeen values in the order of the table, and their traces.
struct Log {
   std::vector<NvmeAttr> values;
   std::vector<std::string> traces;
   bool operator==(Log const &) const = default;
};

inline Log logOf(DeviceNvmeData const & data, std::vector<std::string> traces) {
   Log log;
   for (auto const & field : logFields)
      log.values.push_back((data.*field.cell)());
   log.traces = std::move(traces);
   return log;
}

// The values of a smart log that is known to be a JSON object.
inline Log naiveLog(NaiveJson::Value const & document) {
   Log log;
   for (auto const & field : logFields) {
      std::string const key = field.key;
      auto const * member = document.member(key);
      auto number = NaiveSmart::naiveSigned(member);
      if (key == "temperature" && number && (*number < -2147483648LL || *number > 2147483647LL))
         number.reset();
      if (member == nullptr)
         log.traces.push_back(logTraceStart + key + " does not exist in nvme smart-log output");
      else if (!number)
         log.traces.push_back(logTraceStart + key + " is not in expected format");
      if (number && key == "temperature")
         *number -= 273;
      log.values.push_back({field.key, number.value_or(0)});
   }
   return log;
}

inline std::string text(Log const & log) {
   std::string lines;
   for (std::size_t i = 0; i < log.values.size(); ++i)
      lines += std::string(logFields[i].name) + ": " + std::to_string(log.values[i].value) + " from " +
               log.values[i].name.str() + "\n";
   for (auto const & trace : log.traces)
      lines +=
          "trace: " + (trace.starts_with(logTraceStart) ? trace.substr(sizeof logTraceStart - 1) : trace) +
          "\n";
   return lines;
}

inline void PrintTo(Log const & log, std::ostream * stream) {
   *stream << '\n' << text(log);
}

// 64 bits, from decimal digits.
inline std::optional<std::uint64_t> naiveCount(std::string digits) {
   digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size()));
   if (!NaiveSmart::isUpTo(digits, "18446744073709551615"))
      return std::nullopt;
   return digits.empty() ? 0 : std::stoull(digits);
}

struct Registers {
   std::uint8_t typeA = 0;
   std::uint8_t typeB = 0;
   std::uint8_t preEol = 0;
   bool operator==(Registers const &) const = default;
};

inline std::optional<Registers> registersOf(DeviceEmmcData const & data) {
   if (!data.preEolInfo().present())
      return std::nullopt;
   return Registers{data.lifetimeEstTypA().raw(), data.lifetimeEstTypB().raw(), data.preEolInfo().raw()};
}

// The next hexadecimal number of a text, as strtoul reads it into 32 bits. It is removed from the text. None
// when there is none, or when it is larger than a byte.
inline std::optional<std::uint8_t> naiveHexByte(std::string & text) {
   std::size_t at = 0;
   while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])) != 0)
      ++at;
   bool const isNegative = text.substr(at).starts_with('-');
   if (isNegative || text.substr(at).starts_with('+'))
      ++at;
   if (text.substr(at).starts_with("0x") || text.substr(at).starts_with("0X"))
      at += 2;
   std::size_t end = at;
   while (end < text.size() && std::isxdigit(static_cast<unsigned char>(text[end])) != 0)
      ++end;
   std::string digits = text.substr(at, end - at);
   text.erase(0, end);
   bool const isNone = digits.empty();
   digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size()));
   if (isNone || digits.size() > 8)
      return std::nullopt;
   auto number = static_cast<std::uint32_t>(digits.empty() ? 0 : std::stoul(digits, nullptr, 16));
   number = isNegative ? 0 - number : number;
   return number > 255 ? std::nullopt : std::optional(static_cast<std::uint8_t>(number));
}

// The values of the two files.
inline std::optional<Registers> naiveRegisters(std::string lifeTime, std::string preEolInfo) {
   auto const typeA = naiveHexByte(lifeTime);
   auto const typeB = naiveHexByte(lifeTime);
   auto const preEol = naiveHexByte(preEolInfo);
   if (!typeA || !typeB || !preEol)
      return std::nullopt;
   return Registers{*typeA, *typeB, *preEol};
}

}  // namespace StorageDevices::NaiveHealth
