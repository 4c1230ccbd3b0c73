"""Errors of the emulated disks, reported by the guest's own kernel, and the agent's messages about them."""

from collections import Counter
from collections.abc import Callable, Collection, Iterator
from contextlib import contextmanager

from .agent import Agent
from .appliance import Appliance
from .guest_control import Result
from .machine import Disk

HEARD_SECONDS = 60.0
MEDIUM_ERRORS = ("Input/output error", "No data available")  # of SATA and of NVMe disks

FIXED, REMOVABLE = "STORAGEDEVICE_IO_ERROR", "STORAGEDEVICE_IO_ERROR_EXTERNAL_USB"


class KernelErrorChecks:
    """For one run of the agent, which may say once of each disk that it has errors."""

    def __init__(self, appliance: Appliance, agent: Agent) -> None:
        self._appliance = appliance
        self._guest = appliance.guest
        self._report = appliance.report
        self._agent = agent

    def are_told_once(self, disk: Disk) -> None:
        """Its faulty sector is used, which the agent has to report, and again, which it has to keep to itself."""
        assert disk.fault is not None
        other = {"read": "write", "write": "read"}[disk.fault.operation]
        healthy = self._appliance.use_faulty_sector(disk, other)
        self._report.check(f"{disk.name}: its faulty sector allows to {other}", healthy.status == 0, healthy.err)
        self.are_reported(disk)
        self.is_kept_back(disk)

    def are_reported(self, disk: Disk) -> None:
        assert disk.fault is not None
        self._report.check(f"{disk.name}: nothing is said of it while it has no errors", self._times_said(disk) == 0)
        failed = self._use_fault(disk)
        refused = failed.status != 0 and any(error in failed.err for error in MEDIUM_ERRORS)
        self._report.check(f"{disk.name}: its sector does not allow to {disk.fault.operation}", refused, str(failed))
        self.is_said(disk)

    def is_said(self, disk: Disk) -> None:
        check = f"{disk.name}: the agent says that it has errors"
        self._report.eventually(check, lambda: self._times_said(disk), bool, HEARD_SECONDS)

    def is_kept_back(self, disk: Disk, cause: Callable[[], object] | None = None) -> None:
        """Further errors of a disk are read, like all earlier lines of the kernel, and not reported again.

        They are those of its faulty sector, or what `cause` leads to.
        """
        self._everything_is_read(f"{disk.name}: the errors so far are read")
        before = self._agent.errors_kept_back()
        if cause is None:
            self._use_fault(disk)
        else:
            cause()
        self._everything_is_read(f"{disk.name}: further errors are read")
        after = self._agent.errors_kept_back()
        self._report.check(f"{disk.name}: they are kept back", after > before, f"{after - before} lines were")
        self._report.equal(f"{disk.name}: it was reported once", self._times_said(disk), 1)

    def _everything_is_read(self, check: str) -> None:
        """To the newest line of the kernel's own, which has to be one since the agent's start."""
        stamp = self._guest.must(r"dmesg -r | sed -n 's/^<[0-7]>\(\[[^]]*]\).*/\1/p' | tail -n 1").rstrip("\n")
        self._report.becomes(f"{check} to {stamp}", lambda: self._agent.has_heard(stamp), True, HEARD_SECONDS)

    @contextmanager
    def busy(self, how: str, disk: Disk) -> Iterator[None]:
        """Waits until what is started in the context has read or written a good deal of the disk."""
        device = self._appliance.disks()[disk.udev_serial].device
        enough = self._appliance.requests(device)[how] + 10
        yield
        self._report.eventually(
            f"{disk.name} is being {how}",
            lambda: self._appliance.requests(device)[how],
            lambda count: count > enough,
            HEARD_SECONDS,
        )

    def nobody_else_is_accused(self, when: str, certain: Collection[Disk], possible: Collection[Disk] = ()) -> None:
        """Of the certain disks it was said once that they have errors, of the possible ones at most once."""
        said = self._agent.said(FIXED, REMOVABLE)
        counts = Counter((name, arguments[1]) for name, *arguments in said)
        wanted = Counter({_message(disk): 1 for disk in certain})
        surplus = counts - wanted - Counter({_message(disk): 1 for disk in possible})
        missing = sorted((wanted - counts).elements())
        self._report.equal(f"{when}: errors of {_names(certain)} are reported", missing, [])
        self._report.check(f"{when}: no other disk is said to have any, and none twice", not surplus, str(said))

    def _times_said(self, disk: Disk) -> int:
        said = self._agent.said(FIXED, REMOVABLE)
        return sum((name, arguments[1]) == _message(disk) for name, *arguments in said)

    def _use_fault(self, disk: Disk) -> Result:
        assert disk.fault is not None
        return self._appliance.use_faulty_sector(disk, disk.fault.operation)


def _message(disk: Disk) -> tuple[str, str]:
    """The name of the message about its errors, and the serial number in it."""
    return (REMOVABLE if disk.expected["removable"] else FIXED, disk.serial)


def _names(disks: Collection[Disk]) -> str:
    return ", ".join(disk.name for disk in disks) or "no disk"
