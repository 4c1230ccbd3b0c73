#include "command/machine/ToolSearch.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "runtime/Vorn/Process.h"
#include "tests/support/TempDir.h"

namespace Command {
namespace {

class ToolSearchTest : public testing::Test {
 protected:
   // An executable in a folder of the test's own; the folder.
   std::string programIn(char const * name, char const * program) const {
      std::filesystem::create_directories(folder.path() / name);
      folder.writeScript(std::string{name} + "/" + program, "exit 0\n");
      return (folder.path() / name).string();
   }

   ToolSearchTest() { setenv("PATH", "/nowhere", 1); }
   ~ToolSearchTest() override { setenv("PATH", path.c_str(), 1); }

   std::string path = std::getenv("PATH");
   Support::TempDir folder;
};

TEST_F(ToolSearchTest, NamesEachToolOrTheLossWithoutIt) {
   std::string const bin = programIn("bin", "smartctl");
   EXPECT_EQ(toolsText(bin),
             "hdparm: neither on tools.path nor on PATH: SATA disks stay unidentified\n"
             "nvme: neither on tools.path nor on PATH: NVMe drives stay unidentified and "
             "their smart log is not read\n"
             "smartctl: " +
                 bin + "/smartctl\n");
}

// As a run finds them, which a list of its own would not do for long.
TEST_F(ToolSearchTest, FindsToolsWhereTheyAreRun) {
   std::string const first = programIn("first", "nvme");
   std::string const second = programIn("second", "nvme");
   programIn("second", "hdparm");
   folder.write("first/hdparm", "no program");
   std::filesystem::create_directories(folder.path() / "first/smartctl");
   setenv("PATH", ("relative::" + second).c_str(), 1);
   std::string const text = toolsText(first);
   EXPECT_NE(text.find("hdparm: " + second + "/hdparm\n"), std::string::npos) << text;
   EXPECT_NE(text.find("nvme: " + first + "/nvme\n"), std::string::npos) << text;
   EXPECT_NE(text.find("smartctl: neither on"), std::string::npos) << text;
   programIn("second", "smartctl");
   EXPECT_NE(toolsText("").find("smartctl: " + second + "/smartctl\n"), std::string::npos);
}

TEST_F(ToolSearchTest, SearchesTheUsualDirectoriesWithoutAPath) {
   unsetenv("PATH");
   EXPECT_EQ(Vorn::programPath("sh", {}).substr(0, 1), "/");
   EXPECT_EQ(Vorn::programPath("no-such-program", {}), "");
}

}  // namespace
}  // namespace Command
