#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

#include "base/JsonText.h"
#include "simulation/DriveHealth.h"

namespace StorageDevices::Simulation {

namespace {

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

void writeRow(Writer & writer, Row const & row) {
   writer.StartObject();
   Base::writeMember(writer, "id", row.id);
   Base::writeMember(writer, "name", row.name);
   Base::writeMember(writer, "value", row.value);
   Base::writeMember(writer, "worst", row.value);
   Base::writeMember(writer, "thresh", row.thresh);
   object(writer, "flags", [&] { Base::writeMember(writer, "value", row.prefail ? 51 : 50); });
   object(writer, "raw", [&] {
      Base::writeMember(writer, "value", row.raw);
      Base::writeMember(writer, "string", row.rawString);
   });
   writer.EndObject();
}

// What every report begins with.
void writeOpening(Writer & writer, std::string_view name, std::string_view type, std::string_view protocol,
                  DriveHealth const & health) {
   std::string const device = "/dev/" + std::string(name);
   object(writer, "smartctl", [&] { Base::writeMember(writer, "exit_status", smartctlExitCode(health)); });
   object(writer, "device", [&] {
      Base::writeMember(writer, "name", device);
      Base::writeMember(writer, "type", type);
      Base::writeMember(writer, "protocol", protocol);
   });
   object(writer, "smart_status", [&] { Base::writeMember(writer, "passed", health.passed); });
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
   Base::writeMember(writer, "critical_warning", health.criticalWarning);
   Base::writeMember(writer, "temperature", temperature);
   Base::writeMember(writer, names.spare, health.availableSpare);
   Base::writeMember(writer, names.spareThreshold, 10);
   Base::writeMember(writer, names.percentUsed, health.percentUsed);
   Base::writeMember(writer, "data_units_read", unitsRead);
   Base::writeMember(writer, "data_units_written", unitsWritten);
   Base::writeMember(writer, names.reads, unitsRead * 30);
   Base::writeMember(writer, names.writes, unitsWritten * 25);
   Base::writeMember(writer, "controller_busy_time", health.powerOnHours / 4);
   Base::writeMember(writer, "power_cycles", health.powerCycles);
   Base::writeMember(writer, "power_on_hours", health.powerOnHours);
   Base::writeMember(writer, "unsafe_shutdowns", health.powerCycles / 8);
   Base::writeMember(writer, "media_errors", health.mediaErrors);
   Base::writeMember(writer, "num_err_log_entries", health.mediaErrors);
   Base::writeMember(writer, "warning_temp_time", 0);
   Base::writeMember(writer, "critical_comp_time", 0);
}

}  // namespace

std::string smartctlAtaReport(std::string_view name, DriveHealth const & health) {
   return report([&](Writer & writer) {
      writeOpening(writer, name, "sat", "ATA", health);
      object(writer, "ata_smart_attributes", [&] {
         Base::writeMember(writer, "revision", 1);
         writer.Key("table");
         writer.StartArray();
         for (Row const & row : rowsOf(health))
            writeRow(writer, row);
         writer.EndArray();
      });
   });
}

std::string smartctlNvmeReport(std::string_view name, DriveHealth const & health) {
   constexpr LogNames names{"available_spare", "available_spare_threshold", "percentage_used", "host_reads",
                            "host_writes"};
   return report([&](Writer & writer) {
      writeOpening(writer, name, "nvme", "NVMe", health);
      object(writer, "nvme_smart_health_information_log",
             [&] { writeHealthLog(writer, health, health.temperature, names); });
   });
}

std::string smartctlScsiReport(std::string_view name, DriveHealth const & health) {
   return report([&](Writer & writer) {
      writeOpening(writer, name, "scsi", "SCSI", health);
      object(writer, "temperature", [&] { Base::writeMember(writer, "current", 0); });
      object(writer, "scsi_temperature", [&] { Base::writeMember(writer, "drive_trip", 0); });
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
