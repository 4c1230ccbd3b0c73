"""Commands run in the guest over its control port (the guest's side is guest/init)."""

import base64
import socket
import time
from dataclasses import dataclass


class GuestError(Exception):
    """The guest did not answer, or a command that must succeed did not."""


@dataclass(frozen=True)
class Result:
    status: int
    out: str
    err: str


class Guest:
    """One command at a time; each has a limit in the guest and a somewhat longer one here."""

    GRACE_SECONDS = 15.0

    def __init__(self, port: socket.socket) -> None:
        self._port = port
        self._buffer = b""
        self._requests = 0

    def wait_ready(self, seconds: float) -> None:
        """Waits for the greeting that the guest sends when its control loop starts."""
        if (line := self._line(time.monotonic() + seconds)) != "0 0 0 0":
            raise GuestError(f"the guest greeted with {line!r}")

    def run(self, command: str, seconds: int = 20) -> Result:
        """Runs a shell command; a command that takes longer is killed and answers status 137."""
        self._requests += 1
        encoded = base64.b64encode(command.encode()).decode()
        deadline = time.monotonic() + seconds + self.GRACE_SECONDS
        self._port.settimeout(self.GRACE_SECONDS)
        self._port.sendall(f"{self._requests} {seconds} {encoded}\n".encode())
        number, status, out, err = (int(field) for field in self._line(deadline).split())
        if number != self._requests:
            raise GuestError(f"answer {number} came for request {self._requests}: {command}")
        return Result(status, self._bytes(out, deadline), self._bytes(err, deadline))

    def must(self, command: str, seconds: int = 20) -> str:
        """Runs a command that has to succeed and answers its standard output."""
        result = self.run(command, seconds)
        if result.status != 0:
            raise GuestError(f"{command}: status {result.status}: {(result.err or result.out).strip()}")
        return result.out

    def write(self, path: str, text: str) -> None:
        encoded = base64.b64encode(text.encode()).decode()
        self.must(f"mkdir -p $(dirname {path}) && echo {encoded} | base64 -d >{path}")

    def _line(self, deadline: float) -> str:
        while b"\n" not in self._buffer:
            self._receive(deadline)
        line, _, self._buffer = self._buffer.partition(b"\n")
        return line.decode()

    def _bytes(self, length: int, deadline: float) -> str:
        while len(self._buffer) < length:
            self._receive(deadline)
        data, self._buffer = self._buffer[:length], self._buffer[length:]
        return data.decode(errors="replace")

    def _receive(self, deadline: float) -> None:
        left = deadline - time.monotonic()
        if left <= 0:
            raise GuestError("the guest did not answer in time")
        self._port.settimeout(left)
        try:
            data = self._port.recv(65536)
        except TimeoutError:
            raise GuestError("the guest did not answer in time") from None
        if not data:
            raise GuestError("the emulator closed the control port")
        self._buffer += data
