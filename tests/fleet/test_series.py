"""How many series a disk costs, counted in the scrape of a real agent."""

import json
import tempfile
import unittest
from pathlib import Path

import agent_cost
import servers
from fleet import Unit

# The goals, for a SATA disk with that many rows in its SMART table and for an NVMe disk.
ROWS = 26
SATA, NVME = 150, 60


class SeriesTest(unittest.TestCase):
    def setUp(self) -> None:
        folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.unit = self.enterContext(Unit("unit", folder, 60))

    def reports_rows(self, disk: str) -> None:
        """smartctl reports 26 of it: the simulated ones, and some of a vendor's own."""
        report = next(self.unit.socket().parent.rglob(f"smartctl/{disk}.json"))
        content = json.loads(report.read_text())
        table = content["ata_smart_attributes"]["table"]
        numbers = iter(set(range(1, 255)) - {row["id"] for row in table})
        while len(table) < ROWS:
            number = next(numbers)
            table.append(table[0] | {"id": number, "name": f"Own_Count_{number}"})
        report.write_text(json.dumps(content))

    def is_read(self) -> bool:
        text = agent_cost.scrape(self.unit)
        return agent_cost.is_read(text) and text.count('kind="raw"') == ROWS

    def test_are_within_the_goals(self) -> None:
        self.reports_rows("sda")
        servers.wait(self.is_read, 60, "26 rows")
        text = agent_cost.scrape(self.unit)
        series = agent_cost.series_by_disk(text)
        self.assertEqual(len(series), 4)
        self.assertEqual(sum(series.values()), text.count('{serial="') + text.count('{mount_point="'))
        self.assertGreater(series["KS0240118842"], 4 * ROWS)
        self.assertLessEqual(series["KS0240118842"], SATA)
        self.assertGreater(series["MRN7A0031955"], 17)
        self.assertLessEqual(series["MRN7A0031955"], NVME)


if __name__ == "__main__":
    unittest.main()
