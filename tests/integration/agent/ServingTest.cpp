// What browsers and other followers get of the running program: the page, and the stream of events.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "tests/integration/agent/AgentProgramTest.h"
#include "tests/integration/agent/Follower.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

class ServingTest : public AgentProgramTest {
 protected:
   static constexpr char page[] = "http://127.0.0.1:29641";

   // The number of messages so far.
   std::size_t logged() {
      rapidjson::Document messages;
      messages.Parse(Command::askAgent(socket, "/api/v1/messages").c_str());
      return messages["messages"].Size();
   }
   // Another message: that the drive was pulled.
   void pull() {
      std::size_t const before = logged();
      unit.unplug("sda");
      ASSERT_TRUE(waitInRealTime([&] { return logged() > before; })) << log;
   }
   void plugAgain() {
      unit.plug(StorageDevices::Simulation::sataDisk("sda", 1, "UDEV-SN-A", "Test Disk", 500118192));
      ASSERT_TRUE(waitInRealTime([&] { return has("SN-A"); })) << log;
   }
};

TEST_F(ServingTest, ServesThePageToBrowsersOfThisMachine) {
   config("http = \"127.0.0.1:29641\"\n");
   start();
   std::string const answer = shell(std::string{"curl -s -D - "} + page + "/").text;
   std::string const index = Support::fileContent(TEST_DATA_DIR "/../../web/index.html");
   EXPECT_TRUE(answer.starts_with("HTTP/1.1 200 OK\r\n")) << answer;
   EXPECT_TRUE(answer.ends_with("\r\n\r\n" + index));
   for (char const * const field : {"Content-Type: text/html; charset=utf-8", "Cache-Control: no-store",
                                    "X-Content-Type-Options: nosniff",
                                    "Content-Security-Policy: default-src 'none'; script-src 'self';"})
      EXPECT_NE(answer.find(std::string{"\r\n"} + field), std::string::npos) << field;
   std::string const script = shell(std::string{"curl -s "} + page + "/dygraphs/dygraph.min.js | cksum").text;
   EXPECT_EQ(script, shell("cksum < /usr/share/javascript/dygraphs/dygraph.min.js").text);
   std::string const head = shell(std::string{"curl -s -I "} + page + "/main.js").text;
   EXPECT_NE(head.find("\r\nContent-Length: "), std::string::npos) << head;
   EXPECT_TRUE(head.ends_with("\r\n\r\n"));
   EXPECT_EQ(shell(std::string{"curl -s -H 'Host: evil.example' "} + page + "/").text,
             "the Host of the request is neither this machine nor the address that is served\n");
   EXPECT_EQ(shell(std::string{"curl -s -X POST "} + page + "/").text, "only GET and HEAD are served here\n");
   EXPECT_TRUE(
       shell(std::string{"curl -s "} + page + "/etc/passwd").text.starts_with("not served here; try /, "));
}

TEST_F(ServingTest, RefusesToResumeEventsAfterSomethingThatIsNoNumber) {
   start();
   for (char const * const field :
        {"Last-Event-ID: x", "Last-Event-ID: -1", "Last-Event-ID: 18446744073709551616"}) {
      Follower follower{socket, std::string{field} + "\r\n"};
      EXPECT_TRUE(waitInRealTime([&] { return follower.has("must be a whole number"); })) << follower.text();
      EXPECT_TRUE(follower.text().starts_with("HTTP/1.1 400 ")) << field;
   }
   Follower follower{socket, "Last-Event-ID:\r\n"};
   EXPECT_TRUE(waitInRealTime([&] { return follower.has("\n:\n\n"); })) << follower.text();
   EXPECT_TRUE(follower.text().starts_with("HTTP/1.1 200 "));
}

TEST_F(ServingTest, TellsEachMessageOnceThroughABreak) {
   ASSERT_NO_FATAL_FAILURE(startSettled());
   int last = 0;
   std::vector<int> told;
   for (int round = 0; round < 3; ++round) {
      Follower follower{socket, "Last-Event-ID: " + std::to_string(last) + "\r\n"};
      ASSERT_NO_FATAL_FAILURE(pull());
      ASSERT_TRUE(waitInRealTime([&] { return follower.ids().size() + told.size() >= logged(); }))
          << follower.text();
      for (int const id : follower.ids())
         told.push_back(last = id);
      EXPECT_TRUE(waitInRealTime([&] { return follower.has(R"("serial":"SN-A","verdict":"absent")"); }))
          << follower.text();
      ASSERT_NO_FATAL_FAILURE(plugAgain());
   }
   Follower late{socket, "Last-Event-ID: " + std::to_string(last) + "\r\n"};
   ASSERT_NO_FATAL_FAILURE(pull());
   ASSERT_TRUE(waitInRealTime([&] { return !late.ids().empty(); })) << late.text();
   std::vector<int> expected;
   for (std::size_t i = 1; i <= told.size(); ++i)
      expected.push_back(static_cast<int>(i));
   EXPECT_EQ(told, expected);
   EXPECT_EQ(late.ids().front(), last + 1);
}

TEST_F(ServingTest, TellsOfTheStateInRealSecondsWhateverTheClock) {
   config("[clock]\ntime_scale = 100\n", "poll_interval = 1\n");
   start();
   Follower follower{socket};
   auto const awaitStates = [&](std::size_t count) {
      return waitInRealTime([&] { return follower.count("event: state\n") >= count; });
   };
   ASSERT_TRUE(awaitStates(1)) << log;
   auto const first = Clock::now();
   ASSERT_TRUE(awaitStates(3)) << log;
   EXPECT_GT(Clock::now() - first, 1800ms);
   EXPECT_TRUE(follower.has(R"(data: {"changed":["SN-A"]})")) << follower.text();
   EXPECT_LE(follower.count("\n:\n"), 2U) << "a comment every 15 seconds";
}

#ifndef STORAGEDEVICES_SANITIZED  // sanitizers take memory of their own
TEST_F(ServingTest, KeepsFollowersThatWaitForLittleMemory) {
   start();
   ASSERT_TRUE(waitInRealTime([&] { return has("SN-A"); })) << log;
   long const alone = residentKilobytes();
   std::vector<std::unique_ptr<Follower>> crowd;
   std::generate_n(std::back_inserter(crowd), 60, [&] { return std::make_unique<Follower>(socket); });
   ASSERT_TRUE(waitInRealTime([&] { return crowd.back()->has(":\n\n"); })) << log;
   std::cout << "60 followers: " << residentKilobytes() - alone << " kB\n";
   EXPECT_LT(residentKilobytes() - alone, 600);
}
#endif

}  // namespace
