// Clients that are odd, slow or silent, each on a connection of its own. Time is virtual.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "agent/serve/Http.h"
#include "base/UniqueFd.h"
#include "runtime/Vorn/Shortage.h"
#include "tests/support/HttpExchange.h"
#include "tests/support/ProcessState.h"
#include "tests/support/TempDir.h"
#include "tests/support/VirtualTimeTest.h"

namespace Agent {
namespace {

using Support::HttpExchange;

constexpr char request[] = "GET /x HTTP/1.1\r\nHost: x\r\n\r\n";

class Endless final : public Document {
 public:
   std::string_view next() override { return piece_; }

 private:
   std::string piece_ = std::string(1000, 'x');
};

class HttpConnectionTest : public Support::VirtualTimeTest {
 protected:
   // Whether the server ends the client's connection in this time.
   static bool endsWithin(HttpExchange & client, Vorn::Seconds span) {
      return eventually([&] { return client.readSome(); }, span);
   }
   static void readAll(HttpExchange & client) {
      for (std::size_t before = SIZE_MAX; before != client.text().size();) {
         before = client.text().size();
         client.readSome();
      }
   }

   Support::TempDir folder;
   std::string path = folder.string() + "/status.sock";
   std::function<HttpAnswer()> answer = [] { return HttpAnswer{200, "text/x-test", "whole"}; };
   std::vector<std::string> notices;
   HttpServer server{
       ListenSocket::atPath(path),
       [this](HttpRequest const &) { return answer(); },
       {.address = {}, .notice = [this](std::string const & text) { notices.push_back(text); }}};
};

TEST_F(HttpConnectionTest, EndsASilentClientAfterFiveSeconds) {
   HttpExchange client{path, ""};
   EXPECT_FALSE(endsWithin(client, 4.9));
   EXPECT_TRUE(endsWithin(client, 0.2));
}

TEST_F(HttpConnectionTest, EndsARequestThatTricklesAfterFiveSeconds) {
   HttpExchange client{path, "GET /x HTTP/1.1\r\nHost: "};
   for (int second = 0; second < 4; ++second) {
      client.more("x");
      EXPECT_FALSE(endsWithin(client, 1));
   }
   client.more("x");
   EXPECT_TRUE(endsWithin(client, 1.1));
   EXPECT_EQ(client.text(), "");
}

TEST_F(HttpConnectionTest, AllowsAReaderToRestForFiveSecondsAndNoLonger) {
   answer = [] { return HttpAnswer{200, "text/x-test", {}, std::make_unique<Endless>()}; };
   HttpExchange client{path, request};
   for (int rests = 0; rests < 3; ++rests) {
      std::size_t const before = client.text().size();
      Vorn::Host::runFor(4.5);
      readAll(client);
      EXPECT_GT(client.text().size(), before);
   }
   Vorn::Host::runFor(5.1);
   readAll(client);
   EXPECT_TRUE(client.readSome());
}

TEST_F(HttpConnectionTest, EndsAnAnsweredClientThatStaysAfterASecond) {
   HttpExchange client{path, request};
   ASSERT_TRUE(endsWithin(client, 0.1));
   client.more("x");
   Vorn::Host::runFor(1.1);
   EXPECT_FALSE(client.isAccepted("x"));
}

TEST_F(HttpConnectionTest, AnswersAClientThatHasEndedItsHalf) {
   answer = [] { return HttpAnswer{200, "text/x-test", std::string(1000000, 'x')}; };
   HttpExchange client{path, request};
   client.endSending();
   ASSERT_TRUE(endsWithin(client, 0.1));
   EXPECT_TRUE(client.text().ends_with("\r\n\r\n" + std::string(1000000, 'x')));
}

TEST_F(HttpConnectionTest, DeliversTheAnswerOfARequestWithALongBodyWithoutAReset) {
   answer = [] { return HttpAnswer{200, "text/x-test", std::string(1000000, 'x')}; };
   HttpExchange client{path, "GET /x HTTP/1.1\r\nHost: x\r\nContent-Length: 100000\r\n\r\n"};
   client.more(std::string(100000, 'b'));
   ASSERT_TRUE(endsWithin(client, 0.1));
   EXPECT_FALSE(client.wasReset());
   EXPECT_TRUE(client.text().ends_with(std::string(1000000, 'x')));
}

TEST_F(HttpConnectionTest, EndsTheOldestClientWhereAllHaveSentEquallyLittle) {
   std::vector<std::unique_ptr<HttpExchange>> crowd;
   for (std::size_t i = 0; i < HttpClients::places + 2; ++i) {
      crowd.push_back(std::make_unique<HttpExchange>(path, "GET "));
      Vorn::Host::runFor(0.01);
   }
   for (std::size_t i = 0; i < crowd.size(); ++i)
      EXPECT_EQ(crowd[i]->readSome(), i < 2) << i;
}

TEST_F(HttpConnectionTest, SendsOneHeadAndItsEndPerRequest) {
   for (char const * const field :
        {"Content-Length: 99999999999999999999999999", "Content-Length: -5", "Content-Length: x",
         "Content-Length: 5\r\nContent-Length: 6", "Content-Length: 5\r\nTransfer-Encoding: chunked",
         "A: b\r\n c", "A: b\nC: d", "A : b", "Expect: 100-continue", "Connection: keep-alive"}) {
      for (std::string const method : {"GET", "POST"}) {
         HttpExchange client{
             path, method + " /x HTTP/1.1\r\nHost: x\r\n" + field + "\r\n\r\nGET /x HTTP/1.1\r\n\r\n"};
         EXPECT_TRUE(endsWithin(client, 0.1)) << field;
         EXPECT_TRUE(client.text().starts_with("HTTP/1.1 ")) << field;
         EXPECT_EQ(client.text().rfind("HTTP/1.1"), 0U) << field << client.text();
      }
   }
}

TEST_F(HttpConnectionTest, RefusesTargetsThatAreNoPath) {
   for (std::string const line : {"GET http://localhost/x", "GET *", "HEAD x:1"}) {
      HttpExchange client{path, line + " HTTP/1.1\r\nHost: x\r\n\r\n"};
      EXPECT_TRUE(endsWithin(client, 0.1));
      EXPECT_TRUE(client.text().starts_with("HTTP/1.1 400 ")) << client.text();
   }
}

// The number that the next descriptor gets.
unsigned nextDescriptor() {
   return static_cast<unsigned>(Base::UniqueFd{dup(0)}.get());
}

TEST_F(HttpConnectionTest, RefusesAClientWithTheReasonWhenDescriptorsAreScarce) {
   HttpExchange first{path, request};
   HttpExchange second{path, request};
   {
      Support::DescriptorLimit const none{0};
      EXPECT_TRUE(endsWithin(first, 0.05));
      EXPECT_TRUE(endsWithin(second, 0.05));
   }
   EXPECT_TRUE(first.text().starts_with("HTTP/1.1 503 ")) << first.text();
   EXPECT_TRUE(second.text().ends_with("no descriptor for another client; ask again later\n"));
   ASSERT_EQ(notices.size(), 1U);
   EXPECT_EQ(notices[0], "status: a client cannot be accepted: " + Vorn::errorAndRemedy(EMFILE));
   HttpExchange third{path, request};
   EXPECT_TRUE(endsWithin(third, 0.05));
   EXPECT_TRUE(third.text().ends_with("whole"));
}

TEST_F(HttpConnectionTest, RestsBetweenAttemptsWhereEvenTheSpareDescriptorAdmitsNobody) {
   HttpExchange client{path, request};
   Vorn::Seconds const start = Vorn::System::currentTime();
   rlimit before{};
   ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
   rlimit const none{0, before.rlim_max};  // the number of the spare one is beyond it too
   ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
   for (int turns = 0; turns < 20; ++turns)
      Vorn::Host::turn();
   ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
   EXPECT_GT(Vorn::System::currentTime(), start) << "time moves only while the loop rests";
   EXPECT_EQ(notices.size(), 1U);
   EXPECT_TRUE(endsWithin(client, 0.2));
   EXPECT_TRUE(client.text().ends_with("whole")) << client.text();
   Vorn::Host::runFor(1.1);  // that one is gone
   HttpExchange refused{path, request};
   Support::DescriptorLimit const full{0};
   EXPECT_TRUE(endsWithin(refused, 0.05)) << "it has a spare descriptor again";
   EXPECT_TRUE(refused.text().starts_with("HTTP/1.1 503 ")) << refused.text();
}

TEST_F(HttpConnectionTest, LeavesAThirdOfTheDescriptorsToOthersInACrowd) {
   std::vector<std::unique_ptr<HttpExchange>> crowd;
   crowd.reserve(60);
   for (int i = 0; i < 60; ++i)
      crowd.push_back(std::make_unique<HttpExchange>(path, i % 2 == 0 ? "GET " : request));
   std::size_t const before = Support::openDescriptors().size();
   constexpr unsigned places = 5;
   unsigned const next = nextDescriptor();
   Support::DescriptorLimit const limit{(next + places) * 3 / 2 - next};
   Vorn::Host::runFor(0.1);
   EXPECT_LE(Support::openDescriptors().size(), before + places + 1);
   EXPECT_TRUE(crowd.front()->readSome());
   readAll(*crowd.back());
   EXPECT_TRUE(crowd.back()->text().ends_with("whole"));
}

TEST_F(HttpConnectionTest, EndsTheOldestClientWhenDescriptorsAreScarce) {
   HttpExchange silent{path, "GET "};
   Vorn::Host::runFor(0.01);
   HttpExchange client{path, request};
   {
      Support::DescriptorLimit const none{0};
      EXPECT_TRUE(endsWithin(client, 0.05));
   }
   EXPECT_TRUE(client.text().ends_with("whole")) << client.text();
   EXPECT_TRUE(silent.readSome());
}

}  // namespace
}  // namespace Agent
