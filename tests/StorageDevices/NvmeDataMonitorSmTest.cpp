#include "StorageDevices/NvmeDataMonitorSm.h"

#include <gtest/gtest.h>

#include "StorageDevices/Factories.h"
#include "tests/support/ToolMonitorTest.h"

namespace StorageDevices {

namespace {

using Texts = std::vector<std::string>;

constexpr char handler[] = "void StorageDevices::NvmeDataMonitorSm::handleNvmeCliState(const String&)";
constexpr char parser[] = "StorageDevices::NvmeAttr StorageDevices::parseAttr(const Document&, const char*)";
constexpr char nvmeRun[] = "nvme smart-log --output-format=json /dev/nvme0n1";

std::string const log =
    R"({"critical_warning":0,"temperature":310,"avail_spare":100,"spare_thresh":10,"percent_used":3,)"
    R"("data_units_read":11,"data_units_written":12,"host_read_commands":13,"host_write_commands":14,)"
    R"("controller_busy_time":15,"power_cycles":16,"power_on_hours":17,"unsafe_shutdowns":18,)"
    R"("media_errors":19,"num_err_log_entries":20,"warning_temp_time":21,"critical_comp_time":22})";

class NvmeDataMonitorSmTest : public Support::ToolMonitorTest {
 protected:
   NvmeDataMonitorSmTest()
       : ToolMonitorTest{
             "nvme",
             "StorageNvmeDataMonitorSm",
             {.name = "N1", .blockDevice = "/dev/nvme0n1", .busType = ConnectedDisk::BusType::nvme}} {
      toolPrints(log);
   }
   ~NvmeDataMonitorSmTest() override {
      monitor_ = nullptr;
      EXPECT_TRUE(
          Support::turnInRealTime([&] { return tracker_->orphans() == 0 && !Support::hasChildren(); }));
   }

   void start() { monitor_ = nvmeDataMonitorSmFactory(interval_, devices_, data_, tracker_); }
   Pelm::Ptr<DeviceNvmeData> record() const { return data_->deviceData("N1"); }
   // The values in the order of the log, only of fields that were read.
   std::vector<std::int64_t> values() const {
      std::vector<std::int64_t> result;
      for (NvmeField const & field : nvmeFields)
         if (NvmeAttr const & attr = ((*record()).*field.cell)(); !attr.name.empty())
            result.push_back(attr.value);
      return result;
   }

