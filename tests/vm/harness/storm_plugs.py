"""Sticks are plugged in and pulled eight at a time, and a SATA disk is deleted and found again, without a pause."""

import random
import re
import time

from . import machine
from .report import wait_until
from .scenario import FOLLOW_SECONDS, START_SECONDS
from .storm_site import FIXED, STICKS, Site

STORM = "plugs"
# How long a stick stays, and how long its place stays empty: some leave before the kernel knows them.
STAYS, PAUSES = (0.0, 0.3, 1.0, 3.0), (0.0, 0.2, 0.5)
ROUNDS_BETWEEN_RESTS = 25
# The monitors of health records that forget a disk, each with a trace of its own.
MONITORS = 3
MEMORY_KIB, ANSWER_SECONDS = 768, 5.0

_CHURN = """#!/bin/sh
while [ -e /run/churn.on ]; do
   for disk in /sys/block/sd*; do
      case $(readlink -f "$disk") in */ata2/*) echo 1 >"$disk/device/delete"; echo deleted >>/run/churned ;; esac
   done
   echo '- - -' >/sys/class/scsi_host/HOST/scan
   usleep 700000
done
echo '- - -' >/sys/class/scsi_host/HOST/scan
"""


class PlugStorm:
    def __init__(self, site: Site, cycles: int) -> None:
        self._site = site
        self._appliance, self._agent = site.appliance, site.agent
        self._guest, self._report = site.appliance.guest, site.appliance.report
        self._rounds = max(1, cycles // len(STICKS))
        self._rests = 0
        self._plugging: list[float] = []
        self._pulling: list[float] = []

    def run(self) -> None:
        self._rest()
        before = (self._agent.open_descriptors(), self._agent.resident_kib())
        begin, since = time.monotonic(), self._site.uptime()
        self._start_churn()
        self._blow()
        self._end_churn()
        self._site.figure(STORM, "cycles of sticks", self._rounds * len(STICKS))
        self._site.figure(STORM, "seconds that they took", f"{time.monotonic() - begin:.0f}")
        self._rest()
        self._site.check_answers(STORM, since, ANSWER_SECONDS)
        self._check_reports()
        self._check_resources(*before)
        self._check_survivors()

    def _blow(self) -> None:
        chance = random.Random(15)
        for number in range(1, self._rounds + 1):
            for each in STICKS:
                self._appliance.plug(each.disk)
            time.sleep(chance.choice(STAYS))
            for each in STICKS:
                self._appliance.unplug(each.mount)
            time.sleep(chance.choice(PAUSES))
            if number % ROUNDS_BETWEEN_RESTS == 0:
                self._rest()

    def _rest(self) -> None:
        """All eight at once: what must be known of them when they stay, and when they have gone."""
        self._rests += 1
        label = f"{STORM}, rest {self._rests}"
        before = self._site.offline()
        begin = time.monotonic()
        for each in STICKS:
            self._appliance.plug(each.disk)
        serials = {each.serial for each in STICKS}
        self._report.becomes(f"{label}: all are watched", self._site.watched_sticks, serials, START_SECONDS)
        self._plugging.append(time.monotonic() - begin)
        begin = time.monotonic()
        for each in STICKS:
            self._appliance.unplug(each.mount)
        self._report.becomes(f"{label}: none is watched", self._site.watched_sticks, set(), FOLLOW_SECONDS)
        self._pulling.append(time.monotonic() - begin)
        last = wait_until(self._site.offline, lambda now: all(now[s] > before[s] for s in now), FOLLOW_SECONDS)
        silent = [serial for serial in last if last[serial] <= before[serial]]
        self._report.equal(f"{label}: every fixed one was reported", silent, [])

    def _start_churn(self) -> None:
        path = self._appliance.disks()[machine.SATA_HDD.udev_serial].sysfs
        host = next(part for part in path.split("/") if part.startswith("host"))
        self._guest.write("/run/churn", _CHURN.replace("HOST", host))
        self._guest.must("touch /run/churn.on /run/churned; setsid sh /run/churn >/dev/null 2>&1 &")

    def _end_churn(self) -> None:
        self._guest.must("rm /run/churn.on")
        self._site.figure(STORM, "cycles of a SATA disk", self._guest.must("grep -c deleted /run/churned").strip())

    def _check_reports(self) -> None:
        """Each end that the agent saw has its message, and none has two."""
        self._site.figure(STORM, "eight at once: watched after (s)", _span(self._plugging))
        self._site.figure(STORM, "eight at once: gone after (s)", _span(self._pulling))
        log, reported = self._agent.log(), self._site.offline()
        seen = {each.serial: log.count(f"Deleting {each.serial} from its") for each in FIXED}
        self._report.equal(
            f"{STORM}: each end that the agent saw was reported once", {s: n / MONITORS for s, n in seen.items()}, reported
        )
        ends = {each.serial: self._pulls(each.port) for each in FIXED}
        false = [serial for serial, count in reported.items() if count > ends[serial]]
        self._report.equal(f"{STORM}: nothing was reported that the kernel did not", false, [])
        self._site.figure(STORM, "fixed sticks: pulls that the kernel saw", sum(ends.values()))
        self._site.figure(STORM, "of these watched before, and reported", sum(reported.values()))
        anonymous = self._agent.state()["discovery"]["anonymousRemovalCount"]
        self._site.figure(STORM, "ends without a serial number", anonymous)

    def _pulls(self, port: int) -> int:
        """By the console: udevadm loses events of a storm."""
        console = self._appliance.emulator.console.read_text(errors="replace")
        return len(re.findall(rf"usb \d-{port}: USB disconnect", console))

    def _check_resources(self, descriptors: int, resident: int) -> None:
        now = self._report.becomes(
            f"{STORM}: no descriptor was lost", self._agent.open_descriptors, descriptors, FOLLOW_SECONDS
        )
        grown = self._agent.resident_kib() - resident
        self._site.figure(STORM, "descriptors before and after", f"{descriptors}, {now}")
        self._site.figure(STORM, "resident before, and growth (KiB)", f"{resident}, {grown}")
        self._report.check(f"{STORM}: memory stays flat", grown <= MEMORY_KIB, f"{grown} KiB more than {resident}")
        self._report.equal(f"{STORM}: no child was forgotten", self._agent.zombies(), [])

    def _check_survivors(self) -> None:
        """The others' records are those of before, and are still polled."""
        wanted = sorted(record["name"] for record in self._appliance.expected_records(machine.WATCHED).values())
        self._report.becomes(
            f"{STORM}: every survivor is watched", lambda: sorted(self._agent.disks()), wanted, START_SECONDS
        )
        disks, expected = self._agent.disks(), self._appliance.expected_records(machine.WATCHED)
        for disk, record in expected.items():
            shown = {key: disks.get(record["name"], {}).get(key) for key in record}
            self._report.equal(f"{STORM}: {disk.name} has its own record", shown, record)
        runs = self._agent.tool_runs("ok")
        self._report.eventually(f"{STORM}: tools go on", lambda: self._agent.tool_runs("ok"), lambda n: n > runs, 60)


def _span(seconds: list[float]) -> str:
    return f"{min(seconds):.1f} to {max(seconds):.1f}"
