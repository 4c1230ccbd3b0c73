"""A SCSI disk of the guest's own kernel that can stop to answer, until the kernel gives its commands up."""

from .appliance import PLUG_SECONDS, Appliance

MOUNT_NAME = "fs-silent"
MOUNT = f"/mnt/{MOUNT_NAME}"
RULE = f"pseudo_0/.*/block/sd. {MOUNT_NAME}\n"

# The kernel tries a command six times before it fails it.
COMMAND_SECONDS, TRIES = 20, 6

_DRIVER = "/sys/bus/pseudo/drivers/scsi_debug"
_IGNORE_COMMANDS = 4  # of its options: those that `every_nth` counts


class SilentDisk:
    def __init__(self, appliance: Appliance) -> None:
        self._appliance = appliance
        self._guest = appliance.guest
        self.serial = ""

    def load(self) -> str:
        """The disk alone; answers its serial number."""
        self._guest.must("insmod /modules/scsi_debug.ko dev_size_mb=24")
        self._appliance.report.eventually(
            "the disk that can fall silent is there", self._found, lambda serial: serial != "", PLUG_SECONDS
        )
        self.serial = self._found()
        return self.serial

    def plug(self) -> None:
        """The disk with a file system."""
        self.load()
        device = self._appliance.disks()[self.serial].device
        name = device.removeprefix("/dev/")
        self._guest.must(
            f"echo {COMMAND_SECONDS} >/sys/block/{name}/device/timeout && mke2fs -q -b 4096 {device} &&"
            f" mkdir -p {MOUNT} && mount -t ext4 {device} {MOUNT}",
            30,
        )

    def silent_is(self, silent: bool) -> None:
        options = _IGNORE_COMMANDS if silent else 0
        self._guest.must(f"echo {options} >{_DRIVER}/opts && echo {int(silent)} >{_DRIVER}/every_nth")

    def _found(self) -> str:
        """Its serial number; empty before udev knows it."""
        seen = self._appliance.disks()
        return next((serial for serial, disk in seen.items() if disk.sysfs.startswith("pseudo_0/")), "")
