"""Agents of several versions side by side: the rules judge them alike, and no metric of a release is lost."""

import json
import re
import sys
import tempfile
import unittest
from pathlib import Path
from typing import Any

import contract
import servers
from fleet import Unit, scrape_config, write_rules, write_targets
from places import RECORDED, RELEASED
from record import failing_scrape

SCALE = 60


def types(scrape: str) -> dict[str, str]:
    return dict(re.findall(r"^# TYPE (\S+) (\w+)$", scrape, re.M))


def labels_by_name(scrape: str) -> dict[str, set[str]]:
    found: dict[str, set[str]] = {}
    for name, labels in re.findall(r"^(\w+)(?:\{(.*)\})? \S+$", scrape, re.M):
        found.setdefault(name, set()).update(re.findall(r'(\w+)="', labels))
    return found


class ReleasesTest(unittest.TestCase):
    def test_have_a_recorded_scrape_each_that_keeps_to_their_contract(self) -> None:
        self.assertGreater(len(RELEASED), 0)
        for released in RELEASED:
            version = released.stem.removeprefix("released-")
            scrape = (RECORDED / f"{version}.txt").read_text()
            self.assertIn(f'storagedevices_build_info{{version="{version}"}} 1\n', scrape)
            self.assertEqual(types(scrape).items() - contract.types(released).items(), set())
            promised = contract.agent_metrics(released)
            self.assertGreater(len(labels_by_name(scrape)), 25)
            for name, labels in labels_by_name(scrape).items():
                self.assertEqual(labels, promised[name], name)


class UpgradeTest(unittest.TestCase):
    """An agent of each release beside one of this tree. In each unit the same disk fails."""

    def setUp(self) -> None:
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.unit = self.enterContext(Unit("unit", self.folder, SCALE))
        self.old = {file: servers.free_port() for file in sorted(RECORDED.glob("*.txt"))}
        for file, port in self.old.items():
            command = [sys.executable, Path(__file__).with_name("exporter.py"), file, 1, port]
            self.enterContext(servers.Server(file.stem, self.folder, command, f"http://127.0.0.1:{port}/0/"))
        self.scrape = failing_scrape(self.unit)

    def test_serves_what_each_release_served_in_its_place(self) -> None:
        for file in self.old:
            self.assertEqual(types(file.read_text()).items() - types(self.scrape).items(), set())

    def prometheus(self) -> str:
        write_rules(self.folder, SCALE)
        old = [(f"127.0.0.1:{port}", {"__metrics_path__": "/0/metrics"}) for port in self.old.values()]
        write_targets(self.folder, [*old, (self.unit.address, {})])
        config = self.folder / "prometheus.yml"
        config.write_text(scrape_config("http://127.0.0.1:9", SCALE))
        server, url = servers.prometheus(self.folder, config)
        self.enterContext(server)
        return url

    def firing(self, url: str) -> dict[str, list[dict[str, Any]]]:
        """What fires of each unit; as people read it, without the names of unit and disk."""
        found: dict[str, list[dict[str, Any]]] = {}
        for alert in json.loads(servers.fetch(url + "/api/v1/alerts"))["data"]["alerts"]:
            if alert["state"] == "firing":
                told = {key: alert["annotations"][key] for key in ("disk", "reason", "action")}
                found.setdefault(alert["labels"]["instance"], []).append({"alert": alert["labels"]["alertname"]} | told)
        return found

    def test_is_judged_like_each_release(self) -> None:
        url = self.prometheus()
        servers.wait(lambda: len(self.firing(url)) == len(self.old) + 1, 30, "an alert of each unit")
        expected = {
            "alert": "StorageDiskFailing",
            "disk": "Kestrel S2 240GB, firmware KF2.4, /dev/sda at /mnt/flash",
            "reason": "self-assessment-failed",
            "action": "Save what is needed of it, and replace it.",
        }
        for unit, alerts in self.firing(url).items():
            self.assertEqual(alerts, [expected], unit)


if __name__ == "__main__":
    unittest.main()
