#!/usr/bin/python3
"""Agents on a simulated unit that are killed, or kept short of descriptors or of room; see README.md."""

import argparse
import contextlib
import json
import os
import random
import resource
import signal
import socket
import subprocess
import sys
import tempfile
import time
from pathlib import Path
from typing import Any, Iterator, Optional

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "fleet"))

import fleet  # noqa: E402
from places import AGENT  # noqa: E402
from servers import wait  # noqa: E402

PATIENCE = 60.0  # seconds; a busy machine is slow
SCALE = 600  # a poll takes a tenth of a second
LONGEST_LIFE = 0.8  # seconds until the kill
SPIN = 0.5  # share of a processor that an agent short of descriptors may use


class Bed:
    """Disks without an agent of their own: what a fleet's unit has made of its configuration and environment."""

    def __init__(self, unit: fleet.Unit) -> None:
        agent = unit.agent()
        words = Path(f"/proc/{agent}/environ").read_bytes().split(b"\0")
        self.environment = dict(word.decode().split("=", 1) for word in words if word)
        self.config = unit.socket().with_name("demo.toml").read_text()
        self.folder = str(unit.socket().parent)
        self.disks = set(ask(unit.socket(), "/api/v1/state")["connectedDevices"]["disk"])
        unit.silent(True)

    def write_config(self, folder: Path) -> Path:
        """Its own sockets, history and mount sources in `folder`, and no TCP."""
        text = self.config
        for name in ("status.sock", "history", "mount-source", "kernel.sock"):
            text = text.replace(f"{self.folder}/{name}", str(folder / name))
        lines = [line for line in text.splitlines() if not line.startswith("http")]
        assert self.folder + "/status" not in text
        (folder / "mount-source").mkdir(exist_ok=True)
        file = folder.parent / f"{folder.name}.toml"
        file.write_text("\n".join(lines) + "\n")
        return file


def ask(path: Path, what: str) -> Any:
    """The JSON that the agent at this socket answers."""
    with socket.socket(socket.AF_UNIX) as connection:
        connection.settimeout(10)
        connection.connect(str(path))
        connection.sendall(f"GET {what} HTTP/1.0\r\n\r\n".encode())
        answer = b""
        while piece := connection.recv(65536):
            answer += piece
    head, _, body = answer.partition(b"\r\n\r\n")
    if b" 200 " not in head.split(b"\r\n")[0]:
        raise OSError(f"{what}: {head[:80]!r}")
    return json.loads(body)


class Agent:
    """One that ends with the block."""

    def __init__(self, bed: Bed, folder: Path, memory: int = 0) -> None:
        self.bed = bed
        self.socket = folder / "status.sock"
        self.log = folder.parent / f"{folder.name}.log"
        limit = ["prlimit", f"--as={memory}"] if memory else []
        with self.log.open("wb") as log:
            self.process = subprocess.Popen(
                [*limit, AGENT, "agent", "--config", bed.write_config(folder)],
                env=bed.environment, stdin=subprocess.DEVNULL, stdout=log, stderr=log)

    def __enter__(self) -> "Agent":
        return self

    def __exit__(self, *error: object) -> None:
        self.process.kill()
        self.process.wait()

    def state(self) -> Optional[dict[str, Any]]:
        with contextlib.suppress(OSError, ValueError):
            return ask(self.socket, "/api/v1/state")
        return None

    def has_all(self) -> bool:
        """Every disk, and a verdict of each that rests on a reading."""
        if self.process.poll() is not None:
            raise AssertionError(f"the agent ended with {self.process.returncode}:\n{self.log.read_text()[-2000:]}")
        state = self.state() or {}
        verdicts = state.get("verdicts", {})
        return set(state.get("connectedDevices", {}).get("disk", {})) == self.bed.disks == set(verdicts) and all(
            verdict["verdict"] != "unknown" for verdict in verdicts.values())

    def comes(self, what: str) -> float:
        """Waits for all disks; the seconds that it took."""
        begin = time.monotonic()
        try:
            wait(self.has_all, PATIENCE, what)
        except AssertionError as error:
            raise AssertionError(f"{error}\n{self.log.read_text()[-2000:]}") from None
        return time.monotonic() - begin

    def descriptors(self) -> int:
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))

    def processor_seconds(self) -> float:
        fields = Path(f"/proc/{self.process.pid}/stat").read_text().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def disturb(agent: Agent, chance: random.Random) -> None:
    """What is under way when the agent dies: a request, a reload, a shutdown, or nothing."""
    what = chance.choice(["request", "reload", "shutdown", "nothing"])
    if what == "request":
        agent.state()
    elif what != "nothing":
        agent.process.send_signal(signal.SIGHUP if what == "reload" else signal.SIGTERM)


