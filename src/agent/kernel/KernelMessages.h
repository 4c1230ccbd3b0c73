// The kernel's messages of storage errors, kernels 5.10 to 6.12, as a table: a row a message; of older
// kernels the words that were seen. tests/data/kernel-lines/sources.txt records where each row's statement
// was seen.
//
// Each says which source of the kernel prints it, its pattern (see KernelPattern.h), what becomes of it and
// an example with the device that it then names. Spellings of one message stand in one row where they differ
// in a word. What is in no row names nobody. Rows of one group are tried in their order; groups are too.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "agent/kernel/KernelPattern.h"

namespace Agent {

// What the library reads a device from. The kernel's own words follow wherever they differ.
enum class KernelForm {
   nobody,     // no device failed, or nothing says which
   asIs,       // the library knows the message; the disk stands for its partition
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
   std::string_view pattern;  // behind the group's beginning
   KernelForm form;
   std::string_view example;
   std::string_view device;  // that the example names, empty for nobody
};

struct KernelMessageGroup {
   std::string_view source;     // of the kernel, the file that prints them
   std::string_view beginning;  // the pattern of what stands before each
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

// All of them, in the order in which they are tried.
std::span<KernelMessageGroups const> kernelMessages();

// The first message that the text, what stands behind a line's time stamp, is; null for none.
KernelMessage const * kernelMessageOf(std::string_view text, KernelMatch & match);

// The text in the words from which the library reads the device of the match.
std::string inLibrarysWords(KernelForm form, std::string_view text, KernelMatch const & match);

// The last of the forms, for any device.
std::string quotedInLibrarysWords(std::string_view device, std::string_view text);

}  // namespace Agent
