#include "command/StatusTable.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <sstream>
#include <stdexcept>

#include "base/Text.h"

namespace Command {
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
   "unit": {"verdict": "failing", "missing": ["/mnt/eusb"]},
   "verdicts": {"S3E": {"verdict": "ok", "since": 1795196000, "reasons": []},
      "N9": {"verdict": "failing", "since": 1795196000, "reasons": [
         {"code": "nvme-unreliable", "verdict": "failing", "text": "the drive reports reduced reliability"},
         {"code": "overheat", "verdict": "warning", "text": "high temperature: 72 °C"}]},
      "E1": {"verdict": "warning", "since": 1795196000, "reasons": [
         {"code": "emmc-spare-low", "verdict": "warning", "text": "80 % of its reserved blocks are used"}]}},
   "figures": {"S3E": {"temperature": 37.0, "lifeLeft": 98.0}, "N9": {"temperature": 71.6, "lifeLeft": 7.0},
      "E1": {"lifeLeft": 30.0}},
   "mountPoints": {"/mnt/drive": {"fsHealth": {"running": true, "state": "idle", "writeTestOk": true,
      "readTestOk": true, "utilThresholdExceeded": true}}})";

constexpr char messages[] = R"({"messages": [
   {"sequence": 1, "time": 1795196000, "name": "STORAGEDEVICE_IO_ERROR", "severity": 3,
    "text": "/dev/nvme0n1 (SN:N9) has errors.", "arguments": ["/dev/nvme0n1", "N9", "Model N", "2B"]},
   {"sequence": 2, "time": 1795196100, "name": "STORAGEDEVICE_MONITOR_WARNING", "severity": 4,
    "text": "disk utilization on /mnt/drive", "arguments": ["/mnt/drive", "S3E", "Model A", "R", "x"]}]})";

TEST(StatusTableTest, CountsTheDevicesThatWaitToBeClassified) {
   std::string const more = R"(, "discovery": {"unclassifiedDevices": {"/sys/a": {}, "/sys/b": {}}})";
   EXPECT_NE(tableOf(stateWith(sata, more)).find("not complete: 2 devices wait to be classified, 1 disk"),
             std::string::npos);
   EXPECT_NE(tableOf(stateWith(sata)).find("ready, 1 disk"), std::string::npos);
}

TEST(StatusTableTest, HasARowPerDiskInOrderOfMountPoints) {
   EXPECT_EQ(tableOf(stateWith(allDisks())),
             R"(storagedevices 1.2.3: ready, 4 disks, 2026-11-20T17:38:18.500Z
DISK  MODEL    FIRMWARE  DEVICE        BUS              SIZE  MOUNT POINT  KIND
S3E   Model A  RVT01B6Q  /dev/sda      SATA 1         256 GB  /mnt/drive   fixed
N9    Model N  2B        /dev/nvme0n1  NVMe nvme0n1  1000 GB  /mnt/drive2  fixed
E1    Chip               /dev/mmcblk0  eMMC mmc0        8 GB  /mnt/flash   fixed
U7    Stick    1.00      /dev/sdb      USB 2-1         16 GB  /mnt/usb1    removable
)");
}

