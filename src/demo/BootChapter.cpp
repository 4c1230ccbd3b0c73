// The unit boots with faults, is repaired and boots again.
#include "demo/Cast.h"
#include "demo/Story.h"

namespace Demo {

namespace {

void breakUnit(SimulatedUnit & unit) {
   mountAll(unit);
   unit.vanish("sdb");
   unit.fileSystems().mountDel("drive2");
   unit.fileSystems().mountIs("drive", "sda2");
}

bool faultsLogged(ApplianceState const & state) {
   return state.hasLogged("STORAGEDEVICE_DETECTION_ERROR", {"/mnt/eusb"}) &&
          state.hasLogged("STORAGEDEVICE_PARTITION_NOT_MOUNTED", {"/dev/mmcblk0", "/mnt/drive2"}) &&
          state.hasLogged("STORAGEDEVICE_UNEXPECTED_PARTITION_MOUNTED",
                          {"/dev/sda2", "/mnt/drive", "nvme0n1"}) &&
          state.hasReason(driveSerial, "mount-changed");
}

void repairUnit(SimulatedUnit & unit) {
   unit.add(eusbDisk());
   mountAll(unit);
}

bool bootedAgain(ApplianceState const & state) {
   return bootDisksIdentified(state) && bootDisksHealthy(state) &&
          fileSystemsAre(state, {"testing", "tested"}) && state.messages.empty();
}

}  // namespace

Chapter bootChapter() {
   return {
       {.text = "The unit boots without its eUSB, with the eMMC not mounted and with another disk's "
                "partition mounted in place of the NVMe drive's",
        .act = breakUnit,
        .reached = faultsLogged,
        .deadline = std::chrono::seconds(20),
        .reboots = true},
       {.text = "All disks are in their places, and the unit boots again",
        .act = repairUnit,
        .reached = bootedAgain,
        .deadline = std::chrono::seconds(20),
        .reboots = true},
   };
}

}  // namespace Demo