   std::vector<std::int64_t> const logged = {0,  37, 100, 10, 3,  11, 12, 13, 14,
                                             15, 16, 17,  18, 19, 20, 21, 22};
   Pelm::Ptr<NvmeData> data_ = Pelm::make<NvmeData>();
   Pelm::Ptr<NvmeDataMonitorSm> monitor_;
};

TEST_F(NvmeDataMonitorSmTest, RunsTheToolOncePerPollAndStoresTheLog) {
   plug();
   start();
   EXPECT_TRUE(values().empty()) << "before the first poll";
   poll();
   EXPECT_EQ(values(), logged);
   EXPECT_EQ(runs(), Texts{nvmeRun});
   EXPECT_EQ(record()->percentageUsed(), (NvmeAttr{"percent_used", 3}));
   EXPECT_TRUE(traces_.errors().empty());
   poll();
   EXPECT_EQ(runs(), (Texts{nvmeRun, nvmeRun}));
   EXPECT_EQ(record()->reading.count(), 2U);
   EXPECT_TRUE(monitor_->nvmeCliProcess.empty());
   EXPECT_TRUE(monitor_->nvmeCliReactor.empty());
}

TEST_F(NvmeDataMonitorSmTest, IgnoresDisksOfOtherBuses) {
   for (unsigned char const bus : {0, 1, 3})
      plug({.name = "bus" + std::to_string(bus), .busType = bus});
   start();
   poll();
   EXPECT_TRUE(data_->deviceData.empty());
   EXPECT_TRUE(runs().empty());
}

TEST_F(NvmeDataMonitorSmTest, KeepsButDoesNotPollARecordWhoseDiskIsOnAnotherBus) {
   data_->deviceDataIs("N1");
   Support::DiskFields moved = disk_;
   for (unsigned char const bus : {0, 1, 3}) {
      moved.busType = bus;
      plug(moved);
      start();
      poll();
      EXPECT_TRUE(monitor_->nvmeCliProcess.empty());
   }
   EXPECT_TRUE(record());
   EXPECT_TRUE(runs().empty());
}

TEST_F(NvmeDataMonitorSmTest, IgnoresARunWhoseChildIsNotIdleAndClearsArgumentsOfAnother) {
   auto const busy = Pelm::make<NvmeCliProcess>(tracker_, "N1");
   busy->sm()->argPush("true");
   busy->sm()->start(true, true);
   busy->run("/dev/nvme0n1");
   EXPECT_FALSE(busy->started());
   EXPECT_EQ(busy->sm()->arg.size(), 1U);
   auto const idle = Pelm::make<NvmeCliProcess>(tracker_, "N1");
   idle->sm()->argPush("echo");
   idle->run("/dev/nvme0n1");
   EXPECT_TRUE(idle->started());
   EXPECT_TRUE(Support::turnInRealTime([&] { return idle->isOver(); }));
   EXPECT_EQ(runs(), Texts{nvmeRun});
   EXPECT_TRUE(Support::turnInRealTime(
       [&] { return busy->sm()->state() != Brul::PipedChildProcessSm::State::running; }));
}

TEST_F(NvmeDataMonitorSmTest, PassesEachArgumentByItself) {
   auto const process = Pelm::make<NvmeCliProcess>(tracker_, "N1");
   process->run("/dev/nvme0n1");
   EXPECT_TRUE(Support::turnInRealTime([&] { return process->isOver(); }));
   Texts arguments;
   for (Pelm::String const & argument : process->sm()->arg)
      arguments.push_back(argument.str());
   EXPECT_EQ(arguments, (Texts{"nvme", "smart-log", "--output-format=json", "/dev/nvme0n1"}));
}

// Notes whether the run is still there when something is filed.
struct RunWatcher {
   void handleTemperature() { isGone = monitor->nvmeCliProcess.empty() && monitor->nvmeCliReactor.empty(); }
   Pelm::Ptr<NvmeDataMonitorSm> monitor;
   bool isGone = false;
   Vorn::NotifieeConst reactor;
};

TEST_F(NvmeDataMonitorSmTest, DropsARunAndItsReactorBeforeItStoresAnything) {
   plug();
   start();
   RunWatcher watcher{monitor_, false, {}};
   watcher.reactor.notifierIs(record());
   watcher.reactor.on<&RunWatcher::handleTemperature>(record()->temperatureCelsius, watcher);
   watcher.reactor.hasNotificationActiveIs(true);
   // Within no other change, so that what is filed is notified of at once.
   pollWithoutFiling(*monitor_, [&] { return monitor_->nvmeCliProcess("N1"); });
   monitor_->handleNvmeCliState("N1");
   EXPECT_TRUE(watcher.isGone);
}

TEST_F(NvmeDataMonitorSmTest, DropsAFailedRunAndItsReactorBeforeItTracesTheFailure) {
   toolDoes("echo no >&2; exit 1");
   plug();
   start();
   std::vector<bool> gone;
   Vorn::Host::traceSinkIs([&](Vorn::Host::TraceLine const & line) {
      if (line.level == 0)
         gone.push_back(monitor_->nvmeCliProcess.empty() && monitor_->nvmeCliReactor.empty());
   });
   poll();
   EXPECT_EQ(gone, (std::vector<bool>{true, true})) << "the exit code, the error output";
}

TEST_F(NvmeDataMonitorSmTest, StoresNothingOfARunWhoseRecordIsGone) {
   plug();
   start();
   Vorn::Host::turn();
   ASSERT_TRUE(monitor_->nvmeCliProcess("N1"));
   data_->deviceDataDel("N1");
   EXPECT_TRUE(Support::turnInRealTime([&] { return monitor_->nvmeCliProcess.empty(); }));
   EXPECT_FALSE(record());
   EXPECT_EQ(traces_.errors(), Texts{});
}

TEST_F(NvmeDataMonitorSmTest, StoresNothingOfARunInFlightAsAZombie) {
   plug();
   start();
   Vorn::Host::turn();
   auto const process = monitor_->nvmeCliProcess("N1");
   ASSERT_TRUE(process);
   monitor_->vornDoZombieReactors(true);
   EXPECT_TRUE(Support::turnInRealTime([&] { return process->isOver(); }));
   EXPECT_EQ(record()->reading.count(), 0U);
}

TEST_F(NvmeDataMonitorSmTest, NamesTheDeviceOfAFailedRun) {
   toolDoes("while [ ! -e \"" + (folder_.path() / "go").string() + "\" ]; do sleep 0.01; done; exit 3");
   plug();
   start();
   Vorn::Host::turn();
   Support::DiskFields changed = disk_;
   changed.blockDevice = "/dev/nvme7n1";
   plug(changed);
   folder_.write("go", "");
   EXPECT_TRUE(Support::turnInRealTime([&] { return monitor_->nvmeCliProcess.empty(); }));
   EXPECT_EQ(traces_.errors(),
             Texts{std::string{handler} + " Error running nvme-cli for /dev/nvme0n1; exit code: 3"});
}

TEST_F(NvmeDataMonitorSmTest, StoresZeroForAMissingKeyTracesItAndReadsTheOthers) {
   std::string without = log;
   without.replace(without.find(R"("media_errors":19,)"), std::string{R"("media_errors":19,)"}.size(), "");
   toolPrints(without);
   plug();
   start();
   poll();
   std::vector<std::int64_t> expected = logged;
   expected[13] = 0;
   EXPECT_EQ(values(), expected);
   EXPECT_EQ(record()->mediaErrors(), (NvmeAttr{"media_errors", 0}));
   EXPECT_EQ(traces_.errors(),
             Texts{std::string{parser} + "Property media_errors does not exist in nvme smart-log output"});
}

TEST_F(NvmeDataMonitorSmTest, OverwritesAllSeventeenFieldsWithAnEmptyLog) {
   plug();
   start();
   poll();
   toolPrints("{}");
   poll();
   EXPECT_EQ(values(), std::vector<std::int64_t>(17, 0));
   EXPECT_EQ(traces_.errors().size(), 17U);
}

TEST_F(NvmeDataMonitorSmTest, NotifiesNobodyOfTheSameLogTwice) {
   plug();
   start();
   poll();
   Support::ChangeRecorder const used{record()->percentageUsed};
   Support::ChangeRecorder const warning{record()->criticalWarning};
   poll();
   EXPECT_EQ(record()->reading.count(), 2U);
   EXPECT_EQ(used.count() + warning.count(), 0U);
}

// What the tool does instead of printing the log, and what is traced of it.
struct BadRun {
   char const * does;
   Texts errors;

