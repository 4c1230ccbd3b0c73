// ECMAScript expressions for the lines of the kernel's log that report an error of a storage device.
//
// They are tried in this order, each as a search in the whole line. The first group of the first match is the
// kernel's name of the device. deviceInKernelLine() gives the same answer without them.
#pragma once

#include <array>
#include <string_view>

namespace StorageDevices {

struct KernelLinePattern {
   std::string_view captured;  // the kind of device in the first group
   char const * expression;
};

// Three oddities are intended: the unescaped dot in the time stamp, the repeated words of the fourth
// expression, the two blanks in the sixth.
inline constexpr std::array<KernelLinePattern, 9> kernelLinePatterns{{
    {"USB port", R"(kernel: \[\s*\d{1,}.\d{1,6}\]\s*(usb \d+-\d+.*)[:]\s+)"
                 R"(((USB disconnect, (device number|address))|(device descriptor read)|)"
                 R"((reset [a-z]+[-]speed USB device number)))"},
    {"ATA port",
     R"(kernel: \[\s*\d{1,}.\d{1,6}\]\s*(ata\d+)(:|.\d+:)\s+)"
     R"(((SError: \{ [a-zA-Z0-9 ]+ \})|(internal fatal error)|(COMRESET failed)|(hard resetting link)|)"
     R"((error: \{ [a-zA-Z0-9 ]+ \})|(failed command[:])|(.*interface fatal error)))"},
    {"card", R"(kernel: \[\s*\d{1,}.\d{1,6}\]\s*(mmc0|mmcblk0)[:]\s+)"
             R"(((Timeout waiting for hardware)|)"
             R"((error \-\d+ transferring data, sector \d+, nr \d+, cmd response)|)"
             R"((error \-\d+ sending status command)))"},
    {"device of a file system",
     R"(kernel: \[\s*\d{1,}.\d{1,6}\]\s*.*\(([a-zA-Z0-9]+)\):\s)"
     R"((Remounting filesystem|This should|unable to read inode|FAT read failed|)"
     R"(Filesystem has been set|unable to read inode|Remounting read-only|Directory bread.*failed))"},
    {"device of an ext4 file system",
     R"(kernel: \[\s*\d{1,}.\d{1,6}\]\s*EXT4-fs [a-z]+ \(device ([a-zA-Z0-9]+)\):)"},
    {"SCSI disk", R"(kernel: \[\s*\d{1,}.\d{1,6}\]\s*sd\s\d+:\d+:\d+:\d+:\s\[([a-zA-Z]+)\])"
                  R"(( Unhandled error|  Sense Key : ))"},
    {"block device",
     R"(kernel: \[\s*\d{1,}.\d{1,6}\]\s*blk_update_request: I/O error, dev ([a-zA-Z0-9]+), sector \d+)"},
    {"block device",
     R"(kernel: \[\s*\d{1,}.\d{1,6}\]\s*end_request:.*error, dev ([a-zA-Z0-9]+), sector \d+)"},
    {"block device",
     R"(kernel: \[\s*\d{1,}.\d{1,6}\]\s*Buffer I/O error on device ([a-zA-Z0-9]+), logical block \d+)"},
}};

}  // namespace StorageDevices
