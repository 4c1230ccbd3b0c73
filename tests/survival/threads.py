#!/usr/bin/python3
"""The agent with its threads (loop, watchdog, log) under ThreadSanitizer and load; see README.md."""

import argparse
import contextlib
import ctypes
import os
import signal
import socket
import subprocess
import tempfile
import threading
import time
from pathlib import Path
from typing import Iterator

import survival
from survival import PATIENCE, Agent, Bed, ask, fleet, wait

READERS = 8
FOLLOWERS = 8
STALL = 7.0  # seconds that the loop's call does not return and that nobody reads the log; five are a stall
SEIZE, INTERRUPT, DETACH = 0x4206, 0x4207, 17  # of ptrace
EPOLL_WAITS = ("232", "281")  # on x86-64


class Sink:
    """The agent's log: read at once, or not at all."""

    def __init__(self) -> None:
        self.text = b""
        self.reads, self.writes = os.pipe()
        self.flows = threading.Event()
        self.flows.set()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self) -> None:
        while self.flows.wait() and (piece := os.read(self.reads, 4096)):
            self.text += piece


class Load:
    """Clients that ask for everything, and followers of events."""

    def __init__(self, path: Path) -> None:
        self.path = path
        self.answers = 0
        self.ended = threading.Event()
        self.threads = [threading.Thread(target=self._ask) for _ in range(READERS)]
        self.threads += [threading.Thread(target=self._follow) for _ in range(FOLLOWERS)]
        for thread in self.threads:
            thread.start()

    def end(self) -> None:
        self.ended.set()
        for thread in self.threads:
            thread.join()

    def _ask(self) -> None:
        while not self.ended.is_set():
            try:
                ask(self.path, "/api/v1/state?history=all")
                self.answers += 1
            except (OSError, ValueError):
                time.sleep(0.1)

    def _follow(self) -> None:
        while not self.ended.is_set():
            try:
                with socket.socket(socket.AF_UNIX) as connection:
                    connection.settimeout(1)
                    connection.connect(str(self.path))
                    connection.sendall(b"GET /api/v1/events HTTP/1.1\r\nHost: unit\r\n\r\n")
                    while connection.recv(65536) and not self.ended.is_set():
                        pass
            except OSError:
                time.sleep(0.1)


@contextlib.contextmanager
def stalled(process: int) -> Iterator[None]:
    """Its first thread, the loop, stands still within a turn; the others run."""
    ptrace = ctypes.CDLL(None, use_errno=True).ptrace
    ptrace.argtypes = [ctypes.c_long] * 4
    deadline = time.monotonic() + PATIENCE
    while True:
        assert time.monotonic() < deadline, "the loop is never in a turn"
        assert ptrace(SEIZE, process, 0, 0) == 0, os.strerror(ctypes.get_errno())
        assert ptrace(INTERRUPT, process, 0, 0) == 0
        os.waitpid(process, 0)
        if Path(f"/proc/{process}/syscall").read_text().split()[0] not in EPOLL_WAITS:
            break
        ptrace(DETACH, process, 0, 0)
        time.sleep(0.003)
    try:
        yield
    finally:
        ptrace(DETACH, process, 0, 0)


def disturb(agent: "WatchedAgent", sink: Sink, rounds: int) -> None:
    """Reloads, a log that nobody reads, and a loop that stands still."""
    for _ in range(rounds):
        sink.flows.clear()
        for _ in range(20):
            agent.process.send_signal(signal.SIGHUP)
            time.sleep(STALL / 20)
        sink.flows.set()
        with stalled(agent.process.pid):
            time.sleep(STALL)
        time.sleep(2)


class WatchedAgent(Agent):
    """Built with ThreadSanitizer; its reports go to files of `folder`, its log to `sink`."""

    def __init__(self, bed: Bed, folder: Path, program: Path, sink: Sink) -> None:
        self.bed = bed
        self.socket = folder / "status.sock"
        self.log = folder.parent / "unused.log"
        self.log.touch()
        options = f"log_path={folder}/report:exitcode=66:report_signal_unsafe=1"
        self.process = subprocess.Popen(
            [program, "agent", "--config", bed.write_config(folder)],
            env={**bed.environment, "TSAN_OPTIONS": options}, stdin=subprocess.DEVNULL,
            stdout=sink.writes, stderr=sink.writes)
        os.close(sink.writes)


def check(bed: Bed, folder: Path, program: Path, rounds: int) -> str:
    sink = Sink()
    with WatchedAgent(bed, folder, program, sink) as agent:
        wait(lambda: agent.state() is not None, PATIENCE, "its start")
        assert b"__tsan_init" in program.read_bytes(), f"{program} is built without ThreadSanitizer"
        threads = len(os.listdir(f"/proc/{agent.process.pid}/task"))
        load = Load(agent.socket)
        try:
            disturb(agent, sink, rounds)
        finally:
            load.end()
        wait(lambda: agent.state() is not None, PATIENCE, "the end of the load")
        agent.process.send_signal(signal.SIGTERM)
        code = agent.process.wait(PATIENCE)
    reports = [report.read_text() for report in folder.glob("report*")]
    assert not reports, reports[0][:6000]
    assert code == 0, f"exit code {code}"
    assert load.answers > 0, "no client was answered"
    stalls = sink.text.count(b"the loop has been stalled")
    assert stalls >= rounds, f"{stalls} stalls reported:\n{sink.text[-2000:].decode()}"
    return f"{threads} threads, {load.answers} answers, {rounds * 20} reloads, {stalls} stalls reported: no data race"


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--agent", type=Path, default=survival.AGENT.parents[3] / "tsan/src/command/storagedevices")
    parser.add_argument("--rounds", type=int, default=1)
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as name, fleet.Unit("unit", Path(name), survival.SCALE) as unit:
        wait(lambda: len(ask(unit.socket(), "/api/v1/state")["connectedDevices"]["disk"]) == 4, PATIENCE, "four disks")
        folder = Path(name) / "threads"
        folder.mkdir()
        print("| threads |", check(Bed(unit), folder, options.agent, options.rounds), "|", flush=True)


if __name__ == "__main__":
    main()
