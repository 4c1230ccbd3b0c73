#include "command/StatusTable.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <sstream>
#include <stdexcept>

#include "base/Text.h"

namespace Agent {
namespace {

std::string tableOf(std::string const & state, std::string const & messages = "", TableOptions options = {}) {
   return statusTable(state, messages, options);
}

std::string stateWith(std::string const & disks, std::string const & more = "") {
   return R"({"version": "1.2.3", "time": 1795196298.5, "internalDevicesReady": true,
              "connectedDevices": {"disk": {)" +
          disks + "}, \"udevSerialToSerialMap\": {}}" + more + "}";
}

constexpr char sata[] =
    R"("S3E": {"name": "S3E", "mibType": 2, "blockDevice": "/dev/sda", "mountPoint": "/mnt/drive",
   "model": "Model A", "firmwareRevision": "RVT01B6Q", "removable": false, "busType": 1, "devAddress": "1",
   "sizeGb": 256, "deviceIntfAndAddress": "ata1"})";
constexpr char stick[] =
    R"("U7": {"name": "U7", "mibType": 0, "blockDevice": "/dev/sdb", "mountPoint": "/mnt/usb1",
   "model": "Stick", "firmwareRevision": "1.00", "removable": true, "busType": 0, "devAddress": "2-1",
   "sizeGb": 16, "deviceIntfAndAddress": "usb 2-1"})";
constexpr char nvme[] =
    R"("N9": {"name": "N9", "mibType": 4, "blockDevice": "/dev/nvme0n1", "mountPoint": "/mnt/drive2",
   "model": "Model N", "firmwareRevision": "2B", "removable": false, "busType": 2, "devAddress": "nvme0n1",
   "sizeGb": 1000, "deviceIntfAndAddress": "nvme0n1"})";
constexpr char emmc[] =
    R"("E1": {"name": "E1", "mibType": 3, "blockDevice": "/dev/mmcblk0", "mountPoint": "/mnt/flash",
   "model": "Chip", "firmwareRevision": "", "removable": false, "busType": 3, "devAddress": "",
   "sizeGb": 8, "deviceIntfAndAddress": "mmc0"})";

std::string allDisks() {
   return std::string{sata} + "," + stick + "," + nvme + "," + emmc;
}

constexpr char health[] = R"(,
   "smartData": {"S3E": {"healthStatusOk": true, "allAttrsPassing": true, "attrs": {
      "temperatureCelsius": {"value": 63, "reportedValue": 37}, "lifetimeRemaining": {"value": 98, "raw": 2}}}},
   "nvmeData": {"N9": {"criticalWarning": {"value": 4}, "percentageUsed": {"value": 93},
      "temperatureCelsius": {"value": 41}}},
   "emmcData": {"E1": {"lifetimeEstTypA": 1, "lifetimeEstTypB": 8, "preEolInfo": 2}},
   "temperature": {"DriveTemp1": {"drive": "N9", "temperature": 71.6, "alarm": "overheat"}},
   "mountPoints": {"/mnt/drive": {"fsHealth": {"writeTestOk": true, "readTestOk": true,
      "utilThresholdExceeded": true}}})";

constexpr char messages[] = R"({"messages": [
   {"sequence": 1, "time": 1795196000, "name": "STORAGEDEVICE_IO_ERROR", "severity": 3,
    "text": "/dev/nvme0n1 (SN:N9) has errors.", "arguments": ["/dev/nvme0n1", "N9", "Model N", "2B"]},
   {"sequence": 2, "time": 1795196100, "name": "STORAGEDEVICE_MONITOR_WARNING", "severity": 4,
    "text": "disk utilization on /mnt/drive", "arguments": ["/mnt/drive", "S3E", "Model A", "R", "x"]}]})";

TEST(StatusTable, countsTheDevicesThatWaitToBeClassified) {
   std::string const more = R"(, "discovery": {"unclassifiedDevices": {"/sys/a": {}, "/sys/b": {}}})";
   EXPECT_NE(tableOf(stateWith(sata, more)).find("not complete: 2 devices wait to be classified, 1 disk"),
             std::string::npos);
   EXPECT_NE(tableOf(stateWith(sata)).find("ready, 1 disk"), std::string::npos);
}

