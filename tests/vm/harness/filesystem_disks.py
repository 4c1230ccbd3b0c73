"""The disks whose file systems the agent tests: made on this machine, plugged into the guest and mounted there."""

from collections.abc import Iterable
from dataclasses import dataclass, field
from functools import cached_property
from pathlib import Path
from typing import Any

from . import initramfs, machine
from .appliance import PLUG_SECONDS, Appliance
from .machine import Disk

_EXT4 = ("/sbin/mkfs.ext4", "-q", "-F", "-b", "4096", "-E", "lazy_itable_init=0,lazy_journal_init=0")
# As the files that are there before the agent comes.
_SEED = "mkdir {0}/folder && seq 2000 >{0}/folder/file && seq 10 >{0}/file"
_INVENTORY = """
cd {0} && find . ! -path . ! -path ./debug ! -path ./debug/healthTestCookie | sort | while read -r name; do
   stat -c '%n %F %a %s %Y %Z' "$name"
   [ ! -f "$name" ] || md5sum <"$name"
done
"""
# What nobody but root may write, in a folder where nobody but root may make files.
_ELSEWHERE = "/run/elsewhere"
_PRECIOUS = f"mkdir -p {_ELSEWHERE} && echo precious >{_ELSEWHERE}/precious"


@dataclass(frozen=True, eq=False)
class FileSystemDisk:
    """A USB disk that is one file system, maybe with a device-mapper node between."""

    name: str
    port: int
    mebibytes: int
    maker: tuple[str, ...]  # the program that makes the file system, and its arguments
    options: str = "rw"
    mapped: bool = False

    @property
    def kind(self) -> str:
        return self.maker[0].rpartition(".")[2]

    @property
    def mount(self) -> str:
        return f"/mnt/{self.name}"

    @property
    def serial(self) -> str:
        return f"FSDISK{self.port:03}"

    @cached_property
    def disk(self) -> Disk:
        """As the emulator and udev are to know it."""
        device = {
            "driver": "usb-storage", "id": self.name, "bus": f"{machine.FILE_SYSTEMS_BUS}.0", "port": str(self.port),
            "drive": f"{self.name}-image", "serial": self.serial, "removable": True,
        }  # fmt: skip
        sysfs = rf"pci0000:00/{machine.FILE_SYSTEMS_ADDRESS}/usb\d/\d-{self.port}/.*/block/sd[a-z]$"
        return Disk(self.name, self.mebibytes << 20, device, sysfs, self.serial)

    @property
    def rule(self) -> str:
        """Its line in /etc/blockdev."""
        return f"pci0000:00/{machine.FILE_SYSTEMS_ADDRESS}/usb[0-9]/[0-9]-{self.port}/.*/block/sd. {self.name}"

    def is_named_by(self, names: tuple[str, ...]) -> bool:
        """Whether a message with this mount point, serial number, model and firmware names it.

        Of a disk that has just gone udev may say no more than its model; the by-id link is gone with it.
        """
        models = ("QEMU_QEMU_HARDDISK", "QEMU_HARDDISK")
        return names in [(self.mount, self.serial, model, "2.5+") for model in models]


EXT4 = FileSystemDisk("fs-ext4", 1, 24, _EXT4)
# As its options say, all that is on it belongs to somebody else.
VFAT = FileSystemDisk("fs-vfat", 2, 12, ("/sbin/mkfs.vfat",), options="rw,uid=1000,gid=1000")
XFS = FileSystemDisk("fs-xfs", 3, 320, ("/sbin/mkfs.xfs", "-q"))
MAPPED = FileSystemDisk("fs-mapped", 4, 40, _EXT4, mapped=True)
FRAGILE = FileSystemDisk("fs-fragile", 5, 24, _EXT4, options="errors=remount-ro", mapped=True)
ALL = (EXT4, VFAT, XFS, MAPPED, FRAGILE)