TEST(StatusTableTest, ShowsTheLargestSizeThatARecordHolds) {
   std::string disk = sata;
   disk.replace(disk.find("256"), 3, "4294967295");
   EXPECT_NE(tableOf(stateWith(disk)).find(" 4294967295 GB "), std::string::npos);
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

// The first columns of the table, up to one.
std::string upTo(char const * title, std::string const & table) {
   std::istringstream lines{table};
   std::string result;
   std::string line;
   std::getline(lines, line);
   std::size_t last = 0;
   while (std::getline(lines, line)) {
      if (last == 0)
         last = line.find(title);
      result += line.substr(0, last) + "\n";
   }
   return result;
}

TEST(StatusTableTest, ShowsTheVerdictInTheFirstColumn) {
   EXPECT_EQ(
       upTo("MODEL", tableOf(stateWith(std::string{sata} + "," + nvme + "," + emmc + "," + stick, health))),
       R"(VERDICT  DISK  
ok       S3E   
failing  N9    
warning  E1    
         U7    
)");
}

TEST(StatusTableTest, ShowsReasonsAndMessagesWhereThereAreSome) {
   EXPECT_EQ(
       from("FS", tableOf(stateWith(std::string{sata} + "," + nvme + "," + emmc, health), messages)),
       R"(FS       TEMP  LIFE  REASON                                                          LAST MESSAGE
tested  37 °C  98 %                                                                  2026-11-20 17:35 disk utilization on /mnt/drive
        72 °C   7 %  the drive reports reduced reliability; high temperature: 72 °C  2026-11-20 17:33 /dev/nvme0n1 (SN:N9) has errors.
               30 %  80 % of its reserved blocks are used
)");
}

TEST(StatusTableTest, ShowsTheStateOfTheUnitAndMissingDisksInTheFirstLine) {
   std::string const text = tableOf(stateWith(sata, health));
   EXPECT_TRUE(
       text.starts_with("storagedevices 1.2.3: ready, unit failing, 1 disk, missing: /mnt/eusb, 2026-"))
       << text;
}

TEST(StatusTableTest, ShowsAbsentDisksWithTheirLastFigures) {
   std::string const gone = R"(,
      "verdicts": {"N9": {"verdict": "absent", "reasons": [{"text": "removed"}]}},
      "figures": {"N9": {"lifeLeft": 93, "disk": {"blockDevice": "/dev/nvme0n1", "mountPoint": "/mnt/drive2",
         "model": "Model N", "sizeGb": 1000}}, "S3E": {"disk": {"mountPoint": "/nowhere"}}},
      "mountPoints": {"/mnt/drive2": {"fsHealth": {"running": true, "state": "idle"}}})";
   EXPECT_EQ(tableOf(stateWith(sata, gone), "", {.width = 80}),
             R"(storagedevices 1.2.3: ready, 1 disk, 2026-11-20T17:38:18.500Z
VERDICT  DISK  MODEL    FIRMWARE  DEVICE           SIZE  MOUNT POINT  LIFE
         S3E   Model A  RVT01B6Q  /dev/sda       256 GB  /mnt/drive
absent   N9    Model N            /dev/nvme0n1  1000 GB  /mnt/drive2  93 %
(too narrow for BUS, KIND)
Reasons:
N9: removed
)");
   EXPECT_NE(tableOf(stateWith("", gone)).find("absent"), std::string::npos);
}

constexpr char figures[] = R"(,
   "figures": {
      "S3E": {"temperature": 37, "lifeLeft": 98, "powerOnHours": 12345, "bytesWritten": 18400000000000,
              "bytesWrittenSinceBoot": 2048000, "lastRead": 1795195518.5},
      "N9": {"lifeLeft": 93, "powerOnHours": 900, "bytesWritten": 81920000000000, "lastRead": 1795196280},
      "E1": {"lifeLeft": 100, "bytesWrittenSinceBoot": 3240000000}},
   "readings": {
      "S3E": [{"source": "smartctl", "lastGood": 1795195518.5, "failingSince": 1795195578.5,
               "reason": "device open failed"}, {"source": "iostat", "lastGood": 1795196298.5}],
      "N9": [{"source": "smartctl", "lastGood": 1795196288}, {"source": "nvme", "lastGood": 1795196280}],
      "E1": [{"source": "emmc", "failingSince": 1795195698.5, "reason": "no\u001b[2J"},
             {"source": "iostat", "lastGood": 1795196298.5}]})";

