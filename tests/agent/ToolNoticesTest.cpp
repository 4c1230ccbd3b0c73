#include "agent/ToolNotices.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <vector>

#include "runtime/Brul/PipedChildProcessSm.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

class ToolNoticesTest : public Support::VirtualTimeTest {
 protected:
   void ends(char const * tool, int startError) const {
      auto run = Pelm::make<Brul::FinishedRun>();
      run->argv = {tool, "/dev/sda"};
      run->startError = startError;
      tracker->finishedRunIs(run);
   }
   void runForReal(std::vector<char const *> const & words) const {
      auto const child = Brul::PipedChildProcessSm::PipedChildProcessSmIs(tracker);
      for (char const * const word : words)
         child->argPush(word);
      child->hasNotificationActiveIs(true);
      child->start(true, true);
      EXPECT_TRUE(eventually([&] { return child->state() != Brul::PipedChildProcessSm::State::running; }));
   }

   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
   std::vector<std::string> lines;
   Agent::ToolNotices notices{tracker, [this](int, std::string const & line) { lines.push_back(line); }};
};

TEST_F(ToolNoticesTest, AToolThatCannotBeStartedIsReportedOnce) {
   ends("smartctl", 0);
   EXPECT_TRUE(lines.empty());
   ends("smartctl", ENOENT);
   ends("smartctl", ENOENT);
   EXPECT_EQ(lines, std::vector<std::string>{
                        "smartctl cannot be started, so its readings fail until it can: not found "
                        "or not executable"});
   ends("smartctl", EAGAIN);
   ends("nvme", ENOENT);
   EXPECT_EQ(lines.size(), 3U);
}

TEST_F(ToolNoticesTest, AToolThatStartsAgainIsReportedOnce) {
   ends("smartctl", EAGAIN);
   lines.clear();
   ends("smartctl", 0);
   ends("smartctl", 0);
   EXPECT_EQ(lines, std::vector<std::string>{"smartctl can be started again"});
}

TEST_F(ToolNoticesTest, ARunWithoutADescriptorToSpareSaysWhatIsMissing) {
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
             "true cannot be started, so its readings fail until it can: Too many open files; the process "
             "has as many descriptors as it may: raise the limit with ulimit -n or LimitNOFILE= of the "
             "systemd unit");
}

TEST_F(ToolNoticesTest, ARunThatWroteTooMuchIsMarked) {
   runForReal({"head", "-c", "5000000", "/dev/zero"});
   ASSERT_TRUE(tracker->finishedRun());
   EXPECT_TRUE(tracker->finishedRun()->overflowed);
   runForReal({"true"});
   EXPECT_FALSE(tracker->finishedRun()->overflowed);
   EXPECT_TRUE(lines.empty());
}

}  // namespace
