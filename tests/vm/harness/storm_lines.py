"""More lines of the kernel than anybody can read: from its log, and from another sender to the agent's socket."""

import time

from . import machine
from .agent import KERNEL_SOCKET
from .initramfs import LINE_STORM
from .scenario import FOLLOW_SECONDS
from .storm_site import IO_ERRORS, Site

LOG_STORM, SOCKET_STORM = "lines of the kernel", "lines to the socket"
LINES_A_SECOND = 50_000
ANSWER_SECONDS = 5.0
# What else the kernel may print while the lines are counted, and what programs write into its log.
OTHERS = 20

# The kernel lists every task with its stack: some thousand lines each time. The console would take all the time.
_TASKS = """#!/bin/sh
dmesg -n 1
end=$(($(cut -d . -f 1 /proc/uptime) + SECONDS))
while [ "$(cut -d . -f 1 /proc/uptime)" -lt $end ]; do
   echo t >/proc/sysrq-trigger
done
dmesg -n 7
"""


class LineStorm:
    def __init__(self, site: Site, seconds: int) -> None:
        self._site = site
        self._agent = site.agent
        self._guest, self._report = site.appliance.guest, site.appliance.report
        self._seconds = seconds

    def run(self) -> None:
        self._kernels()
        self._others()

    def _kernels(self) -> None:
        """A disk fails in the middle, and another one when all is over."""
        appliance, since = self._site.appliance, self._site.uptime()
        before, begin = self._agent.kernel_lines(), self._sequence()
        self._guest.write("/run/tasks", _TASKS.replace("SECONDS", str(self._seconds)))
        self._guest.must("setsid sh /run/tasks >/dev/null 2>&1 &")
        time.sleep(self._seconds / 2)
        appliance.use_faulty_sector(machine.SATA_CAGE, "write")
        self._report.becomes(
            f"{LOG_STORM}: it ends", lambda: self._guest.run("pgrep -f /run/tasks").out, "", self._seconds + FOLLOW_SECONDS
        )
        printed = self._sequence() - begin
        missing = lambda: printed - sum(self._since(before))  # noqa: E731
        self._report.eventually(
            f"{LOG_STORM}: each was received, or is counted as dropped",
            missing,
            lambda count: abs(count) <= OTHERS,
            FOLLOW_SECONDS,
        )
        received, dropped = self._since(before)
        took = self._site.uptime() - since
        self._site.figure(LOG_STORM, "printed", f"{printed} in {took:.0f} s")
        self._site.figure(LOG_STORM, "of these received, and dropped and counted", f"{received}, {dropped}")
        self._check_errors(dropped)
        self._site.check_answers(LOG_STORM, since, ANSWER_SECONDS)

    def _check_errors(self, dropped: int) -> None:
        cage, nvme = machine.SATA_CAGE, machine.NVME_FIXED
        was_read = self._is_said(cage.serial)
        self._site.figure(LOG_STORM, "an error in the middle", "reported" if was_read else "overwritten by the kernel")
        self._report.check(f"{LOG_STORM}: it is lost only with lines that are counted", was_read or dropped > 0)
        self._site.appliance.use_faulty_sector(nvme, "read")
        self._report.becomes(
            f"{LOG_STORM}: an error afterwards is reported", lambda: self._is_said(nvme.serial), True, FOLLOW_SECONDS
        )

    def _is_said(self, serial: str) -> bool:
        return any(serial in arguments for _, *arguments in self._agent.said(*IO_ERRORS))

    def _since(self, before: dict[str, int]) -> tuple[int, int]:
        now = self._agent.kernel_lines()
        return now["received"] - before["received"], now["dropped"] - before["dropped"]

    def _sequence(self) -> int:
        """Of the latest record in the kernel's log."""
        return int(self._guest.must("timeout 1 cat /dev/kmsg | grep '^[0-9]*,' | tail -n 1 | cut -d , -f 2", 40))

    def _others(self) -> None:
        since, resident = self._site.uptime(), self._agent.resident_kib()
        command = f"{LINE_STORM} {KERNEL_SOCKET} {LINES_A_SECOND} {self._seconds}"
        sent, seconds = self._guest.must(command, self._seconds + 60).split()
        self._site.figure(SOCKET_STORM, "asked for a second", LINES_A_SECOND)
        self._site.figure(SOCKET_STORM, "taken a second", f"{float(sent) / float(seconds):.0f}")
        self._report.check(f"{SOCKET_STORM}: lines are taken", int(sent) > 1000, sent)
        grown = self._agent.resident_kib() - resident
        self._report.check(f"{SOCKET_STORM}: memory stays flat", grown <= 256, f"{grown} KiB more than {resident}")
        self._site.check_answers(SOCKET_STORM, since, ANSWER_SECONDS)
