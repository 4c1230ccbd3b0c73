#include "agent/Http.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "runtime/host/Loop.h"
#include "tests/support/HttpExchange.h"
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

TEST_F(HttpTest, AnArgumentThatIsNotThereIsNull) {
   EXPECT_EQ(body(httpGet(path, "/x?m=1")), "none");
}

TEST_F(HttpTest, HeadHasNoBody) {
   std::string const answer = HttpExchange{path, "HEAD /x HTTP/1.0\r\n\r\n"}.answer();
   EXPECT_NE(answer.find("200"), std::string::npos);
   EXPECT_EQ(body(answer), "");
}

TEST_F(HttpTest, OtherMethodsAreRefusedWithoutAskingTheHandler) {
   std::string const answer =
       HttpExchange{path,
                    "POST /x HTTP/1.1\r\nHost: x\r\nConnection: close\r\nContent-Length: 5\r\n\r\nhello"}
           .answer();
   EXPECT_TRUE(answer.starts_with("HTTP/1.1 405"));
   EXPECT_NE(answer.find("Allow: GET, HEAD\r\n"), std::string::npos);
   EXPECT_TRUE(paths.empty());
}

TEST_F(HttpTest, AHandlerThatRaisesGivesAnErrorAndTheServerLives) {
   EXPECT_TRUE(httpGet(path, "/raise").starts_with("HTTP/1.1 500"));
   EXPECT_TRUE(httpGet(path, "/x").starts_with("HTTP/1.1 200"));
}

TEST_F(HttpTest, RubbishEndsItsConnectionOnly) {
   std::string rubbish(100000, '\xff');
   rubbish += '\0';
   HttpExchange{path, rubbish}.answer();
   HttpExchange{path, "GET " + std::string(200000, 'a') + " HTTP/1.1\r\n\r\n"}.answer();
   EXPECT_TRUE(httpGet(path, "/x").starts_with("HTTP/1.1 200"));
}

TEST_F(HttpTest, ClientsThatSayNothingDoNotKeepOthersOut) {
   std::vector<std::unique_ptr<HttpExchange>> idle(40);
   for (auto & exchange : idle)
      exchange = std::make_unique<HttpExchange>(path, "GET ");
   EXPECT_TRUE(httpGet(path, "/x").starts_with("HTTP/1.1 200"));
}

TEST_F(HttpTest, ClientsThatFilledItLeaveItOpenToOthersWhenTheyGo) {
   std::vector<std::unique_ptr<HttpExchange>> idle;
   for (int i = 0; i < 100; ++i) {
      idle.push_back(std::make_unique<HttpExchange>(path, "GET "));
      Host::turn(0);  // the socket's own queue is shorter
   }
   idle.clear();
   while (Host::turn(0) == Host::Turn::worked)
      continue;
   EXPECT_TRUE(httpGet(path, "/x").starts_with("HTTP/1.1 200"));
}

TEST_F(HttpTest, ClientsThatTrickleKeepNobodyOut) {
   std::vector<std::unique_ptr<HttpExchange>> trickling;
   for (int i = 0; i < 100; ++i) {  // as many as there are places, and more that wait for one
      trickling.push_back(std::make_unique<HttpExchange>(path, "GET /"));
      Host::turn(0);
   }
   HttpExchange asking{path, "GET /x HTTP/1.1\r\nHost: x\r\n\r\n"};
   Vorn::Seconds const start = Vorn::System::currentTime();
   while (!asking.readSome() && Vorn::System::currentTime() < start + 4) {
      for (auto const & client : trickling)
         client->more("x");
      Host::turn(0.01);
   }
   EXPECT_TRUE(asking.text().starts_with("HTTP/1.1 200")) << asking.text();
   EXPECT_LT(Vorn::System::currentTime() - start, 3);
}

TEST_F(HttpTest, TheSocketGoesWithTheServer) {
   server.reset();
   EXPECT_FALSE(std::filesystem::exists(path));
   EXPECT_FALSE((HttpExchange{path, ""}.connected()));
}

}  // namespace
