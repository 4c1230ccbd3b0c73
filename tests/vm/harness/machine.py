"""The emulated appliance: what is plugged in where, and what a watcher of its storage is to make of it."""

import json
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

USB, SATA, NVME, OTHER = range(4)  # the bus types of the state document
EUSB, SSD, EMMC, NVM = 1, 2, 3, 4  # its storage types; 0 is a disk that no collector has looked at
SECTOR = 512
UNRELIABLE = 4  # the critical warning of an NVMe drive that has worn out


@dataclass(frozen=True)
class Fault:
    """A sector of which every read, or every write, fails; the other operation works."""

    operation: str  # read or write
    sector: int


@dataclass(frozen=True, eq=False)
class Disk:
    """One emulated disk: how the emulator is to make it, where the guest will find it, and the record expected of it.

    `expected` has the values that do not depend on the guest; `device` are the emulator's properties of the device.
    """

    name: str
    size: int
    device: dict[str, Any]
    sysfs: str  # regular expression for its path below /sys/devices
    udev_serial: str
    expected: dict[str, Any] = field(default_factory=dict)
    partitioned: bool = False
    fault: Fault | None = None

    @property
    def serial(self) -> str:
        return self.expected.get("name", self.udev_serial)

    @property
    def bus(self) -> int:
        """Of a disk that the agent watches."""
        return int(self.expected["busType"])

    def image(self, work: Path) -> Path:
        return work / f"{self.name}.img"

    def create_image(self, work: Path) -> None:
        with self.image(work).open("wb") as image:
            image.truncate(self.size)
            if self.partitioned:
                image.seek(446)
                image.write(_partition(start=2048, sectors=131072) + bytes(48) + b"\x55\xaa")

    def block_node(self, work: Path) -> dict[str, Any]:
        """The emulator's description of the image, with the faulty sector if there is one."""
        file: dict[str, Any] = {"driver": "file", "filename": str(self.image(work))}
        if self.fault is not None:
            what = self.fault.operation
            error = {"event": f"{what}_aio", "iotype": what, "errno": 5, "sector": self.fault.sector}
            file = {"driver": "blkdebug", "image": file, "inject-error": [error]}
        return {"driver": "raw", "node-name": f"{self.name}-image", "file": file}


def _partition(start: int, sectors: int) -> bytes:
    return bytes((0, 0, 2, 0, 0x83, 0, 0, 0)) + start.to_bytes(4, "little") + sectors.to_bytes(4, "little")


def _sata(name: str, bus: str, serial: str, model: str, rotation: int) -> dict[str, Any]:
    return {
        "driver": "ide-hd", "id": name, "bus": bus, "drive": f"{name}-image", "serial": serial, "model": model,
        "ver": "FW1.02", "rotation_rate": rotation,
    }  # fmt: skip


def _nvme(name: str, serial: str, **place: str) -> dict[str, Any]:
    return {"driver": "nvme", "id": name, "drive": f"{name}-image", "serial": serial, **place}


def _usb_stick(name: str, port: str, serial: str) -> dict[str, Any]:
    return {
        "driver": "usb-storage", "id": name, "bus": "xhci.0", "port": port, "drive": f"{name}-image",
        "serial": serial, "removable": True,
    }  # fmt: skip


def _record(
    serial: str, mount: str, mib: int, model: str, firmware: str, bus: int, address: str, gb: int, shown: str
) -> dict[str, Any]:
    return {
        "name": serial, "mibType": mib, "mountPoint": f"/mnt/{mount}", "model": model, "firmwareRevision": firmware,
        "removable": mib == 0, "busType": bus, "devAddress": address, "sizeGb": gb, "deviceIntfAndAddress": shown,
    }  # fmt: skip


EMULATOR_VERSION = "<version of the emulator>"  # its NVMe drives carry it as their firmware revision
CARD_SERIAL, CARD_MODEL, CARD_FIRMWARE = "<serial>", "<model>", "<firmware>"  # from the card's CID register

