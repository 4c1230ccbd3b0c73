// A second reading of SMART reports, to compare the library's with. It is slow, has its own tables, and is
// meant to be compared with the rules line by line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "NaiveJson.h"
#include "SmartRecords.h"

namespace StorageDevices::NaiveSmart {

using NaiveJson::Value;
using SmartRecords::Record;

// The drive database's entry for one attribute number.
struct Mapped {
   bool ignore = false;
   std::string field;
   std::int64_t (*value)(SmartAttr const &) = nullptr;
};
using Mapping = std::map<unsigned, Mapped>;

inline Value const * at(Value const & from, std::initializer_list<char const *> path) {
   Value const * value = &from;
   for (auto const * name : path) {
      if (value->kind == '{')
         value = value->member(name);
      else
         value = nullptr;
      if (value == nullptr)
         return nullptr;
   }
   return value;
}

// JSON knows no leading zeros, so that a longer number is a larger one.
inline bool isUpTo(std::string const & digits, std::string const & limit) {
   return digits.size() < limit.size() || (digits.size() == limit.size() && digits <= limit);
}

inline std::optional<std::int64_t> naiveSigned(Value const * value) {
   if (value == nullptr || value->kind != '0')
      return std::nullopt;
   bool const isNegative = value->text[0] == '-';
   std::string const digits = value->text.substr(isNegative ? 1 : 0);
   if (digits.find_first_not_of("0123456789") != std::string::npos)
      return std::nullopt;
   if (!isUpTo(digits, isNegative ? "9223372036854775808" : "9223372036854775807"))
      return std::nullopt;
   return std::stoll(value->text);
}

inline std::optional<std::uint8_t> naiveByte(Value const * value) {
   auto const number = naiveSigned(value);
   if (!number || *number < 0 || *number > 255)
      return std::nullopt;
   return static_cast<std::uint8_t>(*number);
}

inline std::optional<SmartAttr> naiveRow(Value const & row) {
   auto const id = naiveByte(at(row, {"id"}));
   auto const * name = at(row, {"name"});
   auto const value = naiveByte(at(row, {"value"}));
   auto const worst = naiveByte(at(row, {"worst"}));
   auto const flags = naiveByte(at(row, {"flags", "value"}));
   auto const raw = naiveSigned(at(row, {"raw", "value"}));
   auto const * rawString = at(row, {"raw", "string"});
   std::optional<std::uint8_t> thresh = 0;
   if (auto const * given = at(row, {"thresh"}))
      thresh = naiveByte(given);
   if (!id || name == nullptr || name->kind != '"' || !thresh || !value || !worst || !flags || !raw)
      return std::nullopt;
   SmartAttr attr;
   attr.id = *id;
   attr.name = name->text;
   attr.thresh = *thresh;
   attr.value = *value;
   attr.worst = *worst;
   attr.flags = *flags;
   attr.raw = *raw;
   if (rawString != nullptr && rawString->kind == '"')
      attr.rawString = rawString->text;
   attr.reportedValue = *value;
   return attr;
}

// Degrees, if a drive can have them.
inline std::optional<std::int64_t> naiveTemperature(SmartAttr const & attr) {
   std::string const text = attr.rawString.str();
   std::size_t const start = text.starts_with("-") ? 1 : 0;
   std::size_t end = start;
   while (end < text.size() && text[end] >= '0' && text[end] <= '9')
      ++end;
   std::int64_t celsius = ((attr.raw % 256) + 256) % 256;
   if (end > start) {
      std::string digits = text.substr(start, end - start);
      digits.erase(0, digits.find_first_not_of('0'));
      if (digits.size() > 3)
         return std::nullopt;
      celsius = digits.empty() ? 0 : std::stoll(digits);
      celsius = start == 1 ? -celsius : celsius;
   }
   if (celsius < -40 || celsius > 140)
      return std::nullopt;
   return celsius;
}

struct Known {
   char const * name;
   char const * field;
   unsigned id = 0;      // 0: any
   char reported = 'v';  // v for the value, r for the raw value, t for the temperature
};

inline constexpr Known knownRows[] = {
    {"Percent_Lifetime_Used", "lifetimeRemaining"},
    {"Perc_Rated_Life_Used", "lifetimeRemaining"},
    {"Percent_Lifetime_Remain", "lifetimeRemaining"},
    {"Remainig_Lifetime_Perc", "lifetimeRemaining"},
    {"Lifetime_Remaining%", "lifetimeRemaining"},
    {"Raw_Read_Error_Rate", "rawReadErrorRate", 1},
    {"Reallocated_Sector_Ct", "reallocatedSectorCount", 5},
    {"Reallocate_NAND_Blk_Cnt", "reallocatedSectorCount", 5},
    {"Power_On_Hours", "powerOnHours", 9, 'r'},
    {"Power_Cycle_Count", "powerCycleCount", 12},
    {"Program_Fail_Cnt_Total", "programFailCountTotal", 181},
    {"Program_Fail_Count", "programFailCountTotal", 171},
    {"Program_Fail_Count_Chip", "programFailCountChip", 175},
    {"Wear_Leveling_Count", "wearLevelingCount", 177},
    {"Erase_Fail_Count_Total", "eraseFailCountTotal", 182},
    {"Erase_Fail_Count", "eraseFailCountTotal", 172},
    {"Erase_Fail_Count_Chip", "eraseFailCountChip", 176},
    {"Used_Rsvd_Blk_Cnt_Chip", "usedReserveBlockCountChip", 178},
    {"Reported_Uncorrect", "reportedUncorrectableErrorCount", 187},
    {"Power-Off_Retract_Count", "unexpectedPowerOffCount", 192},
    {"Temperature_Celsius", "temperatureCelsius", 194, 't'},
    {"Hardware_ECC_Recovered", "hardwareEccRecovered", 195},
    {"Reallocated_Event_Count", "reallocationEventCount", 196},
    {"Current_Pending_Sector", "currentPendingSectorCount", 197},
    {"Current_Pending_ECC_Cnt", "currentPendingSectorCount", 197},
    {"Offline_Uncorrectable", "offlineUncorrectableSectorCount", 198},
    {"UDMA_CRC_Error_Count", "udmaCrcErrorCount", 199},
    {"Available_Reservd_Space", "availableReservedSpace", 232},
    {"Total_LBAs_Written", "totalLbasWritten", 241},
    {"Host_Writes_32MiB", "totalLbasWritten", 241},
    {"Total_LBAs_Read", "totalLbasRead", 242},
    {"Host_Reads_32MiB", "totalLbasRead", 242},
};

inline Known const * naiveKnown(SmartAttr const & attr) {
   for (auto const & row : knownRows)
      if ((row.id == 0 || row.id == attr.id) && attr.name.str() == row.name)
         return &row;
   return nullptr;
}

inline void naiveFile(Record & record, SmartAttr attr, Mapping const & mapping) {
   if (auto const entry = mapping.find(attr.id); entry != mapping.end()) {
      auto const & [ignore, field, value] = entry->second;
      if (ignore) {
         record.unknown[attr.id] = attr;
         return;
      }
      attr.reportedValue = value != nullptr ? value(attr) : attr.value;
      record.fields[field] = attr;
      return;
   }
   Known const * const row = naiveKnown(attr);
   bool const isTemperature = row != nullptr && row->reported == 't';
   if (row == nullptr || (isTemperature && !naiveTemperature(attr)) || record.fields.contains(row->field)) {
      record.unknown[attr.id] = attr;
      return;
   }
   attr.reportedValue = isTemperature          ? *naiveTemperature(attr)
                        : row->reported == 'r' ? attr.raw
                                               : attr.value;
   record.fields[row->field] = attr;
}

// The values of a report that is known to be JSON.
inline Record naiveRecord(Value const & document, Mapping const & mapping = {}) {
   Record record;
   if (auto const * passed = at(document, {"smart_status", "passed"}))
      if (passed->kind == 't' || passed->kind == 'f')
         record.verdict = passed->kind == 't';
   auto const * table = at(document, {"ata_smart_attributes", "table"});
   if (table == nullptr || table->kind != '[')
      return record;
   record.allPassing = true;
   for (auto const & row : table->elements) {
      auto const attr = naiveRow(row);
      if (!attr)
         continue;
      naiveFile(record, *attr, mapping);
      if (attr->thresh != 0 && attr->value <= attr->thresh)
         record.allPassing = false;
   }
   return record;
}

}  // namespace StorageDevices::NaiveSmart
