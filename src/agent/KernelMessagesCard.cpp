#include "agent/KernelMessages.h"

namespace Agent {

namespace {

using enum KernelForm;

// The library knows three messages, of mmc0 and mmcblk0 only.
constexpr KernelMessage transfers[]{
    {"error %num transferring data, sector %num, nr %num, cmd response", told,
     "mmcblk0: error -110 transferring data, sector 8, nr 8, cmd response 0x900, card status 0xb00",
     "mmcblk0"},
    {"error %num sending status command", told, "mmcblk0: error -110 sending status command, retrying",
     "mmcblk0"},
    {"error %num sending <read/write|stop> command", told,
     "mmcblk0: error -110 sending read/write command, response 0x0, card status 0x0", "mmcblk0"},
    {"error %num requesting status", told, "mmcblk1p2: error -110 requesting status", "mmcblk1"},
    {"unknown error %num sending", told,
     "mmcblk0: unknown error -22 sending read/write command, card status 0x900", "mmcblk0"},
    {"timed out sending ", told, "mmcblk0: timed out sending r/w cmd command, card status 0x900", "mmcblk0"},
    {"response CRC error sending ", told, "mmcblk0: response CRC error sending r/w cmd command", "mmcblk0"},
    {"packed cmd failed", told, "mmcblk0: packed cmd failed, nr 4, sectors 32, failure index: 2", "mmcblk0"},
    {"recovery failed", told, "mmcblk0: recovery failed!", "mmcblk0"},
    {"Card stuck in <programming|wrong> state", told,
     "mmc0: Card stuck in programming state! mmcblk0 card_busy_detect", "mmc0"},
};

constexpr KernelMessage cards[]{
    {"error %num whilst initialising ", told, "mmc1: error -110 whilst initialising SD card", "mmc1"},
    {"error %num ", told, "mmc0: error -110 reading status reg of PM func", "mmc0"},
    {"cache flush error %num", told, "mmc0: cache flush error -110", "mmc0"},
    {"Card stuck being busy", told, "mmc0: Card stuck being busy! __mmc_poll_for_busy", "mmc0"},
    {"card never left busy state", told, "mmc0: card never left busy state", "mmc0"},
    {"mmc_%name failed, error %num", told, "mmc1: mmc_select_hs400es failed, error -110", "mmc1"},
    {"switch to %any failed", told, "mmc0: switch to bus width 8 failed", "mmc0"},
    {"tuning execution failed", told, "mmc2: tuning execution failed: -5", "mmc2"},
    {"running CQE recovery", told, "mmc0: running CQE recovery", "mmc0"},
    {"failed to start CQE transfer", told, "mmc2: failed to start CQE transfer for tag 0, error -16", "mmc2"},
    {"tried to HW reset card, got error %num", told, "mmc0: tried to HW reset card, got error -110", "mmc0"},
    {"problem reading <SD Status|switch function status> register", told,
     "mmc0: problem reading SD Status register", "mmc0"},
};

constexpr KernelMessage hosts[]{
    {"Timeout waiting for ", told, "mmc0: Timeout waiting for hardware interrupt.", "mmc0"},
    {"Reset 0x%hex never completed", told, "mmc0: Reset 0x4 never completed.", "mmc0"},
    {"Controller never released inhibit bit", told, "mmc0: Controller never released inhibit bit(s).",
     "mmc0"},
    {"Got <command|data> interrupt 0x%hex even though no", told,
     "mmc0: Got data interrupt 0x04000000 even though no data operation was in progress.", "mmc0"},
    {"Unexpected interrupt 0x", told, "mmc0: Unexpected interrupt 0x00004000.", "mmc0"},
    {"Card removed during transfer", told, "mmc1: Card removed during transfer!", "mmc1"},
    {"ADMA error", told, "mmc0: ADMA error: 0x02000000", "mmc0"},
    {"Internal clock never stabilised", told, "mmc0: Internal clock never stabilised.", "mmc0"},
};

constexpr KernelMessage queues[]{
    {"timeout for tag %num", told, "mmc0: cqhci: timeout for tag 3, qcnt 4", "mmc0"},
    {"error IRQ", told, "mmc0: cqhci: error IRQ status: 0x00000000 cmd error -110 data error 0 TERRI: 0x0",
     "mmc0"},
};

constexpr KernelMessageGroup groups[]{
    {"drivers/mmc/core/block.c", "%card: ", transfers},
    {"drivers/mmc/core/core.c, mmc.c, mmc_ops.c, sd.c", "%card: ", cards},
    {"drivers/mmc/host/sdhci.c", "%card: ", hosts},
    {"drivers/mmc/host/cqhci.c, cqhci-core.c", "%card: cqhci: ", queues},
};

}  // namespace

KernelMessageGroups cardMessages() {
   return groups;
}

}  // namespace Agent