def start_complaints(log: str) -> list[str]:
    """Lines in which an agent says that what its predecessor left is damaged, or in its way. A clock that runs faster
    than the machine's begins at the machine's time again, so that readings of the predecessor may lie ahead."""
    words = ("history", "in use", "already", "cannot", "could not")
    lines = [line for line in log.splitlines() if "since the clock was set back" not in line]
    return [line for line in lines if any(word in line.lower() for word in words)]


def kills(bed: Bed, folder: Path, count: int, seed: int) -> str:
    """An agent is killed at a random moment; the next must start as if nothing had been."""
    chance = random.Random(seed)
    for number in range(count):
        with Agent(bed, folder) as agent:
            time.sleep(chance.uniform(0, LONGEST_LIFE))
            disturb(agent, chance)
            time.sleep(chance.choice([0, 0, chance.uniform(0, 0.02)]))
        if number % 10 == 9 or number == count - 1:
            checked_start(bed, folder, f"kill {number + 1} of seed {seed}")
    return f"{count} kills of seed {seed}: each tenth start whole"


def checked_start(bed: Bed, folder: Path, what: str) -> None:
    with Agent(bed, folder) as agent:
        agent.comes(what)
        assert not (bad := start_complaints(agent.log.read_text())), f"{what}: {bad}"


@contextlib.contextmanager
def connections(path: Path, count: int) -> Iterator[None]:
    """Clients that say nothing."""
    with contextlib.ExitStack() as stack:
        for _ in range(count):
            client = stack.enter_context(socket.socket(socket.AF_UNIX))
            client.setblocking(False)
            with contextlib.suppress(BlockingIOError):
                client.connect(str(path))
        yield


def descriptors(bed: Bed, folder: Path, most: int) -> str:
    """At each limit from none to spare to `most`, with more clients than fit; then the limit is lifted."""
    with Agent(bed, folder) as agent:
        agent.comes("its start")
        used = agent.descriptors()
        whole = resource.prlimit(agent.process.pid, resource.RLIMIT_NOFILE)
        busiest = slowest = 0.0
        for spare in range(most):
            before, begin = agent.processor_seconds(), time.monotonic()
            resource.prlimit(agent.process.pid, resource.RLIMIT_NOFILE, (used + spare, whole[1]))
            with connections(agent.socket, 40):
                time.sleep(1)
                busiest = max(busiest, (agent.processor_seconds() - before) / (time.monotonic() - begin))
            resource.prlimit(agent.process.pid, resource.RLIMIT_NOFILE, whole)
            slowest = max(slowest, agent.comes(f"the end of a limit of {used + spare} descriptors"))
        wait(lambda: agent.descriptors() <= used + 6, PATIENCE, f"{used} descriptors, now {agent.descriptors()}")
        assert busiest < SPIN, f"{busiest:.2f} of a processor while short of descriptors"
    return f"{most} limits from {used}: whole {slowest:.1f} s after the last, {busiest:.0%} of a processor at most"


