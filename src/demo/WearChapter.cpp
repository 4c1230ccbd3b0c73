// The disks grow old faster than they should.
#include "demo/Cast.h"
#include "demo/Story.h"

namespace Demo {

namespace {

constexpr std::uint64_t terabyte = 1'000'000'000'000;

StorageDevices::Simulation::DriveHealth worn(unsigned percentUsed, int temperature) {
   auto health = fresh();
   health.percentUsed = percentUsed;
   health.temperature = temperature;
   return health;
}

// A year of hard work.
StorageDevices::Simulation::DriveHealth old() {
   auto health = worn(91, 58);
   health.powerOnHours = 17880;
   health.bytesWritten = 190 * terabyte;
   return health;
}

void allAre(SimulatedUnit & unit, StorageDevices::Simulation::DriveHealth const & health,
            std::uint64_t bytesWritten) {
   for (auto const & disk : {flashDisk(), driveDisk(), emmcDisk()}) {
      unit.trafficIs(disk.name, bytesWritten / 4, bytesWritten);
      unit.healthIs(disk, health);
   }
}

bool lifeUsedIs(ApplianceState const & state, unsigned percent) {
   auto const * flash = state.healthOf(flashSerial);
   auto const * drive = state.healthOf(driveSerial);
   return flash != nullptr && flash->lifeLeft == 100 - percent && drive != nullptr &&
          drive->lifeLeft == 100 - percent;
}

bool oldAndHot(ApplianceState const & state) {
   auto const * flash = state.healthOf(flashSerial);
   return lifeUsedIs(state, old().percentUsed) && state.hasReason(flashSerial, "life-low") &&
          state.hasReason(driveSerial, "life-low") && state.hasReason(emmcSerial, "life-low") &&
          state.hasReason(flashSerial, "overheat") && flash->temperature == old().temperature &&
          flash->hours == static_cast<double>(old().powerOnHours);
}

bool bothLogged(ApplianceState const & state, std::string_view name) {
   return state.hasLogged(name, {flashSerial}) && state.hasLogged(name, {driveSerial});
}

}  // namespace

Chapter wearChapter() {
   return {
       {.text = "smartctl, nvme and the eMMC's registers report the health of the disks",
        .act = [](SimulatedUnit &) {},
        .reached = bootDisksHealthy},
       {.text = "Two percent of the life of the SATA disk and the NVMe drive are gone; it is not known "
                "since when, so nothing is logged",
        .act = [](SimulatedUnit & unit) { allAre(unit, worn(9, 40), terabyte); },
        .reached = [](ApplianceState const & state) { return lifeUsedIs(state, 9); }},
       {.text = "Two more percent are lost at once",
        .act = [](SimulatedUnit & unit) { allAre(unit, worn(11, 46), 3 * terabyte); },
        .reached =
            [](ApplianceState const & state) { return bothLogged(state, "STORAGEDEVICE_LIFETIME_INFO"); }},
       {.text = "A year of hard work: the disks are hot, and less than a third of their life is left",
        .act = [](SimulatedUnit & unit) { allAre(unit, old(), 9 * terabyte); },
        .reached =
            [](ApplianceState const & state) {
               return oldAndHot(state) && bothLogged(state, "STORAGEDEVICE_LIFETIME_WARNING");
            }},
   };
}

}  // namespace Demo
