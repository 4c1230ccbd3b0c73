"""A small run of what `make fleet-scale` measures, so that it still measures; and the manual has what was measured."""

import math
import unittest
from pathlib import Path
from typing import Any

import capacity
import dashboards
import figures
import measure
import server_cost
from exporter import Unit
from places import DASHBOARDS

UNITS = 50
# The longest run whose scrapes are still in time on a busy machine, in twenty seconds.
SIZE = server_cost.Size(units=UNITS, minutes=10, scale=30)


class ScaleTest(unittest.TestCase):
    found: dict[str, Any]

    @classmethod
    def setUpClass(cls) -> None:
        cls.found = measure.measure(SIZE, scrapes=100, scale=60)

    def test_measures_the_scrape_of_an_agent(self) -> None:
        agent = self.found["agent"]
        self.assertGreater(agent["cpu_ms"], 0.01)
        self.assertLess(agent["cpu_ms"], 10)  # no answer keeps the agent's loop for longer
        self.assertLess(agent["gzip_bytes"], agent["bytes"] / 4)
        self.assertGreater(agent["samples"], sum(agent["series_by_disk"].values()))
        self.assertEqual(len(agent["series_by_disk"]), 4)

    def test_measures_all_units_with_their_own_series(self) -> None:
        server, samples = self.found["server"], self.found["agent"]["samples"]
        self.assertGreater(server["scraped"], 0.9)
        # Prometheus adds five of each scrape; rules and alerts add some of their own.
        self.assertGreaterEqual(server["series"], UNITS * (samples + 5))
        self.assertLess(server["series"], UNITS * (samples + 15))
        self.assertAlmostEqual(server["samples_a_second"], server["series"] / 60, delta=server["series"] / 60 / 4)

    def test_measures_what_they_cost(self) -> None:
        server = self.found["server"]
        self.assertGreater(server["block_samples"], UNITS * 5 * self.found["agent"]["samples"])
        for figure in ("cpu", "rules_seconds_a_minute", "log_bytes", "federated_series", "federated_bytes"):
            self.assertGreater(server[figure], 0, figure)
        self.assertGreater(server["resident_bytes"], 20e6)
        self.assertGreater(server["bytes_a_sample"], 0.5)
        minutely = [rules for group, rules in server["rules"].items() if group != "storagedevices-life"]
        self.assertTrue(all(seconds > 0 for rules in minutely for seconds in rules.values()))

    def test_measures_each_query_of_the_dashboards(self) -> None:
        for file in DASHBOARDS:
            queries = self.found["server"]["dashboards"][file.stem]
            self.assertEqual(
                [each["query"] for each in queries], [t["expr"] for t in dashboards.targets(dashboards.load(file))]
            )
            self.assertTrue(all(each["ms"] > 0 for each in queries))
            # In a fleet where nothing is wrong, many find nothing.
            self.assertGreater(sum(each["series"] > 0 for each in queries), len(queries) / 2)

    def test_makes_the_text_of_the_manual(self) -> None:
        self.assertIn(f"| {UNITS} units in one Prometheus |", figures.section(self.found))


class FiguresTest(unittest.TestCase):
    def test_of_the_manual_are_those_that_were_measured(self) -> None:
        self.assertEqual(figures.written(), figures.section(figures.load()))

    def test_are_of_a_thousand_units(self) -> None:
        server = figures.load()["server"]
        self.assertGreaterEqual(server["units"], 1000)
        self.assertGreater(server["scraped"], 0.99)


class CapacityTest(unittest.TestCase):
    def test_is_the_least_of_its_limits(self) -> None:
        costs = capacity.Costs(series=100, memory=1000, cpu=1e-4, sample=2, scrape=3000, group=1e-4, query=1e-3)
        self.assertEqual(costs.memory_of(10), 1e6)
        self.assertEqual(costs.disk(60, days=2), 100 * 86400 * 2 * 2)
        memory, cores, rules, query = (limit.units for limit in costs.limits())
        self.assertEqual((memory, cores, rules, query), (math.floor(2**34 / 1e5), 20_000, 150_000, 5_000))
        self.assertEqual(costs.most(), 5_000)


class ExporterTest(unittest.TestCase):
    SCRAPE = (
        "# TYPE storagedevices_disk_io_read_bytes_total counter\n"
        'storagedevices_disk_io_read_bytes_total{serial="S"} 5\n'
        'storagedevices_disk_size_bytes{serial="S"} 8\n'
    )

    def test_gives_each_unit_its_own_serials_and_growing_counters(self) -> None:
        unit = Unit(self.SCRAPE, 7)
        first, second = unit.scrape().splitlines(), unit.scrape().splitlines()
        self.assertEqual(first[0], self.SCRAPE.splitlines()[0])
        self.assertRegex(first[1], r'^storagedevices_disk_io_read_bytes_total\{serial="S-00007"\} \d+$')
        self.assertGreater(float(second[1].split()[1]), float(first[1].split()[1]))
        self.assertEqual(first[2], 'storagedevices_disk_size_bytes{serial="S-00007"} 8')
        self.assertEqual((first[2], len(first)), (second[2], len(second)))

    def test_moves_what_moves_in_a_real_scrape(self) -> None:
        """As many values as a disk that is in use changes in a minute."""
        text = (Path(__file__).parent / "recorded" / "0.1.0.txt").read_text()
        unit = Unit(text, 0)
        moved = [one != other for one, other in zip(unit.scrape().splitlines(), unit.scrape().splitlines())]
        self.assertGreater(sum(moved), 25)
        self.assertLess(sum(moved), len(moved) / 3)


if __name__ == "__main__":
    unittest.main()
