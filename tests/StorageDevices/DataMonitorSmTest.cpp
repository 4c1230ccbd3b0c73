#include "StorageDevices/DataMonitorSm.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <utility>

#include "runtime/Vorn/Machine.h"
#include "runtime/host/Failure.h"
#include "tests/support/DiskFields.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

namespace {

using Serials = std::vector<std::string>;

// Keeps its data in a list and notes what it is asked to do.
class ListMonitor final : public DataMonitorSm {
 public:
   ListMonitor(Pelm::Ptr<PollInterval const> pollInterval, Pelm::Ptr<ConnectedDevices const> devices,
               Serials & data)
       : DataMonitorSm{std::move(pollInterval), std::move(devices)}, data_{data} {
      typeStrIs("List");
   }

   bool isInData(Pelm::String const & serial) const override {
      return std::find(data_.begin(), data_.end(), serial.str()) != data_.end();
   }
   void addToData(Pelm::String const & serial) override {
      noteTraces();
      data_.push_back(serial.str());
   }
   void removeFromData(Pelm::String const & serial) override {
      noteTraces();
      std::erase(data_, serial.str());
   }
   void forEach(DeviceCallback callback) override {
      for (std::string const & serial : Serials{data_})
         callback(*this, serial);
   }
   void updateDevice(Pelm::String const & serial) override {
      updated.push_back(serial.str());
      times.push_back(Vorn::System::currentTime().value());
      if (reads)
         reads->push_back(serial.str());
      if (onUpdate)
         std::exchange(onUpdate, nullptr)();
      if (serial == failing)
         throw std::runtime_error{"cannot be read"};
   }

   Serials updated;
   std::vector<double> times;
   std::string failing = "(none)";
   // Outlive the monitor: what it reads, and what to do when it does.
   Serials * reads = nullptr;
   std::function<void()> onUpdate;
   // Where given, what was traced when the data was last asked to change.
   Support::TraceRecorder const * traces = nullptr;
   Serials tracedBefore;

 private:
   void noteTraces() {
      if (traces)
         tracedBefore = traces->texts(2);
   }

   Serials & data_;
};

class DataMonitorSmTest : public Support::VirtualTimeTest {
 protected:
   void plug(std::string const & serial, bool removable = false) const {
      Support::DiskFields{.name = serial, .removable = removable}.writeTo(*devices_);
   }
   void start() { monitor_ = Vorn::makeMachine<ListMonitor>(interval_, devices_, data_); }
   // Serials that were read since the last call.
   Serials updated() const { return std::exchange(monitor_->updated, {}); }

