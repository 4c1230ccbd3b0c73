// The demo as an operator runs it: the whole story, and its end by a signal.

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "StorageDevices/LogCatalogue.h"
#include "demo/AgentProcess.h"
#include "demo/Story.h"
#include "tests/support/RealTimeLimit.h"
#include "tests/support/TempDir.h"

namespace {

using Demo::AgentProcess;

class DemoProgramTest : public testing::Test {
 protected:
   // Reads lines up to one that contains the text, or to the end.
   bool reads(std::string_view wanted) {
      while (demo.outputDescriptor() >= 0) {
         pollfd entry{demo.outputDescriptor(), POLLIN, 0};
         poll(&entry, 1, 10000);
         for (std::string const & line : demo.lines()) {
            output += line + "\n";
            if (!wanted.empty() && line.find(wanted) != std::string::npos)
               return true;
         }
      }
      return false;
   }
   bool hasLine(std::string const & line) const {
      return output.find("\n" + line + "\n") != std::string::npos;
   }
   std::size_t leftovers() const {
      return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator{folder.path()}, {}));
   }

   Support::TempDir folder;
   AgentProcess demo{DEMO_PROGRAM, {"--agent", AGENT_PROGRAM}, {{"TMPDIR", folder.string()}}};
   std::string output;
};

TEST_F(DemoProgramTest, PlaysTheWholeStoryInWhichEveryMessageComes) {
   Support::RealTimeLimit const limit{std::chrono::minutes{2}};
   auto const start = std::chrono::steady_clock::now();
   reads("");
   EXPECT_EQ(demo.stop(), "exit code 0") << output;
   EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
   EXPECT_TRUE(hasLine("10 of the 10 messages were logged:"));
   for (auto const & descriptor : StorageDevices::Catalogue::all) {
      EXPECT_NE(output.find(std::string(" ") + descriptor.name + ": "), std::string::npos) << descriptor.name;
      EXPECT_FALSE(hasLine(std::string("     0  ") + descriptor.name));
   }
   auto const steps = std::to_string(Demo::story().size());
   EXPECT_NE(output.find(", " + steps + " of " + steps + " steps seen in "), std::string::npos);
   EXPECT_EQ(leftovers(), 0U);
}

TEST_F(DemoProgramTest, EndsAtASignalAndLeavesNothing) {
   ASSERT_TRUE(reads("seen after")) << output;
   EXPECT_EQ(leftovers(), 1U);
   EXPECT_EQ(demo.stop(), "exit code 1") << output;
   EXPECT_EQ(leftovers(), 0U);
}

// What the demo says on standard error with that folder for its files.
std::string complaintOf(std::string const & folder) {
   std::string const command = "TMPDIR=" + folder + " " DEMO_PROGRAM " --agent /bin/false 2>&1 >/dev/null";
   std::unique_ptr<FILE, int (*)(FILE *)> const pipe{popen(command.c_str(), "r"), pclose};
   std::array<char, 1024> text{};
   return {text.data(), std::fread(text.data(), 1, text.size(), pipe.get())};
}

TEST(DemoProgramUsageTest, ReportsWrongUsageInALineOnStandardError) {
   Support::TempDir const folder;
   EXPECT_EQ(complaintOf(folder.string()), "storagedevices-demo: the agent ended by itself: exit code 1\n");
   std::string const deep = folder.string() + "/" + std::string(70, 'd');
   std::filesystem::create_directory(deep);
   EXPECT_EQ(complaintOf(deep), "storagedevices-demo: " + deep +
                                    " is too long for a socket's path: set TMPDIR to a shorter folder\n");
}

}  // namespace
