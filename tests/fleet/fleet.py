"""A fleet on this machine: simulated units with real agents, a Prometheus that scrapes them, an Alertmanager."""

import json
import os
import re
import signal
import subprocess
from contextlib import ExitStack
from pathlib import Path
from typing import Any

import scaled
import servers
from places import AGENT, ALERTMANAGER, PROMETHEUS, RULES, UNIT
from webhook import Webhook


class Unit(servers.Server):
    """An agent on a simulated appliance, that lives `scale` times as fast as the machine; see Unit.cpp."""

    def __init__(self, name: str, folder: Path, scale: float, agent: Path = AGENT) -> None:
        self.address = f"127.0.0.1:{servers.free_port()}"
        command = ["umockdev-wrapper", UNIT, agent, self.address, scale]
        super().__init__(name, folder, command, f"http://{self.address}/healthz", stdin=subprocess.PIPE)

    def happens(self, event: str, disk: str) -> None:
        assert self.process.stdin
        self.process.stdin.write(f"{event} {disk}\n".encode())
        self.process.stdin.flush()

    def silent(self, silent: bool) -> None:
        """Its agent takes connections, and answers none."""
        os.kill(self.agent(), signal.SIGSTOP if silent else signal.SIGCONT)

    def agent(self) -> int:
        """The number of its process."""
        children = f"/proc/{self.process.pid}/task/{self.process.pid}/children"
        return int(Path(children).read_text().split()[0])

    def socket(self) -> Path:
        """That of its agent; beside its configuration."""
        words = Path(f"/proc/{self.agent()}/cmdline").read_bytes().split(b"\0")
        return Path(words[words.index(b"--config") + 1].decode()).with_name("status.sock")

    def stop(self) -> None:
        if self.exit_code is None and self.process.poll() is None:
            self.silent(False)
        super().stop()
        assert self.process.stdin
        self.process.stdin.close()


def place(number: int) -> dict[str, str]:
    """Racks of four units."""
    return {"site": "north", "rack": f"r{number // 4}"}


def without_tls(config: str) -> str:
    text = re.sub(r"scheme: https\n +tls_config:\n(?: {6}\w+_file: .*\n)+", "scheme: http\n", config)
    assert "tls" not in text
    return text


def scrape_config(alertmanager: str, scale: float) -> str:
    """The example, without TLS."""
    text = PROMETHEUS.read_text().replace("127.0.0.1:9093", alertmanager.removeprefix("http://"))
    return scaled.faster(without_tls(text), scale)


def write_rules(folder: Path, scale: float) -> None:
    for rules in RULES:
        (folder / rules.name).write_text(scaled.faster(rules.read_text(), scale))


def write_targets(folder: Path, targets: list[tuple[str, dict[str, str]]]) -> None:
    """Each address with its labels, where the example looks for targets."""
    (folder / "targets").mkdir(exist_ok=True)
    groups = [{"targets": [address], "labels": labels} for address, labels in targets]
    (folder / "targets" / "units.json").write_text(json.dumps(groups))


class Fleet:
    """`with` starts the units first, then the servers."""

    def __init__(self, folder: Path, units: int, scale: float) -> None:
        self.folder = folder
        self.scale = scale
        self.webhook = Webhook()
        self._size = units
        self._stack = ExitStack()

    def __enter__(self) -> "Fleet":
        with self._stack as stack:
            started = [Unit(f"unit{number}", self.folder, self.scale) for number in range(self._size)]
            for unit in started:
                stack.callback(unit.stop)
            self.units = [stack.enter_context(unit) for unit in started]
            stack.enter_context(self.webhook)
            self.alertmanager = self._started(stack, *self._alertmanager())
            self.prometheus = self._started(stack, *self._prometheus())
            self._stack = stack.pop_all()
        return self

    def __exit__(self, *error: object) -> None:
        self._stack.close()

    def query(self, expression: str) -> list[dict[str, Any]]:
        return servers.query(self.prometheus, expression)

    def logs(self) -> str:
        """The end of each unit's log."""
        return "\n".join(f"{unit.name}, {unit.address}:\n{unit.log.read_text()[-600:]}" for unit in self.units)

    @staticmethod
    def _started(stack: ExitStack, server: servers.Server, url: str) -> str:
        stack.enter_context(server)
        return url

    def _alertmanager(self) -> tuple[servers.Server, str]:
        config = self.folder / "alertmanager.yml"
        text = ALERTMANAGER.read_text().replace("http://127.0.0.1:9095", self.webhook.url)
        config.write_text(scaled.faster(text, self.scale))
        return servers.alertmanager(self.folder, config)

    def _prometheus(self) -> tuple[servers.Server, str]:
        write_rules(self.folder, self.scale)
        write_targets(self.folder, [(unit.address, place(number)) for number, unit in enumerate(self.units)])
        config = self.folder / "prometheus.yml"
        config.write_text(scrape_config(self.alertmanager, self.scale))
        return servers.prometheus(self.folder, config)
