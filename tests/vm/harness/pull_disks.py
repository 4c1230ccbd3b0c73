"""Sticks that are pulled and plugged in again many times, some of them fixed disks of the appliance."""

from dataclasses import dataclass
from functools import cached_property

from . import machine
from .appliance import Appliance
from .machine import Disk

SIZE = 1_000_000_000  # so long that no writing reaches the end before the disk is pulled


@dataclass(frozen=True, eq=False)
class PullDisk:
    port: int
    fixed: bool

    @property
    def mount(self) -> str:
        """Its mount name, which is also how the emulator calls it."""
        return f"pull{self.port}"

    @property
    def serial(self) -> str:
        return f"PULL{self.port:04}"

    @property
    def rule(self) -> str:
        """Its line in /etc/blockdev."""
        return f"pci0000:00/{machine.FILE_SYSTEMS_ADDRESS}/usb[0-9]/[0-9]-{self.port}/.*/block/sd. {self.mount}"

    @cached_property
    def disk(self) -> Disk:
        """As the emulator and udev are to know it."""
        device = {
            "driver": "usb-storage", "id": self.mount, "bus": f"{machine.FILE_SYSTEMS_BUS}.0", "port": str(self.port),
            "drive": f"{self.mount}-image", "serial": self.serial, "removable": True,
        }  # fmt: skip
        sysfs = rf"pci0000:00/{machine.FILE_SYSTEMS_ADDRESS}/usb\d/\d-{self.port}/.*/block/sd[a-z]$"
        return Disk(self.mount, SIZE, device, sysfs, self.serial)

    def is_at(self, sysfs: str) -> bool:
        return f"-{self.port}/" in sysfs and machine.FILE_SYSTEMS_ADDRESS in sysfs


ALL = tuple(PullDisk(port, fixed=port < 9) for port in range(6, 11))
FIXED = tuple(each for each in ALL if each.fixed)

# The disk stays open while it is written, so that it is closed, and udev reads it once more, just when it leaves.
_FILL = """#!/bin/sh
exec 3>"$1"
while dd if=/dev/zero bs=64k count=16 conv=fsync >&3 2>/dev/null; do
   :
done
"""


class PullDisks:
    """What is done to them in the guest."""

    def __init__(self, appliance: Appliance) -> None:
        self._appliance = appliance

    def plug(self) -> None:
        for each in ALL:
            self._appliance.plug(each.disk)

    def pull(self) -> None:
        for each in ALL:
            self._appliance.unplug(each.mount)

    def write(self) -> dict[str, int]:
        """Starts writing each; answers the writes that the kernel has to complete before all are written for sure."""
        seen = self._appliance.disks()
        self._appliance.guest.write("/run/fill", _FILL)
        enough = {}
        for each in ALL:
            device = seen[each.serial].device
            enough[device] = self._appliance.requests(device)["written"] + 4
            self._appliance.guest.must(f"setsid sh /run/fill {device} >/dev/null 2>&1 &")
        return enough

    def are_written(self, enough: dict[str, int]) -> bool:
        return all(self._appliance.requests(device)["written"] > count for device, count in enough.items())