TEST(StatusTable, hasARowPerDiskInOrderOfMountPoints) {
   EXPECT_EQ(tableOf(stateWith(allDisks())),
             R"(storagedevices 1.2.3: ready, 4 disks, 2026-11-20T17:38:18.500Z
DISK  MODEL    FIRMWARE  DEVICE        BUS              SIZE  MOUNT POINT  KIND
S3E   Model A  RVT01B6Q  /dev/sda      SATA 1         256 GB  /mnt/drive   fixed
N9    Model N  2B        /dev/nvme0n1  NVMe nvme0n1  1000 GB  /mnt/drive2  fixed
E1    Chip               /dev/mmcblk0  eMMC mmc0        8 GB  /mnt/flash   fixed
U7    Stick    1.00      /dev/sdb      USB 2-1         16 GB  /mnt/usb1    removable
)");
}

// The table from a column on.
std::string from(char const * title, std::string const & table) {
   std::istringstream lines{table};
   std::string result;
   std::string line;
   std::getline(lines, line);
   std::size_t first = 0;
   while (std::getline(lines, line)) {
      if (first == 0)
         first = line.find(title);
      result += line.substr(first) + "\n";
   }
   return result;
}

TEST(StatusTable, showsHealthAndMessagesWhereThereAreSome) {
   EXPECT_EQ(from("USE", tableOf(stateWith(std::string{sata} + "," + nvme + "," + emmc, health), messages)),
             R"(USE   HEALTH                           TEMP  LIFE  LAST MESSAGE
full  ok                              37 °C  98 %  2026-11-20 17:35 disk utilization on /mnt/drive
      NVMe critical warning  72 °C overheat   7 %  2026-11-20 17:33 /dev/nvme0n1 (SN:N9) has errors.
      pre-EOL warning                        30 %
)");
}

constexpr char figures[] = R"(,
   "smartData": {"S3E": {"healthStatusOk": true, "attrs": {
      "temperatureCelsius": {"reportedValue": 37}, "lifetimeRemaining": {"value": 3, "reportedValue": 98},
      "powerOnHours": {"value": 98, "raw": 12345, "rawString": "12345", "reportedValue": 12345},
      "totalLbasWritten": {"name": "Total_LBAs_Written", "value": 99, "raw": 35937500000}}}},
   "nvmeData": {"N9": {"criticalWarning": {"value": 0}, "percentageUsed": {"value": 7},
      "dataUnitsWritten": {"value": 160000000}, "powerOnHours": {"value": 900}}},
   "emmcData": {"E1": {"lifetimeEstTypA": 1, "preEolInfo": 1}},
   "ioStatData": {"S3E": [{"time": 1, "bytesWritten": 2048000}],
      "E1": [{"time": 1, "bytesWritten": 1}, {"time": 2, "bytesWritten": 3240000000}]},
   "readings": {
      "S3E": [{"source": "smartctl", "lastGood": 1795195518.5, "failingSince": 1795195578.5,
               "reason": "device open failed"}, {"source": "iostat", "lastGood": 1795196298.5}],
      "N9": [{"source": "smartctl", "lastGood": 1795196288}, {"source": "nvme", "lastGood": 1795196280}],
      "E1": [{"source": "emmc", "failingSince": 1795195698.5, "reason": "no\u001b[2J"},
             {"source": "iostat", "lastGood": 1795196298.5}]})";

