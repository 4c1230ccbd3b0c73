// Answers that are written while they are read: by quick clients, slow ones, and where memory ends.
#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "agent/documents/StateDocument.h"
#include "agent/serve/Http.h"
#include "runtime/host/Loop.h"
#include "tests/support/HttpExchange.h"
#include "tests/support/TempDir.h"

namespace Agent {
namespace {

using Support::HttpExchange;
using Support::httpGet;

constexpr char closingRequest[] = "GET /x HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n";

// So many pieces of a size, then the end or a lack of memory.
class Pieces final : public Document {
 public:
   Pieces(std::size_t count, std::size_t size, bool fails) : left_{count}, piece_(size, 'x'), fails_{fails} {
      ++living;
   }
   Pieces(Pieces const &) = delete;
   Pieces & operator=(Pieces const &) = delete;
   ~Pieces() override { --living; }

   std::string_view next() override {
      if (left_ > 0) {
         --left_;
         return piece_;
      }
      if (fails_)
         throw std::bad_alloc{};
      return {};
   }

   static inline int living = 0;

 private:
   std::size_t left_;
   std::string piece_;
   bool fails_;
};

class HttpDocumentTest : public testing::Test {
 protected:
   void answerIs(std::size_t count, std::size_t size, bool fails = false) {
      make = [=] { return std::make_unique<Pieces>(count, size, fails); };
   }
   std::string get() const { return httpGet(path, "/x"); }