@dataclass
class FileSystems:
    """The file systems in the guest, and what is done to them there."""

    appliance: Appliance
    work: Path
    # What the mount table leads to: /dev/sdf, /dev/dm-0.
    devices: dict[FileSystemDisk, str] = field(default_factory=dict)
    _disks: dict[FileSystemDisk, str] = field(default_factory=dict)

    def plug(self) -> None:
        cache = initramfs.cache_dir()
        for each in ALL:
            image = each.disk.image(self.work)
            each.disk.create_image(self.work)
            initramfs.run_here(cache, *each.maker, str(image))
            self.appliance.emulator.execute("blockdev-add", _unsynced(each.disk.block_node(self.work)))
            self.appliance.plug(each.disk)
        serials = {each.disk.udev_serial for each in ALL}
        self.appliance.report.eventually(
            "the disks with file systems are plugged in", self.appliance.disks, serials.issubset, PLUG_SECONDS
        )

    def mount(self) -> None:
        seen = self.appliance.disks()
        for each in ALL:
            self._disks[each] = seen[each.disk.udev_serial].device
            self.devices[each] = self._mapped(each) if each.mapped else self._disks[each]
            mount = f"mount -t {each.kind} -o {each.options} {self.devices[each]} {each.mount}"
            self._must(f"mkdir -p {each.mount} && {mount} && {_SEED.format(each.mount)}")

    def remove_images(self) -> None:
        for each in ALL:
            each.disk.image(self.work).unlink(missing_ok=True)

    def inventory(self, each: FileSystemDisk) -> list[str]:
        """All that is there but the root and what the test makes."""
        return self._must(_INVENTORY.format(each.mount)).splitlines()

    def cookie_size(self, each: FileSystemDisk) -> int:
        """In bytes; 0 where there is none, as at the beginning of a test."""
        return int(self.appliance.guest.run(f"stat -c %s {each.mount}/debug/healthTestCookie").out or 0)

    def used_percent(self, each: FileSystemDisk) -> int:
        used, available, _ = self._use(each)
        return used * 100 // (used + available)

    def use(self, each: FileSystemDisk, percent: int) -> None:
        """Makes a file so long that the use is half a percent above."""
        used, available, size = self._use(each)
        wanted = (used + available) * (2 * percent + 1) // 200
        ballast = f"{each.mount}/ballast"
        now = int(self.appliance.guest.run(f"stat -c %s {ballast}").out or 0)
        length = now + (wanted - used) * size
        grow = f"fallocate -l {length}" if length > now else f"truncate -s {length}"
        self._must(f"{grow} {ballast}")

    def fill(self, each: FileSystemDisk, agent: str) -> None:
        """Leaves no room, not even that of the cookie file. `agent` is the file with its process id."""
        self.use(each, 99)
        self._stand_before_write(each, agent)
        self._must(f"cd {each.mount} && dd if=/dev/zero bs=2k >>fill; kill -CONT $(cat {agent})")

    def free(self, each: FileSystemDisk) -> None:
        self._must(f"rm {each.mount}/fill {each.mount}/ballast")

    def link_folder(self, each: FileSystemDisk, agent: str) -> None:
        """A user puts a link in the place of the test's folder; the agent stands still meanwhile."""
        debug = f"{each.mount}/debug"
        self._must(f"{_PRECIOUS} && kill -STOP $(cat {agent}); rm -r {debug}; ln -s {_ELSEWHERE} {debug}")
        self._must(f"kill -CONT $(cat {agent})")

    def unlink_folder(self, each: FileSystemDisk) -> None:
        self._must(f"rm {each.mount}/debug")

    def link_file(self, each: FileSystemDisk, seconds: int) -> None:
        """A user continues putting links in the place of the test's file."""
        trap, cookie = f"{each.mount}/trap", f"{each.mount}/debug/healthTestCookie"
        script = f"""
        {_PRECIOUS}
        end=$(($(date +%s) + {seconds}))
        while [ $(date +%s) -lt $end ]; do
           for target in precious new; do
              ln -s {_ELSEWHERE}/$target {trap}
              mv -f {trap} {cookie} || rm {trap}
           done
        done
        """
        self._must(script)

    def elsewhere(self) -> str:
        """All that is where the links lead to."""
        return self._must(f"cd {_ELSEWHERE} && head -c 100 *")

    def sectors(self, each: FileSystemDisk) -> int:
        return each.disk.size // machine.SECTOR

    def pass_through(self, each: FileSystemDisk) -> None:
        self._table(each, f"linear {self._disks[each]} 0")

    def lose(self, each: FileSystemDisk) -> None:
        """Writes succeed and are lost; zeros are read."""
        self._table(each, "zero")

    def fail(self, each: FileSystemDisk, agent: str) -> None:
        """The journal has nothing to write, so that the test's own write is the first to fail."""
        self._stand_before_write(each, agent)
        self._must(f"sync -f {each.mount}")
        self._table(each, "error")
        self._must(f"kill -CONT $(cat {agent})")

    def suspend(self, each: FileSystemDisk) -> None:
        self._must(f"dmsetup suspend --nolockfs --noflush {each.name}")

    def resume(self, each: FileSystemDisk) -> None:
        self._must(f"dmsetup resume --noudevsync {each.name}")

    def mount_over(self, each: FileSystemDisk, other: FileSystemDisk) -> None:
        """The other one's file system comes to stand in its place, from one moment to the next."""
        self._must(f"mount -t {other.kind} {self.devices[other]} {each.mount}")

    def _stand_before_write(self, each: FileSystemDisk, agent: str) -> None:
        """Stops the agent when it has removed the cookie file and not made the next."""
        script = f"""
        kill -STOP $(cat {agent})
        while [ -e {each.mount}/debug/healthTestCookie ]; do
           kill -CONT $(cat {agent})
           usleep 20000
           kill -STOP $(cat {agent})
        done
        """
        self._must(script)

    def _mapped(self, each: FileSystemDisk) -> str:
        table = f"0 {self.sectors(each)} linear {self._disks[each]} 0"
        self._must(f"dmsetup create --noudevsync {each.name} --table '{table}'")
        return "/dev/" + self._must(f"dmsetup info -c --noheadings -o blkdevname {each.name}").strip()

    def _table(self, each: FileSystemDisk, target: str) -> None:
        self._must(f"dmsetup load {each.name} --table '0 {self.sectors(each)} {target}'")
        self.suspend(each)
        self.resume(each)

    def _use(self, each: FileSystemDisk) -> tuple[int, int, int]:
        """Blocks used and available, and the size of one."""
        blocks, free, available, size = map(int, self._must(f"stat -f -c '%b %f %a %S' {each.mount}").split())
        return blocks - free, available, size

    def _must(self, command: str) -> str:
        return self.appliance.guest.must(command, 30)


def rules(disks: Iterable[FileSystemDisk] = ALL) -> str:
    return "".join(f"{each.rule}\n" for each in disks)


def _unsynced(node: dict[str, Any]) -> dict[str, Any]:
    """What the guest flushes need not reach this machine's disk: the image goes when the test ends."""
    cache = {"cache": {"no-flush": True}}
    return {**node, **cache, "file": {**node["file"], **cache}}
