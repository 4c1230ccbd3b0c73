"""QEMU as a child process, steered over its machine protocol (QMP)."""

import json
import shutil
import socket
import subprocess
import time
from pathlib import Path
from types import TracebackType
from typing import Any, Self

from .report import SetupError

PROGRAM = "qemu-system-x86_64"
# Without address randomization a program starts eight times as fast here: the emulator finds its translated code again.
KERNEL_ARGUMENTS = "console=ttyS0 rdinit=/init panic=-1 printk.devkmsg=on mitigations=off norandmaps"


class EmulatorError(Exception):
    """The emulator ended, refused a command or did not answer."""


def find_emulator() -> str:
    path = shutil.which(PROGRAM)
    if path is None:
        raise SetupError(f"{PROGRAM} is missing: apt install qemu-system-x86")
    return path


class Emulator:
    """A running machine; leaving its context ends it. Two socket pairs lead to the guest's control port and to QMP."""

    def __init__(self, arguments: list[str], kernel: Path, initramfs: Path, work: Path) -> None:
        self.console = work / "vm-console.log"
        self.control, control_child = socket.socketpair()
        self._qmp, qmp_child = socket.socketpair()
        self._buffer = b""
        self._events: list[dict[str, Any]] = []
        self._errors = work / "vm-emulator.log"
        command = [find_emulator(), *arguments, "-kernel", str(kernel), "-initrd", str(initramfs)]
        command += ["-append", KERNEL_ARGUMENTS, "-serial", f"file:{self.console}"]
        command += ["-chardev", f"socket,id=control,fd={control_child.fileno()}"]
        command += ["-chardev", f"socket,id=qmp,fd={qmp_child.fileno()}", "-mon", "chardev=qmp,mode=control"]
        with self._errors.open("wb") as errors:
            self._process = subprocess.Popen(
                command,
                stdin=subprocess.DEVNULL,
                stdout=errors,
                stderr=errors,
                pass_fds=(control_child.fileno(), qmp_child.fileno()),
            )
        control_child.close()
        qmp_child.close()

    def __enter__(self) -> Self:
        try:
            self._receive(time.monotonic() + 20)  # the greeting
            self.execute("qmp_capabilities")
        except BaseException:
            self.stop()
            raise
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.stop()

    def stop(self) -> None:
        self._process.terminate()
        try:
            self._process.wait(10)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
        self._qmp.close()
        self.control.close()

    def execute(self, command: str, arguments: dict[str, Any] | None = None, seconds: float = 20) -> Any:
        deadline = time.monotonic() + seconds
        request: dict[str, Any] = {"execute": command}
        if arguments is not None:
            request["arguments"] = arguments
        self._qmp.sendall(json.dumps(request).encode() + b"\n")
        while True:
            message = self._receive(deadline)
            if "error" in message:
                raise EmulatorError(f"{command} {arguments}: {message['error']['desc']}")
            if "return" in message:
                return message["return"]
            self._events.append(message)

    def version(self) -> str:
        number = self.execute("query-version")["qemu"]
        return f"{number['major']}.{number['minor']}.{number['micro']}"

    def plug(self, device: dict[str, Any]) -> None:
        self.execute("device_add", device)

    def set_property(self, identifier: str, name: str, value: Any) -> None:
        self.execute("qom-set", {"path": f"/machine/peripheral/{identifier}", "property": name, "value": value})

    def unplug(self, identifier: str, seconds: float = 30) -> None:
        """Asks for the removal and waits until the guest has let go of the device."""
        self.execute("device_del", {"id": identifier})
        deadline = time.monotonic() + seconds
        while not any(_deleted(event, identifier) for event in self._events):
            self._events.append(self._receive(deadline))
        self._events.clear()

    def _receive(self, deadline: float) -> dict[str, Any]:
        while b"\n" not in self._buffer:
            left = deadline - time.monotonic()
            try:
                self._qmp.settimeout(max(left, 0.001))
                data = self._qmp.recv(65536)
            except (TimeoutError, ConnectionError) as error:
                raise EmulatorError(f"no answer from the emulator ({error}): {self._said()}") from None
            if not data:
                raise EmulatorError(f"the emulator ended: {self._said()}")
            self._buffer += data
        line, _, self._buffer = self._buffer.partition(b"\n")
        return json.loads(line)

    def _said(self) -> str:
        return self._errors.read_text(errors="replace").strip() or "it said nothing"


def _deleted(event: dict[str, Any], identifier: str) -> bool:
    return event.get("event") == "DEVICE_DELETED" and event.get("data", {}).get("device") == identifier