TEST(StatusTableTest, ShowsTheFiguresOfEachDiskAndItsFailingReadings) {
   EXPECT_EQ(from(" TEMP", tableOf(stateWith(std::string{sata} + "," + nvme + "," + emmc, figures))),
             R"( TEMP   LIFE  HOURS  WRITTEN               AGE  READING
37 °C   98 %  12345  18 TB              13 min  smartctl failing for 12 min: device open failed
        93 %    900  82 TB                18 s
       100 %         3.2 GB since boot          eMMC registers failing for 10 min: no\x1b[2J
)");
}

TEST(StatusTableTest, ShowsFailingReadingsBelowOnANarrowTerminal) {
   std::string const text = tableOf(stateWith(std::string{sata} + "," + nvme, figures), "", {.width = 80});
   EXPECT_EQ(text, R"(storagedevices 1.2.3: ready, 2 disks, 2026-11-20T17:38:18.500Z
DISK  DEVICE           SIZE  MOUNT POINT   TEMP  LIFE  HOURS  WRITTEN     AGE
S3E   /dev/sda       256 GB  /mnt/drive   37 °C  98 %  12345  18 TB    13 min
N9    /dev/nvme0n1  1000 GB  /mnt/drive2         93 %    900  82 TB      18 s
(too narrow for MODEL, FIRMWARE, BUS, KIND)
Failing readings:
S3E: smartctl failing for 12 min: device open failed
)");
}

TEST(StatusTableTest, DerivesNothingFromTheRecords) {
   std::string const text = tableOf(stateWith(sata, R"(,
      "smartData": {"S3E": {"healthStatusOk": false, "allAttrsPassing": false, "attrs": {
         "temperatureCelsius": {"reportedValue": 99}, "lifetimeRemaining": {"reportedValue": 1, "value": 1}}}},
      "temperature": {"T1": {"drive": "S3E", "temperature": 99, "alarm": "critical"}},
      "verdicts": {"S3E": {"verdict": "ok", "reasons": []}}, "figures": {"S3E": {}})"));
   for (char const * title : {"TEMP", "LIFE", "REASON"})
      EXPECT_EQ(text.find(title), std::string::npos) << text;
}

TEST(StatusTableTest, NamesEveryReadingThatFails) {
   std::string const text = tableOf(stateWith(sata, R"(, "readings": {"S3E": [
      {"source": "smartctl", "failingSince": 1795196298, "reason": "unreadable output"},
      {"source": "nvme", "failingSince": 1795109898, "reason": "exit code 1"},
      {"source": "iostat", "failingSince": 1795196298, "reason": "r"}]})"));
   EXPECT_NE(text.find("smartctl failing for 0 s: unreadable output; nvme failing for 24 h: exit code 1; "
                       "I/O statistics failing for 0 s: r\n"),
             std::string::npos)
       << text;
}

TEST(StatusTableTest, ShowsReasonsAndMessagesBelowOnANarrowTerminal) {
   EXPECT_EQ(tableOf(stateWith(std::string{sata} + "," + nvme, health), messages, {.width = 80}),
             R"(storagedevices 1.2.3: ready, unit failing, 2 disks, missing: /mnt/eusb,
2026-11-20T17:38:18.500Z
VERDICT  DISK  MODEL    DEVICE           SIZE  MOUNT POINT  FS       TEMP  LIFE
ok       S3E   Model A  /dev/sda       256 GB  /mnt/drive   tested  37 °C  98 %
failing  N9    Model N  /dev/nvme0n1  1000 GB  /mnt/drive2          72 °C   7 %
(too narrow for FIRMWARE, BUS, KIND)
Reasons:
N9: the drive reports reduced reliability; high temperature: 72 °C
Last messages:
S3E: 2026-11-20 17:35 disk utilization on /mnt/drive
N9: 2026-11-20 17:33 /dev/nvme0n1 (SN:N9) has errors.
)");
}

TEST(StatusTableTest, IsNeverWiderThanTheTerminal) {
   for (std::size_t width = 1; width < 200; width += 3) {
      std::istringstream lines{tableOf(stateWith(allDisks(), health), messages, {.width = width}) +
                               tableOf(stateWith(allDisks(), figures), messages, {.width = width})};
      for (std::string line; std::getline(lines, line);)
         EXPECT_LE(Base::displayWidth(line), width) << line;
   }
}

TEST(StatusTableTest, ColoursTheVerdictAndItsReasons) {
   std::string const more = R"(, "verdicts": {
      "S3E": {"verdict": "ok"}, "N9": {"verdict": "failing", "reasons": [{"text": "bad"}]},
      "E1": {"verdict": "unknown"}, "U7": {"verdict": "absent"}})";
   std::string const text = tableOf(stateWith(allDisks(), more), "", {.colour = true});
   for (char const * coloured : {"\x1b[32mok\x1b[0m", "\x1b[31mfailing\x1b[0m", "\x1b[31mbad\x1b[0m",
                                 "\x1b[33munknown\x1b[0m", "\x1b[31mabsent\x1b[0m"})
      EXPECT_NE(text.find(coloured), std::string::npos) << coloured;
   std::string const warning =
       tableOf(stateWith(sata, R"(, "verdicts": {"S3E": {"verdict": "warning"}})"), "", {.colour = true});
   EXPECT_NE(warning.find("\x1b[33mwarning\x1b[0m"), std::string::npos);
   EXPECT_EQ(tableOf(stateWith(allDisks(), more)).find('\x1b'), std::string::npos);
}

