"""The dashboards: their queries are right, and about metrics that exist."""

import json
import re
import unittest
from typing import Any

import contract
import dashboards
from checks import parse_error, unknown_names
from places import DASHBOARDS


def overlaps(first: dict[str, int], second: dict[str, int]) -> bool:
    apart_x = first["x"] + first["w"] <= second["x"] or second["x"] + second["w"] <= first["x"]
    apart_y = first["y"] + first["h"] <= second["y"] or second["y"] + second["h"] <= first["y"]
    return not (apart_x or apart_y)


class DashboardsTest(unittest.TestCase):
    def setUp(self) -> None:
        self.all: list[dict[str, Any]] = [dashboards.load(file) for file in DASHBOARDS]
        self.assertEqual(sorted(each["uid"] for each in self.all), ["storagedevices-fleet", "storagedevices-unit"])

    def test_queries_parse(self) -> None:
        for dashboard in self.all:
            queries = [dashboards.filled(target["expr"], {}) for target in dashboards.targets(dashboard)]
            queries += [dashboards.label_values(each)[0] for each in dashboards.variables(dashboard)[1:]]
            self.assertGreater(len(queries), 20)
            self.assertEqual(parse_error([query.replace("$instance", "x") for query in queries]), "")

    def test_queries_read_metrics_and_labels_that_exist(self) -> None:
        for dashboard in self.all:
            for target in dashboards.targets(dashboard):
                query = dashboards.filled(target["expr"], {})
                self.assertEqual(unknown_names(query), [], query)
            for variable in dashboards.variables(dashboard)[1:]:
                selector, label = dashboards.label_values(variable)
                self.assertEqual(unknown_names(f"count by ({label}) ({selector})"), [], selector)

    def test_legends_name_labels_that_exist(self) -> None:
        for dashboard in self.all:
            for target in dashboards.targets(dashboard):
                labels = set(re.findall(r"\{\{(\w+)\}\}", target.get("legendFormat", "")))
                self.assertEqual(labels - contract.every_label(), set(), target)

    def test_define_the_variables_that_they_use(self) -> None:
        for dashboard in self.all:
            defined = {each["name"] for each in dashboards.variables(dashboard)}
            self.assertEqual(dashboards.used_variables(json.dumps(dashboard)) - defined, set())

    def test_link_to_each_other(self) -> None:
        for dashboard in self.all:
            linked = set(re.findall(r"/d/([\w-]+)", json.dumps(dashboard)))
            self.assertEqual(linked, {each["uid"] for each in self.all if each is not dashboard})

    def test_panels_have_their_own_number_and_place(self) -> None:
        for dashboard in self.all:
            panels = dashboards.panels(dashboard)
            self.assertEqual(len({panel["id"] for panel in panels}), len(panels))
            for number, panel in enumerate(panels):
                self.assertLessEqual(panel["gridPos"]["x"] + panel["gridPos"]["w"], 24)
                for other in panels[:number]:
                    self.assertFalse(overlaps(panel["gridPos"], other["gridPos"]), (panel["title"], other["title"]))

    def test_show_every_metric_of_a_disk(self) -> None:
        text = json.dumps(self.all)
        of_disks = [name for name, labels in contract.agent_metrics().items() if "serial" in labels]
        self.assertEqual([name for name in of_disks if name not in text], [])


if __name__ == "__main__":
    unittest.main()
