"""The names in a query of Prometheus: which metrics it reads, with which labels. Prometheus itself checks the grammar."""

import re
from dataclasses import dataclass, field

_STRING = re.compile(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\'')
_SELECTOR = re.compile(r"([A-Za-z_:][\w:]*)?\s*\{([^}]*)\}")
_GROUPING = re.compile(r"\b(?:by|without|on|ignoring|group_left|group_right)\b\s*\(([^)]*)\)")
_RANGE = re.compile(r"\[[^\]]*\]|\b(?:offset)\s+\S+")
_NAME = re.compile(r"(?<![\w:.$])[A-Za-z_:][\w:]*(?!\s*\()(?![\w:])")
_WORDS = {"and", "or", "unless", "bool", "by", "without", "on", "ignoring", "group_left", "group_right", "inf", "nan"}


@dataclass
class Names:
    metrics: set[str] = field(default_factory=set)
    selected: set[tuple[str, str]] = field(default_factory=set)  # a metric, and a label that its selector names
    grouped: set[str] = field(default_factory=set)  # labels of by (…), on (…) and the like


def names(query: str) -> Names:
    """Of a query without variables."""
    found = Names()
    text = _STRING.sub('""', query)
    for metric, matchers in _SELECTOR.findall(text):
        found.selected |= {(metric, label) for label in re.findall(r"(\w+)\s*(?:=~|!~|!=|=)", matchers)}
    text = re.sub(r"\{[^}]*\}", " ", text)
    for labels in _GROUPING.findall(text):
        found.grouped |= set(re.findall(r"\w+", labels))
    text = _RANGE.sub(" ", _GROUPING.sub(" ", text))
    found.metrics = {name for name in _NAME.findall(text) if name.lower() not in _WORDS}
    return found


def rule_expressions(rules: str) -> list[str]:
    """The values of `expr:` in a file of rules: on its line, or indented below a bar."""
    lines = rules.splitlines()
    found = []
    for number, line in enumerate(lines):
        match = re.match(r"( *)expr: (.*)", line)
        if not match:
            continue
        text = [] if match[2] == "|" else [match[2]]
        for below in lines[number + 1 :]:
            if match[2] != "|" or not below.startswith(match[1] + "  "):
                break
            text.append(below.strip())
        found.append("\n".join(text))
    return found
