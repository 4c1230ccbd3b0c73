// Answers that pause, such as event streams: readers that wait, go, or do not read. Time is virtual.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "agent/serve/Http.h"
#include "tests/support/HttpExchange.h"
#include "tests/support/TempDir.h"
#include "tests/support/VirtualTimeTest.h"

namespace Agent {
namespace {

using Support::HttpExchange;

// Where the texts of all streams come from.
struct Source {
   std::vector<std::string> texts;
   bool over = false;
   std::vector<std::function<void()>> waiting;
   int living = 0;

   void add(std::string const & text) {
      texts.push_back(text);
      wake();
   }
   void end() {
      over = true;
      wake();
   }
   void wake() {
      for (auto const & more : std::exchange(waiting, {}))
         more();
   }
};

class Stream final : public Document {
 public:
   explicit Stream(Source & source) : source_{source} { ++source_.living; }
   Stream(Stream const &) = delete;
   Stream & operator=(Stream const &) = delete;
   ~Stream() override { --source_.living; }

   std::string_view next() override {
      return at_ == source_.texts.size() ? std::string_view{} : source_.texts[at_++];
   }
   bool pauses() const override { return !source_.over; }
   void whenMoreIs(std::function<void()> const & more) override { source_.waiting.push_back(more); }

 private:
   Source & source_;
   std::size_t at_ = 0;
};

class HttpStreamTest : public Support::VirtualTimeTest {
 protected:
   static std::string request(std::string const & method = "GET", char version = '1') {
      return method + " /x HTTP/1." + version + "\r\nHost: x\r\n\r\n";
   }
   static std::string bodyOf(HttpExchange const & client) {
      return client.text().substr(client.text().find("\r\n\r\n") + 4);
   }
   // Whether the client's connection ends in this time; reads what comes.
   static bool endsWithin(HttpExchange & client, Vorn::Seconds span) {
      return eventually([&] { return client.readSome(); }, span);
   }