TEST(StatusTable, showsTheFiguresOfEachDiskAndWhatFails) {
   EXPECT_EQ(from("HEALTH", tableOf(stateWith(std::string{sata} + "," + nvme + "," + emmc, figures))),
             R"(HEALTH   TEMP   LIFE  HOURS  WRITTEN               AGE  READING
ok      37 °C   98 %  12345  18 TB              13 min  smartctl failing for 12 min: device open failed
ok              93 %    900  82 TB                18 s
ok             100 %         3.2 GB since boot   never  eMMC registers failing for 10 min: no\x1b[2J
)");
}

TEST(StatusTable, hasFailingReadingsBelowOnANarrowTerminal) {
   std::string const text = tableOf(stateWith(std::string{sata} + "," + nvme, figures), "", {.width = 80});
   EXPECT_EQ(text, R"(storagedevices 1.2.3: ready, 2 disks, 2026-11-20T17:38:18.500Z
DISK  DEVICE           SIZE  MOUNT POINT  HEALTH   TEMP  LIFE  HOURS  WRITTEN
S3E   /dev/sda       256 GB  /mnt/drive   ok      37 °C  98 %  12345  18 TB
N9    /dev/nvme0n1  1000 GB  /mnt/drive2  ok             93 %    900  82 TB
(too narrow for MODEL, FIRMWARE, BUS, KIND, AGE)
Failing readings:
S3E: smartctl failing for 12 min: device open failed
)");
}

// The text in the column of that title in the table's first row.
std::string cellOf(std::string const & more, std::string const & title) {
   std::istringstream lines{tableOf(stateWith(sata, more))};
   std::string skipped;
   std::string titles;
   std::string row;
   std::getline(lines, skipped);
   std::getline(lines, titles);
   std::getline(lines, row);
   std::size_t const at = titles.find(title);
   if (at == std::string::npos)
      return "(no such column)";
   std::size_t const end = std::min(titles.find("  ", at), row.size());
   std::string const cell = at < row.size() ? row.substr(0, end) : "";
   return cell.substr(std::min(cell.rfind("  ") + 2, cell.size()));
}

std::string hoursOf(std::string const & attr) {
   return cellOf(R"(, "smartData": {"S3E": {"attrs": {"powerOnHours": )" + attr + "}}}", "HOURS");
}

TEST(StatusTable, takesTheHoursFromWhatTheToolRendered) {
   EXPECT_EQ(hoursOf(R"({"raw": 12345, "rawString": "12345", "reportedValue": 12345})"), "12345");
   EXPECT_EQ(hoursOf(R"({"raw": 6339800903693, "rawString": "12301h+34m+56.789s", "reportedValue": 1e12})"),
             "12301");
   EXPECT_EQ(hoursOf(R"({"raw": 7, "rawString": "", "reportedValue": 7})"), "7");
   EXPECT_EQ(hoursOf(R"({"raw": 6339800903693, "rawString": "", "reportedValue": 6339800903693})"),
             "(no such column)");
   EXPECT_EQ(hoursOf(R"({"reportedValue": -1})"), "(no such column)");
}

std::string writtenOf(std::string const & name, std::string const & raw, std::string const & sinceBoot) {
   return cellOf(R"(, "smartData": {"S3E": {"attrs": {"totalLbasWritten": {"name": ")" + name +
                     R"(", "value": 99, "raw": )" + raw + R"(}}}}, "ioStatData": {"S3E": [)" + sinceBoot +
                     "]}",
                 "WRITTEN");
}

TEST(StatusTable, showsWhatWasWrittenInADrivesLifeWhereItTells) {
   std::string const gigabyte = R"({"bytesWritten": 1000000000})";
   EXPECT_EQ(writtenOf("Total_LBAs_Written", "2000000000", ""), "1.0 TB");
   EXPECT_EQ(writtenOf("Host_Writes_32MiB", "30000", gigabyte), "1.0 TB");
   EXPECT_EQ(writtenOf("Vendor_Writes", "2000000000", gigabyte), "1.0 GB since boot");
   EXPECT_EQ(writtenOf("Vendor_Writes", "2000000000", ""), "(no such column)");
   EXPECT_EQ(writtenOf("Total_LBAs_Written", "-5", gigabyte), "1.0 GB since boot");
   // So little can only be in other units than sectors.
   EXPECT_EQ(writtenOf("Total_LBAs_Written", "1000", gigabyte), "1.0 GB since boot");
}

std::string ageOf(std::string const & readings) {
   return cellOf(R"(, "readings": {"S3E": [)" + readings + "]}", "AGE");
}

TEST(StatusTable, showsTheAgeOfTheOldestGoodReadingOfHealth) {
   std::string const use = R"({"source": "iostat", "lastGood": 1795196293})";
   EXPECT_EQ(ageOf(use), "5 s");
   EXPECT_EQ(ageOf(use + R"(, {"source": "smartctl", "lastGood": 1795196098})"), "3 min");
   EXPECT_EQ(ageOf(use + R"(, {"source": "smartctl"})"), "5 s");
   EXPECT_EQ(ageOf(use + R"(, {"source": "smartctl", "failingSince": 1795196098, "reason": "x"})"), "never");
   EXPECT_EQ(ageOf(R"({"source": "smartctl", "lastGood": 1795296098})"), "0 s");
   EXPECT_EQ(ageOf(R"({"source": 5, "lastGood": "x"}, 7)"), "(no such column)");
}

