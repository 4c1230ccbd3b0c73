"""What every storm needs: the agent's figures, a look at how fast it answers, and the figures that are to be shown."""

import re
from dataclasses import dataclass, field

from .agent import CONFIG, KERNEL_SOCKET, PID, STATUS_ADDRESS, STATUS_SOCKET, Agent
from .appliance import Appliance
from .pull_disks import PullDisk

STICKS = tuple(PullDisk(port, fixed=port < 10) for port in range(6, 14))
FIXED = tuple(each for each in STICKS if each.fixed)
OFFLINE = "STORAGEDEVICE_OFFLINE"
IO_ERRORS = ("STORAGEDEVICE_IO_ERROR", "STORAGEDEVICE_IO_ERROR_EXTERNAL_USB")
POLL_SECONDS, TOOL_SECONDS = 5, 10

_PROBES = "/run/probes"
# Asks how the agent is, twice a second, and writes how long the answer took: begin, end, exit code.
_PROBE = f"""#!/bin/sh
uptime() {{ read -r now rest </proc/uptime; }}
while :; do
   uptime; begin=$now
   timeout 100 busybox wget -q -O /dev/null http://{STATUS_ADDRESS}/healthz 2>/dev/null; status=$?
   uptime; echo "$begin $now $status" >>{_PROBES}
   usleep 500000
done
"""


def configuration(mounts: list[str], state: str = "/run/storagedevices") -> str:
    return f"""
poll_interval = {POLL_SECONDS}
[appliance]
expected_mounts = {mounts}
mount_source_dir = "{state}/mount-source"
[tools]
timeout = {TOOL_SECONDS}
[kernel_messages]
socket = "{KERNEL_SOCKET}"
[status]
socket = "{STATUS_SOCKET}"
http = "{STATUS_ADDRESS}"
[history]
file = "{state}/history"
[log]
destination = "stderr"
[trace]
StorageDataMonitorSm = 2
"""


class StormAgent(Agent):
    def metrics(self) -> dict[str, float]:
        """Each series by its name with its labels, as it is served."""
        text = self._guest.must(f"busybox wget -q -O - http://{STATUS_ADDRESS}/metrics", 40)
        rows = (line.rsplit(" ", 1) for line in text.splitlines() if line and not line.startswith("#"))
        return {name: float(value) for name, value in rows}

    def kernel_lines(self) -> dict[str, int]:
        name = r'storagedevices_kernel_lines_total\{result="(\w+)"\}'
        return {found[1]: int(value) for key, value in self.metrics().items() if (found := re.fullmatch(name, key))}

    def tool_runs(self, result: str) -> int:
        found = (value for name, value in self.metrics().items() if "_tool_runs_total" in name and f'"{result}"' in name)
        return int(sum(found))

    def resident_kib(self) -> int:
        return int(self._guest.must(f"sed -n 's/^VmRSS:[^0-9]*\\([0-9]*\\).*/\\1/p' /proc/$(cat {PID})/status"))

    def tool_processes(self) -> list[str]:
        """Those that run or cannot be ended, by name."""
        tools = {"smartctl", "nvme", "hdparm", "expr", "nvme-compat"}
        return sorted(process for process in self.processes() if process in tools)

    def signal(self, name: str) -> None:
        self._guest.must(f"kill -{name} $(cat {PID})")


@dataclass
class Site:
    """The appliance in which the storms blow, with the figures for the table."""

    appliance: Appliance
    agent: StormAgent
    rows: list[tuple[str, str, str]] = field(default_factory=list)

    def figure(self, storm: str, what: str, value: object) -> None:
        self.rows.append((storm, what, str(value)))
        self.appliance.report.note(f"{storm}: {what}: {value}")

    def start_probe(self) -> None:
        guest = self.appliance.guest
        guest.write("/run/probe", _PROBE)
        guest.must(f"rm -f {_PROBES}; setsid sh /run/probe >/dev/null 2>&1 & echo $! >/run/probe.pid")

    def stop_probe(self) -> None:
        self.appliance.guest.run("kill $(cat /run/probe.pid)")

    def slowest_answer(self, since: float) -> tuple[float, int]:
        """In seconds of all that were asked after `since` (of the guest's uptime), and the number of those that failed."""
        rows = [line.split() for line in self.appliance.guest.must(f"cat {_PROBES}", 40).splitlines()]
        probes = [(float(end) - float(begin), int(status)) for begin, end, status in rows if float(begin) >= since]
        return max((took for took, _ in probes), default=0.0), sum(status != 0 for _, status in probes)

    def uptime(self) -> float:
        return float(self.appliance.guest.must("cut -d ' ' -f 1 /proc/uptime"))

    def watched_sticks(self) -> set[str]:
        return {each.serial for each in STICKS} & set(self.agent.disks())

    def offline(self) -> dict[str, int]:
        """How often each fixed stick was reported offline."""
        said = [serial for _, serial in self.agent.said(OFFLINE)]
        return {each.serial: said.count(each.serial) for each in FIXED}

    def check_answers(self, storm: str, since: float, seconds: float) -> None:
        slowest, failed = self.slowest_answer(since)
        self.figure(storm, "slowest answer of /healthz (s)", f"{slowest:.2f}")
        self.appliance.report.check(f"{storm}: every answer came within {seconds:g} s", slowest < seconds, f"{slowest} s")
        self.appliance.report.equal(f"{storm}: every question was answered", failed, 0)


def write_configuration(site: Site, text: str) -> None:
    site.appliance.guest.write(CONFIG, text)
