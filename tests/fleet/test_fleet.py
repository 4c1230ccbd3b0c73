"""Twenty units under Prometheus and Alertmanager: who is told of what goes wrong on five of them, and when."""

import datetime
import tempfile
import time
import unittest
from pathlib import Path

import promises
import servers
from fleet import Fleet

SCALE = 30  # of all clocks: those of the agents, the rules, the routes
UNITS = 20
SLACK = 5.0  # seconds that a busy machine may add, whatever the scale

SATA, NVME = "KS0240118842", "MRN7A0031955"
# One unit of each rack.
FAILING, PULLED, WORN, SILENT, SILENCED = range(0, UNITS, 4)
# Alert, unit, and the disk or message; each with its receiver.
EXPECTED = {
    ("StorageDiskFailing", FAILING, SATA): "/page",
    ("StorageDiskAbsent", PULLED, NVME): "/page",
    ("StorageMessage", PULLED, "STORAGEDEVICE_OFFLINE"): "/ticket",
    ("StorageDiskWarning", WORN, NVME): "/ticket",
    ("StorageUnitSilent", SILENT, ""): "/page",
}


class FleetTest(unittest.TestCase):
    def setUp(self) -> None:
        folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.fleet = self.enterContext(Fleet(folder, UNITS, SCALE))
        try:
            servers.wait(lambda: self.verdicts() == ["ok"] * UNITS, 60, "every unit is ok")
        except AssertionError as error:
            raise AssertionError(f"{error}; {self.verdicts()}\n{self.fleet.logs()}") from error

    def verdicts(self) -> list[str]:
        """Those of the units that Prometheus knows."""
        return [sample["metric"]["verdict"] for sample in self.fleet.query("storagedevices_unit_verdict == 1")]

    def notifications(self, status: str) -> dict[tuple[str, int, str], tuple[float, str]]:
        """Of each alert the time of its first notification with that status, and the receiver."""
        units = {unit.address: number for number, unit in enumerate(self.fleet.units)}
        found: dict[tuple[str, int, str], tuple[float, str]] = {}
        for notification in list(self.fleet.webhook.notifications):
            for alert in notification.alerts(status):
                labels = alert["labels"]
                what = labels.get("serial", labels.get("name", ""))
                key = (labels["alertname"], units[labels["instance"]], what)
                found.setdefault(key, (notification.time, notification.path))
        return found

    def silence(self, unit: int) -> None:
        now = datetime.datetime.now(datetime.timezone.utc)
        matcher = {"name": "instance", "value": self.fleet.units[unit].address, "isRegex": False, "isEqual": True}
        silence = {"matchers": [matcher], "createdBy": "test", "comment": "its disk is on order"}
        silence |= {"startsAt": now.isoformat(), "endsAt": (now + datetime.timedelta(hours=1)).isoformat()}
        servers.fetch(self.fleet.alertmanager + "/api/v2/silences", silence)

    def goes_wrong(self) -> None:
        units = self.fleet.units
        self.silence(SILENCED)
        for unit in (FAILING, SILENCED):
            units[unit].happens("failing", "sda")
        units[PULLED].happens("pull", "nvme0n1")
        units[WORN].happens("worn", "nvme0n1")
        units[SILENT].silent(True)

    def is_repaired(self) -> None:
        units = self.fleet.units
        for unit in (FAILING, SILENCED):
            units[unit].happens("new", "sda")
        units[PULLED].happens("plug", "nvme0n1")
        units[WORN].happens("new", "nvme0n1")
        units[SILENT].silent(False)

    def wait_for(self, status: str, times: dict[str, promises.Span]) -> None:
        latest = max(span.latest for span in times.values()) / SCALE + SLACK
        webhook = self.fleet.webhook
        webhook.wait(lambda: EXPECTED.keys() <= self.notifications(status).keys(), latest, status)

    def check(self, status: str, since: dict[str, float], times: dict[str, promises.Span]) -> None:
        found = self.notifications(status)
        self.assertEqual({key: path for key, (_, path) in found.items()}, EXPECTED)
        for key, (at, _) in found.items():
            after = at - since[key[0]]
            self.assertGreater(after, times[key[0]].earliest / SCALE, (status, key))
            self.assertLess(after, times[key[0]].latest / SCALE + SLACK, (status, key))

    def check_silenced(self) -> None:
        alerts = servers.fetch(self.fleet.alertmanager + "/api/v2/alerts?silenced=true&active=false").decode()
        self.assertIn("StorageDiskFailing", alerts)
        self.assertIn(self.fleet.units[SILENCED].address, alerts)

    def check_annotations(self) -> None:
        alerts = [alert for each in self.fleet.webhook.of("/page") for alert in each.alerts("firing")]
        failing = next(alert for alert in alerts if alert["labels"].get("serial") == SATA)
        address = self.fleet.units[FAILING].address
        wanted = {
            "serial": SATA,
            "unit": f"{address}, rack r0, north",
            "disk": "Kestrel S2 240GB, firmware KF2.4, /dev/sda at /mnt/flash",
            "page": f"https://{address}/",
        }
        self.assertEqual(wanted, {key: failing["annotations"][key] for key in wanted})
        self.assertIn("self-assessment-failed", failing["annotations"]["reason"])

    def test_tells_of_what_goes_wrong_and_of_its_end(self) -> None:
        names = {key[0] for key in EXPECTED}
        began = dict.fromkeys(names, time.monotonic())
        self.goes_wrong()
        told = {name: promises.told(name) for name in names}
        self.wait_for("firing", told)
        self.check("firing", began, told)
        self.check_silenced()
        self.check_annotations()
        ended = dict.fromkeys(names, time.monotonic()) | {"StorageMessage": began["StorageMessage"]}
        self.is_repaired()
        resolved = {name: promises.resolved(name) for name in names}
        self.wait_for("resolved", resolved)
        self.check("firing", began, told)
        self.check("resolved", ended, resolved)


if __name__ == "__main__":
    unittest.main()
