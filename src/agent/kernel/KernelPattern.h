// The pattern language of the table of kernel messages.
//
// Text matches itself; these tokens match a part of the line:
//
//   %dev    a block device: the one that failed
//   %fs     the block device of the file system in the message: the disk, or the data on it, failed
//   %pool   the same, but another device of the file system may have failed: a member, a journal
//   %ata    "ata3", "ata3.00"          the port
//   %usb    "usb 1-2", "usb 1-2:1.0", "usb 1-5-port2", "usb usb1-port3"     the port
//   %card   "mmc0", "mmcblk0p2"        the host or the card
//   %nvme   "nvme0"                    the controller; its first namespace is taken as the disk
//   %scsi   "0:0:1:0"                  an address; it names no device
//   %tag    " tag#12 ", or blanks, or nothing; the event begins behind it
//   %event  nothing; the event begins here
//   %num    digits, with or without a sign
//   %hex    hexadecimal digits, with or without "0x"
//   %name   letters, digits and the characters - _ . + /
//   %any    everything up to the next text of the pattern, or to the end
//   %end    nothing but blanks up to the end
//   <a|b|>  the first alternative that matches; write the longer of two with a common beginning first
//
// A message may continue behind its pattern. Matching never goes back, so its time is proportional to the
// length of the line.
#pragma once

#include <string>
#include <string_view>

namespace Agent {

// What a message names: the failed device itself, or a file system on it (on a pool of devices).
enum class NamedAs { nobody, device, fileSystem, pool };

struct KernelMatch {
   NamedAs namedAs = NamedAs::nobody;
   std::string device;           // a whole disk, a card or a port; empty: it lies on several disks
   std::string_view nameInLine;  // the device's name as the line spells it
   bool isBlockDevice = true;    // false: a port or a host
   std::string_view fileSystem;  // the text that %fs or %pool matched
   std::string_view address;     // of a SCSI device
   std::string_view event;       // the text from %tag or %event on
};

// Whether the pattern matches the beginning of the text; then it is removed from `text`. The last of %dev,
// %ata, %usb, %card and %nvme names the device; without them, the last of %fs and %pool.
bool consumeKernelPattern(std::string_view pattern, std::string_view & text, KernelMatch & match);

}  // namespace Agent
