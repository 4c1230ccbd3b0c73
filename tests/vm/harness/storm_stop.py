"""The agent is stopped by a signal while disks come, go and fail."""

import time

from . import machine
from .scenario import FOLLOW_SECONDS, START_SECONDS
from .storm_site import IO_ERRORS, STICKS, Site

STORM = "SIGSTOP"
GOING, COMING = STICKS[::2], STICKS[1::2]


class StopStorm:
    def __init__(self, site: Site, seconds: float) -> None:
        self._site = site
        self._appliance, self._agent = site.appliance, site.agent
        self._report = site.appliance.report
        self._seconds = seconds

    def run(self) -> None:
        for each in GOING:
            self._appliance.plug(each.disk)
        self._expect("before", {each.serial for each in GOING}, START_SECONDS)
        before, stalls = self._site.offline(), self._agent.log().count("has been stalled")
        self._agent.signal("STOP")
        try:
            self._while_stopped()
        finally:
            self._agent.signal("CONT")
        begin = time.monotonic()
        self._expect("afterwards", {each.serial for each in COMING}, FOLLOW_SECONDS)
        self._site.figure(STORM, "seconds stopped", f"{self._seconds:g}")
        self._site.figure(STORM, "right again after SIGCONT (s)", f"{time.monotonic() - begin:.1f}")
        wanted = {s: n + (s in {each.serial for each in GOING}) for s, n in before.items()}
        self._report.becomes(f"{STORM}: each end is reported once", self._site.offline, wanted, FOLLOW_SECONDS)
        self._report.becomes(f"{STORM}: what failed meanwhile is reported", self._is_said, True, FOLLOW_SECONDS)
        said = self._agent.log().count("has been stalled") - stalls
        self._report.equal(f"{STORM}: the watchdog takes the pause for no stall", said, 0)
        for each in COMING:
            self._appliance.unplug(each.mount)
        self._expect("at the end", set(), FOLLOW_SECONDS)

    def _while_stopped(self) -> None:
        end = time.monotonic() + self._seconds
        for each in GOING:
            self._appliance.unplug(each.mount)
        for each in COMING:
            self._appliance.plug(each.disk)
        self._appliance.use_faulty_sector(machine.SATA_HDD, "read")
        answer = self._appliance.guest.run("timeout 3 busybox wget -q -O - http://127.0.0.1:9634/healthz")
        self._report.check(f"{STORM}: /healthz does not answer", answer.status != 0, answer.out)
        time.sleep(max(0.0, end - time.monotonic()))

    def _is_said(self) -> bool:
        return any(machine.SATA_HDD.serial in arguments for _, *arguments in self._agent.said(*IO_ERRORS))

    def _expect(self, when: str, serials: set[str], seconds: float) -> None:
        self._report.becomes(f"{STORM}: the sticks {when}", self._site.watched_sticks, serials, seconds)


