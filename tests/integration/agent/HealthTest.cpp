// What the running program says of the disks' health.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <string>

#include "tests/integration/agent/HealthTest.h"

namespace {

namespace Simulation = StorageDevices::Simulation;

constexpr char emmcRegister[] = "9b014e4f53505245592100a1b2c35a01";
constexpr char emmcSerial[] = "00a1b2c3";

TEST_F(HealthTest, ShowsEveryKeyFromTheFirstAnswer) {
   unit.vanish("sda");
   start();
   for (char const * key : {"smartData", "nvmeData", "emmcData", "ioStatData", "readings",
                            "deviceLifetimeChange", "temperature", "mountPoints"})
      EXPECT_TRUE(state[key].ObjectEmpty()) << key;
   EXPECT_TRUE(isJson(state["storageDevicesInfo"], R"({"fsList": {}})"));
   EXPECT_TRUE(isJson(state["ioStatErrors"],
                      R"({"openErrorCount": 0, "getlineErrorCount": 0, "regexErrorCount": 0})"));
   EXPECT_TRUE(isJson(state["tools"], R"({"runs": 0, "failed": 0, "timedOut": 0, "last": []})"));
}

constexpr char ataReport[] = R"json({"smart_status": {"passed": true},
   "ata_smart_attributes": {"table": [
      {"id": 194, "name": "Temperature_Celsius", "value": 64, "worst": 45, "thresh": 0,
       "flags": {"value": 34}, "raw": {"value": 236225232932, "string": "36 (Min/Max 20/55)"}},
      {"id": 173, "name": "Wear", "value": 5, "worst": 5, "thresh": 10,
       "flags": {"value": 3}, "raw": {"value": 9007199254740995, "string": "\u00e4"}},
      {"id": 3, "name": "Spin", "value": 100, "worst": 99, "flags": {"value": 2}, "raw": {"value": -1}},
      {"id": 9, "name": "Power_On_Hours", "value": 98, "worst": 98, "thresh": 0,
       "flags": {"value": 50}, "raw": {"value": 12345, "string": "12345"}}]}})json";

constexpr char ataRecord[] = R"json({"healthStatusOk": true, "allAttrsPassing": false,
   "attrs": {
      "temperatureCelsius": {"id": 194, "name": "Temperature_Celsius", "thresh": 0, "value": 64,
         "worst": 45, "flags": 34, "raw": 236225232932, "rawString": "36 (Min/Max 20/55)",
         "reportedValue": 36},
      "powerOnHours": {"id": 9, "name": "Power_On_Hours", "thresh": 0, "value": 98, "worst": 98,
         "flags": 50, "raw": 12345, "rawString": "12345", "reportedValue": 12345}},
   "unknownAttrs": [
      {"id": 3, "name": "Spin", "thresh": 0, "value": 100, "worst": 99, "flags": 2, "raw": -1,
       "rawString": "", "reportedValue": 100},
      {"id": 173, "name": "Wear", "thresh": 10, "value": 5, "worst": 5, "flags": 3,
       "raw": 9007199254740995, "rawString": "\u00e4", "reportedValue": 5}]})json";

TEST_F(HealthTest, ShowsAnAtaTableAttributeByAttribute) {
   unit.tools().outputIs(Tool::smartctl, "sda", ataReport);
   start();
   ASSERT_TRUE(waitInRealTime([&] { return isGood("SN-A", "smartctl"); })) << log;
   EXPECT_TRUE(isJson(of("smartData", "SN-A"), ataRecord));
}

TEST_F(HealthTest, ShowsNeitherVerdictNorTableOfADriveWithoutThem) {
   unit.tools().outputIs(Tool::smartctl, "sda", R"({"ata_smart_attributes": {"table": []}})");
   start();
   ASSERT_TRUE(waitInRealTime([&] { return isGood("SN-A", "smartctl"); })) << log;
   EXPECT_TRUE(
       isJson(of("smartData", "SN-A"), R"({"allAttrsPassing": true, "attrs": {}, "unknownAttrs": []})"));
   unit.tools().outputIs(Tool::smartctl, "sda", R"({"smart_status": {"passed": false}})");
   EXPECT_TRUE(waitInRealTime([&] { return of("smartData", "SN-A").HasMember("healthStatusOk"); })) << log;
   EXPECT_FALSE(of("smartData", "SN-A")["healthStatusOk"].GetBool());
}

