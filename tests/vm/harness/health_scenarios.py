"""The health monitors with the guest's real tools: forgiven, not forgiven, and hanging."""

from pathlib import Path
from typing import Any

from . import machine
from .appliance import Appliance
from .health import GOOD_SOURCES, UNREAD_SMART, on_bus
from .health_checks import BUSSES, COMMAND_FAILED, DISK_FAILING, HealthChecks
from .machine import Disk
from .scenario import FOLLOW_SECONDS, START_SECONDS, Scenario


class StrictScenario(Scenario):
    """Every exit code but 0 is a failure, and nvme prints numbers as texts, since no filter stands before it."""

    FAILING = {machine.SATA_SSD: COMMAND_FAILED, machine.SATA_HDD: COMMAND_FAILED, machine.SATA_CAGE: COMMAND_FAILED}
    FAILING |= {machine.NVME_FIXED: DISK_FAILING}

    def __init__(self, appliance: Appliance) -> None:
        super().__init__(appliance, "-strict")
        self._checks = HealthChecks(appliance, self._agent, self._serials())

    def run(self, work: Path) -> None:
        self._report.note("an agent that forgives nothing")
        self._appliance.critical_warning_is(machine.NVME_FIXED, machine.UNRELIABLE)
        self._checks.guest.write({disk: 1 for disk in on_bus(self._watched, machine.NVME)})
        before = self._checks.guest.nvme_logs()
        written = [log["data_units_written"] for log in before.values()]
        texts = all(isinstance(count, str) and count != "0" for count in written)
        self._report.check("the guest's nvme prints counters as texts", texts, str(written))
        self._agent.configure(poll_seconds=3, tools="accept_exit_bits = {}\nnvme_compat = false")
        self._run_agent(work, (lambda: self._check(before),))

    def _check(self, before: dict[Disk, Any]) -> None:
        self._expect_disks("strict", START_SECONDS)
        good = [disk for disk in on_bus(self._watched, machine.USB, machine.NVME) if disk not in self.FAILING]
        expected = [(disk, "smartctl") for disk in good] + [(drive, "nvme") for drive in before]

        def polled(state: dict[str, Any]) -> bool:
            failing = all("reason" in self._checks.reading(state, disk, "smartctl") for disk in self.FAILING)
            return failing and self._checks.read_since(state, 0.0, expected)

        state = self._checks.wait("strict: every disk is polled", polled)
        after = self._checks.guest.nvme_logs()
        for disk, exit_code in self.FAILING.items():
            self._check_failure(state, disk, exit_code)
        self._checks.failures_are_counted(state)
        self._checks.smart_is_right(state, good)
        self._checks.nvme_is_right(state, before, after, texts_count=False)
        self._check_traces()

    def _check_failure(self, state: dict[str, Any], disk: Disk, exit_code: int) -> None:
        record = self._checks.record(state, "smartData", disk)
        self._report.equal(f"smartData of {disk.name} stays unread", record, UNREAD_SMART)
        self._checks.exits_are_reported(state, exit_code, [disk], failed=True)
        reading = self._checks.reading(state, disk, "smartctl")
        meanings = [run["meaning"] for run in self._checks.runs(state, "smartctl", disk)]
        reported = "lastGood" not in reading and reading.get("reason") in meanings
        self._report.check(f"the failing reading of {disk.name} is reported with its reason", reported, str(reading))

    def _check_traces(self) -> None:
        wanted = [
            f"Error running smartctl for {self._checks.guest.device(disk)}; exit code: {code}"
            for disk, code in self.FAILING.items()
        ]
        wanted.append("Property data_units_written is not in expected format")
        log = self._agent.log()
        missing = [trace for trace in wanted if trace not in log]
        self._report.check("traces name the failed runs and the texts", not missing, f"not in the log: {missing}")


