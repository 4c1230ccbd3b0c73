"""The shipped files at a faster pace: each duration in them is divided, and nothing else changes.

So a test sees in seconds what rules promise in minutes. What it compares with is computed from the same files.
"""

import re

_UNITS = {"ms": 0.001, "s": 1, "m": 60, "h": 3600, "d": 86400}
# After a key, in a range, and after `offset`.
_DURATION = re.compile(r"((?:interval|timeout|wait|for): |\[|\boffset )(\d+)(ms|s|m|h|d)\b")
_AGE = re.compile(r"(time\(\) - )(\d+)\b")  # in seconds
_PREDICTION = re.compile(r"(\], )(\d+)( \* 86400\))")


def seconds(duration: str) -> float:
    match = re.fullmatch(r"(\d+)(ms|s|m|h|d)", duration)
    assert match, duration
    return int(match[1]) * _UNITS[match[2]]


def text(duration: float) -> str:
    return f"{round(duration * 1000)}ms"


def faster(file: str, scale: float) -> str:
    """The text of rules or of a configuration, `scale` times as fast."""
    file = _PREDICTION.sub(lambda found: f"{found[1]}{int(found[2]) / scale:g}{found[3]}", file)
    file = _AGE.sub(lambda found: f"{found[1]}{int(found[2]) / scale:g}", file)
    return _DURATION.sub(lambda found: found[1] + text(seconds(found[2] + found[3]) / scale), file)
