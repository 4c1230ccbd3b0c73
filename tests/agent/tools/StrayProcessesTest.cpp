#include "agent/tools/StrayProcesses.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <memory>
#include <string>

#include "agent/tools/ChildList.h"
#include "runtime/Brul/PipedChildProcessSm.h"
#include "tests/support/TempDir.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

using Brul::PipedChildProcessSm;

class StrayProcessesTest : public Support::VirtualTimeTest {
 protected:
   // A run of a shell script.
   Pelm::Ptr<PipedChildProcessSm> run(std::string const & script) const {
      auto child = PipedChildProcessSm::PipedChildProcessSmIs(tracker);
      for (char const * const word : {"sh", "-c", script.c_str()})
         child->argPush(word);
      child->hasNotificationActiveIs(true);
      child->start(true, true);
      return child;
   }
   // A script that writes its process number to a file and continues in the same process.
   std::string numbered(std::string const & file, std::string const & process) const {
      std::string const path = folder.string() + "/" + file;
      return "echo $$ >" + path + ".new; mv " + path + ".new " + path + "; " + process;
   }
   std::string awaiting(std::string const & file) const {
      return "while [ ! -e " + folder.string() + "/" + file + " ]; do sleep 0.01; done; ";
   }
   // A script that leaves an orphan in a session of its own and writes that process's number to a file.
   std::string leaving(std::string const & file, std::string const & process = "exec sleep 1000") const {
      return "(setsid sh -c '" + numbered(file, process) + "' </dev/null >/dev/null 2>&1 &); " +
             awaiting(file) + "echo; ";
   }
   pid_t pidIn(std::string const & file) const {
      std::string const text = folder.content(file);
      return text.empty() ? 0 : std::stoi(text);
   }
   static bool lives(pid_t pid) { return pid > 0 && kill(pid, 0) == 0; }
   static bool isOver(Pelm::Ptr<PipedChildProcessSm> const & child) {
      return child->state() == PipedChildProcessSm::State::finished ||
             child->state() == PipedChildProcessSm::State::failed;
   }

   Support::TempDir folder;
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
   std::unique_ptr<Agent::StrayProcesses> strays = std::make_unique<Agent::StrayProcesses>(tracker);
};

TEST_F(StrayProcessesTest, EndsAndReapsAProcessThatLeftItsGroupWithItsRun) {
   auto const child = run(leaving("stray") + "true");
   ASSERT_TRUE(eventually([&] { return isOver(child); }));
   ASSERT_GT(pidIn("stray"), 0);
   EXPECT_TRUE(eventually([&] { return Agent::children().empty(); }));
   EXPECT_FALSE(lives(pidIn("stray")));
}

TEST_F(StrayProcessesTest, EndsAWholeTree) {
   auto const parent = folder.writeScript("parent.sh", leaving("child") + "exec sleep 1000");
   auto const child = run(leaving("parent", "exec " + parent.string()) + awaiting("child"));
   ASSERT_TRUE(eventually([&] { return pidIn("child") > 0 && isOver(child); }));
   EXPECT_TRUE(eventually([&] { return Agent::children().empty(); }));
   EXPECT_FALSE(lives(pidIn("parent")) || lives(pidIn("child")));
}

TEST_F(StrayProcessesTest, EndsTheChildOfAStrayRightAfterItsParent) {
   auto const child = folder.writeScript("child.sh", numbered("child", "exec sleep 1000"));
   auto const parent = folder.writeScript("parent.sh", child.string() + " & wait");
   auto const tool = run(leaving("parent", "exec " + parent.string()) + awaiting("child"));
   ASSERT_TRUE(eventually([&] { return isOver(tool); }));
   ASSERT_TRUE(lives(pidIn("child"))) << "its parent has it still";
   Vorn::Seconds const over = Vorn::System::currentTime();
   EXPECT_TRUE(eventually([&] { return Agent::children().empty(); }));
   EXPECT_FALSE(lives(pidIn("parent")) || lives(pidIn("child")));
   EXPECT_LT(Vorn::System::currentTime() - over, 1);
}

TEST_F(StrayProcessesTest, KeepsProcessesThatARunUnderWayMayNeed) {
   std::string const fifo = folder.string() + "/fifo";
   ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
   auto const longer = run(leaving("stray") + "read line <" + fifo);
   ASSERT_TRUE(eventually([&] { return pidIn("stray") > 0; }));
   auto const other = run("true");
   ASSERT_TRUE(eventually([&] { return isOver(other); }));
   EXPECT_EQ(tracker->orphans(), 0U) << "it was killed";
   EXPECT_TRUE(lives(pidIn("stray")));
   close(open(fifo.c_str(), O_WRONLY));
   ASSERT_TRUE(eventually([&] { return isOver(longer); }));
   EXPECT_TRUE(eventually([&] { return !lives(pidIn("stray")); }));
}

TEST_F(StrayProcessesTest, EndsProcessesOfADroppedRunToo) {
   auto child = run(leaving("stray") + "exec sleep 1000");
   ASSERT_TRUE(eventually([&] { return pidIn("stray") > 0; }));
   child = nullptr;
   EXPECT_TRUE(eventually([&] { return Agent::children().empty(); }));
   EXPECT_FALSE(lives(pidIn("stray")));
}

TEST_F(StrayProcessesTest, LeavesNothingWhenItEnds) {
   auto const child = run(leaving("stray") + "exec sleep 1000");
   ASSERT_TRUE(eventually([&] { return pidIn("stray") > 0; }));
   strays.reset();
   EXPECT_TRUE(Agent::children().empty());
   EXPECT_FALSE(lives(pidIn("stray")));
}

}  // namespace
