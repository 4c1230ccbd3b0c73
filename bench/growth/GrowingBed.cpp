#include "bench/growth/GrowingBed.h"

#include <filesystem>
#include <stdexcept>
#include <string>

#include "StorageDevices/ConnectedDevicesSm.h"
#include "StorageDevices/Factories.h"
#include "agent/Entities.h"
#include "runtime/host/Loop.h"
#include "runtime/host/TimeSource.h"
#include "simulation/SimulatedUnit.h"

namespace Bench {

namespace {

namespace fs = std::filesystem;
namespace Simulation = StorageDevices::Simulation;

Agent::Entities entitiesIn(Simulation::SimulatedUnit const & unit) {
   Agent::Config config;
   config.appliance.etcDir = unit.etcFolder().string();
   config.appliance.expectedMounts = {"emmc"};
   return Agent::entitiesOf(config);
}

}  // namespace

class GrowingBed::State {
 public:
   State() { unit_.blockdevIs({{".*/mmc_host/.*", "emmc"}}); }
   // The test bed would remove device by device, which takes minutes.
   ~State() { fs::remove_all(unit_.environment().at("UMOCKDEV_DIR")); }
   State(State const &) = delete;
   State & operator=(State const &) = delete;

   void disksAre(std::size_t disks) {
      for (; disks_ < disks; ++disks_)
         unit_.add(Simulation::emmcDevice("mmcblk" + std::to_string(disks_),
                                          "9b014e4f535052455921" + std::to_string(10000000 + disks_) + "5a01",
                                          62500000));
   }

   Cost discovery() const {
      Vorn::Host::timeSourceIs(std::make_unique<Vorn::Host::VirtualTime>());
      auto const entities = entitiesIn(unit_);
      auto const tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
      Pelm::Ptr<StorageDevices::ConnectedDevicesSm> monitor;
      Cost cost;
      cost.add([&] {
         monitor = StorageDevices::connectedDevicesSmFactory(entities.fruConfig, entities.devices, tracker);
      });
      while (entities.devices->disk.size() < disks_) {
         if (Vorn::System::currentTime() > Vorn::Seconds{1e6})
            throw std::runtime_error("not all devices were discovered");
         cost.add([] { Vorn::Host::turn(1); });
      }
      return cost;
   }

 private:
   Simulation::SimulatedUnit & unit_ = *new Simulation::SimulatedUnit;  // never destroyed
   std::size_t disks_ = 0;
};

GrowingBed::GrowingBed() : state_{std::make_unique<State>()} {}
GrowingBed::~GrowingBed() = default;

void GrowingBed::disksAre(std::size_t disks) {
   state_->disksAre(disks);
}

Cost GrowingBed::discovery() const {
   return state_->discovery();
}

}  // namespace Bench