std::string tableWithTest(std::string const & state, bool running, bool written, bool readBack) {
   auto const word = [](bool value) { return std::string{value ? "true" : "false"}; };
   return tableOf(stateWith(sata, R"(, "mountPoints": {"/mnt/drive": {"fsHealth": {"state": ")" + state +
                                      R"(", "running": )" + word(running) + R"(, "writeTestOk": )" +
                                      word(written) + R"(, "readTestOk": )" + word(readBack) +
                                      R"(, "utilThresholdExceeded": false}}})"));
}

std::string fileSystemColumn(std::string const & table) {
   auto const at = table.find("  FS");
   if (at == std::string::npos)
      return "";
   auto const row = table.find('\n', at) + 1;
   auto const cell = row + at + 2 - (table.rfind('\n', at) + 1);
   return table.substr(cell, table.find_first_of(" \n", cell) - cell);
}

TEST(StatusTableTest, HasAWordForEachFileSystem) {
   EXPECT_EQ(fileSystemColumn(tableWithTest("idle", true, true, true)), "tested");
   EXPECT_EQ(fileSystemColumn(tableWithTest("idle", true, false, false)), "tested");
   EXPECT_EQ(fileSystemColumn(tableWithTest("writeTest", true, false, false)), "testing");
   EXPECT_EQ(fileSystemColumn(tableWithTest("readTest", true, true, false)), "testing");
   EXPECT_EQ(fileSystemColumn(tableWithTest("setup", true, false, false)), "waiting");
   EXPECT_EQ(fileSystemColumn(tableWithTest("cleanup", false, true, true)), "stopped");
   auto const untested = [](std::string const & mountPoint) {
      return tableOf(stateWith(sata, R"(, "figures": {"S3E": {"lifeLeft": 1}},
         "mountPoints": {"/mnt/drive": {"initialMountFailuresRemaining": 12)" +
                                         mountPoint + "}}"));
   };
   EXPECT_EQ(fileSystemColumn(untested("")), "unmounted");
   EXPECT_EQ(fileSystemColumn(untested(R"(, "device": "/dev/sda1")")), "stopped");
   EXPECT_EQ(fileSystemColumn(tableOf(stateWith(sata))), "");
}

TEST(StatusTableTest, ShowsNothingForValuesThatWereNotReadYet) {
   std::string const text = tableOf(stateWith(sata, R"(, "unit": {}, "verdicts": {}, "figures": {"S3E": {}},
      "mountPoints": {"/mnt/drive": {}})"));
   for (char const * title : {"VERDICT", "REASON", "TEMP", "LIFE", "WRITTEN", "AGE", "LAST MESSAGE"})
      EXPECT_EQ(text.find(title), std::string::npos) << title;
}

TEST(StatusTableTest, ExplainsWhyThereAreNoDisks) {
   EXPECT_EQ(tableOf(stateWith("")),
             "storagedevices 1.2.3: ready, 0 disks, 2026-11-20T17:38:18.500Z\n"
             "No disks: none of this machine's devices matches an entry of the appliance's "
             "blockdev file, or there is none. "
             "\"storagedevices check-config\" shows how each device is classified.\n");
   EXPECT_EQ(tableOf(R"({"internalDevicesReady": false, "connectedDevices": {"disk": {}}})"),
             "storagedevices: still identifying devices, 0 disks\n"
             "No disks yet: the devices of this machine are still being identified.\n");
   EXPECT_EQ(tableOf(stateWith(""), "", {.width = 50}),
             "storagedevices 1.2.3: ready, 0 disks,\n"
             "2026-11-20T17:38:18.500Z\n"
             "No disks: none of this machine's devices matches\n"
             "an entry of the appliance's blockdev file, or\n"
             "there is none. \"storagedevices check-config\" shows\n"
             "how each device is classified.\n");
}

TEST(StatusTableTest, ShowsTheLatestMessageOfADiskThatHasGone) {
   std::string const gone =
       R"({"messages": [{"time": 1795196100, "name": "STORAGEDEVICE_OFFLINE", "severity": 3,
      "text": "A removal event occurred", "arguments": ["OLD"]}]})";
   std::string const line =
       "Latest message: 2026-11-20 17:35 error STORAGEDEVICE_OFFLINE: A removal event occurred\n";
   EXPECT_TRUE(tableOf(stateWith(sata), gone).ends_with("fixed\n" + line));
   EXPECT_TRUE(tableOf(stateWith(""), gone).ends_with("is classified.\n" + line));
   EXPECT_EQ(tableOf(stateWith(sata), messages).find("Latest message"), std::string::npos);
}

