"""The health of the disks by the guest's own tools and kernel, and the records that the agent must have of it."""

import json
from collections.abc import Iterable
from typing import Any

from . import machine
from .appliance import Appliance
from .machine import Disk

# The rows of an ATA attribute table that have a field of their own, as far as the emulator's drives have them.
SMART_FIELDS = {
    (1, "Raw_Read_Error_Rate"): "rawReadErrorRate",
    (5, "Reallocated_Sector_Ct"): "reallocatedSectorCount",
    (9, "Power_On_Hours"): "powerOnHours",
    (12, "Power_Cycle_Count"): "powerCycleCount",
}
# Reported as the drive counts it, the others as the drive rates it.
REPORTED_RAW = {"powerOnHours"}

NVME_FIELDS = {
    "criticalWarning": "critical_warning",
    "temperatureCelsius": "temperature",
    "availableSpare": "avail_spare",
    "availableSpareThreshold": "spare_thresh",
    "percentageUsed": "percent_used",
    "dataUnitsRead": "data_units_read",
    "dataUnitsWritten": "data_units_written",
    "hostReadCommands": "host_read_commands",
    "hostWriteCommands": "host_write_commands",
    "controllerBusyTime": "controller_busy_time",
    "powerCycleCount": "power_cycles",
    "powerOnHours": "power_on_hours",
    "unsafeShutdowns": "unsafe_shutdowns",
    "mediaErrors": "media_errors",
    "numErrLogEntries": "num_err_log_entries",
    "temperatureTimeWarning": "warning_temp_time",
    "temperatureTimeCritical": "critical_comp_time",
}
ZERO_CELSIUS = 273  # kelvin, as the log rounds it

UNREAD_SMART: dict[str, Any] = {"attrs": {}, "unknownAttrs": []}

# What is asked of a disk, by its bus.
SOURCES = {
    machine.USB: ("smartctl", "iostat"),
    machine.SATA: ("smartctl", "iostat"),
    machine.NVME: ("smartctl", "nvme", "iostat"),
    machine.OTHER: ("emmc", "iostat"),
}
# Those that the emulator's disks can be read from: its card has no registers of its wear.
GOOD_SOURCES = {bus: [source for source in sources if source != "emmc"] for bus, sources in SOURCES.items()}


def on_bus(disks: Iterable[Disk], *busses: int) -> list[Disk]:
    return [disk for disk in disks if disk.bus in busses]


def smart_record(printed: dict[str, Any]) -> dict[str, Any]:
    """The record that a report of smartctl makes of one that was never read."""
    attributes: dict[str, Any] = {}
    unknown: list[dict[str, Any]] = []
    record: dict[str, Any] = {"attrs": attributes, "unknownAttrs": unknown}
    if "smart_status" in printed:
        record["healthStatusOk"] = printed["smart_status"]["passed"]
    if "ata_smart_attributes" not in printed:
        return record
    table = sorted(printed["ata_smart_attributes"]["table"], key=lambda row: row["id"])
    record["allAttrsPassing"] = all(row["thresh"] == 0 or row["value"] > row["thresh"] for row in table)
    for row in table:
        field = SMART_FIELDS.get((row["id"], row["name"]))
        raw = row["raw"]["value"]
        attribute = {key: row[key] for key in ("id", "name", "thresh", "value", "worst")}
        attribute |= {"flags": row["flags"]["value"], "raw": raw, "rawString": row["raw"]["string"]}
        attribute["reportedValue"] = raw if field in REPORTED_RAW else row["value"]
        if field is None:
            unknown.append(attribute)
        else:
            attributes[field] = attribute
    return record


def wrong_nvme_values(
    record: dict[str, Any], before: dict[str, Any], after: dict[str, Any], texts_count: bool
) -> list[str]:
    """What in the record does not lie between two smart logs, in words; numbers printed as texts may count as 0."""
    wrong = []
    for field, key in NVME_FIELDS.items():
        low, high = (_nvme_value(log, key, texts_count) for log in (before, after))
        actual = record.get(field, {})
        if actual.get("name") != key or not low <= actual.get("value", -1) <= high:
            wrong.append(f"{field} is {actual}, not {low} to {high}")
    return wrong


def _nvme_value(log: dict[str, Any], key: str, texts_count: bool) -> int:
    if isinstance(log[key], str) and not texts_count:
        return 0
    return int(log[key]) - (ZERO_CELSIUS if key == "temperature" else 0)


class GuestHealth:
    """Asks the guest, one command for all the disks."""

    def __init__(self, appliance: Appliance) -> None:
        self._guest = appliance.guest
        seen = appliance.disks()
        self._devices = {disk: seen[disk.udev_serial].device for disk in machine.WATCHED}

    def device(self, disk: Disk) -> str:
        return self._devices[disk]

    def smart_reports(self, disks: Iterable[Disk]) -> dict[Disk, dict[str, Any]]:
        scsi = {disk: "-d scsi " if disk.bus == machine.USB else "" for disk in disks}
        return self._reports({disk: f"smartctl --json=c -HA {kind}{self.device(disk)}" for disk, kind in scsi.items()})

    def nvme_logs(self) -> dict[Disk, dict[str, Any]]:
        drives = on_bus(machine.WATCHED, machine.NVME)
        return self._reports({disk: f"nvme smart-log --output-format=json {self.device(disk)}" for disk in drives})

    def bytes_moved(self) -> dict[Disk, dict[str, int]]:
        """What the kernel counts for each disk, by the names of the agent's measurements."""
        names = " ".join(device.removeprefix("/dev/") for device in self._devices.values())
        lines = self._guest.must(f"for name in {names}; do cat /sys/block/$name/stat; done").splitlines()
        counts = ([int(word) for word in line.split()] for line in lines)
        moved = ({"bytesRead": numbers[2] * 512, "bytesWritten": numbers[6] * 512} for numbers in counts)
        return dict(zip(self._devices, moved, strict=True))

    def write(self, mebibytes: dict[Disk, int]) -> None:
        """Writes so much to each disk, behind its partition, and waits until it is there."""
        self._guest.must(
            "; ".join(
                f"dd if=/dev/zero of={self.device(disk)} bs=1M seek=100 count={count} conv=notrunc,fsync || exit"
                for disk, count in mebibytes.items()
            ),
            60,
        )

    def _reports(self, commands: dict[Disk, str]) -> dict[Disk, dict[str, Any]]:
        lines = self._guest.must("; ".join(f"{command} | tr -d '\\n'; echo" for command in commands.values()), 60)
        return {disk: json.loads(line) for disk, line in zip(commands, lines.splitlines(), strict=True)}