def memory(bed: Bed, folder: Path, most: int) -> str:
    """At each limit from what is mapped, 64 KiB more each, under requests; then the limit is lifted."""
    with Agent(bed, folder) as agent:
        agent.comes("its start")
        whole = resource.prlimit(agent.process.pid, resource.RLIMIT_AS)
        refused = 0
        for step in range(most):
            mapped = int(Path(f"/proc/{agent.process.pid}/statm").read_text().split()[0]) * resource.getpagesize()
            resource.prlimit(agent.process.pid, resource.RLIMIT_AS, (mapped + step * 65536, whole[1]))
            with connections(agent.socket, 40):
                refused += sum(agent.state() is None for _ in range(10))
            time.sleep(0.5)
            resource.prlimit(agent.process.pid, resource.RLIMIT_AS, whole)
            agent.comes(f"the end of a limit of {mapped} bytes and {step * 64} KiB")
    return f"{most} limits from what is mapped: whole after each, {refused} of {most * 10} requests refused"


def scarce_starts(bed: Bed, folder: Path, most: int) -> str:
    """Starts with ever more memory: each serves, or ends with a line that says why."""
    ended = 0
    for step in range(most):
        limit = (4 + 60 * step // most) << 20
        with Agent(bed, folder, limit) as agent:
            wait(lambda: agent.process.poll() is not None or agent.state() is not None, PATIENCE, f"{limit} bytes")
            code = agent.process.poll()
            log = agent.log.read_text().strip()
        ended += code is not None
        assert code is None or (code > 0 and log and "terminate" not in log), f"{limit} bytes: {code}: {log}"
    return f"{most} starts within 4 to 64 MiB: {ended} ended with a line, the others served"


def fill(folder: Path) -> Path:
    """Leaves no byte."""
    filler = folder.parent / "filler"
    with filler.open("wb", buffering=0) as out, contextlib.suppress(OSError):
        while out.write(b"x" * 4096):
            pass
    return filler


def room(bed: Bed, top: Path) -> str:
    """The folder of socket, mount sources and history is full while the agent runs, and when one starts."""
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=256k", "none", top], check=True)
    try:
        folder = top / "run"
        folder.mkdir()
        with Agent(bed, folder) as agent:
            agent.comes("its start")
            filler = fill(folder)
            time.sleep(1)
            agent.comes("all disks without room")
            filler.unlink()
            agent.process.send_signal(signal.SIGTERM)
            assert agent.process.wait(PATIENCE) == 0
        filler = fill(folder)
        with Agent(bed, folder) as agent:
            time.sleep(1)
            filler.unlink()
            agent.comes("a start without room")
            assert agent.process.poll() is None
    finally:
        subprocess.run(["umount", "-l", top], check=True)
    return "full while it runs, and at its start: whole each time"


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--kills", type=int, default=20)
    parser.add_argument("--limits", type=int, default=3)
    parser.add_argument("--seed", type=int, default=random.randrange(1000000))
    options = parser.parse_args()
    print("| scarce | seen |\n| --- | --- |")
    with tempfile.TemporaryDirectory() as name, fleet.Unit("unit", Path(name), SCALE) as unit:
        top = Path(name)
        for part in ("killed", "short", "lean", "full"):
            (top / part).mkdir()
        wait(lambda: len(ask(unit.socket(), "/api/v1/state")["connectedDevices"]["disk"]) == 4, PATIENCE, "four disks")
        bed = Bed(unit)
        print("| life |", kills(bed, top / "killed", options.kills, options.seed), "|", flush=True)
        print("| descriptors |", descriptors(bed, top / "short", options.limits), "|", flush=True)
        print("| memory |", memory(bed, top / "lean", options.limits), "|", flush=True)
        print("| memory at the start |", scarce_starts(bed, top / "lean", options.limits), "|", flush=True)
        if os.geteuid() == 0:
            print("| room in /run |", room(bed, top / "full"), "|", flush=True)
        else:
            print("| room in /run | not tried: only root mounts |", flush=True)


if __name__ == "__main__":
    main()
