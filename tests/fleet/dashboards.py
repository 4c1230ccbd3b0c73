"""The dashboards of Grafana, as far as they can be read without it."""

import json
import re
from pathlib import Path
from typing import Any, Iterator

# What Grafana puts in place of its own variables.
_BUILT_IN = {"__rate_interval": "4m", "__range": "1d", "__interval": "1m"}


def load(file: Path) -> dict[str, Any]:
    return json.loads(file.read_text())


def variables(dashboard: dict[str, Any]) -> list[dict[str, Any]]:
    return dashboard["templating"]["list"]


def panels(dashboard: dict[str, Any]) -> list[dict[str, Any]]:
    return dashboard["panels"]


def targets(dashboard: dict[str, Any]) -> Iterator[dict[str, Any]]:
    for panel in panels(dashboard):
        yield from panel.get("targets", [])


def used_variables(text: str) -> set[str]:
    """Those that a dashboard must define."""
    return {name for name in re.findall(r"\$\{?(\w+)", text) if not name.startswith("__")}


def filled(query: str, values: dict[str, str]) -> str:
    """The query as Prometheus gets it; ".*" for a variable without a value."""
    return re.sub(r"\$(\w+)", lambda found: (_BUILT_IN | values).get(found[1], ".*"), query)


def label_values(variable: dict[str, Any]) -> tuple[str, str]:
    """Selector and label of a variable that is asked of Prometheus."""
    match = re.fullmatch(r"label_values\((.+), (\w+)\)", variable["query"]["query"])
    assert match, variable
    return match[1], match[2]
