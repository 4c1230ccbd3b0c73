// A table of the kernel's messages about storage errors, one row per message. It has those of kernels 5.10 to
// 6.12, most of 4.19, and some of older ones. tests/data/kernel-lines/sources.txt records the source of each
// row.
//
// A row has the pattern of the message (see KernelPattern.h) and the form to which it is rewritten. It also
// has an example, with the device that the rewritten line names. A group names the kernel's source file that
// prints its messages. Spellings that differ in a word share a row. A message without a row names no device.
// Groups, and the rows of a group, are tried in their order.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "agent/kernel/KernelPattern.h"

namespace Agent {

// The wording from which the library reads a device. Where the kernel's own differs, it follows.
enum class KernelForm {
   nobody,     // no device failed, or the message does not show which
   asIs,       // the library knows the message; only a partition is replaced by its disk
   request,    // blk_update_request: I/O error, dev sda, sector 8
   buffer,     // Buffer I/O error on device sda, logical block 8
   sense,      // sd 0:0:0:0: [sda]  Sense Key : Medium Error
   unhandled,  // sd 0:0:0:0: [sda] Unhandled error: ...
   ata,        // ata3: failed command: ...
   usb,        // usb 1-2: device descriptor read: ...
   usbReset,   // usb 1-2: reset super-speed USB device number 4
   quoted      // storage (sda): This should not happen: the kernel's whole line
};

struct KernelMessage {
   std::string_view pattern;  // of the text behind the group's beginning
   KernelForm form;
   std::string_view example;
   std::string_view device;  // that the rewritten example names; empty: none
};

struct KernelMessageGroup {
   std::string_view source;     // the kernel's source file that prints them
   std::string_view beginning;  // the pattern of the text before each message
   std::span<KernelMessage const> messages;
};

// The groups of one part of the kernel.
using KernelMessageGroups = std::span<KernelMessageGroup const>;

KernelMessageGroups blockMessages();
KernelMessageGroups raidMessages();
KernelMessageGroups ataMessages();
KernelMessageGroups scsiMessages();
KernelMessageGroups usbMessages();
KernelMessageGroups cardMessages();
KernelMessageGroups nvmeMessages();
KernelMessageGroups ext4Messages();
KernelMessageGroups xfsMessages();
KernelMessageGroups btrfsMessages();
KernelMessageGroups otherFileSystemMessages();

// All groups, in the order in which they are tried.
std::span<KernelMessageGroups const> kernelMessages();

// The first row that matches `text`, the part of a line behind its time stamp; null when none does.
KernelMessage const * kernelMessageOf(std::string_view text, KernelMatch & match);

// The text in the form from which the library reads the device of the match.
std::string inLibraryForm(KernelForm form, std::string_view text, KernelMatch const & match);

// The text in the form `quoted`, for any device.
std::string quotedInLibraryForm(std::string_view device, std::string_view text);

}  // namespace Agent
