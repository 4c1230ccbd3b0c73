"""One run of the agent from its start to its clean end, between which a scenario makes its checks."""

import json
from collections.abc import Callable, Iterable
from pathlib import Path
from typing import Any

from . import machine
from .agent import Agent
from .appliance import Appliance

START_SECONDS = 90.0
FOLLOW_SECONDS = 60.0
STOP_SECONDS = 30.0


class Scenario:
    """The watched disks are kept up to date as they are pulled and plugged."""

    def __init__(self, appliance: Appliance, log_suffix: str = "") -> None:
        self._appliance = appliance
        self._guest = appliance.guest
        self._report = appliance.report
        self._agent = Agent(appliance.guest)
        self._log_suffix = log_suffix
        self._watched = list(machine.WATCHED)
        self._last_state: dict[str, Any] = {}

    def _run_agent(self, work: Path, steps: Iterable[Callable[[], None]]) -> None:
        self._agent.start()
        try:
            if all(self._survives(step) for step in steps):
                self._check_stop()
        finally:
            (work / f"vm-agent{self._log_suffix}.log").write_text(self._agent.log())
            (work / f"vm-state{self._log_suffix}.json").write_text(json.dumps(self._last_state, indent=2))

    def _survives(self, step: Callable[[], None]) -> bool:
        step()
        self._last_state = self._agent.state() or self._last_state
        status = self._agent.exit_status()
        if status:
            ending = f"it ended with status {status}: {self._agent.log()[-1000:]}"
            self._report.check("the agent keeps running", False, ending)
        return not status

    def _check_stop(self) -> None:
        disks = self._agent.shown_state().get("connectedDevices", {}).get("disk", {})
        self._report.equal("the program shows the disks that are served", sorted(disks), sorted(self._agent.disks()))
        self._agent.terminate()
        self._report.becomes("SIGTERM ends the agent with status 0", self._agent.exit_status, "0", STOP_SECONDS)
        self._report.equal("no socket and no child is left", self._agent.leftovers(), [])

    def _expect_disks(self, when: str, seconds: float = FOLLOW_SECONDS) -> None:
        """Checks that the agent comes to watch exactly the disks that it should."""
        wanted = sorted(self._serials().values())
        check = f"{when}: the agent watches {wanted}"
        self._report.becomes(check, lambda: sorted(self._agent.disks()), wanted, seconds)

    def _serials(self) -> dict[machine.Disk, str]:
        """The watched disks' keys in the state document."""
        return {disk: record["name"] for disk, record in self._appliance.expected_records(self._watched).items()}
