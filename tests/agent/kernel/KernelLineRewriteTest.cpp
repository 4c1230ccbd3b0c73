#include "agent/kernel/KernelLineRewrite.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "agent/kernel/KernelDeviceName.h"
#include "agent/kernel/KernelLinePrefix.h"
#include "tests/support/KernelLineOracle.h"

namespace {

using Agent::rewriteKernelLine;
using Support::deviceByExpressions;

std::string const stamp = "kernel: [   12.345678] ";

std::string rewritten(std::string const & text) {
   std::string const line = rewriteKernelLine(stamp + text);
   EXPECT_TRUE(line.starts_with(stamp)) << line;
   return line.substr(std::min(line.size(), stamp.size()));
}

// The device that is read from the line once it is rewritten.
std::string device(std::string const & text) {
   return deviceByExpressions(rewriteKernelLine(stamp + text));
}

void expectDevices(std::vector<std::pair<std::string, std::string>> const & expected) {
   for (auto const & [text, name] : expected)
      EXPECT_EQ(device(text), name) << text;
}

void expectUntouched(std::vector<std::string> const & texts) {
   for (std::string const & text : texts) {
      EXPECT_EQ(rewritten(text), text);
      EXPECT_EQ(device(text), "") << text;
   }
}

TEST(KernelLineRewriteTest, RestoresTheFunctionOfRequestErrors) {
   EXPECT_EQ(
       rewritten("I/O error, dev sda, sector 8 op 0x0:(READ) flags 0x0 phys_seg 1 prio class 2"),
       "blk_update_request: I/O error, dev sda, sector 8 op 0x0:(READ) flags 0x0 phys_seg 1 prio class 2");
   EXPECT_EQ(rewritten("print_req_error: I/O error, dev sdb, sector 5 flags 0"),
             "blk_update_request: I/O error, dev sdb, sector 5 flags 0");
   expectDevices({{"critical medium error, dev sdc1, sector 9", "sdc"},
                  {"critical target error, dev sdc, sector 9", "sdc"},
                  {"blk_update_request: critical medium error, dev sdd, sector 9 op 0x0:(READ)", "sdd"},
                  {"protection error, dev nvme2n1, sector 6144 op 0x1:(WRITE)", "nvme2n1"},
                  {"timeout error, dev mmcblk0, sector 1", "mmcblk0"},
                  {"recoverable transport error, dev sda, sector 1", "sda"},
                  {"device offline error, dev sda, sector 1", "sda"},
                  {"I/O error, dev mmcblk0boot0, sector 0 op 0x0:(READ)", "mmcblk0"}});
}

TEST(KernelLineRewriteTest, DoesNotReportRequestsThatWereNeverTried) {
   expectUntouched({"operation not supported error, dev sda, sector 9 op 0x9:(WRITE_ZEROES)",
                    "kernel resource error, dev sda, sector 9", "I/O error, dev sda",
                    "I/O error, dev dm-0, sector 9 op 0x0:(READ)", "I/O error, dev , sector 9",
                    "audit: I/O error, dev sda, sector 9", "I/O errors, dev sda, sector 9"});
}

TEST(KernelLineRewriteTest, NamesTheDeviceOfBufferErrors) {
   EXPECT_EQ(rewritten("Buffer I/O error on dev sda1, logical block 77, async page read"),
             "Buffer I/O error on device sda, logical block 77, async page read");
   expectDevices({{"Buffer I/O error on device mmcblk0p2, logical block 5", "mmcblk0"},
                  {"lost page write due to I/O error on sdb1", "sdb"}});
   expectUntouched({"Buffer I/O error on dev dm-3, logical block 387, lost async page write",
                    "buffer_io_error: 32675 callbacks suppressed"});
}

TEST(KernelLineRewriteTest, PlacesSenseKeysBehindTwoBlanks) {
   EXPECT_EQ(rewritten("sd 1:0:0:0: [sdb] tag#1 Sense Key : Medium Error [current]"),
             "sd 1:0:0:0: [sdb]  Sense Key : Medium Error [current]");
   EXPECT_EQ(rewritten("sd 1:0:0:0: [sdb] Sense Key : 0x3 [current]"),
             "sd 1:0:0:0: [sdb]  Sense Key : 0x3 [current]");
   expectUntouched({"sd 1:0:0:0: [sdb] tag#1 Sense Key : Unit Attention [current]",
                    "sd 1:0:0:0: [sdb] tag#1 Sense Key : 0x6 [current]",
                    "sd 1:0:0:0: [sdb] tag#1 Sense Key : No Sense [current]",
                    "sd 1:0:0:0: [sdb] tagSense Key : Medium Error",
                    "sd 1:0:0: [sdb] Sense Key : Medium Error",
                    "sd 1:0:0:0: [] tag#1 Sense Key : Medium Error",
                    "scsi 2:0:0:0: tag#50 Sense Key : Medium Error [current]"});
}

TEST(KernelLineRewriteTest, NamesOpticalDrivesForErrorsAndNotForRefusals) {
   expectDevices(
       {{"sr 1:0:0:0: [sr1] tag#0 Sense Key : Hardware Error [current]", "sr1"},
        {"sr 1:0:0:0: [sr0] Add. Sense: Logical unit communication CRC error (Ultra-DMA/32)", "sr0"}});
   expectUntouched({"sr 1:0:0:0: [sr0] tag#0 Sense Key : Illegal Request [current]",
                    "sr 1:0:0:0: [sr0] tag#0 Sense Key : Not Ready [current]",
                    "sr 1:0:0:0: [sr0] tag#0 Sense Key : 0x5 [current]",
                    "sr 1:0:0:0: [sr0] tag#0 FAILED Result: hostbyte=DID_OK",
                    "sr 1:0:0:0: [sr0] tag#0 Add. Sense: Illegal mode for this track",
                    "sr 1:0:0:0: [] Sense Key : Medium Error", "sr 1:0:0: [sr0] Sense Key : Medium Error",
                    "sr 1:0:0:0: [sr0] scsi3-mmc drive: 48x/48x cd/rw"});
}

TEST(KernelLineRewriteTest, NamesNoDiskOfASoftwareRaid) {
   expectUntouched(
       {"Buffer I/O error on dev md126, logical block 8, async page read",
        "I/O error, dev md0, sector 9 op 0x0:(READ)", "EXT4-fs (md0p1): I/O error while writing superblock",
        "BTRFS error (device md1): parent transid verify failed on logical 1",
        "Aborting journal on device md0-8.", "md/raid1:md0: Disk failure on md1, disabling device."});
}

TEST(KernelLineRewriteTest, ReportsFailedCommandsOfADiskAsErrors) {
   EXPECT_EQ(rewritten("sd 0:0:0:0: [sda] tag#24 timing out command, waited 180s"),
             "sd 0:0:0:0: [sda] Unhandled error: timing out command, waited 180s");
   expectDevices(
       {{"sd 5:0:0:0: [sdd] tag#15 FAILED Result: hostbyte=DID_OK driverbyte=DRIVER_SENSE", "sdd"},
        {"sd 9:0:0:0: [sdb] tag#0 UNKNOWN(0x2003) Result: hostbyte=0x07 driverbyte=DRIVER_OK", "sdb"},
        {"scsi 7:0:0:0: [sda] UNKNOWN(0x2003) Result: hostbyte=0x01 driverbyte=0x00", "sda"},
        {"sd 0:0:0:3: [sdd] Read Capacity(10) failed: Result: hostbyte=0x07 driverbyte=0x00", "sdd"},
        {"sd 0:0:0:3: [sdd] Synchronize Cache(10) failed: Result: hostbyte=DID_NO_CONNECT", "sdd"},
        {"sd 3:0:0:0: [sdb] tag#30 Add. Sense: Unrecovered read error - auto reallocate failed", "sdb"},
        {"sd 3:0:0:0: [sdb] Unhandled sense code", "sdb"},
        {"sd 0:0:0:1: [sdf] tag#9 data cmplt err -75 uas-tag 1 inflight:", "sdf"},
        {"sd 0:0:0:1: [sdf] tag#2 uas_eh_abort_handler 0 uas-tag 2 inflight: CMD IN", "sdf"}});
   expectUntouched({"sd 0:0:0:0: [sda] tag#8 Add. Sense: Power on, reset, or bus device reset occurred",
                    "sd 0:0:0:0: [sda] tag#8 Add. Sense: No additional sense information",
                    "sd 0:0:0:0: [sda] tag#8 CDB: Read(10) 28 00 00 00 08 00 00 00 80 00",
                    "sd 0:0:0:0: [sda] Asking for cache data failed",
                    "sd 0:0:0:0: [sda] Attached SCSI disk"});
}

TEST(KernelLineRewriteTest, RemovesTaskNamesAfterTheStamp) {
   std::string const text = "usb 1-2: USB disconnect, device number 2";
   for (std::string const task :
        {"[ T6664]", "[    T984] ", "[   C11]", "[C0] ", "[4:   kworker/4:98: 2227] ",
         "I[7:      swapper/7:    0] ", "003: ", "kernel: "}) {
      EXPECT_EQ(rewritten(task + text), text);
      EXPECT_EQ(rewriteKernelLine(stamp.substr(0, stamp.size() - 1).append(task).append(text)), stamp + text);
   }
   expectUntouched({"[drm] " + text, "[T12 " + text, "[C] " + text, "12: " + text, "[4:" + text});
}

TEST(KernelLineRewriteTest, AcceptsLogsWithDatesLevelsAndProcessorsInTheStamp) {
   std::string const text = "I/O error, dev sda1, sector 8";
   std::string const known = "blk_update_request: I/O error, dev sda, sector 8";
   EXPECT_EQ(rewriteKernelLine("Nov 22 03:00:00 unit kernel: [    5.140900] " + text),
             "Nov 22 03:00:00 unit kernel: [    5.140900] " + known);
   EXPECT_EQ(rewriteKernelLine("2026-11-22T03:00:00+0000 unit kernel: [    5.140900][  T12] " + text),
             "2026-11-22T03:00:00+0000 unit kernel: [    5.140900] " + known);
   EXPECT_EQ(rewriteKernelLine("kernel: <3>[    5.140900] " + text), "kernel: [    5.140900] " + known);
   EXPECT_EQ(rewriteKernelLine("kernel: [    5.140900@1] " + text), "kernel: [    5.140900] " + known);
   EXPECT_EQ(rewriteKernelLine("kernel: [    5.140900] (2)[77:kworker/2:1]" + text),
             "kernel: [    5.140900] " + known);
}

TEST(KernelLineRewriteTest, SpoilsHarmlessLinesThatTheLibraryWouldReadAsErrors) {
   for (std::string const harmless :
        {"EXT4-fs warning (device sda): ext4_resize_fs:2005: can't read last block, resize aborted",
         "usb 1-4: Product: Disk (sda): This should", "usb 1-4: Interface: USB disconnect, device number",
         "systemd[1]: (sda): Remounting filesystem"}) {
      EXPECT_NE(deviceByExpressions(stamp + harmless), "") << harmless;
      EXPECT_EQ(rewriteKernelLine(stamp + harmless), "kernel:_" + (stamp + harmless).substr(8));
   }
}

TEST(KernelLineRewriteTest, NamesAFileSystemsDiskUnlessAnotherAloneFailedWithinAMinute) {
   Agent::KernelLineRewriter rewriter;
   auto const named = [&](std::string const & seconds, std::string const & text) {
      return deviceByExpressions(rewriter.rewritten("kernel: [" + seconds + ".000000] " + text));
   };
   EXPECT_EQ(named("10", "XFS (sda1): log I/O error -5"), "sda");
   EXPECT_EQ(named("11", "I/O error, dev sdb, sector 8"), "sdb");
   EXPECT_EQ(named("12", "XFS (sda1): log I/O error -5"), "");
   EXPECT_EQ(named("13", "XFS (sda1): Metadata CRC error detected at xfs_agf_read_verify"), "sda");
   EXPECT_EQ(named("71", "XFS (sda1): log I/O error -5"), "");
   EXPECT_EQ(named("72", "XFS (sda1): log I/O error -5"), "sda");
   EXPECT_EQ(named("80", "I/O error, dev sdb, sector 8"), "sdb");
   EXPECT_EQ(named("81", "I/O error, dev sda, sector 8"), "sda");
   EXPECT_EQ(named("82", "XFS (sda1): log I/O error -5"), "sda");
}

TEST(KernelLineRewriteTest, DoesNotTakeAFileSystemThatNamesAnotherDeviceForItsFirst) {
   expectDevices(
       {{"BTRFS error (device sda1): parent transid verify failed on /dev/sdb1 logical 1", ""},
        {"BTRFS error (device sda1): parent transid verify failed on /dev/mapper/data logical 1", ""},
        {"BTRFS error (device sda1): parent transid verify failed on /dev/sda1 logical 1", "sda"},
        {"EXT4-fs error (device sda1): ext4_lookup:1: comm /dev/sdb: bad entry", "sda"}});
}

// Ports are none: that of the disk itself fails before it.
TEST(KernelLineRewriteTest, ClearsNoDiskByAPortThatFailed) {
   Agent::KernelLineRewriter rewriter;
   for (std::string const text : {"ata1: hard resetting link", "usb 1-2: USB disconnect, device number 4",
                                  "mmc0: Timeout waiting for hardware interrupt."})
      EXPECT_NE(deviceByExpressions(rewriter.rewritten(stamp + text)), "");
   EXPECT_EQ(
       deviceByExpressions(rewriter.rewritten(stamp + "EXT4-fs (sda1): Remounting filesystem read-only")),
       "sda");
}

TEST(KernelLineRewriteTest, NamesNoDiskOfAFileSystemOnceSeenOnSeveral) {
   Agent::KernelLineRewriter rewriter;
   std::string const line = "BTRFS error (device sda1): parent transid verify failed on logical 1";
   EXPECT_EQ(deviceByExpressions(rewriter.rewritten(stamp + line)), "sda");
   std::string const old =
       "BTRFS info (device sda1): bdev /dev/sdb1 errs: wr 0, rd 3, flush 0, corrupt 0, gen 0";
   EXPECT_EQ(deviceByExpressions(rewriter.rewritten(stamp + old)), "");
   EXPECT_EQ(deviceByExpressions(rewriter.rewritten(stamp + line)), "");
}

TEST(KernelLineRewriteTest, RewritesResetsOfUsbDevicesOfEverySpeed) {
   EXPECT_EQ(rewritten("usb 2-1: reset SuperSpeed USB device number 4 using xhci_hcd"),
             "usb 2-1: reset super-speed USB device number 4 using xhci_hcd");
   expectDevices({{"usb 2-1.4: reset SuperSpeed Gen 1 USB device number 4 using xhci_hcd", "usb 2-1.4"},
                  {"usb 7-1: reset SuperSpeed Plus Gen 2x1 USB device number 4 using xhci_hcd", "usb 7-1"},
                  {"usb 4-1.3.3: reset high-speed USB device number 5 using xhci_hcd", "usb 4-1.3.3"},
                  {"usb 1-1: reset full speed USB device using uhci_hcd and address 2", "usb 1-1"}});
   expectUntouched({"usb 2-1: new SuperSpeed USB device number 2 using xhci_hcd",
                    "usb 2-1: reset configuration", "usb usb2: reset SuperSpeed USB device number 4",
                    "usb 2: reset SuperSpeed USB device number 4", "usb 2-1: reset SuperSpeed"});
}

TEST(KernelLineRewriteTest, NamesUsbPortsWithoutInterfaceAndThroughTheirHubs) {
   expectDevices({{"usb 2-1:1.0: device descriptor read/64, error -110", "usb 2-1"},
                  {"usb 2-1:1.0: cmd cmplt err -108", "usb 2-1"},
                  {"usb 1-1.4: device not accepting address 4, error -32", "usb 1-1.4"},
                  {"usb 1-5-port2: cannot reset (err = -71)", "usb 1-5.2"},
                  {"usb 1-5.2-port4: cannot reset (err = -71)", "usb 1-5.2.4"},
                  {"usb usb1-port3: unable to enumerate USB device", "usb 1-3"}});
   expectUntouched({"usb usb4: USB disconnect, device number 1", "usb 1-5-port2: attempt power cycle",
                    "usb 1-1: device number 4 is not accepting address", "usb 1-1: Product: Disk",
                    "usb 1-port: cannot reset (err = -71)"});
}

TEST(KernelLineRewriteTest, RewritesAtaErrors) {
   EXPECT_EQ(rewritten("ata2.00: exception Emask 0x0 SAct 0x0 SErr 0x0 action 0x6 frozen"),
             "ata2.00: failed command: exception Emask 0x0 SAct 0x0 SErr 0x0 action 0x6 frozen");
   expectDevices({{"ata8: exception Emask 0x10 SAct 0x0 SErr 0x0 action 0xf t4", "ata8"},
                  {"ata3.00: qc timeout (cmd 0xef)", "ata3"},
                  {"ata10.00: revalidation failed (errno=-5)", "ata10"},
                  {"ata3.00: status: { DRDY ERR }", "ata3"},
                  {"ata2: reset failed, giving up", "ata2"},
                  {"ata8.00: disabled", "ata8"}});
   expectUntouched({"ata3.00: status: { DRDY }", "ata3.00: configured for UDMA/133",
                    "ata1: SATA link down (SStatus 0 SControl 300)",
                    "ata1: limiting SATA link speed to 1.5 Gbps", "ata1.: disabled", "ata: disabled",
                    "ata1.00: disabled by user"});
}

TEST(KernelLineRewriteTest, RewritesCardErrors) {
   expectDevices({{"mmc0: error -110 whilst initialising MMC card", "mmc0"},
                  {"mmc1: Timeout waiting for hardware cmd interrupt.", "mmc1"},
                  {"mmc0: cqhci: timeout for tag 9", "mmc0"},
                  {"mmc0: Reset 0x4 never completed.", "mmc0"},
                  {"mmcblk0: error -110 sending read/write command, response 0x0", "mmcblk0"},
                  {"mmcblk1p2: error -110 requesting status", "mmcblk1"}});
   expectUntouched({"mmc0: new HS400 Enhanced strobe MMC card at address 0001",
                    "mmc0: Skipping voltage switch", "mmc0: sdhci: Resp[0]: 0xffffffff",
                    "mmcblk0: mmc0:0001 Disk 14.7 GiB", "mmc_host mmc2: Bus speed (slot 0) = 400000Hz",
                    "mmc0: Reset 0x4 completed."});
}

TEST(KernelLineRewriteTest, NamesTheNamespaceOfNvmeErrors) {
   expectDevices(
       {{"nvme nvme0: I/O 23 QID 4 timeout, aborting", "nvme0n1"},
        {"nvme nvme12: I/O tag 967 (b3c7) opcode 0x1 (I/O Cmd) QID 1 timeout, aborting req_op:WRITE",
         "nvme12n1"},
        {"nvme nvme3: Device not ready; aborting reset, CSTS=0x1", "nvme3n1"},
        {"nvme nvme0: controller is down; will reset: CSTS=0xffffffff, PCI_STATUS=0x10", "nvme0n1"},
        {"nvme0n1: I/O Cmd(0x2) @ LBA 8, 8 blocks, I/O Error (sct 0x2 / sc 0x81) MORE", "nvme0n1"},
        {"nvme0c1n2: Read(0x2) @ LBA 8, 8 blocks, Unrecovered Read Error (sct 0x2 / sc 0x81)", "nvme0n2"},
        {"block nvme0n1: no available path - failing I/O", "nvme0n1"}});
   expectUntouched({"nvme nvme0: pci function 0000:05:00.0", "nvme nvme0: Shutdown timeout set to 8 seconds",
                    "nvme nvme0: 8/0/0 default/read/poll queues", "nvme nvme0: Abort status: 0x371",
                    "nvme0: Admin Cmd(0x6), Invalid Field in Command (sct 0x0 / sc 0x2)",
                    "nvme 0000:01:00.0: PCI INT A: no GSI"});
}

TEST(KernelLineRewriteTest, NamesTheDiskOfAPartitionWhereverADeviceIsRead) {
   EXPECT_EQ(rewritten("EXT4-fs (sda1): Remounting filesystem read-only"),
             "EXT4-fs (sda): Remounting filesystem read-only");
   EXPECT_EQ(rewritten("EXT4-fs error (device nvme0n1p3): ext4_find_entry:1463: inode #2: comm ls: reading"),
             "EXT4-fs error (device nvme0n1): ext4_find_entry:1463: inode #2: comm ls: reading");
   EXPECT_EQ(rewritten("FAT-fs (sdc1): Directory bread(block 32801) failed"),
             "FAT-fs (sdc): Directory bread(block 32801) failed");
   EXPECT_EQ(rewritten("end_request: I/O error, dev mmcblk0p2, sector 4"),
             "end_request: I/O error, dev mmcblk0, sector 4");
}

TEST(KernelLineRewriteTest, RewritesFileSystemErrors) {
   expectDevices(
       {{"EXT4-fs (sda1): I/O error while writing superblock", "sda"},
        {"EXT4-fs error (device sda1) in ext4_mknod: IO failure", "sda"},
        {"XFS (sda3): metadata I/O error in \"xfs_da_read_buf+0xd9\" at daddr 0x8 len 8 error 5", "sda"},
        {"XFS (nvme0n1p2): log I/O error -5", "nvme0n1"},
        {"FAT-fs (sdc1): error, fat_get_cluster: invalid cluster chain (i_pos 0)", "sdc"},
        {"BTRFS error (device sda3: state EA): parent transid verify failed on logical 1", "sda"},
        {"BTRFS error (device sda3): bdev /dev/sdd2 errs: wr 1, rd 0, flush 0, corrupt 0, gen 0", "sdd"},
        {"BTRFS: error (device sdb1) in write_all_supers:4370: errno=-5 IO failure", "sdb"},
        {"BTRFS warning (device sda3): csum failed root 5 ino 24 off 29 csum 0x8 expected csum 0xb", "sda"},
        {"JBD2: Error -5 detected when updating journal superblock for sda1-8.", "sda"},
        {"Aborting journal on device mmcblk0p2-8.", "mmcblk0"},
        {"md/raid1:md0: Disk failure on sdb1, disabling device.", "sdb"},
        {"md/raid1:md0: read error corrected (8 sectors at 16 on nvme0n1p2)", "nvme0n1"}});
}

TEST(KernelLineRewriteTest, KeepsOrdinaryLinesOfFileSystems) {
   expectUntouched({"EXT4-fs (sda1): mounted filesystem 1f r/w with ordered data mode. Quota mode: none.",
                    "EXT4-fs (sda1): error count since last fsck: 2", "XFS (sda3): Ending clean mount",
                    "XFS (sda3): Unmounting Filesystem", "FAT-fs (sdc1): Volume was not properly unmounted.",
                    "BTRFS info (device sdc): scrub: started on devid 11",
                    "BTRFS error (device sda3): unrecognized mount option 'x'",
                    "BTRFS error (device sda3): bdev /dev/mapper/x errs: wr 1, rd 0",
                    "BTRFS: error (device sda3) in add_one:3: errno=-28 No space left",
                    "JBD2: I/O error when updating journal superblock for dm-0-8.",
                    "md/raid1:md0: active with 2 out of 2 mirrors", "XFS (dm-0): log I/O error -5"});
}

TEST(KernelLineRewriteTest, RewritesOnlyWholeLinesOfTheKernel) {
   for (std::string const line :
        {"", "kernel: ", "kernel: [", "kernel: [12.3", "kernel: [12.3]", "kernel: [12.3] ",
         "kernel: [x] ata1.00: disabled", "[12.3] ata1.00: disabled", "ata1.00: disabled",
         "xkernel: [12] ata1.00: disabled"})
      EXPECT_EQ(rewriteKernelLine(line), line);
   std::string const forged = "usb 1-1: Product: ata1.00: disabled I/O error, dev sda, sector 8";
   EXPECT_EQ(rewritten(forged), forged);
}

TEST(KernelLineRewriteTest, CutsLongLinesWhereTheReceiverCutsThem) {
   std::string const line = stamp + "I/O error, dev sda1, sector 8 " + std::string(8192, 'x');
   std::string const result = rewriteKernelLine(line);
   EXPECT_EQ(result.size(), Agent::kernelLineSize);
   EXPECT_EQ(deviceByExpressions(result.substr(0, 200)), "sda");
   EXPECT_EQ(rewriteKernelLine(stamp + std::string(8192, ' ')).size(), Agent::kernelLineSize);
   EXPECT_EQ(rewriteKernelLine(std::string(8192, '[')).size(), Agent::kernelLineSize);
}

TEST(KernelLineRewriteTest, NamesAWholeDiskOrTheTablesDeviceForAnyLineAndKeepsItOnceRewritten) {
   std::ifstream stream{TEST_DATA_DIR "/kernel-lines/invented.txt"};
   std::vector<std::string> samples;
   for (std::string line; std::getline(stream, line);)
      samples.push_back(line);
   ASSERT_GE(samples.size(), 20U);
   std::mt19937 random{7};
   for (int i = 0; i < 3000; ++i) {
      std::string line = samples[random() % samples.size()];
      std::string const & other = samples[random() % samples.size()];
      line.resize(random() % (line.size() + 1));
      line += other.substr(random() % other.size());
      std::string const before = deviceByExpressions(line);
      std::string const result = rewriteKernelLine(line);
      std::string const after = deviceByExpressions(result);
      if (!before.empty() && !after.empty() && after != Agent::wholeDisk(before)) {
         Agent::KernelMatch match;
         EXPECT_TRUE(Agent::kernelMessageOf(Agent::kernelLinePrefix(line)->text, match)) << line;
         EXPECT_EQ(after, match.device) << line;
      }
      EXPECT_EQ(after, Agent::wholeDisk(after)) << line;
      EXPECT_EQ(rewriteKernelLine(result), result) << line;
      if (before.empty()) {
         EXPECT_EQ(result != line, !after.empty()) << line;
      }
   }
}

// Of a machine that was started and had no trouble.
TEST(KernelLineRewriteTest, NamesNoDeviceInAnOrdinaryStart) {
   std::ifstream stream{TEST_DATA_DIR "/kernel-lines/boot.txt"};
   int count = 0;
   for (std::string line; std::getline(stream, line); ++count)
      EXPECT_EQ(rewriteKernelLine("kernel: " + line), "kernel: " + line);
   EXPECT_GT(count, 90);
}

}  // namespace
