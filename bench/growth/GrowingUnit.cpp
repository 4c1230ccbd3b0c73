#include "bench/growth/GrowingUnit.h"

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "StorageDevices/DeviceDetectionSm.h"
#include "StorageDevices/DeviceLifetimeMonitorSm.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/IOStatSm.h"
#include "StorageDevices/MountPtMonitorManagerSm.h"
#include "StorageDevices/SdErrWatcherSm.h"
#include "StorageDevices/SmartDataMonitorSm.h"
#include "StorageDevices/TempSensorSm.h"
#include "agent/Entities.h"
#include "agent/documents/Metrics.h"
#include "agent/events/EventFeed.h"
#include "runtime/host/Log.h"
#include "runtime/host/Loop.h"
#include "runtime/host/TimeSource.h"
#include "tests/support/DiskFields.h"
#include "tests/support/TempDir.h"

namespace Bench {

namespace {

constexpr std::size_t rowsOfADisk = 26;
constexpr Vorn::Seconds interval = 60;

class NothingMounted final : public MountPtMonitorHelper {
   MountState mountState(Pelm::String const & /*mountPt*/) const override { return {}; }
};

std::string serialOf(std::size_t number) {
   return "KS" + std::to_string(240118000 + number);
}

std::string rowText(std::size_t id, std::uint64_t raw) {
   std::string const number = std::to_string(raw);
   return "{\"id\":" + std::to_string(id) + ",\"name\":\"Some_Row_Of_The_Table_" + std::to_string(id) +
          "\",\"value\":100,\"worst\":98,\"thresh\":0,\"flags\":{\"value\":50},\"raw\":{\"value\":" + number +
          ",\"string\":\"" + number + "\"}}";
}

// Of a healthy drive; a figure of it is another in every poll.
std::string report(std::uint64_t poll) {
   std::string text = R"({"smart_status":{"passed":true},"ata_smart_attributes":{"revision":1,"table":[)";
   for (std::size_t id = 1; id <= rowsOfADisk; ++id)
      text += (id == 1 ? "" : ",") + rowText(id, id == 9 ? 1000 + poll : id * 1000);
   return text + "]}}";
}

// The pieces of a document with what precedes the first.
Cost read(std::function<std::unique_ptr<Agent::Document>()> const & make) {
   Cost cost;
   std::unique_ptr<Agent::Document> document;
   std::string_view piece;
   std::size_t bytes = 0;
   cost.add([&] {
      document = make();
      piece = document->next();
   });
   for (; !piece.empty(); cost.add([&] { piece = document->next(); }))
      bytes += piece.size();
   if (bytes == 0)
      throw std::runtime_error("an empty document");
   return cost;
}

}  // namespace

class GrowingUnit::State {
 public:
   explicit State(std::size_t disks);
   ~State();

   // Disk by disk.
   void add(Cost & cost);
   void remove(Cost & cost);
   void evaluate() { verdicts_->evaluate(); }
   Cost turns(Vorn::Seconds span);
   void passedIs(bool passed);
   Agent::StateSources sources();
   std::size_t forget();

   std::size_t disks;
   std::uint64_t polls = 0;
   Agent::Entities entities;
   Agent::MessageStore messages;

   Agent::EventFeed & feed() { return *feed_; }

 private:
   void startMonitors();

