#include "StorageDevices/SmartDataMonitorSm.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>

#include "StorageDevices/Factories.h"
#include "runtime/host/Failure.h"
#include "tests/support/MemoryLimit.h"
#include "tests/support/ToolMonitorTest.h"

namespace StorageDevices {

namespace {

using Texts = std::vector<std::string>;
using Support::DiskFields;

constexpr std::size_t largeOutput = 3993600;  // bytes, just below what a tool may print
constexpr char smartctlHandler[] =
    "void StorageDevices::SmartDataMonitorSm::handleSmartctlState(const String&)";
constexpr char smartctlRun[] = "smartctl --json=c --offlineauto=on -HA /dev/sda";

std::string rowText(int id, std::string const & name, int value, long raw, int thresh = 10) {
   return R"({"id":)" + std::to_string(id) + R"(,"name":")" + name + R"(","value":)" + std::to_string(value) +
          R"(,"worst":99,"thresh":)" + std::to_string(thresh) + R"(,"flags":{"value":50},"raw":{"value":)" +
          std::to_string(raw) + R"(,"string":")" + std::to_string(raw) + R"("}})";
}

std::string report(char const * verdict, std::string const & rows) {
   std::string const status =
       *verdict ? R"("smart_status":{"passed":)" + std::string{verdict} + "}," : std::string{};
   return "{" + status + R"("ata_smart_attributes":{"table":[)" + rows + "]}}";
}

std::string const hoursRow = rowText(9, "Power_On_Hours", 100, 12345);
std::string const sectors = rowText(5, "Reallocated_Sector_Ct", 100, 3);
std::string const spinUp = rowText(3, "Spin_Up_Time", 97, 0);
std::string const healthy = report("true", hoursRow + "," + sectors + "," + spinUp);

class SmartDataMonitorSmTest : public Support::ToolMonitorTest {
 protected:
   SmartDataMonitorSmTest() : ToolMonitorTest{"smartctl", "StorageSmartDataMonitorSm", {.name = "S1"}} {
      toolPrints(healthy);
   }
   ~SmartDataMonitorSmTest() override {
      monitor_ = nullptr;
      driveDatabaseIs(nullptr);
      EXPECT_TRUE(
          Support::turnInRealTime([&] { return tracker_->orphans() == 0 && !Support::hasChildren(); }));
   }

   void start() { monitor_ = smartDataMonitorSmFactory(interval_, devices_, data_, tracker_); }
   Pelm::Ptr<DeviceSmartData> record() const { return data_->deviceData("S1"); }
   // Everything in the record, a line each.
   Texts content() const {
      DeviceSmartData const & from = *record();
      Texts lines = {std::string{"ok "} + (from.healthStatusOk() ? "true" : "false") +
                     (from.healthStatusRead() ? "" : " unread") + ", passing " +
                     (from.allAttrsPassing() ? "true" : "false") + (from.attrsRead() ? "" : " unread")};
      for (SmartField const & field : smartFields)
         if (auto const & attr = (from.*field.cell)())
            lines.push_back((from.*field.cell).id() + (" " + std::to_string(attr->reportedValue)));
      for (auto const & [id, attr] : from.unknownAttr)
         lines.push_back("unknown " + attr.name.str());
      return lines;
   }
   // A record as the healthy report leaves it, then a poll of something else.
   Texts contentAfter(std::string const & output) {
      toolPrints(healthy);
      plug();
      start();
      poll();
      EXPECT_EQ(content(), healthyContent);
      traces_.clear();
      toolPrints(output);
      poll();
      return content();
   }

   // A poll with that many bytes of memory to spare.
   void pollWith(std::size_t more) {
      Vorn::Host::failureSinkIs([](std::string_view, std::string_view) {});
      {
         Support::MemoryLimit const limit{more};
         poll();
      }
      Vorn::Host::failureSinkIs(nullptr);
      errors_ = traces_.errors();
      traces_.clear();
   }

