"""Where things are."""

import os
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
DEPLOY = ROOT / "deploy"
RULES = [DEPLOY / "prometheus" / name for name in ("storagedevices.rules.yml", "storagedevices.alerts.yml")]
DASHBOARDS = sorted((DEPLOY / "grafana").glob("*.json"))
PROMETHEUS = DEPLOY / "prometheus" / "prometheus.yml"
FEDERATION = DEPLOY / "prometheus" / "federation.yml"
ALERTMANAGER = DEPLOY / "alertmanager" / "alertmanager.yml"
# What the agent serves, kept equal to MetricDefinitions.h by a test of its own.
CONTRACT = ROOT / "tests" / "data" / "metrics" / "contract.txt"
# The contract of each release, and a scrape that its agent has served.
RELEASED = sorted(CONTRACT.parent.glob("released-*.txt"))
RECORDED = ROOT / "tests" / "fleet" / "recorded"
TARGETS_FROM_INVENTORY = DEPLOY / "prometheus" / "targets-from-inventory"
MAKE_CERTIFICATES = DEPLOY / "tls" / "make-certificates"
VERDICT_RULES = ROOT / "src" / "agent" / "verdict" / "VerdictRules.cpp"
BUILD = Path(os.environ.get("STORAGEDEVICES_BUILD", ROOT / "build" / "release"))
AGENT = BUILD / "src" / "command" / "storagedevices"
UNIT = BUILD / "tests" / "fleet" / "fleet-unit"