   Support::TempDir folder_;
   std::size_t runs_ = 0;  // no two of a poll end together
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_ = Pelm::make<Brul::ChildProcessTrackerSm>();
   Pelm::Ptr<StorageDevices::SmartDataMonitorSm> smart_;
   Pelm::Ptr<StorageDevices::IOStatSm> ioStat_;
   Pelm::Ptr<StorageDevices::DeviceLifetimeMonitorSm> lifetime_;
   Pelm::Ptr<StorageDevices::TempSensorSm> temperature_;
   Pelm::Ptr<StorageDevices::StorageDeviceErrWatcherSm> kernelErrors_;
   Pelm::Ptr<StorageDevices::DeviceDetectionSm> detection_;
   Pelm::Ptr<StorageDevices::MountPtMonitorManagerSm> mountPoints_;
   Agent::Config::VerdictLimits limits_;
   std::optional<Agent::Readings> readings_;
   std::optional<Agent::Verdicts> verdicts_;
   std::optional<Agent::EventFeed> feed_;
   std::optional<Agent::ToolRuns> tools_;
};

GrowingUnit::State::State(std::size_t count) : disks{count} {
   Vorn::Host::timeSourceIs(std::make_unique<Vorn::Host::VirtualTime>());
   Vorn::Host::logSinkIs([this](Vorn::Host::LogMessage const & message) { messages.add(message); });
   MountPtMonitorHelper::creatorIs([] { return Pelm::make<NothingMounted>(); });
   for (std::size_t number = 0; number < disks; ++number)
      folder_.write("stat-sd" + std::to_string(number), "1 0 8 1 1 0 2048 1 0 1 1\n");
   setenv("STORAGEDEVICES_IOSTAT_PATH_BASE", (folder_.string() + "/stat-%s").c_str(), 1);
   tracker_->substituteIs([this](auto const & /*argv*/) {
      return Brul::SubstitutedRun{0, report(polls), {}, 0.125 + 0.001 * static_cast<double>(++runs_ % 1024)};
   });
   Cost ignored;
   add(ignored);
   startMonitors();
}

GrowingUnit::State::~State() {
   Vorn::Host::logSinkIs(nullptr);
   MountPtMonitorHelper::creatorIs(nullptr);
}

void GrowingUnit::State::startMonitors() {
   using namespace StorageDevices;
   entities.pollInterval->intervalIs(interval);
   smart_ = smartDataMonitorSmFactory(entities.pollInterval, entities.devices, entities.smart, tracker_);
   ioStat_ = iOStatSmFactory(entities.pollInterval, entities.devices, entities.ioStat);
   lifetime_ = deviceLifetimeMonitorSmFactory(entities.devices, entities.emmc, entities.nvme, entities.smart,
                                              entities.ioStat);
   temperature_ = tempSensorSmFactory(entities.fruConfig, entities.sensors, entities.sensorStatus,
                                      entities.nvme, entities.smart);
   kernelErrors_ = storageDeviceErrWatcherSmFactory(entities.kernelErrors, entities.devices,
                                                    Pelm::String{folder_.string() + "/kernel"});
   detection_ = deviceDetectionSmFactory(entities.fruConfig, entities.devices);
   mountPoints_ = mountPtMonitorManagerSmFactory(entities.devices);
   readings_.emplace(entities);
   verdicts_.emplace(
       entities, limits_, *readings_, [this] { return mountPoints_.get(); }, [] { return true; });
   verdicts_->intervalIs(Vorn::Seconds::infinity());
   feed_.emplace(messages, *verdicts_, *readings_);
   tools_.emplace(tracker_);
}

void GrowingUnit::State::add(Cost & cost) {
   for (std::size_t number = 0; number < disks; ++number) {
      std::string const serial = serialOf(number);
      Support::DiskFields const disk{.name = serial,
                                     .blockDevice = "/dev/sd" + std::to_string(number),
                                     .mountPoint = "/mnt/" + serial,
                                     .devAddress = std::to_string(number)};
      cost.add([&] { disk.writeTo(*entities.devices); });
   }
}

void GrowingUnit::State::remove(Cost & cost) {
   for (std::size_t number = 0; number < disks; ++number)
      cost.add([this, serial = Pelm::String{serialOf(number)}] { entities.devices->diskDel(serial); });
}

// Of a span of virtual time.
Cost GrowingUnit::State::turns(Vorn::Seconds span) {
   Cost cost;
   Vorn::Seconds const end = Vorn::System::currentTime() + span;
   while (Vorn::System::currentTime() < end)
      cost.add([] { Vorn::Host::turn(0); });
   return cost;
}

void GrowingUnit::State::passedIs(bool passed) {
   for (std::size_t number = 0; number < disks; ++number) {
      auto & data = *entities.smart->deviceData(Pelm::String{serialOf(number)});
      data.healthStatusReadIs(true);
      data.healthStatusOkIs(passed);
   }
}

std::size_t GrowingUnit::State::forget() {
   return Agent::forgetGoneDisks(entities) + verdicts_->forgetAbsent();
}

Agent::StateSources GrowingUnit::State::sources() {
   verdicts_->evaluate();
   return {true,       Vorn::System::currentTimeUtc(),
           entities,   {},
           *tools_,    *readings_,
           *verdicts_, {lifetime_.get(), temperature_.get(), mountPoints_.get(), nullptr}};
}

GrowingUnit::GrowingUnit(std::size_t disks) : state_{std::make_unique<State>(disks)} {
   poll();
}
GrowingUnit::~GrowingUnit() = default;

Cost GrowingUnit::poll() {
   ++state_->polls;
   Cost const cost = state_->turns(interval);
   auto const & last = *state_->entities.smart->deviceData(Pelm::String{serialOf(state_->disks - 1)});
   if (last.reading.count() == 0)
      throw std::runtime_error("the last disk was not read");
   return cost;
}

Cost GrowingUnit::storm() {
   Cost cost;
   state_->remove(cost);
   state_->add(cost);
   poll();
   return cost;
}

Cost GrowingUnit::prune() {
   state_->evaluate();
   Cost ignored;
   Cost cost;
   state_->remove(ignored);
   state_->evaluate();
   std::size_t forgotten = 0;
   cost.add([&] { forgotten = state_->forget(); });
   if (forgotten != 2 * state_->disks)
      throw std::runtime_error("not all disks were forgotten");
   state_->add(ignored);
   poll();
   return cost;
}

Cost GrowingUnit::state() {
   return read([this] { return Agent::stateDocument(state_->sources()); });
}

Cost GrowingUnit::scrape() {
   return read([this] { return Agent::metricsDocument({state_->sources(), state_->messages, {}, 0}); });
}

Cost GrowingUnit::page() {
   auto stream = state_->feed().stream(state_->messages.lastSequence());
   while (!stream->next().empty()) {
   }
   state_->passedIs(false);
   Cost const cost = read([&] {
      state_->evaluate();
      return std::move(stream);
   });
   state_->passedIs(true);
   state_->evaluate();
   return cost;
}

}  // namespace Bench
