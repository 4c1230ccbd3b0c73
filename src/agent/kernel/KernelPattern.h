// The small language in which the table of kernel messages writes a message down.
//
// Text stands for itself; these stand for a part of the line:
//
//   %dev    a block device: the one that failed
//   %fs     the block device of a file system, of which the message is: a disk that failed, or whose data did
//   %pool   the same, where the failed device may be another one of the file system: a member, a journal
//   %ata    "ata3", "ata3.00"          the port
//   %usb    "usb 1-2", "usb 1-2:1.0", "usb 1-5-port2", "usb usb1-port3"     the port
//   %card   "mmc0", "mmcblk0p2"        the host or the card
//   %nvme   "nvme0"                    the controller, of which the disk is the first namespace
//   %scsi   "0:0:1:0"                  an address; it names nobody
//   %tag    " tag#12 ", or blanks, or nothing; the event begins behind it
//   %event  nothing; the event begins here
//   %num    digits, with or without a sign
//   %hex    hexadecimal digits, with or without "0x"
//   %name   letters, digits, and what joins them: - _ . + /
//   %any    everything up to the text that follows in the pattern, or to the end
//   %end    nothing but blanks up to the end
//   <a|b|>  the first of these that fits; of two that begin alike the longer one stands first
//
// A message may go on behind its pattern. Nothing is tried twice: the time is in proportion to the line's
// length.
#pragma once

#include <string>
#include <string_view>

namespace Agent {

// How sure it is that the device that a message names is the one that failed.
enum class KernelBlame { nobody, device, fileSystem, pool };

struct KernelMatch {
   KernelBlame blame = KernelBlame::nobody;
   std::string device;           // a whole disk, a card or a port; empty for what lies on several disks
   std::string_view said;        // what the line calls it
   bool isBlockDevice = true;    // no port and no host
   std::string_view fileSystem;  // what %fs or %pool took, whoever is to blame
   std::string_view address;     // of a SCSI device
   std::string_view event;       // from %tag or %event on
};

// Whether the pattern fits the beginning of the text; `text` is then what it left. The last of %dev, %ata,
// %usb, %card and %nvme names the device, else the last of %fs and %pool.
bool takesKernelPattern(std::string_view pattern, std::string_view & text, KernelMatch & match);

// Whether a text that begins with this character may fit the pattern: a quick no for most.
bool mayBeginWith(std::string_view pattern, char c);

}  // namespace Agent
