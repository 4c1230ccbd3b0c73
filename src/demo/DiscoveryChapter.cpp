// The unit boots, and sticks come and go.
#include "demo/Cast.h"
#include "demo/Story.h"

namespace Demo {

namespace {

// Of a unit in order nothing is logged.
bool booted(ApplianceState const & state) {
   return bootDisksIdentified(state) && fileSystemsAre(state, {"testing", "tested"}) &&
          state.messages.empty();
}

void plugStick(SimulatedUnit & unit, Disk const & disk) {
   unit.healthIs(disk, {});
   unit.plug(disk);
}

}  // namespace

Chapter discoveryChapter() {
   return {
       {.text = "The unit boots with a SATA disk, an NVMe drive, an eMMC and an eUSB; hdparm, nvme and the "
                "CID register identify them",
        .act = [](SimulatedUnit &) {},
        .reached = booted,
        .deadline = std::chrono::seconds(20)},
       {.text = "A USB stick is plugged in",
        .act = [](SimulatedUnit & unit) { plugStick(unit, usbStick()); },
        .reached = stickConnected},
       {.text = "The stick is pulled",
        .act = [](SimulatedUnit & unit) { unit.unplug("sdc"); },
        .reached = [](ApplianceState const & state) { return state.disk(stickSerial) == nullptr; }},
       {.text = "A card reader with a small card is plugged in",
        .act = [](SimulatedUnit & unit) { plugStick(unit, cardReader()); },
        .reached = [](ApplianceState const & state) { return cardReaderConnected(state, smallCard); }},
       {.text = "The reader gets a bigger card",
        .act =
            [](SimulatedUnit & unit) {
               unit.sectorsIs("sdc", sectors(bigCard));
               unit.change("sdc");
            },
        .reached = [](ApplianceState const & state) { return cardReaderConnected(state, bigCard); }},
   };
}

}  // namespace Demo
