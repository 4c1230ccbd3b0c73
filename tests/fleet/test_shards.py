"""Two servers share the units by rack, and one above them knows the whole fleet."""

import sys
import tempfile
import unittest
from pathlib import Path

import scaled
import servers
from fleet import place, scrape_config, write_rules, write_targets
from places import FEDERATION, RECORDED

SCALE = 60
UNITS = 32  # eight racks


class ShardsTest(unittest.TestCase):
    def setUp(self) -> None:
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.port = servers.free_port()
        scrape = sorted(RECORDED.glob("*.txt"))[-1]
        command = [sys.executable, Path(__file__).with_name("exporter.py"), scrape, UNITS, self.port]
        self.enterContext(servers.Server("exporter", self.folder, command, f"http://127.0.0.1:{self.port}/0/"))
        self.shards = [self.shard(number) for number in range(2)]

    def prometheus(self, folder: Path, config: str) -> str:
        file = folder / "prometheus.yml"
        file.write_text(config)
        server, url = servers.prometheus(folder, file)
        self.enterContext(server)
        return url

    def shard(self, number: int) -> str:
        """By what the example has in comments."""
        folder = self.folder / str(number)
        folder.mkdir()
        write_rules(folder, SCALE)
        write_targets(folder, [(f"127.0.0.1:{self.port}", self.labels(unit)) for unit in range(UNITS)])
        config = scrape_config("http://127.0.0.1:9", SCALE)
        for commented in ("shard: ", "relabel_configs:", "  - {source"):
            self.assertIn("#" + commented, config)
            config = config.replace("#" + commented, commented)
        return self.prometheus(folder, config.replace('"0"', f'"{number}"'))

    @staticmethod
    def labels(unit: int) -> dict[str, str]:
        return place(unit) | {"instance": f"unit-{unit}", "__metrics_path__": f"/{unit}/metrics"}

    def racks(self, shard: str) -> dict[str, int]:
        """The units of each rack."""
        counted = servers.query(shard, "count by (rack) (storagedevices_build_info)")
        return {each["metric"]["rack"]: int(each["value"][1]) for each in counted}

    def test_have_whole_racks_and_a_server_above_that_adds_them_up(self) -> None:
        addresses = ", ".join(f'"{url.removeprefix("http://")}"' for url in self.shards)
        config = FEDERATION.read_text()
        named = '"prometheus-0.example.net:9090", "prometheus-1.example.net:9090"'
        self.assertIn(named, config)
        above = self.prometheus(self.folder, scaled.faster(config.replace(named, addresses), SCALE))
        all_units = f'sum(storagedevices:units:by_verdict{{site="north",verdict="failing"}}) == {UNITS}'
        servers.wait(lambda: servers.query(above, all_units), 40, all_units)
        self.assertEqual(len(servers.query(above, "count by (shard) (storagedevices:units:by_verdict)")), 2)
        first, second = (self.racks(shard) for shard in self.shards)
        self.assertTrue(first and second)
        self.assertEqual(first.keys() & second.keys(), set())
        self.assertEqual(first | second, {f"r{number}": 4 for number in range(UNITS // 4)})


if __name__ == "__main__":
    unittest.main()