# hdparm cuts where the kernel's size is rounded, so 2.6 GB are 2 where hdparm is asked and 3 where it is not.
SATA_SSD = Disk(
    "sata-ssd", 2_600_000_000, _sata("sata-ssd", "ide.0", "S2SATA 00001", "Example SSD 600", 1),
    r"pci0000:00/0000:00:1f.2/ata1/.*/block/sd[a-z]$", "S2SATA_00001",
    _record("S2SATA 00001", "drive", SSD, "Example SSD 600", "FW1.02", SATA, "1", 2, "ata1"), partitioned=True,
)  # fmt: skip
SATA_HDD = Disk(
    "sata-hdd", 2_600_000_000, _sata("sata-hdd", "ide.1", "H2SATA00002", "Example HDD", 7200),
    r"pci0000:00/0000:00:1f.2/ata2/.*/block/sd[a-z]$", "H2SATA00002",
    _record("H2SATA00002", "drive2", EUSB, "Example_HDD", "FW1.02", SATA, "2", 3, "ata2"),
    fault=Fault("read", 2_000_000),
)  # fmt: skip
# In no list of the appliance.
SATA_STRANGER = Disk(
    "sata-stranger", 1_000_000_000, _sata("sata-stranger", "ide.2", "X2SATA00003", "Stranger", 1),
    r"pci0000:00/0000:00:1f.2/ata3/.*/block/sd[a-z]$", "X2SATA00003",
)  # fmt: skip
# An inactive multidrive.
SATA_INACTIVE = Disk(
    "sata-inactive", 1_000_000_000, _sata("sata-inactive", "ide.3", "X2SATA00004", "Inactive", 1),
    r"pci0000:00/0000:00:1f.2/ata4/.*/block/sd[a-z]$", "X2SATA00004",
)  # fmt: skip
# Behind a controller of its own that can be pulled: the emulator cannot pull the disk alone.
SATA_CAGE = Disk(
    "sata-cage", 5_000_000_000, _sata("sata-cage", "cage.0", "S2SATA00005", "Example SSD 700", 1),
    r"pci0000:00/0000:00:02.0/.*/ata7/.*/block/sd[a-z]$", "S2SATA00005",
    _record("S2SATA00005", "drive3", SSD, "Example SSD 700", "FW1.02", SATA, "7", 5, "ata7"),
    fault=Fault("write", 1_000_000),
)  # fmt: skip
NVME_FIXED = Disk(
    "nvme-fixed", 1_600_000_000, _nvme("nvme-fixed", "NV0000001", addr="0x3"),
    r"pci0000:00/0000:00:03.0/nvme/nvme0/nvme0n1$", "NV0000001",
    _record("NV0000001", "nvme", NVM, "QEMU NVMe Ctrl", EMULATOR_VERSION, NVME, "nvme0n1", 2, "nvme0n1"),
    fault=Fault("read", 1_500_000),
)  # fmt: skip
NVME_SPARE = Disk(
    "nvme-spare", 1_400_000_000, _nvme("nvme-spare", "NV0000002", bus="port-spare"),
    r"pci0000:00/0000:00:04.0/0000:02:00.0/nvme/nvme1/nvme1n1$", "NV0000002",
    _record("NV0000002", "spare", 0, "QEMU NVMe Ctrl", EMULATOR_VERSION, NVME, "nvme1n1", 1, "nvme1n1"),
)  # fmt: skip
EUSB_FLASH = Disk(
    "eusb-flash", 8_000_000_000, _usb_stick("eusb-flash", "2", "USB0002"),
    r"pci0000:00/0000:00:06.0/usb2/2-2/.*/block/sd[a-z]$", "USB0002",
    _record("USB0002", "flash", EUSB, "QEMU_QEMU_HARDDISK", "2.5+", USB, "2-2", 8, "usb 2-2"), partitioned=True,
)  # fmt: skip
USB_STICK = Disk(
    "usb-stick", 400_000_000, _usb_stick("usb-stick", "1.2", "USB0001"),
    r"pci0000:00/0000:00:06.0/usb1/1-1/1-1.2/.*/block/sd[a-z]$", "USB0001",
    _record("USB0001", "usb1", 0, "QEMU_HARDDISK", "2.5+", USB, "1-1.2", 0, "usb 1-1.2"),
)  # fmt: skip
CARD = Disk(
    "card", 4 << 30, {"driver": "sd-card", "id": "card", "drive": "card-image"},
    r"pci0000:00/0000:00:07.0/mmc_host/mmc0/.*/block/mmcblk0$", "0xdeadbeef",
    _record(CARD_SERIAL, "card", EMMC, CARD_MODEL, CARD_FIRMWARE, OTHER, "", 4, "mmc0"),
)  # fmt: skip

