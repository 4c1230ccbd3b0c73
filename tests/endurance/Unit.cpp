#include "tests/endurance/Unit.h"

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <utility>

#include "StorageDevices/ConnectedDevicesSm.h"
#include "StorageDevices/DeviceDetectionSm.h"
#include "StorageDevices/DeviceLifetimeMonitorSm.h"
#include "StorageDevices/EmmcDataMonitorSm.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/IOStatSm.h"
#include "StorageDevices/NvmeDataMonitorSm.h"
#include "StorageDevices/SdErrWatcherSm.h"
#include "StorageDevices/SettledStart.h"
#include "StorageDevices/SmartDataMonitorSm.h"
#include "StorageDevices/TempSensorSm.h"
#include "agent/Entities.h"
#include "agent/kernel/ClockWatch.h"
#include "agent/tools/Readings.h"
#include "agent/verdict/Verdicts.h"
#include "base/KernelLineSender.h"
#include "runtime/host/Failure.h"
#include "runtime/host/Log.h"
#include "runtime/host/Loop.h"
#include "runtime/host/TimeSource.h"
#include "simulation/SimulatedUnit.h"
#include "simulation/TextFile.h"
#include "tests/endurance/Reports.h"
#include "tests/endurance/ScarceMemory.h"
#include "tests/endurance/TestedFileSystems.h"
#include "tests/endurance/UnitParts.h"

namespace Endurance {

namespace {

namespace fs = std::filesystem;
namespace Simulation = StorageDevices::Simulation;
using Simulation::textFileIs;

constexpr char statVariable[] = "STORAGEDEVICES_IOSTAT_PATH_BASE";

std::string codes(Agent::DiskVerdict const & verdict) {
   std::vector<std::string> all;
   for (Agent::Reason const & reason : verdict.reasons())
      all.emplace_back(reason.code);
   std::sort(all.begin(), all.end());
   std::string text;
   for (std::string const & code : all)
      text += (text.empty() ? "" : " ") + code;
   return text;
}

}  // namespace

class Unit::State {
 public:
   State(double now, double utc);
   ~State();

   void start();
   void settle() const;
   void apply(Event const & event);
   Verdicts verdicts();

   Vorn::Host::VirtualTime * time = nullptr;
   std::vector<Message> messages;
   std::string failures;

 private:
   // The running agent.
   struct Running {
      explicit Running(Agent::Config const & config) : entities{Agent::entitiesOf(config)} {}

      Agent::Entities entities;
      Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
      Pelm::Ptr<StorageDevices::ConnectedDevicesSm> discovery;
      Pelm::Ptr<StorageDevices::SmartDataMonitorSm> smart;
      Pelm::Ptr<StorageDevices::NvmeDataMonitorSm> nvme;
      Pelm::Ptr<StorageDevices::EmmcDataMonitorSm> emmc;
      Pelm::Ptr<StorageDevices::IOStatSm> ioStat;
      Pelm::Ptr<StorageDevices::DeviceLifetimeMonitorSm> lifetime;
      Pelm::Ptr<StorageDevices::TempSensorSm> temperature;
      Pelm::Ptr<StorageDevices::StorageDeviceErrWatcherSm> kernelErrors;
      std::optional<Agent::ClockWatch> clockWatch;
      std::optional<StorageDevices::SettledStart> settled;
      Pelm::Ptr<StorageDevices::DeviceDetectionSm> detection;
      Pelm::Ptr<StorageDevices::MountPtMonitorManagerSm> mountPoints;
      std::optional<Agent::Readings> readings;
      std::optional<Agent::Verdicts> verdicts;
   };

   void clockIs(double now, double utc);
   void startMonitors();
   std::optional<Brul::SubstitutedRun> toolRun(std::vector<Pelm::String> const & argv) const;
   Brul::SubstitutedRun textsOf(std::vector<Pelm::String> const & argv) const;
   void memoryIs();
   void happens(Event const & event, bool changes);
   void applyTo(PlaceState const & place, Event const & event);
   void sendLines(PlaceState const & place, Event const & event);
   void writeFiles();
   void writeFiles(PlaceState const & place) const;

