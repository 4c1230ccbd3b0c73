"""The installed service under systemd: its start, its sandbox, its log, its watchdog and its end."""

from collections.abc import Collection
from pathlib import Path
from typing import Any

from . import machine
from .appliance import Appliance
from .health import GuestHealth, on_bus
from .health_checks import HealthChecks
from .machine import Disk
from .scenario import FOLLOW_SECONDS, START_SECONDS
from .service import GROUP, UNIT, WATCHDOG_SECONDS, Service

ERROR = "STORAGEDEVICE_IO_ERROR"
# The numbers of the capabilities that the unit leaves.
CAPABILITIES = {"CAP_DAC_OVERRIDE": 1, "CAP_SYS_RAWIO": 17, "CAP_SYS_ADMIN": 21}
FILTERED = "2"  # of the field Seccomp in a process's status
RESTART_SECONDS = WATCHDOG_SECONDS + FOLLOW_SECONDS


class ServiceScenario:
    """One boot, in the order of an operator's day."""

    def __init__(self, appliance: Appliance) -> None:
        self._appliance = appliance
        self._guest = appliance.guest
        self._report = appliance.report
        self._service = Service(appliance.guest)
        self._watched: list[Disk] = list(machine.WATCHED)

    def run(self, work: Path) -> None:
        steps = (
            self._check_boot,
            self._check_start,
            self._check_sandbox,
            self._check_readings,
            self._check_file_system,
            self._check_plug,
            self._check_journal,
            self._check_reload,
            self._check_group,
            self._check_watchdog,
            self._check_end,
        )
        try:
            for step in steps:
                step()
        finally:
            (work / "vm-journal.log").write_text(self._guest.run("journalctl --boot -o short-precise", 60).out)

    def _check_boot(self) -> None:
        state = self._guest.run("systemctl is-system-running --wait", 120).out.strip()
        failed = self._guest.run("systemctl --failed --plain --no-legend").out
        self._report.check("the system starts without a failed unit", state == "running", f"{state}: {failed}")
        self._report.equal("the service started with it", self._service.systemctl("is-active").out.strip(), "active")

    def _check_start(self) -> None:
        """A start of type notify returns when the agent is ready, and so answers."""
        self._service.configure()
        self._report.equal("systemctl stop ends it", self._service.systemctl("stop").status, 0)
        self._report.equal("no socket is left", self._service.leftovers(), [])
        started = self._service.systemctl("start")
        self._report.check("systemctl start starts it", started.status == 0, started.err)
        self._report.check("it answers once systemctl returns", self._service.state() != {})
        wanted = {"Type": "notify", "ActiveState": "active", "SubState": "running", "NRestarts": "0"}
        self._report.equal("systemd knows that it is ready", self._service.properties(*wanted), wanted)
        self._expect_disks("after the start", START_SECONDS)

    def _check_sandbox(self) -> None:
        """The unit's rights are those that the process has."""
        process = self._service.process()
        status = dict(
            line.split(":\t", 1)
            for line in self._guest.must(f"cat /proc/{process}/status").splitlines()
            if ":\t" in line
        )
        wanted = f"{sum(1 << number for number in CAPABILITIES.values()):016x}"
        self._report.equal(
            "the process has the unit's capabilities alone", (status["CapBnd"], status["CapEff"]), (wanted,) * 2
        )
        confined = (status["NoNewPrivs"], status["Seccomp"])
        self._report.equal("its system calls are filtered, and it gets no further rights", confined, ("1", FILTERED))
        for path in ("/etc", "/usr", "/var/lib", "/home"):
            refused = self._guest.run(f"nsenter --target {process} --mount touch {path}/of-the-test")
            self._report.check(f"it cannot write to {path}", "Read-only file system" in refused.err, refused.err)

    def _check_readings(self) -> None:
        """What smartctl and nvme print in the sandbox is what they print outside."""
        checks = self._health_checks()
        sources = {machine.SATA: "smartctl", machine.NVME: "nvme"}
        readings = [(disk, sources[disk.bus]) for disk in on_bus(self._watched, *sources)]
        before = checks.guest.nvme_logs()
        since = self._service.time()
        state = checks.wait(
            "smartctl and nvme reach the disks", lambda state: checks.read_since(state, since, readings)
        )
        checks.smart_is_right(state, on_bus(self._watched, machine.SATA))
        checks.nvme_is_right(state, before, checks.guest.nvme_logs(), texts_count=True)
        checks.nothing_is_wrong("in the sandbox", state)

    def _health_checks(self) -> HealthChecks:
        serials = {disk: record["name"] for disk, record in self._appliance.expected_records(self._watched).items()}
        return HealthChecks(self._appliance, self._service, serials)

    def _check_file_system(self) -> None:
        """One that is mounted after the start reaches the service, which writes and reads its file there."""
        mount = machine.SATA_SSD.expected["mountPoint"]
        self._appliance.format_and_mount(machine.SATA_SSD, mount)
        self._guest.must(f"chown nobody {mount} && chmod 700 {mount}")  # of another owner
        check = f"{mount} is written and read back"
        self._report.eventually(check, lambda: self._health(mount), _is_tested, FOLLOW_SECONDS)
        written = self._guest.run(f"stat -c %s {mount}/debug/healthTestCookie").out.strip()
        self._report.check("its file is there", written not in ("", "0"), written)

    def _health(self, mount: str) -> dict[str, Any]:
        health: dict[str, Any] = self._service.state().get("mountPoints", {}).get(mount, {}).get("fsHealth", {})
        return health

    def _check_plug(self) -> None:
        """The sandbox holds no disk back that comes later."""
        for disk in machine.ADDED_LATER:
            self._appliance.plug(disk)
            self._watched.append(disk)
        self._expect_disks("two disks are plugged in")

    def _check_journal(self) -> None:
        """The kernel's error of a disk passes the sandbox, and stands in the journal with its fields."""
        disk = machine.SATA_HDD
        self._report.equal("no error is reported before there is one", self._service.said(ERROR), [])
        failed = self._appliance.use_faulty_sector(disk, "read")
        self._report.check("a sector cannot be read", failed.status != 0, str(failed))
        self._report.eventually("the agent reports it", lambda: self._service.said(ERROR), bool, FOLLOW_SECONDS)
        message = next((each for each in self._service.messages() if each["name"] == ERROR), {})
        entries = self._service.entries(ERROR)
        self._report.equal("the journal has the message once", len(entries), 1)
        if entries and message:
            self._check_entry(entries[0], message)

    def _check_entry(self, entry: dict[str, Any], message: dict[str, Any]) -> None:
        arguments = {f"STORAGEDEVICE_ARG{number}": text for number, text in enumerate(message["arguments"])}
        wanted = {
            "MESSAGE": f"{ERROR}: {message['text']}",
            "PRIORITY": str(message["severity"]),
            "STORAGEDEVICE_NAME": ERROR,
            "SYSLOG_IDENTIFIER": "storagedevices",
            "_SYSTEMD_UNIT": UNIT,
            **arguments,
        }
        self._report.equal("its fields are those of the message", {key: entry.get(key) for key in wanted}, wanted)
        shown = self._service.explained(entry.get("MESSAGE_ID", ""))
        for text in (message["explanation"], message["recommendedAction"]):
            self._report.check(f"journalctl -x shows {text[:40]!r}…", " ".join(text.split()) in shown, shown)

    def _check_reload(self) -> None:
        self._service.add_to_configuration("[verdict]\nlife_warning = 11")
        reloaded = self._service.systemctl("reload")
        self._report.check("systemctl reload succeeds", reloaded.status == 0, reloaded.err)
        self._report.becomes("the new configuration holds", self._life_warning, 11, FOLLOW_SECONDS)
        self._service.add_to_configuration("[verdict]\nlife_warning = 1000")
        self._report.check("systemctl reload fails for a wrong one", self._service.systemctl("reload").status != 0)
        told = self._service.journal(f"-u {UNIT} -n 20")
        self._report.check("the journal has the line that is wrong", "storagedevices.toml:" in told, told)
        self._report.equal("the configuration before it holds", self._life_warning(), 11)
        self._service.add_to_configuration("")

    def _life_warning(self) -> Any:
        return self._service.state().get("limits", {}).get("lifeWarning")

    def _check_group(self) -> None:
        allowed = self._service.asked_by(GROUP)
        self._report.check(f"a user of the group {GROUP} may ask", allowed.status == 0, allowed.err)
        refused = self._service.asked_by("nogroup")
        right = refused.status == 1 and "ermission denied" in refused.err
        self._report.check("another user may not", right, f"{refused.status}: {refused.err}")

    def _check_watchdog(self) -> None:
        process = self._service.process()
        self._guest.must(f"kill -STOP {process}")
        restarted = {"NRestarts": "1", "ActiveState": "active"}
        self._report.becomes(
            "an agent that is stopped by a signal is restarted",
            lambda: self._service.properties(*restarted),
            restarted,
            RESTART_SECONDS,
        )
        self._report.check("the process is another one", self._service.process() not in (0, process))
        told = self._service.journal(f"-o cat UNIT={UNIT} -n 20")
        self._report.check("the watchdog has ended it", "Failed with result 'watchdog'" in told, told)
        self._expect_disks("after the restart", START_SECONDS)

    def _check_end(self) -> None:
        """The package takes its service along."""
        purged = self._guest.run("dpkg --purge storagedevices", 90)
        self._report.check("the package is purged", purged.status == 0, purged.err)
        self._report.equal("the service has ended", self._service.systemctl("is-active").out.strip(), "inactive")
        told = self._service.journal(f"-o cat UNIT={UNIT} -n 5")
        self._report.check("it has ended well", "Deactivated successfully" in told, told)
        self._report.equal("no socket is left of it", self._service.leftovers(), [])

    def _expect_disks(self, when: str, seconds: float = FOLLOW_SECONDS) -> None:
        wanted = _serials(self._appliance, self._watched)
        self._report.becomes(
            f"{when}: the agent watches {wanted}", lambda: sorted(self._service.disks()), wanted, seconds
        )


def _serials(appliance: Appliance, disks: Collection[Disk]) -> list[str]:
    return sorted(record["name"] for record in appliance.expected_records(disks).values())


def _is_tested(health: dict[str, Any]) -> bool:
    return bool(health.get("writeTestOk") and health.get("readTestOk"))
