"""A disk that fails every request, and one that answers none until the kernel gives its commands up."""

from pathlib import Path
from typing import Any

from . import machine
from .pull_disks import PullDisk
from .report import wait_until
from .scenario import FOLLOW_SECONDS, START_SECONDS
from .silent_disk import SilentDisk
from .storm_site import IO_ERRORS, POLL_SECONDS, TOOL_SECONDS, Site

FAILING_STORM, SILENT_STORM = "every request fails", "no request is answered"
FAILING = PullDisk(14, fixed=True)
ANSWER_SECONDS = 5.0
SILENT_SECONDS = 90  # longer than the kernel waits for a command of smartctl
# Makes the agent ask the silent disk of the guest's kernel through smartctl, as one at a SATA port.
RULE = 'SUBSYSTEM=="block", DEVPATH=="/devices/pseudo_0/*", ENV{ID_BUS}="ata"\n'
KERNEL_SECONDS = 240.0  # until the kernel has given up the commands of one run
READS = 20  # some seconds each: the kernel tries them again and again
_EVENTS = ("read_aio", "write_aio", "flush_to_disk")


class ErrorStorm:
    def __init__(self, site: Site) -> None:
        self._site = site
        self._appliance, self._agent = site.appliance, site.agent
        self._guest, self._report = site.appliance.guest, site.appliance.report
        self._silent = SilentDisk(site.appliance)

    def run(self) -> None:
        self._fail()
        self._fall_silent()

    @staticmethod
    def node(work: Path) -> dict[str, Any]:
        """The failing disk, as the emulator is to make it."""
        node = FAILING.disk.block_node(work)
        errors = [{"event": event, "errno": 5} for event in _EVENTS]
        node["file"] = {"driver": "blkdebug", "image": node["file"], "inject-error": errors}
        return node

    def _fail(self) -> None:
        since = self._site.uptime()
        self._appliance.plug(FAILING.disk)
        self._report.becomes(f"{FAILING_STORM}: it is reported once", self._times_said, 1, START_SECONDS)
        device = self._appliance.disks()[FAILING.serial].device
        lines = self._agent.kernel_lines()["received"]
        failed = self._guest.must(
            f"for i in $(seq {READS}); do"
            f" dd if={device} of=/dev/null bs=4k count=1 skip=$i 2>/dev/null || echo; done | wc -l",
            90,
        )
        self._report.equal(f"{FAILING_STORM}: every read fails", int(failed), READS)
        self._site.figure(FAILING_STORM, "requests of the test, all failed", int(failed))
        self._site.figure(FAILING_STORM, "lines of the kernel about it", self._agent.kernel_lines()["received"] - lines)
        self._report.equal(f"{FAILING_STORM}: it is still reported once", self._times_said(), 1)
        self._appliance.unplug(FAILING.mount)
        self._site.check_answers(FAILING_STORM, since, ANSWER_SECONDS)

    def _times_said(self) -> int:
        return sum(FAILING.serial in arguments for _, *arguments in self._agent.said(*IO_ERRORS))

    def _fall_silent(self) -> None:
        self._guest.write("/etc/udev/rules.d/99-storm.rules", RULE)
        self._guest.must("udevadm control --reload")
        serial = self._silent.load()
        self._report.eventually(
            f"{SILENT_STORM}: it is watched", self._agent.disks, lambda disks: serial in disks, START_SECONDS
        )
        self._report.equal(f"{SILENT_STORM}: at a SATA port", self._agent.disks()[serial]["busType"], machine.SATA)
        since, hung = self._site.uptime(), self._agent.tool_runs("timed_out")
        self._silent.silent_is(True)
        try:
            self._watch_silence(hung)
        finally:
            self._silent.silent_is(False)
        self._site.check_answers(SILENT_STORM, since, ANSWER_SECONDS)
        self._check_recovery()

    def _watch_silence(self, hung: int) -> None:
        """The runs end for the agent when their time is over, whatever the kernel does with their processes."""
        begin, most = self._site.uptime(), 0
        good = self._agent.tool_runs("ok")
        while self._site.uptime() < begin + SILENT_SECONDS:
            most = max(most, sum(process == "smartctl" for process in self._agent.tool_processes()))
            wait_until(lambda: False, bool, 2)
        ended, others = self._agent.tool_runs("timed_out") - hung, self._agent.tool_runs("ok") - good
        self._site.figure(SILENT_STORM, "seconds of silence", SILENT_SECONDS)
        self._site.figure(SILENT_STORM, f"runs ended after {TOOL_SECONDS} s, or not begun since the last one hangs", ended)
        self._site.figure(SILENT_STORM, "runs of smartctl at once, at most", most)
        self._report.check(f"{SILENT_STORM}: runs are ended at their limit", ended > 0, str(ended))
        self._report.check(f"{SILENT_STORM}: other disks are read", others > SILENT_SECONDS / POLL_SECONDS / 2, str(others))

    def _hung(self) -> list[str]:
        """The processes that the kernel holds, by number."""
        return self._guest.run("grep -l '^State:.D' /proc/[0-9]*/status 2>/dev/null | xargs grep -l smartctl").out.split()

    def _check_recovery(self) -> None:
        """The kernel lets the hung process go when it has given the disk's commands up."""
        begin = self._site.uptime()
        self._report.becomes(f"{SILENT_STORM}: the hung run ends", self._hung, [], KERNEL_SECONDS)
        self._site.figure(SILENT_STORM, "hung run gone after the silence (s)", f"{self._site.uptime() - begin:.0f}")
        timed_out = self._agent.tool_runs("timed_out")
        good = self._agent.tool_runs("ok")
        self._report.eventually(
            f"{SILENT_STORM}: tools go on", lambda: self._agent.tool_runs("ok"), lambda n: n > good + 10, 120
        )
        later = self._agent.tool_runs("timed_out")
        self._report.check(f"{SILENT_STORM}: none is ended any more", later <= timed_out + 1, f"{timed_out}, {later}")
        self._report.becomes(f"{SILENT_STORM}: nobody waits any more", self._agent.zombies, [], FOLLOW_SECONDS)
