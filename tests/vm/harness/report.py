"""Check lines and waiting: every check prints one line, every wait has a deadline."""

import time
from collections.abc import Callable
from pathlib import Path
from typing import TypeVar

T = TypeVar("T")

# Every sample costs the guest time that it needs itself: seldom, where it takes long.
FIRST_PAUSE, LONGEST_PAUSE = 0.1, 1.0
DETAIL_LENGTH = 600


class SetupError(Exception):
    """Something this machine lacks; the text says what to install or run."""


class Report:
    """Prints a line per check and remembers whether all passed."""

    def __init__(self) -> None:
        self.passed = 0
        self.failures: list[str] = []
        self._started = time.monotonic()

    def note(self, text: str) -> None:
        print(f"# [{self._elapsed():6.1f} s] {text}", flush=True)

    def _elapsed(self) -> float:
        """Seconds since the start; each line shows them, so that a log shows where the time went."""
        return time.monotonic() - self._started

    def verdict(self, work: Path) -> int:
        """The exit code, after a line per failure."""
        self.note(f"{self.passed} checks passed, {len(self.failures)} failed; logs in {work}")
        for name in self.failures:
            print(f"# failed: {name}")
        return 1 if self.failures else 0

    def check(self, name: str, condition: bool, detail: str = "") -> bool:
        if condition:
            self.passed += 1
            print(f"ok - {name} [{self._elapsed():.1f} s]", flush=True)
        else:
            self.failures.append(name)
            print(f"FAILED - {name} [{self._elapsed():.1f} s]{': ' + detail[:DETAIL_LENGTH] if detail else ''}", flush=True)
        return condition

    def equal(self, name: str, actual: object, expected: object) -> bool:
        return self.check(name, actual == expected, f"expected {expected!r}, got {actual!r}")

    def eventually(self, name: str, read: Callable[[], T], condition: Callable[[T], bool], seconds: float) -> T:
        """Checks that the condition is met before the deadline; answers the last value."""
        last = wait_until(read, condition, seconds)
        self.check(name, condition(last), f"after {seconds:g} s it was still {last!r}")
        return last

    def becomes(self, name: str, read: Callable[[], T], expected: T, seconds: float) -> T:
        """Checks that what is read becomes equal to what is expected before the deadline."""
        last = wait_until(read, lambda value: value == expected, seconds)
        self.check(name, last == expected, f"after {seconds:g} s it was still {last!r}, not {expected!r}")
        return last


def wait_until(read: Callable[[], T], condition: Callable[[T], bool], seconds: float) -> T:
    """Reads until the condition is met or the time is up; answers the last value."""
    deadline = time.monotonic() + seconds
    pause = FIRST_PAUSE
    value = read()
    while not condition(value) and time.monotonic() < deadline:
        time.sleep(pause)
        pause = min(1.5 * pause, LONGEST_PAUSE)
        value = read()
    return value
