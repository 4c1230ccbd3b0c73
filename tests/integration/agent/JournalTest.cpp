// The running program with systemd's own journal, in mounts of its own.

#include <gtest/gtest.h>
#include <poll.h>
#include <rapidjson/document.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/integration/agent/AgentProgramTest.h"
#include "tests/integration/agent/Collector.h"
#include "tests/support/MountNamespace.h"

namespace {

namespace fs = std::filesystem;

class JournalTest : public AgentProgramTest {
 protected:
   static constexpr char journald[] = "/lib/systemd/systemd-journald";
   static constexpr char catalogues[] = "/lib/systemd/catalog";
   static constexpr char database[] = "/var/lib/systemd/catalog";

   // Why there can be no journal; empty where there is one.
   std::string startJournal() {
      for (char const * const needed : {journald, "/etc/machine-id", catalogues, database})
         if (!fs::exists(needed))
            return std::string{needed} + " does not exist";
      if (std::string lacking = Support::ownMountTable(); !lacking.empty())
         return lacking;
      run = std::make_unique<Support::MountedFolder>("none", "/run");
      fs::create_directories("/run/systemd/journald.conf.d");
      std::ofstream{"/run/systemd/journald.conf.d/test.conf"}
          << "[Journal]\nStorage=volatile\nReadKMsg=no\nAudit=no\nRateLimitIntervalSec=0\n";
      journal.emplace(journald, std::vector<std::string>{});
      return *run && Support::waitInRealTime([] { return fs::exists("/run/systemd/journal/socket"); }, pause)
                 ? ""
                 : "the journal does not start";
   }
   static void pause() {
      pollfd never{-1, 0, 0};
      poll(&never, 1, 10);
   }

   // What journalctl prints of the program's entries.
   static std::string entries(std::string const & arguments) {
      return shell("LD_PRELOAD= journalctl --sync; LD_PRELOAD= journalctl -q --no-pager -t storagedevices " +
                   arguments)
          .text;
   }
   static bool shows(std::string const & arguments, std::string const & text) {
      return Support::waitInRealTime([&] { return entries(arguments).find(text) != std::string::npos; },
                                     pause);
   }

   std::unique_ptr<Support::MountedFolder> run;
   std::optional<Collector> journal;
};

TEST_F(JournalTest, HasTheFieldsOfAMessageAndItsExplanation) {
   if (std::string const lacking = startJournal(); !lacking.empty())
      GTEST_SKIP() << lacking;
   config("[log]\ndestination = \"journal\"\n");
   start();
   ASSERT_TRUE(waitInRealTime([&] { return has("SN-A") && state["internalDevicesReady"].GetBool(); }));
   unit.unplug("sda");
   std::string const one = "-n 1 -o json MESSAGE_ID=7c47988111a1412bb4e1626a9c906846";
   ASSERT_TRUE(shows(one, "SN-A")) << entries("");
   rapidjson::Document entry;
   entry.Parse(entries(one).c_str());
   ASSERT_TRUE(entry.IsObject()) << entries(one);
   for (auto const & [name, value] : std::map<std::string, std::string>{
            {"MESSAGE",
             "STORAGEDEVICE_OFFLINE: A removal event occurred unexpectedly for internal storage "
             "device SN-A"},
            {"PRIORITY", "3"},
            {"SYSLOG_IDENTIFIER", "storagedevices"},
            {"STORAGEDEVICE_NAME", "STORAGEDEVICE_OFFLINE"},
            {"STORAGEDEVICE_ARG0", "SN-A"},
            {"_TRANSPORT", "journal"},
            {"_PID", std::to_string(agentPid())}})
      EXPECT_EQ(entry[name.c_str()].GetString(), value) << name;
   Support::MountedFolder const catalogue{"none", catalogues};
   Support::MountedFolder const compiled{"none", database};
   fs::copy_file(JOURNAL_CATALOGUE, fs::path{catalogues} / "storagedevices.catalog");
   EXPECT_EQ(shell("LD_PRELOAD= journalctl --update-catalog").exitCode, 0);
   std::string const explained = entries("-x -n 1 MESSAGE_ID=7c47988111a1412bb4e1626a9c906846");
   for (char const * const text :
        {"Subject: A removal event occurred unexpectedly for internal storage device …\n",
         "The kernel notified userspace that an internal storage device was removed from the system.",
         "Check that the storage device is seated and connected."})
      EXPECT_NE(explained.find(text), std::string::npos) << explained;
}

TEST_F(JournalTest, StallsNothingWhileItIsStoppedAndGetsEveryLineAfterwards) {
   if (std::string const lacking = startJournal(); !lacking.empty())
      GTEST_SKIP() << lacking;
   config("[log]\ndestination = \"journal\"\n[trace]\nStorageConnectedDevicesSm = 9\n");
   start();
   ASSERT_TRUE(waitInRealTime([&] { return has("SN-A"); }));
   ASSERT_TRUE(journal->signal(SIGSTOP));
   for (int i = 0; i < 3; ++i) {
      unit.plug(StorageDevices::Simulation::usbDisk("sdb", "1-1.2", "STICK", "Stick", 60000000));
      ASSERT_TRUE(waitInRealTime([&] { return has("STICK"); }));
      unit.unplug("sdb");
      ASSERT_TRUE(waitInRealTime([&] { return !has("STICK"); }));
   }
   ASSERT_TRUE(journal->signal(SIGCONT));
   signalAgent(SIGHUP);
   EXPECT_TRUE(shows("PRIORITY=6", "configuration reloaded: ")) << entries("");
   EXPECT_TRUE(waitInRealTime([&] { return state["log"]["linesDropped"].GetUint() == 0; }));
}

}  // namespace
