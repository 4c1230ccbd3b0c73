#include "agent/documents/AgentMetrics.h"

#include <fstream>
#include <string>

#include "StorageDevices/LogCatalogue.h"
#include "base/Version.h"
#include "tests/agent/documents/MetricsTest.h"
#include "tests/support/TempDir.h"
#include "tests/support/UnitOfRecords.h"

namespace Agent {
namespace {

namespace Catalogue = StorageDevices::Catalogue;

class AgentMetricsTest : public Support::MetricsOf<Support::UnitOfRecords> {
 protected:
   std::string of(std::string const & sample) { return value("storagedevices_" + sample); }
   double number(std::string const & sample) { return std::stod(value(sample)); }
   void logged(Vorn::LogDescriptor const & message, int times) {
      for (int i = 0; i < times; ++i)
         messages.add({message, {}, "", 1});
   }
   void runEnds(char const * tool, double seconds, bool failed = false, bool timedOut = false) {
      auto const run = Pelm::make<Brul::FinishedRun>();
      run->argv = {tool};
      run->duration = seconds;
      run->failed = failed;
      run->timedOut = timedOut;
      tracker->finishedRunIs(run);
   }
};

TEST_F(AgentMetricsTest, NamesTheVersion) {
   EXPECT_EQ(of("build_info{version=\"" + std::string{Base::version} + "\"}"), "1");
}

TEST_F(AgentMetricsTest, HasTheVerdictOnTheUnit) {
   EXPECT_EQ(of("unit_verdict{verdict=\"unknown\"}"), "1");
   manager = StorageDevices::mountPtMonitorManagerSmFactory(entities.devices);
   EXPECT_EQ(of("unit_verdict{verdict=\"unknown\"}"), "0");
   EXPECT_EQ(of("unit_verdict{verdict=\"warning\"}"), "1") << "an expected disk is missing";
   EXPECT_EQ(seriesWith("unit_verdict{"), 5U);
}

TEST_F(AgentMetricsTest, CountsEveryMessageOfTheCatalogueFromZero) {
   EXPECT_EQ(seriesWith("messages_total{"), Catalogue::all.size());
   logged(Catalogue::offline, 2);
   for (Vorn::LogDescriptor const & message : Catalogue::all)
      EXPECT_EQ(of("messages_total{name=\"" + std::string{message.name} + "\"}"),
                std::string{message.name} == Catalogue::offline.name ? "2" : "0");
}

TEST_F(AgentMetricsTest, CountsMessagesThatTheStoreHasDropped) {
   logged(Catalogue::offline, MessageStore::kept + 5);
   EXPECT_EQ(of("messages_total{name=\"STORAGEDEVICE_OFFLINE\"}"), "2005");
}

TEST_F(AgentMetricsTest, CountsTheRunsOfEachToolByResult) {
   EXPECT_EQ(seriesWith("tool_run"), 0U) << "none has run";
   runEnds("smartctl", 0.02);
   runEnds("smartctl", 0.02);
   runEnds("smartctl", 1, true);
   runEnds("nvme", 60, true, true);
   EXPECT_EQ(of("tool_runs_total{tool=\"smartctl\",result=\"ok\"}"), "2");
   EXPECT_EQ(of("tool_runs_total{tool=\"smartctl\",result=\"failed\"}"), "1");
   EXPECT_EQ(of("tool_runs_total{tool=\"smartctl\",result=\"timed_out\"}"), "0");
   EXPECT_EQ(of("tool_runs_total{tool=\"nvme\",result=\"failed\"}"), "0");
   EXPECT_EQ(of("tool_runs_total{tool=\"nvme\",result=\"timed_out\"}"), "1");
}

TEST_F(AgentMetricsTest, CountsTheDurationsOfToolRunsFromTenMillisecondsToAMinute) {
   for (double const seconds : {0.01, 0.02, 2.0, 60.0, 61.0})
      runEnds("nvme", seconds);
   auto const atMost = [this](char const * bound) {
      return of(std::string{"tool_run_seconds_bucket{tool=\"nvme\",le=\""} + bound + "\"}");
   };
   EXPECT_EQ(atMost("0.01"), "1");
   EXPECT_EQ(atMost("0.03"), "2");
   EXPECT_EQ(atMost("0.1"), "2");
   EXPECT_EQ(atMost("3"), "3");
   EXPECT_EQ(atMost("60"), "4");
   EXPECT_EQ(atMost("+Inf"), "5");
   EXPECT_EQ(of("tool_run_seconds_count{tool=\"nvme\"}"), "5");
   EXPECT_EQ(of("tool_run_seconds_sum{tool=\"nvme\"}"), "123.03");
}

TEST_F(AgentMetricsTest, CountsLinesOfTheKernel) {
   EXPECT_EQ(of("kernel_lines_total{result=\"received\"}"), "0") << "none is forwarded";
   kernelLines = {.received = 9, .forwarded = 6, .rewritten = 5, .dropped = 3, .overruns = 1};
   logged(Catalogue::ioError, 1);
   logged(Catalogue::ioErrorExternalUsb, 1);
   EXPECT_EQ(of("kernel_lines_total{result=\"received\"}"), "9");
   EXPECT_EQ(of("kernel_lines_total{result=\"rewritten\"}"), "5");
   EXPECT_EQ(of("kernel_lines_total{result=\"dropped\"}"), "3");
   EXPECT_EQ(of("kernel_lines_total{result=\"reported\"}"), "2");
   EXPECT_EQ(seriesWith("kernel_lines_total{"), 4U);
}

TEST_F(AgentMetricsTest, DescribesStallsOfTheLoop) {
   EXPECT_EQ(of("loop_stalls_total"), "0");
   EXPECT_EQ(of("loop_longest_stall_seconds"), "0");
   EXPECT_EQ(seriesWith("loop_last_stall_seconds"), 0U);
   stalls = {2, 93.25, Stall{12.5, "fsync", "/mnt/\"dri\\\nve", 1700000000.5}};
   EXPECT_EQ(of("loop_stalls_total"), "2");
   EXPECT_EQ(of("loop_longest_stall_seconds"), "93.25");
   EXPECT_EQ(of(R"(loop_last_stall_seconds{operation="fsync",path="/mnt/\"dri\\\\nve"})"), "12.5") << text();
}

TEST_F(AgentMetricsTest, CountsDroppedLinesOfTheLog) {
   logLinesDropped = 7;
   EXPECT_EQ(of("log_lines_dropped_total"), "7");
}

TEST_F(AgentMetricsTest, DescribesItsProcess) {
   constexpr double mebibyte = 1048576;
   EXPECT_GT(number("process_resident_memory_bytes"), mebibyte);
   EXPECT_GT(number("process_cpu_seconds_total"), 0);
   EXPECT_EQ(value("process_start_time_seconds"), "1699999400") << "600 s ago";
   double const before = number("process_open_fds");
   Support::TempDir const folder;
   std::ofstream const file{folder.path() / "file"};
   EXPECT_EQ(number("process_open_fds"), before + 1);
   EXPECT_GE(before, 3);
}

}  // namespace
}  // namespace Agent
