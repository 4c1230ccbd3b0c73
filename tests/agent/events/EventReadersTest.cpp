// Readers of event streams at the server: as many as it serves, quick and slow ones.
#include <time.h>

#include <algorithm>
#include <iostream>

#include "agent/serve/Http.h"
#include "tests/agent/events/EventStreamTest.h"
#include "tests/support/HttpExchange.h"
#include "tests/support/TempDir.h"

namespace Agent {
namespace {

using Support::HttpExchange;

class EventReadersTest : public EventStreamTest {
 protected:
   using Readers = std::vector<std::unique_ptr<HttpExchange>>;

   Readers readers(std::size_t count) const {
      Readers result;
      for (std::size_t i = 0; i < count; ++i)
         result.push_back(std::make_unique<HttpExchange>(path, "GET /x HTTP/1.0\r\nHost: x\r\n\r\n"));
      return result;
   }
   // Processor time of this thread in seconds: what others do meanwhile does not count.
   static double threadSeconds() {
      timespec now{};
      clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
      return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
   }
   static std::size_t messagesIn(std::string const & text) {
      std::size_t count = 0;
      for (std::size_t at = 0; (at = text.find("event: message\n", at)) != std::string::npos; ++at)
         ++count;
      return count;
   }
   // Answers the processor time of the longest turn.
   double turnUntilAllHave(Readers const & all, std::size_t messages) {
      double longest = 0;
      auto const isReady = [&](auto const & reader) { return messagesIn(reader->text()) >= messages; };
      for (int round = 0; round < 100 && !std::all_of(all.begin(), all.end(), isReady); ++round) {
         for (int turns = 0; turns < 20; ++turns) {
            double const start = threadSeconds();
            Vorn::Host::turn(0);
            longest = std::max(longest, threadSeconds() - start);
            for (auto const & reader : all)
               reader->readSome();
         }
      }
      return longest;
   }

   Support::TempDir folder;
   std::string path = folder.string() + "/status.sock";
   HttpServer server{ListenSocket::atPath(path), [this](HttpRequest const &) {
                        return HttpAnswer{200, "text/event-stream", {}, feed.stream(0)};
                     }};
};

TEST_F(EventReadersTest, GetsThousandsOfMessagesInShortTurns) {
   constexpr int messages = 500;
   logMany(messages);
   Readers const all = readers(HttpClients::places);
   double const longest = turnUntilAllHave(all, messages);
   for (auto const & reader : all)
      EXPECT_EQ(messagesIn(reader->text()), messages);
   std::cout << "longest turn: " << longest * 1e3 << " ms\n";
#ifdef STORAGEDEVICES_SANITIZED
   constexpr double slowness = 5;
#else
   constexpr double slowness = 1;
#endif
   EXPECT_LT(longest, 0.010 * slowness);
}

}  // namespace
}  // namespace Agent
