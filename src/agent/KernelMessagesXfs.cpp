#include "agent/KernelMessages.h"

namespace Agent {

namespace {

using enum KernelForm;

// The log and the real-time data may be on devices of their own; the line always names that of the rest.
// Of the errors of a mount only three are the disk's: others come of options, features and read-only devices.
constexpr KernelMessage transfers[]{
    {"metadata I/O error", told,
     "XFS (sda3): metadata I/O error in \"xfs_da_read_buf+0xd9/0x120\" at daddr 0x8 len 8 error 5", "sda"},
    {"<log|Log> I/O <error|Error>", told, "XFS (nvme0n1p2): log I/O error -5", "nvme0n1"},
    {"log recovery <read|write> I/O error", told,
     "XFS (sda3): log recovery read I/O error at daddr 0x4 len 8 error -5", "sda"},
    {"<I/O error (0x|I/O Error Detected>", told, "XFS (sda3): I/O Error Detected. Shutting down filesystem",
     "sda"},
    {"Block device removal (0x%hex) detected", told,
     "XFS (sda3): Block device removal (0x20) detected at fs_bdev_mark_dead+0x1 (fs/xfs/xfs_super.c:1).  "
     "Shutting down filesystem.",
     "sda"},
    {"Metadata I/O Error ", told,
     "XFS (sda3): Metadata I/O Error (0x1) detected at xfs_trans_read_buf_map+0x1 "
     "(fs/xfs/xfs_trans_buf.c:296). "
     " Shutting down filesystem.",
     "sda"},
    {"log mount/recovery failed: error <-5|-74|-117>%end", told,
     "XFS (sda3): log mount/recovery failed: error -5", "sda"},
    {"failed to <locate log tail|find log head>", told, "XFS (sda3): failed to locate log tail", "sda"},
    {"log mount failed", nobody, "XFS (sda3): log mount failed", ""},
    {"Failing async write", told,
     "XFS (sda3): Failing async write on buffer block 0x8. Retrying async write.", "sda"},
    {"writeback error", told, "XFS (sda3): writeback error on sector 2048", "sda"},
    {"page discard on ", told, "XFS (sda3): page discard on page 00000000f3, inode 0x83, offset 0.", "sda"},
    {"Filesystem has been shut down due to log error", told,
     "XFS (sda3): Filesystem has been shut down due to log error (0x2).", "sda"},
    {"xfs_log_force: error %num returned", told, "XFS (sda3): xfs_log_force: error -5 returned.", "sda"},
};

constexpr KernelMessage corruption[]{
    {"Metadata corruption detected", told,
     "XFS (sda3): Metadata corruption detected at xfs_inode_buf_verify+0x1, xfs_inode block 0x80", "sda"},
    {"Metadata CRC error detected", told,
     "XFS (sda3): Metadata CRC error detected at xfs_agf_read_verify+0x1, xfs_agf block 0x1", "sda"},
    {"Corruption of ", told, "XFS (sda3): Corruption of in-memory data detected.  Shutting down filesystem",
     "sda"},
    {"Corruption detected", told, "XFS (sda3): Corruption detected. Unmount and run xfs_repair", "sda"},
    {"Internal error", told, "XFS (sda3): Internal error xfs_trans_cancel at line 984 of file xfs_trans.c",
     "sda"},
    {"Uncorrected metadata errors detected", told,
     "XFS (sda3): Uncorrected metadata errors detected; please run xfs_repair.", "sda"},
    {"last sector read failed", told, "XFS (sda3): last sector read failed", "sda"},
    {"SB validate failed with error <-5|-74|-117>.", told, "XFS (sda3): SB validate failed with error -5.",
     "sda"},
    {"failed to read root inode", told, "XFS (sda3): failed to read root inode", "sda"},
    {"xfs_imap_to_bp: xfs_trans_read_buf() returned error %num", told,
     "XFS (sda3): xfs_imap_to_bp: xfs_trans_read_buf() returned error -5.", "sda"},
};

constexpr KernelMessageGroup groups[]{
    {"fs/xfs/xfs_buf.c, xfs_log.c, xfs_fsops.c, xfs_aops.c, xfs_bio_io.c", "XFS (%pool): ", transfers},
    {"fs/xfs/xfs_error.c, xfs_fsops.c, xfs_mount.c, libxfs/xfs_inode_buf.c", "XFS (%fs): ", corruption},
};

}  // namespace

KernelMessageGroups xfsMessages() {
   return groups;
}

}  // namespace Agent