TEST_F(HealthTest, ShowsAnNvmeDriveWithItsLogAndItsVerdict) {
   DriveHealth health;
   health.temperature = 41;
   health.percentUsed = 3;
   health.bytesRead = 512000 * 2000ULL;
   health.bytesWritten = 512000 * 1000ULL;
   health.powerOnHours = 100;
   health.powerCycles = 16;
   health.mediaErrors = 2;
   unit.healthIs(addNvme(), health);
   start();
   ASSERT_TRUE(waitInRealTime([&] { return isGood("SN-N", "nvme") && isGood("SN-N", "smartctl"); })) << log;
   EXPECT_TRUE(
       isJson(of("smartData", "SN-N"), R"({"healthStatusOk": true, "attrs": {}, "unknownAttrs": []})"));
   EXPECT_TRUE(isJson(of("nvmeData", "SN-N"), R"({
      "criticalWarning": {"name": "critical_warning", "value": 0},
      "temperatureCelsius": {"name": "temperature", "value": 41},
      "availableSpare": {"name": "avail_spare", "value": 100},
      "availableSpareThreshold": {"name": "spare_thresh", "value": 10},
      "percentageUsed": {"name": "percent_used", "value": 3},
      "dataUnitsRead": {"name": "data_units_read", "value": 2000},
      "dataUnitsWritten": {"name": "data_units_written", "value": 1000},
      "hostReadCommands": {"name": "host_read_commands", "value": 60000},
      "hostWriteCommands": {"name": "host_write_commands", "value": 25000},
      "controllerBusyTime": {"name": "controller_busy_time", "value": 25},
      "powerCycleCount": {"name": "power_cycles", "value": 16},
      "powerOnHours": {"name": "power_on_hours", "value": 100},
      "unsafeShutdowns": {"name": "unsafe_shutdowns", "value": 2},
      "mediaErrors": {"name": "media_errors", "value": 2},
      "numErrLogEntries": {"name": "num_err_log_entries", "value": 2},
      "temperatureTimeWarning": {"name": "warning_temp_time", "value": 0},
      "temperatureTimeCritical": {"name": "critical_comp_time", "value": 0}})"));
   EXPECT_FALSE(state["nvmeData"].HasMember("SN-A"));
}

TEST_F(HealthTest, ShowsAnEmmcDeviceWithItsRegistersUntilTheyCannotBeRead) {
   auto const device = Simulation::emmcDevice("mmcblk0", emmcRegister, 62500000);
   unit.add(device);
   DriveHealth worn;
   worn.percentUsed = 27;
   worn.preEndOfLife = 2;
   unit.healthIs(device, worn);
   start();
   ASSERT_TRUE(waitInRealTime([&] { return isGood(emmcSerial, "emmc"); })) << log;
   char const * const registers = R"({"lifetimeEstTypA": 3, "lifetimeEstTypB": 3, "preEolInfo": 2})";
   EXPECT_TRUE(isJson(of("emmcData", emmcSerial), registers));
   EXPECT_EQ(reading(emmcSerial, "smartctl"), nullptr);
   unit.attributeDel("mmcblk0", "device/life_time");
   ASSERT_TRUE(waitInRealTime([&] { return !isGood(emmcSerial, "emmc"); })) << log;
   EXPECT_EQ(reason(emmcSerial, "emmc"), "the registers life_time and pre_eol_info cannot be read");
   EXPECT_TRUE(isJson(of("emmcData", emmcSerial), registers));
   unit.healthIs(device, {});
   EXPECT_TRUE(waitInRealTime([&] { return isGood(emmcSerial, "emmc"); })) << log;
}

TEST_F(HealthTest, SamplesUseAndCountsFailedSamples) {
   unit.trafficIs("sda", 1024000, 2048000);
   start();
   ASSERT_TRUE(waitInRealTime([&] { return state["ioStatData"].HasMember("SN-A"); })) << log;
   EXPECT_EQ(of("ioStatData", "SN-A")[0]["bytesRead"].GetUint64(), 1024000U);
   EXPECT_EQ(of("ioStatData", "SN-A")[0]["bytesWritten"].GetUint64(), 2048000U);
   unit.trafficIs("sda", 4096000, 8192000);
   auto const newest = [&]() -> Json const & {
      Json const & history = of("ioStatData", "SN-A");
      return history[history.Size() - 1];
   };
   ASSERT_TRUE(waitInRealTime([&] { return newest()["bytesWritten"].GetUint64() == 8192000; })) << log;
   EXPECT_GT(newest()["time"].GetDouble(), of("ioStatData", "SN-A")[0]["time"].GetDouble());
   unit.attributeDel("sda", "stat");
   ASSERT_TRUE(waitInRealTime([&] { return state["ioStatErrors"]["openErrorCount"].GetUint() > 0; })) << log;
   unit.attributeIs("sda", "stat", "rubbish");
   ASSERT_TRUE(waitInRealTime([&] { return state["ioStatErrors"]["regexErrorCount"].GetUint() > 0; })) << log;
   EXPECT_TRUE(waitInRealTime([&] {
      return reason("SN-A", "iostat") == "the statistics in /sys/block cannot be read";
   })) << log;
}

