#include "agent/kernel/KernelMessages.h"

namespace Agent {

namespace {

using enum KernelForm;

// The library knows three messages, of mmc0 and mmcblk0 only.
constexpr KernelMessage cardTransfers[]{
    {"error %num transferring data, sector %num, nr %num, cmd response", quoted,
     "mmcblk0: error -110 transferring data, sector 8, nr 8, cmd response 0x900, card status 0xb00",
     "mmcblk0"},
    {"error %num sending status command", quoted, "mmcblk0: error -110 sending status command, retrying",
     "mmcblk0"},
    {"error %num sending <read/write|stop> command", quoted,
     "mmcblk0: error -110 sending read/write command, response 0x0, card status 0x0", "mmcblk0"},
    {"error %num requesting status", quoted, "mmcblk1p2: error -110 requesting status", "mmcblk1"},
    {"unknown error %num sending", quoted,
     "mmcblk0: unknown error -22 sending read/write command, card status 0x900", "mmcblk0"},
    {"timed out sending ", quoted, "mmcblk0: timed out sending r/w cmd command, card status 0x900",
     "mmcblk0"},
    {"response CRC error sending ", quoted, "mmcblk0: response CRC error sending r/w cmd command", "mmcblk0"},
    {"r/w command failed, status = 0x%hex", quoted, "mmcblk0: r/w command failed, status = 0x80e00",
     "mmcblk0"},
    {"packed cmd failed", quoted, "mmcblk0: packed cmd failed, nr 4, sectors 32, failure index: 2",
     "mmcblk0"},
    {"recovery failed", quoted, "mmcblk0: recovery failed!", "mmcblk0"},
    {"Card stuck in <programming|wrong> state", quoted,
     "mmc0: Card stuck in programming state! mmcblk0 card_busy_detect", "mmc0"},
};

// A command that the card refuses is no error of the card.
constexpr KernelMessage cards[]{
    {"error %num whilst initialising ", quoted, "mmc1: error -110 whilst initialising SD card", "mmc1"},
    {"error %num ", quoted, "mmc0: error -110 reading status reg of PM func", "mmc0"},
    {"cache flush error %num", quoted, "mmc0: cache flush error -110", "mmc0"},
    {"Card stuck being busy", quoted, "mmc0: Card stuck being busy! __mmc_poll_for_busy", "mmc0"},
    {"card never left busy state", quoted, "mmc0: card never left busy state", "mmc0"},
    {"mmc_%name failed, error %num", quoted, "mmc1: mmc_select_hs400es failed, error -110", "mmc1"},
    {"switch to %any failed", quoted, "mmc0: switch to bus width 8 failed", "mmc0"},
    {"<unable to read EXT_CSD|Get card status fail|Failed to read bkops status>", quoted,
     "mmc0: unable to read EXT_CSD, performance might suffer", "mmc0"},
    {"Failed to initialize a non-removable card", quoted, "mmc0: Failed to initialize a non-removable card",
     "mmc0"},
    {"Power Off Notification timed out", quoted, "mmc0: Power Off Notification timed out, 100", "mmc0"},
    {"unexpected status 0x%hex after switch", quoted, "mmc0: unexpected status 0x800900 after switch",
     "mmc0"},
    {"<HPI error|Error> %num", quoted, "mmc0: Error -110 running bkops", "mmc0"},
    {"mmc_wait_for_req_done: Failed to interrupt sanitize", quoted,
     "mmc0: mmc_wait_for_req_done: Failed to interrupt sanitize", "mmc0"},
    {"Sanitize failed err=%num", quoted, "mmc0: Sanitize failed err=-110", "mmc0"},
    {"Problem <switching card into high-speed mode|setting drive strength|setting bus speed mode|setting "
     "current limit>",
     quoted, "mmc1: Problem setting bus speed mode!", "mmc1"},
    {"<tuning execution|ddr50 tuning> failed", quoted, "mmc2: tuning execution failed: -5", "mmc2"},
    {"running CQE recovery", quoted, "mmc0: running CQE recovery", "mmc0"},
    {"failed to start CQE transfer", quoted, "mmc2: failed to start CQE transfer for tag 0, error -16",
     "mmc2"},
    {"tried to <HW|SW> reset card, got error %num", quoted, "mmc0: tried to HW reset card, got error -110",
     "mmc0"},
    {"problem reading <SD Status register|switch function status register|Bus Speed modes>", quoted,
     "mmc0: problem reading SD Status register", "mmc0"},
    {"<Enabling HPI failed|Enabling CMDQ failed|Cache is supported, but failed to turn on|Failed to enable "
     "CQE, error %num>",
     quoted, "mmc0: Cache is supported, but failed to turn on (-110)", "mmc0"},
};

constexpr KernelMessage hosts[]{
    {"Timeout waiting for ", quoted, "mmc0: Timeout waiting for hardware interrupt.", "mmc0"},
    {"Reset 0x%hex never completed", quoted, "mmc0: Reset 0x4 never completed.", "mmc0"},
    {"Controller never released inhibit bit", quoted, "mmc0: Controller never released inhibit bit(s).",
     "mmc0"},
    {"Got <command|data> interrupt 0x%hex even though no", quoted,
     "mmc0: Got data interrupt 0x04000000 even though no data operation was in progress.", "mmc0"},
    {"Unexpected interrupt 0x", quoted, "mmc0: Unexpected interrupt 0x00004000.", "mmc0"},
    {"<Card removed during|Controller removed during > transfer", quoted,
     "mmc1: Card removed during transfer!", "mmc1"},
    {"ADMA error", quoted, "mmc0: ADMA error: 0x02000000", "mmc0"},
    {"CQE: Unexpected interrupt 0x", quoted, "mmc0: CQE: Unexpected interrupt 0x00000020.", "mmc0"},
    {"Card is consuming too much power!", quoted, "mmc0: Card is consuming too much power!", "mmc0"},
    {"Tuning failed, falling back", quoted, "mmc0: Tuning failed, falling back to fixed sampling clock",
     "mmc0"},
    {"<Internal|PLL> clock never stabilised", quoted, "mmc0: Internal clock never stabilised.", "mmc0"},
};

constexpr KernelMessage queues[]{
    {"timeout for tag %num", quoted, "mmc0: cqhci: timeout for tag 3, qcnt 4", "mmc0"},
    {"<CQE stuck on|CQE failed to exit halt state|Failed to clear tasks|Failed to halt>", quoted,
     "mmc0: cqhci: Failed to halt", "mmc0"},
    {"error IRQ", quoted, "mmc0: cqhci: error IRQ status: 0x00000000 cmd error -110 data error 0 TERRI: 0x0",
     "mmc0"},
};

// Failures between one make of host and its card, as those of sdhci.c.
constexpr KernelMessage otherHosts[]{
    {"Tuning timeout, falling back", quoted, "mmc0: Tuning timeout, falling back to fixed sampling clock",
     "mmc0"},
    {"<HW tuning failed|o2 dll recovery failed|DLL adjust over max times>", quoted,
     "mmc0: o2 dll recovery failed", "mmc0"},
    {"<DLL locked fail|timeout for delay chain lock|flushing asynchronous FIFO timeout|"
     "Failed to calibrate DLL|Unable to get DLL_LOCK>",
     quoted, "mmc0: timeout for delay chain lock.", "mmc0"},
    {"%name: <CM_DLL_SDC4 calibration was not completed|CDC calibration was not completed|"
     "CDC error code %num>",
     quoted, "mmc0: sdhci_msm_cm_dll_sdc4_calibration: CM_DLL_SDC4 calibration was not completed", "mmc0"},
    {"DMA error on <rx|tx> channel", quoted, "mmc0: DMA error on rx channel", "mmc0"},
    {"Incomplete DMA transfer", quoted, "mmc0: Incomplete DMA transfer. 512 bytes left.", "mmc0"},
};

constexpr KernelMessage msmHosts[]{
    {"DLL failed to LOCK", quoted, "sdhci_msm 7824900.mmc: mmc0: DLL failed to LOCK", "mmc0"},
};

constexpr KernelMessage designWareHosts[]{
    {"Timeout sending command (cmd 0x", quoted,
     "mmc_host mmc0: Timeout sending command (cmd 0x202000 arg 0x0 status 0x80202000)", "mmc0"},
    {"There is no candidates value about clksmpl", quoted,
     "mmc_host mmc0: There is no candidates value about clksmpl!", "mmc0"},
};

constexpr KernelMessageGroup cardGroups[]{
    {"drivers/mmc/core/block.c, drivers/mmc/card/block.c", "%card: ", cardTransfers},
    {"drivers/mmc/core/core.c, mmc.c, mmc_ops.c, sd.c, sd_ops.c, bus.c, drivers/mmc/host/cqhci.c",
     "%card: ", cards},
    {"drivers/mmc/host/sdhci.c", "%card: ", hosts},
    {"drivers/mmc/host/cqhci.c, cqhci-core.c", "%card: cqhci: ", queues},
    {"drivers/mmc/host/sdhci-pci-gli.c, sdhci-pci-o2micro.c, sdhci-sprd.c, sdhci-of-esdhc.c, sdhci-msm.c, "
     "pxamci.c, wbsd.c",
     "%card: ", otherHosts},
    {"drivers/mmc/host/sdhci-msm.c", "sdhci_msm %any: %card: ", msmHosts},
    {"drivers/mmc/host/dw_mmc.c, dw_mmc-exynos.c", "mmc_host %card: ", designWareHosts},
};

}  // namespace

KernelMessageGroups cardMessages() {
   return cardGroups;
}

}  // namespace Agent
