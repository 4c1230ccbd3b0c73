#include <span>

#include "agent/KernelDeviceName.h"
#include "agent/KernelErrorWords.h"
#include "agent/KernelErrors.h"

namespace Agent {

namespace {

using StorageDevices::Cursor;
using StorageDevices::isAlnum;
using StorageDevices::isDigit;

// "critical medium error, dev sda, sector 8 op 0x0:(READ) ...", with or without the function that says it.
// What was never tried ("operation not supported", "kernel resource") is no error of the disk.
std::string requestError(Cursor cursor) {
   for (std::string_view const function : {"blk_update_request: ", "print_req_error: ", "end_request: "})
      if (cursor.takes(function))
         break;
   for (std::string_view const kind :
        {"I/O", "critical medium", "critical target", "critical nexus", "critical space allocation",
         "protection", "timeout", "recoverable transport", "device offline"}) {
      if (!cursor.takes(kind))
         continue;
      if (!cursor.takes(" error, dev "))
         return {};
      std::string const disk = wholeDisk(cursor.run<isAlnum>());
      bool const isRequest = cursor.rest().starts_with(", sector ");
      return isRequest && !disk.empty()
                 ? std::string{"blk_update_request: I/O error, dev "}.append(disk).append(cursor.rest())
                 : std::string{};
   }
   return {};
}

std::string bufferError(Cursor cursor) {
   bool const isNewer = cursor.takes("Buffer I/O error on dev ");
   if (!isNewer && !cursor.takes("lost page write due to I/O error on "))
      return {};
   std::string_view const device = cursor.run<isAlnum>();
   std::string_view const rest = cursor.rest();
   if (device.empty() || (isNewer ? !rest.starts_with(", logical block ") : !rest.empty()))
      return {};
   std::string const disk = wholeDisk(device);
   if (disk.empty())
      return {};
   return isNewer ? std::string{"Buffer I/O error on device "}.append(disk).append(rest)
                  : unexpected("lost page write", disk, "due to I/O error");
}

constexpr std::string_view btrfsError = "BTRFS";

struct FileSystem {
   std::string_view subject;
   std::string_view before;  // the device
   std::string_view after;
   std::span<std::string_view const> errors;  // what a message begins with that tells one
};

constexpr std::string_view ext4Errors[]{"I/O error while writing superblock",
                                        "previous I/O error to superblock",
                                        "unable to read superblock",
                                        "Invalid checksum for backup superblock",
                                        "error loading journal",
                                        "error restoring inline_data",
                                        "failed to convert unwritten extents",
                                        "Delayed block allocation failed",
                                        "group descriptors corrupted",
                                        "ext4_writepages: jbd2_start: ",
                                        "ext4_do_writepages: jbd2_start: "};
constexpr std::string_view xfsErrors[]{"metadata I/O error",
                                       "log I/O error",
                                       "Log I/O Error",
                                       "I/O Error Detected",
                                       "Metadata corruption detected",
                                       "Metadata CRC error detected",
                                       "Corruption of in-memory data",
                                       "Corruption detected",
                                       "Internal error",
                                       "log mount/recovery failed: error",
                                       "Failing async write",
                                       "writeback error",
                                       "page discard on page",
                                       "last sector read failed",
                                       "Filesystem has been shut down due to log error"};
constexpr std::string_view btrfsErrors[]{"parent transid verify failed",
                                         "bdev /dev/",
                                         "unable to find chunk map",
                                         "unable to fixup",
                                         "fixed up error at logical",
                                         "checksum verify failed",
                                         "failed to read chunk tree",
                                         "failed to read chunk root",
                                         "failed to read tree root",
                                         "failed to read block groups",
                                         "tree level mismatch",
                                         "level verify failed",
                                         "bad tree block",
                                         "error writing primary super block"};
constexpr std::string_view btrfsWarnings[]{"csum failed",
                                           "checksum error at",
                                           "checksum/header error at",
                                           "i/o error",
                                           "lost page write due to IO error",
                                           "lost super block write due to IO error"};
constexpr std::string_view fatErrors[]{"error, ", "unable to read boot sector"};
constexpr std::string_view ext2Errors[]{"error: ", "previous I/O error to superblock"};
constexpr std::string_view f2fsErrors[]{"Stopped filesystem due to", "inconsistent node block", "I/O error"};
constexpr std::string_view zonefsErrors[]{"remounting filesystem read-only"};
constexpr std::string_view repairs[]{"read error corrected"};
constexpr std::string_view any[]{""};

constexpr FileSystem fileSystems[]{
    {"EXT4-fs", "EXT4-fs (", "): ", ext4Errors},
    {"EXT4-fs", "EXT4-fs error (device ", ") in ", any},
    {"EXT2-fs", "EXT2-fs (", "): ", ext2Errors},
    {"XFS", "XFS (", "): ", xfsErrors},
    {"FAT-fs", "FAT-fs (", "): ", fatErrors},
    {"exFAT-fs", "exFAT-fs (", "): ", fatErrors},
    {"F2FS-fs", "F2FS-fs (", "): ", f2fsErrors},
    {"zonefs", "zonefs (", ") WARNING: ", zonefsErrors},
    {btrfsError, "BTRFS error (device ", "): ", btrfsErrors},
    {btrfsError, "BTRFS critical (device ", "): ", btrfsErrors},
    {btrfsError, "BTRFS warning (device ", "): ", btrfsWarnings},
    {btrfsError, "BTRFS info (device ", "): ", repairs},
    {btrfsError, "BTRFS: error (device ", ") in ", any},
};

// One of several disks that a file system lies on, where the message tells which. Empty for something like
// "dm-1", of which nobody knows the disks.
std::string toldDisk(std::string_view message, std::string_view fileSystemsDevice) {
   constexpr std::string_view told = "dev /dev/";
   std::size_t const at = message.find(told);
   if (at == message.npos)
      return wholeDisk(fileSystemsDevice);
   Cursor cursor = cursorOf(message.substr(at + told.size()));
   std::string_view const device = cursor.run<isAlnum>();
   bool const isWhole = cursor.rest().empty() || hasOneOf(" ,:)", {cursor.rest().substr(0, 1)});
   return isWhole ? wholeDisk(device) : std::string{};
}

bool isFileSystemError(FileSystem const & fileSystem, std::string_view message) {
   // Of what may end such a transaction only these are the disk's.
   if (fileSystem.before == "BTRFS: error (device ")
      return hasOneOf(message, {"errno=-5 ", "errno=-117 "});
   return startsWithOneOf(message, fileSystem.errors);
}

std::string fileSystemError(Cursor const cursor) {
   for (FileSystem const & fileSystem : fileSystems) {
      Cursor line = cursor;
      if (!line.takes(fileSystem.before))
         continue;
      std::string_view const device = line.run<isAlnum>();
      if (fileSystem.subject == btrfsError && line.takes(": state "))
         line.takesRun<StorageDevices::isLetter>();
      if (device.empty() || !line.takes(fileSystem.after) || !isFileSystemError(fileSystem, line.rest()))
         continue;
      std::string const disk = toldDisk(line.rest(), device);
      return disk.empty() ? std::string{} : unexpected(fileSystem.subject, disk, line.rest());
   }
   return {};
}

// "... for sda1-8.": a journal is called by its device and its inode.
std::string journalError(Cursor cursor) {
   Cursor const line = cursor;
   for (std::string_view const words :
        {"Aborting journal on device ", "JBD2: Detected IO errors while flushing file data on ",
         "JBD2: I/O error when updating journal superblock for "})
      if (cursor.takes(words))
         break;
   if (cursor.at == line.at && cursor.takes("JBD2: Error -")) {
      cursor.takesRun<isDigit>();
      if (!cursor.takes(" detected when updating journal superblock for "))
         return {};
   }
   if (cursor.at == line.at)
      return {};
   std::string_view const device = cursor.run<isAlnum>();
   if (!cursor.takes("-") || !cursor.takesRun<isDigit>())
      return {};
   cursor.takes(".");
   std::string const disk = wholeDisk(device);
   return cursor.rest().empty() && !disk.empty() ? unexpected("JBD2", disk, line.rest()) : std::string{};
}

// "md/raid1:md0: Disk failure on sdb1, disabling device.", "md/raid1:md0: read error corrected (8 sectors at
// 16 on sdb1)"
std::string raidError(Cursor cursor) {
   std::string_view const line = cursor.rest();
   if (!line.starts_with("md/raid") || !hasOneOf(line, {": Disk failure on ", ": read error "}))
      return {};
   constexpr std::string_view on = " on ";
   std::size_t const at = line.rfind(on);
   if (at == line.npos)
      return {};
   cursor.at += at + on.size();
   std::string_view const device = cursor.run<isAlnum>();
   std::string const disk = wholeDisk(device);
   bool const isDisk = !disk.empty() && startsWithOneOf(cursor.rest(), {")", ", disabling device"});
   return isDisk ? unexpected("md/raid", disk, line) : std::string{};
}

}  // namespace

std::string blockError(std::string_view text) {
   Cursor const cursor = cursorOf(text);
   for (auto const reader : {requestError, bufferError, fileSystemError, journalError, raidError})
      if (std::string result = reader(cursor); !result.empty())
         return result;
   return {};
}

}  // namespace Agent
