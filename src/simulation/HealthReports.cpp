#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

#include "simulation/DriveHealth.h"

namespace Agent::Simulation {

namespace {

constexpr std::uint64_t sectorBytes = 512;
constexpr std::uint64_t dataUnitBytes = 512000;
constexpr int zeroCelsius = 273;
constexpr int diskFailing = 1 << 3;

std::string boolText(bool value) {
   return value ? "true" : "false";
}

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

std::string rowText(Row const & row) {
   auto const value = std::to_string(row.value);
   bool const failing = row.thresh > 0 && row.value <= row.thresh;
   return "{\"id\":" + std::to_string(row.id) + ",\"name\":\"" + row.name + "\",\"value\":" + value +
          ",\"worst\":" + value + ",\"thresh\":" + std::to_string(row.thresh) + ",\"when_failed\":\"" +
          (failing ? "now" : "") + "\",\"flags\":{\"value\":" + (row.prefail ? "51" : "50") +
          ",\"string\":\"" + (row.prefail ? "P" : "-") + "O--CK \",\"prefailure\":" + boolText(row.prefail) +
          ",\"updated_online\":true,\"performance\":false,\"error_rate\":false,\"event_count\":true,"
          "\"auto_keep\":true},\"raw\":{\"value\":" +
          std::to_string(row.raw) + ",\"string\":\"" + row.rawString + "\"}}";
}

std::string opening(std::string_view name, std::string_view type, std::string_view protocol,
                    DriveHealth const & health) {
   std::string const device = "/dev/" + std::string(name);
   return "{\"json_format_version\":[1,0],\"smartctl\":{\"version\":[7,3],\"argv\":[\"smartctl\",\"--json="
          "c\","
          "\"--offlineauto=on\",\"-HA\",\"" +
          device + "\"],\"exit_status\":" + std::to_string(smartctlExitCode(health)) +
          "},\"device\":{\"name\":\"" + device + "\",\"type\":\"" + std::string(type) + "\",\"protocol\":\"" +
          std::string(protocol) + "\"},\"smart_status\":{\"passed\":" + boolText(health.passed) + "}";
}

std::string closing(DriveHealth const & health) {
   return ",\"power_on_time\":{\"hours\":" + std::to_string(health.powerOnHours) +
          "},\"power_cycle_count\":" + std::to_string(health.powerCycles) +
          ",\"temperature\":{\"current\":" + std::to_string(health.temperature) + "}}\n";
}

std::string member(std::string_view name, std::uint64_t value) {
   return "\"" + std::string(name) + "\":" + std::to_string(value);
}

std::string counters(DriveHealth const & health, std::string_view reads, std::string_view writes) {
   std::uint64_t const unitsRead = health.bytesRead / dataUnitBytes;
   std::uint64_t const unitsWritten = health.bytesWritten / dataUnitBytes;
   return member("data_units_read", unitsRead) + "," + member("data_units_written", unitsWritten) + "," +
          member(reads, unitsRead * 30) + "," + member(writes, unitsWritten * 25) + "," +
          member("controller_busy_time", health.powerOnHours / 4) + "," +
          member("power_cycles", health.powerCycles) + "," + member("power_on_hours", health.powerOnHours) +
          "," + member("unsafe_shutdowns", health.powerCycles / 8) + "," +
          member("media_errors", health.mediaErrors) + "," +
          member("num_err_log_entries", health.mediaErrors) + "," + member("warning_temp_time", 0) + "," +
          member("critical_comp_time", 0);
}

}  // namespace

std::string smartctlAtaReport(std::string_view name, DriveHealth const & health) {
   std::string text =
       opening(name, "sat", "ATA", health) + ",\"ata_smart_attributes\":{\"revision\":1,\"table\":[";
   std::string_view separator;
   for (Row const & row : rowsOf(health)) {
      text.append(separator).append(rowText(row));
      separator = ",";
   }
   return text + "]}" + closing(health);
}

std::string smartctlNvmeReport(std::string_view name, DriveHealth const & health) {
   return opening(name, "nvme", "NVMe", health) + ",\"nvme_smart_health_information_log\":{" +
          member("critical_warning", health.criticalWarning) +
          ",\"temperature\":" + std::to_string(health.temperature) + "," +
          member("available_spare", health.availableSpare) + "," + member("available_spare_threshold", 10) +
          "," + member("percentage_used", health.percentUsed) + "," +
          counters(health, "host_reads", "host_writes") + "}" + closing(health);
}

std::string smartctlScsiReport(std::string_view name, DriveHealth const & health) {
   return opening(name, "scsi", "SCSI", health) +
          ",\"temperature\":{\"current\":0},\"scsi_temperature\":{\"drive_trip\":0}}\n";
}

int smartctlExitCode(DriveHealth const & health) {
   return health.passed ? 0 : diskFailing;
}

std::string nvmeSmartLog(DriveHealth const & health) {
   return "{" + member("critical_warning", health.criticalWarning) +
          ",\"temperature\":" + std::to_string(health.temperature + zeroCelsius) + "," +
          member("avail_spare", health.availableSpare) + "," + member("spare_thresh", 10) + "," +
          member("percent_used", health.percentUsed) + "," +
          counters(health, "host_read_commands", "host_write_commands") + "}\n";
}

std::string emmcLifeTime(DriveHealth const & health) {
   // Tenths of the life used, from 1 on; 11: all of it.
   std::string const tenths = registerText(std::min(health.percentUsed / 10, 10U) + 1);
   return tenths + " " + tenths;
}

std::string emmcPreEndOfLife(DriveHealth const & health) {
   return registerText(health.preEndOfLife);
}

}  // namespace Agent::Simulation