   World world_;
   Simulation::SimulatedUnit unit_;
   fs::path folder_ = unit_.folder() / "endurance";
   Agent::Config config_ = configOf(folder_, unit_.etcFolder(), world_);
   std::unique_ptr<TestedFileSystems> fileSystems_;
   std::optional<Base::KernelLineSender> kernel_;
   std::unique_ptr<Running> running_;
   std::optional<ScarceMemory> scarceMemory_;
   // Verdicts are pointers that change with their value.
   std::map<std::string, std::pair<Pelm::Ptr<Agent::DiskVerdict const>, std::string>> codes_;
};

Unit::State::State(double now, double utc) {
   clockIs(now, utc);
   fs::create_directories(folder_ / "mount-source");
   fs::create_directories(folder_ / "stat");
   setenv(statVariable, (folder_ / "stat/%s").c_str(), 1);
   unit_.blockdevIs({{".*ata1/.*", "flash"},
                     {".*ata2/.*", "drive"},
                     {".*/nvme/.*", "nvme"},
                     {".*/mmc_host/.*", "drive2"},
                     {".*/usb1/.*", "eusb"},
                     {".*/usb2/.*", "usb"}});
   for (PlaceState const & place : world_.all())
      unit_.add(deviceOf(place));
   fileSystems_ = std::make_unique<TestedFileSystems>(folder_ / "root", world_);
   kernel_.emplace(config_.kernelMessages.socket);
   writeFiles();
   Vorn::Host::logSinkIs([this](Vorn::Host::LogMessage const & logged) {
      Message message{Vorn::System::currentTime().value(), logged.descriptor.name, {}};
      for (Pelm::String const & argument : logged.arguments)
         message.arguments.push_back(argument.str());
      messages.push_back(std::move(message));
   });
   Vorn::Host::failureSinkIs([this](std::string_view machine, std::string_view what) {
      failures.append(machine).append(": ").append(what).append("\n");
   });
}

Unit::State::~State() {
   running_.reset();
   fileSystems_.reset();
   Vorn::Host::logSinkIs(nullptr);
   Vorn::Host::failureSinkIs(nullptr);
   Vorn::Host::timeSourceIs(nullptr);
   unsetenv(statVariable);
}

void Unit::State::clockIs(double now, double utc) {
   auto source = std::make_unique<Vorn::Host::VirtualTime>(now, utc);
   time = source.get();
   Vorn::Host::timeSourceIs(std::move(source));
}

void Unit::State::start() {
   fileSystems_->monitorsAre(nullptr);
   running_.reset();
   codes_.clear();
   config_ = configOf(folder_, unit_.etcFolder(), world_);
   running_ = std::make_unique<Running>(config_);
   running_->entities.pollInterval->intervalIs(world_.interval());
   running_->tracker->timeLimitIs(toolLimit);
   running_->tracker->substituteIs([this](auto const & argv) { return toolRun(argv); });
   startMonitors();
   settle();
}

void Unit::State::startMonitors() {
   using namespace StorageDevices;
   Running & all = *running_;
   Agent::Entities const & shared = all.entities;
   all.discovery = connectedDevicesSmFactory(shared.fruConfig, shared.devices, all.tracker);
   all.smart = smartDataMonitorSmFactory(shared.pollInterval, shared.devices, shared.smart, all.tracker);
   all.nvme = nvmeDataMonitorSmFactory(shared.pollInterval, shared.devices, shared.nvme, all.tracker);
   all.emmc = emmcDataMonitorSmFactory(shared.pollInterval, shared.devices, shared.emmc);
   all.emmc->emmcBaseDirIs(Pelm::String{(folder_ / "emmc/%s").string()});
   all.ioStat = iOStatSmFactory(shared.pollInterval, shared.devices, shared.ioStat);
   all.lifetime =
       deviceLifetimeMonitorSmFactory(shared.devices, shared.emmc, shared.nvme, shared.smart, shared.ioStat);
   all.temperature =
       tempSensorSmFactory(shared.fruConfig, shared.sensors, shared.sensorStatus, shared.nvme, shared.smart);
   all.kernelErrors = storageDeviceErrWatcherSmFactory(shared.kernelErrors, shared.devices,
                                                       Pelm::String{config_.kernelMessages.socket});
   all.clockWatch.emplace(shared.kernelErrors);
   all.readings.emplace(shared);
   all.verdicts.emplace(
       shared, config_.verdict, *all.readings, [&all] { return all.mountPoints.get(); },
       [&all] { return all.discovery->internalDevicesReady(); });
   all.verdicts->intervalIs(Vorn::Seconds::infinity());
   all.settled.emplace(all.discovery, [this, &all] {
      all.detection = deviceDetectionSmFactory(all.entities.fruConfig, all.entities.devices);
      all.mountPoints = mountPtMonitorManagerSmFactory(all.entities.devices);
      fileSystems_->monitorsAre(all.mountPoints);
   });
}

// Descriptors that are ready are served in the turn after.
void Unit::State::settle() const {
   constexpr int turns = 4;
   for (int i = 0; i < turns; ++i)
      Vorn::Host::runUntil([] { return false; }, time->now());
}

// The texts are the unit's, not the library's: they always find memory.
std::optional<Brul::SubstitutedRun> Unit::State::toolRun(std::vector<Pelm::String> const & argv) const {
   if (scarceMemory_)
      scarceMemory_->suspend();
   auto run = textsOf(argv);
   if (scarceMemory_)
      scarceMemory_->renew();
   return run;
}

Brul::SubstitutedRun Unit::State::textsOf(std::vector<Pelm::String> const & argv) const {
   bool const isSmartctl = argv.front() == "smartctl";
   bool const isLog = argv.size() > 1 && argv[1] == "smart-log";
   Tool const tool = isSmartctl ? Tool::smartctl : isLog ? Tool::smartLog : Tool::identify;
   for (PlaceState const & place : world_.all())
      if (argv.back() == Pelm::String{place.node()})
         return runOf(place, tool);
   throw std::logic_error{"a run for no place"};
}

void Unit::State::apply(Event const & event) {
   bool const changes = world_.apply(event);
   if (event.word == "memory")
      memoryIs();
   else
      happens(event, changes);
   fileSystems_->findTests();
   fileSystems_->update();
   settle();
}

void Unit::State::memoryIs() {
   scarceMemory_.reset();
   if (world_.hasScarceMemory())
      scarceMemory_.emplace();
}

void Unit::State::happens(Event const & event, bool changes) {
   if (event.word == "clock") {
      clockIs(time->now().value(), (time->utc() + static_cast<double>(event.number)).value());
   } else if (event.word == "sleep") {
      time->jumpBy(static_cast<double>(event.number));
   } else if (event.word == "restart") {
      start();
   } else if (event.word == "forget") {
      Agent::forgetGoneDisks(running_->entities);
      running_->verdicts->forgetAbsent();
   } else if (event.word == "interval") {
      running_->entities.pollInterval->intervalIs(world_.interval());
   } else if (event.word == "tools-well") {
      writeFiles();
   } else if (changes) {
      applyTo(world_.at(event.place), event);
   }
}

void Unit::State::applyTo(PlaceState const & place, Event const & event) {
   writeFiles(place);
   if (event.word == "pull")
      unit_.unplug(place.kernel());
   else if (event.word.starts_with("plug"))
      unit_.plug(deviceOf(place));
   else if (event.word == "change")
      unit_.change(place.kernel());
   else if (event.word == "kernel")
      sendLines(place, event);
}

// The socket has room for eleven; what does not fit is lost.
void Unit::State::sendLines(PlaceState const & place, Event const & event) {
   running_->clockWatch->check();
   for (std::int64_t i = 0; i < event.number; ++i)
      kernel_->send(kernelLine(place, event.detail));
}

void Unit::State::writeFiles() {
   for (PlaceState const & place : world_.all())
      writeFiles(place);
}

void Unit::State::writeFiles(PlaceState const & place) const {
   auto const fileIs = [&](fs::path const & path, std::string const & name, std::string const & good,
                           std::string const & noise) {
      FileState const state = place.file(name);
      if (state == FileState::missing)
         fs::remove(path);
      else
         textFileIs(path, state == FileState::good    ? good
                          : state == FileState::noise ? noise
                                                      : "/dev/other1\n");
   };
   Health const & health = place.health;
   int const tenth = std::min((100 - health.lifeLeft) / 10, 10) + 1;
   std::string const tenths = Vorn::_fmt("0x%02x 0x%02x\n", tenth, tenth).str();
   std::string const numbers = "1 0 8 1 1 0 " + std::to_string(health.sectorsWritten) + " 1 0 1 1\n";
   fileIs(folder_ / "stat" / place.kernel(), "stat", numbers, "1 2 x\n");
   fileIs(folder_ / "mount-source" / place.place->mount, "mount-source", place.node() + "1\n", "/dev/dm-0\n");
   if (place.place->kind != Kind::emmc)
      return;
   fs::create_directories(folder_ / "emmc" / place.kernel());
   fileIs(folder_ / "emmc" / place.kernel() / "life_time", "life_time", tenths, "zz\n");
   fileIs(folder_ / "emmc" / place.kernel() / "pre_eol_info", "pre_eol_info",
          Vorn::_fmt("0x%02x\n", health.endOfLife).str(), "");
}

Verdicts Unit::State::verdicts() {
   fileSystems_->findTests();
   running_->verdicts->evaluate();
   Verdicts all;
   for (auto const & [serial, verdict] : running_->verdicts->disks().verdict) {
      auto & [known, text] = codes_[serial.str()];
      if (known != verdict) {
         known = verdict;
         text = codes(*verdict);
      }
      all.emplace(serial.str(), text);
   }
   return all;
}

Unit::Unit(double now, double utc) : state_{std::make_unique<State>(now, utc)} {}
Unit::~Unit() = default;

void Unit::start() {
   state_->start();
}

void Unit::advance(double time) {
   if (time > now())
      Vorn::Host::runUntil([] { return false; }, time);
   state_->settle();
}

double Unit::now() const {
   return state_->time->now().value();
}

void Unit::apply(Event const & event) {
   state_->apply(event);
}

std::vector<Message> Unit::takeMessages() {
   return std::exchange(state_->messages, {});
}

Verdicts Unit::verdicts() {
   return state_->verdicts();
}

std::string const & Unit::failures() const {
   return state_->failures;
}

}  // namespace Endurance