TEST_F(HealthTest, ShowsOnlyTheNewestMeasurementsInABoundedAnswer) {
   start();
   ASSERT_TRUE(waitInRealTime([&] { return has("SN-A") && of("ioStatData", "SN-A").Size() > 3; })) << log;
   rapidjson::Document bounded;
   bounded.Parse(Command::askAgent(socket, "/api/v1/state?history=1").c_str());
   auto const & history = bounded["ioStatData"]["SN-A"];
   ASSERT_EQ(history.Size(), 1U);
   EXPECT_GE(history[0]["time"].GetDouble(), of("ioStatData", "SN-A")[3]["time"].GetDouble());
   EXPECT_THROW(Command::askAgent(socket, "/api/v1/state?history=x"), Command::StatusError);
}

TEST_F(HealthTest, DropsTheRecordsOfADiskThatGoes) {
   addNvme();
   start();
   ASSERT_TRUE(waitInRealTime([&] { return isGood("SN-N", "nvme") && isGood("SN-A", "smartctl"); })) << log;
   unit.unplug("nvme0n1");
   ASSERT_TRUE(waitInRealTime([&] { return !has("SN-N"); })) << log;
   for (char const * key : {"smartData", "nvmeData", "ioStatData", "readings"})
      EXPECT_FALSE(state[key].HasMember("SN-N")) << key;
   EXPECT_TRUE(state["smartData"].HasMember("SN-A"));
}

TEST_F(HealthTest, ShowsFiguresAndFailingReadingsByStatus) {
   unit.trafficIs("sda", 0, 2048000);
   addNvme();
   unit.tools().outputDel(Tool::nvmeSmartLog, "nvme0n1");
   start();
   ASSERT_TRUE(waitInRealTime([&] { return isGood("SN-A", "smartctl") && !reason("SN-N", "nvme").empty(); }))
       << log;
   Output const status = runProgram("status --socket " + socket);
   EXPECT_EQ(status.exitCode, 0);
   for (char const * const shown : {"VERDICT", "TEMP", "LIFE", "HOURS", "WRITTEN", "AGE", "READING", "34 °C",
                                    "93 %", "9120", "18 TB", "nvme failing for ", ": exit code 2"})
      EXPECT_NE(status.text.find(shown), std::string::npos) << "missing: " << shown << " in\n" << status.text;
   rapidjson::Document document;
   document.Parse(runProgram("status --json --socket " + socket).text.c_str());
   ASSERT_FALSE(document.HasParseError());
   EXPECT_EQ(document["smartData"]["SN-A"], of("smartData", "SN-A"));
   EXPECT_TRUE(document["nvmeData"]["SN-N"].ObjectEmpty());
}

TEST_F(HealthTest, AppliesReloadedLimitsToAVerdict) {
   auto const verdictIs = [this](char const * word) {
      return waitInRealTime([&] {
         return state["verdicts"].HasMember("SN-A") &&
                of("verdicts", "SN-A")["verdict"] == Json{rapidjson::StringRef(word)};
      });
   };
   polled("[verdict]\nlife_warning = 93\n");
   start();
   ASSERT_TRUE(verdictIs("warning")) << log;
   Json const & reason = of("verdicts", "SN-A")["reasons"][0];
   EXPECT_STREQ(reason["code"].GetString(), "life-low");
   EXPECT_STREQ(reason["text"].GetString(), "93 % of its rated life is left");
   EXPECT_EQ(log.find("[verdict]"), std::string::npos) << log;
   polled("[verdict]\nlife_warning = 92\n");
   signalAgent(SIGHUP);
   EXPECT_TRUE(verdictIs("ok")) << log;
}

TEST_F(HealthTest, ShowsARemovedDiskAsAbsentUntilAReload) {
   addNvme();
   start();
   ASSERT_TRUE(waitInRealTime([&] { return isGood("SN-N", "nvme"); })) << log;
   unit.unplug("nvme0n1");
   ASSERT_TRUE(waitInRealTime([&] { return !has("SN-N"); })) << log;
   EXPECT_STREQ(of("verdicts", "SN-N")["verdict"].GetString(), "absent");
   EXPECT_STREQ(of("verdicts", "SN-N")["reasons"][0]["code"].GetString(), "removed");
   EXPECT_EQ(of("figures", "SN-N")["lifeLeft"].GetDouble(), 93);
   std::string const table = runProgram("status --socket " + socket).text;
   EXPECT_NE(table.find("absent"), std::string::npos) << table;
   EXPECT_NE(table.find("SN-N"), std::string::npos) << table;
   signalAgent(SIGHUP);
   EXPECT_TRUE(waitInRealTime([&] { return !state["verdicts"].HasMember("SN-N"); })) << log;
   EXPECT_FALSE(state["figures"].HasMember("SN-N"));
}

}  // namespace
