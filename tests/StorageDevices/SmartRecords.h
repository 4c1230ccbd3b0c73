// SMART records as plain values, to compare and to print.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include "runtime/model/SmartData.h"

namespace StorageDevices::SmartRecords {

// The named fields, in a list of the tests' own.
struct NamedField {
   char const * name;
   SmartField field;
};

inline constexpr NamedField namedFields[] = {
    {"rawReadErrorRate", {&DeviceSmartData::rawReadErrorRate, &DeviceSmartData::rawReadErrorRateIs}},
    {"reallocatedSectorCount",
     {&DeviceSmartData::reallocatedSectorCount, &DeviceSmartData::reallocatedSectorCountIs}},
    {"powerOnHours", {&DeviceSmartData::powerOnHours, &DeviceSmartData::powerOnHoursIs}},
    {"powerCycleCount", {&DeviceSmartData::powerCycleCount, &DeviceSmartData::powerCycleCountIs}},
    {"programFailCountTotal",
     {&DeviceSmartData::programFailCountTotal, &DeviceSmartData::programFailCountTotalIs}},
    {"programFailCountChip",
     {&DeviceSmartData::programFailCountChip, &DeviceSmartData::programFailCountChipIs}},
    {"wearLevelingCount", {&DeviceSmartData::wearLevelingCount, &DeviceSmartData::wearLevelingCountIs}},
    {"eraseFailCountTotal", {&DeviceSmartData::eraseFailCountTotal, &DeviceSmartData::eraseFailCountTotalIs}},
    {"eraseFailCountChip", {&DeviceSmartData::eraseFailCountChip, &DeviceSmartData::eraseFailCountChipIs}},
    {"usedReserveBlockCountChip",
     {&DeviceSmartData::usedReserveBlockCountChip, &DeviceSmartData::usedReserveBlockCountChipIs}},
    {"reportedUncorrectableErrorCount",
     {&DeviceSmartData::reportedUncorrectableErrorCount,
      &DeviceSmartData::reportedUncorrectableErrorCountIs}},
    {"unexpectedPowerOffCount",
     {&DeviceSmartData::unexpectedPowerOffCount, &DeviceSmartData::unexpectedPowerOffCountIs}},
    {"temperatureCelsius", {&DeviceSmartData::temperatureCelsius, &DeviceSmartData::temperatureCelsiusIs}},
    {"hardwareEccRecovered",
     {&DeviceSmartData::hardwareEccRecovered, &DeviceSmartData::hardwareEccRecoveredIs}},
    {"reallocationEventCount",
     {&DeviceSmartData::reallocationEventCount, &DeviceSmartData::reallocationEventCountIs}},
    {"currentPendingSectorCount",
     {&DeviceSmartData::currentPendingSectorCount, &DeviceSmartData::currentPendingSectorCountIs}},
    {"offlineUncorrectableSectorCount",
     {&DeviceSmartData::offlineUncorrectableSectorCount,
      &DeviceSmartData::offlineUncorrectableSectorCountIs}},
    {"udmaCrcErrorCount", {&DeviceSmartData::udmaCrcErrorCount, &DeviceSmartData::udmaCrcErrorCountIs}},
    {"availableReservedSpace",
     {&DeviceSmartData::availableReservedSpace, &DeviceSmartData::availableReservedSpaceIs}},
    {"totalLbasWritten", {&DeviceSmartData::totalLbasWritten, &DeviceSmartData::totalLbasWrittenIs}},
    {"totalLbasRead", {&DeviceSmartData::totalLbasRead, &DeviceSmartData::totalLbasReadIs}},
    {"lifetimeRemaining", {&DeviceSmartData::lifetimeRemaining, &DeviceSmartData::lifetimeRemainingIs}},
};

struct Record {
   std::optional<bool> verdict{};     // none: never read
   std::optional<bool> allPassing{};  // none: never read
   std::map<std::string, SmartAttr> fields{};
   std::map<unsigned, SmartAttr> unknown{};

   bool operator==(Record const &) const = default;
};

inline SmartAttr row(unsigned id, Pelm::String name = {}, std::int64_t raw = 0, Pelm::String rawString = {}) {
   SmartAttr attr;
   attr.id = static_cast<std::uint8_t>(id);
   attr.name = std::move(name);
   attr.raw = raw;
   attr.rawString = std::move(rawString);
   return attr;
}

inline Record recordOf(DeviceSmartData const & data) {
   Record record;
   if (data.healthStatusRead())
      record.verdict = data.healthStatusOk();
   if (data.attrsRead())
      record.allPassing = data.allAttrsPassing();
   for (auto const & [name, field] : namedFields)
      if (OptionalSmartAttr const & attr = (data.*field.cell)())
         record.fields.emplace(name, *attr);
   for (auto const & [id, attr] : data.unknownAttr)
      record.unknown.emplace(id, attr);
   return record;
}

// What readers take, then the row it came from.
inline std::string text(SmartAttr const & attr) {
   std::ostringstream line;
   line << attr.reportedValue << " from " << int{attr.id} << ' ' << attr.name << " value " << int{attr.value}
        << " worst " << int{attr.worst} << " thresh " << int{attr.thresh} << " flags " << int{attr.flags}
        << " raw " << attr.raw << " \"" << attr.rawString << '"';
   return line.str();
}

inline std::string text(std::optional<bool> flag) {
   return !flag ? "unknown" : *flag ? "yes" : "no";
}

inline std::string text(Record const & record) {
   std::string lines = "passed: " + text(record.verdict) + "\n";
   lines += "all attributes within their thresholds: " + text(record.allPassing) + "\n";
   for (auto const & field : namedFields)
      if (auto const found = record.fields.find(field.name); found != record.fields.end())
         lines += found->first + ": " + text(found->second) + "\n";
   for (auto const & [id, attr] : record.unknown)
      lines += "unknown: " + text(attr) + "\n";
   return lines;
}

inline void PrintTo(Record const & record, std::ostream * stream) {
   *stream << '\n' << text(record);
}

}  // namespace StorageDevices::SmartRecords
