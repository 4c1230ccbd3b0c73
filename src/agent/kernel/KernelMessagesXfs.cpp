#include "agent/kernel/KernelMessages.h"

namespace Agent {

namespace {

using enum KernelForm;

// The log and the real-time data may be on devices of their own; the line always names that of the rest. Only
// of such a log is the end read by itself.
// Of the errors of a mount only three are the disk's: others come of options, features and read-only devices.
constexpr KernelMessage xfsTransfers[]{
    {"metadata I/O error", quoted,
     "XFS (sda3): metadata I/O error in \"xfs_da_read_buf+0xd9/0x120\" at daddr 0x8 len 8 error 5", "sda"},
    {"<log|Log> I/O <error|Error>", quoted, "XFS (nvme0n1p2): log I/O error -5", "nvme0n1"},
    {"log recovery <read|write> I/O error", quoted,
     "XFS (sda3): log recovery read I/O error at daddr 0x4 len 8 error -5", "sda"},
    {"<I/O error (0x|I/O Error Detected>", quoted, "XFS (sda3): I/O Error Detected. Shutting down filesystem",
     "sda"},
    {"All device paths lost", quoted, "XFS (sda3): All device paths lost.  Shutting down filesystem", "sda"},
    {"Block device removal (0x%hex) detected", quoted,
     "XFS (sda3): Block device removal (0x20) detected at fs_bdev_mark_dead+0x1 (fs/xfs/xfs_super.c:1).  "
     "Shutting down filesystem.",
     "sda"},
    {"Metadata I/O Error ", quoted,
     "XFS (sda3): Metadata I/O Error (0x1) detected at xfs_trans_read_buf_map+0x1 "
     "(fs/xfs/xfs_trans_buf.c:296). "
     " Shutting down filesystem.",
     "sda"},
    {"log mount/recovery failed: error <-5|-74|-117>%end", quoted,
     "XFS (sda3): log mount/recovery failed: error -5", "sda"},
    {"failed to <locate log tail|find log head>", quoted, "XFS (sda3): failed to locate log tail", "sda"},
    {"empty log check failed", quoted, "XFS (sda3): empty log check failed", "sda"},
    {"log device read failed", nobody, "XFS (sda3): log device read failed", ""},
    {"log mount failed", nobody, "XFS (sda3): log mount failed", ""},
    {"Failing async write", quoted,
     "XFS (sda3): Failing async write on buffer block 0x8. Retrying async write.", "sda"},
    {"Corruption Alert: Buffer at daddr 0x%hex had permanent write failures", quoted,
     "XFS (sda3): Corruption Alert: Buffer at daddr 0x8 had permanent write failures!", "sda"},
    {"writeback error", quoted, "XFS (sda3): writeback error on sector 2048", "sda"},
    {"page discard on ", quoted, "XFS (sda3): page discard on page 00000000f3, inode 0x83, offset 0.", "sda"},
    {"Filesystem has been shut down due to log error", quoted,
     "XFS (sda3): Filesystem has been shut down due to log error (0x2).", "sda"},
    {"<log record CRC mismatch|ondisk log corrupt>", quoted,
     "XFS (sda3): log record CRC mismatch: found 0x1a2b3c4d, expected 0x5e6f7081.", "sda"},
    {"%name <agf|agi> read failed agno %num error <-5|-74|-117>", quoted,
     "XFS (sda3): xlog_recover_check_summary agf read failed agno 2 error -5", "sda"},
    {"%name: failed to clear agi %num", quoted,
     "XFS (sda3): xlog_recover_clear_agi_bucket: failed to clear agi 2. Continuing.", "sda"},
    {"%name: xfs_%any returned error <-5|-74|-117>", quoted,
     "XFS (sda3): xfs_iunlink_remove: xfs_imap_to_bp returned error -5.", "sda"},
    {"<Error |Failed to recover leftover CoW staging extents, err ><-5|-74|-117>", quoted,
     "XFS (sda3): Error -5 recovering leftover CoW allocations.", "sda"},
};

constexpr KernelMessage corruption[]{
    {"Metadata corruption detected", quoted,
     "XFS (sda3): Metadata corruption detected at xfs_inode_buf_verify+0x1, xfs_inode block 0x80", "sda"},
    {"Metadata CRC error detected", quoted,
     "XFS (sda3): Metadata CRC error detected at xfs_agf_read_verify+0x1, xfs_agf block 0x1", "sda"},
    {"%name: daddr 0x%hex out of range", quoted,
     "XFS (sda3): xfs_buf_find: daddr 0x7fffffff8 out of range, EOFS 0x3a38000", "sda"},
    {"Corruption of ", quoted, "XFS (sda3): Corruption of in-memory data detected.  Shutting down filesystem",
     "sda"},
    {"Corruption detected", quoted, "XFS (sda3): Corruption detected. Unmount and run xfs_repair", "sda"},
    {"Internal error", quoted, "XFS (sda3): Internal error xfs_trans_cancel at line 984 of file xfs_trans.c",
     "sda"},
    {"Uncorrected metadata errors detected", quoted,
     "XFS (sda3): Uncorrected metadata errors detected; please run xfs_repair.", "sda"},
    {"last sector read failed", quoted, "XFS (sda3): last sector read failed", "sda"},
    {"write error %num updating a secondary superblock", quoted,
     "XFS (sda3): write error -5 updating a secondary superblock near ag 2", "sda"},
    {"discard failed for <extent|rtextent> [", quoted,
     "XFS (sda3): discard failed for extent [0x8,16], error -5", "sda"},
    {"%any record corruption in <AG|inode> ", quoted,
     "XFS (sda3): Block Freespace BTree record corruption in AG 1 detected!", "sda"},
    {"<AG %num|Inode %num fork %num>: Corrupt ", quoted,
     "XFS (sda3): AG 1: Corrupt btree 0 pointer at level 1 index 3.", "sda"},
    {"<corrupted root|corrupt> <inode|dinode> %num", quoted,
     "XFS (sda3): corrupt dinode 131, (btree extents).", "sda"},
    {"AGF corruption", quoted, "XFS (sda3): AGF corruption. Please run xfs_repair.", "sda"},
    {"SB validate failed with error <-5|-74|-117>.", quoted, "XFS (sda3): SB validate failed with error -5.",
     "sda"},
    {"<failed|Failed> to read root inode", quoted, "XFS (sda3): failed to read root inode", "sda"},
};

constexpr KernelMessageGroup xfsGroups[]{
    {"fs/xfs/xfs_buf.c, xfs_buf_item.c, xfs_log.c, xfs_log_recover.c, xfs_fsops.c, xfs_mount.c, xfs_aops.c, "
     "xfs_inode.c, xfs_super.c, xfs_notify_failure.c, libxfs/xfs_ialloc.c",
     "XFS (%pool): ", xfsTransfers},
    {"fs/xfs/xfs_error.c, xfs_buf.c, xfs_fsops.c, xfs_mount.c, xfs_health.c, xfs_discard.c, libxfs/xfs_sb.c, "
     "libxfs/xfs_ag.c, libxfs/xfs_btree.c, libxfs/xfs_alloc.c, libxfs/xfs_bmap.c, libxfs/xfs_inode_fork.c",
     "XFS (%fs): ", corruption},
};

}  // namespace

KernelMessageGroups xfsMessages() {
   return xfsGroups;
}

}  // namespace Agent
