#include <algorithm>
#include <array>
#include <cstdio>
#include <initializer_list>
#include <type_traits>
#include <vector>

#include "base/JsonText.h"
#include "simulation/DriveHealth.h"

namespace StorageDevices::Simulation {

namespace {

constexpr std::uint64_t sectorBytes = 512;
constexpr std::uint64_t dataUnitBytes = 512000;
constexpr int zeroCelsius = 273;
constexpr int diskFailing = 1 << 3;

std::string registerText(unsigned value) {
   std::array<char, 16> text{};
   std::snprintf(text.data(), text.size(), "0x%02x", value);
   return text.data();
}

// One row of an ATA drive's table.
struct Row {
   unsigned id;
   char const * name;
   unsigned value;
   unsigned thresh;
   bool prefail;
   std::uint64_t raw;
   std::string rawString;
};

unsigned lifeLeft(DriveHealth const & health) {
   return 100 - std::min(health.percentUsed, 100U);
}

std::vector<Row> rowsOf(DriveHealth const & health) {
   auto const temperature = static_cast<unsigned>(std::clamp(health.temperature, 0, 99));
   auto const count = [](std::uint64_t raw) { return std::to_string(raw); };
   auto const worn = static_cast<unsigned>(std::max<std::uint64_t>(100, health.reallocatedSectors) - 100);
   std::uint64_t const written = health.bytesWritten / sectorBytes;
   std::uint64_t const read = health.bytesRead / sectorBytes;
   std::vector<Row> rows{
       {1, "Raw_Read_Error_Rate", 100, 50, true, 0, {}},
       {5, "Reallocated_Sector_Ct", 100 - std::min(worn, 99U), 10, true, health.reallocatedSectors, {}},
       {9, "Power_On_Hours", 98, 0, false, health.powerOnHours, {}},
       {12, "Power_Cycle_Count", 99, 0, false, health.powerCycles, {}},
       {170, "Bad_Block_Reserve", health.availableSpare, 10, true, 0, {}},
       {171, "Program_Fail_Count", 100, 0, false, 0, {}},
       {172, "Erase_Fail_Count", 100, 0, false, 0, {}},
       {173, "Average_Erase_Count", lifeLeft(health), 0, false, health.percentUsed * 30ULL, {}},
       {187, "Reported_Uncorrect", 100, 0, false, health.mediaErrors, {}},
       {192, "Power-Off_Retract_Count", 100, 0, false, health.powerCycles / 8, {}},
       {194, "Temperature_Celsius", 100 - temperature, 0, false, temperature,
        std::to_string(health.temperature) + " (Min/Max 19/58)"},
       {197, "Current_Pending_Sector", 100, 0, false, 0, {}},
       {199, "UDMA_CRC_Error_Count", 100, 0, false, 0, {}},
       {202,
        "Percent_Lifetime_Remain",
        lifeLeft(health),
        1,
        false,
        health.rawLifeIsLeft ? lifeLeft(health) : health.percentUsed,
        {}},
       {241, "Total_LBAs_Written", 100, 0, false, written, {}},
       {242, "Total_LBAs_Read", 100, 0, false, read, {}}};
   for (Row & row : rows)
      if (row.rawString.empty())
         row.rawString = count(row.raw);
   return rows;
}

using Writer = Base::JsonWriter;

// A truth value, a whole number or a text.
template <class Value>
void write(Writer & writer, Value const & value) {
   if constexpr (std::is_same_v<Value, bool>)
      writer.Bool(value);
   else if constexpr (std::is_unsigned_v<Value>)
      writer.Uint64(value);
   else if constexpr (std::is_integral_v<Value>)
      writer.Int64(value);
   else
      Base::writeText(writer, value);
}

template <class Value>
void member(Writer & writer, char const * name, Value const & value) {
   writer.Key(name);
   write(writer, value);
}

template <class Members>
void object(Writer & writer, char const * name, Members members) {
   writer.Key(name);
   writer.StartObject();
   members();
   writer.EndObject();
}

// A report with these members, in one line.
template <class Members>
std::string report(Members members) {
   Base::JsonBuffer text;
   Writer writer{text};
   writer.StartObject();
   members(writer);
   writer.EndObject();
   return std::string{text.GetString(), text.GetSize()} + "\n";
}

void writeFlags(Writer & writer, Row const & row) {
   object(writer, "flags", [&] {
      member(writer, "value", row.prefail ? 51 : 50);
      member(writer, "string", row.prefail ? "PO--CK " : "-O--CK ");
      member(writer, "prefailure", row.prefail);
      member(writer, "updated_online", true);
      member(writer, "performance", false);
      member(writer, "error_rate", false);
      member(writer, "event_count", true);
      member(writer, "auto_keep", true);
   });
}

void writeRow(Writer & writer, Row const & row) {
   bool const failing = row.thresh > 0 && row.value <= row.thresh;
   writer.StartObject();
   member(writer, "id", row.id);
   member(writer, "name", row.name);
   member(writer, "value", row.value);
   member(writer, "worst", row.value);
   member(writer, "thresh", row.thresh);
   member(writer, "when_failed", failing ? "now" : "");
   writeFlags(writer, row);
   object(writer, "raw", [&] {
      member(writer, "value", row.raw);
      member(writer, "string", row.rawString);
   });
   writer.EndObject();
}

template <class Value>
void writeArray(Writer & writer, char const * name, std::initializer_list<Value> values) {
   writer.Key(name);
   writer.StartArray();
   for (Value const & value : values)
      write(writer, value);
   writer.EndArray();
}

// What every report begins with.
void writeOpening(Writer & writer, std::string_view name, std::string_view type, std::string_view protocol,
                  DriveHealth const & health) {
   std::string const device = "/dev/" + std::string(name);
   writeArray(writer, "json_format_version", {1, 0});
   object(writer, "smartctl", [&] {
      writeArray(writer, "version", {7, 3});
      writeArray<std::string_view>(writer, "argv",
                                   {"smartctl", "--json=c", "--offlineauto=on", "-HA", device});
      member(writer, "exit_status", smartctlExitCode(health));
   });
   object(writer, "device", [&] {
      member(writer, "name", device);
      member(writer, "type", type);
      member(writer, "protocol", protocol);
   });
   object(writer, "smart_status", [&] { member(writer, "passed", health.passed); });
}

// What those of drives with a health log end with.
void writeClosing(Writer & writer, DriveHealth const & health) {
   object(writer, "power_on_time", [&] { member(writer, "hours", health.powerOnHours); });
   member(writer, "power_cycle_count", health.powerCycles);
   object(writer, "temperature", [&] { member(writer, "current", health.temperature); });
}

// The tools have different names for the same fields of the health log.
struct LogNames {
   char const * spare;
   char const * spareThreshold;
   char const * percentUsed;
   char const * reads;
   char const * writes;
};

void writeHealthLog(Writer & writer, DriveHealth const & health, int temperature, LogNames const & names) {
   std::uint64_t const unitsRead = health.bytesRead / dataUnitBytes;
   std::uint64_t const unitsWritten = health.bytesWritten / dataUnitBytes;
   member(writer, "critical_warning", health.criticalWarning);
   member(writer, "temperature", temperature);
   member(writer, names.spare, health.availableSpare);
   member(writer, names.spareThreshold, 10);
   member(writer, names.percentUsed, health.percentUsed);
   member(writer, "data_units_read", unitsRead);
   member(writer, "data_units_written", unitsWritten);
   member(writer, names.reads, unitsRead * 30);
   member(writer, names.writes, unitsWritten * 25);
   member(writer, "controller_busy_time", health.powerOnHours / 4);
   member(writer, "power_cycles", health.powerCycles);
   member(writer, "power_on_hours", health.powerOnHours);
   member(writer, "unsafe_shutdowns", health.powerCycles / 8);
   member(writer, "media_errors", health.mediaErrors);
   member(writer, "num_err_log_entries", health.mediaErrors);
   member(writer, "warning_temp_time", 0);
   member(writer, "critical_comp_time", 0);
}

}  // namespace

std::string smartctlAtaReport(std::string_view name, DriveHealth const & health) {
   return report([&](Writer & writer) {
      writeOpening(writer, name, "sat", "ATA", health);
      object(writer, "ata_smart_attributes", [&] {
         member(writer, "revision", 1);
         writer.Key("table");
         writer.StartArray();
         for (Row const & row : rowsOf(health))
            writeRow(writer, row);
         writer.EndArray();
      });
      writeClosing(writer, health);
   });
}

std::string smartctlNvmeReport(std::string_view name, DriveHealth const & health) {
   constexpr LogNames names{"available_spare", "available_spare_threshold", "percentage_used", "host_reads",
                            "host_writes"};
   return report([&](Writer & writer) {
      writeOpening(writer, name, "nvme", "NVMe", health);
      object(writer, "nvme_smart_health_information_log",
             [&] { writeHealthLog(writer, health, health.temperature, names); });
      writeClosing(writer, health);
   });
}

std::string smartctlScsiReport(std::string_view name, DriveHealth const & health) {
   return report([&](Writer & writer) {
      writeOpening(writer, name, "scsi", "SCSI", health);
      object(writer, "temperature", [&] { member(writer, "current", 0); });
      object(writer, "scsi_temperature", [&] { member(writer, "drive_trip", 0); });
   });
}

int smartctlExitCode(DriveHealth const & health) {
   return health.passed ? 0 : diskFailing;
}

std::string nvmeSmartLog(DriveHealth const & health) {
   constexpr LogNames names{"avail_spare", "spare_thresh", "percent_used", "host_read_commands",
                            "host_write_commands"};
   return report(
       [&](Writer & writer) { writeHealthLog(writer, health, health.temperature + zeroCelsius, names); });
}

std::string emmcLifeTime(DriveHealth const & health) {
   // Tenths of the life used, from 1 on; 11: all of it.
   std::string const tenths = registerText(std::min(health.percentUsed / 10, 10U) + 1);
   return tenths + " " + tenths;
}

std::string emmcPreEndOfLife(DriveHealth const & health) {
   return registerText(health.preEndOfLife);
}

}  // namespace StorageDevices::Simulation
