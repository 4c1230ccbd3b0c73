#include "tests/endurance/Reports.h"

#include <random>

#include "runtime/Vorn/Format.h"
#include "simulation/FakeTools.h"

namespace Endurance {

namespace {

std::string row(int id, char const * name, int value, int thresh, long raw) {
   return Vorn::_fmt(
              "{\"id\":%d,\"name\":\"%s\",\"value\":%d,\"worst\":%d,\"thresh\":%d,\"flags\":{\"value\":50},"
              "\"raw\":{\"value\":%ld,\"string\":\"%ld\"}}",
              id, name, value, value, thresh, raw, raw)
       .str();
}

std::string table(Health const & health) {
   std::string rows;
   for (std::string const & each : {row(1, "Raw_Read_Error_Rate", health.belowThreshold ? 40 : 100, 50, 0),
                                    row(5, "Reallocated_Sector_Ct", 100, 10, health.reallocated),
                                    row(187, "Reported_Uncorrect", 100, 0, health.uncorrectable),
                                    row(188, "Command_Timeout", 100, 0, health.timeouts),
                                    row(194, "Temperature_Celsius", 60, 0, health.temperature),
                                    row(197, "Current_Pending_Sector", 100, 0, health.pending),
                                    row(202, "Percent_Lifetime_Remain", health.lifeLeft, 1, health.lifeLeft)})
      rows += (rows.empty() ? "" : ",") + each;
   return rows;
}

std::string smartctl(PlaceState const & place) {
   std::string text =
       "{\"smart_status\":{\"passed\":" + std::string{place.health.passed ? "true" : "false"} + "}";
   if (place.place->kind == Kind::sata)
      text += ",\"ata_smart_attributes\":{\"revision\":1,\"table\":[" + table(place.health) + "]}";
   return text + "}\n";
}

std::string smartLog(Health const & health) {
   return Vorn::_fmt(
              "{\"critical_warning\":%d,\"temperature\":%d,\"avail_spare\":%d,\"spare_thresh\":10,"
              "\"percent_used\":%d,\"data_units_read\":1000,\"data_units_written\":%llu,"
              "\"host_read_commands\":3,\"host_write_commands\":4,\"controller_busy_time\":5,"
              "\"power_cycles\":6,\"power_on_hours\":7,\"unsafe_shutdowns\":8,\"media_errors\":%d,"
              "\"num_err_log_entries\":9,\"warning_temp_time\":0,\"critical_comp_time\":0}\n",
              health.warning, health.temperature + 273, health.spare, 100 - health.lifeLeft,
              static_cast<unsigned long long>(health.sectorsWritten / 1000), health.mediaErrors)
       .str();
}

std::string identity(PlaceState const & place) {
   namespace Simulation = StorageDevices::Simulation;
   std::string const serial = udevSerial(*place.place, place.number);
   if (place.place->kind == Kind::nvme)
      return Simulation::nvmeListDocument(
          {{place.kernel(), "Marlin N7", serial, "ML1.0", diskSectors * 512}});
   return Simulation::hdparmReport({place.kernel(), "Kestrel S2", serial, "KF2.4", diskSectors});
}

std::string report(PlaceState const & place, Tool tool) {
   switch (tool) {
      case Tool::smartctl:
         return smartctl(place);
      case Tool::smartLog:
         return smartLog(place.health);
      case Tool::identify:
         return identity(place);
   }
   return {};
}

std::string noise(PlaceState const & place) {
   std::minstd_rand random{static_cast<unsigned>(place.number * 101 + place.health.temperature)};
   std::string text;
   for (int i = 0; i < 300; ++i)
      text += static_cast<char>(random() % 256);
   return text;
}

std::string output(PlaceState const & place, Tool tool) {
   constexpr std::size_t bound = std::size_t{4} << 20U;
   constexpr std::size_t large = std::size_t{3} << 20U;
   switch (place.act(tool)) {
      case ToolAct::reports:
         return report(place, tool);
      case ToolAct::isCut:
         return report(place, tool).substr(0, report(place, tool).size() / 2);
      case ToolAct::printsNoise:
         return noise(place);
      case ToolAct::nests:
         return std::string(20000, '[');
      case ToolAct::swells:
         return report(place, tool) + std::string(large, ' ');
      case ToolAct::floods:
         return report(place, tool) + std::string(bound, ' ');
      case ToolAct::printsEmpty:
         return "{}";
      case ToolAct::fails:
      case ToolAct::hangs:
      case ToolAct::printsNone:
         break;
   }
   return {};
}

}  // namespace

Brul::SubstitutedRun runOf(PlaceState const & place, Tool tool) {
   ToolAct const act = place.act(tool);
   Brul::SubstitutedRun run;
   run.exitCode = act == ToolAct::fails ? 2 : 0;
   run.standardOutput = output(place, tool);
   run.standardError = act == ToolAct::fails ? "it fails\n" : "";
   run.duration = act == ToolAct::hangs ? Vorn::Seconds::infinity() : Vorn::Seconds{toolSpan};
   return run;
}

}  // namespace Endurance
