#include "agent/kernel/KernelMessages.h"

namespace Agent {

namespace {

using enum KernelForm;

// A refusal to do what the device cannot, or a lack of resources, is no error of the disk. The names of the
// function: end_request up to 3.x, blk_update_request, print_req_error up to 5.x; none since 5.16.
constexpr KernelMessage requests[]{
    {"I/O error, dev %dev, sector %num", request,
     "I/O error, dev sda1, sector 8 op 0x0:(READ) flags 0x0 phys_seg 1 prio class 2", "sda"},
    {"critical medium error, dev %dev, sector %num", request,
     "blk_update_request: critical medium error, dev sdb, sector 9 op 0x0:(READ)", "sdb"},
    {"critical target error, dev %dev, sector %num", request,
     "print_req_error: critical target error, dev sdc, sector 1487552", "sdc"},
    {"<critical nexus|reservation conflict> error, dev %dev, sector %num", request,
     "critical nexus error, dev sdd, sector 9 op 0x1:(WRITE)", "sdd"},
    {"critical space allocation error, dev %dev, sector %num", request,
     "critical space allocation error, dev sde, sector 9 op 0x1:(WRITE)", "sde"},
    {"protection error, dev %dev, sector %num", request,
     "protection error, dev nvme2n1, sector 6144 op 0x1:(WRITE) flags 0x18800", "nvme2n1"},
    {"timeout error, dev %dev, sector %num", request, "timeout error, dev mmcblk0p1, sector 1", "mmcblk0"},
    {"recoverable transport error, dev %dev, sector %num", request,
     "recoverable transport error, dev sda, sector 1 op 0x0:(READ)", "sda"},
    {"device offline error, dev %dev, sector %num", request,
     "device offline error, dev sda, sector 1 op 0x1:(WRITE)", "sda"},
    {"<operation not supported|kernel resource|device resource|open zones exceeded|active zones exceeded|"
     "duration limit exceeded|nonblocking retry|dm internal retry|invalid> error, dev %name",
     nobody, "kernel resource error, dev sda, sector 9 op 0x0:(READ)", ""},
};

constexpr KernelMessage buffers[]{
    {"Buffer I/O error on <device|dev> %dev, logical block %num", buffer,
     "Buffer I/O error on dev sda1, logical block 77, lost async page write", "sda"},
    {"lost page write due to I/O error on %dev%end", quoted, "lost page write due to I/O error on sdb1",
     "sdb"},
};

// Checksums stored with the data, on a disk formatted for them.
constexpr KernelMessage protections[]{
    {"%dev: <ref|guard> tag error at <location|sector> %num", quoted,
     "sdb: guard tag error at sector 2048 (rcvd 1a2b, want 3c4d)", "sdb"},
};

constexpr KernelMessage nodes[]{
    {"VFS: Dirty inode writeback failed for block device %dev (err=%num)", quoted,
     "VFS: Dirty inode writeback failed for block device sda1 (err=-5).", "sda"},
};

constexpr KernelMessage writebacks[]{
    {"%pool: writeback error on <inode|sector> %num", quoted,
     "sda1: writeback error on inode 131, offset 0, sector 2048", "sda"},
};

constexpr KernelMessage partitionTables[]{
    {"%dev:< |>unable to read partition table", quoted, " sda: unable to read partition table", "sda"},
};

constexpr KernelMessage rigidDiskBlocks[]{
    {"<Dev|dev> %dev: unable to read RDB block %num", quoted, "Dev sdb: unable to read RDB block 0", "sdb"},
    {"<Dev|dev> %dev: unable to read partition block %num", quoted,
     "Dev sdb: unable to read partition block 4", "sdb"},
};

constexpr KernelMessage networkDisks[]{
    {"Receive <control|data> failed (result %num)", quoted,
     "block nbd0: Receive control failed (result -104)", "nbd0"},
    {"Send <control|data> failed (result %num)", quoted, "block nbd0: Send data failed (result -32)", "nbd0"},
    {"Request send failed", quoted, "block nbd0: Request send failed, requeueing", "nbd0"},
    {"Connection timed out", quoted, "block nbd0: Connection timed out, retrying (0/1 alive)", "nbd0"},
    {"Possible stuck request", quoted,
     "block nbd0: Possible stuck request 000000008a1e5c7d: control (read@0,4096B). Runtime 30 seconds",
     "nbd0"},
    {"Other side returned error (%num)", quoted, "block nbd0: Other side returned error (5)", "nbd0"},
    {"<Unexpected|Suspicious|Double> reply ", quoted,
     "block nbd0: Double reply on req 000000008a1e5c7d, cmd_cookie 8, handle cookie 7", "nbd0"},
    {"Attempted <send|recv> on <closed|invalid> socket", quoted,
     "block nbd0: Attempted send on invalid socket", "nbd0"},
    {"Dead connection, failed to find a fallback", quoted,
     "block nbd0: Dead connection, failed to find a fallback", "nbd0"},
    {"Wrong magic (%any)", quoted, "block nbd0: Wrong magic (0x12345678)", "nbd0"},
};

constexpr KernelMessage multipathDisks[]{
    {"no <available path|path available> - failing I/O", quoted,
     "block nvme0n1: no available path - failing I/O", "nvme0n1"},
    {"no path - failing I/O", quoted, "block nvme0n1: no path - failing I/O", "nvme0n1"},
};

// A mirror over the network; the message names the disk below it.
constexpr KernelMessage replicatedDisks[]{
    {"local <READ|WRITE> IO error sector %num+%num on %dev", quoted,
     "block drbd0: local WRITE IO error sector 2048+8 on sdb1", "sdb"},
};

constexpr KernelMessage objectDisks[]{
    {"%name at objno %num %num~%num result -%num", quoted, "rbd: rbd0: write at objno 12 0~4096 result -110",
     "rbd0"},
};

// Kernels before 5.14.
constexpr KernelMessage ideDisks[]{
    {"%dev: %name: error=0x%hex { ", quoted,
     "hda: dma_intr: error=0x40 { UncorrectableError }, LBAsect=1953525, sector=1953520", "hda"},
};

constexpr KernelMessageGroup blockGroups[]{
    {"block/blk-core.c, blk-mq.c", "<blk_update_request: |print_req_error: |end_request: |>", requests},
    {"fs/buffer.c, fs/ext4/page-io.c", "", buffers},
    {"block/t10-pi.c", "", protections},
    {"fs/block_dev.c, block/bdev.c", "", nodes},
    {"fs/iomap/buffered-io.c", "", writebacks},
    {"block/partitions/check.c, core.c", "", partitionTables},
    {"block/partitions/amiga.c", "", rigidDiskBlocks},
    {"drivers/ide/ide-lib.c", "", ideDisks},
    {"drivers/block/nbd.c", "block %dev: ", networkDisks},
    {"drivers/nvme/host/multipath.c", "block %dev: ", multipathDisks},
    {"drivers/block/drbd/drbd_req.c", "block %name: ", replicatedDisks},
    {"drivers/block/rbd.c", "rbd: %dev: ", objectDisks},
};

}  // namespace

KernelMessageGroups blockMessages() {
   return blockGroups;
}

}  // namespace Agent
