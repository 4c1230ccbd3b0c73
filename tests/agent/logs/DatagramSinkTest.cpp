#include "agent/logs/DatagramSink.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/DatagramSocket.h"
#include "tests/support/TempDir.h"

namespace Agent {
namespace {

using Outcome = LogSink::Outcome;
using Lines = std::vector<std::string>;

class DatagramSinkTest : public testing::Test {
 protected:
   Support::TempDir folder;
   std::string const path = folder.string() + "/log";
   DatagramSink sink{"the collector", path, syslogDatagram};
};

TEST_F(DatagramSinkTest, SendsADatagramForEachLine) {
   Support::DatagramSocket const collector{path};
   EXPECT_EQ(sink.send("one"), Outcome::sent);
   EXPECT_EQ(sink.send("two"), Outcome::sent);
   EXPECT_EQ(collector.received(), (Lines{"one", "two"}));
}

TEST_F(DatagramSinkTest, NamesTheReasonWhyNobodyReceives) {
   EXPECT_EQ(sink.send("one"), Outcome::absent);
   EXPECT_EQ(sink.absence(), path + ": No such file or directory");
   { Support::DatagramSocket const ended{path}; }
   EXPECT_EQ(sink.send("one"), Outcome::absent);
   EXPECT_EQ(sink.absence(), path + ": Connection refused");
}

TEST_F(DatagramSinkTest, FindsACollectorThatAppears) {
   EXPECT_EQ(sink.send("one"), Outcome::absent);
   Support::DatagramSocket const collector{path};
   EXPECT_EQ(sink.send("two"), Outcome::sent);
   EXPECT_EQ(collector.received(), Lines{"two"});
}

TEST_F(DatagramSinkTest, SendsTheSameLineToTheSuccessorOfACollector) {
   auto collector = std::make_unique<Support::DatagramSocket>(path);
   EXPECT_EQ(sink.send("one"), Outcome::sent);
   collector = std::make_unique<Support::DatagramSocket>(path);
   EXPECT_EQ(sink.send("two"), Outcome::sent);
   EXPECT_EQ(collector->received(), Lines{"two"});
}

TEST_F(DatagramSinkTest, WaitsForNoCollectorThatReadsNothing) {
   Support::DatagramSocket const collector{path};
   std::size_t sent = 0;
   while (sink.send("line") == Outcome::sent)
      ++sent;
   EXPECT_EQ(sink.send("line"), Outcome::full);
   EXPECT_EQ(collector.received().size(), sent);
   EXPECT_EQ(sink.send("line"), Outcome::sent);
}

TEST_F(DatagramSinkTest, BecomesWritableWhenTheCollectorHasReadAgain) {
   Support::DatagramSocket const collector{path};
   while (sink.send("line") == Outcome::sent)
      continue;
   pollfd room{sink.descriptor(), POLLOUT, 0};
   EXPECT_EQ(poll(&room, 1, 0), 0);
   collector.received();
   EXPECT_EQ(poll(&room, 1, 0), 1);
}

TEST_F(DatagramSinkTest, RefusesALineThatNoDatagramHolds) {
   Support::DatagramSocket const collector{path};
   EXPECT_EQ(sink.send(std::string(8 << 20U, 'x')), Outcome::refused);
   EXPECT_EQ(sink.send("short"), Outcome::sent);
   EXPECT_EQ(collector.received(), Lines{"short"});
}

TEST_F(DatagramSinkTest, SendsTheLongestEntryThatTheJournalGets) {
   Support::DatagramSocket const collector{path};
   std::vector<Pelm::String> const arguments(6, Pelm::String{std::string(8192, 'x')});
   LogEntry const entry{LogEntry::Kind::message, 3,        0, "STORAGEDEVICE_MONITOR_ERROR",
                        std::string(8192, 'x'),  arguments};
   EXPECT_EQ(sink.send(journalDatagram(entry)), Outcome::sent);
   EXPECT_EQ(collector.next(), journalDatagram(entry));
}

TEST_F(DatagramSinkTest, RaisesForAPathThatIsTooLongForASocket) {
   EXPECT_THROW((DatagramSink{"syslog", "/" + std::string(200, 'x'), syslogDatagram}), std::length_error);
}

}  // namespace
}  // namespace Agent
