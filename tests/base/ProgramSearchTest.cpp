#include "base/ProgramSearch.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/TempDir.h"

namespace Base {
namespace {

TEST(ProgramSearchTest, SkipsEmptyAndRelativeFolders) {
   EXPECT_EQ(programsOnPath("nvme", ":/a:bin:.:/b/:"), (std::vector<std::string>{"/a/nvme", "/b//nvme"}));
   EXPECT_TRUE(programsOnPath("nvme", "").empty());
}

TEST(ProgramSearchTest, FindsTheFirstThatCanBeExecuted) {
   Support::TempDir const folder;
   std::string const path = folder.string() + "/none:" + folder.string() + "/folder:" + folder.string();
   std::filesystem::create_directories(folder.path() / "folder/tool");
   folder.write("tool", "no program yet");
   EXPECT_EQ(findProgram("tool", path), "");
   folder.writeScript("tool", "true");
   EXPECT_EQ(findProgram("tool", path), folder.string() + "/tool");
   EXPECT_EQ(findProgram("./tool", path), "./tool") << "a name with a slash is none to search for";
}

}  // namespace
}  // namespace Base
