#include "agent/kernel/KernelMessages.h"

namespace Agent {

namespace {

using enum KernelForm;

constexpr KernelMessage everyLevel[]{
    {"Disk failure on %dev, disabling device", quoted,
     "md/raid1:md0: Disk failure on sdb1, disabling device.", "sdb"},
    {"read error corrected (%num sectors at %num on %dev)", quoted,
     "md/raid1:md0: read error corrected (8 sectors at 16 on nvme0n1p2)", "nvme0n1"},
};

// Kernels before 6.8.
constexpr KernelMessage paths[]{
    {"IO failure on %dev, disabling IO path", quoted, "multipath: IO failure on sdb, disabling IO path.",
     "sdb"},
    {"%dev: rescheduling sector %num", quoted, "multipath: sdb: rescheduling sector 2056", "sdb"},
    {"%dev: unrecoverable IO read error for block %num", quoted,
     "multipath: sdb: unrecoverable IO read error for block 128", "sdb"},
    {"%dev: redirecting sector %num to another IO path", quoted,
     "multipath: sdb: redirecting sector 2056 to another IO path", "sdb"},
};

constexpr KernelMessage arraysWithoutCopies[]{
    {"Disk failure on %dev detected, failing array", quoted,
     "md/raid0md0: Disk failure on sdb1 detected, failing array.", "sdb"},
};

// "redirecting sector" names the mirror that is still good.
constexpr KernelMessage mirrors[]{
    {"redirecting sector %num to other mirror: %name", nobody,
     "md/raid1:md0: redirecting sector 8 to other mirror: sda1", ""},
    {"%name: redirecting sector %num to another mirror", nobody,
     "md/raid10:md0: sda1: redirecting sector 8 to another mirror", ""},
    {"%dev: rescheduling sector %num", quoted, "md/raid1:md0: sdb1: rescheduling sector 2056", "sdb"},
    {"%dev: unrecoverable I/O read error for block %num", quoted,
     "md/raid1:md0: sdb1: unrecoverable I/O read error for block 128", "sdb"},
    {"%dev: Raid device exceeded read_error threshold", quoted,
     "md/raid10:md0: sdb1: Raid device exceeded read_error threshold [cur 21:max 20]", "sdb"},
    {"%dev: failing drive", quoted, "md/raid10:md0: sdb1: failing drive", "sdb"},
    {"%dev: Failing raid device", quoted, "md/raid10:md0: sdb1: Failing raid device", "sdb"},
    {"read correction write failed (%num sectors at %num on %dev)", quoted,
     "md/raid10:md0: read correction write failed (8 sectors at 16 on sdb1)", "sdb"},
    {"unable to read back corrected sectors (%num sectors at %num on %dev)", quoted,
     "md/raid10:md0: unable to read back corrected sectors (8 sectors at 16 on sdb1)", "sdb"},
    {"recovery aborted due to read error", nobody, "md/raid10:md0: recovery aborted due to read error", ""},
};

constexpr KernelMessage stripes[]{
    {"read error not correctable (sector %num on %dev)", quoted,
     "md/raid:md0: read error not correctable (sector 1024 on sdb1).", "sdb"},
    {"read error NOT corrected!! (sector %num on %dev)", quoted,
     "md/raid:md0: read error NOT corrected!! (sector 1024 on sdb1).", "sdb"},
    {"read error on replacement device (sector %num on %dev)", quoted,
     "md/raid:md0: read error on replacement device (sector 1024 on sdb1).", "sdb"},
    {"Too many read errors, failing device %dev", quoted,
     "md/raid:md0: Too many read errors, failing device sdb1.", "sdb"},
};

// A member whose record is older than that of the others may have been absent.
constexpr KernelMessage arrays[]{
    {"disabled device %dev, could not read superblock", quoted,
     "md: disabled device sdb1, could not read superblock.", "sdb"},
    {"%dev has zero or unknown size, marking faulty", quoted,
     "md: sdb1 has zero or unknown size, marking faulty!", "sdb"},
    {"could not read %dev's sb, not importing", quoted, "md: could not read sdb1's sb, not importing!",
     "sdb"},
    {"fatal superblock inconsistency in %dev -- removing", quoted,
     "md: fatal superblock inconsistency in sdb1 -- removing from array", "sdb"},
    {"kicking non-fresh %name from array", nobody, "md: kicking non-fresh sdb1 from array!", ""},
    {"can not hot-add faulty %dev disk to %name", quoted, "md: can not hot-add faulty sdb1 disk to md0!",
     "sdb"},
    {"invalid superblock checksum on %dev", quoted, "md: invalid superblock checksum on sdb1", "sdb"},
    {"%dev flush io error %num", quoted, "md: sdb1 flush io error -5", "sdb"},
    {"%name: %dev: super_written gets error=%num", quoted, "md: md0: sdb1: super_written gets error=-5",
     "sdb"},
    {"super_written gets error=%num", nobody, "md: super_written gets error=-5", ""},
};

// Most lines identify the device of a mapping by its numbers, which name no disk, or name the mapping itself.
constexpr KernelMessage mappings[]{
    {"integrity: %dev: Checksum failed at sector 0x%hex", quoted,
     "device-mapper: integrity: sdb1: Checksum failed at sector 0x1f80", "sdb"},
    {"zoned metadata: (%dev): <Read %name super block|Get zone %num report|Reset zone %num|Recovery of "
     "superblock %num> failed",
     quoted, "device-mapper: zoned metadata: (sdb): Read primary super block failed", "sdb"},
    {"zoned metadata: (%dev): <Report zones|Recovery> failed", quoted,
     "device-mapper: zoned metadata: (sdb): Report zones failed -5", "sdb"},
    {"zoned metadata: (%dev): <Zone %num is offline|Broken zone %num>", quoted,
     "device-mapper: zoned metadata: (sdb): Zone 12 is offline", "sdb"},
    {"zoned metadata: (%dev): Processing zone %num write error", quoted,
     "device-mapper: zoned metadata: (sdb): Processing zone 12 write error (zone wp 8/4)", "sdb"},
    {"crypt: <%name: |>INTEGRITY AEAD ERROR, sector %num", nobody,
     "device-mapper: crypt: dm-1: INTEGRITY AEAD ERROR, sector 8", ""},
    {"raid: Failed to read superblock of device at position %num", nobody,
     "device-mapper: raid: Failed to read superblock of device at position 2", ""},
    {"multipath: <%num:%num: |>Failing path %num:%num", nobody,
     "device-mapper: multipath: 254:3: Failing path 8:48.", ""},
    {"raid1: <Mirror read failed from|Read failure on mirror device> %num:%num", nobody,
     "device-mapper: raid1: Mirror read failed from 8:16. Trying alternative device.", ""},
    {"raid1: Primary mirror (%num:%num) failed", nobody,
     "device-mapper: raid1: Primary mirror (8:16) failed while out-of-sync: Reads may fail.", ""},
    {"<zoned reclaim|zoned>: (%dev): <Backing device offline|Backing device queue dying|Align zone %num wp>",
     quoted, "device-mapper: zoned: (sdb): Backing device offline", "sdb"},
};

constexpr KernelMessage caches[]{
    {"<bch_count_io_errors()|bch_count_backing_io_errors()> %dev: IO error", quoted,
     "bcache: bch_count_io_errors() nvme0n1p2: IO error on writing btree, recovering.", "nvme0n1"},
    {"<bch_cache_set_error() |>error on %name: %dev: too many IO errors", quoted,
     "bcache: bch_cache_set_error() error on 4d3c2b1a-0000-4000-8000-000000000001: nvme0n1p2: too many IO "
     "errors writing btree, disabling caching",
     "nvme0n1"},
    {"bch_cached_dev_error() stop %name: too many IO errors on backing device %dev", quoted,
     "bcache: bch_cached_dev_error() stop bcache0: too many IO errors on backing device sdb1", "sdb"},
    {"%any Can't flush %dev: returned bi_status %num", quoted,
     "bcache: cached_dev_write_complete() Can't flush sdb1: returned bi_status 10", "sdb"},
    {"cached_dev_status_update() %dev: device offline for %num seconds", quoted,
     "bcache: cached_dev_status_update() sdb1: device offline for 5 seconds", "sdb"},
};

// In 4.19 the text behind the identity of the cache set is a line of its own.
constexpr KernelMessage partsOfCaches[]{
    {"%dev: too many IO errors <reading|writing> ", quoted, "nvme0n1p2: too many IO errors writing btree",
     "nvme0n1"},
};

constexpr KernelMessageGroup raidGroups[]{
    {"drivers/md/raid1.c, raid10.c, raid5.c", "md/%name:%name: ", everyLevel},
    {"drivers/md/md-multipath.c", "multipath: ", paths},
    {"drivers/md/raid0.c, md-linear.c", "md/<linear|raid0><:|>%name: ", arraysWithoutCopies},
    {"drivers/md/raid1.c, raid10.c, raid1-10.c", "md/%name:%name: ", mirrors},
    {"drivers/md/raid5.c", "md/%name:%name: ", stripes},
    {"drivers/md/md.c", "md: ", arrays},
    {"drivers/md/dm-integrity.c, dm-zoned-metadata.c, dm-zoned-target.c, dm-zoned-reclaim.c, dm-crypt.c, "
     "dm-mpath.c, dm-raid.c, dm-raid1.c",
     "device-mapper: ", mappings},
    {"drivers/md/bcache/io.c, super.c, request.c", "bcache: ", caches},
    {"drivers/md/bcache/io.c", "", partsOfCaches},
};

}  // namespace

KernelMessageGroups raidMessages() {
   return raidGroups;
}

}  // namespace Agent
