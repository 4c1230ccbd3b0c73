"""Within which time operators are told, as the shipped files have it. All times are in seconds."""

import re
from typing import NamedTuple

import scaled
from places import ALERTMANAGER, PROMETHEUS, RULES

POLL = 60  # of the agent, by default


class Span(NamedTuple):
    earliest: float
    latest: float


def _value(text: str, key: str) -> float:
    """Of the first such key; 0 without one."""
    match = re.search(rf"^ *{key}: (\S+)", text, re.M)
    return scaled.seconds(match[1]) if match else 0


def _alert(name: str) -> str:
    """The rule of an alert, the first of that name."""
    blocks = re.split(r"\n +- (?=alert|record)", RULES[1].read_text())
    return next(block for block in blocks if block.startswith(f"alert: {name}\n"))


def _seen() -> float:
    """After which a rule has noticed a change of a disk at the latest: read, scraped and evaluated."""
    config = PROMETHEUS.read_text()
    return POLL + sum(_value(config, key) for key in ("scrape_interval", "scrape_timeout", "evaluation_interval"))


def told(name: str) -> Span:
    """After the cause has begun."""
    least = _value(_alert(name), "for") + _value(ALERTMANAGER.read_text(), "group_wait")
    return Span(least, least + _seen())


def resolved(name: str) -> Span:
    """After the cause has ended; of a counter, after it was raised."""
    rule = _alert(name)
    window = re.search(r"\[(\w+)\]\) > 0", rule)
    least = scaled.seconds(window[1]) if window else _value(rule, "keep_firing_for")
    return Span(least, least + _seen() + _value(ALERTMANAGER.read_text(), "group_interval"))
