// Disks are pulled, replaced and put back.
#include "demo/Cast.h"
#include "demo/Story.h"

namespace Agent::Demo {

namespace {

bool isOffline(ApplianceState const & state, char const * serial) {
   return state.disk(serial) == nullptr && state.holds(serial, "removed") &&
          state.hasLogged("STORAGEDEVICE_OFFLINE", {serial});
}

void plugStrange(SimulatedUnit & unit) {
   unit.healthIs(strangeDisk(), fresh());
   unit.tools().outputIs(Tool::hdparm, "sda", "");
   unit.tools().exitCodeIs(Tool::hdparm, "sda", 5);
   unit.plug(strangeDisk());
}

void plugRepaired(SimulatedUnit & unit) {
   unit.unplug("sda");
   unit.tools().exitCodeIs(Tool::hdparm, "sda", 0);
   unit.tools().delayIs(Tool::hdparm, "sda", 2);
   for (auto const & disk : {flashDisk(), driveDisk(), cardDisk()})
      toolsKnow(unit, disk);
   unit.plug(flashDisk());
}

// As new is what the drives say of themselves: what the kernel reported is less than a day ago.
bool allAsNew(ApplianceState const & state) {
   auto const asNew = [&](char const * serial) {
      return isRead(state, serial) && !state.holds(serial, "life-low") && !state.holds(serial, "overheat") &&
             !state.holds(serial, "self-assessment-failed") && !state.holds(serial, "removed");
   };
   return flashIdentified(state) && asNew(flashSerial) && asNew(driveSerial) && asNew(cardSerial);
}

}  // namespace

Chapter replacementChapter() {
   return {
       {.text = "The failing SATA disk is taken out for repair",
        .act = [](SimulatedUnit & unit) { unit.unplug("sda"); },
        .reached = [](ApplianceState const & state) { return isOffline(state, flashSerial); }},
       {.text = "Another takes its place, for which hdparm fails: it appears with what udev knows",
        .act = plugStrange,
        .reached = strangeDiskThere},
       {.text = "The old one comes back as new, and hdparm takes two seconds for it; so do the others",
        .act = plugRepaired,
        .reached = allAsNew},
       {.text = "The NVMe drive is pulled while the unit runs",
        .act = [](SimulatedUnit & unit) { unit.unplug("nvme0n1"); },
        .reached = [](ApplianceState const & state) { return isOffline(state, driveSerial); }},
       {.text = "The NVMe drive is put back",
        .act = [](SimulatedUnit & unit) { unit.plug(driveDisk()); },
        .reached = driveIdentified},
       {.text = "The card reader is pulled",
        .act =
            [](SimulatedUnit & unit) {
               unit.unplug("sdc");
               unit.tools().delayIs(Tool::hdparm, "sda", 0);
            },
        .reached =
            [](ApplianceState const & state) {
               return state.disks.size() == 4 && bootDisksIdentified(state);
            }},
   };
}

}  // namespace Agent::Demo