TEST(StatusTableTest, EscapesTerminalControlsInTextsOfDevices) {
   std::string const text =
       tableOf(stateWith(R"("a\u001b[2Jb\n": {"blockDevice": "/dev/sd\u0000a", "mountPoint": "/x",
      "model": "M\u009b31m\u202e", "firmwareRevision": "1.0\r"})"),
               R"({"messages": [{"text": "\u0007bell", "arguments": ["/x"]}]})", {});
   EXPECT_EQ(text,
             "storagedevices 1.2.3: ready, 1 disk, 2026-11-20T17:38:18.500Z\n"
             "DISK         MODEL             FIRMWARE  DEVICE        SIZE  MOUNT POINT  LAST MESSAGE\n"
             "a\\x1b[2Jb\\n  M\\u009b31m\\u202e  1.0\\r     /dev/sd\\x00a        /x           - \\x07bell\n");
}

TEST(StatusTableTest, ShowsTheFirstOfVeryManyDisks) {
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

TEST_P(OddDocumentTest, IsShownWithoutACrashOrTheClaimThatThereAreNoDisks) {
   std::string const text = tableOf(GetParam(), R"({"messages": 5})");
   EXPECT_TRUE(text.starts_with("storagedevices: disks not known\n")) << text;
   EXPECT_NE(text.find("does not list the disks"), std::string::npos) << text;
}

INSTANTIATE_TEST_SUITE_P(StatusTable, OddDocumentTest,
                         testing::Values("{}", "[]", "null", "5", "\"x\"", "{\"connectedDevices\": 5}",
                                         "{\"connectedDevices\": {}}",
                                         "{\"connectedDevices\": {\"disk\": []}}",
                                         "{\"version\": 5, \"time\": \"x\", \"internalDevicesReady\": 1}"));

TEST(StatusTableTest, IgnoresMembersOfTheWrongType) {
   std::string const wrong = R"("A": 5, "B": {"blockDevice": 5, "model": [], "sizeGb": -1, "busType": "x",
      "removable": 3, "mountPoint": {}}, "C": {"sizeGb": 1e300, "busType": 77, "devAddress": "x"})";
   std::string const more =
       R"(, "unit": [], "verdicts": {"A": 5, "B": {"verdict": 3, "reasons": [5, {"text": 7}]}, "C": {"reasons": 7}},
      "figures": {"A": [], "B": {"temperature": "x", "lifeLeft": 1e300, "bytesWritten": -1, "lastRead": {}},
                  "Z": {"disk": 5}}, "readings": {"A": 5, "B": [5]}, "mountPoints": 7)";
   EXPECT_EQ(
       tableOf(stateWith(wrong, more), R"({"messages": [5, {"arguments": 5}, {"arguments": [5, ""]}, "x"]})"),
       "storagedevices 1.2.3: ready, 3 disks, 2026-11-20T17:38:18.500Z\n"
       "DISK  DEVICE  BUS  SIZE  MOUNT POINT\n"
       "A\n"
       "B\n"
       "C             x\n");
}

TEST(StatusTableTest, RefusesTextThatIsNoJson) {
   EXPECT_THROW(tableOf(""), std::runtime_error);
   EXPECT_THROW(tableOf("{"), std::runtime_error);
   EXPECT_THROW(tableOf("{}", "["), std::runtime_error);
   EXPECT_THROW(tableOf(std::string(1000000, '[')), std::runtime_error);
   EXPECT_NO_THROW(tableOf(std::string(1000000, '[') + std::string(1000000, ']')));
}

}  // namespace
}  // namespace Command
