"""Checks of the agent's health records against what the guest's own tools and kernel say."""

from collections.abc import Callable, Collection, Iterable
from typing import Any

from . import machine
from .agent import AgentApi
from .appliance import Appliance
from .health import SOURCES, GuestHealth, on_bus, smart_record, wrong_nvme_values
from .machine import Disk
from .report import Report, wait_until

READ_SECONDS = 60.0

# Whose records each monitor keeps.
BUSSES = {
    "smartData": (machine.USB, machine.SATA, machine.NVME),
    "nvmeData": (machine.NVME,),
    "emmcData": (machine.OTHER,),
    "ioStatData": (machine.USB, machine.SATA, machine.NVME, machine.OTHER),
}

# What smartctl's exit code says of a SATA disk of the emulator, which has no --offlineauto, and of a failing drive.
COMMAND_FAILED, DISK_FAILING = 1 << 2, 1 << 3
MEANINGS = {COMMAND_FAILED: "command to the disk failed", DISK_FAILING: "the disk is failing"}


class HealthChecks:
    """For one run of the agent while no disk comes or goes; `serials` are the keys of the disks' records."""

    def __init__(self, appliance: Appliance, agent: AgentApi, serials: dict[Disk, str]) -> None:
        self._report = appliance.report
        self._agent = agent
        self._serials = serials
        self.guest = GuestHealth(appliance)

    def record(self, state: dict[str, Any], monitor: str, disk: Disk) -> Any:
        return state.get(monitor, {}).get(self._serials[disk])

    def reading(self, state: dict[str, Any], disk: Disk, source: str) -> dict[str, Any]:
        """The state of a disk's reading from a source; empty without one."""
        reported: list[dict[str, Any]] = state.get("readings", {}).get(self._serials[disk], [])
        return next((reading for reading in reported if reading["source"] == source), {})

    def wait(self, check: str, condition: Callable[[dict[str, Any]], bool]) -> dict[str, Any]:
        """Checks that the state comes to be so; answers it."""
        state = wait_until(self._agent.state, condition, READ_SECONDS)
        detail = f"after {READ_SECONDS:g} s the readings were still {state.get('readings')}"
        self._report.check(check, condition(state), detail)
        # A document is of one moment a record: its readings may be newer than the records that stand before them.
        newer = self._agent.state()
        return newer if condition(newer) else state

    def read_since(self, state: dict[str, Any], since: float, readings: Iterable[tuple[Disk, str]]) -> bool:
        return all(self.reading(state, disk, source).get("lastGood", 0.0) > since for disk, source in readings)

    def smart_is_right(self, state: dict[str, Any], disks: Collection[Disk]) -> None:
        reports = self.guest.smart_reports(disks)
        for disk in disks:
            self._report.equal(
                f"smartData of {disk.name} is what smartctl prints",
                self.record(state, "smartData", disk),
                smart_record(reports[disk]),
            )

    def nvme_is_right(
        self, state: dict[str, Any], before: dict[Disk, Any], after: dict[Disk, Any], texts_count: bool
    ) -> None:
        """Compares with logs from before and after the agent's reading, since some counters move."""
        for disk, log in before.items():
            record = self.record(state, "nvmeData", disk) or {}
            wrong = wrong_nvme_values(record, log, after[disk], texts_count)
            rest = "" if texts_count else ", the numbers that it prints as texts being 0"
            check = f"nvmeData of {disk.name} is what nvme prints{rest}"
            self._report.check(check, not wrong, "; ".join(wrong))

    def moved_is_right(self, state: dict[str, Any], before: dict[Disk, Any], after: dict[Disk, Any]) -> None:
        for disk, low in before.items():
            newest, high = self._newest(state, disk), after[disk]
            within = all(low[key] <= newest.get(key, -1) <= high[key] for key in low)
            detail = f"{newest} is not between {low} and {high}"
            self._report.check(f"the newest measurement of {disk.name} is what the kernel counts", within, detail)

    def grown(self, earlier: dict[str, Any], later: dict[str, Any], mebibytes: dict[Disk, int]) -> None:
        for disk, count in mebibytes.items():
            least = self._newest(earlier, disk).get("bytesWritten", 0) + (count << 20)
            newest = self._newest(later, disk)
            check = f"{count} MiB written to {disk.name} are in its newest measurement"
            self._report.check(check, newest.get("bytesWritten", -1) >= least, f"{newest}, not {least} or more")

    def _newest(self, state: dict[str, Any], disk: Disk) -> dict[str, Any]:
        """Its newest measurement; empty where there is none."""
        return (self.record(state, "ioStatData", disk) or [{}])[-1]

    def runs(self, state: dict[str, Any], tool: str, disk: Disk) -> list[dict[str, Any]]:
        """The latest polling runs of smartctl or nvme for a disk."""
        kinds = {"smartctl": "-HA", "nvme": "smart-log"}
        last = state.get("tools", {}).get("last", [])
        wanted = (tool, kinds[tool], self.guest.device(disk))
        return [run for run in last if (run["argv"][0], run["argv"][-1]) == wanted[::2] and wanted[1] in run["argv"]]

    def exits_are_reported(self, state: dict[str, Any], exit_code: int, disks: Collection[Disk], failed: bool) -> None:
        """smartctl ended with that code for these disks: it is reported in words, and counts as a failure or not."""
        for disk in disks:
            runs = self.runs(state, "smartctl", disk)
            reported = {(run["exitCode"], MEANINGS[exit_code] in run["meaning"], run["failed"]) for run in runs}
            outcome = "a failure" if failed else "none"
            check = f"smartctl's exit code {exit_code} for {disk.name} is explained, and is {outcome}"
            self._report.check(check, reported == {(exit_code, True, failed)}, str(runs))

    def failures_are_counted(self, state: dict[str, Any]) -> None:
        """The count fits the latest runs; those that fell out of the list may have been either."""
        runs, failed, last = (state.get("tools", {}).get(key) for key in ("runs", "failed", "last"))
        listed = sum(run["failed"] for run in last or [])
        right = last is not None and 0 < listed <= failed <= listed + runs - len(last)
        detail = f"failed is {failed} after {runs} runs, of which the latest {len(last or [])} have {listed}"
        self._report.check("the failed runs of tools are counted", right, detail)

    def nothing_is_wrong(self, when: str, state: dict[str, Any]) -> None:
        tools = state.get("tools", {})
        failures = [run for run in tools.get("last", []) if run["failed"]]
        counts = (tools.get("failed"), tools.get("timedOut"))
        self._report.check(f"{when}: no run of a tool has failed", counts == (0, 0), f"{counts}: {failures}")
        errors = {name: 0 for name in ("openErrorCount", "getlineErrorCount", "regexErrorCount")}
        self._report.equal(f"{when}: no sample of I/O has failed", state.get("ioStatErrors"), errors)


def check_kept(
    report: Report, when: str, state: dict[str, Any], serials: dict[Disk, str], monitors: Collection[str]
) -> None:
    """Each of the monitors keeps a record of the disks that are its own, and the readings name their sources."""
    for monitor in sorted(set(BUSSES) & set(monitors)):
        wanted = sorted(serials[disk] for disk in on_bus(serials, *BUSSES[monitor]))
        report.equal(f"{when}: {monitor} is kept for its disks", sorted(state.get(monitor, {})), wanted)
    if set(BUSSES) <= set(monitors):
        readings = state.get("readings", {}).items()
        reported = {serial: [reading["source"] for reading in each] for serial, each in readings}
        sources = {serial: list(SOURCES[disk.bus]) for disk, serial in serials.items()}
        report.equal(f"{when}: every disk has its sources", reported, sources)
