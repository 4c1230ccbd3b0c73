"""Programs that serve on loopback while a test runs, and end with it."""

import contextlib
import json
import os
import random
import signal
import socket
import subprocess
import time
import urllib.error
import urllib.parse
import urllib.request
from pathlib import Path
from typing import Any, Callable, Optional, Self, Sequence

READY = 30.0  # seconds; a busy machine is slow


# Below those that the kernel gives to connections: one of these may take the port before the server does.
_ports = iter(range(random.randrange(20000, 32000, 50), 32768))


def free_port() -> int:
    """A port of loopback without a server; no port twice."""
    for port in _ports:
        with socket.socket() as sock, contextlib.suppress(OSError):
            sock.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            sock.bind(("127.0.0.1", port))
            return port
    raise AssertionError("no port")


def fetch(url: str, data: Optional[object] = None, seconds: float = 10) -> bytes:
    """What the URL answers in that time; `data` is posted as JSON."""
    body = None if data is None else json.dumps(data).encode()
    request = urllib.request.Request(url, body, {"Content-Type": "application/json"} if body else {})
    with urllib.request.urlopen(request, timeout=seconds) as answer:
        return answer.read()


def wait(condition: Callable[[], Any], seconds: float, what: str) -> Any:
    """The condition's value, once it is true."""
    end = time.monotonic() + seconds
    while not (value := condition()):
        if time.monotonic() > end:
            raise AssertionError(f"not within {seconds:.0f} s: {what}")
        time.sleep(0.05)
    return value


class Server:
    """A program with its log. `ready` is a URL, or "ADDRESS:PORT", that answers as soon as it serves; empty: at once."""

    def __init__(self, name: str, folder: Path, command: Sequence[object], ready: str = "", **options: Any) -> None:
        self.name = name
        self.log = folder / f"{name}.log"
        self.ready = ready
        with self.log.open("ab") as log:
            streams = {"stdin": subprocess.DEVNULL, "stdout": log, "stderr": log}
            self.process = subprocess.Popen([str(word) for word in command], **(streams | options))
        self.exit_code: Optional[int] = None

    def __enter__(self) -> Self:
        try:
            if self.ready:
                wait(self._answers, READY, f"an answer of {self.name}\n{self.log.read_text()[-2000:]}")
        except BaseException:
            self.stop()
            raise
        return self

    def __exit__(self, *error: object) -> None:
        self.stop()

    def signal(self, number: signal.Signals) -> None:
        os.kill(self.process.pid, number)

    def stop(self) -> None:
        if self.exit_code is None:
            self.process.terminate()
            try:
                self.exit_code = self.process.wait(20)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.exit_code = self.process.wait()

    def _answers(self) -> bool:
        if self.process.poll() is not None:
            raise AssertionError(f"{self.name} has ended:\n{self.log.read_text()[-2000:]}")
        with contextlib.suppress(OSError, urllib.error.URLError):
            if self.ready.startswith("http"):
                fetch(self.ready)
            else:
                host, port = self.ready.split(":")
                socket.create_connection((host, int(port))).close()
            return True
        return False


def alertmanager(folder: Path, config: Path) -> tuple[Server, str]:
    """The server, and its URL."""
    port = free_port()
    url = f"http://127.0.0.1:{port}"
    command = ["prometheus-alertmanager", f"--config.file={config}", f"--storage.path={folder / 'alertmanager'}"]
    command += [f"--web.listen-address=127.0.0.1:{port}", "--cluster.listen-address="]
    return Server("alertmanager", folder, command, url + "/-/ready"), url


def prometheus(folder: Path, config: Path, *options: str, before: Sequence[object] = ()) -> tuple[Server, str]:
    """The server, and its URL. `before` is a command that runs it."""
    port = free_port()
    url = f"http://127.0.0.1:{port}"
    command = ["prometheus", f"--config.file={config}", f"--storage.tsdb.path={folder / 'tsdb'}"]
    command += [f"--web.listen-address=127.0.0.1:{port}", "--web.enable-lifecycle", *options]
    return Server("prometheus", folder, [*before, *command], url + "/-/ready"), url


def query(url: str, expression: str) -> list[dict[str, Any]]:
    """The samples of an instant query, each with its labels (`metric`) and `value`."""
    quoted = urllib.parse.quote(expression)
    return json.loads(fetch(f"{url}/api/v1/query?query={quoted}"))["data"]["result"]
