#include "agent/serve/Http.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "runtime/host/Loop.h"
#include "tests/support/HttpExchange.h"
#include "tests/support/RandomSeed.h"
#include "tests/support/TempDir.h"

namespace {

using Support::HttpExchange;
using Support::httpGet;

class HttpTest : public testing::Test {
 protected:
   HttpTest() {
      server = std::make_unique<Agent::HttpServer>(
          Agent::ListenSocket::atPath(path), [this](Agent::HttpRequest const & request) {
             paths.push_back(request.path);
             lastEventId = request.lastEventId;
             if (request.path == "/raise")
                throw std::runtime_error{"no such luck"};
             char const * const n = request.argument("n");
             return Agent::HttpAnswer{200, "text/x-test", n ? n : "none"};
          });
   }

   Support::TempDir folder;
   std::string path = folder.string() + "/status.sock";
   std::unique_ptr<Agent::HttpServer> server;
   std::vector<std::string> paths;
   std::string lastEventId;
};

std::string body(std::string const & answer) {
   std::size_t const at = answer.find("\r\n\r\n");
   return at == std::string::npos ? "(no body)" : answer.substr(at + 4);
}

TEST_F(HttpTest, AnswersGetWithTheHandlersStatusTypeAndBody) {
   std::string const answer = httpGet(path, "/a%20b?n=7");
   EXPECT_TRUE(answer.starts_with("HTTP/1.1 200"));
   EXPECT_NE(answer.find("Content-Type: text/x-test\r\n"), std::string::npos);
   EXPECT_EQ(body(answer), "7");
   EXPECT_EQ(paths, std::vector<std::string>{"/a b"});
}

TEST_F(HttpTest, AnswersNullForAMissingArgument) {
   EXPECT_EQ(body(httpGet(path, "/x?m=1")), "none");
}

TEST_F(HttpTest, PassesTheLastEventOfAStreamsReaderOn) {
   HttpExchange{path, "GET /x HTTP/1.0\r\nLast-Event-ID: 17\r\n\r\n"}.answer();
   EXPECT_EQ(lastEventId, "17");
   httpGet(path, "/x?after=1");
   EXPECT_EQ(lastEventId, "");
}

TEST_F(HttpTest, AnswersHeadWithoutABody) {
   std::string const answer = HttpExchange{path, "HEAD /x HTTP/1.0\r\n\r\n"}.answer();
   EXPECT_NE(answer.find("200"), std::string::npos);
   EXPECT_EQ(body(answer), "");
}

TEST_F(HttpTest, RefusesOtherMethodsWithoutAskingTheHandler) {
   std::string const answer =
       HttpExchange{path,
                    "POST /x HTTP/1.1\r\nHost: x\r\nConnection: close\r\nContent-Length: 5\r\n\r\nhello"}
           .answer();
   EXPECT_TRUE(answer.starts_with("HTTP/1.1 405"));
   EXPECT_NE(answer.find("Allow: GET, HEAD\r\n"), std::string::npos);
   EXPECT_TRUE(paths.empty());
}

TEST_F(HttpTest, AnswersAnErrorForAHandlerThatRaisesAndLives) {
   EXPECT_TRUE(httpGet(path, "/raise").starts_with("HTTP/1.1 500"));
   EXPECT_TRUE(httpGet(path, "/x").starts_with("HTTP/1.1 200"));
}

TEST_F(HttpTest, EndsOnlyTheConnectionThatSendsRubbish) {
   std::string rubbish(100000, '\xff');
   rubbish += '\0';
   HttpExchange{path, rubbish}.answer();
   HttpExchange{path, "GET " + std::string(200000, 'a') + " HTTP/1.1\r\n\r\n"}.answer();
   EXPECT_TRUE(httpGet(path, "/x").starts_with("HTTP/1.1 200"));
}

TEST_F(HttpTest, ServesOthersBesideClientsThatSayNothing) {
   std::vector<std::unique_ptr<HttpExchange>> idle(40);
   for (auto & exchange : idle)
      exchange = std::make_unique<HttpExchange>(path, "GET ");
   EXPECT_TRUE(httpGet(path, "/x").starts_with("HTTP/1.1 200"));
}

TEST_F(HttpTest, ServesOthersOnceClientsThatFilledItLeave) {
   std::vector<std::unique_ptr<HttpExchange>> idle;
   for (int i = 0; i < 100; ++i) {
      idle.push_back(std::make_unique<HttpExchange>(path, "GET "));
      Vorn::Host::turn(0);  // the socket's own queue is shorter
   }
   idle.clear();
   while (Vorn::Host::turn(0) == Vorn::Host::Turn::worked)
      continue;
   EXPECT_TRUE(httpGet(path, "/x").starts_with("HTTP/1.1 200"));
}

TEST_F(HttpTest, ServesEverybodyBesideACrowdThatSaysNothing) {
   std::vector<std::unique_ptr<HttpExchange>> crowd;
   for (int i = 0; i < 300; ++i) {
      crowd.push_back(std::make_unique<HttpExchange>(path, i % 2 == 0 ? "" : "GET /x HTTP/1.1\r\nHost: "));
      Vorn::Host::turn(0);  // the socket's own queue is shorter
   }
   for (int i = 0; i < 20; ++i)
      EXPECT_TRUE(httpGet(path, "/x").starts_with("HTTP/1.1 200")) << i;
   EXPECT_GT(
       std::count_if(crowd.begin(), crowd.end(), [](auto const & client) { return client->readSome(); }),
       200);
}

TEST_F(HttpTest, DistinguishesAPathWithANulByteFromThePathBeforeIt) {
   httpGet(path, "/x%00y?n=1");
   EXPECT_EQ(paths, std::vector<std::string>{"/x%00y"});
   EXPECT_EQ(body(httpGet(path, "/x?n=7%00")), "7%00");
}

TEST_F(HttpTest, RefusesTooManyArgumentsAtOnce) {
   for (int const count : {100, 1000, 1500, 10000}) {
      std::string resource = "/x?n=1";
      for (int i = 0; i < count; ++i)
         resource += "&a";
      std::string const answer = httpGet(path, resource);
      EXPECT_TRUE(answer.starts_with("HTTP/1.1 414")) << count << answer;
      EXPECT_EQ(answer.find("HTTP/1.1", 1), std::string::npos) << answer;
   }
}

TEST_F(HttpTest, ServesEverybodyBesideClientsThatTrickle) {
   std::vector<std::unique_ptr<HttpExchange>> trickling;
   for (int i = 0; i < 100; ++i) {  // as many as there are places, and more that wait for one
      trickling.push_back(std::make_unique<HttpExchange>(path, "GET /"));
      Vorn::Host::turn(0);
   }
   HttpExchange asking{path, "GET /x HTTP/1.1\r\nHost: x\r\n\r\n"};
   Vorn::Seconds const start = Vorn::System::currentTime();
   while (!asking.readSome() && Vorn::System::currentTime() < start + 4) {
      for (auto const & client : trickling)
         client->more("x");
      Vorn::Host::turn(0.01);
   }
   EXPECT_TRUE(asking.text().starts_with("HTTP/1.1 200")) << asking.text();
   EXPECT_LT(Vorn::System::currentTime() - start, 3);
}

TEST_F(HttpTest, RemovesItsSocketAtItsEnd) {
   server.reset();
   EXPECT_FALSE(std::filesystem::exists(path));
   EXPECT_FALSE((HttpExchange{path, ""}.connected()));
}

TEST_F(HttpTest, SurvivesAnythingThatIsSent) {
   std::mt19937 random{Support::randomSeed(20261122)};
   std::string const samples[] = {
       "GET /x?n=7&m=%41 HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n",
       "HEAD /x HTTP/1.0\r\n\r\nGET /x HTTP/1.1\r\n\r\n",
       "POST /x HTTP/1.1\r\nHost: x\r\nContent-Length: 5\r\nExpect: 100-continue\r\n\r\nhello",
       "PUT /x HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n",
       "GET /x HTTP/1.1\r\nHost: x\r\nCookie: a=b; c=\"d\"\r\n  folded\r\nUpgrade: y\r\n\r\n"};
   for (int i = 0; i < 2000; ++i) {
      std::string request = samples[random() % std::size(samples)];
      for (unsigned edits = random() % 4; edits > 0; --edits) {
         std::size_t const at = random() % request.size();
         if (random() % 3 == 0)
            request.insert(at, std::string(random() % 2000, static_cast<char>(random())));
         else
            request[at] = static_cast<char>(random());
      }
      HttpExchange exchange{
          path, request.substr(0, random() % 5 == 0 ? random() % request.size() : request.size())};
      while (Vorn::Host::turn(0) == Vorn::Host::Turn::worked)
         exchange.readSome();
   }
   EXPECT_TRUE(httpGet(path, "/x").starts_with("HTTP/1.1 200"));
}

class HttpOverTcpTest : public testing::Test {
 protected:
   std::string statusOf(std::string const & hosts, std::string const & method = "GET") const {
      std::string const answer =
          HttpExchange{address.port, method + " /x HTTP/1.1\r\n" + hosts + "Connection: close\r\n\r\n"}
              .answer();
      return answer.substr(0, answer.find(' ', 9));
   }

