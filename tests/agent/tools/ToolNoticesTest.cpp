#include "agent/tools/ToolNotices.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <vector>

#include "runtime/Brul/PipedChildProcessSm.h"
#include "runtime/Vorn/Shortage.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

class ToolNoticesTest : public Support::VirtualTimeTest {
 protected:
   // Empty: it could be started.
   void ends(char const * tool, char const * startFailure) const {
      auto run = Pelm::make<Brul::FinishedRun>();
      run->argv = {tool, "/dev/sda"};
      run->exitCode = *startFailure ? 127 : 0;
      run->reason = startFailure;
      tracker->finishedRunIs(run);
   }
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
   std::vector<std::string> lines;
   Agent::ToolNotices notices{tracker, [this](int, std::string const & line) { lines.push_back(line); }};
};

TEST_F(ToolNoticesTest, ReportsAToolThatCannotBeStartedOnce) {
   ends("smartctl", "");
   EXPECT_TRUE(lines.empty());
   ends("smartctl", "no file");
   ends("smartctl", "no file");
   EXPECT_EQ(lines, std::vector<std::string>{
                        "smartctl cannot be started, so its readings fail until it can: no file"});
   ends("smartctl", "no process");
   ends("nvme", "no file");
   EXPECT_EQ(lines.size(), 3U);
}

TEST_F(ToolNoticesTest, ReportsAToolThatStartsAgainOnce) {
   ends("smartctl", "no process");
   lines.clear();
   ends("smartctl", "");
   ends("smartctl", "");
   EXPECT_EQ(lines, std::vector<std::string>{"smartctl can be started again"});
}

TEST_F(ToolNoticesTest, NamesTheShortageOfARunWithoutADescriptor) {
   rlimit before{};
   ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
   rlimit const none{0, before.rlim_max};
   auto const child = Brul::PipedChildProcessSm::PipedChildProcessSmIs(tracker);
   child->argPush("true");
   child->hasNotificationActiveIs(true);
   ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
   child->start(true, true);
   ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
   EXPECT_TRUE(eventually([&] { return !lines.empty(); }));
   EXPECT_EQ(lines.front(),
             "true cannot be started, so its readings fail until it can: " + Vorn::errorAndRemedy(EMFILE));
}

}  // namespace
