"""How a Prometheus learns of new units: by file, by DNS, from an inventory."""

import json
import os
import tempfile
import unittest
from pathlib import Path

import fronts
import scaled
import servers
from checks import run
from fleet import Unit, scrape_config, write_rules
from nameserver import NameServer
from places import DEPLOY, TARGETS_FROM_INVENTORY

SCALE = 60
DNS_EXAMPLE = DEPLOY / "prometheus" / "discovery-by-dns.yml"


class DiscoveryTest(unittest.TestCase):
    def setUp(self) -> None:
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        (self.folder / "targets").mkdir()
        write_rules(self.folder, SCALE)
        units = [Unit(f"unit{number}", self.folder, SCALE) for number in range(2)]
        self.units = [self.enterContext(unit) for unit in units]

    def prometheus(self, config: str, *before: object) -> None:
        file = self.folder / "prometheus.yml"
        file.write_text(config)
        server, self.url = servers.prometheus(self.folder, file, before=list(before))
        self.enterContext(server)

    def wait_for(self, count: int, labels: str) -> None:
        expression = f'count(storagedevices_unit_verdict{{verdict="ok",{labels}}} == 1) == {count}'
        servers.wait(lambda: servers.query(self.url, expression), 30, expression)

    def inventory(self, *lines: str) -> tuple[int, str]:
        table = self.folder / "inventory.csv"
        table.write_text("".join(line + "\n" for line in lines))
        return run(TARGETS_FROM_INVENTORY, table, self.folder / "targets" / "units.json")

    def test_follows_an_inventory(self) -> None:
        first, second = (unit.address for unit in self.units)
        self.assertEqual(self.inventory("# unit, site, rack", "", f"{first}, north, r1"), (0, ""))
        self.prometheus(scrape_config("http://127.0.0.1:9", SCALE))
        self.wait_for(1, 'site="north",rack="r1"')
        self.assertEqual(self.inventory(f"{first},north,r1", f"{second},north,r2"), (0, ""))
        self.wait_for(1, f'instance="{second}",rack="r2"')

    def named(self, unit: Unit, name: str) -> int:
        """The port at which that unit has its name, behind TLS."""
        port = servers.free_port()
        fronts.make_certificates(self.folder / "tls", {name: name})
        self.enterContext(fronts.stunnel(self.folder, unit, port, name))
        return port

    @unittest.skipIf(os.geteuid(), "needs root, for a name server of its own")
    def test_follows_dns(self) -> None:
        first, second = "unit-1.r1.north.example.net", "unit-2.r2.north.example.net"
        fronts.make_certificates(self.folder / "tls", {"prometheus": "client"})
        names = self.enterContext(NameServer("_storagedevices._tcp.example.net"))
        names.units[first] = port = self.named(self.units[0], first)
        shipped = DNS_EXAMPLE.read_text()
        config = scaled.faster(f"global: {{scrape_interval: 60s, scrape_timeout: 30s}}\n{shipped}", SCALE)
        self.prometheus(config, *names.command(self.folder))
        self.wait_for(1, f'instance="{first}:{port}",site="north",rack="r1"')
        names.units[second] = port = self.named(self.units[1], second)
        self.wait_for(1, f'instance="{second}:{port}",site="north",rack="r2"')


class InventoryTest(unittest.TestCase):
    def setUp(self) -> None:
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.targets = self.folder / "units.json"

    def written(self, table: str) -> tuple[int, str]:
        inventory = self.folder / "inventory"
        inventory.write_text(table)
        code, text = run(TARGETS_FROM_INVENTORY, inventory, self.targets)
        return code, text.replace(f"{inventory}:", "")

    def test_adds_the_port_that_is_missing(self) -> None:
        self.assertEqual(self.written("a.example.net,north,r1 # new\r\n10.0.0.7:80,,\n"), (0, ""))
        self.assertEqual(
            json.loads(self.targets.read_text()),
            [
                {"targets": ["a.example.net:9635"], "labels": {"site": "north", "rack": "r1"}},
                {"targets": ["10.0.0.7:80"], "labels": {"site": "", "rack": ""}},
            ],
        )
        self.assertEqual(self.targets.stat().st_mode & 0o777, 0o644)

    def test_keeps_the_targets_when_the_inventory_is_wrong(self) -> None:
        self.written("a,north,r1\n")
        before = self.targets.read_text()
        for table, complaint in (
            ("a,north,r1\nb,north\n", "2: a line is unit,site,rack\n"),
            ('a"]}],north,r1\n', '1: this is no host name: a"]}]\n'),
            ('a,no"rth,r1\n', "1: site and rack are letters, digits, dots, hyphens and underscores\n"),
            ("a,north,r1\na:9635,north,r2\n", "2: the unit is there twice: a:9635\n"),
            ("# nothing\n", " no unit\n"),
        ):
            self.assertEqual(self.written(table), (1, complaint))
            self.assertEqual(self.targets.read_text(), before)
            self.assertEqual(sorted(file.name for file in self.folder.iterdir()), ["inventory", "units.json"])


if __name__ == "__main__":
    unittest.main()
