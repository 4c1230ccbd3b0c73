// The health monitors beside their floors. For a poll of the I/O statistics, that is to open, read and close
// the same files. For the storing of a SMART report, it is to parse it and find the same values.
#include <fcntl.h>
#include <rapidjson/document.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Ratio.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/IOStatSm.h"
#include "StorageDevices/JsonDocument.h"
#include "StorageDevices/SmartAttributes.h"
#include "tests/support/TempDir.h"

namespace {

using namespace StorageDevices;

void comparePolls(Bench::Report & report) {
   constexpr int diskCount = 1000;
   // In memory: the files must cost as much as opening and reading, without the disk.
   Support::TempDir const folder{"/dev/shm"};
   setenv("STORAGEDEVICES_IOSTAT_PATH_BASE", (folder.path() / "%s.stat").c_str(), 1);
   auto const devices = Pelm::make<ConnectedDevices>();
   std::vector<std::string> paths;
   for (int i = 0; i < diskCount; ++i) {
      std::string const disk = "sd" + std::to_string(i);
      paths.push_back(folder.path() / (disk + ".stat"));
      std::ofstream{paths.back()}
          << "  " << 12345 + i
          << "     1034  1876234     9812   883412   447120  90871234   771230        0"
             "   312240   790120        0        0        0        0     1204     9112\n";
      devices->diskIs(Pelm::String{"SN" + std::to_string(i)}, 2, Pelm::String{"/dev/" + disk}, "", "", "",
                      false, 1, "1", 256);
   }
   auto const data = Pelm::make<IOStatData>();
   auto const monitor = iOStatSmFactory(Pelm::make<PollInterval>(), devices, data);
   auto const bare = [&paths] {
      char text[4096];
      for (std::string const & path : paths) {
         int const fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
         if (read(fd, text, sizeof text) <= 0)
            throw std::runtime_error("cannot read " + path);
         close(fd);
      }
   };
   auto const rounds = Bench::compete({[&] { return Bench::secondsOf([&] { monitor->handlePollClock(); }); },
                                       [&] { return Bench::secondsOf(bare); }},
                                      201);
   if (monitor->openErrorCount() + monitor->getlineErrorCount() + monitor->regexErrorCount() != 0 ||
       data->ioStatData("SN0")->size() < 200)
      throw std::runtime_error("the monitor has not recorded its measurements");
   report.claim("I/O statistics: a poll of 1000 disks beside open-read-close", rounds, 0, 1, 1.5);
}

constexpr char const * attributeNames[] = {"Raw_Read_Error_Rate",
                                           "Reallocated_Sector_Ct",
                                           "Power_On_Hours",
                                           "Power_Cycle_Count",
                                           "Program_Fail_Cnt_Total",
                                           "Program_Fail_Count",
                                           "Program_Fail_Count_Chip",
                                           "Wear_Leveling_Count",
                                           "Erase_Fail_Count_Total",
                                           "Erase_Fail_Count",
                                           "Erase_Fail_Count_Chip",
                                           "Used_Rsvd_Blk_Cnt_Chip",
                                           "Reported_Uncorrect",
                                           "Power-Off_Retract_Count",
                                           "Temperature_Celsius",
                                           "Hardware_ECC_Recovered",
                                           "Reallocated_Event_Count",
                                           "Current_Pending_Sector",
                                           "Offline_Uncorrectable",
                                           "UDMA_CRC_Error_Count",
                                           "Available_Reservd_Space",
                                           "Total_LBAs_Written",
                                           "Total_LBAs_Read",
                                           "Percent_Lifetime_Remain",
                                           "Spin_Up_Time",
                                           "Start_Stop_Count",
                                           "Seek_Error_Rate",
                                           "Unknown_SSD_Attribute",
                                           "End-to-End_Error",
                                           "Thermal_Throttle"};
constexpr int attributeIds[] = {1,   5,   9,   12,  181, 171, 175, 177, 182, 172, 176, 178, 187, 192, 194,
                                195, 196, 197, 198, 199, 232, 241, 242, 202, 3,   4,   7,   170, 184, 231};

// A report of 30 rows as smartctl --json=c prints it.
std::string reportOf(long hours) {
   std::string rows;
   for (std::size_t i = 0; i < std::size(attributeIds); ++i) {
      std::string const raw = std::to_string(i == 2 ? hours : 36 + static_cast<long>(i));
      rows.append(rows.empty() ? R"({"id":)" : R"(,{"id":)")
          .append(std::to_string(attributeIds[i]))
          .append(R"(,"name":")")
          .append(attributeNames[i])
          .append(
              R"(","value":100,"worst":100,"thresh":10,"when_failed":"","flags":{"value":50,"string":"-O--CK ",)"
              R"("prefailure":false,"updated_online":true,"performance":false,"error_rate":false,)"
              R"("event_count":true,"auto_keep":true},"raw":{"value":)")
          .append(raw)
          .append(R"(,"string":")")
          .append(raw)
          .append(R"("}})");
   }
   return R"({"json_format_version":[1,0],"smartctl":{"version":[7,3],"exit_status":0},"device":{"name":"/dev/sda",)"
          R"("info_name":"/dev/sda [SAT]","type":"sat","protocol":"ATA"},"smart_status":{"passed":true},)"
          R"("ata_smart_attributes":{"revision":16,"table":[)" +
          rows + R"(]},"power_on_time":{"hours":)" + std::to_string(hours) +
          R"(},"power_cycle_count":40,"temperature":{"current":36}})";
}

