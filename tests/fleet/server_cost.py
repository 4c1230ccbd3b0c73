"""What many units cost a Prometheus. It runs at a faster pace; all figures are those of the shipped pace.

A series has as many samples in memory and in a block, and a rule reads as many, as at the shipped pace.
"""

import json
import re
import statistics
import sys
import time
import urllib.parse
from pathlib import Path
from typing import Any, NamedTuple

import dashboards
import scaled
import servers
import synthetic
from agent_cost import cpu_seconds, resident
from places import DASHBOARDS

_RULE_SECONDS = "prometheus_rule_evaluation_duration_seconds_sum"
FEDERATED = '{__name__=~"storagedevices:.*:by_.*"}'


class Size(NamedTuple):
    """What is measured: minutes of the fleet, that lives `scale` times as fast as the machine."""

    units: int
    minutes: float
    scale: float


class Measured:
    """A Prometheus with its figures."""

    def __init__(self, url: str, pid: int, folder: Path, size: Size, past: set[str]) -> None:
        self.url = url
        self.pid = pid
        self.size = size
        self._data = folder / "tsdb"
        self._past = past  # its blocks at the start

    def figures(self) -> dict[str, Any]:
        self._wait_for_all()
        found = self._growth() | self._disk() | self._federation()
        return found | {"rules": self._rules(), "dashboards": {file.stem: self._dashboard(file) for file in DASHBOARDS}}

    def _own(self, name: str) -> float:
        """One of its own metrics, all its series together."""
        metrics = servers.fetch(self.url + "/metrics").decode()
        return sum(float(value) for value in re.findall(rf"^{name}(?:{{.*}})? (\S+)$", metrics, re.M))

    def _count(self, selector: str) -> int:
        found = servers.query(self.url, f"count({selector})")
        return int(found[0]["value"][1]) if found else 0

    def _wait_for_all(self) -> None:
        servers.wait(lambda: self._count("up == 1") == self.size.units, 60, "all units")

    def _growth(self) -> dict[str, Any]:
        cpu, rules, samples, peak = cpu_seconds(self.pid), self._own(_RULE_SECONDS), self._appended(), 0
        end = time.monotonic() + self.size.minutes * 60 / self.size.scale
        while (left := end - time.monotonic()) > 0:
            peak = max(peak, resident(self.pid))
            time.sleep(min(1, left))
        seconds = self.size.minutes * 60
        lived = f"[{round(seconds / self.size.scale)}s]"
        return {
            "scraped": float(servers.query(self.url, f"avg(avg_over_time(up{lived}))")[0]["value"][1]),
            "series": self._own("prometheus_tsdb_head_series"),
            "resident_bytes": peak,
            "cpu": (cpu_seconds(self.pid) - cpu) / seconds,
            "rules_seconds_a_minute": (self._own(_RULE_SECONDS) - rules) / self.size.minutes,
            "samples_a_second": (self._appended() - samples) / seconds,
        }

    def _appended(self) -> float:
        return self._own("prometheus_tsdb_head_samples_appended_total")

    def _disk(self) -> dict[str, Any]:
        """Of blocks without the invented past: those that were written, and one of what is in memory."""
        # It waits for a block that is being written.
        answer = servers.fetch(self.url + "/api/v1/admin/tsdb/snapshot", {}, seconds=300)
        snapshot = self._data / "snapshots" / json.loads(answer)["data"]["name"]
        size = samples = 0
        for meta in snapshot.glob("*/meta.json"):
            if meta.parent.name not in self._past:
                samples += json.loads(meta.read_text())["stats"]["numSamples"]
                size += sum(file.stat().st_size for file in meta.parent.rglob("*") if file.is_file())
        log = sum(file.stat().st_size for file in (self._data / "wal").rglob("*") if file.is_file())
        return {"block_samples": samples, "bytes_a_sample": size / samples, "log_bytes": log}

    def _federation(self) -> dict[str, Any]:
        text = servers.fetch(f"{self.url}/federate?{urllib.parse.urlencode({'match[]': FEDERATED})}")
        return {"federated_series": self._count(FEDERATED), "federated_bytes": len(text)}

    def _rules(self) -> dict[str, dict[str, float]]:
        """Milliseconds of the latest evaluation of each rule, by group; rules of one name together."""
        found: dict[str, dict[str, float]] = {}
        for group in json.loads(servers.fetch(self.url + "/api/v1/rules"))["data"]["groups"]:
            times = found.setdefault(group["name"], {})
            for rule in group["rules"]:
                times[rule["name"]] = times.get(rule["name"], 0) + 1000 * rule["evaluationTime"]
        return found

    def _dashboard(self, file: Path) -> list[dict[str, Any]]:
        """Each query three times, as the dashboard asks it: of now, or a point a minute of three hours of the fleet."""
        dashboard = dashboards.load(file)
        return [
            {"panel": panel["title"], "query": target["expr"], "now": target.get("instant", False)} | self._asked(target)
            for panel in dashboards.panels(dashboard)
            for target in panel.get("targets", [])
        ]

    def _asked(self, target: dict[str, Any]) -> dict[str, Any]:
        query = scaled.faster(dashboards.filled(target["expr"], {"instance": synthetic.instance(7)}), self.size.scale)
        end = time.time()
        of_now: dict[str, object] = {"query": query, "time": end}
        hours = {"query": query, "start": end - 10800 / self.size.scale, "end": end, "step": 60 / self.size.scale}
        kind, parameters = ("query", of_now) if target.get("instant") else ("query_range", hours)
        url = f"{self.url}/api/v1/{kind}?{urllib.parse.urlencode(parameters)}"
        times = []
        for _ in range(3):
            begin = time.monotonic()
            answer = json.loads(servers.fetch(url))
            times.append(time.monotonic() - begin)
        return {"ms": 1000 * statistics.median(times), "series": len(answer["data"]["result"])}


def measure(folder: Path, scrape: str, size: Size) -> dict[str, Any]:
    """The figures of a Prometheus on this machine; `scrape` is what one unit serves."""
    (folder / "scrape.txt").write_text(scrape)
    synthetic.write_past(folder, scrape, size.units, size.scale)
    port = servers.free_port()
    config = synthetic.write_config(folder, size.units, port, size.scale)
    exporter = [sys.executable, Path(__file__).with_name("exporter.py"), folder / "scrape.txt", size.units, port]
    # A block of two hours of the fleet, and no larger ones of the past.
    block = f"{round(7200 / size.scale)}s"
    options = [f"--storage.tsdb.min-block-duration={block}", f"--storage.tsdb.max-block-duration={block}"]
    options += ["--storage.tsdb.retention.time=90d", "--web.enable-admin-api"]
    with servers.Server("exporter", folder, exporter, f"http://127.0.0.1:{port}/0/"):
        past = {block.name for block in (folder / "tsdb").iterdir()}
        server, url = servers.prometheus(folder, config, *options)
        with server:
            return size._asdict() | Measured(url, server.process.pid, folder, size, past).figures()