class HealthScenario(Scenario):
    """The agent as it is by default, but for the tools' path and a shorter limit: two of the tools come to hang."""

    LIMIT = 8  # seconds
    TOOLS = "/run/tools"
    # Whose tool hangs, and what ends it: one heeds SIGTERM and one does not.
    HANGING = ((machine.SATA_HDD, "smartctl", -9), (machine.NVME_SPARE, "nvme", -15))
    # The runs of discovery and those for other disks always go through to the real tool.
    WRAPPER = """#!/bin/sh
name=${0##*/}
if [ -e @TOOLS@/hang ]; then
   case "$name $*" in
      "smartctl "*" -HA @HDD@")
         trap '' TERM
         echo "$name" >>@TOOLS@/hanging
         sleep 1000
         ;;
      "nvme smart-log "*" @NVME@")
         echo "$name" >>@TOOLS@/hanging
         sleep 1000
         ;;
   esac
fi
exec "/usr/bin/$name" "$@"
"""

    def __init__(self, appliance: Appliance) -> None:
        super().__init__(appliance, "-health")
        self._checks = HealthChecks(appliance, self._agent, self._serials())
        self._readings = [(disk, source) for disk in self._watched for source in GOOD_SOURCES[disk.bus]]
        self._hanging = [(disk, source) for disk, source, _ in self.HANGING]

    def run(self, work: Path) -> None:
        self._report.note(f"an agent with a time limit of {self.LIMIT} s")
        self._appliance.critical_warning_is(machine.NVME_FIXED, machine.UNRELIABLE)
        self._install_wrappers()
        self._agent.configure(poll_seconds=3, tools=f'timeout = {self.LIMIT}\npath = "{self.TOOLS}"')
        self._run_agent(work, (self._check_health, self._check_hanging, self._check_end, self._check_recovery))

    def _install_wrappers(self) -> None:
        hdd, nvme = (self._checks.guest.device(disk) for disk, *_ in self.HANGING)
        script = self.WRAPPER.replace("@TOOLS@", self.TOOLS).replace("@HDD@", hdd).replace("@NVME@", nvme)
        for name in ("smartctl", "nvme"):
            self._guest.write(f"{self.TOOLS}/{name}", script)
        self._guest.must(f"chmod +x {self.TOOLS}/*")

    def _check_health(self) -> None:
        """The first readings, and others after something has happened to the disks."""
        checks, wired = self._checks, on_bus(self._watched, *BUSSES["smartData"])
        self._expect_disks("health", START_SECONDS)
        first = checks.wait("every disk is read", lambda state: checks.read_since(state, 0.0, self._readings))
        checks.smart_is_right(first, wired)
        checks.exits_are_reported(first, COMMAND_FAILED, on_bus(wired, machine.SATA), failed=False)
        checks.exits_are_reported(first, DISK_FAILING, [machine.NVME_FIXED], failed=False)
        self._check_card(first)

        amounts = {disk: number for number, disk in enumerate((machine.CARD, *wired), start=1)}
        checks.guest.write(amounts)
        self._appliance.critical_warning_is(machine.NVME_FIXED, 0)
        before = checks.guest.nvme_logs(), checks.guest.bytes_moved()
        since = self._agent.time()
        second = checks.wait("every disk is read again", lambda state: checks.read_since(state, since, self._readings))
        after = checks.guest.nvme_logs(), checks.guest.bytes_moved()
        checks.nvme_is_right(second, before[0], after[0], texts_count=True)
        checks.moved_is_right(second, before[1], after[1])
        checks.grown(first, second, amounts)
        checks.smart_is_right(second, [machine.NVME_FIXED])
        checks.nothing_is_wrong("with the tools at work", second)

    def _check_card(self, state: dict[str, Any]) -> None:
        """An SD card has no registers of its wear: nothing is made up, and a trace says what cannot be opened."""
        card = machine.CARD
        self._report.equal("the card's wear is not known", self._checks.record(state, "emmcData", card), {})
        folder = f"/sys/block/{self._checks.guest.device(card).removeprefix('/dev/')}/device"
        wanted = [f"Could not open {folder}/{register}" for register in ("life_time", "pre_eol_info")]
        wanted.append(f"Error while parsing data for {self._serials()[card]}")
        log = self._agent.log()
        missing = [trace for trace in wanted if trace not in log]
        self._report.check("traces say why", not missing, f"not in the log: {missing}")

    def _check_hanging(self) -> None:
        """The other readings go on, those of the same drives from other sources among them."""
        self._guest.must(f"touch {self.TOOLS}/hang")
        self._report.becomes("two tools hang", self._tools_that_hang, {"nvme", "smartctl"}, FOLLOW_SECONDS)
        since, held = self._agent.time(), self._agent.state()
        others = [reading for reading in self._readings if reading not in self._hanging]
        state = self._checks.wait(
            "the other readings go on", lambda state: self._checks.read_since(state, since, others)
        )
        for monitor, disk in (("smartData", machine.SATA_HDD), ("nvmeData", machine.NVME_SPARE)):
            records = [self._checks.record(document, monitor, disk) for document in (held, state)]
            self._report.equal(f"{monitor} of {disk.name} stays as it was", records[1], records[0])
        fresh = [reading for reading in self._hanging if self._checks.read_since(state, since, [reading])]
        self._report.equal("nothing is read where a tool hangs", [disk.name for disk, _ in fresh], [])

    def _tools_that_hang(self) -> set[str]:
        return set(self._guest.run(f"cat {self.TOOLS}/hanging").out.split())

    def _check_end(self) -> None:
        self._guest.must(f"rm {self.TOOLS}/hang")  # what hangs already continues

        def over(state: dict[str, Any]) -> bool:
            return all(self._timed_out(state, disk, source) for disk, source in self._hanging)

        state = self._checks.wait("the tools that hang are ended", over)
        for disk, source, exit_code in self.HANGING:
            run = (self._timed_out(state, disk, source) or [{}])[0]
            reported = [run.get(key) for key in ("exitCode", "failed", "meaning")]
            wanted = [exit_code, True, "exceeded its time limit"]
            self._report.equal(f"the end of {source} for {disk.name} is reported", reported, wanted)
            took = run.get("seconds", 0.0)
            self._report.check("it came after the limit", took >= self.LIMIT, f"after {took} s")
        tools = state.get("tools", {})
        counted = tools.get("timedOut", 0)
        ours = sum(len(self._timed_out(state, disk, source)) for disk, source in self._hanging)
        listed = sum(run["timedOut"] for run in tools.get("last", []))
        self._report.check("each is counted", counted >= ours > 0, f"timedOut is {counted} after {ours} runs")
        self._report.equal("nothing else was ended", listed, ours)

    def _check_recovery(self) -> None:
        since = self._agent.time()
        state = self._checks.wait(
            "where the tools hung, they work again", lambda state: self._checks.read_since(state, since, self._hanging)
        )
        reasons = [self._checks.reading(state, disk, source).get("reason") for disk, source in self._hanging]
        self._report.equal("these readings fail no more", reasons, [None, None])
        self._report.equal("no process is left of those that hung", self._agent.processes().count("sleep"), 0)
        card = self._checks.reading(state, machine.CARD, "emmc")
        reported = "failingSince" in card and "life_time" in card.get("reason", "") and "lastGood" not in card
        self._report.check("the reading of the card's registers is reported as failing", reported, str(card))

    def _timed_out(self, state: dict[str, Any], disk: Disk, tool: str) -> list[dict[str, Any]]:
        return [run for run in self._checks.runs(state, tool, disk) if run["timedOut"]]