void file(std::string const & report, DeviceSmartData & record) {
   JsonDocument const document{report};
   if (!parseHealthStatus(document.root(), record))
      throw std::runtime_error("the report has no verdict");
   auto const scratch = Pelm::make<DeviceSmartData>("SN");
   parseSmartAttrs(*smartAttrsTable(document.root()), *scratch, {});
   attrsIs(record, *scratch);
}

// Parses and finds the values of the record, and adds them up so that none is optimised away.
std::uint64_t parseAndLookUp(std::string const & report) {
   rapidjson::Document document;
   document.Parse(report.c_str());
   std::uint64_t sum = document.FindMember("smart_status")->value.FindMember("passed")->value.GetBool();
   auto const & table = document.FindMember("ata_smart_attributes")->value.FindMember("table")->value;
   for (auto const & row : table.GetArray()) {
      auto const & raw = row.FindMember("raw")->value;
      sum += row.FindMember("id")->value.GetUint64() + row.FindMember("name")->value.GetStringLength() +
             row.FindMember("thresh")->value.GetUint64() + row.FindMember("value")->value.GetUint64() +
             row.FindMember("worst")->value.GetUint64() +
             row.FindMember("flags")->value.FindMember("value")->value.GetUint64() +
             static_cast<std::uint64_t>(raw.FindMember("value")->value.GetInt64()) +
             raw.FindMember("string")->value.GetStringLength();
   }
   return sum;
}

void compareFiling(Bench::Report & report) {
   constexpr int repeats = 200;
   // One value differs from poll to poll, as with a drive.
   std::string const reports[] = {reportOf(12345), reportOf(12346)};
   auto const record = Pelm::make<DeviceSmartData>("SN");
   std::uint64_t sum = 0;
   auto const perReport = [&](auto const & action) {
      return Bench::secondsOf([&] {
                for (int i = 0; i < repeats; ++i)
                   action(reports[i % 2]);
             }) /
             repeats;
   };
   auto const rounds = Bench::compete(
       {[&] { return perReport([&](std::string const & text) { file(text, *record); }); },
        [&] { return perReport([&](std::string const & text) { sum += parseAndLookUp(text); }); }},
       101);
   if (record->unknownAttr.size() != 8 || record->powerOnHours()->raw != 12346 || sum == 0)
      throw std::runtime_error("the report has not been filed");
   report.claim("SMART: storing a report of 30 rows beside parse and look-up", rounds, 0, 1, 1.6);
}

}  // namespace

int main() {
   Bench::Report report;
   comparePolls(report);
   compareFiling(report);
   return report.exitCode();
}
