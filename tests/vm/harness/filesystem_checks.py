"""What the agent says of mounted file systems, as the checks of a run with a fast clock need it."""

from collections.abc import Callable
from typing import Any

from .agent import Agent
from .appliance import Appliance
from .filesystem_disks import FileSystemDisk
from .report import wait_until
from .scenario import FOLLOW_SECONDS, START_SECONDS, Scenario

# An hour passes in two seconds, and the day that is waited after an error in less than a minute. Faster, the guest is
# busy with nothing but tests.
TIME_SCALE = 1800
DAY, PHASE, USE_CHECK = 86400.0, 300.0, 120.0
DAY_SECONDS = DAY / TIME_SCALE + FOLLOW_SECONDS

ERROR, WARNING, OFFLINE = "STORAGEDEVICE_MONITOR_ERROR", "STORAGEDEVICE_MONITOR_WARNING", "STORAGEDEVICE_OFFLINE"
EXCEEDED = "has exceeded 85 percent"
IO_ERROR, NO_SPACE = "Input/output error", "No space left on device"
UNNAMED = ("", "", "", "")


class RecordingAgent(Agent):
    """Keeps all that it was seen to say of the file systems."""

    seen: list[dict[str, Any]]

    def state(self) -> dict[str, Any]:
        state = super().state()
        if state:
            self.seen.append({key: state[key] for key in ("time", "mountPoints")})
        return state


class FileSystemChecks(Scenario):
    """Reads of the agent, and waits on what they come to say."""

    def __init__(self, appliance: Appliance, log_suffix: str) -> None:
        super().__init__(appliance, log_suffix)
        self._agent = RecordingAgent(appliance.guest)
        self._agent.seen = []

    def _mount(self, each: FileSystemDisk) -> dict[str, Any]:
        return self._agent.state().get("mountPoints", {}).get(each.mount, {})

    def _health(self, each: FileSystemDisk) -> dict[str, Any]:
        return self._mount(each).get("fsHealth", {})

    def _becomes(self, check: str, read: Callable[[], Any], expected: object) -> None:
        self._report.becomes(check, read, expected, FOLLOW_SECONDS)

    def _eventually(self, check: str, read: Callable[[], Any], condition: Callable[[Any], bool]) -> Any:
        return self._report.eventually(check, read, condition, FOLLOW_SECONDS)

    def _messages(self, each: FileSystemDisk, name: str = ERROR) -> list[dict[str, Any]]:
        """Those that name the disk."""
        return [message for message in self._agent.messages() if message["name"] == name and _named(message, each)]

    def _reported(self, each: FileSystemDisk, name: str = ERROR) -> list[tuple[str, ...]]:
        """The operation, if the message has one, and the error of each of the disk's messages."""
        return [(*message["arguments"][:-5], message["arguments"][-1]) for message in self._messages(each, name)]

    def _passes(self, when: str, *disks: FileSystemDisk) -> None:
        """Each file system passes a test that begins after now; they are seen to have passed between two tests."""
        since, passed = self._agent.time(), set()

        def passing() -> list[str]:
            state = self._agent.state()
            mounts = state.get("mountPoints", {})
            if state.get("time", 0.0) > since + 3 * PHASE:
                passed.update(each for each in disks if _passed(mounts.get(each.mount, {})))
            return [each.name for each in disks if each in passed]

        names = [each.name for each in disks]
        self._report.becomes(f"{when}: the tests pass on {', '.join(names)}", passing, names, START_SECONDS)

    def _wait_framework(self, seconds: float) -> None:
        """Until so much time has passed by the agent's own clock."""
        until = self._agent.time() + seconds
        if wait_until(self._agent.time, lambda now: now > until, FOLLOW_SECONDS) <= until:
            self._report.check("the agent's clock continues", False, f"it has not come to {until}")


def _named(message: dict[str, Any], each: FileSystemDisk) -> bool:
    return each.is_named_by(tuple(message["arguments"][-5:-1]))


def _passed(mount: dict[str, Any]) -> bool:
    health = mount.get("fsHealth", {})
    return bool(health.get("running") and health.get("writeTestOk") and health.get("readTestOk"))


def is_repeated(reported: list[Any]) -> bool:
    return len(reported) > 1


def is_io_error(reported: list[tuple[str, ...]]) -> bool:
    """At most one, since the test pauses then."""
    return len(reported) < 2 and all(error == IO_ERROR for _, error in reported)
