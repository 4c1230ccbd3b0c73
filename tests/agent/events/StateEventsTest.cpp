// Verdicts, changes of the state and comments in event streams.
#include <algorithm>
#include <set>

#include "agent/documents/VerdictDocument.h"
#include "agent/events/EventStream.h"
#include "tests/agent/events/EventStreamTest.h"
#include "tests/support/DocumentText.h"

namespace Agent {
namespace {

class StateEventsTest : public EventStreamTest {
 protected:
   // A stream whose reader knows the unit as it is.
   std::unique_ptr<Document> streamFromNow() {
      Vorn::Host::runFor(2);
      auto stream = feed.stream(0);
      textOf(*stream);
      return stream;
   }
   void lifeIs(int left) const { nvme().percentageUsedIs({"percent_used", 100 - left}); }
};

TEST_F(StateEventsTest, TellsAVerdictWithItsSerialAsTheDocumentShowsIt) {
   diskIs(BusType::nvme);
   allIsRead();
   auto const stream = streamFromNow();
   lifeIs(9);
   verdicts.evaluate();
   auto const events = eventsOf(*stream, "verdict");
   ASSERT_EQ(events.size(), 1U);
   EXPECT_EQ(events[0].id, "");
   std::string const all = Support::documentText(verdictsJson(verdicts.disks(), readings));
   std::string const prefix = R"({"KS0001":{)";
   ASSERT_TRUE(all.starts_with(prefix)) << all;
   EXPECT_EQ(events[0].data,
             R"({"serial":"KS0001",)" + all.substr(prefix.size(), all.size() - prefix.size() - 1));
}

TEST_F(StateEventsTest, TellsAVerdictAtOnce) {
   diskIs(BusType::nvme);
   allIsRead();
   auto const stream = streamFromNow();
   bool woken = false;
   stream->whenMoreIs([&] { woken = true; });
   lifeIs(9);
   verdicts.evaluate();
   Vorn::Host::turn(0);
   EXPECT_TRUE(woken);
}

TEST_F(StateEventsTest, TellsASlowReaderTheLatestVerdictAlone) {
   diskIs(BusType::nvme);
   allIsRead();
   auto const stream = streamFromNow();
   for (int const left : {9, 50, 0}) {
      lifeIs(left);
      verdicts.evaluate();
   }
   auto const events = eventsOf(*stream, "verdict");
   ASSERT_EQ(events.size(), 1U);
   EXPECT_STREQ(json(events[0].data)["verdict"].GetString(), "failing");
}

TEST_F(StateEventsTest, TellsOfADiskThatGoes) {
   diskIs();
   auto const stream = streamFromNow();
   diskGoes();
   Vorn::Host::runFor(2);
   auto const events = eventsOf(textOf(*stream));
   ASSERT_EQ(events.size(), 2U);
   EXPECT_STREQ(json(events[0].data)["verdict"].GetString(), "absent");
   EXPECT_EQ(changedOf(events[1]), std::vector<std::string>{serial});
}

TEST_F(StateEventsTest, TellsOfARemovableDiskThatGoesWithoutAVerdict) {
   diskIs(BusType::usb, true);
   auto const stream = streamFromNow();
   diskGoes();
   Vorn::Host::runFor(2);
   auto const events = eventsOf(textOf(*stream));
   ASSERT_EQ(events.size(), 1U);
   EXPECT_EQ(changedOf(events[0]), std::vector<std::string>{serial});
}

TEST_F(StateEventsTest, TellsOfFiguresAndOfReadings) {
   diskIs(BusType::nvme);
   allIsRead();
   auto const stream = streamFromNow();
   nvme().temperatureCelsiusIs({"temperature", 41});
   Vorn::Host::runFor(2);
   EXPECT_EQ(eventsOf(*stream, "state").size(), 1U);
   readingFails("nvme");
   Vorn::Host::runFor(2);
   EXPECT_EQ(eventsOf(*stream, "state").size(), 1U);
   allIsRead();
   Vorn::Host::runFor(2);
   EXPECT_EQ(eventsOf(*stream, "state").size(), 1U);
}

TEST_F(StateEventsTest, SaysNothingWhileNothingChanges) {
   diskIs(BusType::nvme);
   allIsRead();
   auto const stream = streamFromNow();
   Vorn::Host::runFor(10);
   EXPECT_EQ(textOf(*stream), "");
}

TEST_F(StateEventsTest, TellsOfAChangedStateOnceASecondAtMost) {
   diskIs(BusType::nvme);
   allIsRead();
   auto const stream = streamFromNow();
   std::size_t events = 0;
   for (int i = 0; i < 100; ++i) {
      nvme().temperatureCelsiusIs({"temperature", 30 + i % 2});
      verdicts.evaluate();
      Vorn::Host::runFor(0.1);
      events += eventsOf(*stream, "state").size();
   }
   EXPECT_GE(events, 9U);
   EXPECT_LE(events, 11U);
}

TEST_F(StateEventsTest, NamesEveryChangedDiskOnce) {
   constexpr int count = 1000;
   auto const stream = streamFromNow();
   std::set<std::string> serials;
   for (int i = 0; i < count; ++i) {
      std::string const name = "KS\n\"" + std::to_string(i);
      Support::DiskFields{.name = name}.writeTo(*entities.devices);
      serials.insert(name);
   }
   Vorn::Host::runFor(2);
   std::string text;
   for (std::string_view piece = stream->next(); !piece.empty(); piece = stream->next()) {
      EXPECT_LT(piece.size(), 3 * EventStream::pieceBytes) << "a long event comes in pieces too";
      text += piece;
   }
   auto events = eventsOf(text);
   std::erase_if(events, [](Event const & event) { return event.name != "state"; });
   ASSERT_EQ(events.size(), 1U);
   auto const changed = changedOf(events[0]);
   EXPECT_EQ(changed.size(), serials.size());
   EXPECT_EQ((std::set<std::string>{changed.begin(), changed.end()}), serials);
}

TEST_F(StateEventsTest, TellsASlowReaderOfADiskThatChangesMeanwhile) {
   auto const stream = streamFromNow();
   for (int i = 0; i < 600; ++i)
      Support::DiskFields{.name = "KS" + std::to_string(i)}.writeTo(*entities.devices);
   Vorn::Host::runFor(2);
   std::string text;
   std::set<std::string> changed;
   for (int i = 0; i < 3 || text.find("state") == std::string::npos; ++i)
      text += stream->next();
   Support::DiskFields{.name = "KS599", .model = "another"}.writeTo(*entities.devices);
   Vorn::Host::runFor(2);
   for (Event const & event : eventsOf(text + textOf(*stream)))
      if (event.name == "state")
         for (std::string const & name : changedOf(event))
            changed.insert(name);
   EXPECT_EQ(changed.size(), 600U);
}

TEST_F(StateEventsTest, KeepsAChangeUntilAllReadersHaveIt) {
   diskIs(BusType::nvme);
   allIsRead();
   auto const early = streamFromNow();
   lifeIs(9);
   Vorn::Host::runFor(2);
   auto late = feed.stream(0);
   EXPECT_EQ(eventsOf(textOf(*late)).size(), 1U) << "it knows the state from its beginning on";
   late.reset();  // what all have is forgotten
   auto const events = eventsOf(textOf(*early));
   ASSERT_EQ(events.size(), 2U);
   EXPECT_EQ(events[0].name, "verdict");
   EXPECT_EQ(events[1].name, "state");
}

TEST_F(StateEventsTest, WakesTheAgentRarelyWithoutAReader) {
   auto const wakeups = [] {
      int count = 0;
      Vorn::Seconds const until = Vorn::System::currentTime() + 3600;
      for (Vorn::Seconds last = 0; Vorn::System::currentTime() < until; last = Vorn::System::currentTime()) {
         Vorn::Host::turn();
         count += Vorn::System::currentTime() != last;
      }
      return count;
   };
   diskIs(BusType::nvme);
   EXPECT_LE(wakeups(), 3600 / 5 + 3) << "the evaluation of the verdicts alone";
   auto stream = feed.stream(0);
   EXPECT_GE(wakeups(), 3600);
   stream.reset();
   EXPECT_LE(wakeups(), 3600 / 5 + 3);
}

TEST_F(StateEventsTest, KeepsTheLineOpenByACommentEvery15Seconds) {
   auto const stream = feed.stream(0);
   EXPECT_EQ(textOf(*stream), ":\n\n") << "so its reader knows at once that it is there";
   int comments = 0;
   std::function<void()> const wake = [&] {
      comments += static_cast<int>(eventsOf(*stream, "comment").size());
      stream->whenMoreIs(wake);
   };
   stream->whenMoreIs(wake);
   Vorn::Host::runFor(1500.5);
   EXPECT_GE(comments, 100);
   EXPECT_LE(comments, 101);
}

}  // namespace
}  // namespace Agent
