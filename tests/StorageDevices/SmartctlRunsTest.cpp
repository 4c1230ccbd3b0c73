// The runs of smartctl: how they start, fail, hang and end.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "tests/StorageDevices/SmartDataMonitorSmTest.h"

namespace StorageDevices {

namespace {

TEST_F(SmartDataMonitorSmTest, ChangesNothingAfterAFailedRunAndTracesItsErrorOutput) {
   plug();
   start();
   poll();
   toolDoes("cat \"" + (folder_.path() / "output").string() + "\"; echo 'no such device' >&2; exit 2");
   poll();
   EXPECT_EQ(content(), healthyContent);
   EXPECT_EQ(record()->reading.count(), 1U);
   EXPECT_EQ(traces_.errors(),
             (Texts{std::string{smartctlHandler} + " Error running smartctl for /dev/sda; exit code: 2",
                    std::string{smartctlHandler} + " no such device\n"}));
   EXPECT_TRUE(monitor_->smartctlProcess.empty());
}

TEST_F(SmartDataMonitorSmTest, TracesASilentFailedRunInOneLine) {
   toolDoes("exit 1");
   plug();
   start();
   poll();
   EXPECT_EQ(traces_.errors(),
             Texts{std::string{smartctlHandler} + " Error running smartctl for /dev/sda; exit code: 1"});
   EXPECT_EQ(content(), Texts{"ok false unread, passing false unread"});
}

TEST_F(SmartDataMonitorSmTest, TreatsAMissingToolAsAFailedRunAndRetries) {
   std::filesystem::remove(folder_.path() / "smartctl");
   Support::EnvironmentSetting const path{"PATH", "/nowhere"};
   plug();
   start();
   poll();
   ASSERT_EQ(traces_.errors().size(), 2U);
   EXPECT_EQ(traces_.errors()[0],
             std::string{smartctlHandler} + " Error running smartctl for /dev/sda; exit code: 127");
   EXPECT_TRUE(monitor_->smartctlProcess.empty());
   poll();
   EXPECT_EQ(traces_.errors().size(), 4U);
}

TEST_F(SmartDataMonitorSmTest, StoresAReportWholeWhereTheHostAcceptsItsExitCodeElseNothing) {
   toolDoes("cat \"" + (folder_.path() / "output").string() + "\"; exit 4");
   plug();
   start();
   poll();
   EXPECT_EQ(content(), Texts{"ok false unread, passing false unread"});
   tracker_->failurePolicyIs(
       [](Pelm::String const & program, int code) { return program != "smartctl" || code != 4; });
   poll();
   EXPECT_EQ(content(), healthyContent);
}

TEST_F(SmartDataMonitorSmTest, StartsAndLosesNothingAtAPollDuringARun) {
   toolDoes("while [ ! -e \"" + (folder_.path() / "go").string() + "\" ]; do sleep 0.01; done; cat \"" +
            (folder_.path() / "output").string() + "\"");
   plug();
   start();
   Vorn::Host::turn();
   ASSERT_EQ(monitor_->smartctlProcess.size(), 1U);
   Pelm::Ptr<SmartctlProcess> const first = monitor_->smartctlProcess("S1");
   EXPECT_TRUE(first->started());
   monitor_->handleClock();
   monitor_->handleClock();
   EXPECT_EQ(monitor_->smartctlProcess("S1"), first);
   EXPECT_EQ(monitor_->smartctlReactor.size(), 1U);
   folder_.write("go", "");
   EXPECT_TRUE(Support::turnInRealTime([&] { return record()->reading.count() == 1; }));
   EXPECT_EQ(runs(), Texts{smartctlRun});
   EXPECT_EQ(content(), healthyContent);
}

TEST_F(SmartDataMonitorSmTest, StartsTheCommandOfARunOnlyOnce) {
   auto const process = Pelm::make<SmartctlProcess>(tracker_, "S1");
   Support::ChangeRecorder const started{process->started};
   EXPECT_EQ(process->device(), "S1");
   EXPECT_FALSE(process->started());
   process->run("/dev/sda", false);
   process->run("/dev/sdb", true);
   EXPECT_EQ(process->sm()->arg.size(), 5U);
   EXPECT_TRUE(Support::turnInRealTime([&] { return process->isOver(); }));
   process->run("/dev/sda", false);
   EXPECT_EQ(runs(), Texts{smartctlRun});
   EXPECT_EQ(started.count(), 1U);
}

TEST_F(SmartDataMonitorSmTest, StartsNothingForARunThatCountsAsStarted) {
   auto const process = Pelm::make<SmartctlProcess>(tracker_, "S1");
   process->startedIs(true);
   process->run("/dev/sda", false);
   EXPECT_EQ(process->sm()->state(), Brul::PipedChildProcessSm::State::idle);
   EXPECT_EQ(process->sm()->arg.size(), 0U);
   EXPECT_EQ(process->devicePath(), "");
}

TEST_F(SmartDataMonitorSmTest, IgnoresARunWhoseChildIsNotIdle) {
   auto const process = Pelm::make<SmartctlProcess>(tracker_, "S1");
   process->sm()->argPush("true");
   process->sm()->start(true, true);
   process->run("/dev/sda", false);
   EXPECT_FALSE(process->started());
   EXPECT_EQ(process->sm()->arg.size(), 1U);
   EXPECT_TRUE(Support::turnInRealTime(
       [&] { return process->sm()->state() != Brul::PipedChildProcessSm::State::running; }));
   process->run("/dev/sda", false);
   EXPECT_FALSE(process->started());
   EXPECT_TRUE(runs().empty());
}

TEST_F(SmartDataMonitorSmTest, PassesEachArgumentByItself) {
   auto const argumentsOf = [&](bool scsi) {
      auto const process = Pelm::make<SmartctlProcess>(tracker_, "S1");
      process->run("/dev/sda", scsi);
      EXPECT_TRUE(Support::turnInRealTime([&] { return process->isOver(); }));
      Texts arguments;
      for (Pelm::String const & argument : process->sm()->arg)
         arguments.push_back(argument.str());
      return arguments;
   };
   EXPECT_EQ(argumentsOf(true),
             (Texts{"smartctl", "--json=c", "--offlineauto=on", "-HA", "-d", "scsi", "/dev/sda"}));
   EXPECT_EQ(argumentsOf(false), (Texts{"smartctl", "--json=c", "--offlineauto=on", "-HA", "/dev/sda"}));
}

TEST_F(SmartDataMonitorSmTest, ClearsTheArgumentsOfARunFirst) {
   auto const process = Pelm::make<SmartctlProcess>(tracker_, "S1");
   process->sm()->argPush("echo");
   process->sm()->argPush("junk");
   process->run("/dev/sda", false);
   EXPECT_TRUE(Support::turnInRealTime([&] { return process->isOver(); }));
   EXPECT_EQ(runs(), Texts{smartctlRun});
}

// Notes the state of the child when the run says that it has started.
struct StartWatcher {
   void handleStarted() { state = process->sm()->state(); }
   Pelm::Ptr<SmartctlProcess> process;
   Brul::PipedChildProcessSm::State state = Brul::PipedChildProcessSm::State::idle;
   Vorn::NotifieeConst reactor;
};

TEST_F(SmartDataMonitorSmTest, MarksARunAsStartedOnceItHasStarted) {
   StartWatcher watcher{Pelm::make<SmartctlProcess>(tracker_, "S1"), {}, {}};
   watcher.state = Brul::PipedChildProcessSm::State::idle;
   watcher.reactor.notifierIs(watcher.process);
   watcher.reactor.on<&StartWatcher::handleStarted>(watcher.process->started, watcher);
   watcher.reactor.hasNotificationActiveIs(true);
   watcher.process->run("/dev/sda", false);
   EXPECT_EQ(watcher.state, Brul::PipedChildProcessSm::State::running);
   EXPECT_TRUE(Support::turnInRealTime([&] { return watcher.process->isOver(); }));
}

TEST_F(SmartDataMonitorSmTest, StoresNothingOfARunInFlightAsAZombie) {
   plug();
   start();
   Vorn::Host::turn();
   ASSERT_EQ(monitor_->smartctlProcess.size(), 1U);
   monitor_->vornDoZombieReactors(true);
   auto const process = monitor_->smartctlProcess("S1");
   EXPECT_TRUE(Support::turnInRealTime([&] { return process->isOver(); }));
   EXPECT_EQ(record()->reading.count(), 0U);
   monitor_->vornDoZombieReactors(false);
   monitor_->handleSmartctlState("S1");
   EXPECT_EQ(record()->reading.count(), 1U);
}

TEST_F(SmartDataMonitorSmTest, DropsARunAndItsReactorBeforeItStoresAnything) {
   plug();
   start();
   struct Watcher {
      void handleHours() { empty = monitor->smartctlProcess.empty() && monitor->smartctlReactor.empty(); }
      Pelm::Ptr<SmartDataMonitorSm> monitor;
      bool empty = false;
      Vorn::NotifieeConst reactor;
   } watcher{monitor_, false, {}};
   watcher.reactor.notifierIs(record());
   watcher.reactor.on<&Watcher::handleHours>(record()->powerOnHours, watcher);
   watcher.reactor.hasNotificationActiveIs(true);
   // Within no other change, so that what is filed is notified of at once.
   pollWithoutFiling(*monitor_, [&] { return monitor_->smartctlProcess("S1"); });
   monitor_->handleSmartctlState("S1");
   EXPECT_TRUE(watcher.empty);
}

TEST_F(SmartDataMonitorSmTest, DropsAFailedRunAndItsReactorBeforeItTracesTheFailure) {
   toolDoes("echo no >&2; exit 1");
   plug();
   start();
   std::vector<bool> gone;
   Vorn::Host::traceSinkIs([&](Vorn::Host::TraceLine const & line) {
      if (line.level == 0)
         gone.push_back(monitor_->smartctlProcess.empty() && monitor_->smartctlReactor.empty());
   });
   poll();
   EXPECT_EQ(gone, (std::vector<bool>{true, true})) << "the exit code, the error output";
}

TEST_F(SmartDataMonitorSmTest, IgnoresAStateOfARunThatIsGone) {
   plug();
   start();
   poll();
   monitor_->handleSmartctlState("S1");
   monitor_->handleSmartctlState("");
   EXPECT_EQ(record()->reading.count(), 1U);
}

TEST_F(SmartDataMonitorSmTest, DropsTheRunOfADiskThatLeaves) {
   toolDoes("echo $$ >\"" + (folder_.path() / "pid").string() + "\"; exec sleep 1000");
   plug();
   start();
   ASSERT_TRUE(Support::turnInRealTime([&] { return !folder_.content("pid").empty(); }));
   unplug();
   EXPECT_TRUE(data_->deviceData.empty());
   EXPECT_TRUE(monitor_->smartctlProcess.empty());
   EXPECT_TRUE(monitor_->smartctlReactor.empty());
   EXPECT_TRUE(monitor_->smartDbMapping.empty());
   pid_t const pid = std::atoi(folder_.content("pid").c_str());
   EXPECT_TRUE(Support::turnInRealTime([&] { return kill(pid, 0) != 0; })) << "the tool is not left behind";
}

TEST_F(SmartDataMonitorSmTest, DelaysNoOtherDiskForOneHangingTool) {
   Vorn::Host::timeSourceIs(std::make_unique<Vorn::Host::RealTime>(1000));  // a poll every 60 ms
   toolDoes("case \"$*\" in *sdb) exec sleep 1000;; esac; cat \"" + (folder_.path() / "output").string() +
            "\"");
   plug();
   plug({.name = "S2", .blockDevice = "/dev/sdb"});
   start();
   EXPECT_TRUE(Support::turnInRealTime([&] { return record()->reading.count() >= 5; }));
   EXPECT_EQ(data_->deviceData("S2")->reading.count(), 0U);
   Texts const all = runs();
   EXPECT_EQ(std::count(all.begin(), all.end(), "smartctl --json=c --offlineauto=on -HA /dev/sdb"), 1);
}

TEST_F(SmartDataMonitorSmTest, EndsAHangingToolAtItsLimitAndRunsItAgainAtTheNextPoll) {
   Vorn::Host::timeSourceIs(std::make_unique<Vorn::Host::RealTime>(1000));
   tracker_->timeLimitIs(0.1);
   toolDoes("[ -e \"" + (folder_.path() / "hung").string() + "\" ] || { : >\"" +
            (folder_.path() / "hung").string() + "\"; sleep 1000 & wait; }; cat \"" +
            (folder_.path() / "output").string() + "\"");
   plug();
   start();
   EXPECT_TRUE(Support::turnInRealTime([&] { return record()->reading.count() >= 1; }));
   EXPECT_EQ(content(), healthyContent);
   ASSERT_EQ(traces_.errors().size(), 2U);
   EXPECT_EQ(traces_.errors()[0],
             std::string{smartctlHandler} +
                 " Error running smartctl for /dev/sda; exit code: " + std::to_string(-SIGTERM));
   EXPECT_EQ(traces_.errors()[1], std::string{smartctlHandler} + " smartctl: it exceeded its time limit");
}

}  // namespace

}  // namespace StorageDevices
