#include "agent/kernel/KernelMessages.h"

namespace Agent {

namespace {

using enum KernelForm;

// Mere announcements of a device, and its answers to commands that a tool passed through.
constexpr KernelMessage senseKeys[]{
    {"Sense Key : <Unit Attention|0x6>", nobody,
     "sd 2:0:0:0: [sdi] tag#62 Sense Key : Unit Attention [current]", ""},
    {"Sense Key : <No Sense|0x0>", nobody, "sd 2:0:0:0: [sdi] tag#62 Sense Key : No Sense [current]", ""},
    {"Sense Key : <Recovered Error|0x1>", nobody,
     "sd 2:0:0:0: [sdi] tag#62 Sense Key : Recovered Error [current] [descriptor]", ""},
    {"Sense Key : <Completed|0xf>", nobody, "sd 2:0:0:0: [sdi] tag#62 Sense Key : Completed [current]", ""},
    {"Sense Key : ", sense, "sd 1:0:0:0: [sdb] tag#1 Sense Key : Medium Error [current]", "sdb"},
    {"Add. Sense: Recovered data", nobody,
     "sd 3:0:0:0: [sdb] tag#30 Add. Sense: Recovered data with error correction applied", ""},
    {"Add. Sense: %any error", unhandled,
     "sd 3:0:0:0: [sdb] tag#30 Add. Sense: Unrecovered read error - auto reallocate failed", "sdb"},
    {"Add. Sense: %any failure", unhandled, "sd 3:0:0:0: [sdb] tag#30 Add. Sense: Internal target failure",
     "sdb"},
    {"Add. Sense: Failure prediction threshold exceeded (false)", nobody,
     "sd 3:0:0:0: [sdb] Add. Sense: Failure prediction threshold exceeded (false)", ""},
    {"Add. Sense: Failure prediction threshold exceeded", unhandled,
     "sd 3:0:0:0: [sdb] Add. Sense: Failure prediction threshold exceeded", "sdb"},
    {"Add. Sense: %any fault", unhandled, "sd 3:0:0:0: [sdb] Add. Sense: Peripheral device write fault",
     "sdb"},
    {"Add. Sense: Logical <unit|block> %any failed", unhandled,
     "sd 3:0:0:0: [sdb] Add. Sense: Logical block guard check failed", "sdb"},
    {"Add. Sense: <Read retries exhausted|No index/sector signal|No seek complete|Medium format corrupted|"
     "No defect spare location available|Spare area exhaustion prediction threshold exceeded|"
     "Timeout on logical unit|Logical unit does not respond to selection|Logical unit failed self-|"
     "Data loss on logical unit|Error too long to correct|Address mark not found for |Format command failed|"
     "Sanitize command failed|Warning - background self-test failed>",
     unhandled, "sd 3:0:0:0: [sdb] Add. Sense: No defect spare location available", "sdb"},
    {"Unhandled <error|sense> code", unhandled, "sd 3:0:0:0: [sdb] Unhandled sense code", "sdb"},
};

// 0x2003: FAILED, of kernels without the names of the results. Lines of a device that is offline give its
// address alone.
constexpr KernelMessage scsiCommands[]{
    {"FAILED Result: ", unhandled,
     "sd 5:0:0:0: [sdd] tag#15 FAILED Result: hostbyte=DID_OK driverbyte=DRIVER_SENSE", "sdd"},
    {"FAILED Result:", unhandled, "sd 0:0:4:0: [sdf] tag#9 FAILED Result:", "sdf"},
    {"UNKNOWN(0x2003) Result: ", unhandled,
     "sd 9:0:0:0: [sdb] tag#0 UNKNOWN(0x2003) Result: hostbyte=0x07 driverbyte=DRIVER_OK cmd_age=0s", "sdb"},
    {"timing out command, waited %num", unhandled, "sd 0:0:0:0: [sda] tag#24 timing out command, waited 180s",
     "sda"},
    {"device offline or changed", unhandled, "sd 0:0:0:0: [sda] tag#3 device offline or changed", "sda"},
    {"killing request", unhandled, "sd 0:0:0:0: [sda] killing request", "sda"},
};

constexpr KernelMessage disks[]{
    {"Device not ready", unhandled,
     "sd 2:0:0:0: [sdb] Device not ready: <6>: Sense Key : Not Ready [current]", "sdb"},
    {"Unit Not Ready", unhandled, "sd 2:0:0:0: [sdb] Unit Not Ready", "sdb"},
    {"Spinning up disk...%anynot responding", unhandled,
     "sd 2:0:0:0: [sdb] Spinning up disk.........not responding...", "sdb"},
    {"Test Unit Ready failed: Result: ", unhandled,
     "sd 2:0:0:0: [sdb] Test Unit Ready failed: Result: hostbyte=DID_TIME_OUT driverbyte=DRIVER_OK", "sdb"},
    {"REPORT ZONES<:| start lba %num failed>", unhandled,
     "sd 2:0:0:0: [sdb] REPORT ZONES start lba 524288 failed", "sdb"},
    {"REPORT ZONES lba %num failed with ", unhandled,
     "sd 2:0:0:0: [sdb] REPORT ZONES lba 524288 failed with 7/0", "sdb"},
    {"Unaligned partial completion (", unhandled,
     "sd 2:0:0:0: [sdb] Unaligned partial completion (resid=12288, sector_sz=4096)", "sdb"},
    {"Read Capacity(<10|16>) failed: Result: ", unhandled,
     "sd 0:0:0:3: [sdd] Read Capacity(10) failed: Result: hostbyte=0x07 driverbyte=0x00", "sdd"},
    {"READ CAPACITY<(16)|(10)|> failed", unhandled, "sd 0:0:0:3: [sdd] READ CAPACITY(16) failed", "sdd"},
    {"Synchronize Cache(<10|16>) failed: Result: ", unhandled,
     "sd 0:0:0:3: [sdd] Synchronize Cache(10) failed: Result: hostbyte=DID_NO_CONNECT", "sdd"},
    {"Start/Stop Unit failed: Result: ", unhandled,
     "sd 0:0:0:3: [sdd] Start/Stop Unit failed: Result: hostbyte=DID_BAD_TARGET", "sdd"},
    {"Medium access timeout failure", unhandled,
     "sd 0:0:0:0: [sda] tag#0 Medium access timeout failure. Offlining disk!", "sda"},
};

constexpr KernelMessage bulkStreamCommands[]{
    {"data cmplt err %num", unhandled,
     "sd 0:0:0:1: [sdf] tag#9 data cmplt err -75 uas-tag 1 inflight:", "sdf"},
    {"uas_eh_abort_handler", unhandled,
     "sd 0:0:0:1: [sdf] tag#2 uas_eh_abort_handler 0 uas-tag 2 inflight: CMD IN", "sdf"},
    {"uas_zap_pending", unhandled, "sd 0:0:0:0: [sda] tag#10 uas_zap_pending 0 uas-tag 1 inflight: CMD",
     "sda"},
    {"<sense|data in|data out|cmd> submit err %num", unhandled,
     "sd 0:0:0:0: [sda] tag#10 cmd submit err -19 uas-tag 1 inflight: s-cmd", "sda"},
    {"unexpected <status cmplt|read rdy|write rdy|data cmplt>", unhandled,
     "sd 0:0:0:0: [sda] tag#10 unexpected status cmplt 0 uas-tag 1 inflight: CMD", "sda"},
    {"response iu %num", unhandled, "sd 0:0:0:0: [sda] tag#10 response iu 9 uas-tag 1 inflight: CMD", "sda"},
    {"bogus IU", unhandled, "sd 0:0:0:0: [sda] tag#10 bogus IU 0 uas-tag 1 inflight: CMD", "sda"},
};

// Of hosts that print the disk with the command. What they print of a device without a command gives its
// address alone.
constexpr KernelMessage raidHosts[]{
    {"received 'logical unit failure' from controller", unhandled,
     "sd 0:0:0:0: [sda] tag#12 received 'logical unit failure' from controller for scsi 0:1:0:0", "sda"},
    {"received unhandled error %num from controller", unhandled,
     "sd 0:0:0:0: [sda] tag#12 received unhandled error 2 from controller for scsi 0:1:0:0", "sda"},
    {"<task abort|target reset> <FAILED|SUCCESS>!!", unhandled,
     "sd 0:2:0:0: [sda] tag#12 task abort FAILED!! scmd(0x00000000f3a10000)", "sda"},
    {"OCR is requested due to IO timeout!!", unhandled,
     "sd 0:2:0:0: [sda] tag#12 OCR is requested due to IO timeout!!", "sda"},
    {"Irrecoverable Data Error", unhandled, "sd 0:0:0:0: [sda] tag#4 Irrecoverable Data Error", "sda"},
    {"Request Sense failed with IOASC: 0x%hex", unhandled,
     "sd 0:0:0:0: [sda] tag#4 Request Sense failed with IOASC: 0x04080000", "sda"},
    {"Aborting command: %hex%end", unhandled, "sd 0:0:0:0: [sda] tag#4 Aborting command: 2A", "sda"},
    {"Resetting device%end", unhandled, "sd 0:0:0:0: [sda] tag#4 Resetting device", "sda"},
    {"command CDB[0] = %hex failed with IOASC: 0x%hex", unhandled,
     "sd 0:0:0:0: [sda] tag#4 command CDB[0] = 3 failed with IOASC: 0x04080000", "sda"},
    {"I/O command timed out, aborting it", unhandled,
     "sd 0:0:0:0: [sda] tag#4 I/O command timed out, aborting it.", "sda"},
    {"<resetting device|Doing bus reset|Doing target reset> due to an I/O command timeout", unhandled,
     "sd 0:0:0:0: [sda] tag#4 resetting device due to an I/O command timeout.", "sda"},
};

// An optical drive refuses requests regularly; that is no error of the drive.
constexpr KernelMessage opticalDrives[]{
    {"Sense Key : <Unit Attention|0x6|No Sense|0x0|Recovered Error|0x1|Illegal Request|0x5|Not Ready|0x2>",
     nobody, "sr 1:0:0:0: [sr0] tag#0 Sense Key : Illegal Request [current]", ""},
    {"Sense Key : ", quoted, "sr 1:0:1:0: [sr1] Sense Key : Hardware Error [current]", "sr1"},
    {"Add. Sense: %any error", quoted,
     "sr 1:0:0:0: [sr0] Add. Sense: Logical unit communication CRC error (Ultra-DMA/32)", "sr0"},
    {"Add. Sense: %any failure", quoted, "sr 1:0:0:0: [sr0] Add. Sense: Tracking servo failure", "sr0"},
    {"Add. Sense: %any fault", quoted, "sr 1:0:0:0: [sr0] Add. Sense: Servo fault", "sr0"},
};

constexpr KernelMessageGroup scsiGroups[]{
    {"drivers/scsi/scsi_logging.c, constants.c, sense_codes.h, scsi_lib.c", "<sd|scsi> %scsi: [%dev]%tag",
     senseKeys},
    {"drivers/scsi/scsi_lib.c, scsi_logging.c, sd.c", "<sd|scsi> %scsi: [%dev]%tag", scsiCommands},
    {"drivers/scsi/sd.c, sd_zbc.c, scsi_lib.c", "<sd|scsi> %scsi: [%dev]%tag", disks},
    {"drivers/usb/storage/uas.c", "<sd|scsi> %scsi: [%dev]%tag", bulkStreamCommands},
    {"drivers/scsi/smartpqi/smartpqi_init.c, drivers/scsi/megaraid/megaraid_sas_fusion.c, "
     "megaraid_sas_base.c, drivers/scsi/myrb.c, ipr.c, pmcraid.c",
     "<sd|scsi> %scsi: [%dev]%tag", raidHosts},
    {"drivers/scsi/scsi_logging.c, constants.c, sense_codes.h", "sr %scsi: [%dev]%tag", opticalDrives},
};

}  // namespace

KernelMessageGroups scsiMessages() {
   return scsiGroups;
}

}  // namespace Agent