   // As a failure names it.
   friend void PrintTo(BadRun const & run, std::ostream * out) { *out << run.does; }
};

class NvmeBadRunsTest : public NvmeDataMonitorSmTest, public testing::WithParamInterface<BadRun> {};

TEST_P(NvmeBadRunsTest, ChangesNothing) {
   plug();
   start();
   poll();
   toolDoes(GetParam().does);
   poll();
   EXPECT_EQ(values(), logged);
   EXPECT_EQ(record()->reading.count(), 1U);
   EXPECT_TRUE(record()->reading.failure());
   Texts expected;
   for (std::string const & text : GetParam().errors)
      expected.push_back(handler + text);
   EXPECT_EQ(traces_.errors(), expected);
   EXPECT_TRUE(monitor_->nvmeCliProcess.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, NvmeBadRunsTest,
    testing::Values(
        BadRun{"echo '{}'; echo 'passthru: No such file' >&2; exit 1",
               {" Error running nvme-cli for /dev/nvme0n1; exit code: 1", " passthru: No such file\n"}},
        BadRun{"kill -KILL $$", {" Error running nvme-cli for /dev/nvme0n1; exit code: -9"}},
        BadRun{":", {" JSON parsing error: The document is empty."}},
        BadRun{"echo '{\"temperature\": 310'",
               {" JSON parsing error: Missing a comma or '}' after an object member."}},
        BadRun{"echo '{} {}'",
               {" JSON parsing error: The document root must not be followed by other values."}},
        BadRun{"echo NVMe status: bad", {" JSON parsing error: Invalid value."}},
        BadRun{"head -c 1000000 /dev/zero | tr '\\0' '['",
               {" JSON parsing error: Terminate parsing due to Handler error."}},
        BadRun{"echo '[{\"temperature\": 310}]'", {" JSON parsing error: Unspecific syntax error."}}));

TEST_F(NvmeDataMonitorSmTest, RecordsWhySinceWhenAndHowOftenReadingsFail) {
   plug();
   start();
   poll();
   auto const & reading = record()->reading;
   EXPECT_STREQ(reading.source(), "nvme");
   Vorn::Seconds const good = reading.time();
   time->jumpBy(10);
   Vorn::Seconds const first = Vorn::System::currentTime();
   toolDoes("exit 3");
   poll();
   EXPECT_EQ(reading.failure()->reason, "exit code 3");
   time->jumpBy(10);
   toolPrints("[]");
   poll();
   EXPECT_EQ(reading.failure()->reason, "unreadable output");
   EXPECT_EQ(reading.failure()->since, first);
   EXPECT_EQ(reading.failure()->polls, 2U);
   EXPECT_EQ(reading.time(), good);
   toolPrints(log);
   poll();
   EXPECT_FALSE(reading.failure());
}

TEST_F(NvmeDataMonitorSmTest, StartsAndLosesNothingAtAPollDuringARun) {
   toolDoes("while [ ! -e \"" + (folder_.path() / "go").string() + "\" ]; do sleep 0.01; done; cat \"" +
            (folder_.path() / "output").string() + "\"");
   plug();
   start();
   Vorn::Host::turn();
   monitor_->handleClock();
   EXPECT_EQ(monitor_->nvmeCliProcess.size(), 1U);
   folder_.write("go", "");
   EXPECT_TRUE(Support::turnInRealTime([&] { return record()->reading.count() == 1; }));
   EXPECT_EQ(runs(), Texts{nvmeRun});
}

TEST_F(NvmeDataMonitorSmTest, DropsTheRunOfADriveThatLeaves) {
   toolDoes("exec sleep 1000");
   plug();
   start();
   Vorn::Host::turn();
   ASSERT_TRUE(Support::hasChildren());
   unplug();
   EXPECT_TRUE(data_->deviceData.empty());
   EXPECT_TRUE(monitor_->nvmeCliProcess.empty());
   EXPECT_TRUE(monitor_->nvmeCliReactor.empty());
   EXPECT_TRUE(Support::turnInRealTime([] { return !Support::hasChildren(); }));
}

TEST_F(NvmeDataMonitorSmTest, IgnoresAStateOfARunThatIsGone) {
   plug();
   start();
   poll();
   monitor_->handleNvmeCliState("N1");
   EXPECT_EQ(record()->reading.count(), 1U);
}

TEST_F(NvmeDataMonitorSmTest, AllowsItsSubscriberToDropItDuringItsReading) {
   plug();
   start();
   struct Dropper {
      void handleTemperature() { *monitor = nullptr; }
      Pelm::Ptr<NvmeDataMonitorSm> * monitor;
      Vorn::NotifieeConst reactor;
   } dropper{&monitor_, {}};
   dropper.reactor.notifierIs(record());
   dropper.reactor.on<&Dropper::handleTemperature>(record()->temperatureCelsius, dropper);
   dropper.reactor.hasNotificationActiveIs(true);
   poll();
   EXPECT_FALSE(monitor_);
   EXPECT_EQ(values(), logged) << "what it began to file it files";
}

}  // namespace

}  // namespace StorageDevices