   Texts errors_;
   Texts const healthyContent = {"ok true, passing true", "reallocatedSectorCount 100", "powerOnHours 12345",
                                 "unknown Spin_Up_Time"};
   Pelm::Ptr<SmartData> data_ = Pelm::make<SmartData>();
   Pelm::Ptr<SmartDataMonitorSm> monitor_;
};

// Records the notifications of a record in their order.
struct RecordWatcher {
   void handleVerdict() { notified.emplace_back("verdict"); }
   void handleHours() { notified.emplace_back("attributes"); }
   Texts notified;
   Vorn::NotifieeConst reactor;
};

TEST_F(SmartDataMonitorSmTest, RunsTheToolOncePerPollAndStoresItsReport) {
   plug();
   start();
   EXPECT_TRUE(eventually([&] { return record()->reading.count() == 1; }));
   EXPECT_EQ(content(), healthyContent);
   EXPECT_EQ(record()->powerOnHours()->raw, 12345);
   EXPECT_EQ(runs(), Texts{smartctlRun});
   Vorn::Host::runFor(61);
   EXPECT_TRUE(eventually([&] { return record()->reading.count() == 2; }));
   EXPECT_EQ(runs(), (Texts{smartctlRun, smartctlRun}));
   EXPECT_TRUE(traces_.errors().empty());
   EXPECT_TRUE(monitor_->smartctlProcess.empty());
   EXPECT_TRUE(monitor_->smartctlReactor.empty());
}

TEST_F(SmartDataMonitorSmTest, ReadsUsbDrivesThroughScsiAndTheOthersDirectly) {
   for (unsigned char const bus : {0, 1, 2, 3})
      plug({.name = "bus" + std::to_string(bus),
            .blockDevice = "/dev/b" + std::to_string(bus),
            .busType = bus});
   start();
   poll();
   Texts seen = runs();
   std::sort(seen.begin(), seen.end());
   EXPECT_EQ(seen, (Texts{"smartctl --json=c --offlineauto=on -HA -d scsi /dev/b0",
                          "smartctl --json=c --offlineauto=on -HA /dev/b1",
                          "smartctl --json=c --offlineauto=on -HA /dev/b2"}));
}

TEST_F(SmartDataMonitorSmTest, IgnoresADiskOfNoKnownBus) {
   plug({.name = "E1", .busType = ConnectedDisk::BusType::other});
   start();
   poll();
   EXPECT_TRUE(data_->deviceData.empty());
   EXPECT_TRUE(monitor_->smartDbMapping.empty());
   EXPECT_TRUE(runs().empty());
}

TEST_F(SmartDataMonitorSmTest, KeepsButDoesNotPollARecordWhoseDiskIsOnNoKnownBus) {
   data_->deviceDataIs("S1");
   plug({.name = "S1", .busType = ConnectedDisk::BusType::other});
   start();
   poll();
   EXPECT_TRUE(record());
   EXPECT_TRUE(runs().empty());
   EXPECT_TRUE(monitor_->smartctlProcess.empty());
}

// A run that waits for the file "go", and then does something, while the disk changes its device node.
TEST_F(SmartDataMonitorSmTest, NamesTheDeviceOfTheRunInItsTraces) {
   std::string const wait =
       "while [ ! -e \"" + (folder_.path() / "go").string() + "\" ]; do sleep 0.01; done; ";
   DiskFields changed = disk_;
   changed.blockDevice = "/dev/sdz";
   for (auto const & [does, text] :
        {std::pair{"exit 1", " Error running smartctl for /dev/sda; exit code: 1"},
         std::pair{"echo {}", " Could not obtain health status for /dev/sda"}}) {
      toolDoes(wait + does);
      plug();
      start();
      Vorn::Host::turn();
      plug(changed);
      folder_.write("go", "");
      EXPECT_TRUE(Support::turnInRealTime([&] { return monitor_->smartctlProcess.empty(); }));
      EXPECT_EQ(traces_.errors(), Texts{smartctlHandler + std::string{text}});
      std::filesystem::remove(folder_.path() / "go");
      traces_.clear();
   }
}

TEST_F(SmartDataMonitorSmTest, NotifiesNobodyOfTheSameReportTwice) {
   plug();
   start();
   poll();
   Support::ChangeRecorder const hoursChanges{record()->powerOnHours};
   Support::ChangeRecorder const sectorChanges{record()->reallocatedSectorCount};
   Support::ChangeRecorder const unknownChanges{record()->unknownAttr};
   Support::ChangeRecorder const passingChanges{record()->allAttrsPassing};
   poll();
   EXPECT_EQ(record()->reading.count(), 2U);
   EXPECT_EQ(hoursChanges.count() + sectorChanges.count() + unknownChanges.count() + passingChanges.count(),
             0U);
}

TEST_F(SmartDataMonitorSmTest, NotifiesOnlyOfTheFieldThatAReportDrops) {
   plug();
   start();
   poll();
   Support::ChangeRecorder const hoursChanges{record()->powerOnHours};
   Support::ChangeRecorder const sectorChanges{record()->reallocatedSectorCount};
   Support::ChangeRecorder const unknownChanges{record()->unknownAttr};
   toolPrints(report("true", hoursRow + "," + spinUp));
   poll();
   EXPECT_EQ(hoursChanges.count(), 0U);
   EXPECT_EQ(unknownChanges.count(), 0U);
   ASSERT_EQ(sectorChanges.count(), 1U);
   EXPECT_EQ((*sectorChanges.changes()[0].old)->raw, 3);
   EXPECT_FALSE(*sectorChanges.changes()[0].now);
}

TEST_F(SmartDataMonitorSmTest, ReadsTheAttributesAndKeepsTheVerdictWithoutANewVerdict) {
   Texts const expected = {"ok true, passing true", "powerOnHours 500"};
   EXPECT_EQ(contentAfter(report("", rowText(9, "Power_On_Hours", 100, 500))), expected);
   EXPECT_EQ(record()->reading.count(), 2U);
   EXPECT_EQ(traces_.errors(),
             Texts{std::string{smartctlHandler} + " Could not obtain health status for /dev/sda"});
}

TEST_F(SmartDataMonitorSmTest, ReadsTheVerdictAndKeepsTheAttributesWithoutATable) {
   Texts expected = healthyContent;
   expected[0] = "ok false, passing true";
   EXPECT_EQ(contentAfter(R"({"smart_status":{"passed":false}})"), expected);
   EXPECT_EQ(record()->reading.count(), 2U);
   EXPECT_TRUE(traces_.errors().empty());
   EXPECT_EQ(traces_.texts(2),
             Texts{std::string{smartctlHandler} + " Could not obtain SMART attributes for /dev/sda"});
}

TEST_F(SmartDataMonitorSmTest, TracesTheMissingVerdictFirstWithoutEither) {
   EXPECT_EQ(contentAfter("{}"), healthyContent);
   std::string const start = smartctlHandler;
   EXPECT_EQ(
       traces_.lines(),
       (std::vector<Support::TraceRecorder::Line>{
           {"StorageSmartDataMonitorSm", 0, start + " Could not obtain health status for /dev/sda"},
           {"StorageSmartDataMonitorSm", 2, start + " Could not obtain SMART attributes for /dev/sda"}}));
}

TEST_F(SmartDataMonitorSmTest, StoresTheVerdictBeforeTheAttributes) {
   plug();
   start();
   RecordWatcher watcher;
   watcher.reactor.notifierIs(record());
   watcher.reactor.on<&RecordWatcher::handleVerdict>(record()->healthStatusOk, watcher);
   watcher.reactor.on<&RecordWatcher::handleHours>(record()->powerOnHours, watcher);
   watcher.reactor.hasNotificationActiveIs(true);
   poll();
   EXPECT_EQ(watcher.notified, (Texts{"verdict", "attributes"}));
}

TEST_F(SmartDataMonitorSmTest, EmptiesTheAttributesWithAnEmptyTable) {
   EXPECT_EQ(contentAfter(report("true", "")), Texts{"ok true, passing true"});
}

TEST_F(SmartDataMonitorSmTest, ReportsARowBelowItsThreshold) {
   EXPECT_EQ(contentAfter(report("true", rowText(5, "Reallocated_Sector_Ct", 10, 3)))[0],
             "ok true, passing false");
}

TEST_F(SmartDataMonitorSmTest, RecordsWhySinceWhenAndHowOftenReadingsFail) {
   plug();
   start();
   poll();
   auto const & reading = record()->reading;
   EXPECT_STREQ(reading.source(), "smartctl");
   Vorn::Seconds const good = reading.time();
   EXPECT_FALSE(reading.failure());
   toolDoes("exit 2");
   Vorn::Seconds const first = Vorn::System::currentTime();
   poll();
   ASSERT_TRUE(reading.failure());
   EXPECT_EQ(reading.failure()->reason,
             "the device could not be opened or identified, or is in a low-power mode");
   time->jumpBy(10);
   toolPrints("{}");
   Vorn::Seconds const second = Vorn::System::currentTime();
   poll();
   EXPECT_EQ(reading.failure()->reason, "unreadable output") << "it holds neither verdict nor attribute";
   EXPECT_EQ(reading.failure()->since, first);
   EXPECT_EQ(reading.failure()->polls, 2U);
   EXPECT_FALSE(reading.failure()->hangs);
   EXPECT_EQ(reading.time(), good);
   EXPECT_EQ(reading.ended(), second);
   toolPrints(healthy);
   Vorn::Seconds const last = Vorn::System::currentTime();
   poll();
   EXPECT_FALSE(reading.failure());
   EXPECT_EQ(reading.count(), 2U);
   EXPECT_EQ(reading.ended(), last);
}

TEST_F(SmartDataMonitorSmTest, RecordsAReadingThatTheTimeLimitEndedAsHanging) {
   Vorn::Host::timeSourceIs(nullptr);  // virtual time waits for the tool
   tracker_->timeLimitIs(0.1);
   plug();
   start();
   toolDoes("exec sleep 60");
   interval_->intervalIs(61);
   ASSERT_TRUE(Support::turnInRealTime([&] { return bool{record()->reading.failure()}; }));
   EXPECT_EQ(record()->reading.failure()->reason, "exceeded its time limit");
   EXPECT_TRUE(record()->reading.failure()->hangs);
}

TEST_F(SmartDataMonitorSmTest, RecordsARunWithAcceptedExitBitsAsGood) {
   tracker_->failurePolicyIs([](Pelm::String const &, int) { return false; });
   plug();
   start();
   toolDoes("cat \"" + folder_.write("output", healthy).string() + "\"; exit 8");
   poll();
   EXPECT_FALSE(record()->reading.failure());
   EXPECT_EQ(record()->reading.count(), 1U);
}

TEST_F(SmartDataMonitorSmTest, ChangesNothingForOutputThatIsNoDocument) {
   EXPECT_EQ(contentAfter(""), healthyContent);
   EXPECT_EQ(traces_.errors(),
             Texts{std::string{smartctlHandler} + " JSON parsing error: The document is empty."});
}

TEST_F(SmartDataMonitorSmTest, ChangesNothingForAReportThatIsCutOff) {
   EXPECT_EQ(contentAfter(healthy.substr(0, healthy.size() / 2)), healthyContent);
   EXPECT_EQ(traces_.errors().size(), 1U);
   EXPECT_EQ(record()->reading.count(), 1U);
}

#ifndef STORAGEDEVICES_SANITIZED  // sanitizers need more address space than these limits

TEST_F(SmartDataMonitorSmTest, UsesNoMoreMemoryForThousandsOfLargeReportsThanForTheFirst) {
   constexpr int readings = 2000;
   constexpr int first = 200;
   std::string rows = hoursRow;
   while (rows.size() < 100000)
      rows += "," + rowText(9, "Power_On_Hours", 100, 12345);
   folder_.writeScript("smartctl",
                       "exec cat \"" + folder_.write("large", report("true", rows)).string() + "\"");
   plug();
   start();
   std::size_t before = 0;
   for (int reading = 0; reading < readings; ++reading) {
      poll();
      before = reading == first ? Support::MemoryUse::now().resident : before;
   }
   EXPECT_GT(record()->reading.count(), 0U + readings - 1);
   EXPECT_LT(Support::MemoryUse::now().resident, before + (std::size_t{1} << 20U));
}

// As much as a tool may print.
TEST_F(SmartDataMonitorSmTest, ChangesNothingForAReportWithoutMemoryForIt) {
   plug();
   start();
   poll();
   std::string hostile = "[0";
   while (hostile.size() < largeOutput)
      hostile += ",0";
   toolPrints(hostile + "]");
   for (std::size_t const more : {0, 1, 4, 8, 16, 32}) {
      pollWith(more << 20U);
      EXPECT_TRUE(monitor_->smartctlProcess.empty()) << more;
      EXPECT_EQ(content(), healthyContent) << more;
      EXPECT_FALSE(std::exchange(errors_, {}).empty()) << more;
   }
   toolPrints(healthy);
   poll();
   EXPECT_EQ(record()->reading.count(), 2U);
}

TEST_F(SmartDataMonitorSmTest, StoresAReportWholeOrNotAtAllWithLittleMemoryForItsText) {
   plug();
   start();
   std::string const padding(largeOutput, 'x');
   int filed = 0;
   for (std::size_t const more : {0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 100}) {
      toolPrints(healthy);
      poll();
      toolPrints(report("false", rowText(9, padding, 100, 1)));
      auto const before = record()->reading.count();
      pollWith(more << 20U);
      bool const isFiled = record()->reading.count() != before;
      EXPECT_NE(isFiled, content() == healthyContent) << more;
      EXPECT_NE(isFiled, !std::exchange(errors_, {}).empty()) << more;
      EXPECT_NE(isFiled, bool{record()->reading.failure()}) << more;
      filed += isFiled ? 1 : 0;
   }
   EXPECT_GT(filed, 0);
}

#endif

TEST_F(SmartDataMonitorSmTest, ChangesNothingForADocumentThatIsNoObject) {
   EXPECT_EQ(contentAfter("[1, 2, 3]"), healthyContent);
   EXPECT_EQ(record()->reading.count(), 1U);
   EXPECT_EQ(traces_.errors(),
             Texts{std::string{smartctlHandler} + " Could not obtain health status for /dev/sda"});
}

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

// Deviates in two attributes and counts how often it is asked.
class TestDatabase final : public DriveDatabase {
 public:
   explicit TestDatabase(std::vector<std::string> & asked) : asked_{asked} {}
   DriveSmartMapping findDeviceMapping(Pelm::String const & model) const override {
      asked_.push_back(model.str());
      DriveSmartMapping mapping;
      mapping[9].ignore = true;
      mapping[3].field = {&DeviceSmartData::wearLevelingCount, &DeviceSmartData::wearLevelingCountIs};
      mapping[3].value = [](SmartAttr const & attr) -> std::int64_t { return std::int64_t{attr.value} * 2; };
      return mapping;
   }