TEST(StatusTable, namesEveryReadingThatFails) {
   std::string const text = tableOf(stateWith(sata, R"(, "readings": {"S3E": [
      {"source": "smartctl", "failingSince": 1795196298, "reason": "unreadable output"},
      {"source": "nvme", "failingSince": 1795109898, "reason": "exit code 1"},
      {"source": "iostat", "failingSince": 1795196298, "reason": "r"}]})"));
   EXPECT_NE(text.find("smartctl failing for 0 s: unreadable output; nvme failing for 24 h: exit code 1; "
                       "I/O statistics failing for 0 s: r\n"),
             std::string::npos)
       << text;
}

TEST(StatusTable, hasTheMessagesBelowOnANarrowTerminal) {
   EXPECT_EQ(tableOf(stateWith(std::string{sata} + "," + nvme, health), messages, {.width = 80}),
             R"(storagedevices 1.2.3: ready, 2 disks, 2026-11-20T17:38:18.500Z
DISK  MODEL    DEVICE           SIZE  MOUNT POINT  HEALTH             TEMP  LIFE
S3E   Model A  /dev/sda       256 GB  /mnt/drive   ok                37 °C  98 %
N9    Model N  /dev/nvme0n1  1000 GB  /mnt/drive2  NVMe critic…  72 °C ov…   7 %
(too narrow for FIRMWARE, BUS, KIND, USE)
Last messages:
S3E: 2026-11-20 17:35 disk utilization on /mnt/drive
N9: 2026-11-20 17:33 /dev/nvme0n1 (SN:N9) has errors.
)");
}

TEST(StatusTable, isNeverWiderThanTheTerminal) {
   for (std::size_t width = 1; width < 200; width += 3) {
      std::istringstream lines{tableOf(stateWith(allDisks(), health), messages, {.width = width}) +
                               tableOf(stateWith(allDisks(), figures), messages, {.width = width})};
      for (std::string line; std::getline(lines, line);)
         EXPECT_LE(displayWidth(line), width) << line;
   }
}

TEST(StatusTable, coloursWhatIsWrong) {
   std::string const text =
       tableOf(stateWith(std::string{sata} + "," + nvme + "," + emmc, health), "", {.colour = true});
   EXPECT_NE(text.find("\x1b[31mNVMe critical warning\x1b[0m"), std::string::npos);
   EXPECT_NE(text.find("\x1b[33mpre-EOL warning\x1b[0m"), std::string::npos);
   EXPECT_NE(text.find("\x1b[32mok\x1b[0m"), std::string::npos);
   EXPECT_NE(text.find("\x1b[31m7 %\x1b[0m"), std::string::npos);
}

TEST(StatusTable, namesEveryFailingTestTheWorstFirst) {
   std::string const text = tableOf(stateWith(sata, R"(,
      "smartData": {"S3E": {"healthStatusOk": false, "allAttrsPassing": false}},
      "mountPoints": {"/mnt/drive": {"fsHealth": {"state": "idle", "running": true, "writeTestOk": true,
         "readTestOk": false}}})"));
   EXPECT_NE(text.find("SMART failing, read test failed, attribute below threshold"), std::string::npos)
       << text;
}

std::string tableWithTest(std::string const & state, bool running, bool written, bool readBack) {
   auto const word = [](bool value) { return std::string{value ? "true" : "false"}; };
   return tableOf(stateWith(sata, R"(, "mountPoints": {"/mnt/drive": {"fsHealth": {"state": ")" + state +
                                      R"(", "running": )" + word(running) + R"(, "writeTestOk": )" +
                                      word(written) + R"(, "readTestOk": )" + word(readBack) +
                                      R"(, "utilThresholdExceeded": false}}})"));
}

TEST(StatusTable, AFileSystemTestHasFailedOnlyWhenItIsOver) {
   for (char const * state : {"setup", "writeTest", "readTest", "cleanup"})
      EXPECT_EQ(tableWithTest(state, true, false, false).find("failed"), std::string::npos) << state;
   EXPECT_NE(tableWithTest("idle", true, false, false).find("write test failed"), std::string::npos);
   EXPECT_EQ(tableWithTest("idle", true, false, false).find("read test failed"), std::string::npos);
   EXPECT_NE(tableWithTest("idle", true, true, false).find("read test failed"), std::string::npos);
   std::string const good = tableWithTest("idle", true, true, true);
   EXPECT_NE(good.find("ok"), std::string::npos) << good;
   EXPECT_EQ(good.find("failed"), std::string::npos) << good;
   EXPECT_NE(tableWithTest("cleanup", false, true, true).find("file system test stopped"), std::string::npos);
}

