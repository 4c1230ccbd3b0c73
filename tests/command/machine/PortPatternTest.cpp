#include "command/machine/PortPattern.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <ostream>

#include "StorageDevices/ExprPattern.h"
#include "tests/StorageDevices/DataFiles.h"

namespace Command {
namespace {

std::vector<std::string> alone(std::string const &) {
   return {};
}

bool matches(std::string const & pattern, std::string const & path) {
   return StorageDevices::ExprPatterns{}.ask(path.c_str(), pattern.c_str()).status == 0;
}

struct PathRow {
   char const * path;
   char const * pattern;
   char const * afterReboot;  // the same port, detected in another order
   char const * otherPort;
};

void PrintTo(PathRow const & row, std::ostream * out) {
   *out << row.path;
}

class PortPatternTest : public testing::TestWithParam<PathRow> {};

TEST_P(PortPatternTest, MatchesThePortInAnyOrderOfDetectionAndNoOther) {
   auto const & [path, pattern, afterReboot, otherPort] = GetParam();
   PortPattern const port = portPattern(path, alone);
   EXPECT_EQ(port.pattern, pattern);
   EXPECT_TRUE(port.isPort);
   EXPECT_TRUE(port.kept.empty());
   EXPECT_TRUE(matches(port.pattern, path));
   EXPECT_TRUE(matches(port.pattern, afterReboot)) << afterReboot;
   EXPECT_FALSE(matches(port.pattern, otherPort)) << otherPort;
   EXPECT_FALSE(matches(port.pattern, std::string{path} + "boot0"));
   EXPECT_TRUE(StorageDevices::isPlainPattern(port.pattern)) << "discovery would run a process for it";
}

INSTANTIATE_TEST_SUITE_P(
    PortPattern, PortPatternTest,
    testing::Values(
        PathRow{"pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0/block/sda",
                R"(pci0000:00/0000:00:17\.0/ata1/host[0-9]*/target[0-9]*:0:0/[0-9]*:0:0:0/block/sd[a-z]*$)",
                "pci0000:00/0000:00:17.0/ata1/host12/target12:0:0/12:0:0:0/block/sdab",
                "pci0000:00/0000:00:17.0/ata10/host0/target0:0:0/0:0:0:0/block/sda"},
        // Behind a port multiplier.
        PathRow{"pci0000:00/0000:00:17.0/ata1/host0/target0:1:0/0:1:0:0/block/sdb",
                R"(pci0000:00/0000:00:17\.0/ata1/host[0-9]*/target[0-9]*:1:0/[0-9]*:1:0:0/block/sd[a-z]*$)",
                "pci0000:00/0000:00:17.0/ata1/host3/target3:1:0/3:1:0:0/block/sdc",
                "pci0000:00/0000:00:17.0/ata1/host0/target0:2:0/0:2:0:0/block/sdb"},
        // A card in another slot changes the numbers of buses behind bridges.
        PathRow{"pci0000:00/0000:00:1d.0/0000:3d:00.0/nvme/nvme0/nvme0n1",
                R"(pci0000:00/0000:00:1d\.0/0000:[0-9a-f]*:00\.0/nvme/nvme[0-9]*/nvme[0-9]*n1$)",
                "pci0000:00/0000:00:1d.0/0000:3f:00.0/nvme/nvme2/nvme2n1",
                "pci0000:00/0000:00:1d.4/0000:3d:00.0/nvme/nvme0/nvme0n1"},
        PathRow{"pci0000:00/0000:00:1d.0/0000:3d:00.0/nvme/nvme0/nvme0n1",
                R"(pci0000:00/0000:00:1d\.0/0000:[0-9a-f]*:00\.0/nvme/nvme[0-9]*/nvme[0-9]*n1$)",
                "pci0000:00/0000:00:1d.0/0000:3d:00.0/nvme/nvme0/nvme0n1",
                "pci0000:00/0000:00:1d.0/0000:3d:00.0/nvme/nvme0/nvme0n12"},
        PathRow{"pci0000:00/0000:00:14.0/usb1/1-1/1-1.2/1-1.2:1.0/host7/target7:0:0/7:0:0:0/block/sdd",
                R"(pci0000:00/0000:00:14\.0/usb[0-9]*/[0-9]*-1/[0-9]*-1\.2/[0-9]*-1\.2:1\.0/host[0-9]*/)"
                R"(target[0-9]*:0:0/[0-9]*:0:0:0/block/sd[a-z]*$)",
                "pci0000:00/0000:00:14.0/usb3/3-1/3-1.2/3-1.2:1.0/host0/target0:0:0/0:0:0:0/block/sda",
                "pci0000:00/0000:00:14.0/usb1/1-1/1-1.3/1-1.3:1.0/host7/target7:0:0/7:0:0:0/block/sdd"},
        // Of a reader with two slots.
        PathRow{"pci0000:00/0000:00:14.0/usb1/1-4/1-4:1.0/host7/target7:0:0/7:0:0:1/block/sde",
                R"(pci0000:00/0000:00:14\.0/usb[0-9]*/[0-9]*-4/[0-9]*-4:1\.0/host[0-9]*/)"
                R"(target[0-9]*:0:0/[0-9]*:0:0:1/block/sd[a-z]*$)",
                "pci0000:00/0000:00:14.0/usb1/1-4/1-4:1.0/host2/target2:0:0/2:0:0:1/block/sdb",
                "pci0000:00/0000:00:14.0/usb1/1-4/1-4:1.0/host7/target7:0:0/7:0:0:0/block/sdd"},
        PathRow{"platform/soc/fe340000.mmc/mmc_host/mmc0/mmc0:0001/block/mmcblk0",
                R"(platform/soc/fe340000\.mmc/mmc_host/mmc[0-9]*/mmc[0-9]*:[0-9a-f]*/block/mmcblk[0-9]*$)",
                "platform/soc/fe340000.mmc/mmc_host/mmc1/mmc1:0001/block/mmcblk1",
                "platform/soc/fe350000.mmc/mmc_host/mmc0/mmc0:0001/block/mmcblk0"},
        PathRow{
            "platform/axi/fe200000.usb/xhci-hcd.1.auto/usb1/1-1/1-1:1.0/host0/target0:0:0/0:0:0:0/block/sda",
            R"(platform/axi/fe200000\.usb/xhci-hcd\.[0-9]*\.auto/usb[0-9]*/[0-9]*-1/[0-9]*-1:1\.0/)"
            R"(host[0-9]*/target[0-9]*:0:0/[0-9]*:0:0:0/block/sd[a-z]*$)",
            "platform/axi/fe200000.usb/xhci-hcd.0.auto/usb2/2-1/2-1:1.0/host1/target1:0:0/1:0:0:0/block/sdb",
            "platform/axi/fe300000.usb/xhci-hcd.1.auto/usb1/1-1/1-1:1.0/host0/target0:0:0/0:0:0:0/block/sda"},
        PathRow{"pci0000:00/0000:00:04.0/virtio1/block/vda",
                R"(pci0000:00/0000:00:04\.0/virtio[0-9]*/block/vd[a-z]*$)",
                "pci0000:00/0000:00:04.0/virtio3/block/vdc", "pci0000:00/0000:00:05.0/virtio1/block/vda"},
        PathRow{
            "pci0000:80/0000:80:01.0/0000:81:00.0/host0/port-0:3/end_device-0:3/target0:0:3/0:0:3:0/block/"
            "sdd",
            R"(pci0000:80/0000:80:01\.0/0000:[0-9a-f]*:00\.0/host[0-9]*/port-[0-9]*:3/end_device-[0-9]*:3/)"
            R"(target[0-9]*:0:3/[0-9]*:0:3:0/block/sd[a-z]*$)",
            "pci0000:80/0000:80:01.0/0000:82:00.0/host5/port-5:3/end_device-5:3/target5:0:3/5:0:3:0/block/"
            "sda",
            "pci0000:80/0000:80:01.0/0000:81:00.0/host0/port-0:4/end_device-0:4/target0:0:4/0:0:4:0/block/"
            "sde"}));

TEST(PortPatternTest, KeepsANumberThatAloneTellsThePortFromAnother) {
   constexpr char path[] = "pci0000:00/0000:00:05.0/usb2/2-2/2-2:1.0/host6/target6:0:0/6:0:0:0/block/sdc";
   auto const namesIn = [](std::string const & folder) {
      return folder == "pci0000:00/0000:00:05.0/" ? std::vector<std::string>{"power", "usb1", "usb2"}
                                                  : std::vector<std::string>{"uevent"};
   };
   PortPattern const port = portPattern(path, namesIn);
   EXPECT_EQ(port.kept, std::vector<std::string>{"usb2"});
   EXPECT_TRUE(matches(port.pattern, path));
   EXPECT_FALSE(
       matches(port.pattern, "pci0000:00/0000:00:05.0/usb1/1-2/1-2:1.0/host6/target6:0:0/6:0:0:0/block/sdc"));
   EXPECT_TRUE(
       matches(port.general, "pci0000:00/0000:00:05.0/usb1/1-2/1-2:1.0/host6/target6:0:0/6:0:0:0/block/sdc"));
}

TEST(PortPatternTest, SeesNoPortInThePathOfAVirtualDevice) {
   EXPECT_FALSE(portPattern("virtual/nvme-subsystem/nvme-subsys0/nvme0n1", alone).isPort);
}

TEST(PortPatternTest, IsOneWordThatMatchesWhateverAPathContains) {
   for (std::string const path :
        {"platform/a b\tc/x[1]*^$\\(y\\)/block/sda", "a//b", "a+b/+", "host/sd", "mmc0:no-card/block/sda"}) {
      PortPattern const port = portPattern(path, alone);
      EXPECT_EQ(port.pattern.find_first_of(" \t\n"), std::string::npos) << port.pattern;
      EXPECT_EQ(StorageDevices::CDevsUtil::askExpr(path.c_str(), port.pattern.c_str()).status, 0)
          << port.pattern;
   }
}

// The paths that other people's machines gave their disks, of many kinds of buses.
TEST(PortPatternTest, MatchesEachPathOfOtherPeoplesMachines) {
   SKIP_WITHOUT_CORPUS();
   std::map<std::string, std::string> patterns;  // by path
   for (auto const & file : StorageDevices::TestData::corpusFiles("udev")) {
      std::string const text = StorageDevices::TestData::contentOf(file);
      constexpr std::string_view key = "DEVPATH";
      constexpr std::string_view root = "/devices/";
      std::size_t const place = text.find(root, text.find(key));
      if (place == std::string::npos)
         continue;
      std::size_t const begin = place + root.size();
      std::string const path = text.substr(begin, text.find_first_of("\"\n", begin) - begin);
      patterns[path] = portPattern(path, alone).pattern;
   }
   EXPECT_GT(patterns.size(), 30U);
   for (auto const & [path, pattern] : patterns)
      EXPECT_TRUE(matches(pattern, path)) << path << " " << pattern;
}

}  // namespace
}  // namespace Command
