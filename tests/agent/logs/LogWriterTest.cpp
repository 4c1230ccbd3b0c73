// The log's thread with collectors that stall, end, are missing and are restarted. Also run under
// ThreadSanitizer.
#include "agent/logs/LogWriter.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "agent/logs/DatagramSink.h"
#include "agent/logs/LogQueue.h"
#include "tests/support/DatagramSocket.h"
#include "tests/support/RealTime.h"
#include "tests/support/TempDir.h"

namespace Agent {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;
using Outcome = LogSink::Outcome;
using Support::DatagramSocket;
using Support::waitInRealTime;

std::string textOf(LogEntry const & entry) {
   return entry.text;
}

// Answers what a test tells it to, and tells when it is destroyed.
class ToldSink : public LogSink {
 public:
   explicit ToldSink(
       std::function<Outcome(std::string_view)> send, std::function<void()> destroyed = [] {})
       : send_{std::move(send)}, destroyed_{std::move(destroyed)} {}
   ToldSink(ToldSink const &) = delete;
   ToldSink & operator=(ToldSink const &) = delete;
   ~ToldSink() override { destroyed_(); }

   char const * name() const override { return "the collector"; }
   std::string formOf(LogEntry const & entry) const override { return entry.text; }
   Outcome send(std::string_view line) override { return send_(line); }
   int descriptor() const override { return -1; }
   std::string absence() const override { return "on leave"; }

 private:
   std::function<Outcome(std::string_view)> send_;
   std::function<void()> destroyed_;
};

// What one thread adds and another waits for.
class SharedLines {
 public:
   void add(std::string_view line) {
      std::lock_guard const lock{mutex_};
      lines_.emplace_back(line);
      changed_.notify_all();
   }
   Lines all() const {
      std::lock_guard const lock{mutex_};
      return lines_;
   }
   // Waits until there are so many.
   Lines first(std::size_t count) const {
      std::unique_lock lock{mutex_};
      EXPECT_TRUE(changed_.wait_for(lock, 20s, [&] { return lines_.size() >= count; }));
      return lines_;
   }

 private:
   mutable std::mutex mutex_;
   mutable std::condition_variable changed_;
   Lines lines_;
};

class LogWriterTest : public testing::Test {
 protected:
   void start() {
      writer = std::make_unique<LogWriter>(std::make_unique<DatagramSink>("the collector", path, textOf),
                                           std::make_unique<ToldSink>([this](std::string_view line) {
                                              notices.add(line);
                                              return Outcome::sent;
                                           }));
   }
   void add(std::string const & text) { writer->add(noticeEntry(LOG_INFO, text, 0)); }
   void addLines(int count) {
      for (int i = 0; i < count; ++i)
         add(std::to_string(i));
   }
   // Reads the collector until everything has come.
   Lines readAll(DatagramSocket const & collector) {
      Lines lines;
      bool isWhole = false;
      auto const step = [&] {
         isWhole = writer->flush(1ms);
         for (std::string const & line : collector.received())
            lines.push_back(line);
      };
      EXPECT_TRUE(waitInRealTime([&] { return isWhole; }, step));
      return lines;
   }

