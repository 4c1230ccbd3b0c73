"""The metrics that exist: those of the agent, those of the recording rules, those that Prometheus makes of a scrape."""

import re
from pathlib import Path

from places import CONTRACT, RULES

TARGET_LABELS = {"job", "instance", "site", "rack"}
ALERT_LABELS = TARGET_LABELS | {"alertname", "alertstate", "severity", "serial", "mount_point", "name", "verdict"}


def types(contract: Path) -> dict[str, str]:
    """Each metric of that contract with its type."""
    return dict(re.findall(r"^(\S+) (\w+) \{", contract.read_text(), re.M))


def agent_metrics(contract: Path = CONTRACT) -> dict[str, set[str]]:
    """Each name that the agent serves, with its labels."""
    found: dict[str, set[str]] = {}
    for name, kind, labels in re.findall(r"^(\S+) (\w+) \{(.*)\}$", contract.read_text(), re.M):
        own = set(labels.split(",")) - {""}
        if kind == "histogram":
            found |= {name + "_bucket": own | {"le"}, name + "_sum": own, name + "_count": own}
        else:
            found[name] = own
    return found


def recorded_metrics() -> set[str]:
    return {name for rules in RULES for name in re.findall(r"- record: (\S+)", rules.read_text())}


def scrape_metrics() -> set[str]:
    return {"up", "scrape_duration_seconds", "scrape_samples_scraped", "scrape_series_added"}


def every_label() -> set[str]:
    return ALERT_LABELS.union(*agent_metrics().values())


def labels_of(metric: str) -> set[str]:
    """Those that a selector of the metric may name."""
    if metric in recorded_metrics():
        return every_label()
    if metric == "ALERTS":
        return ALERT_LABELS
    return TARGET_LABELS | agent_metrics().get(metric, set())