std::string fileSystemColumn(std::string const & table) {
   auto const at = table.find("FS  ");
   auto const line = table.rfind('\n', at) + 1;
   auto const row = table.find('\n', at) + 1;
   return at == std::string::npos
              ? ""
              : table.substr(row + at - line, table.find(' ', row + at - line) - row - at + line);
}

TEST(StatusTable, hasAWordForEachFileSystem) {
   EXPECT_EQ(fileSystemColumn(tableWithTest("idle", true, true, true)), "ok");
   EXPECT_EQ(fileSystemColumn(tableWithTest("idle", true, true, false)), "failed");
   EXPECT_EQ(fileSystemColumn(tableWithTest("idle", true, false, false)), "failed");
   EXPECT_EQ(fileSystemColumn(tableWithTest("writeTest", true, false, false)), "testing");
   EXPECT_EQ(fileSystemColumn(tableWithTest("readTest", true, true, false)), "testing");
   EXPECT_EQ(fileSystemColumn(tableWithTest("setup", true, false, false)), "waiting");
   EXPECT_EQ(fileSystemColumn(tableWithTest("cleanup", false, true, true)), "stopped");
   auto const untested = [](std::string const & mountPoint) {
      return tableOf(stateWith(sata, R"(, "smartData": {"S3E": {"healthStatusOk": true}},
         "mountPoints": {"/mnt/drive": {"initialMountFailuresRemaining": 12)" +
                                         mountPoint + "}}"));
   };
   EXPECT_EQ(fileSystemColumn(untested("")), "unmounted");
   EXPECT_EQ(fileSystemColumn(untested(R"(, "device": "/dev/sda1")")), "stopped");
   EXPECT_EQ(fileSystemColumn(tableOf(stateWith(sata))), "");
}

TEST(StatusTable, saysNothingOfWhatWasNotReadYet) {
   std::string const text = tableOf(stateWith(sata, R"(, "smartData": {"S3E": {"attrs": {}}}, "nvmeData": {},
      "emmcData": {"S3E": {"lifetimeEstTypA": 0}}, "temperature": {}, "mountPoints": {"/mnt/drive": {}})"));
   for (char const * title : {"HEALTH", "TEMP", "LIFE", "USE", "LAST MESSAGE"})
      EXPECT_EQ(text.find(title), std::string::npos) << title;
}

TEST(StatusTable, explainsWhyThereAreNoDisks) {
   EXPECT_EQ(tableOf(stateWith("")),
             "storagedevices 1.2.3: ready, 0 disks, 2026-11-20T17:38:18.500Z\n"
             "No disks: none of this machine's devices matches an entry of the appliance's "
             "blockdev file, or there is none. "
             "\"storagedevices check-config\" tells what becomes of each device.\n");
   EXPECT_EQ(tableOf(R"({"internalDevicesReady": false, "connectedDevices": {"disk": {}}})"),
             "storagedevices: still identifying devices, 0 disks\n"
             "No disks yet: the devices of this machine are still being identified.\n");
   EXPECT_EQ(tableOf(stateWith(""), "", {.width = 50}),
             "storagedevices 1.2.3: ready, 0 disks,\n"
             "2026-11-20T17:38:18.500Z\n"
             "No disks: none of this machine's devices matches\n"
             "an entry of the appliance's blockdev file, or\n"
             "there is none. \"storagedevices check-config\" tells\n"
             "what becomes of each device.\n");
}

TEST(StatusTable, showsTheLatestMessageOfADiskThatHasGone) {
   std::string const gone =
       R"({"messages": [{"time": 1795196100, "name": "STORAGEDEVICE_OFFLINE", "severity": 3,
      "text": "A removal event occurred", "arguments": ["OLD"]}]})";
   std::string const line =
       "Latest message: 2026-11-20 17:35 error STORAGEDEVICE_OFFLINE: A removal event occurred\n";
   EXPECT_TRUE(tableOf(stateWith(sata), gone).ends_with("fixed\n" + line));
   EXPECT_TRUE(tableOf(stateWith(""), gone).ends_with("each device.\n" + line));
   EXPECT_EQ(tableOf(stateWith(sata), messages).find("Latest message"), std::string::npos);
}