   Base::HttpAddress address = *Base::parseHttpAddress("127.0.0.1:29637");
   Agent::HttpServer server{Agent::ListenSocket::atAddress(address),
                            [](Agent::HttpRequest const &) {
                               return Agent::HttpAnswer{200, "text/x-test", "x"};
                            },
                            {.address = address}};
};

TEST_F(HttpOverTcpTest, AnswersRequestsThatNameThisMachine) {
   EXPECT_EQ(statusOf("Host: 127.0.0.1:29637\r\n"), "HTTP/1.1 200");
   EXPECT_EQ(statusOf("host: localhost\r\n"), "HTTP/1.1 200");
   EXPECT_EQ(statusOf("Host: [::1]:29637\r\n", "HEAD"), "HTTP/1.1 200");
   EXPECT_EQ(statusOf("Host: localhost\r\n", "POST"), "HTTP/1.1 405");
}

TEST_F(HttpOverTcpTest, MisdirectsRequestsThatNameAnotherHostNoneOrTwo) {
   EXPECT_EQ(statusOf("Host: evil.example\r\n"), "HTTP/1.1 421");
   EXPECT_EQ(statusOf("Host: evil.example:29637\r\n", "POST"), "HTTP/1.1 421");
   EXPECT_EQ(statusOf(""), "HTTP/1.1 421");
   EXPECT_EQ(statusOf("Host:\r\n"), "HTTP/1.1 421");
   EXPECT_EQ(statusOf("Host: localhost\r\nHost: localhost\r\n"), "HTTP/1.1 421");
   EXPECT_EQ(statusOf("Host: localhost\r\nHost: evil.example\r\n"), "HTTP/1.1 421");
}

}  // namespace