   Source source;
   Support::TempDir folder;
   std::string path = folder.string() + "/status.sock";
   HttpServer server{ListenSocket::atPath(path), [this](HttpRequest const & asked) {
                        if (asked.path == "/plain")
                           return HttpAnswer{200, "text/x-test", "plain"};
                        return HttpAnswer{200, "text/x-test", {}, std::make_unique<Stream>(source)};
                     }};
};

TEST_F(HttpStreamTest, SendsTheHeadBeforeAnythingHappens) {
   HttpExchange client{path, request()};
   EXPECT_FALSE(endsWithin(client, 0.1));
   EXPECT_TRUE(client.text().starts_with("HTTP/1.1 200 OK\r\n"));
   EXPECT_NE(client.text().find("Transfer-Encoding: chunked\r\n"), std::string::npos);
   EXPECT_EQ(bodyOf(client), "");
}

TEST_F(HttpStreamTest, KeepsAReaderThatWaitsHoweverLong) {
   HttpExchange client{path, request()};
   EXPECT_FALSE(endsWithin(client, 1000));
   source.add("one");
   EXPECT_FALSE(endsWithin(client, 1000));
   EXPECT_EQ(bodyOf(client), "3\r\none\r\n");
   source.add("two");
   source.add("three");
   EXPECT_FALSE(endsWithin(client, 1));
   EXPECT_EQ(bodyOf(client), "3\r\none\r\n3\r\ntwo\r\n5\r\nthree\r\n");
}

TEST_F(HttpStreamTest, EndsCleanlyWithItsDocument) {
   HttpExchange client{path, request()};
   EXPECT_FALSE(endsWithin(client, 1));
   source.texts.emplace_back("last");
   source.end();
   EXPECT_TRUE(endsWithin(client, 1));
   EXPECT_EQ(bodyOf(client), "4\r\nlast\r\n0\r\n\r\n");
   EXPECT_EQ(source.living, 0);
}

TEST_F(HttpStreamTest, SendsPlainTextToOldClients) {
   HttpExchange client{path, request("GET", '0')};
   source.texts.emplace_back("one");
   EXPECT_FALSE(endsWithin(client, 1));
   EXPECT_EQ(client.text().find("chunked"), std::string::npos);
   EXPECT_EQ(bodyOf(client), "one");
}

TEST_F(HttpStreamTest, SendsTheHeadAloneToAHeadRequest) {
   source.texts.emplace_back("one");
   HttpExchange client{path, request("HEAD")};
   EXPECT_TRUE(endsWithin(client, 1));
   EXPECT_TRUE(client.text().starts_with("HTTP/1.1 200 OK\r\n"));
   EXPECT_EQ(bodyOf(client), "");
   EXPECT_EQ(source.living, 0);
}

TEST_F(HttpStreamTest, EndsWhenItsReaderGoes) {
   {
      HttpExchange client{path, request()};
      EXPECT_FALSE(endsWithin(client, 1));
      EXPECT_EQ(source.living, 1);
   }
   Vorn::Host::runFor(0.1);
   EXPECT_EQ(source.living, 0);
   source.waiting.clear();  // as a stream does when it ends
}

TEST_F(HttpStreamTest, EndsWhenItsReaderEndsItsHalf) {
   HttpExchange client{path, request()};
   EXPECT_FALSE(endsWithin(client, 1));
   client.endSending();
   EXPECT_TRUE(endsWithin(client, 1));
   EXPECT_EQ(source.living, 0);
}

TEST_F(HttpStreamTest, DropsWhatItsReaderSendsBehindTheRequest) {
   HttpExchange client{path, request() + std::string(1000, 'b')};
   EXPECT_FALSE(endsWithin(client, 1));
   client.more(std::string(10000, 'b'));
   source.add("one");
   EXPECT_FALSE(endsWithin(client, 1));
   EXPECT_EQ(bodyOf(client), "3\r\none\r\n");
}

TEST_F(HttpStreamTest, EndsAReaderThatTakesNothingForFiveSeconds) {
   HttpExchange client{path, request()};
   Vorn::Host::runFor(1);
   for (int i = 0; i < 200; ++i)
      source.texts.emplace_back(10000, 'x');
   source.wake();
   Vorn::Host::runFor(4.9);
   EXPECT_EQ(source.living, 1);
   Vorn::Host::runFor(0.2);
   EXPECT_EQ(source.living, 0);
}

TEST_F(HttpStreamTest, EndsTheReaderThatHasGotNothingForTheLongestTimeForAnotherClient) {
   std::vector<std::unique_ptr<HttpExchange>> readers;
   for (std::size_t i = 0; i < HttpClients::places; ++i) {
      readers.push_back(std::make_unique<HttpExchange>(path, request()));
      Vorn::Host::runFor(1);
   }
   EXPECT_EQ(source.living, static_cast<int>(HttpClients::places));
   HttpExchange client{path, "GET /plain HTTP/1.1\r\nHost: x\r\n\r\n"};
   EXPECT_TRUE(endsWithin(client, 1));
   EXPECT_TRUE(client.text().ends_with("plain"));
   EXPECT_TRUE(endsWithin(*readers[0], 1));
   EXPECT_FALSE(endsWithin(*readers[1], 1));
}

TEST_F(HttpStreamTest, LeavesTheBytesThatMayWaitToOthersWhileItRests) {
   source.texts.emplace_back(mostQueuedBytes / 2 + 1, 'x');
   HttpExchange first{path, request()};
   EXPECT_FALSE(endsWithin(first, 1));
   HttpExchange second{path, request()};
   EXPECT_FALSE(endsWithin(second, 1));
   EXPECT_GT(second.text().size(), mostQueuedBytes / 2);
   EXPECT_EQ(source.living, 2);
}

}  // namespace
}  // namespace Agent
