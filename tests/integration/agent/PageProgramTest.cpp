// The page of the running program, in a browser that looks on.
#include <gtest/gtest.h>
#include <poll.h>

#include <filesystem>
#include <future>
#include <string>

#include "tests/integration/agent/AgentProgramTest.h"
#include "tests/support/RealTimeLimit.h"

namespace {

class PageProgramTest : public AgentProgramTest {
 protected:
   static constexpr char script[] = TEST_DATA_DIR "/../web/real.py";

   PageProgramTest() {
      config("http = \"127.0.0.1:29643\"\n", "poll_interval = 1\n");
      keyIs("history", "hours = 1");
   }

   void look() {
      browser =
          std::async(std::launch::async, [arguments = " http://127.0.0.1:29643/ SN-A " + folder.string()] {
             return shell(std::string{"env -u LD_PRELOAD /usr/bin/python3 "} + script + arguments);
          });
   }
   bool isSeen(char const * step) {
      Support::waitInRealTime(
          [&] {
             return std::filesystem::exists(folder.path() / step) ||
                    browser.wait_for(std::chrono::seconds{0}) == std::future_status::ready;
          },
          [] { poll(nullptr, 0, 20); }, std::chrono::seconds{60});
      return std::filesystem::exists(folder.path() / step);
   }

   Support::RealTimeLimit limit{std::chrono::seconds{150}};
   std::future<Output> browser;
};

TEST_F(PageProgramTest, ShowsAPulledDiskAndARestartWithItsHistory) {
   ASSERT_NO_FATAL_FAILURE(startSettled());
   look();
   ASSERT_TRUE(isSeen("disk")) << browser.get().text;
   unit.unplug("sda");
   ASSERT_TRUE(isSeen("pull")) << browser.get().text;
   ASSERT_TRUE(endsBy(SIGTERM));
   ASSERT_TRUE(isSeen("end")) << browser.get().text;
   addDrive("sda", 1, "SN-A");
   agent.reset();
   start();
   EXPECT_EQ(browser.get().text, "seen\n");
}

}  // namespace
