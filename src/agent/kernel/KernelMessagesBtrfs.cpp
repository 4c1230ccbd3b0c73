#include "agent/kernel/KernelMessages.h"

namespace Agent {

namespace {

using enum KernelForm;

constexpr char line[] =
    "BTRFS <error|warning|critical|info|alert|emergency> (device %pool<: state %name| state %name|>): "
    "<scrub: |>";

// The members' counters at the time of the mount: old errors.
constexpr KernelMessage oldErrors[]{
    {"bdev /dev/%dev errs: ", nobody,
     "BTRFS info (device sda1): bdev /dev/sdb1 errs: wr 0, rd 3, flush 0, corrupt 0, gen 0", ""},
};

// These name the failed member of the file system.
constexpr KernelMessage members[]{
    {"bdev /dev/%dev errs: ", quoted,
     "BTRFS error (device sda1): bdev /dev/sdb1 errs: wr 1, rd 0, flush 0, corrupt 0, gen 0", "sdb"},
    {"<lost page write|lost super block write> due to IO error on /dev/%dev", quoted,
     "BTRFS warning (device sda1): lost super block write due to IO error on /dev/sdb1 (-5)", "sdb"},
    {"<unable to fixup|fixed up error>%any on dev /dev/%dev", quoted,
     "BTRFS error (device sda1): unable to fixup (regular) error at logical 1048576 on dev /dev/sdb1 "
     "physical 8",
     "sdb"},
    {"<i/o|checksum/header|checksum|metadata|generation> error at logical %num on dev /dev/%dev", quoted,
     "BTRFS warning (device sda1): i/o error at logical 1048576 on dev /dev/sdb1, physical 1048576, root 5",
     "sdb"},
    {"<header error|tree block %num mirror %num has bad>%any on dev /dev/%dev", quoted,
     "BTRFS warning (device sda1): header error at logical 1048576 on dev /dev/sdb1, physical 1048576",
     "sdb"},
    {"read error corrected: ino %num off %num (dev /dev/%dev sector %num)", quoted,
     "BTRFS info (device sda1): read error corrected: ino 0 off 12887984144384 (dev /dev/sdb1 sector 8)",
     "sdb"},
    {"error writing primary super block to device %num", nobody,
     "BTRFS error (device sda1): error writing primary super block to device 2", ""},
    {"zoned: <failed to read|offline/readonly> zone %num on <device |>/dev/%dev", quoted,
     "BTRFS error (device sda1): zoned: failed to read zone 0 on /dev/sdb1 (devid 2)", "sdb"},
    {"devid %num uuid %name is missing", nobody,
     "BTRFS warning (device sda1): devid 2 uuid 4d3c2b1a-0000-4000-8000-000000000001 is missing", ""},
    {"super block error on device /dev/%dev", quoted,
     "BTRFS warning (device sda1): super block error on device /dev/sdb1, physical 65536", "sdb"},
};

// The line names the bad copy by a number, or not at all.
constexpr KernelMessage trees[]{
    {"parent transid verify failed", quoted,
     "BTRFS error (device sda3: state EA): parent transid verify failed on logical 1048576 mirror 1 wanted 5 "
     "found 4",
     "sda"},
    {"checksum verify failed", quoted,
     "BTRFS warning (device sda3): checksum verify failed on logical 1048576 mirror 1 wanted 0x1 found 0x2",
     "sda"},
    {"%any checksum verify failed", quoted,
     "BTRFS warning (device sda3): sda3 checksum verify failed on 1048576 wanted 1 found 2 level 0", "sda"},
    {"<bad tree block|tree block> ", quoted,
     "BTRFS error (device sda3): bad tree block start, want 30490624 have 0", "sda"},
    {"<checksum|csum> error at logical %num mirror %num", quoted,
     "BTRFS warning (device sda3): csum error at logical 1048576 mirror 1: metadata leaf (level 0) in tree 5",
     "sda"},
    {"<unable to fixup (regular)|fixed up> error at logical %num on mirror %num", quoted,
     "BTRFS error (device sda3): fixed up error at logical 1048576 on mirror 1", "sda"},
    {"%num errors while writing supers", quoted, "BTRFS error (device sda3): 1 errors while writing supers",
     "sda"},
    {"<error reading|csum mismatch on> free space cache", quoted,
     "BTRFS error (device sda3): error reading free space cache", "sda"},
    {"<tree level mismatch|level verify failed|tree first key mismatch>", quoted,
     "BTRFS error (device sda3): tree level mismatch detected, bytenr=1166186938368 level expected=0 has=1",
     "sda"},
    {"<superblock checksum mismatch|couldn't read tree root|bad fsid on >", quoted,
     "BTRFS error (device sda3): superblock checksum mismatch", "sda"},
    {"failed to read <chunk tree|chunk root|tree root|block groups|log tree|fs tree|root (|tree block >",
     quoted, "BTRFS error (device sda3): failed to read chunk tree: -5", "sda"},
    {"csum failed ", quoted,
     "BTRFS warning (device sda3): csum failed root 5 ino 257 off 0 csum 0x8941f998 expected csum 0x9a8b "
     "mirror 1",
     "sda"},
    {"direct IO failed ino ", quoted,
     "BTRFS warning (device sda3): direct IO failed ino 257 rw 0,0 sector 0x8 len 4096 err no 10", "sda"},
    {"unable to find <chunk map for |>logical %num", quoted,
     "BTRFS critical (device sda3): unable to find chunk map for logical 1084548771840 length 4096", "sda"},
    {"bad key order, sibling blocks", quoted,
     "BTRFS critical (device sda3): bad key order, sibling blocks, left last (4382045401088 230 4096) right "
     "first (4382045396992 230 4096)",
     "sda"},
    {"corrupt<ed|> <leaf|node|superblock>", quoted,
     "BTRFS critical (device sda3): corrupt leaf: root=2 block=1048576 slot=3", "sda"},
    {"<block=%num |><read|write> time tree block corruption detected", quoted,
     "BTRFS error (device sda3): block=1048576 read time tree block corruption detected", "sda"},
    {"super block at physical %num devid %num has bad ", quoted,
     "BTRFS warning (device sda3): super block at physical 65536 devid 2 has bad csum", "sda"},
    {"<error while reading tree root|failed to load root >", quoted,
     "BTRFS warning (device sda3): error while reading tree root", "sda"},
    {"invalid tree nritems, ", quoted,
     "BTRFS error (device sda3): invalid tree nritems, bytenr=1166186938368 nritems=0 expect >0", "sda"},
    {"invalid chunk <num_stripes|logical|sectorsize|length|stripe length>", quoted,
     "BTRFS error (device sda3): invalid chunk stripe length: 4096", "sda"},
    {"<invalid num_stripes:sub_stripes |unrecognized chunk type: |missing chunk type flag: "
     "|mixed chunk type in |system chunk with data or metadata type: >",
     quoted, "BTRFS error (device sda3): unrecognized chunk type: 2048", "sda"},
    {"%name could not find the bad stripe in raid56", quoted,
     "BTRFS warning (device sda3): __raid_recover_end_io could not find the bad stripe in raid56 so that we "
     "cannot recover any more",
     "sda"},
    {"zoned: relocating block group %num to repair IO failure", quoted,
     "BTRFS info (device sda3): zoned: relocating block group 1048576 to repair IO failure", "sda"},
    {"<root=%num |>block=%num<, tree root owner mismatch| bad generation>", quoted,
     "BTRFS error (device sda3): block=1048576 bad generation, have 4 expect > 5", "sda"},
};

constexpr KernelMessage abortions[]{
    {"Transaction <%num |>aborted (error <-5|-117>)", quoted,
     "BTRFS error (device sda3: state A): Transaction 12 aborted (error -5)", "sda"},
};

// Of the causes that abort a transaction, only these are errors of the disk.
constexpr KernelMessage transactions[]{
    {"errno=<-5|-117> ", quoted,
     "BTRFS: error (device sdb1: state A) in write_all_supers:4370: errno=-5 IO failure (errors while "
     "submitting "
     "device barriers.)",
     "sdb"},
};

constexpr KernelMessageGroup btrfsGroups[]{
    {"fs/btrfs/volumes.c", "BTRFS info (device %pool<: state %name| state %name|>): ", oldErrors},
    {"fs/btrfs/volumes.c, disk-io.c, bio.c, scrub.c, extent_io.c, zoned.c", line, members},
    {"fs/btrfs/disk-io.c, inode.c, tree-checker.c, volumes.c, direct-io.c, ctree.c, scrub.c, "
     "free-space-cache.c, tree-mod-log.c, raid56.c, zoned.c",
     line, trees},
    {"fs/btrfs/transaction.h", line, abortions},
    {"fs/btrfs/super.c, messages.c",
     "BTRFS: error (device %pool<: state %name| state %name|>) in %any: ", transactions},
};

}  // namespace

KernelMessageGroups btrfsMessages() {
   return btrfsGroups;
}

}  // namespace Agent
