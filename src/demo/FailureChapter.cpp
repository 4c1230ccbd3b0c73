// Tools, disks and media fail.
#include <cerrno>

#include "demo/Cast.h"
#include "demo/Story.h"

namespace Demo {

namespace {

constexpr std::chrono::seconds wholeTest(1200);

void selfTestFails(SimulatedUnit & unit) {
   auto health = fresh();
   health.passed = false;
   health.reallocatedSectors = 2040;
   unit.healthIs(flashDisk(), health);
}

bool selfTestFailed(ApplianceState const & state) {
   return isRead(state, flashSerial) && state.hasReason(flashSerial, "self-assessment-failed") &&
          state.hasReason(flashSerial, "reallocated-sectors") &&
          state.hasReason(flashSerial, "attribute-below-threshold");
}

void mediumFails(SimulatedUnit & unit) {
   unit.fileSystems().writeErrorIs("flash", EIO);
   kernelLogs(unit, "blk_update_request: I/O error, dev sda, sector 2048 op 0x1:(WRITE) flags 0x800");
}

void readerResets(SimulatedUnit & unit) {
   kernelLogs(unit, "usb 1-1.3: reset high-speed USB device number 7 using xhci_hcd");
}

bool writeTestFailed(ApplianceState const & state) {
   return state.hasReason(flashSerial, "write-test-failed") &&
          state.hasLogged("STORAGEDEVICE_MONITOR_ERROR",
                          {"writeTest - write", flashSerial, "Input/output error"});
}

Chapter toolsFail() {
   return {
       {.text = "smartctl prints unreadable output for the SATA disk: its earlier figures stay",
        .act = [](SimulatedUnit & unit) { unit.tools().outputIs(Tool::smartctl, "sda", "Segmentation fau"); },
        .reached =
            [](ApplianceState const & state) {
               auto const * flash = state.healthOf(flashSerial);
               return failing(state, flashSerial, "smartctl: unreadable output") && flash->temperature;
            }},
       {.text = "nvme hangs on the NVMe drive; its run is ended after three seconds, the others go on",
        .act = [](SimulatedUnit & unit) { unit.tools().hangsIs(Tool::nvmeSmartLog, "nvme0n1", true); },
        .reached =
            [](ApplianceState const & state) {
               return failing(state, driveSerial, "nvme: ") && state.hasReason(driveSerial, "tool-hangs");
            },
        .deadline = std::chrono::seconds(15)},
       {.text = "nvme answers again",
        .act = [](SimulatedUnit & unit) { unit.tools().hangsIs(Tool::nvmeSmartLog, "nvme0n1", false); },
        .reached = [](ApplianceState const & state) { return isRead(state, driveSerial); },
        .deadline = std::chrono::seconds(15)},
   };
}

Chapter mediaFail() {
   return {
       {.text = "smartctl works again, and the SATA disk fails its self-test",
        .act = selfTestFails,
        .reached = selfTestFailed},
       {.text = "The kernel reports errors of the SATA disk: it cannot be written any more",
        .act = mediumFails,
        .reached =
            [](ApplianceState const & state) {
               return state.hasLogged("STORAGEDEVICE_IO_ERROR", {"/dev/sda", flashSerial}) &&
                      state.hasReason(flashSerial, "kernel-errors");
            }},
       {.text = "The kernel resets the card reader again and again",
        .act = readerResets,
        .reached =
            [](ApplianceState const & state) {
               return state.hasLogged("STORAGEDEVICE_IO_ERROR_EXTERNAL_USB", {"/dev/sdc", readerSerial});
            }},
       {.text = "The next test of the SATA disk's file system fails to write",
        .act = [](SimulatedUnit &) {},
        .reached = writeTestFailed,
        .agentTime = wholeTest,
        .needsDirectIo = true},
   };
}

}  // namespace

Chapter failureChapter() {
   auto all = mediaFail();
   auto const tools = toolsFail();
   // While the tools fail the next test of the file system comes nearer.
   all.insert(all.end() - 1, tools.begin() + 1, tools.end());
   all.insert(all.begin(), tools.front());
   return all;
}

}  // namespace Demo
