#include "agent/kernel/KernelMessages.h"

namespace Agent {

namespace {

using enum KernelForm;

// FAT gets no root inode only when memory is short.
constexpr KernelMessage fatErrors[]{
    {"error, ", quoted, "FAT-fs (sdc1): error, fat_get_cluster: invalid cluster chain (i_pos 0)", "sdc"},
    {"Directory bread(block %num) failed", asIs, "FAT-fs (sdc1): Directory bread(block 32801) failed", "sdc"},
    {"FAT read failed (blocknr %num)", asIs, "FAT-fs (sdc1): FAT read failed (blocknr 32)", "sdc"},
    {"Failed to update on disk inode", quoted,
     "FAT-fs (sdc1): Failed to update on disk inode for unused fallocated blocks, inode could be corrupted. "
     "Please run fsck",
     "sdc"},
    {"unable to read inode", asIs, "FAT-fs (sdc1): unable to read inode block for updating (i_pos 12)",
     "sdc"},
    {"unable to read <block(%num)|cluster of parent>", quoted,
     "FAT-fs (sdc1): unable to read block(32) for building NFS inode", "sdc"},
    {"get root inode failed", nobody, "FAT-fs (sdc1): get root inode failed", ""},
    {"Corrupted directory (i_pos", quoted, "FAT-fs (sdc1): Corrupted directory (i_pos 12)", "sdc"},
    {"failed to load <upcase table|alloc-bitmap>", quoted, "exFAT-fs (sdc1): failed to load upcase table",
     "sdc"},
    {"Medium has reported failures", quoted,
     "exFAT-fs (sdc1): Medium has reported failures. Some data may be lost.", "sdc"},
    {"Filesystem has been set read-only", asIs, "FAT-fs (sdc1): Filesystem has been set read-only", "sdc"},
    {"<unable|failed> to read boot sector", quoted, "FAT-fs (sdc1): unable to read boot sector", "sdc"},
    {"bread failed", quoted, "FAT-fs (sdc1): bread failed, FSINFO block (sector = 1)", "sdc"},
    {"failed to read sector(0x%hex)", quoted, "exFAT-fs (sdc1): failed to read sector(0x18)", "sdc"},
    {"<failed zeroed sect |Invalid boot checksum (>", quoted, "exFAT-fs (sdc1): failed zeroed sect 8192",
     "sdc"},
};

// Its name in the line is that of the first of its devices. The reasons 0, 1 and 7: somebody shut it down, a
// test made it fail, and no room was left.
constexpr KernelMessage f2fsErrors[]{
    {"Stopped filesystem due to reason: <0|1|7>%end", nobody,
     "F2FS-fs (sda1): Stopped filesystem due to reason: 0", ""},
    {"Stopped filesystem due to", quoted, "F2FS-fs (sda1): Stopped filesystem due to reason: 3", "sda"},
    {"Remounting filesystem read-only", asIs, "F2FS-fs (sda1): Remounting filesystem read-only", "sda"},
    // No failure, but the device belongs to the file system.
    {"Mount Device [%any]: %any/dev/%dev", nobody,
     "F2FS-fs (sda1): Mount Device [ 1]:             /dev/sdb,      256,        0 -    1ffff", ""},
    {"<Discard|Report|Fill up|Finishing> zone failed: /dev/%dev", quoted,
     "F2FS-fs (sda1): Discard zone failed: /dev/sdb (errno=-5)", "sdb"},
    {"<f2fs_commit_super fails to record|f2fs_flush_nat_entries failed err:|do_checkpoint failed err:>",
     quoted, "F2FS-fs (sda1): do_checkpoint failed err:-5, stop checkpoint", "sda"},
    {"Cannot recover all fsync data errno=<-5|-117>%end", quoted,
     "F2FS-fs (sda1): Cannot recover all fsync data errno=-5", "sda"},
    {"<SIT is corrupted|checksum invalid, nid|access invalid blkaddr:>", quoted,
     "F2FS-fs (sda1): checksum invalid, nid = 12, ino_of_node = c, 1a2b3c4d vs. 5e6f7081", "sda"},
    {"<Wrong user_block_count|Wrong bitmap size|Wrong cp_pack_start_sum|Node segment (|Data segment (>",
     quoted, "F2FS-fs (sda1): Wrong bitmap size: sit: 64, nat:128", "sda"},
    {"A bug case: need to run fsck", quoted, "F2FS-fs (sda1): A bug case: need to run fsck", "sda"},
    {"recover_data: ino = %hex (i_size: %name) recovered = %num, err = <-5|-117>%end", quoted,
     "F2FS-fs (sda1): recover_data: ino = 4d2 (i_size: recover) recovered = 3, err = -5", "sda"},
    {"Failed to initialize F2FS <segment|node> manager (<-5|-117>)", quoted,
     "F2FS-fs (sda1): Failed to initialize F2FS segment manager (-5)", "sda"},
    {"inconsistent node block", quoted, "F2FS-fs (sda1): inconsistent node block, nid:12, node_footer[nid:0]",
     "sda"},
    {"Unable to read %name superblock", quoted, "F2FS-fs (sda1): Unable to read 1th superblock", "sda"},
    {"Failed to get valid F2FS checkpoint", quoted, "F2FS-fs (sda1): Failed to get valid F2FS checkpoint",
     "sda"},
    {"Failed to read <root inode|node inode|F2FS meta data inode>", quoted,
     "F2FS-fs (sda1): Failed to read root inode", "sda"},
    {"Inconsistent error blkaddr", quoted, "F2FS-fs (sda1): Inconsistent error blkaddr:12, sit bitmap:0",
     "sda"},
    {"Failed to enable quota tracking", nobody,
     "F2FS-fs (sda1): Failed to enable quota tracking (type=0, err=-3). Please run fsck to fix.", ""},
    {"%any run fsck to fix", quoted,
     "F2FS-fs (sda1): f2fs_check_nid_range: out-of-range nid=1, run fsck to fix.", "sda"},
    {"Issue discard(%any) failed, ret: %num", quoted,
     "F2FS-fs (sda1): Issue discard(16, 16, 8) failed, ret: -5", "sda"},
    {"%name: inode (ino=%hex) has corrupted ", quoted,
     "F2FS-fs (sda1): sanity_check_inode: inode (ino=1a) has corrupted i_inline_xattr_size: 9, max: 8",
     "sda"},
    {"%name: inode (ino=%hex) is with extra_attr", quoted,
     "F2FS-fs (sda1): sanity_check_inode: inode (ino=4d2) is with extra_attr, but extra_attr feature is off",
     "sda"},
    {"<lookup |list |set |>inode (%num) has <corrupted xattr|invalid last xattr>", quoted,
     "F2FS-fs (sda1): inode (12) has corrupted xattr", "sda"},
    {"Inconsistent <i_blocks|total_valid_block_count|blkaddr offset|segment|ofs_in_node|ofs_of_node|dest "
     "blkaddr|error when>",
     quoted, "F2FS-fs (sda1): Inconsistent ofs_of_node, ino:12, ofs:3, 4", "sda"},
    {"<incorrect node reference|mismatched blkaddr|Mismatch valid blocks|Wrong valid blocks|Wrong journal "
     "entry on segno|Corrupted nid|Corrupted max_depth>",
     quoted, "F2FS-fs (sda1): Wrong valid blocks 9 or segno 3", "sda"},
    {"%name: <detect|Detect> looped node chain", quoted,
     "F2FS-fs (sda1): find_fsync_dnodes: detect looped node chain, blkaddr:12, next:12", "sda"},
    {"Invalid SB checksum value", quoted, "F2FS-fs (sda1): Invalid SB checksum value: 3735928559", "sda"},
};

constexpr KernelMessage zoneErrors[]{
    {"remounting filesystem read-only", quoted, "zonefs (nvme0n1) WARNING: remounting filesystem read-only",
     "nvme0n1"},
    {"<inode|Zone> %num: <offline|read-only> zone", quoted,
     "zonefs (nvme0n1) WARNING: inode 524288: offline zone", "nvme0n1"},
    {"closing zone <at %num |>failed", quoted,
     "zonefs (nvme0n1) WARNING: closing zone failed, remounting filesystem read-only", "nvme0n1"},
    {"Corrupted write pointer", quoted, "zonefs (nvme0n1) WARNING: Corrupted write pointer 96 for zone at 64",
     "nvme0n1"},
    {"<Zone management operation %name at %num|Zone report|Get inode %num zone information> failed", quoted,
     "zonefs (nvme0n1) ERROR: Zone report failed -5", "nvme0n1"},
};

constexpr KernelMessage nilfsErrors[]{
    {"unable to <read superblock|read primary superblock|read secondary superblock|write superblock>", quoted,
     "NILFS (sda1): unable to write superblock: err=-5", "sda"},
    {"I/O error", quoted, "NILFS (sda1): I/O error reading meta-data file (ino=3, block-offset=0)", "sda"},
    {"<bad btree node (ino=|bad btree root (ino=|buffer sync write failed during post-cleaning|active "
     "segment %num is erroneous>",
     quoted, "NILFS (sda1): bad btree node (ino=6, blocknr=12): level = 0, flags = 0x0, nchildren = 0",
     "sda"},
};

constexpr KernelMessage otherErrors[]{
    {"NILFS error (device %fs): ", quoted, "NILFS error (device sda1): nilfs_bmap_last_key: broken bmap",
     "sda"},
    {"REISERFS <error|abort> (device %fs): ", quoted,
     "REISERFS abort (device sda1): Journal write error in flush_commit_list", "sda"},
    {"ERROR: (device %fs): ", quoted, "ERROR: (device sda1): diRead: i_ino != di_number", "sda"},
    {"UDF-fs: error (device %fs): ", quoted,
     "UDF-fs: error (device sr0): udf_read_inode: (ino 44) failed !bh", "sr0"},
    {"isofs_fill_super: bread failed, dev=%dev", quoted,
     "isofs_fill_super: bread failed, dev=sr0, iso_blknum=17, block=17", "sr0"},
};

// Not from the kernel: an already rewritten line stays as it is.
constexpr KernelMessage rewrittenBefore[]{
    {"This should not happen: ", asIs, "storage (sda): This should not happen: sdb", "sda"},
};

constexpr KernelMessageGroup fileSystemsGroups[]{
    {"fs/fat/misc.c, dir.c, fatent.c, inode.c, nfs.c, fs/exfat/misc.c, super.c, nls.c",
     "<FAT-fs|exFAT-fs> (%fs): ", fatErrors},
    {"fs/f2fs/super.c, segment.c, segment.h, node.c, checkpoint.c, inode.c, compress.c, dir.c, xattr.c, "
     "f2fs.h, gc.c, recovery.c",
     "F2FS-fs (%pool): ", f2fsErrors},
    {"fs/zonefs/super.c, file.c", "zonefs (%fs) <WARNING|ERROR>: ", zoneErrors},
    {"fs/nilfs2/mdt.c, btree.c, gcinode.c, recovery.c, segbuf.c, sufile.c, super.c, the_nilfs.c",
     "NILFS (%fs): ", nilfsErrors},
    {"fs/nilfs2/super.c, fs/reiserfs/prints.c, fs/jfs/super.c, fs/udf/super.c, fs/isofs/inode.c", "",
     otherErrors},
    {"none", "storage (%dev): ", rewrittenBefore},
};

}  // namespace

KernelMessageGroups otherFileSystemMessages() {
   return fileSystemsGroups;
}

}  // namespace Agent
