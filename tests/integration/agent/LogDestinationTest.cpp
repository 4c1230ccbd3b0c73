// The running program with its log sent to a collector: the journal's or syslog's socket, read by the test.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "base/KernelLineSender.h"
#include "tests/integration/agent/AgentProgramTest.h"
#include "tests/support/DatagramSocket.h"
#include "tests/support/Regex.h"

namespace {

class LogDestinationTest : public AgentProgramTest {
 protected:
   LogDestinationTest() {
      for (char const * const needed : {"dev", "run/systemd/journal", "proc/self", "sys"})
         std::filesystem::create_directories(root + "/" + needed);
      folder.write("root/proc/self/mountinfo", "");
   }

   void startWith(std::string const & destination, std::string const & more = "") {
      config("[log]\ndestination = \"" + destination + "\"\n" + more);
      start(AGENT_PROGRAM, {{"STORAGEDEVICES_SIMULATED_ROOT", root}});
   }

   // Ends the agent. What it has written to standard error.
   std::string const & logAtEnd() {
      EXPECT_TRUE(endsBy(SIGTERM));
      readLog();
      EXPECT_EQ(agent->stop(), "exit code 0");
      return log;
   }

   // Reads the collector until a datagram contains the text; empty: none has come.
   static std::string datagramWith(std::string const & text, Support::DatagramSocket const & collector) {
      std::string datagram;
      do
         datagram = collector.next();
      while (!datagram.empty() && datagram.find(text) == std::string::npos);
      return datagram;
   }

   std::string const root = folder.string() + "/root";
   std::string const journalPath = root + "/run/systemd/journal/socket";
   std::string const syslogPath = root + "/dev/log";
};

TEST_F(LogDestinationTest, SendsNoticesTracesAndMessagesToTheJournal) {
   Support::DatagramSocket const journal{journalPath};
   startWith("journal", "[trace]\nStorageConnectedDevicesSm = 2\n");
   EXPECT_EQ(datagramWith("started", journal).find("MESSAGE=version "), 0U);
   std::string const trace = datagramWith("MESSAGE=trace StorageConnectedDevicesSm/", journal);
   EXPECT_NE(trace.find("\nPRIORITY=7\n"), std::string::npos) << trace;
   ASSERT_TRUE(waitInRealTime([&] { return has("SN-A") && state["internalDevicesReady"].GetBool(); }));
   unit.unplug("sda");
   std::string const offline = datagramWith("MESSAGE=STORAGEDEVICE_OFFLINE", journal);
   EXPECT_FALSE(Support::Regex{
       "^MESSAGE=STORAGEDEVICE_OFFLINE: A removal event occurred unexpectedly for internal storage device "
       "SN-A\n"
       "PRIORITY=3\nSYSLOG_IDENTIFIER=storagedevices\nSYSLOG_FACILITY=3\n"
       "MESSAGE_ID=7c47988111a1412bb4e1626a9c906846\nSTORAGEDEVICE_NAME=STORAGEDEVICE_OFFLINE\n"
       "STORAGEDEVICE_TIME=[0-9T:.-]+Z\nSTORAGEDEVICE_ARG0=SN-A\n$"}
                    .search(offline)
                    .empty())
       << offline;
   EXPECT_EQ(logAtEnd(), "");
   EXPECT_NE(datagramWith("MESSAGE=stopping\n", journal), "");
}

TEST_F(LogDestinationTest, SendsLinesToSyslog) {
   Support::DatagramSocket const syslog{syslogPath};
   startWith("syslog");
   std::string const pid = std::to_string(agentPid());
   std::string const started = datagramWith("started", syslog);
   EXPECT_FALSE(
       Support::Regex{"^<30>[A-Z][a-z]{2} [ 1-3][0-9] [0-9:]{8} storagedevices\\[" + pid + "\\]: version "}
           .search(started)
           .empty())
       << started;
   EXPECT_EQ(logAtEnd(), "");
   EXPECT_NE(datagramWith("]: stopping", syslog), "");
}

TEST_F(LogDestinationTest, ReportsAMissingCollectorAndSendsItEveryLineWhenItComes) {
   startWith("syslog");
   EXPECT_TRUE(
       logs(" warning storagedevices: syslog does not accept lines of the log: " + syslogPath +
            ": No such file or directory; start it, or set log.destination to another; up to 1000 lines wait "
            "for it\n"))
       << log;
   ASSERT_TRUE(waitInRealTime([&] { return has("SN-A") && state["internalDevicesReady"].GetBool(); }));
   unit.unplug("sda");
   ASSERT_TRUE(waitInRealTime([&] { return !has("SN-A"); }));
   auto syslog = std::make_unique<Support::DatagramSocket>(syslogPath);
   EXPECT_NE(datagramWith("]: version ", *syslog), "");
   EXPECT_NE(datagramWith("]: STORAGEDEVICE_OFFLINE: ", *syslog), "");
   syslog.reset();
   signalAgent(SIGHUP);
   EXPECT_TRUE(logs(syslogPath + ": Connection refused; ")) << log;
   syslog = std::make_unique<Support::DatagramSocket>(syslogPath);
   EXPECT_NE(datagramWith("]: configuration reloaded: ", *syslog), "");
   EXPECT_TRUE(waitInRealTime([&] { return state["log"]["linesDropped"].GetUint() == 0; }));
   EXPECT_EQ(agent->stop(), "exit code 0");
}

TEST_F(LogDestinationTest, AnswersAndEndsInTimeThoughTheCollectorReadsNothing) {
   Support::DatagramSocket const journal{journalPath};
   startWith("journal", "[trace]\nStorageDevicesErrWatchSm = 7\n");
   ASSERT_TRUE(waitInRealTime([&] { return has("SN-A"); }));
   Base::KernelLineSender const kernel{kernelSocket};
   // The report of a single line has another text.
   auto const drops = [&] {
      kernel.send("kernel: [   12.500000] usb 9-9: " + std::string(3000, 'x'));
      return state["log"]["linesDropped"].GetUint() > 1;
   };
   ASSERT_TRUE(waitInRealTime(drops, std::chrono::seconds{30}));
   std::string const report =
       datagramWith(" lines were dropped because the journal did not accept them in time\n", journal);
   EXPECT_NE(report.find("\nPRIORITY=4\n"), std::string::npos) << report;
   ASSERT_TRUE(readState());
   unsigned const before = state["log"]["linesDropped"].GetUint();
   EXPECT_NE(Command::askAgent(socket, "/metrics")
                 .find("\nstoragedevices_log_lines_dropped_total " + std::to_string(before) + "\n"),
             std::string::npos);
   ASSERT_TRUE(waitInRealTime([&] { return drops() && state["log"]["linesDropped"].GetUint() > before; },
                              std::chrono::seconds{30}));
   auto const begin = std::chrono::steady_clock::now();
   EXPECT_NE(logAtEnd().find("storagedevices: the log ends; "), std::string::npos) << log;
   EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{4});
}

}  // namespace
