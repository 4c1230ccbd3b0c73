"""The example of Alertmanager: who is told of what, and how often."""

import re
import tempfile
import unittest
from pathlib import Path
from typing import Any

import scaled
import servers
from checks import run
from places import ALERTMANAGER
from test_rules import alert_names
from webhook import Webhook

SCALE = 60
LAST = ("Last", "AfterLast")


def alert(alertname: str, severity: str, **labels: str) -> dict[str, Any]:
    return {"labels": {"alertname": alertname, "severity": severity, "job": "storagedevices", **labels}}


class AlertmanagerTest(unittest.TestCase):
    def setUp(self) -> None:
        folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.webhook = self.enterContext(Webhook())
        config = folder / "alertmanager.yml"
        text = ALERTMANAGER.read_text().replace("http://127.0.0.1:9095", self.webhook.url)
        config.write_text(scaled.faster(text, SCALE))
        server, self.url = servers.alertmanager(folder, config)
        self.enterContext(server)

    def post(self, *alerts: dict[str, Any]) -> None:
        servers.fetch(self.url + "/api/v2/alerts", list(alerts))

    def told(self) -> list[tuple[str, list[str]]]:
        """Of each notification its receiver and the names of its alerts, after all had time to come: twice that of one."""
        for last in LAST:
            self.post(alert(last, "critical"))
            self.webhook.wait(lambda last=last: self._has(last), 20, last)
        return sorted(
            (each.path, sorted(one["labels"]["alertname"] for one in each.body["alerts"]))
            for each in self.webhook.notifications
            if each.body["groupLabels"]["alertname"] not in LAST
        )

    def _has(self, name: str) -> bool:
        return name in [each.body["groupLabels"]["alertname"] for each in self.webhook.notifications]

    def test_pages_once_for_a_rack_that_loses_power(self) -> None:
        place = {"site": "north", "rack": "r1"}
        units = [f"unit-{number}:9635" for number in range(40)]
        self.post(alert("StorageRackSilent", "critical", **place))
        self.post(*(alert("StorageUnitSilent", "critical", instance=unit, **place) for unit in units))
        for name, severity in (("StorageDiskFailing", "critical"), ("StorageDiskWarning", "warning")):
            self.post(*(alert(name, severity, instance=unit, serial="S", **place) for unit in units[:3]))
        self.assertEqual(self.told(), [("/page", ["StorageRackSilent"])])

    def test_groups_units_of_a_rack_and_keeps_those_of_others_apart(self) -> None:
        for unit, rack in (("a", "r1"), ("b", "r1"), ("c", "r2")):
            self.post(alert("StorageUnitSilent", "critical", instance=unit, site="north", rack=rack))
        self.assertEqual(
            self.told(), [("/page", ["StorageUnitSilent"]), ("/page", ["StorageUnitSilent", "StorageUnitSilent"])]
        )

    def test_tells_of_a_silent_unit_and_not_of_its_disks(self) -> None:
        self.post(alert("StorageUnitSilent", "critical", instance="a:9635"))
        self.post(
            alert("StorageDiskFailing", "critical", instance="a:9635", serial="S1"),
            alert("StorageMountMissing", "critical", instance="a:9635", mount_point="/mnt/drive"),
            alert("StorageMessage", "warning", instance="a:9635", name="STORAGEDEVICE_OFFLINE"),
            alert("StorageDiskFailing", "critical", instance="b:9635", serial="S1"),
        )
        self.assertEqual(self.told(), [("/page", ["StorageDiskFailing"]), ("/page", ["StorageUnitSilent"])])

    def test_leaves_out_lesser_alerts_of_a_failing_disk(self) -> None:
        self.post(alert("StorageDiskFailing", "critical", instance="a:9635", serial="S1"))
        self.post(
            alert("StorageDiskReadingFails", "warning", instance="a:9635", serial="S1"),
            alert("StorageDiskWearsOut", "warning", instance="a:9635", serial="S1"),
            alert("StorageDiskReadingFails", "warning", instance="a:9635", serial="S2"),
        )
        self.assertEqual(
            self.told(), [("/page", ["StorageDiskFailing"]), ("/ticket", ["StorageDiskReadingFails"])]
        )

    def test_tells_nobody_of_what_is_only_to_be_known(self) -> None:
        self.post(alert("StorageMessage", "info", instance="a:9635", name="STORAGEDEVICE_LIFETIME_INFO"))
        self.assertEqual(self.told(), [])
        self.assertIn(b"STORAGEDEVICE_LIFETIME_INFO", servers.fetch(self.url + "/api/v2/alerts"))


class AlertmanagerConfigTest(unittest.TestCase):
    def test_passes_amtool(self) -> None:
        code, text = run("amtool", "check-config", ALERTMANAGER)
        self.assertEqual(code, 0, text)

    def test_sends_each_severity_to_its_receiver(self) -> None:
        for severity, receiver in (("critical", "page"), ("warning", "ticket"), ("info", "nobody")):
            code, text = run("amtool", "config", "routes", "test", "--config.file", ALERTMANAGER, f"severity={severity}")
            self.assertEqual((code, text.split()[0]), (0, receiver))

    def test_names_alerts_that_exist(self) -> None:
        patterns = re.findall(r'alertname=~?"(.+?)"', ALERTMANAGER.read_text())
        self.assertEqual(len(patterns), 6)
        for pattern in patterns:
            for part in [pattern] if "(" in pattern else pattern.split("|"):
                self.assertTrue([name for name in alert_names() if re.fullmatch(part, name)], part)


if __name__ == "__main__":
    unittest.main()
