"""The packages' service in the guest, steered and asked as an operator would: through systemd and the journal."""

import json
from typing import Any

from . import machine
from .agent import POLL_SECONDS, STATUS_ADDRESS, TIME_SCALE, AgentApi
from .guest_control import Result

UNIT = "storagedevices.service"
CONFIG, DROP_IN = "/etc/storagedevices/storagedevices.toml", f"/etc/systemd/system/{UNIT}.d/test.conf"
GROUP = "storagedevices"
SOCKETS = ("/run/storagedevices/status.sock", "/run/kernelmessages")
WATCHDOG_SECONDS = 20  # in place of the unit's: as little as a busy emulator allows
SYSTEMCTL_SECONDS = 90

_CONFIGURATION = f"""
poll_interval = {POLL_SECONDS * TIME_SCALE}
[appliance]
expected_mounts = {json.dumps(machine.EXPECTED_MOUNTS)}
[status]
http = "{STATUS_ADDRESS}"
socket_group = "{GROUP}"
[clock]
time_scale = {TIME_SCALE}.0
"""


class Service(AgentApi):
    """Of an appliance whose files have all the disks of the emulated one."""

    def configure(self) -> None:
        self._guest.write("/etc/blockdev", machine.ETC_BLOCKDEV)
        self._guest.write("/etc/multidrive", machine.ETC_MULTIDRIVE)
        self._guest.write("/etc/multidrive_src", machine.ETC_MULTIDRIVE_SRC)
        self._guest.write(CONFIG, _CONFIGURATION)
        self._guest.write(DROP_IN, f"[Service]\nWatchdogSec={WATCHDOG_SECONDS}\n")
        self._guest.must("systemctl daemon-reload", SYSTEMCTL_SECONDS)

    def add_to_configuration(self, text: str) -> None:
        self._guest.write(CONFIG, f"{_CONFIGURATION}{text}\n")

    def systemctl(self, verb: str) -> Result:
        return self._guest.run(f"systemctl {verb} {UNIT}", SYSTEMCTL_SECONDS)

    def properties(self, *names: str) -> dict[str, str]:
        """Of the unit, as systemd shows them."""
        lines = self._guest.must(f"systemctl show --property={','.join(names)} {UNIT}").splitlines()
        return dict(line.split("=", 1) for line in lines)

    def process(self) -> int:
        """0 while it does not run."""
        return int(self.properties("MainPID")["MainPID"])

    def journal(self, arguments: str) -> str:
        """What journalctl prints of this boot."""
        return self._guest.must(f"journalctl --sync; journalctl --quiet --no-pager --boot {arguments}", 60)

    def entries(self, name: str) -> list[dict[str, Any]]:
        """The journal's entries of a message, with all their fields."""
        return [json.loads(line) for line in self.journal(f"-o json STORAGEDEVICE_NAME={name}").splitlines()]

    def explained(self, message_id: str) -> str:
        """What journalctl -x prints for a message, on one line without its margin."""
        return " ".join(self.journal(f"-x MESSAGE_ID={message_id}").replace("░░", " ").split())

    def asked_by(self, group: str) -> Result:
        """The answer to a user who has no right but that group."""
        command = "storagedevices status --json"
        return self._guest.run(f"setpriv --reuid=nobody --regid={group} --clear-groups {command}", 30)

    def leftovers(self) -> list[str]:
        """Its sockets that are still there."""
        return self._guest.run(f"ls {' '.join(SOCKETS)} 2>/dev/null").out.split()
