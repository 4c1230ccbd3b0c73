// File systems are watched, and tested by writing and reading back.
#include "demo/Cast.h"
#include "demo/Story.h"

namespace Demo {

namespace {

constexpr std::chrono::seconds wholeHealthTest(1200);

// Tested, without a failed test among the reasons of the verdicts.
bool allTestedWell(ApplianceState const & state) {
   for (char const * serial : {flashSerial, driveSerial, emmcSerial, eusbSerial})
      if (state.hasReason(serial, "write-test-failed") || state.hasReason(serial, "read-test-failed"))
         return false;
   return fileSystemsAre(state, {"tested"});
}

bool driveIsFull(ApplianceState const & state) {
   return state.hasReason(driveSerial, "file-system-full") &&
          state.hasLogged("STORAGEDEVICE_MONITOR_WARNING", {driveSerial, "has exceeded 85 percent"});
}

bool emmcIsReadOnly(ApplianceState const & state) {
   return state.hasReason(emmcSerial, "mounted-read-only") &&
          state.hasLogged("STORAGEDEVICE_MONITOR_ERROR", {"mountPtCheck", emmcSerial, "read-only"});
}

}  // namespace

Chapter fileSystemChapter() {
   return {
       {.text = "The file system of each disk is tested: a block is written past the cache and read back",
        .act = [](SimulatedUnit &) {},
        .reached = allTestedWell,
        .agentTime = wholeHealthTest,
        .needsDirectIo = true},
       {.text = "The file system of the NVMe drive fills up",
        .act = [](SimulatedUnit & unit) { unit.fileSystems().usedPercentIs("drive", 90); },
        .reached = driveIsFull,
        .agentTime = std::chrono::seconds(240)},
       {.text = "The kernel remounts the file system of the eMMC read-only",
        .act =
            [](SimulatedUnit & unit) {
               unit.fileSystems().mountIs("drive2", "mmcblk0p1",
                                          StorageDevices::Simulation::FileSystems::Access::readOnly);
            },
        .reached = emmcIsReadOnly,
        .agentTime = std::chrono::seconds(600)},
   };
}

}  // namespace Demo
