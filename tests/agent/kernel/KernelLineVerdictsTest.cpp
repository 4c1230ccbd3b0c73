// Invented lines, written after the kernel's sources, and logs of file systems over several devices.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "StorageDevices/KernelLine.h"
#include "agent/kernel/KernelLineRewrite.h"

namespace {

using Names = std::vector<std::string>;

std::string deviceIn(std::string const & line) {
   return std::string{StorageDevices::deviceInKernelLine(line).value_or("")};
}

bool has(Names const & names, std::string const & name) {
   return std::find(names.begin(), names.end(), name) != names.end();
}

TEST(KernelLineVerdictsTest, NamesTheExpectedDeviceOrNobodyForUnseenLines) {
   std::ifstream stream{TEST_DATA_DIR "/kernel-lines/verdicts-b.txt"};
   std::size_t count = 0;
   for (std::string line; std::getline(stream, line);) {
      if (line.starts_with('#'))
         continue;
      std::size_t const bar = line.find('|');
      ASSERT_NE(bar, line.npos) << line;
      std::string const name = line.substr(0, bar) == "-" ? "" : line.substr(0, bar);
      for (std::string const caller : {"", "[    T1] ", "<6>[C0] "})
         EXPECT_EQ(deviceIn(Agent::rewriteKernelLine("kernel: [ 5.140900] " + caller + line.substr(bar + 1))),
                   name)
             << line;
      ++count;
   }
   EXPECT_EQ(count, 400U);
}

// The log of a file system over several devices, and the expectations in its comments.
class Log {
 public:
   explicit Log(std::string const & name) {
      std::ifstream stream{TEST_DATA_DIR "/kernel-lines/pools/" + name + ".txt"};
      for (std::string line; std::getline(stream, line);)
         if (!line.starts_with('#'))
            lines.push_back("kernel: " + line);
         else
            for (auto const & [mark, list] :
                 {std::pair{"# failed:", &failed}, {"# healthy:", &healthy}, {"# several:", &several}})
               readNames(line, mark, *list);
   }

   Names lines;
   Names failed;  // "usb 2-2" is one name
   Names healthy;
   Names several;

 private:
   static void readNames(std::string const & line, std::string const & mark, Names & names) {
      if (!line.starts_with(mark))
         return;
      std::istringstream words{line.substr(mark.size())};
      for (std::string word; words >> word;)
         if (!names.empty() && names.back() == "usb")
            names.back() += " " + word;
         else
            names.push_back(word);
   }
};

class KernelLinePoolTest : public testing::TestWithParam<char const *> {};

TEST_P(KernelLinePoolTest, NamesTheDeviceThatFailedAndNeverAHealthyOne) {
   Log const log{GetParam()};
   ASSERT_FALSE(log.lines.empty());
   ASSERT_FALSE(log.healthy.empty());
   Agent::KernelLineRewriter rewriter{
       [&log](std::string_view device) { return has(log.several, std::string{device}); }};
   Names named;
   for (std::string const & line : log.lines)
      if (std::string const device = deviceIn(rewriter.rewritten(line)); !device.empty()) {
         EXPECT_TRUE(has(log.failed, device) || device.starts_with("md")) << device << ": " << line;
         EXPECT_FALSE(has(log.healthy, device)) << line;
         named.push_back(device);
      }
   for (std::string const & device : log.failed)
      EXPECT_TRUE(has(named, device)) << device;
}

INSTANTIATE_TEST_SUITE_P(Kernel, KernelLinePoolTest,
                         testing::Values("btrfs-raid1", "btrfs-silent", "md-raid1-ext4", "lvm-xfs",
                                         "f2fs-two-devices", "fat-linear", "ext4-external-journal",
                                         "xfs-external-log", "xfs-realtime", "f2fs-silent", "xfs-late-log",
                                         "ext4-late-journal"),
                         [](auto const & log) {
                            std::string name = log.param;
                            std::replace(name.begin(), name.end(), '-', '_');
                            return name;
                         });

}  // namespace
