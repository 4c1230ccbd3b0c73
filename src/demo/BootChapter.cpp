// The unit boots with what should not be, is repaired and boots again.
#include "demo/Cast.h"
#include "demo/Story.h"

namespace Agent::Demo {

namespace {

void breakUnit(SimulatedUnit & unit) {
   mountAll(unit);
   unit.vanish("sdb");
   unit.fileSystems().mountDel("drive2");
   unit.fileSystems().mountIs("drive", "sda2");
}

bool faultsTold(ApplianceState const & state) {
   return state.hasLogged("STORAGEDEVICE_DETECTION_ERROR", {"/mnt/eusb"}) &&
          state.hasLogged("STORAGEDEVICE_PARTITION_NOT_MOUNTED", {"/dev/mmcblk0", "/mnt/drive2"}) &&
          state.hasLogged("STORAGEDEVICE_UNEXPECTED_PARTITION_MOUNTED",
                          {"/dev/sda2", "/mnt/drive", "nvme0n1"}) &&
          state.holds(driveSerial, "mount-changed");
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
        .reached = faultsTold,
        .deadline = std::chrono::seconds(20),
        .reboots = true},
       {.text = "All is in its place, and the unit boots once more",
        .act = repairUnit,
        .reached = bootedAgain,
        .deadline = std::chrono::seconds(20),
        .reboots = true},
   };
}

}  // namespace Agent::Demo
