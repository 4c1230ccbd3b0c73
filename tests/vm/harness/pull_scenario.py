"""Disks are pulled in the middle of writing, all at once and again and again."""

import json
import re
from collections import Counter
from datetime import datetime
from pathlib import Path

from .agent import CONFIG, STATUS_ADDRESS, STATUS_SOCKET
from .appliance import Appliance
from .pull_disks import ALL, FIXED, PullDisk, PullDisks
from .scenario import FOLLOW_SECONDS, START_SECONDS, Scenario

GONE_SECONDS = 2.0  # from udev's event of a disk's end to the agent's
OFFLINE = "STORAGEDEVICE_OFFLINE"
EVENTS = "/run/events.log"

_CONFIGURATION = f"""
poll_interval = 5
[appliance]
expected_mounts = {json.dumps([each.mount for each in FIXED])}
[status]
socket = "{STATUS_SOCKET}"
http = "{STATUS_ADDRESS}"
[log]
destination = "stderr"
[trace]
StorageDataMonitorSm = 2
"""


class PullScenario(Scenario):
    """The event of such an end often carries no serial number: udev cannot read a disk any more that has gone."""

    def __init__(self, appliance: Appliance, work: Path, rounds: int) -> None:
        super().__init__(appliance, "-pulls")
        self._rounds = rounds
        self._work = work
        self._disks = PullDisks(appliance)
        self._offset = 0.0  # of UTC to the time since the boot

    def run(self, work: Path) -> None:
        self._report.note(f"{self._rounds} times {len(ALL)} disks are pulled while they are written")
        try:
            self._prepare()
            steps = (self._check_start, self._check_rounds, self._check_times)
            self._run_agent(work, steps)
        finally:
            self._guest.run("killall udevadm")
            for each in ALL:
                each.disk.image(self._work).unlink(missing_ok=True)

    def _prepare(self) -> None:
        for each in ALL:
            each.disk.create_image(self._work)
            node = each.disk.block_node(self._work)
            node["file"]["cache"] = node["cache"] = {"no-flush": True}
            self._appliance.emulator.execute("blockdev-add", node)
        self._agent.configure()
        self._guest.write("/etc/blockdev", "".join(f"{each.rule}\n" for each in ALL))
        self._guest.write(CONFIG, _CONFIGURATION)
        self._guest.must(f"udevadm monitor --kernel --udev --subsystem-match=block/disk >{EVENTS} 2>&1 &")

    def _check_start(self) -> None:
        self._report.becomes("pulls: the internal devices are ready", self._ready, True, START_SECONDS)
        now = self._guest.must("touch /run/now && stat -c %y /run/now && cut -d ' ' -f 1 /proc/uptime").split()
        utc = datetime.fromisoformat(f"{now[0]}T{now[1][:15]}+00:00")  # to the microsecond
        self._offset = utc.timestamp() - float(now[-1])

    def _ready(self) -> bool:
        return bool(self._agent.state().get("internalDevicesReady"))

    def _check_rounds(self) -> None:
        for number in range(1, self._rounds + 1):
            if not self._round(number):
                return

    def _round(self, number: int) -> bool:
        """Waiting for what cannot come takes minutes: the first failure ends it."""
        failures, serials = len(self._report.failures), {each.serial for each in ALL}
        self._disks.plug()
        self._report.eventually(
            f"round {number}: the agent watches the disks", self._seen, serials.__eq__, START_SECONDS
        )
        if len(self._report.failures) > failures:
            return False
        enough = self._disks.write()
        self._report.becomes(
            f"round {number}: they are written", lambda: self._disks.are_written(enough), True, FOLLOW_SECONDS
        )
        self._disks.pull()
        self._report.becomes(f"round {number}: the agent watches none of them", self._seen, set(), FOLLOW_SECONDS)
        self._report.becomes(
            f"round {number}: each fixed one was reported once more",
            self._offline,
            Counter({each.serial: number for each in FIXED}),
            FOLLOW_SECONDS,
        )
        return len(self._report.failures) == failures

    def _seen(self) -> set[str]:
        return {each.serial for each in ALL} & set(self._agent.disks())

    def _offline(self) -> Counter[str]:
        return Counter(serial for _, serial in self._agent.said(OFFLINE))

    def _check_times(self) -> None:
        """From udev's event, before which the agent cannot know, to the end of the disk's record."""
        (self._work / "vm-events-pulls.log").write_text(self._guest.must(f"cat {EVENTS}"))
        kernel, udev, log = self._ends("KERNEL"), self._ends("UDEV"), self._agent.log()
        late = []
        for each in ALL:
            agent = self._agent_ends(log, each)
            counts = (len(kernel[each]), len(udev[each]), len(agent))
            self._report.equal(f"{each.serial}: ends seen by the kernel, udev and the agent", counts, (self._rounds,) * 3)
            took = [end - begin for begin, end in zip(udev[each], agent, strict=False)]
            total = [end - begin for begin, end in zip(kernel[each], agent, strict=False)]
            self._report.note(f"{each.serial}: gone {_span(took)} after udev's event, {_span(total)} after the kernel's")
            late += [f"{each.serial}: {seconds:.2f} s" for seconds in took if seconds > GONE_SECONDS]
        anonymous = self._agent.state().get("discovery", {}).get("anonymousRemovalCount", 0)
        self._report.check("ends without a serial number were among them", anonymous > 0, str(anonymous))
        self._report.note(f"{anonymous} ends came without a serial number")
        self._report.equal(f"each was gone within {GONE_SECONDS:g} s of udev's event", late, [])
        self._check_offline_times(udev)

    def _check_offline_times(self, udev: dict[PullDisk, list[float]]) -> None:
        """Each end of a fixed disk has its message, in time, and no second one."""
        messages = [message for message in self._agent.messages() if message["name"] == OFFLINE]
        late = []
        for each in FIXED:
            times = [message["time"] for message in messages if message["arguments"] == [each.serial]]
            self._report.equal(f"{each.serial}: reported offline once an end", len(times), self._rounds)
            took = [time - end for end, time in zip(udev[each], times, strict=False)]
            self._report.note(f"{each.serial}: reported {_span(took)} after udev's event")
            late += [f"{each.serial}: {seconds:.2f} s" for seconds in took if seconds > GONE_SECONDS]
        self._report.equal(f"each was reported offline within {GONE_SECONDS:g} s of udev's event", late, [])

    def _ends(self, source: str) -> dict[PullDisk, list[float]]:
        """In UTC, by disk."""
        pattern = rf"^{source} *\[([\d.]+)\] remove +(\S+)"
        events = re.findall(pattern, self._guest.must(f"cat {EVENTS}"), re.MULTILINE)
        return {each: [float(stamp) + self._offset for stamp, path in events if each.is_at(path)] for each in ALL}

    def _agent_ends(self, log: str, each: PullDisk) -> list[float]:
        """When the first of its health records went, each time, in UTC; the others follow at once."""
        pattern = rf"^(\S+) .*Deleting {each.serial} from its associated"
        stamps = [datetime.fromisoformat(stamp).timestamp() for stamp in re.findall(pattern, log, re.MULTILINE)]
        return [now for before, now in zip([0.0, *stamps], stamps, strict=False) if now - before > 0.5]


def _span(seconds: list[float]) -> str:
    return f"{min(seconds):.2f} to {max(seconds):.2f} s" if seconds else "never"
