"""The rules: unit-tested and linted by promtool, and about metrics that exist."""

import re
import unittest
from pathlib import Path

import contract
import promql
from checks import parse_error, run, unknown_names
from places import ROOT, RULES, VERDICT_RULES

CATALOGUE = ROOT / "src" / "StorageDevices" / "LogCatalogue.h"
RULE_TESTS = sorted((Path(__file__).parent / "rules").glob("*.yml"))


def alert_names() -> set[str]:
    return {name for rules in RULES for name in re.findall(r"- alert: (\S+)", rules.read_text())}


class RulesTest(unittest.TestCase):
    def test_pass_the_linter(self) -> None:
        code, text = run("promtool", "check", "rules", "--lint=all", "--lint-fatal", *RULES)
        self.assertEqual(code, 0, text)

    def test_pass_their_unit_tests(self) -> None:
        for file in RULE_TESTS:
            code, text = run("promtool", "test", "rules", file)
            self.assertEqual(code, 0, text)

    def test_each_alert_fires_in_a_unit_test_and_does_not_in_another(self) -> None:
        text = "\n".join(file.read_text() for file in RULE_TESTS)
        fires = set(re.findall(r"alertname: (\w+)\n +exp_alerts:\n", text))
        rests = set(re.findall(r"\{eval_time: \S+, alertname: (\w+)\}", text))
        self.assertEqual(fires, alert_names())
        self.assertEqual(rests, alert_names())

    def test_read_metrics_and_labels_that_exist(self) -> None:
        for rules in RULES:
            for query in promql.rule_expressions(rules.read_text()):
                self.assertEqual(unknown_names(query), [], query)

    def test_annotations_read_metrics_that_exist(self) -> None:
        for query in re.findall(r'query \(printf "((?:\\.|[^"])*)"', RULES[1].read_text()):
            filled = query.replace("%q", '"x"').replace('\\"', '"')
            self.assertEqual((unknown_names(filled), parse_error([filled])), ([], ""))

    def test_alerts_say_what_happened_where_and_what_to_do(self) -> None:
        for block in re.split(r"\n +- (?=alert|record)", RULES[1].read_text()):
            if not block.startswith("alert:"):
                continue
            wanted = {"summary", "reason", "action"}
            if "StorageTargetsLost" not in block:
                wanted.add("unit")
            if "StorageDisk" in block.splitlines()[0]:
                wanted |= {"serial", "disk", "page"}
            self.assertEqual(wanted - set(re.findall(r"^ +(\w+):", block, re.M)), set(), block)
            self.assertRegex(block, r"severity: (critical|warning|info)\n")

    def test_messages_and_reasons_that_rules_name_exist(self) -> None:
        text = RULES[1].read_text()
        messages = set(re.findall(r"\bSTORAGEDEVICE_[A-Z_]+\b", CATALOGUE.read_text()))
        self.assertEqual(set(re.findall(r"\bSTORAGEDEVICE_[A-Z_]+\b", text)) - messages, set())
        codes = set(re.findall(r'^    \{"([a-z-]+)", Verdict::', VERDICT_RULES.read_text(), re.M))
        named = {code for match in re.findall(r'code=~?\\?"([a-z|-]+)\\?"', text) for code in match.split("|")}
        self.assertEqual(named - codes, set())
        self.assertGreater(len(named), 3)


class NamesTest(unittest.TestCase):
    """What the other tests rely on."""

    def test_finds_metrics_and_labels(self) -> None:
        found = promql.names(
            'sum by (a, b) (rate(m_total{x="{y}",z!~"q"}[5m] offset 1h)) > bool 1e3 and on (c) n:o:p unless time() - w == inf'
        )
        self.assertEqual(found.metrics, {"m_total", "n:o:p", "w"})
        self.assertEqual(found.selected, {("m_total", "x"), ("m_total", "z")})
        self.assertEqual(found.grouped, {"a", "b", "c"})

    def test_finds_expressions(self) -> None:
        self.assertEqual(promql.rule_expressions("  expr: a\n  expr: |\n    b\n      or c\n  for: 1m\n"), ["a", "b\nor c"])

    def test_reports_what_does_not_exist(self) -> None:
        wrong = 'sum by (sreial) (storagedevices_disk_sise_bytes) + storagedevices_disk_size_bytes{model="K"}'
        self.assertEqual(
            unknown_names(wrong),
            ["metric storagedevices_disk_sise_bytes", "label model of storagedevices_disk_size_bytes", "label sreial"],
        )
        self.assertIn("parse error", parse_error(["up", "sum by ("]))

    def test_knows_the_contract(self) -> None:
        metrics = contract.agent_metrics()
        self.assertEqual(metrics["storagedevices_disk_verdict"], {"serial", "verdict"})
        self.assertEqual(metrics["storagedevices_tool_run_seconds_bucket"], {"tool", "le"})


if __name__ == "__main__":
    unittest.main()
