#include "StorageDevices/KernelLine.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace StorageDevices {
namespace {

using namespace std::string_view_literals;

// With the stamp in front that the forwarder of kernel lines writes.
std::string deviceIn(std::string const & message) {
   std::string const line = "kernel: [ 8123.456789] " + message;
   return std::string(deviceInKernelLine(line).value_or("none"));
}

std::string deviceInLine(std::string_view line) {
   return std::string(deviceInKernelLine(line).value_or("none"));
}

TEST(KernelLineTest, NamesTheUsbPort) {
   EXPECT_EQ(deviceIn("usb 1-2: USB disconnect, device number 4"), "usb 1-2");
   EXPECT_EQ(deviceIn("usb 1-2: USB disconnect, address 4"), "usb 1-2");
   EXPECT_EQ(deviceIn("usb 2-1.4: device descriptor read/64, error -110"), "usb 2-1.4");
   EXPECT_EQ(deviceIn("usb 10-12: reset high-speed USB device number 3 using xhci_hcd"), "usb 10-12");
   EXPECT_EQ(deviceIn("usb 1-2:\t\nUSB disconnect, device number 4"), "usb 1-2");

   EXPECT_EQ(deviceIn("usb 1-2: reset SuperSpeed USB device number 3 using xhci_hcd"), "none");
   EXPECT_EQ(deviceIn("usb 1-2: reset -speed USB device number 3"), "none");
   EXPECT_EQ(deviceIn("usb 1-2: USB disconnect, number 4"), "none");
   EXPECT_EQ(deviceIn("usb 1-2:USB disconnect, device number 4"), "none");
   EXPECT_EQ(deviceIn("usb 1: USB disconnect, device number 4"), "none");
   EXPECT_EQ(deviceIn("usb usb1: USB disconnect, device number 4"), "none");
}

TEST(KernelLineTest, ReadsTheUsbPortUpToTheLastEventOfTheLine) {
   EXPECT_EQ(deviceIn("usb 1-2: hub: device descriptor read"), "usb 1-2: hub");
   EXPECT_EQ(deviceIn("usb 1-2: device descriptor read: device descriptor read: x"),
             "usb 1-2: device descriptor read");
   EXPECT_EQ(deviceIn("usb 1-2\n: device descriptor read"), "none");
   EXPECT_EQ(deviceIn("usb 1-2: device descriptor read\n: device descriptor read"), "usb 1-2");
}

TEST(KernelLineTest, NamesTheAtaPort) {
   EXPECT_EQ(deviceIn("ata1: SError: { PHYRdyChg CommWake DevExch }"), "ata1");
   EXPECT_EQ(deviceIn("ata1.00: error: { UNC }"), "ata1");
   EXPECT_EQ(deviceIn("ata12: internal fatal error"), "ata12");
   EXPECT_EQ(deviceIn("ata2: COMRESET failed (errno=-16)"), "ata2");
   EXPECT_EQ(deviceIn("ata2: hard resetting link"), "ata2");
   EXPECT_EQ(deviceIn("ata3.01: failed command: READ FPDMA QUEUED"), "ata3");
   EXPECT_EQ(deviceIn("ata3: irq_stat 0x08000000, interface fatal error"), "ata3");

   EXPECT_EQ(deviceIn("ata2: SATA link down (SStatus 0 SControl 300)"), "none");
   EXPECT_EQ(deviceIn("ata1: SError: { }"), "none");
   EXPECT_EQ(deviceIn("ata1: SError: {  }"), "none");
   EXPECT_EQ(deviceIn("ata1: SError: {   }"), "ata1");
   EXPECT_EQ(deviceIn("ata1: SError: { Dev-Exch }"), "none");
   EXPECT_EQ(deviceIn("ata1: SError: { DevExch}"), "none");
   EXPECT_EQ(deviceIn("ata3: irq_stat\n, interface fatal error"), "none");
   EXPECT_EQ(deviceIn("ata3: failed command"), "none");
}

TEST(KernelLineTest, AcceptsAnyCharacterBetweenTheAtaPortAndItsUnit) {
   EXPECT_EQ(deviceIn("ata1x0: hard resetting link"), "ata1");
   EXPECT_EQ(deviceIn("ata1:0: hard resetting link"), "ata1");
   EXPECT_EQ(deviceIn("ata1\3770: hard resetting link"), "ata1");
   EXPECT_EQ(deviceIn("ata1234: hard resetting link"), "ata1234");

   EXPECT_EQ(deviceIn("ata1.: hard resetting link"), "none");
   EXPECT_EQ(deviceIn("ata1\n0: hard resetting link"), "none");
   EXPECT_EQ(deviceIn("ata1.0:hard resetting link"), "none");
}

TEST(KernelLineTest, NamesTheMmcDevice) {
   EXPECT_EQ(deviceIn("mmc0: Timeout waiting for hardware interrupt."), "mmc0");
   EXPECT_EQ(deviceIn("mmcblk0: error -110 transferring data, sector 2048, nr 8, cmd response 0x900"),
             "mmcblk0");
   EXPECT_EQ(deviceIn("mmcblk0: error -110 sending status command, retrying"), "mmcblk0");

   EXPECT_EQ(deviceIn("mmc1: Timeout waiting for hardware interrupt."), "none");
   EXPECT_EQ(deviceIn("mmcblk0p1: error -110 sending status command"), "none");
   EXPECT_EQ(deviceIn("mmcblk0: error 110 sending status command"), "none");
   EXPECT_EQ(deviceIn("mmcblk0: error -110 transferring data, sector 2048, nr , cmd response 0x900"), "none");
}

TEST(KernelLineTest, NamesTheDeviceOfAFileSystem) {
   EXPECT_EQ(deviceIn("EXT3-fs (sda1): Remounting filesystem read-only"), "sda1");
   EXPECT_EQ(deviceIn("FAT-fs (sdb1): This should not happen"), "sdb1");
   EXPECT_EQ(deviceIn("EXT2-fs (sda): unable to read inode block"), "sda");
   EXPECT_EQ(deviceIn("FAT-fs (sdb1): FAT read failed (blocknr 12)"), "sdb1");
   EXPECT_EQ(deviceIn("FAT-fs (sdb1): Filesystem has been set read-only"), "sdb1");
   EXPECT_EQ(deviceIn("EXT4-fs (mmcblk0p1): Remounting read-only"), "mmcblk0p1");
   EXPECT_EQ(deviceIn("FAT-fs (sdb1): Directory bread(block 8192) failed"), "sdb1");
   EXPECT_EQ(deviceIn("(sda):\nRemounting filesystem read-only"), "sda");

   EXPECT_EQ(deviceIn("EXT4-fs (sda1): mounted filesystem with ordered data mode"), "none");
   EXPECT_EQ(deviceIn("FAT-fs (sdb1): Directory bread(block 8192)"), "none");
   EXPECT_EQ(deviceIn("FAT-fs (sdb1): Directory bread(block 8192)\nfailed"), "none");
   EXPECT_EQ(deviceIn("EXT4-fs (dm-0): Remounting filesystem read-only"), "none");
   EXPECT_EQ(deviceIn("EXT4-fs (sda1):  Remounting filesystem read-only"), "none");
   EXPECT_EQ(deviceIn("EXT4-fs\n(sda1): Remounting filesystem read-only"), "none");
}

TEST(KernelLineTest, NamesTheLastFileSystemOfTheLine) {
   EXPECT_EQ(deviceIn("(sda1): This should (sdb1): This should not"), "sdb1");
   EXPECT_EQ(deviceIn("(sda1): This should (sdb1): mount"), "sda1");
   EXPECT_EQ(deviceIn("(a): Directory bread (b): Directory bread failed (c): Directory bread"), "b");
   EXPECT_EQ(deviceIn("(sda1): This should\n(sdb1): This should"), "sda1");
}

TEST(KernelLineTest, NamesTheDeviceOfAnExt4FileSystem) {
   EXPECT_EQ(deviceIn("EXT4-fs error (device sda2): ext4_find_entry:1455: inode #2: comm ls: reading"),
             "sda2");
   EXPECT_EQ(deviceIn("EXT4-fs warning (device nvme0n1p2): ext4_end_bio:343:"), "nvme0n1p2");

   EXPECT_EQ(deviceIn("EXT4-fs error (device dm-0): ext4_find_entry:1455:"), "none");
   EXPECT_EQ(deviceIn("EXT4-fs Error (device sda2): ext4_find_entry:1455:"), "none");
   EXPECT_EQ(deviceIn("EXT4-fs  (device sda2): ext4_find_entry:1455:"), "none");
}

TEST(KernelLineTest, NamesTheScsiDisk) {
   EXPECT_EQ(deviceIn("sd 2:0:0:0: [sdb] Unhandled error code"), "sdb");
   EXPECT_EQ(deviceIn("sd 2:0:0:0: [sdb]  Sense Key : Medium Error [current] "), "sdb");
   EXPECT_EQ(deviceIn("sd\t12:0:0:127:\n[sdAB]  Sense Key : x"), "sdAB");

   EXPECT_EQ(deviceIn("sd 2:0:0:0: [sdb] Sense Key : Medium Error [current] "), "none");
   EXPECT_EQ(deviceIn("sd 2:0:0:0: [sdb]   Sense Key : Medium Error [current] "), "none");
   EXPECT_EQ(deviceIn("sd 2:0:0:0: [sdb] tag#0 Sense Key : Medium Error [current] "), "none");
   EXPECT_EQ(deviceIn("sd 2:0:0:0: [sdb1]  Sense Key : Medium Error"), "none");
   EXPECT_EQ(deviceIn("sd 2:0:0: [sdb]  Sense Key : Medium Error"), "none");
   EXPECT_EQ(deviceIn("sd  2:0:0:0: [sdb]  Sense Key : Medium Error"), "none");
}

TEST(KernelLineTest, NamesTheBlockDevice) {
   EXPECT_EQ(deviceIn("blk_update_request: I/O error, dev sdb, sector 204800"), "sdb");
   EXPECT_EQ(deviceIn("end_request: I/O error, dev sdc, sector 64"), "sdc");
   EXPECT_EQ(deviceIn("end_request: critical medium error, dev sdc, sector 64"), "sdc");
   EXPECT_EQ(deviceIn("Buffer I/O error on device sdb, logical block 25"), "sdb");

   EXPECT_EQ(deviceIn("blk_update_request: critical medium error, dev sdb, sector 204800"), "none");
   EXPECT_EQ(deviceIn("blk_update_request: I/O error, dev dm-0, sector 204800"), "none");
   EXPECT_EQ(deviceIn("blk_update_request: I/O error, dev sdb, sector -1"), "none");
   EXPECT_EQ(deviceIn("Buffer I/O error on dev sdb, logical block 25, async page read"), "none");
   EXPECT_EQ(deviceIn("end_request: I/O\nerror, dev sdc, sector 64"), "none");
}

TEST(KernelLineTest, DoesNotTakeAPartitionForItsDisk) {
   EXPECT_EQ(deviceIn("Buffer I/O error on device sdb1, logical block 25"), "sdb1");
   EXPECT_EQ(deviceIn("blk_update_request: I/O error, dev nvme0n1p3, sector 0"), "nvme0n1p3");
}

TEST(KernelLineTest, NamesTheLastRequestThatEndedInTheLine) {
   EXPECT_EQ(deviceIn("end_request: error, dev sda, sector 1 error, dev sdb, sector 2"), "sdb");
   EXPECT_EQ(deviceIn("end_request: error, dev sda, sector 1 error, dev sdb, sector"), "sda");
   EXPECT_EQ(deviceIn("end_request: error, dev sda, sector 1\nerror, dev sdb, sector 2"), "sda");
}

std::string withStamp(std::string const & stamp) {
   return deviceInLine("kernel: [" + stamp + "sd 2:0:0:0: [sdb] Unhandled error");
}

TEST(KernelLineTest, ReadsStampsOfOneToSixDecimals) {
   EXPECT_EQ(withStamp("1.1]"), "sdb");
   EXPECT_EQ(withStamp("     0.000000] "), "sdb");
   EXPECT_EQ(withStamp(" \t\n\v\f\r123456789012.123456] \r\n\t"), "sdb");

   EXPECT_EQ(withStamp("1.1234567] "), "none");
   EXPECT_EQ(withStamp("1.] "), "none");
   EXPECT_EQ(withStamp(".1] "), "none");
   EXPECT_EQ(withStamp("1.1 ] "), "none");
   EXPECT_EQ(withStamp("1.1 "), "none");
   EXPECT_EQ(deviceInLine("kernel: 1.1] sd 2:0:0:0: [sdb] Unhandled error"), "none");
   EXPECT_EQ(deviceInLine("kernel:[1.1] sd 2:0:0:0: [sdb] Unhandled error"), "none");
   EXPECT_EQ(deviceInLine("kernel: [1.1] [    T7] sd 2:0:0:0: [sdb] Unhandled error"), "none");
}

TEST(KernelLineTest, AcceptsAnyCharacterButALineEndInAStamp) {
   for (char const * stamp : {"1,1] ", "1 1] ", "1\2001] ", "1]1] ", "111] ", "123456789] ", "111]1] "})
      EXPECT_EQ(withStamp(stamp), "sdb") << stamp;
   for (char const * stamp : {"1\n1] ", "1\r1] ", "1] ", "11] ", "111]1234567] ", "1\303\2511] "})
      EXPECT_EQ(withStamp(stamp), "none") << stamp;
   EXPECT_EQ(deviceInLine("kernel: [111]1234567] (sdb): This should"), "sdb");
}

TEST(KernelLineTest, FindsTheStampAnywhereInTheLine) {
   EXPECT_EQ(deviceInLine("<3>Jun 11 10:00:00 unit kernel: [1.1] ata4: hard resetting link"), "ata4");
   EXPECT_EQ(deviceInLine("kernel: [kernel: [1.1] ata4: hard resetting link"), "ata4");
   EXPECT_EQ(deviceInLine("akernel: [1.1] ata4: hard resetting link"), "ata4");
   EXPECT_EQ(deviceInLine("Kernel: [1.1] ata4: hard resetting link"), "none");
}

TEST(KernelLineTest, UsesTheFirstStampWithAMatch) {
   EXPECT_EQ(deviceInLine("kernel: [1.1] ata4: hello kernel: [1.1] ata5: hard resetting link"), "ata5");
   EXPECT_EQ(deviceInLine("kernel: [1.1] ata4: hard resetting link kernel: [1.1] ata5: hard resetting link"),
             "ata4");
   EXPECT_EQ(deviceInLine("kernel: [1.1] ata4: fatal\nkernel: [1.1] ata5: x, interface fatal error"), "ata5");
   EXPECT_EQ(deviceInLine("kernel: [1.1] usb 1-1 kernel: [1.1] usb 1-2: device descriptor read"),
             "usb 1-1 kernel: [1.1] usb 1-2");
   EXPECT_EQ(deviceInLine("kernel: [1.1] (a): This\nkernel: [1.1] (b): This should"), "b");
}

TEST(KernelLineTest, PrefersAnEarlierPatternToAnEarlierStamp) {
   EXPECT_EQ(deviceInLine("kernel: [1.1] Buffer I/O error on device sda, logical block 1 "
                          "kernel: [1.1] ata5: hard resetting link"),
             "ata5");
   EXPECT_EQ(deviceIn("ata4: hard resetting link (sda): This should"), "ata4");
   EXPECT_EQ(deviceIn("EXT4-fs error (device sda2): (sdb): This should"), "sdb");
}

TEST(KernelLineTest, EndsTheLineAtAZeroByte) {
   EXPECT_EQ(deviceInLine("kernel: [1.1] ata4: hard resetting link\0: x"sv), "ata4");
   EXPECT_EQ(deviceInLine("kernel: [1.1] ata4: hard resetting\0 link"sv), "none");
   EXPECT_EQ(deviceInLine("\0kernel: [1.1] ata4: hard resetting link"sv), "none");
   EXPECT_EQ(deviceInLine("kernel: [1.1] (a): This should\0(b): This should"sv), "a");
}

TEST(KernelLineTest, SkipsBytesThatAreNoTextAndReadsNoLettersFromThem) {
   EXPECT_EQ(deviceIn("\xFF\xC0(sda): This should"), "sda");
   EXPECT_EQ(deviceIn("end_request: \xE2\x80\xA8 error, dev sda, sector 1"), "sda");
   EXPECT_EQ(deviceIn("(sd\xC3\xA9): This should"), "none");
   EXPECT_EQ(deviceIn("sd\2402:0:0:0: [sdb] Unhandled error"), "none");
   EXPECT_EQ(deviceInLine("\x80\xFF"), "none");
   EXPECT_EQ(deviceInLine(""), "none");
   EXPECT_EQ(deviceInLine({}), "none");
}

TEST(KernelLineTest, AcceptsEveryBeginningOfALine) {
   std::string const line = "kernel: [ 8123.456789] sd 2:0:0:0: [sdb]  Sense Key : Medium Error";
   std::size_t const complete = line.find("Medium");
   for (std::size_t size = 0; size <= line.size(); ++size) {
      // A copy of just that size, so that a sanitizer sees what is read behind it.
      std::string const part = line.substr(0, size);
      EXPECT_EQ(deviceInLine(part), size >= complete ? "sdb" : "none") << part;
   }
}

TEST(KernelLineTest, AnswersAPartOfTheLine) {
   std::string const line = "kernel: [ 8123.456789] ata1.00: failed command: READ FPDMA QUEUED";
   auto const device = deviceInKernelLine(line);
   ASSERT_TRUE(device);
   EXPECT_EQ(device->data(), line.data() + line.find("ata1"));
   EXPECT_EQ(device->size(), 4U);
}

// As a machine with two SATA disks, two NVMe disks and two USB disks starts.
constexpr char const * start =
    R"([    0.000000] Memory: 260860K/785840K available (14343K kernel code, 2338K rwdata, 9132K rodata, 2824K init, 17344K bss, 88480K reserved, 0K cma-reserved)
[    4.426696] usb usb2: We don't know the algorithms for LPM for this host, disabling LPM.
[    4.690499] usb 1-1: new full-speed USB device number 2 using xhci_hcd
[    4.850850] usb 1-1: New USB device found, idVendor=0409, idProduct=55aa, bcdDevice= 1.01
[    4.924595] ata1: SATA max UDMA/133 abar m4096@0xfebfc000 port 0xfebfc100 irq 26
[    5.252480] usb 1-1.2: not running at top speed; connect to a high speed hub
[    5.256728] ata6: SATA link down (SStatus 0 SControl 300)
[    5.262732] ata2.00: ATA-7: Example HDD, 2.5+, max UDMA/100
[    5.263214] ata2.00: applying bridge limits
[    5.272733] usb-storage 1-1.2:1.0: USB Mass Storage device detected
[    5.733194] nvme nvme1: Ignoring bogus Namespace Identifiers
[    5.797383] sd 1:0:0:0: [sda] 1228800 512-byte logical blocks: (629 MB/600 MiB)
[    5.799033] sd 1:0:0:0: [sda] Mode Sense: 00 3a 00 00
[    5.799537] sd 1:0:0:0: [sda] Write cache: enabled, read cache: enabled, doesn't support DPO or FUA
)";

TEST(KernelLineTest, NamesNothingWhileAHealthyMachineStarts) {
   std::istringstream lines(start);
   std::size_t count = 0;
   for (std::string line; std::getline(lines, line); ++count)
      EXPECT_EQ(deviceInLine("kernel: " + line), "none") << line;
   EXPECT_EQ(count, 14U);
}

}  // namespace
}  // namespace StorageDevices
