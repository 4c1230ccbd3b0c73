"""The agent at the pace of a real unit: what it says of wrong mounts at its start, and of disks that fail."""

from collections import Counter
from pathlib import Path

from . import machine
from .appliance import Appliance
from .kernel_error_checks import KernelErrorChecks
from .report import wait_until
from .scenario import FOLLOW_SECONDS, START_SECONDS, Scenario

RIGHT_MOUNT, WRONG_MOUNT = (disk.expected["mountPoint"] for disk in (machine.SATA_SSD, machine.SATA_CAGE))
DETECTION = tuple(
    f"STORAGEDEVICE_{name}" for name in ("DETECTION_ERROR", "UNEXPECTED_PARTITION_MOUNTED", "PARTITION_NOT_MOUNTED")
)


class KernelErrorScenario(Scenario):
    """Its day is as long as any other, so that nothing is reported twice."""

    FAILING = (machine.SATA_HDD, machine.SATA_CAGE, machine.NVME_FIXED)
    # The disk stays open until udev has closed it: whenever it is closed after a write, udev reads it
    # again. Properties that it cannot read of a leaving disk, the serial number too, are missing from the removal.
    FILL = """#!/bin/sh
entry=/run/udev/data/b$(cat "/sys/block/${1#/dev/}/dev")
exec 3>"$1"
while dd if=/dev/zero bs=64k count=16 conv=fsync >&3 2>/run/fill.log; do
   :
done
until [ ! -e "$entry" ]; do
   usleep 50000
done
mv /run/fill.log /run/filled
"""

    # The kernel lets a disk that leaves have no sectors any more: a write behind them finds no space.
    GONE = ("No such device", "Input/output error", "No space left on device")

    def __init__(self, appliance: Appliance) -> None:
        super().__init__(appliance, "-errors")
        self._errors = KernelErrorChecks(appliance, self._agent)
        self._foreign_partition = ""

    def run(self, work: Path) -> None:
        self._report.note("an agent whose clock is the guest's; a disk's partition is mounted in another's place")
        self._appliance.format_and_mount(machine.SATA_SSD, RIGHT_MOUNT)
        self._foreign_partition = self._appliance.format_and_mount(machine.EUSB_FLASH, WRONG_MOUNT)
        self._agent.configure(time_scale=1)
        try:
            self._run_agent(work, (self._check_detection, self._check_errors, self._check_pull, self._check_accused))
        finally:
            self._guest.must(f"umount {RIGHT_MOUNT} {WRONG_MOUNT}")

    def _check_detection(self) -> None:
        """Whatever is absent, mounted wrongly or not mounted is reported once, and nothing else is."""
        self._expect_disks("errors", START_SECONDS)
        wanted = self._expected_detections()
        said = wait_until(
            lambda: Counter(self._agent.said(*DETECTION)), lambda said: said.total() >= wanted.total(), START_SECONDS
        )
        for name in DETECTION:
            reported, expected = (
                sorted(arguments for kind, *arguments in counts.elements() if kind == name) for counts in (said, wanted)
            )
            self._report.equal(f"at its start the agent logs {name} for the right disks only", reported, expected)

    def _expected_detections(self) -> Counter[tuple[str, ...]]:
        absent, unexpected, unmounted = DETECTION
        records = self._appliance.expected_records(self._watched)
        present = {record["mountPoint"] for record in records.values()}
        expected = {f"/mnt/{name}" for name in machine.EXPECTED_MOUNTS}
        wanted: Counter[tuple[str, ...]] = Counter((absent, mount) for mount in expected - present)
        wrong = records[machine.SATA_CAGE]["blockDevice"]
        wanted[unexpected, self._foreign_partition, WRONG_MOUNT, wrong] += 1
        mounted = (machine.SATA_SSD, machine.SATA_CAGE)
        wanted.update(
            (unmounted, record["blockDevice"], record["mountPoint"])
            for disk, record in records.items()
            if disk not in mounted
        )
        return wanted

    def _check_errors(self) -> None:
        for disk in self.FAILING:
            self._errors.are_told_once(disk)

    def _check_pull(self) -> None:
        """A stick is pulled while it is written, and plugged in again."""
        stick = machine.USB_STICK
        device = self._appliance.disks()[stick.udev_serial].device
        self._guest.write("/run/fill", self.FILL)
        with self._errors.busy("written", stick):
            self._guest.must(f"setsid sh /run/fill {device} >/dev/null 2>&1 &")
        self._appliance.unplug(stick.name)
        said = self._report.eventually(
            "the pull ends the writing", lambda: self._guest.run("cat /run/filled").out, bool, FOLLOW_SECONDS
        )
        self._report.check("since the stick has gone", any(error in said for error in self.GONE), said)
        self._errors.is_said(stick)
        self._watched.remove(stick)
        self._expect_disks("USB stick pulled while it was written")
        self._appliance.plug(stick)
        self._watched.append(stick)
        self._expect_disks("USB stick plugged in again")

    def _check_accused(self) -> None:
        self._errors.is_kept_back(machine.SATA_HDD)
        self._errors.nobody_else_is_accused("with disks that fail", (*self.FAILING, machine.USB_STICK))