TEST(StatusTable, escapesWhatDevicesCallThemselves) {
   std::string const text =
       tableOf(stateWith(R"("a\u001b[2Jb\n": {"blockDevice": "/dev/sd\u0000a", "mountPoint": "/x",
      "model": "M\u009b31m\u202e", "firmwareRevision": "1.0\r"})"),
               R"({"messages": [{"text": "\u0007bell", "arguments": ["/x"]}]})", {});
   EXPECT_EQ(text,
             "storagedevices 1.2.3: ready, 1 disk, 2026-11-20T17:38:18.500Z\n"
             "DISK         MODEL             FIRMWARE  DEVICE        SIZE  MOUNT POINT  LAST MESSAGE\n"
             "a\\x1b[2Jb\\n  M\\u009b31m\\u202e  1.0\\r     /dev/sd\\x00a        /x           - \\x07bell\n");
}

TEST(StatusTable, showsTheFirstOfVeryManyDisks) {
   std::string disks;
   for (int disk = 0; disk < 300; ++disk)
      disks += (disk == 0 ? "\"" : ",\"") + std::to_string(1000 + disk) + "\": {}";
   std::string const text = tableOf(stateWith(disks));
   EXPECT_NE(text.find("300 disks"), std::string::npos);
   EXPECT_NE(text.find("\n1255\n"), std::string::npos);
   EXPECT_EQ(text.find("\n1256\n"), std::string::npos);
   EXPECT_TRUE(text.ends_with("and 44 more disks; --json shows them all\n"));
}

class OddDocumentTest : public testing::TestWithParam<char const *> {};

TEST_P(OddDocumentTest, neitherCrashesNorClaimsThatThereAreNoDisks) {
   std::string const text = tableOf(GetParam(), R"({"messages": 5})");
   EXPECT_TRUE(text.starts_with("storagedevices: disks not known\n")) << text;
   EXPECT_NE(text.find("does not list the disks"), std::string::npos) << text;
}

INSTANTIATE_TEST_SUITE_P(StatusTable, OddDocumentTest,
                         testing::Values("{}", "[]", "null", "5", "\"x\"", "{\"connectedDevices\": 5}",
                                         "{\"connectedDevices\": {}}",
                                         "{\"connectedDevices\": {\"disk\": []}}",
                                         "{\"version\": 5, \"time\": \"x\", \"internalDevicesReady\": 1}"));

TEST(StatusTable, passesOverMembersOfTheWrongType) {
   std::string const wrong = R"("A": 5, "B": {"blockDevice": 5, "model": [], "sizeGb": -1, "busType": "x",
      "removable": 3, "mountPoint": {}}, "C": {"sizeGb": 1e300, "busType": 77, "devAddress": "x"})";
   std::string const more =
       R"(, "smartData": [], "nvmeData": {"B": []}, "emmcData": {"B": {"preEolInfo": 99}},
      "temperature": {"T": {"drive": "B", "temperature": 1e300}, "U": 5}, "mountPoints": 7)";
   EXPECT_EQ(
       tableOf(stateWith(wrong, more), R"({"messages": [5, {"arguments": 5}, {"arguments": [5, ""]}, "x"]})"),
       "storagedevices 1.2.3: ready, 3 disks, 2026-11-20T17:38:18.500Z\n"
       "DISK  DEVICE  BUS  SIZE  MOUNT POINT\n"
       "A\n"
       "B\n"
       "C             x\n");
}

TEST(StatusTable, refusesWhatIsNoJson) {
   EXPECT_THROW(tableOf(""), std::runtime_error);
   EXPECT_THROW(tableOf("{"), std::runtime_error);
   EXPECT_THROW(tableOf("{}", "["), std::runtime_error);
   EXPECT_THROW(tableOf(std::string(1000000, '[')), std::runtime_error);
   EXPECT_NO_THROW(tableOf(std::string(1000000, '[') + std::string(1000000, ']')));
}

}  // namespace
}  // namespace Agent
