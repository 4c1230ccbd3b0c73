// Disks are pulled, replaced and put back.
#include "demo/Cast.h"
#include "demo/Story.h"

namespace Demo {

namespace {

bool isOffline(ApplianceState const & state, char const * serial) {
   return state.disk(serial) == nullptr && state.hasReason(serial, "removed") &&
          state.hasLogged("STORAGEDEVICE_OFFLINE", {serial});
}

void plugUnreadable(SimulatedUnit & unit) {
   unit.healthIs(unreadableDisk(), fresh());
   unit.tools().outputIs(Tool::hdparm, "sda", "");
   unit.tools().exitCodeIs(Tool::hdparm, "sda", 5);
   unit.plug(unreadableDisk());
}

void plugRepaired(SimulatedUnit & unit) {
   unit.unplug("sda");
   unit.tools().exitCodeIs(Tool::hdparm, "sda", 0);
   unit.tools().delayIs(Tool::hdparm, "sda", 2);
   for (auto const & disk : {flashDisk(), driveDisk(), emmcDisk()})
      toolsReport(unit, disk);
   unit.plug(flashDisk());
}

// As new by their own reports: the kernel's errors are less than a day old and still count.
bool allAsNew(ApplianceState const & state) {
   auto const asNew = [&](char const * serial) {
      return isRead(state, serial) && !state.hasReason(serial, "life-low") &&
             !state.hasReason(serial, "overheat") && !state.hasReason(serial, "self-assessment-failed") &&
             !state.hasReason(serial, "removed");
   };
   return flashIdentified(state) && asNew(flashSerial) && asNew(driveSerial) && asNew(emmcSerial);
}

}  // namespace

Chapter replacementChapter() {
   return {
       {.text = "The failing SATA disk is taken out for repair",
        .act = [](SimulatedUnit & unit) { unit.unplug("sda"); },
        .reached = [](ApplianceState const & state) { return isOffline(state, flashSerial); }},
       {.text = "Another takes its place, and hdparm fails for it: it appears with the data that udev has",
        .act = plugUnreadable,
        .reached = unreadableDiskConnected},
       {.text =
            "The old one comes back as new, and hdparm takes two seconds for it; the others are as new too",
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

}  // namespace Demo
