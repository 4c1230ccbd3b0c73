// The metrics of the running program, as Prometheus' own tool reads them.
#include <gtest/gtest.h>

#include <string>

#include "tests/integration/agent/HealthTest.h"

namespace {

namespace Simulation = StorageDevices::Simulation;

class MetricsProgramTest : public HealthTest {
 protected:
   // Until each tool has run, and every disk was read.
   bool isRead(std::initializer_list<char const *> serials) {
      return waitInRealTime([&] {
         bool all = state["internalDevicesReady"].GetBool();
         for (char const * serial : serials)
            all = all && state["readings"].HasMember(serial) && isGood(serial, "iostat") &&
                  (isGood(serial, "smartctl") || isGood(serial, "emmc"));
         return all;
      });
   }
   void scrape() {
      text = Command::askAgent(socket, "/metrics");
      folder.write("metrics", text);
   }
   // All that the tool has to say of them, and its exit code.
   std::string promtool() const {
      Output const output = shell("promtool check metrics < " + folder.string() + "/metrics");
      return output.text + "exit code " + std::to_string(output.exitCode);
   }
   bool has(std::string const & line) const { return text.find("\n" + line + "\n") != std::string::npos; }

   std::string text;
};

TEST_F(MetricsProgramTest, PassesPromtoolWithoutAWord) {
   unit.add(Simulation::emmcDevice("mmcblk0", "9b014e4f53505245592100a1b2c35a01", 62500000));
   start();
   ASSERT_TRUE(isRead({"SN-A", "00a1b2c3"})) << log;
   scrape();
   EXPECT_EQ(promtool(), "exit code 0") << text;
   EXPECT_TRUE(has("storagedevices_disk_temperature_celsius{serial=\"SN-A\"} 34")) << text;
   EXPECT_TRUE(has("storagedevices_disk_power_on_seconds{serial=\"SN-A\"} 32832000")) << text;
   EXPECT_TRUE(has("storagedevices_disk_written_bytes_total{serial=\"SN-A\"} 18400000000000")) << text;
   EXPECT_TRUE(has("storagedevices_tool_runs_total{tool=\"smartctl\",result=\"failed\"} 0")) << text;
   EXPECT_NE(text.find("bus=\"emmc\""), std::string::npos) << text;
}

// The name is fixed by the contract (docs/metrics.md).
TEST_F(MetricsProgramTest, PassesPromtoolWithAnNvmeDriveButForOneName) {
   addNvme();
   start();
   ASSERT_TRUE(isRead({"SN-A", "SN-N"})) << log;
   ASSERT_TRUE(waitInRealTime([&] { return isGood("SN-N", "nvme"); })) << log;
   scrape();
   EXPECT_EQ(promtool(),
             "storagedevices_disk_nvme_counter metric name should not include type 'counter'\nexit code 3")
       << text;
   EXPECT_TRUE(has("storagedevices_disk_nvme_counter{serial=\"SN-N\",name=\"percent_used\"} 7")) << text;
   EXPECT_TRUE(has("storagedevices_disk_life_remaining_ratio{serial=\"SN-N\"} 0.93")) << text;
}

TEST_F(MetricsProgramTest, PassesPromtoolWithHostileNames) {
   unit.blockdevIs({{".*/ata[0-9]*/", "drive"}, {".*/usb", "usb1"}});
   addDrive("sdb", 2, R"(S"N\{},=#)");
   addDrive("sdd", 3, "S\x01\x1b[2J\xff");
   char const stick[] = R"x(<img src=x onerror="alert('\n')">)x";
   unit.plug(Simulation::usbDisk("sdc", "1-1.2", stick, "Stick\xc2\x9b", 60000000));
   start();
   ASSERT_TRUE(waitInRealTime([&] { return disks().MemberCount() == 4; })) << log;
   ASSERT_TRUE(waitInRealTime([&] { return state["internalDevicesReady"].GetBool(); })) << log;
   scrape();
   EXPECT_EQ(promtool(), "exit code 0") << text;
   for (char const * serial : {R"({serial="UDEV-S\"N\\{},=#")", R"({serial="UDEV-S\\x01\\x1b[2J\\xff")",
                               R"x({serial="<img src=x onerror=\"alert('\\n')\">")x"})
      EXPECT_NE(text.find(serial), std::string::npos) << serial << "\n" << text;
   EXPECT_EQ(text.find_first_of("\x01\x1b\xff\xc2"), std::string::npos) << text;
}

}  // namespace