   Support::TraceRecorder traces_{{"StorageDataMonitorSm", 7}};
   Pelm::Ptr<PollInterval> interval_ = Pelm::make<PollInterval>();
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   Serials data_;
   Pelm::Ptr<ListMonitor> monitor_;
};

TEST_F(DataMonitorSmTest, ReadsNothingBeforeTheFirstTurn) {
   plug("A");
   plug("B", true);
   start();
   EXPECT_EQ(updated(), Serials{}) << "not even a removable disk";
   EXPECT_EQ(data_, (Serials{"A", "B"}));
   Vorn::Host::turn();
   EXPECT_EQ(updated(), (Serials{"A", "B"}));
   EXPECT_EQ(monitor_->pollCount(), 1U);
}

TEST_F(DataMonitorSmTest, ReadsEveryDiskOncePerInterval) {
   plug("A");
   plug("B");
   start();
   Vorn::Host::runFor(179);
   EXPECT_EQ(updated(), (Serials{"A", "B", "A", "B", "A", "B"}));
   EXPECT_EQ(monitor_->times, (std::vector<double>{1000, 1000, 1060, 1060, 1120, 1120}));
   EXPECT_EQ(monitor_->pollCount(), 3U);
}

TEST_F(DataMonitorSmTest, ReadsARemovableDiskAsSoonAsItAppears) {
   start();
   Vorn::Host::runFor(10);
   plug("stick", true);
   EXPECT_EQ(updated(), Serials{"stick"});
   EXPECT_EQ(monitor_->pollCount(), 1U) << "a poll it is not";
   Vorn::Host::runFor(49);
   EXPECT_EQ(updated(), Serials{});
   Vorn::Host::runFor(2);
   EXPECT_EQ(updated(), Serials{"stick"});
}

TEST_F(DataMonitorSmTest, ReadsANewFixedDiskAtTheNextPoll) {
   start();
   Vorn::Host::runFor(10);
   plug("A");
   Vorn::Host::runFor(49);
   EXPECT_EQ(updated(), Serials{});
   Vorn::Host::runFor(2);
   EXPECT_EQ(updated(), Serials{"A"});
}

TEST_F(DataMonitorSmTest, DropsARemovedDiskAtOnce) {
   plug("A");
   plug("B");
   start();
   devices_->diskDel("A");
   EXPECT_EQ(data_, Serials{"B"});
   ASSERT_FALSE(traces_.texts(2).empty());
   EXPECT_EQ(traces_.texts(2).back(), "Deleting A from its associated *Data collection");
   Vorn::Host::runFor(1);
   EXPECT_EQ(updated(), Serials{"B"});
}

TEST_F(DataMonitorSmTest, IgnoresADiskThatChanges) {
   plug("A");
   start();
   Vorn::Host::runFor(1);
   updated();
   traces_.clear();
   plug("A", true);
   EXPECT_EQ(data_, Serials{"A"});
   EXPECT_EQ(updated(), Serials{});
   EXPECT_EQ(traces_.texts(2), Serials{"A is in the disk collection"});
}

TEST_F(DataMonitorSmTest, DropsRecordsOfAnEarlierRun) {
   data_ = {"gone", "A", "gone too"};
   plug("A");
   start();
   EXPECT_EQ(data_, Serials{"A"});
   EXPECT_EQ(traces_.texts(7), (Serials{"devices(), next key: A", "data(), next key: gone",
                                        "data(), next key: A was already processed through devices()",
                                        "data(), next key: gone too"}));
}

TEST_F(DataMonitorSmTest, TracesADiskThatItAdds) {
   plug("A");
   start();
   EXPECT_EQ(traces_.texts(2),
             (Serials{"A is in the disk collection", "Adding A to the relevant *Data collection"}));
}

TEST_F(DataMonitorSmTest, TracesItsNextStep) {
   start();
   monitor_->traces = &traces_;
   plug("A");
   EXPECT_EQ(monitor_->tracedBefore,
             (Serials{"A is in the disk collection", "Adding A to the relevant *Data collection"}));
   devices_->diskDel("A");
   ASSERT_FALSE(monitor_->tracedBefore.empty());
   EXPECT_EQ(monitor_->tracedBefore.back(), "Deleting A from its associated *Data collection");
}

TEST_F(DataMonitorSmTest, TracesTheKindOfDataThatItPolls) {
   start();
   Vorn::Host::turn();
   EXPECT_EQ(traces_.texts(7), Serials{"polling the List data"});
}

TEST_F(DataMonitorSmTest, TracesEachKeyBeforeItReadsTheDisk) {
   data_ = {"A", "gone"};
   plug("A");
   plug("B");
   start();
   Serials texts;
   for (auto const & line : traces_.lines())
      texts.push_back(line.facility + "/" + std::to_string(line.level) + " " + line.text);
   std::string const detail = "StorageDataMonitorSm/7 ";
   std::string const event = "StorageDataMonitorSm/2 ";
   EXPECT_EQ(texts, (Serials{detail + "devices(), next key: A", event + "A is in the disk collection",
                             detail + "devices(), next key: B", event + "B is in the disk collection",
                             event + "Adding B to the relevant *Data collection",
                             detail + "data(), next key: A was already processed through devices()",
                             detail + "data(), next key: gone",
                             event + "Deleting gone from its associated *Data collection",
                             detail + "data(), next key: B was already processed through devices()"}));
}

// Notes what a poll has done when it is counted.
struct PollWatcher {
   void handlePollCount() {
      updated = monitor.updated;
      wakeUp = monitor.clock()->timeMin();
   }
   ListMonitor const & monitor;
   Serials updated;
   Vorn::Seconds wakeUp = 0;
   Vorn::NotifieeConst reactor;
};

TEST_F(DataMonitorSmTest, ReadsThenCountsThePollThenSchedulesTheNext) {
   plug("A");
   start();
   PollWatcher watcher{*monitor_, {}, 0, {}};
   watcher.reactor.notifierIs(monitor_);
   watcher.reactor.on<&PollWatcher::handlePollCount>(static_cast<DataMonitorSm &>(*monitor_).pollCount,
                                                     watcher);
   watcher.reactor.hasNotificationActiveIs(true);
   Vorn::Host::turn();
   EXPECT_EQ(watcher.updated, Serials{"A"});
   EXPECT_EQ(watcher.wakeUp, Vorn::Seconds::infinity());
   EXPECT_EQ(monitor_->clock()->timeMin(), Vorn::System::currentTime() + 60);
}

TEST_F(DataMonitorSmTest, PollsAtOnceAndRestartsThePeriodWhenTheIntervalChanges) {
   plug("A");
   start();
   Vorn::Host::runFor(20);
   updated();
   interval_->intervalIs(100);
   EXPECT_EQ(updated(), Serials{"A"});
   Vorn::Host::runFor(99);
   EXPECT_EQ(updated(), Serials{}) << "the poll that was due at 60 seconds is no longer";
   Vorn::Host::runFor(2);
   EXPECT_EQ(updated(), Serials{"A"});
   EXPECT_EQ(monitor_->pollCount(), 3U);
}

TEST_F(DataMonitorSmTest, HasNeitherClockNorIntervalPollBeforeItIsInitialised) {
   plug("A");
   data_ = {"A"};
   monitor_ = Pelm::make<ListMonitor>(interval_, devices_, data_);
   interval_->intervalIs(5);
   Vorn::Host::runFor(60);
   EXPECT_EQ(updated(), Serials{});
   EXPECT_EQ(monitor_->pollCount(), 0U);
   monitor_->handleInitialized();
   EXPECT_TRUE(monitor_->initialized());
   Vorn::Host::turn();
   EXPECT_EQ(updated(), Serials{"A"});
}

TEST_F(DataMonitorSmTest, ReadsTheOtherDisksAndPollsAgainWhenOneRaisesAFailure) {
   int failures = 0;
   Vorn::Host::failureSinkIs([&](std::string_view, std::string_view) { ++failures; });
   for (char const * const serial : {"A", "B", "C"})
      plug(serial);
   start();
   monitor_->failing = "B";
   Vorn::Host::runFor(119);
   Vorn::Host::failureSinkIs(nullptr);
   EXPECT_EQ(updated(), (Serials{"A", "B", "C", "A", "B", "C"}));
   EXPECT_EQ(failures, 2);
}

TEST_F(DataMonitorSmTest, IgnoresEventsAsAZombie) {
   plug("A");
   start();
   monitor_->vornDoZombieReactors(true);
   plug("B");
   interval_->intervalIs(5);
   Vorn::Host::runFor(60);
   EXPECT_EQ(updated(), Serials{});
   EXPECT_EQ(data_, Serials{"A"});
}

TEST_F(DataMonitorSmTest, StopsPollingWhenDropped) {
   plug("A");
   start();
   monitor_ = nullptr;
   interval_->intervalIs(5);
   devices_->diskDel("A");
   Vorn::Host::runFor(60);
   EXPECT_EQ(data_, Serials{"A"}) << "nobody is there to drop it";
}

// Lets go of the monitor when it counts a poll, and then unplugs a disk.
struct Dropper {
   void handlePollCount() {
      reactor.notifierIs(nullptr);
      *monitor = nullptr;
      devices.diskDel("A");
   }
   Pelm::Ptr<ListMonitor> * monitor;
   ConnectedDevices & devices;
   Vorn::NotifieeConst reactor;
};

TEST_F(DataMonitorSmTest, AllowsItsSubscriberToDropItDuringItsNotification) {
   plug("A");
   start();
   Dropper dropper{&monitor_, *devices_, {}};
   dropper.reactor.notifierIs(monitor_);
   dropper.reactor.on<&Dropper::handlePollCount>(static_cast<DataMonitorSm &>(*monitor_).pollCount, dropper);
   dropper.reactor.hasNotificationActiveIs(true);
   Vorn::Host::turn();
   EXPECT_FALSE(monitor_);
   EXPECT_EQ(data_, Serials{"A"}) << "it is notified no more";
   Vorn::Host::runFor(200);
}

TEST_F(DataMonitorSmTest, ReadsNoFurtherDiskWhenDroppedDuringAPoll) {
   Serials reads;
   plug("A");
   plug("B");
   start();
   monitor_->reads = &reads;
   monitor_->onUpdate = [&] { monitor_ = nullptr; };
   Vorn::Host::turn();
   EXPECT_EQ(reads, Serials{"A"});
}

TEST(PollIntervalTest, RefusesLessThanASecond) {
   auto const interval = Pelm::make<PollInterval>();
   EXPECT_EQ(interval->interval(), 60.0);
   EXPECT_THROW(interval->intervalIs(0.5), std::invalid_argument);
   EXPECT_EQ(interval->interval(), 60.0);
}

}  // namespace

}  // namespace StorageDevices