   Support::TempDir folder;
   std::string const path = folder.string() + "/log";
   SharedLines notices;
   std::unique_ptr<LogWriter> writer;
};

std::string const missing = "; start it, or set log.destination to another; up to 1000 lines wait for it";

TEST_F(LogWriterTest, KeepsTheOrderOfEachOfTwoThreads) {
   DatagramSocket const collector{path};
   start();
   std::thread beside{[&] {
      for (int i = 0; i < 300; ++i)
         add("beside " + std::to_string(i));
   }};
   for (int i = 0; i < 300; ++i)
      add("loop " + std::to_string(i));
   beside.join();
   Lines const lines = readAll(collector);
   EXPECT_EQ(lines.size(), 600U);
   for (std::string const who : {"beside ", "loop "}) {
      int next = 0;
      for (std::string const & line : lines)
         if (line.starts_with(who)) {
            EXPECT_EQ(line, who + std::to_string(next++));
         }
   }
   EXPECT_EQ(writer->dropped(), 0U);
}

TEST_F(LogWriterTest, NeverStallsACallerOfACollectorThatReadsNothingAndReportsWhatThatCosts) {
   DatagramSocket const collector{path};
   start();
   addLines(3000);
   std::uint64_t const dropped = writer->dropped();
   EXPECT_GE(dropped, 3000 - LogQueue::mostLines - 600);  // what the queue and the socket hold at most
   EXPECT_FALSE(writer->flush(10ms));
   Lines const lines = readAll(collector);
   std::uint64_t const sent = 3000 - dropped;
   ASSERT_EQ(lines.size(), sent + 1);
   for (std::uint64_t i = 0; i < sent; ++i)
      EXPECT_EQ(lines[i], std::to_string(i));
   EXPECT_EQ(lines.back(), std::to_string(dropped) +
                               " lines were dropped because the collector did not accept them in time");
   add("there is room again");
   EXPECT_EQ(collector.next(), "there is room again");
   EXPECT_EQ(writer->dropped(), dropped);
   EXPECT_TRUE(notices.all().empty());
}

TEST_F(LogWriterTest, KeepsLinesForACollectorThatComesLaterAndReportsTheLackOnce) {
   start();
   add("first");
   notices.first(1);
   addLines(100);
   EXPECT_FALSE(writer->flush(20s)) << "nobody is there: it does not wait";
   DatagramSocket const collector{path};
   EXPECT_EQ(collector.next(), "first");
   EXPECT_EQ(readAll(collector).size(), 100U);
   EXPECT_EQ(notices.all(), Lines{"the collector does not accept lines of the log: " + path +
                                  ": No such file or directory" + missing});
   EXPECT_EQ(writer->dropped(), 0U);
}

TEST_F(LogWriterTest, FindsACollectorByItself) {
   start();
   add("first");
   notices.first(1);
   DatagramSocket const collector{path};
   EXPECT_EQ(collector.next(), "first");
}

TEST_F(LogWriterTest, LosesNoLineByTheRestartOfACollectorAndReportsEachAbsence) {
   auto collector = std::make_unique<DatagramSocket>(path);
   start();
   add("before");
   EXPECT_EQ(collector->next(), "before");
   for (std::size_t absences = 1; absences <= 2; ++absences) {
      collector.reset();
      add("meanwhile");
      EXPECT_EQ(notices.first(absences).back(),
                "the collector does not accept lines of the log: " + path + ": Connection refused" + missing);
      collector = std::make_unique<DatagramSocket>(path);
      add("after");
      writer->flush(10ms);
      EXPECT_EQ(collector->next(), "meanwhile");
      EXPECT_EQ(collector->next(), "after");
   }
}

TEST_F(LogWriterTest, DeliversWhatIsLeftBeforeItEnds) {
   DatagramSocket const collector{path};
   start();
   addLines(5);
   auto const begin = Clock::now();
   writer.reset();
   EXPECT_LT(Clock::now() - begin, 900ms);
   EXPECT_EQ(collector.received(), (Lines{"0", "1", "2", "3", "4"}));
   EXPECT_TRUE(notices.all().empty());
}

TEST_F(LogWriterTest, EndsInTimeThoughACollectorReadsNothing) {
   DatagramSocket const collector{path};
   start();
   addLines(900);
   auto const begin = Clock::now();
   writer.reset();
   auto const span = Clock::now() - begin;
   EXPECT_GE(span, LogWriter::endPatience);
   EXPECT_LT(span, LogWriter::endPatience + 900ms);
   std::size_t const lost = 900 - collector.received().size();
   EXPECT_EQ(notices.all(), Lines{"the log ends; " + std::to_string(lost) +
                                  " lines were dropped because the collector did not accept them in time"});
}

TEST_F(LogWriterTest, EndsAtOnceWhereNobodyIsThere) {
   start();
   addLines(3);
   notices.first(1);
   auto const begin = Clock::now();
   writer.reset();
   EXPECT_LT(Clock::now() - begin, 900ms);
   EXPECT_EQ(notices.all().back(),
             "the log ends; 3 lines were dropped because the collector did not accept them in time");
}

// Standard error may be a file on a disk that does not answer, whatever poll() says.
TEST_F(LogWriterTest, LeavesBehindAThreadThatTheKernelDoesNotLetGo) {
   SharedLines calls;
   std::promise<void> released;
   std::promise<void> destroyed;
   auto const stall = [&, release = released.get_future().share()](std::string_view line) {
      calls.add(line);
      release.wait();
      return Outcome::sent;
   };
   writer = std::make_unique<LogWriter>(std::make_unique<ToldSink>(stall, [&] { destroyed.set_value(); }),
                                        nullptr);
   add("stalls");
   calls.first(1);
   addLines(2000);
   EXPECT_EQ(writer->dropped(), 2000 - LogQueue::mostLines);
   auto const begin = Clock::now();
   writer.reset();
   EXPECT_LT(Clock::now() - begin, LogWriter::endPatience + 900ms);
   auto const end = destroyed.get_future();
   EXPECT_EQ(end.wait_for(0s), std::future_status::timeout);
   released.set_value();
   EXPECT_EQ(end.wait_for(20s), std::future_status::ready);
}

TEST_F(LogWriterTest, CountsAndReportsALineThatIsRefused) {
   SharedLines lines;
   auto const refuseBad = [&](std::string_view line) {
      if (line == "bad")
         return Outcome::refused;
      lines.add(line);
      return Outcome::sent;
   };
   writer = std::make_unique<LogWriter>(std::make_unique<ToldSink>(refuseBad), nullptr);
   add("good");
   add("bad");
   lines.first(1);
   writer->flush(10ms);
   EXPECT_EQ(lines.first(2),
             (Lines{"good", "1 line was dropped because the collector did not accept it in time"}));
   EXPECT_EQ(writer->dropped(), 1U);
}

}  // namespace
}  // namespace Agent
