#include "agent/kernel/KernelMessages.h"

namespace Agent {

namespace {

using enum KernelForm;

// Of warnings these are none of the disk's: settings, limits, resizing, a lack of memory, and errors of long
// ago.
constexpr KernelMessage harmlessWarnings[]{
    {"ext4_multi_mount_protect:%num: ", nobody,
     "EXT4-fs warning (device sda1): ext4_multi_mount_protect:324: MMP interval 42 higher than expected", ""},
    {"<ext4_dx_add_entry|ext4_add_entry>:%num: ", nobody,
     "EXT4-fs warning (device sda1): ext4_dx_add_entry:2461: Directory (ino: 12) index full, reach max htree",
     ""},
    {"<ext4_resize_begin|ext4_resize_fs|ext4_group_extend|ext4_group_add|verify_group_input>:%num: ", nobody,
     "EXT4-fs warning (device sda1): ext4_resize_fs:2005: can't read last block, resize aborted", ""},
    {"__ext4fs_dirhash:%num: inode #%num: comm %any: Siphash requires key", nobody,
     "EXT4-fs warning (device sda1): __ext4fs_dirhash:270: inode #12: comm ls: Siphash requires key", ""},
    {"ext4_clear_journal_err:%num: ", nobody,
     "EXT4-fs warning (device sda1): ext4_clear_journal_err:5090: Filesystem error recorded from previous "
     "mount: IO failure",
     ""},
    {"ext4_enable_quotas:%num: ", nobody,
     "EXT4-fs warning (device sda1): ext4_enable_quotas:7029: Failed to enable quota tracking (type=0, "
     "err=-3)",
     ""},
    {"<ext4_update_dynamic_rev|ext4_expand_extra_isize_ea|ext4_block_to_path>:%num: ", nobody,
     "EXT4-fs warning (device sda1): ext4_block_to_path:107: block 1074791436 > max in inode 13", ""},
    {"<ext4_da_update_reserve_space|ext4_da_release_space>:%num: ", nobody,
     "EXT4-fs warning (device sda1): ext4_da_update_reserve_space:344: ext4_da_update_reserve_space: ino 15, "
     "used 1 with only 0 reserved data blocks",
     ""},
    {"%name:%num: inode #%num: comm %any: page %num does not have buffers attached", nobody,
     "EXT4-fs warning (device sda1): mpage_prepare_extent_to_map:2734: inode #12: comm kworker/u8:1: page 5 "
     "does not have buffers attached",
     ""},
    {"%name:%num: <Cannot get buffer for block bitmap|Cannot read inode bitmap> - ", nobody,
     "EXT4-fs warning (device sda1): ext4_read_block_bitmap_nowait:440: Cannot get buffer for block bitmap - "
     "block_group = 3, block_bitmap = 1027",
     ""},
    {"%name:%num: <metadata_csum and uninit_bg are |Setting inode version is not supported >", nobody,
     "EXT4-fs warning (device sda1): ext4_ioctl:812: Setting inode version is not supported with "
     "metadata_csum enabled.",
     ""},
    {"%name:%num: Unable to expand inode %num. Delete some EAs", nobody,
     "EXT4-fs warning (device sda1): ext4_mark_inode_dirty:5946: Unable to expand inode 12. Delete some EAs "
     "or run e2fsck.",
     ""},
    {"%name:%num: inode #%num: comm %any: inode does not support timestamps beyond 2038", nobody,
     "EXT4-fs warning (device sda1): ext4_do_update_inode:5168: inode #12: comm touch: inode does not "
     "support "
     "timestamps beyond 2038",
     ""},
    {"kmmpd:%num: <kmmpd being stopped|Error while updating MMP info|MMP failure info>", nobody,
     "EXT4-fs warning (device sda1): kmmpd:186: kmmpd being stopped since filesystem has been remounted", ""},
};

// The journal may lie on another device. The thread kmmpd aborts where another host has mounted the disk.
constexpr KernelMessage errors[]{
    {" <ext4_remount|__ext4_remount>:%num: <comm %any: |>Abort forced by user", nobody,
     "EXT4-fs error (device sda1): __ext4_remount:6522: comm mount: Abort forced by user", ""},
    {" kmmpd:%num: comm %any: abort%end", nobody,
     "EXT4-fs error (device sda1): kmmpd:224: comm kmmpd-sda1: abort", ""},
    {"%any Detected aborted journal", asIs,
     "EXT4-fs error (device sda1): ext4_journal_check_start:83: comm sh: Detected aborted journal", "sda"},
    {"%any Couldn't clean up the journal", asIs,
     "EXT4-fs error (device sda1): ext4_put_super:1205: comm umount: Couldn't clean up the journal", "sda"},
};

constexpr KernelMessage journalErrors[]{
    {" in %any: <Out of memory|error 28>%end", nobody,
     "EXT4-fs error (device sda1) in ext4_dirty_inode:5989: Out of memory", ""},
    {" in %any: Journal has aborted", quoted,
     "EXT4-fs error (device sda1) in ext4_reserve_inode_write:5797: "
     "Journal has aborted",
     "sda"},
    {" in %any: Readonly filesystem", quoted,
     "EXT4-fs error (device sda1) in ext4_dirty_inode:5989: Readonly filesystem", "sda"},
};

constexpr KernelMessage everyError[]{
    {"", asIs,
     "EXT4-fs error (device sda1): ext4_find_entry:1463: inode #2: comm ls: reading directory lblock", "sda"},
};

constexpr KernelMessage functionErrors[]{
    {" in ", quoted, "EXT4-fs error (device sda1) in ext4_mknod: IO failure", "sda"},
};

// Errors that follow a failure of the journal may concern its device: %pool, not %fs. Of an external journal
// they always do, and the line never names it.
constexpr KernelMessage consequences[]{
    {"Remounting filesystem read-only", asIs, "EXT4-fs (sda1): Remounting filesystem read-only", "sda"},
    {"<ext4_do_writepages|ext4_writepages>: jbd2_start: ", quoted,
     "EXT4-fs (sda1): ext4_do_writepages: jbd2_start: 2017 pages, ino 852052; err -5", "sda"},
    {"<couldn't read superblock of external journal|external journal has |I/O error on journal device|"
     "failed to open journal device>",
     nobody, "EXT4-fs (sda1): I/O error on journal device", ""},
    {"error loading journal", quoted, "EXT4-fs (sda1): error loading journal", "sda"},
    {"Delayed block allocation failed %any with error 28%end", nobody,
     "EXT4-fs (sda1): Delayed block allocation failed for inode 12 at logical offset 0 with max blocks 8 "
     "with error 28",
     ""},
    {"Delayed block allocation failed", quoted,
     "EXT4-fs (sda1): Delayed block allocation failed for inode 12 at logical offset 0 with max blocks 8 "
     "with "
     "error 5",
     "sda"},
    {"This should not happen!!", asIs, "EXT4-fs (sda1): This should not happen!! Data will be lost", "sda"},
    {"failed to convert unwritten extents", quoted,
     "EXT4-fs (sda1): failed to convert unwritten extents to written extents -- potential data loss!", "sda"},
    {"error restoring inline_data", quoted,
     "EXT4-fs (sda1): error restoring inline_data for inode -- potential data loss! (inode 12, error -30)",
     "sda"},
};

constexpr KernelMessage superBlocks[]{
    {"I/O error while writing superblock", quoted, "EXT4-fs (sda1): I/O error while writing superblock",
     "sda"},
    {"previous I/O error to superblock", quoted, "EXT4-fs (sda1): previous I/O error to superblock detected",
     "sda"},
    {"unable to read superblock", quoted, "EXT4-fs (sda1): unable to read superblock", "sda"},
    {"<can't|Can't> read <group descriptor|superblock|descriptor>", quoted,
     "EXT4-fs (sda1): can't read group descriptor 12", "sda"},
    {"Invalid checksum for backup superblock", quoted,
     "EXT4-fs (sda5): Invalid checksum for backup superblock 1605632", "sda"},
    {"VFS: Found ext4 filesystem with invalid superblock checksum", quoted,
     "EXT4-fs (sda1): VFS: Found ext4 filesystem with invalid superblock checksum.  Run e2fsck?", "sda"},
    {"group descriptors corrupted", quoted, "EXT4-fs (sda1): group descriptors corrupted!", "sda"},
    {"journal bmap failed: block ", quoted, "EXT4-fs (sda1): journal bmap failed: block 12 ret -5", "sda"},
    {"discard request in group:%num block:%num count:%num failed with ", quoted,
     "EXT4-fs (sda1): discard request in group:3 block:12 count:8 failed with -5", "sda"},
    {"<ext4_check_descriptors|ext4_remount>: ", quoted,
     "EXT4-fs (sda1): ext4_check_descriptors: Checksum for group 0 failed (4711!=815)", "sda"},
    {"<get root inode failed|get orphan inode failed|corrupt root inode>", quoted,
     "EXT4-fs (sda1): get root inode failed", "sda"},
    {"failed to initialize system zone", quoted, "EXT4-fs (sda1): failed to initialize system zone (-117)",
     "sda"},
};

// "sda1-8": the journal's device and its inode, without which the journal has a device of its own.
constexpr KernelMessage journals[]{
    {"Aborting journal on device %dev<-%num|><.|>%end", quoted, "Aborting journal on device mmcblk0p2-8.",
     "mmcblk0"},
    {"JBD2: Detected IO errors <%num |>while flushing file data on %dev<-%num|><.|>%end", quoted,
     "JBD2: Detected IO errors while flushing file data on sda1-8", "sda"},
    {"JBD2: previous I/O error detected for journal superblock update for %dev<-%num|><.|>%end", quoted,
     "JBD2: previous I/O error detected for journal superblock update for sda1-8.", "sda"},
    {"JBD2: journal transaction %num on %dev<-%num|> is corrupt", quoted,
     "JBD2: journal transaction 12 on sdb1 is corrupt.", "sdb"},
    {"%name: journal block not found at offset %num on %dev<-%num|>%end", quoted,
     "jbd2_journal_bmap: journal block not found at offset 12 on sda1-8", "sda"},
    {"JBD2: I/O error when updating journal superblock for %dev<-%num|><.|>%end", quoted,
     "JBD2: I/O error when updating journal superblock for sda1-8.", "sda"},
    {"JBD2: <Error %num|I/O error> detected when updating journal superblock for %dev<-%num|><.|>%end",
     quoted, "JBD2: Error -5 detected when updating journal superblock for sda1-8.", "sda"},
};

// ext2 writes "error" also for a device without ext2, and for one that it cannot mount.
constexpr KernelMessage ext2Errors[]{
    {"error: %name: ", quoted, "EXT2-fs (sda1): error: ext2_get_inode: unable to read inode block - inode=2",
     "sda"},
    {"error: <unable to read |corrupt root inode|get root inode failed|group descriptors corrupted>", quoted,
     "EXT2-fs (sda1): error: unable to read superblock", "sda"},
    {"error: ", nobody,
     "EXT2-fs (sda1): error: couldn't mount because of unsupported optional features (240)", ""},
    {"previous I/O error to superblock", quoted, "EXT2-fs (sda1): previous I/O error to superblock detected",
     "sda"},
};

// Which names the block device, and the inode by its number.
constexpr KernelMessage ext2Inodes[]{
    {"IO error syncing ext2 inode [%dev:%hex]", quoted, "IO error syncing ext2 inode [sda1:0000000c]", "sda"},
};

constexpr KernelMessageGroup ext4Groups[]{
    {"fs/ext4/mmp.c, namei.c, resize.c, super.c, inode.c, balloc.c, ialloc.c, ioctl.c, ext4.h, hash.c",
     "EXT4-fs warning (device %fs): ", harmlessWarnings},
    {"fs/ext4/ext4_jbd2.c, super.c, mmp.c", "EXT4-fs error (device %pool):", errors},
    {"fs/ext4/super.c", "EXT4-fs error (device %pool)", journalErrors},
    {"fs/ext4/super.c", "EXT4-fs %name (device %fs):", everyError},
    {"fs/ext4/super.c", "EXT4-fs error (device %fs)", functionErrors},
    {"fs/ext4/super.c, inode.c, page-io.c, inline.c", "EXT4-fs (%pool): ", consequences},
    {"fs/ext4/super.c, resize.c, ioctl.c, mballoc.c, orphan.c", "EXT4-fs (%fs): ", superBlocks},
    {"fs/jbd2/journal.c, commit.c", "", journals},
    {"fs/ext2/super.c", "EXT2-fs (%fs): ", ext2Errors},
    {"fs/ext2/inode.c", "", ext2Inodes},
};

}  // namespace

KernelMessageGroups ext4Messages() {
   return ext4Groups;
}

}  // namespace Agent
