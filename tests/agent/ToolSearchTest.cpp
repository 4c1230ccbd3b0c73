#include "agent/ToolSearch.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/TempDir.h"

namespace Agent {
namespace {

class ToolSearchTest : public testing::Test {
 protected:
   // An executable in a folder of the test's own; the folder.
   std::string programIn(char const * name, char const * program) const {
      std::filesystem::create_directories(folder.path() / name);
      folder.scriptIs(std::string{name} + "/" + program, "exit 0\n");
      return (folder.path() / name).string();
   }

   Support::TempDir folder;
};

TEST_F(ToolSearchTest, TheFirstFolderThatHasTheProgramCounts) {
   std::string const first = programIn("first", "nvme");
   std::string const second = programIn("second", "nvme");
   programIn("second", "hdparm");
   EXPECT_EQ(findTool("nvme", first + ":" + second), first + "/nvme");
   EXPECT_EQ(findTool("hdparm", first + ":" + second), second + "/hdparm");
   EXPECT_EQ(findTool("smartctl", first + ":" + second), "");
}

TEST_F(ToolSearchTest, WhatCannotBeRunIsNoTool) {
   std::filesystem::create_directories(folder.path() / "bin/nvme");
   folder.fileIs("hdparm", "text");
   EXPECT_EQ(findTool("nvme", folder.string() + "/bin"), "");
   EXPECT_EQ(findTool("hdparm", folder.string()), "");
   EXPECT_EQ(findTool("hdparm", ""), "");
   EXPECT_EQ(findTool("hdparm", "::"), "");
}

TEST_F(ToolSearchTest, EachToolIsToldOrWhatIsMissedWithoutIt) {
   std::string const bin = programIn("bin", "smartctl");
   EXPECT_EQ(toolsText(bin),
             "hdparm: neither on tools.path nor on PATH: SATA disks stay unidentified\n"
             "nvme: neither on tools.path nor on PATH: NVMe drives stay unidentified and "
             "their smart log is not read\n"
             "smartctl: " +
                 bin + "/smartctl\n");
}

}  // namespace
}  // namespace Agent
