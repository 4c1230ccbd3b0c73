"""A simulated unit with a running agent, on which documented commands are run as an operator types them."""

import os
import re
import select
import signal
import subprocess
import tomllib
from pathlib import Path
from typing import Optional

import documents  # noqa: F401  makes the modules of tests/fleet known
import fleet
import servers
from places import AGENT

SCALE = 60  # times as fast as the machine
DISK = "KS0240118842"  # of the demo, whose disks the unit has
PROGRAMS = Path(__file__).resolve().parent / "bin"
DEADLINE = 30.0  # seconds; a busy machine is slow

# What runs until somebody ends it by Ctrl-C, and its exit code then. The demo says so with 1 where its output is no terminal.
ENDLESS = {
    r"storagedevices agent\b": 0,
    r"storagedevices demo\b": 1,
    r"storagedevices \w+ --(?:watch|follow)\b": -signal.SIGINT,
    r"curl -N ": -signal.SIGINT,
}

_SCRATCH = """\
[appliance]
etc_dir = "{folder}/etc"
expected_mounts = {mounts}
mount_source_dir = "{folder}/mount-source"
[tools]
path = "{tools}"
[kernel_messages]
socket = "{folder}/kernel.sock"
forward_kmsg = false
[status]
socket = "{folder}/status.sock"
[history]
file = ""
"""


class OperatedUnit:
    """`with` starts it, and waits until all disks are good and the agent has logged a message."""

    def __init__(self, folder: Path) -> None:
        self._folder = folder
        self._unit = fleet.Unit("unit", folder, SCALE)
        self._scratches = 0

    def __enter__(self) -> "OperatedUnit":
        self._unit.__enter__()
        try:
            self._learn()
            self._wait_for_check(0)
            self._unit.happens("pull", "sdb")
            self._wait_for_check(2)
            self._unit.happens("plug", "sdb")
            self._wait_for_check(0)
        except BaseException:
            self._unit.stop()
            raise
        return self

    def __exit__(self, *error: object) -> None:
        self._unit.stop()

    @property
    def address(self) -> str:
        """Where the agent serves HTTP."""
        return self._unit.address

    def scratch(self) -> Path:
        """A folder with the files of a unit that is to be set up, as `configuration`, new.toml and test.toml."""
        self._scratches += 1
        folder = self._folder / f"scratch{self._scratches}"
        (folder / "etc").mkdir(parents=True)
        text = _SCRATCH.format(folder=folder, mounts=self._settings["appliance"]["expected_mounts"],
                               tools=self._settings["tools"]["path"])
        for name in ("storagedevices.toml", "new.toml", "test.toml"):
            (folder / name).write_text(text)
        return folder

    def run(self, line: str, folder: Optional[Path] = None) -> tuple[int, str]:
        """The exit code and the output of a line of the shell. What is endless is ended after its first output."""
        folder = folder or self.scratch()
        process = subprocess.Popen(["bash", "-o", "pipefail", "-c", self._here(line, folder)], cwd=folder, env=self._environment(folder),
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
        try:
            if _interrupted(line) is not None:
                select.select([process.stdout], [], [], DEADLINE)
                os.killpg(process.pid, signal.SIGINT)
            output = process.communicate(timeout=DEADLINE)[0].decode(errors="replace")
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            output = process.communicate()[0].decode(errors="replace") + f"(did not end within {DEADLINE:.0f} s)"
        return process.returncode, output

    def fails(self, line: str, folder: Optional[Path] = None) -> str:
        """What a line that must succeed has printed, if it does not; else nothing."""
        code, output = self.run(line, folder)
        return "" if code == (_interrupted(line) or 0) else f"{line}\nends with {code}:\n{output}"

    def _wait_for_check(self, code: int) -> None:
        servers.wait(lambda: self.run("storagedevices check")[0] == code, DEADLINE, f"a check that ends with {code}")

    def _learn(self) -> None:
        """The agent's configuration and environment, from its process."""
        process = Path(f"/proc/{self._unit.agent()}")
        self._configuration = process.joinpath("cmdline").read_text().split("\0")[2]
        entries = process.joinpath("environ").read_text().split("\0")
        self._inherited = dict(entry.split("=", 1) for entry in entries if "=" in entry)
        self._settings = tomllib.loads(Path(self._configuration).read_text())

    def _environment(self, folder: Path) -> dict[str, str]:
        return self._inherited | {
            "PATH": f"{PROGRAMS}:{self._inherited['PATH']}",
            "DOCUMENTED_PROGRAM": str(AGENT),
            "DOCUMENTED_SOCKET": self._settings["status"]["socket"],
            "DOCUMENTED_CONFIG": str(folder / "storagedevices.toml"),
        }

    def _here(self, line: str, folder: Path) -> str:
        """The usual names replaced by those of this unit."""
        running = self._configuration if "reload" in line else str(folder / "storagedevices.toml")
        port = str(servers.free_port()) if "demo" in line else self.address.split(":")[1]
        return (line.replace("/run/storagedevices/status.sock", self._settings["status"]["socket"])
                .replace("/etc/storagedevices/storagedevices.toml", running)
                .replace("127.0.0.1:9634", f"127.0.0.1:{port}"))


def spelled_out(line: str) -> str:
    """A command of a sentence, with values in the place of words such as SERIAL."""
    values = {"SERIAL": DISK, "N": "1", "FILE": "./new.toml", "PATH": "/run/storagedevices/status.sock"}
    return re.sub(r"\b(?:SERIAL|N|FILE|PATH)\b", lambda word: values[word[0]], line)


def _interrupted(line: str) -> Optional[int]:
    """The exit code of what is ended by Ctrl-C; of nothing else."""
    return next((code for pattern, code in ENDLESS.items() if re.match(pattern, line)), None)
