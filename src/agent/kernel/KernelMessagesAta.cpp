#include "agent/kernel/KernelMessages.h"

namespace Agent {

namespace {

using enum KernelForm;

// Texts that the device itself supplies.
constexpr KernelMessage ataIdentities[]{
    {"<ATA-|ATAPI: |CFA: >", nobody, "ata1.00: ATA-8: (sda): This should, 1.0, max UDMA/133", ""},
};

constexpr KernelMessage reports[]{
    {"%any interface fatal error", asIs, "ata1.00: irq_stat 0x08000000, interface fatal error", "ata1"},
    {"SError: { %any }", asIs, "ata1: SError: { PHYRdyChg CommWake 10B8B DevExch }", "ata1"},
    {"exception Emask ", ata, "ata2.00: exception Emask 0x0 SAct 0x0 SErr 0x0 action 0x6 frozen", "ata2"},
    {"failed command: ", asIs, "ata1.00: failed command: READ FPDMA QUEUED", "ata1"},
    {"error: { %any }", asIs, "ata3.00: error: { ICRC UNC AMNF IDNF ABRT }", "ata3"},
    {"status: {%any ERR }", ata, "ata3.00: status: { DRDY SENSE ERR }", "ata3"},
    {"status=0x%hex {%any Error }", ata, "ata1: status=0x51 { DriveReady SeekComplete Error }", "ata1"},
    {"status=0x%hex {%any DeviceFault ", ata, "ata1: status=0x70 { DriveReady DeviceFault SeekComplete }",
     "ata1"},
    {"error=0x%hex {", ata, "ata1: error=0x40 {UncorrectableError ", "ata1"},
    {"<could|Could> not decode error ", ata,
     "ata1.00: Could not decode error 0x0, status 0xd0 (err_mask=0x2)", "ata1"},
    {"status: {%any DF }", ata, "ata3.00: status: { DRDY DF }", "ata3"},
};

constexpr KernelMessage resets[]{
    {"hard resetting link", asIs, "ata2: hard resetting link", "ata2"},
    {"soft resetting <link|port>", ata, "ata2: soft resetting link", "ata2"},
    {"COMRESET failed", asIs, "ata8: COMRESET failed (errno=-16)", "ata8"},
    {"prereset failed", ata, "ata2: prereset failed (errno=-19)", "ata2"},
    {"SRST failed", ata, "ata2: SRST failed (errno=-16)", "ata2"},
    {"softreset failed", ata, "ata2: softreset failed (device not ready)", "ata2"},
    {"hardreset failed", ata, "ata2: hardreset failed", "ata2"},
    {"failed to reset engine", ata, "ata2: failed to reset engine (errno=-5)", "ata2"},
    {"port failed to respond", ata, "ata2: port failed to respond (30 secs, Status 0x80)", "ata2"},
    {"reset failed", ata, "ata2: reset failed (errno=-32), retrying in 8 secs", "ata2"},
    {"device not ready (errno=%num)", ata, "ata2: device not ready (errno=-16), forcing hardreset", "ata2"},
    {"link online but %num devices misclassified, device detection might fail", ata,
     "ata2: link online but 1 devices misclassified, device detection might fail", "ata2"},
};

// Two codes are no error of the drive: it does not have the log (1), or there was no room for it (40).
constexpr KernelMessage recoveries[]{
    {"qc timeout ", ata, "ata1.00: qc timeout after 10000 msecs (cmd 0x40)", "ata1"},
    {"request sense failed stat ", ata, "ata1.00: request sense failed stat 51 emask 1", "ata1"},
    {"<FLUSH failed|retrying FLUSH 0x%hex> Emask ", ata, "ata1.00: FLUSH failed Emask 0x4", "ata1"},
    {"<STANDBY IMMEDIATE|VERIFY|Check power mode> failed (err_mask=", ata,
     "ata1.00: VERIFY failed (err_mask=0x4)", "ata1"},
    {"<TEST_UNIT_READY failed|failed to clear UNIT ATTENTION> (err_mask=", ata,
     "ata2.00: TEST_UNIT_READY failed (err_mask=0x4)", "ata2"},
    {"UNIT ATTENTION persists after %num tries", ata, "ata2.00: UNIT ATTENTION persists after 5 tries",
     "ata2"},
    {"head unload failed!", ata, "ata1.00: head unload failed!", "ata1"},
    {"Drive reports diagnostics failure", ata,
     "ata1.00: Drive reports diagnostics failure. This may indicate a drive", "ata1"},
    {"failed to re-read IDENTIFY data", ata, "ata1.00: failed to re-read IDENTIFY data after HPA resizing",
     "ata1"},
    {"Read log 0x%hex page 0x%hex failed, Emask 0x<1|40>%end", nobody,
     "ata1.00: Read log 0x13 page 0x00 failed, Emask 0x1", ""},
    {"Read log 0x%hex page 0x%hex failed, Emask 0x", ata,
     "ata1.00: Read log 0x10 page 0x00 failed, Emask 0x4", "ata1"},
    {"<PMP |>revalidation failed", ata, "ata10.00: revalidation failed (errno=-5)", "ata10"},
    {"failed to IDENTIFY", ata, "ata2.00: failed to IDENTIFY (I/O error, err_mask=0x4)", "ata2"},
    {"failed to set xfermode", ata, "ata15.00: failed to set xfermode (err_mask=0x4)", "ata15"},
    {"failed to <read|write> SCR %num (Emask=0x", ata, "ata7.15: failed to read SCR 1 (Emask=0x4)", "ata7"},
    {"failed to recover <link after|some devices|PMP after>", ata,
     "ata2.00: failed to recover link after 3 tries, disabling", "ata2"},
    {"failed to read log page 10h", ata, "ata2: failed to read log page 10h (errno=-5)", "ata2"},
    {"log page 10h reported inactive tag %num", ata, "ata2: log page 10h reported inactive tag 26", "ata2"},
    {"invalid checksum 0x%hex on log page 10h", ata, "ata2.00: invalid checksum 0x5a on log page 10h",
     "ata2"},
    {"disabled%end", ata, "ata8.00: disabled", "ata8"},
    {"disable device", ata, "ata216.00: disable device", "ata216"},
    {"NCQ disabled due to excessive errors", ata, "ata1.00: NCQ disabled due to excessive errors", "ata1"},
    {"EH pending after %num tries, giving up", ata, "ata1: EH pending after 5 tries, giving up", "ata1"},
    {"lost interrupt", ata, "ata1: lost interrupt (Status 0x50)", "ata1"},
    {"illegal qc_active transition", ata, "ata1: illegal qc_active transition (00000001->00000003)", "ata1"},
    {"timeout waiting for ADMA ", ata, "ata1: timeout waiting for ADMA IDLE, stat=0x440", "ata1"},
    {"failed to <read PMP|reset PMP, giving up|clear SError.N>", ata,
     "ata7.15: failed to read PMP GSCR[0] (Emask=0x4)", "ata7"},
};

// A port of a SAS host has one SATA device.
constexpr KernelMessage sasPorts[]{
    {"%ata: %any: reset failed (errno=%num)", ata, "sas: ata7: end_device-0:0: reset failed (errno=-11)",
     "ata7"},
};

constexpr KernelMessageGroup ataGroups[]{
    {"drivers/ata/libata-core.c", "%ata: ", ataIdentities},
    {"drivers/ata/libata-eh.c, libata-scsi.c, libahci.c", "%ata: ", reports},
    {"drivers/ata/libata-eh.c, libata-core.c, libata-sata.c, libata-sff.c, libahci.c, sata_sil24.c",
     "%ata: ", resets},
    {"drivers/ata/libata-eh.c, libata-core.c, libata-sata.c, libata-sff.c, libata-pmp.c, sata_nv.c",
     "%ata: ", recoveries},
    {"drivers/scsi/libsas/sas_ata.c", "sas: ", sasPorts},
};

}  // namespace

KernelMessageGroups ataMessages() {
   return ataGroups;
}

}  // namespace Agent
