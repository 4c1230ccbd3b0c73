"""What the tests of rules and dashboards share."""

import subprocess
import tempfile
from pathlib import Path

import contract
import promql


def run(*command: object) -> tuple[int, str]:
    """The exit code of a program, and what it printed."""
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False)
    return done.returncode, done.stdout + done.stderr


def unknown_names(query: str) -> list[str]:
    """Metrics and labels in the query that do not exist."""
    names = promql.names(query)
    metrics = contract.agent_metrics().keys() | contract.recorded_metrics() | contract.scrape_metrics() | {"ALERTS"}
    bad = [f"metric {name}" for name in sorted(names.metrics - metrics)]
    bad += [f"label {label} of {metric}" for metric, label in sorted(names.selected) if label not in contract.labels_of(metric)]
    return bad + [f"label {label}" for label in sorted(names.grouped - contract.every_label())]


def parse_error(queries: list[str]) -> str:
    """What promtool has to say against one of the queries; empty if all are right."""
    lines = ["groups:", "- name: queries", "  rules:"]
    for number, query in enumerate(queries):
        quoted = query.replace("'", "''").replace("\n", " ")
        lines += [f"  - record: query{number}", f"    expr: '{quoted}'"]
    with tempfile.TemporaryDirectory() as folder:
        file = Path(folder) / "queries.yml"
        file.write_text("\n".join(lines) + "\n")
        code, text = run("promtool", "check", "rules", "--lint=none", file)
    return text if code else ""
