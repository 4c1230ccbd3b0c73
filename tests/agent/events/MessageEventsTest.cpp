// Messages in event streams, whatever breaks in between.
#include <algorithm>
#include <random>

#include "tests/agent/events/EventStreamTest.h"
#include "tests/support/RandomSeed.h"

namespace Agent {
namespace {

using Ids = std::vector<std::string>;

class MessageEventsTest : public EventStreamTest {
 protected:
   static Ids idsOf(Document & stream) {
      Ids ids;
      for (Event const & event : eventsOf(stream, "message"))
         ids.push_back(event.id);
      return ids;
   }
   Ids idsAfter(std::uint64_t after) { return idsOf(*feed.stream(after)); }
};

TEST_F(MessageEventsTest, HasTheNumberAndTheMessageAsItIsServed) {
   log("hall");
   EXPECT_EQ(
       textOf(*feed.stream(0)),
       "id: 1\nevent: message\n"
       R"(data: {"sequence":1,"time":1795196298.5,"name":"LAMP","severity":4,"text":"lamp hall is out",)"
       R"("arguments":["hall"],"explanation":"It is dark.","recommendedAction":"Change it."})"
       "\n\n:\n\n");
}

TEST_F(MessageEventsTest, FollowsTheNumberThatTheReaderHas) {
   logMany(3);
   EXPECT_EQ(idsAfter(0), (Ids{"1", "2", "3"}));
   EXPECT_EQ(idsAfter(2), Ids{"3"});
   EXPECT_EQ(idsAfter(3), Ids{});
}

TEST_F(MessageEventsTest, SendsEachMessageOnce) {
   log();
   auto const stream = feed.stream(0);
   EXPECT_EQ(idsOf(*stream), Ids{"1"});
   EXPECT_EQ(idsOf(*stream), Ids{});
   logMany(2);
   EXPECT_EQ(idsOf(*stream), (Ids{"2", "3"}));
}

TEST_F(MessageEventsTest, BeginsAnewForAReaderOfAnAgentBefore) {
   logMany(2);
   EXPECT_EQ(idsAfter(99), (Ids{"1", "2"}));
   EXPECT_EQ(idsAfter(UINT64_MAX), (Ids{"1", "2"}));
}

TEST_F(MessageEventsTest, BeginsWithTheOldestThatIsKept) {
   logMany(MessageStore::kept + 5);
   Ids const ids = idsAfter(3);
   ASSERT_EQ(ids.size(), MessageStore::kept);
   EXPECT_EQ(ids.front(), "6");
}

TEST_F(MessageEventsTest, EndsForAReaderThatIsOvertaken) {
   log();
   auto const overtaken = feed.stream(0);
   auto const justInTime = feed.stream(1);
   logMany(MessageStore::kept);
   EXPECT_EQ(idsOf(*justInTime).size(), MessageStore::kept);
   EXPECT_TRUE(justInTime->pauses());
   EXPECT_EQ(textOf(*overtaken), "");
   EXPECT_FALSE(overtaken->pauses());
}

TEST_F(MessageEventsTest, WakesAWaitingReaderOnce) {
   auto const stream = feed.stream(0);
   textOf(*stream);
   int wakes = 0;
   stream->whenMoreIs([&] { ++wakes; });
   logMany(1000);
   EXPECT_EQ(wakes, 0) << "a message is logged in the midst of somebody's work";
   Vorn::Host::turn(0);
   Vorn::Host::turn(0);
   EXPECT_EQ(wakes, 1);
   EXPECT_EQ(idsOf(*stream).size(), 1000U);
}

TEST_F(MessageEventsTest, StaysWholeWhateverDevicesSay) {
   log("\n\nid: 7\nevent: message\ndata: {}\n\n\r\n:");
   auto const events = eventsOf(*feed.stream(0), "message");
   ASSERT_EQ(events.size(), 1U);
   EXPECT_STREQ(json(events[0].data)["arguments"][0].GetString(),
                "\n\nid: 7\nevent: message\ndata: {}\n\n\r\n:");
}

// A reader keeps the number of the last event that came whole, and connects again with it.
TEST_F(MessageEventsTest, LosesAndDoublesNoneWhereverTheStreamBreaks) {
   std::mt19937 random{Support::randomSeed(1)};
   Ids got;
   std::uint64_t last = 0;
   int logged = 0;
   while (logged < 1500 || static_cast<int>(got.size()) < logged) {
      auto const stream = feed.stream(last);
      std::string text;
      for (auto pieces = random() % 6; pieces > 0; --pieces) {
         int const more = logged < 1500 ? static_cast<int>(random() % 20) : 0;
         logMany(more);
         logged += more;
         text += stream->next();
      }
      if (random() % 2 == 0)
         text.resize(random() % (text.size() + 1));
      for (Event const & event : eventsOf(text)) {
         if (event.name == "message") {
            got.push_back(event.id);
            last = std::stoull(event.id);
         }
      }
   }
   Ids expected;
   for (int i = 1; i <= logged; ++i)
      expected.push_back(std::to_string(i));
   EXPECT_EQ(got, expected);
}

}  // namespace
}  // namespace Agent
