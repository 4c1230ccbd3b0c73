"""The agent in the guest: started, asked and stopped as an operator would."""

import json
from typing import Any

from . import machine
from .guest_control import Guest
from .initramfs import GUEST_PREFIX

PROGRAM = f"{GUEST_PREFIX}/bin/storagedevices"
CONFIG, LOG, PID, STATUS = "/etc/storagedevices.toml", "/run/agent.log", "/run/agent.pid", "/run/agent.status"
STATUS_SOCKET, STATUS_ADDRESS = "/run/storagedevices/status.sock", "127.0.0.1:9634"
KERNEL_SOCKET = "/run/kernelmessages"

# An hour of the framework's time passes in a minute, so that a file system test and several polls fit in.
TIME_SCALE = 60
POLL_SECONDS = 15  # real ones

_CONFIGURATION = f"""
[appliance]
expected_mounts = {json.dumps(machine.EXPECTED_MOUNTS)}

[status]
socket = "{STATUS_SOCKET}"
http = "{STATUS_ADDRESS}"

[log]
destination = "stderr"

[trace]
StorageConnectedDevicesSm = 1
StorageDevicesErrWatchSm = 7
"""


class AgentApi:
    """Asks the running agent over HTTP."""

    def __init__(self, guest: Guest) -> None:
        self._guest = guest

    def state(self) -> dict[str, Any]:
        """The state document; empty while the agent does not answer."""
        return self._asked("state")

    def time(self) -> float:
        """By its own clock, as it times its readings."""
        return float(self.state().get("time", 0.0))

    def disks(self) -> dict[str, dict[str, Any]]:
        return self.state().get("connectedDevices", {}).get("disk", {})

    def messages(self) -> list[dict[str, Any]]:
        return self._asked("messages").get("messages", [])

    def has_said(self, name: str, argument: str) -> bool:
        return any(message["name"] == name and argument in message["arguments"] for message in self.messages())

    def said(self, *names: str) -> list[tuple[str, ...]]:
        """The messages of these names, each with its arguments behind its name."""
        return [(message["name"], *message["arguments"]) for message in self.messages() if message["name"] in names]

    def _asked(self, resource: str) -> dict[str, Any]:
        answer = self._guest.run(f"busybox wget -q -O - http://{STATUS_ADDRESS}/api/v1/{resource}", 30)
        return json.loads(answer.out) if answer.status == 0 else {}


class Agent(AgentApi):
    """One run of the agent."""

    def configure(self, poll_seconds: int = POLL_SECONDS, tools: str = "", time_scale: int = TIME_SCALE) -> None:
        """Writes its files; `poll_seconds` are real ones, `tools` is the content of that section."""
        self._guest.write("/etc/blockdev", machine.ETC_BLOCKDEV)
        self._guest.write("/etc/multidrive", machine.ETC_MULTIDRIVE)
        self._guest.write("/etc/multidrive_src", machine.ETC_MULTIDRIVE_SRC)
        configuration = f"poll_interval = {poll_seconds * time_scale}\n{_CONFIGURATION}\n[tools]\n{tools}\n"
        configuration += f"[clock]\ntime_scale = {time_scale}.0\n"
        self._guest.write(CONFIG, configuration)

    def start(self) -> None:
        program = f"echo $$ >{PID}; exec {PROGRAM} agent --config {CONFIG}"
        self._guest.must(f"rm -f {STATUS}")
        self._guest.must(f"(setsid sh -c '{program}' >/run/agent.out 2>{LOG}; echo $? >{STATUS}) >/dev/null 2>&1 &")

    def terminate(self) -> None:
        self._guest.must(f"kill -TERM $(cat {PID})")

    def exit_status(self) -> str:
        """Empty while it runs."""
        return self._guest.run(f"cat {STATUS}").out.strip()

    def log(self) -> str:
        return self._guest.run(f"cat {LOG}", 40).out

    def shown_state(self) -> dict[str, Any]:
        """The same through the program that an operator runs, which takes the guest ten times as long."""
        answer = self._guest.run(f"{PROGRAM} status --json", 30)
        return json.loads(answer.out) if answer.status == 0 else {}

    def errors_kept_back(self) -> int:
        """How many lines of the kernel reported errors of disks that were reported already."""
        return int(self._guest.run(f"grep -c 'Syslog for .* seconds ago' {LOG}").out)

    def has_heard(self, stamp: str) -> bool:
        """Whether a line of the kernel with this stamp, and so every one before it, has come."""
        return self._guest.run(f"grep -qF 'receivedkernel: {stamp}' {LOG}").status == 0

    def open_descriptors(self) -> int:
        """The least of a few samples, since a poll in flight opens some for a moment."""
        counts = self._guest.must(f"for i in 1 2 3 4 5; do ls /proc/$(cat {PID})/fd | wc -l; done").split()
        return min(int(count) for count in counts)

    def zombies(self) -> list[str]:
        """The processes that ended and were not waited for, by name."""
        script = "/^Name:/h; /^State:.Z/{g; p}"
        return self._guest.run(f"sed -n '{script}' /proc/[0-9]*/status 2>/dev/null").out.splitlines()

    def leftovers(self) -> list[str]:
        """Its sockets and the processes of its tools that are still there."""
        sockets = self._guest.run(f"ls {STATUS_SOCKET} {KERNEL_SOCKET} 2>/dev/null").out.split()
        tools = {"agent", "smartctl", "nvme", "hdparm", "expr"}
        return sockets + [process for process in self.processes() if process in tools]

    def processes(self) -> list[str]:
        """The guest's processes by name, those of the agent's tools among them."""
        return self._guest.must("for p in /proc/[0-9]*; do cat $p/comm 2>/dev/null; done; true").split("\n")