 private:
   std::vector<std::string> & asked_;
};

TEST_F(SmartDataMonitorSmTest, AsksForTheMappingOncePerDiskAndUsesIt) {
   Texts asked;
   driveDatabaseIs(std::make_unique<TestDatabase>(asked));
   plug();
   start();
   poll();
   poll();
   EXPECT_EQ(content(), (Texts{"ok true, passing true", "reallocatedSectorCount 100", "wearLevelingCount 194",
                               "unknown Power_On_Hours"}));
   DiskFields changed = disk_;
   changed.model = "Kestrel_S3";
   plug(changed);
   EXPECT_EQ(asked, Texts{"Kestrel_S2"}) << "a change does not ask again";
   unplug();
   plug(changed);
   EXPECT_EQ(asked, (Texts{"Kestrel_S2", "Kestrel_S3"}));
}

TEST_F(SmartDataMonitorSmTest, UsesTheTableOfNamesAloneWithoutAMapping) {
   Texts asked;
   driveDatabaseIs(std::make_unique<TestDatabase>(asked));
   plug();
   start();
   monitor_->smartDbMappingDel("S1");
   poll();
   EXPECT_EQ(content(), healthyContent);
}

TEST_F(SmartDataMonitorSmTest, ReadsARemovableDriveAsSoonAsItAppears) {
   start();
   Vorn::Host::turn();
   plug({.name = "S1", .removable = true, .busType = ConnectedDisk::BusType::usb});
   EXPECT_EQ(monitor_->smartctlProcess.size(), 1U);
   EXPECT_TRUE(Support::turnInRealTime([&] { return record()->reading.count() == 1; }));
}

TEST_F(SmartDataMonitorSmTest, DropsRecordsOfAnEarlierRunUnlessTheirDiskIsConnected) {
   data_->deviceDataIs("gone");
   data_->deviceDataIs("S1");
   plug();
   start();
   EXPECT_FALSE(data_->deviceData.contains("gone"));
   EXPECT_TRUE(data_->deviceData.contains("S1"));
   EXPECT_TRUE(monitor_->smartDbMapping.contains("S1"));
}

TEST_F(SmartDataMonitorSmTest, AllowsItsSubscriberToDropItDuringItsReading) {
   plug();
   start();
   struct Dropper {
      void handleVerdict() { *monitor = nullptr; }
      Pelm::Ptr<SmartDataMonitorSm> * monitor;
      Vorn::NotifieeConst reactor;
   } dropper{&monitor_, {}};
   dropper.reactor.notifierIs(record());
   dropper.reactor.on<&Dropper::handleVerdict>(record()->healthStatusRead, dropper);
   dropper.reactor.hasNotificationActiveIs(true);
   poll();
   EXPECT_FALSE(monitor_);
   EXPECT_EQ(content(), healthyContent) << "what it began to file it files";
}

TEST_F(SmartDataMonitorSmTest, DropsAReadingWhoseRecordWasDeletedMeanwhile) {
   plug();
   start();
   Vorn::Host::turn();
   data_->deviceDataDel("S1");
   EXPECT_TRUE(Support::turnInRealTime([&] { return monitor_->smartctlProcess.empty(); }));
   EXPECT_TRUE(data_->deviceData.empty());
}

TEST_F(SmartDataMonitorSmTest, EndsItsRunsWhenDropped) {
   toolDoes("exec sleep 1000");
   plug();
   start();
   Vorn::Host::turn();
   ASSERT_TRUE(Support::hasChildren());
   monitor_ = nullptr;
   EXPECT_TRUE(Support::turnInRealTime([] { return !Support::hasChildren(); }));
}

TEST_F(SmartDataMonitorSmTest, EndsWhenReleasedAsItTracesABadReport) {
   toolPrints("{");
   plug();
   start();
   Vorn::Host::traceSinkIs([this](Vorn::Host::TraceLine const & line) {
      if (line.level == 0)
         monitor_ = nullptr;
   });
   poll();
   EXPECT_FALSE(monitor_);
   EXPECT_EQ(record()->reading.count(), 0U);
}

}  // namespace

}  // namespace StorageDevices
