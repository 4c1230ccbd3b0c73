"""The running appliance as the guest's own kernel and udev see it, and what is done to it."""

import re
from collections.abc import Iterable
from dataclasses import dataclass
from functools import cached_property
from typing import Any

from . import machine
from .emulator import Emulator
from .guest_control import Guest, Result
from .machine import SECTOR, Disk
from .report import Report

PLUG_SECONDS = 40.0
BLOCK = 4096  # bytes; what the kernel caches at the least: less cannot be written without being read

_LIST_DISKS = """
for disk in /sys/block/*; do
   db=/run/udev/data/b$(cat $disk/dev 2>/dev/null)
   [ -f "$db" ] || continue
   serial=$(sed -n 's/^E:ID_SERIAL_SHORT=//p' "$db")
   [ -n "$serial" ] || serial=$(sed -n 's/^E:ID_SERIAL=//p' "$db")
   echo "$(basename $disk) $(readlink -f $disk | cut -c 14-) $serial"
done
"""


@dataclass(frozen=True)
class Seen:
    """A disk as udev describes it."""

    device: str
    sysfs: str


class Appliance:
    """The emulated machine with its guest; every action on it is checked against udev's view."""

    def __init__(self, emulator: Emulator, guest: Guest, report: Report) -> None:
        self.emulator = emulator
        self.guest = guest
        self.report = report

    def disks(self) -> dict[str, Seen]:
        """The disks that udev has finished with, by their serial."""
        lines = (line.split(" ", 2) for line in self.guest.must(_LIST_DISKS).splitlines())
        return {serial: Seen(f"/dev/{name}", path) for name, path, serial in lines}

    def expect_disks(self, when: str, *disks: Disk) -> None:
        """Checks that udev comes to know exactly these disks, each where it was plugged in."""
        wanted = sorted(disk.udev_serial for disk in disks)
        self.report.becomes(f"{when}: udev knows {wanted}", lambda: sorted(self.disks()), wanted, PLUG_SECONDS)
        seen = self.disks()
        for disk in disks:
            path = seen[disk.udev_serial].sysfs if disk.udev_serial in seen else ""
            found = re.match(disk.sysfs, path) is not None
            self.report.check(f"{when}: {disk.name} stands at {disk.sysfs}", found, f"it is at {path!r}")

    def settle(self) -> None:
        self.guest.must("udevadm settle --timeout=60", 70)

    def format_and_mount(self, disk: Disk, mount: str) -> str:
        """Makes a file system on the disk's partition and mounts it; answers the partition."""
        partition = f"{self.disks()[disk.udev_serial].device}1"
        self.guest.must(f"mke2fs -q -b 4096 {partition} && mkdir -p {mount} && mount -t ext4 {partition} {mount}")
        self.settle()
        return partition

    def plug(self, disk: Disk) -> None:
        self.emulator.plug(disk.device)

    def unplug(self, identifier: str) -> None:
        self.emulator.unplug(identifier)

    def critical_warning_is(self, drive: Disk, bits: int) -> None:
        """What an NVMe drive says of itself; any bit makes it a failing one to smartctl."""
        self.emulator.set_property(drive.name, "smart_critical_warning", bits)

    def requests(self, device: str) -> dict[str, int]:
        """How many reads and writes the kernel has completed on a disk."""
        counts = self.guest.must(f"cat /sys/block/{device.removeprefix('/dev/')}/stat").split()
        return {"read": int(counts[0]), "written": int(counts[4])}

    def use_faulty_sector(self, disk: Disk, operation: str) -> Result:
        """Reads or writes the block with the disk's faulty sector, on the disk and not in the guest's cache."""
        assert disk.fault is not None
        device, block = self.disks()[disk.udev_serial].device, disk.fault.sector * SECTOR // BLOCK
        commands = {
            "read": f"blockdev --flushbufs {device}; dd if={device} of=/dev/null bs={BLOCK} count=1 skip={block}",
            "write": f"dd if=/dev/zero of={device} bs={BLOCK} count=1 seek={block} conv=notrunc,fsync",
        }
        return self.guest.run(commands[operation])

    def offline_in_guest(self, disk: Disk) -> None:
        """Gives up a SATA disk as the kernel does when it does not answer any more."""
        device = self.disks()[disk.udev_serial].device
        self.guest.must(f"echo offline >/sys/block/{device.removeprefix('/dev/')}/device/state")

    def delete_in_guest(self, disk: Disk) -> str:
        """Takes a disk away as the kernel does when its link dies; answers its host, for bring_back."""
        seen = self.disks()[disk.udev_serial]
        host = re.search(r"/(host\d+)/", seen.sysfs)
        assert host is not None
        self.guest.must(f"echo 1 >/sys/block/{seen.device.removeprefix('/dev/')}/device/delete")
        return host[1]

    def remove_in_guest(self, disk: Disk) -> None:
        """Takes an NVMe drive away as the kernel does when it falls off the bus.

        The emulator (7.2) dies of a null pointer, now and then, when it is ordered to pull a drive that is being read.
        """
        seen = self.disks()[disk.udev_serial]
        self.guest.must(f"echo 1 >/sys/block/{seen.device.removeprefix('/dev/')}/device/device/remove")

    def bring_back(self, host: str) -> None:
        self.guest.must(f"echo '- - -' >/sys/class/scsi_host/{host}/scan")

    def expected_records(self, disks: Iterable[Disk]) -> dict[Disk, dict[str, Any]]:
        """The records expected of these disks, completed by what only the running machine knows."""
        seen = self.disks()
        records = {}
        for disk in disks:
            record = {key: self._known.get(value, value) for key, value in disk.expected.items()}
            device = seen[disk.udev_serial].device if disk.udev_serial in seen else None
            records[disk] = {**record, "blockDevice": device}
        return records

    @cached_property
    def _known(self) -> dict[object, str]:
        """What stands for the placeholders of the expected records.

        The card's CID register is read as that of a soldered chip, whose product name is a byte longer.
        """
        cid = bytes.fromhex(self.guest.must("cat /sys/block/mmcblk0/device/cid").strip())
        return {
            machine.EMULATOR_VERSION: self.emulator.version(),
            machine.CARD_SERIAL: cid[10:14].hex(),
            machine.CARD_MODEL: f"0x{cid[0]:02x} {cid[3:9].decode('latin-1')}",
            machine.CARD_FIRMWARE: f"{cid[9] >> 4}.{cid[9] & 15}",
        }