# Plugged in while the machine runs.
NEW_STICK = Disk(
    "new-stick", 700_000_000, _usb_stick("new-stick", "1.3", "USB0003"),
    r"pci0000:00/0000:00:06.0/usb1/1-1/1-1.3/.*/block/sd[a-z]$", "USB0003",
    _record("USB0003", "usb1", 0, "QEMU_HARDDISK", "2.5+", USB, "1-1.3", 1, "usb 1-1.3"),
)  # fmt: skip
NEW_NVME = Disk(
    "new-nvme", 3_000_000_000, _nvme("new-nvme", "NV0000003", bus="port-new"),
    r"pci0000:00/0000:00:05.0/0000:03:00.0/nvme/nvme2/nvme2n1$", "NV0000003",
    _record("NV0000003", "nvme2", NVM, "QEMU NVMe Ctrl", EMULATOR_VERSION, NVME, "nvme2n1", 3, "nvme2n1"),
    fault=Fault("write", 1_500_000),
)  # fmt: skip

WATCHED = (SATA_SSD, SATA_HDD, SATA_CAGE, NVME_FIXED, NVME_SPARE, EUSB_FLASH, USB_STICK, CARD)
IGNORED = (SATA_STRANGER, SATA_INACTIVE)
ADDED_LATER = (NEW_STICK, NEW_NVME)

ETC_BLOCKDEV = r"""
.*/usb2/2-2/.*/block/sd.* flash
pci0000:00/0000:00:1f.2/ata1/.* drive
pci0000:00/0000:00:1f.2/ata2/host[0-9]*/target.*/block/sd.$ drive2
.*/ata7/.*/block/sd. drive3
.*/ata4/.*/block/sd. drive4
pci0000:00/0000:00:03.0/nvme/nvme[0-9]/nvme[0-9]n1 nvme
pci0000:00/0000:00:04.0/.*/nvme spare
pci0000:00/0000:00:05.0/.*/nvme nvme2
pci0000:00/0000:00:06.0/usb1/1-1/1-1\.[0-9]/ usb1
.*/mmc_host/mmc0/.*/block/mmcblk0 card
"""
ETC_MULTIDRIVE = ".*/ata1/\n.*/ata4/\n"
ETC_MULTIDRIVE_SRC = ".*/ata1/\n"
ABSENT_MOUNT = "missing"
EXPECTED_MOUNTS = ("flash", "drive", "drive2", "drive3", "nvme", "nvme2", "card", ABSENT_MOUNT)

# Where the disks of filesystem_disks.py and pull_disks.py are plugged in.
FILE_SYSTEMS_BUS, FILE_SYSTEMS_ADDRESS = "file-systems", "0000:00:10.0"

CONTROLLERS: tuple[dict[str, Any], ...] = (
    {"driver": "virtio-serial-pci", "id": "serial", "addr": "0x8"},
    {"driver": "virtserialport", "bus": "serial.0", "chardev": "control", "name": "control"},
    {"driver": "pcie-root-port", "id": "port-cage", "chassis": 1, "slot": 1, "addr": "0x2"},
    {"driver": "pcie-root-port", "id": "port-spare", "chassis": 2, "slot": 2, "addr": "0x4"},
    {"driver": "pcie-root-port", "id": "port-new", "chassis": 3, "slot": 3, "addr": "0x5"},
    {"driver": "ich9-ahci", "id": "cage", "bus": "port-cage"},
    {"driver": "qemu-xhci", "id": "xhci", "addr": "0x6"},
    {"driver": "usb-hub", "id": "hub", "bus": "xhci.0", "port": "1"},
    {"driver": "sdhci-pci", "id": "sdhci", "addr": "0x7"},
    {"driver": "qemu-xhci", "id": FILE_SYSTEMS_BUS, "addr": "0x10", "p2": 15, "p3": 15},
)


def create_images(work: Path) -> None:
    for disk in (*WATCHED, *IGNORED, *ADDED_LATER):
        disk.create_image(work)


def remove_images(work: Path) -> None:
    for disk in (*WATCHED, *IGNORED, *ADDED_LATER):
        disk.image(work).unlink(missing_ok=True)


def emulator_arguments(work: Path) -> list[str]:
    arguments = ["-machine", "q35", "-accel", "tcg", "-smp", "2", "-m", "768", "-nodefaults", "-no-user-config"]
    arguments += ["-display", "none", "-no-reboot"]
    for disk in (*WATCHED, *IGNORED, *ADDED_LATER):
        arguments += ["-blockdev", json.dumps(disk.block_node(work))]
    for device in (*CONTROLLERS, *(disk.device for disk in (*WATCHED, *IGNORED))):
        arguments += ["-device", json.dumps(device)]
    return arguments