   Support::TempDir folder;
   std::string path = folder.string() + "/status.sock";
   std::function<std::unique_ptr<Document>()> make;
   HttpServer server{ListenSocket::atPath(path), [this](HttpRequest const &) {
                        return HttpAnswer{200, "text/x-test", {}, make()};
                     }};
};

// The data of a body in chunks, without their sizes; "(cut)" at its end when the last chunk is missing.
std::string unchunked(std::string const & answer) {
   std::string text;
   std::size_t at = answer.find("\r\n\r\n") + 4;
   for (;;) {
      std::size_t const end = answer.find("\r\n", at);
      if (end == std::string::npos)
         return text + "(cut)";
      std::size_t const size = std::stoul(answer.substr(at, end - at), nullptr, 16);
      if (size == 0)
         return text;
      text += answer.substr(end + 2, size);
      at = end + 2 + size + 2;
   }
}

TEST_F(HttpDocumentTest, IsSentWhole) {
   answerIs(1000, 1000);
   std::string const answer = get();
   EXPECT_TRUE(answer.starts_with("HTTP/1.1 200"));
   EXPECT_NE(answer.find("Content-Type: text/x-test\r\n"), std::string::npos);
   EXPECT_TRUE(unchunked(answer) == std::string(1000000, 'x')) << answer.size();
   EXPECT_EQ(Pieces::living, 0);
}

TEST_F(HttpDocumentTest, IsReadByOldClientsToTheEndOfTheConnection) {
   answerIs(1000, 1000);
   std::string const answer = HttpExchange{path, "GET /x HTTP/1.0\r\n\r\n"}.answer();
   EXPECT_EQ(answer.find("chunked"), std::string::npos);
   EXPECT_EQ(answer.size(), answer.find("\r\n\r\n") + 4 + 1000000);
}

TEST_F(HttpDocumentTest, HasNoBodyForAHeadRequest) {
   answerIs(1000, 1000);
   std::string const answer =
       HttpExchange{path, "HEAD /x HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"}.answer();
   EXPECT_TRUE(answer.starts_with("HTTP/1.1 200"));
   EXPECT_EQ(answer.find("\r\n\r\n"), answer.size() - 4) << answer;
}

TEST_F(HttpDocumentTest, IsSentEmptyWhereItIsEmpty) {
   answerIs(0, 0);
   EXPECT_EQ(unchunked(get()), "");
}

TEST_F(HttpDocumentTest, IsRefusedWithoutMemoryForItsStartAndTheServerLives) {
   answerIs(0, 0, true);
   EXPECT_TRUE(get().starts_with("HTTP/1.1 503"));
   make = []() -> std::unique_ptr<Document> { throw std::bad_alloc{}; };
   EXPECT_TRUE(get().starts_with("HTTP/1.1 503"));
   answerIs(1, 1);
   EXPECT_EQ(unchunked(get()), "x");
}

TEST_F(HttpDocumentTest, EndsEarlyAndVisiblyWithoutMemoryForItsRest) {
   answerIs(3, 1000, true);
   std::string const text = unchunked(get());
   EXPECT_TRUE(text.ends_with("x(cut)")) << text.size();
   EXPECT_EQ(Pieces::living, 0);
}

TEST_F(HttpDocumentTest, IsDroppedWithItsClient) {
   answerIs(100000, 1000);
   {
      HttpExchange const reader{path, closingRequest};
      while (Pieces::living == 0)
         Vorn::Host::turn(0.01);
   }
   while (Pieces::living > 0)
      Vorn::Host::turn(0.01);
   EXPECT_EQ(Pieces::living, 0);
}

TEST_F(HttpDocumentTest, UsesAtMostFourMebibytesForAllSlowReadersTogether) {
   std::vector<std::unique_ptr<HttpExchange>> readers;
   answerIs(100, std::size_t{1} << 20U);
   for (int i = 0; i < 3; ++i) {
      readers.push_back(std::make_unique<HttpExchange>(path, closingRequest));
      while (Vorn::Host::turn(0) == Vorn::Host::Turn::worked)
         continue;
   }
   EXPECT_EQ(Pieces::living, 3);
   answerIs(1, std::size_t{2} << 20U);
   EXPECT_TRUE(get().starts_with("HTTP/1.1 503"));
   readers.clear();
   EXPECT_EQ(unchunked(get()).size(), std::size_t{2} << 20U);
}

TEST_F(HttpDocumentTest, CostsNothingForClientsThatOnlyWait) {
   answerIs(100, std::size_t{1} << 20U);
   HttpExchange const silent{path, "GET "};
   HttpExchange const stalled{path, closingRequest};
   HttpExchange const halfClosed{path, closingRequest};
   halfClosed.endSending();
   HttpExchange const answered{path, "rubbish\n"};
   for (int turns = 0; turns < 1000; ++turns)
      Vorn::Host::turn(0);
   EXPECT_EQ(Vorn::Host::turn(0), Vorn::Host::Turn::idle);
}

// Processor time of this thread in seconds: what others do meanwhile does not count.
double threadSeconds() {
   timespec time{};
   clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
   return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

TEST_F(HttpDocumentTest, LimitsEveryTurnWhateverIsRequestedOfALongHistory) {
   Entities entities;
   for (char disk = 'A'; disk < 'K'; ++disk) {
      Pelm::String const serial{std::string(1, disk)};
      entities.ioStat->ioStatDataIs(serial);
      for (int i = 0; i < 86400; ++i)
         entities.ioStat->ioStatData(serial)->recordMeasurement(i, 1000000000000 + i, 2000000000000 + i);
   }
   auto const tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
   ToolRuns const tools{tracker};
   Readings const readings{entities};
   Config::VerdictLimits limits;
   Verdicts verdicts{entities, limits, readings, [] { return nullptr; }, [] { return false; }};
   make = [&] { return stateDocument({true, 1, entities, {}, tools, readings, verdicts}, SIZE_MAX); };
   HttpExchange reader{path, closingRequest};
   double longest = 0;
   while (reader.text().size() < std::size_t{4} << 20U) {
      double const start = threadSeconds();
      Vorn::Host::turn(0.001);
      longest = std::max(longest, threadSeconds() - start);
      ASSERT_FALSE(reader.readSome()) << reader.text().size();
   }
   std::cout << "longest turn: " << longest * 1e3 << " ms\n";
   EXPECT_LT(longest, 0.010);
}

}  // namespace
}  // namespace Agent
