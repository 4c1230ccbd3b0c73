"""The agent on the emulated appliance: what it says of every disk, and how it follows faults, pulls, plugs, storms."""

from collections.abc import Collection
from pathlib import Path
from typing import Any

from . import machine
from .agent import TIME_SCALE
from .appliance import Appliance
from .health import GOOD_SOURCES
from .health_checks import BUSSES, HealthChecks, check_kept
from .kernel_error_checks import KernelErrorChecks
from .machine import Disk
from .scenario import FOLLOW_SECONDS, START_SECONDS, Scenario

# Both phases of a file system test, each after five minutes of the framework's time, and as long again.
FILE_SYSTEM_TEST_SECONDS = 2 * 2 * 300 / TIME_SCALE + FOLLOW_SECONDS
STORM_SECONDS = 400

TEST_MOUNT = "/mnt/drive"

# What the agent runs beside discovery: the start-up check and, by their keys in the state document, the monitors.
DETECTION = "detection"
MONITORS = (DETECTION, *BUSSES, "mountPoints", "storageDevicesInfo")
HEALTH_MONITORS = frozenset(BUSSES)


class AgentScenario(Scenario):
    """The agent as it is configured by default; its checks build on each other."""

    def __init__(self, appliance: Appliance, monitors: Collection[str], storm_rounds: int) -> None:
        super().__init__(appliance)
        self._monitors = frozenset(monitors)
        self._storm_rounds = storm_rounds
        self._errors = KernelErrorChecks(appliance, self._agent)

    def run(self, work: Path) -> None:
        partition = self._appliance.format_and_mount(machine.SATA_SSD, TEST_MOUNT)
        self._agent.configure()
        self._run_agent(
            work,
            (
                self._check_start,
                self._check_detection,
                self._check_health,
                lambda: self._check_file_system(partition),
                self._check_faults,
                self._check_pulls,
                self._check_plugs,
                self._check_storm,
                self._check_accused,
            ),
        )

    def _check_start(self) -> None:
        self._expect_disks("at the start", START_SECONDS)
        self._report.becomes(
            "the internal devices are ready",
            lambda: self._agent.state().get("internalDevicesReady"),
            True,
            FOLLOW_SECONDS,
        )
        self._expect_records("at the start")
        running = sorted(set(self._agent.state()) & set(MONITORS))
        self._report.equal("the monitors that should run do", running, sorted(self._monitors - {DETECTION}))
        for monitor in MONITORS:
            if monitor not in self._monitors:
                self._report.note(f"not checked, since this agent is said not to have it: {monitor}")

    def _check_detection(self) -> None:
        """The start-up check reports what is absent or not mounted, and nothing else."""
        if DETECTION not in self._monitors:
            return
        absent, unmounted = f"/mnt/{machine.ABSENT_MOUNT}", machine.SATA_HDD.expected["mountPoint"]
        self._says("an expected disk that is absent is reported", "STORAGEDEVICE_DETECTION_ERROR", absent)
        self._says("a disk that is not mounted is reported", "STORAGEDEVICE_PARTITION_NOT_MOUNTED", unmounted)
        for name in ("STORAGEDEVICE_DETECTION_ERROR", "STORAGEDEVICE_PARTITION_NOT_MOUNTED"):
            self._report.check(f"no {name} for the mounted disk", not self._agent.has_said(name, TEST_MOUNT))

    def _says(self, check: str, name: str, argument: str) -> None:
        self._report.becomes(check, lambda: self._agent.has_said(name, argument), True, FOLLOW_SECONDS)

    def _expect_records(self, when: str) -> None:
        """Checks every field of every disk, and the map from udev's serials."""
        expected = self._appliance.expected_records(self._watched)
        state = self._agent.state()
        devices = state.get("connectedDevices", {})
        for disk, record in expected.items():
            actual = devices.get("disk", {}).get(record["name"], {})
            wrong = [key for key, value in record.items() if actual.get(key) != value]
            detail = "; ".join(f"{key} is {actual.get(key)!r}, not {record[key]!r}" for key in wrong)
            self._report.check(f"{when}: the record of {disk.name} is right", not wrong, detail)
        names = {disk.udev_serial: record["name"] for disk, record in expected.items()}
        self._report.equal(f"{when}: udev's serials lead to the disks", devices.get("udevSerialToSerialMap"), names)
        serials = {disk: record["name"] for disk, record in expected.items()}
        check_kept(self._report, when, state, serials, self._monitors)

    def _check_health(self) -> None:
        """With nothing configured, every tool's report counts."""
        if not HEALTH_MONITORS <= self._monitors:
            return
        checks = HealthChecks(self._appliance, self._agent, self._serials())
        readings = [(disk, source) for disk in self._watched for source in GOOD_SOURCES[disk.bus]]
        state = checks.wait("every disk is read", lambda state: checks.read_since(state, 0.0, readings))
        checks.nothing_is_wrong("as configured by default", state)

    def _check_file_system(self, partition: str) -> None:
        if "mountPoints" not in self._monitors:
            return

        def tested(mount: dict[str, Any]) -> bool:
            health = mount.get("fsHealth", {})
            return bool(health.get("writeTestOk") and health.get("readTestOk"))

        mount = self._report.eventually(
            f"the file system at {TEST_MOUNT} passes its test", self._mount, tested, FILE_SYSTEM_TEST_SECONDS
        )
        self._report.equal("its device is the partition mounted", mount.get("device"), partition)
        written = self._guest.run(f"stat -c %s {TEST_MOUNT}/debug/healthTestCookie").out.strip()
        self._report.equal("a whole block was written", written, str(mount.get("blkSize")))

    def _mount(self) -> dict[str, Any]:
        return self._agent.state().get("mountPoints", {}).get(TEST_MOUNT, {})

    def _check_faults(self) -> None:
        """What fails in the emulator reaches the agent in the kernel's lines."""
        if "storageDevicesInfo" in self._monitors:
            self._errors.are_reported(machine.SATA_HDD)

    def _check_pulls(self) -> None:
        self._appliance.unplug(machine.USB_STICK.name)
        self._gone("USB stick pulled", machine.USB_STICK)
        self._report.check(
            "the loss of a removable disk is no error",
            not self._agent.has_said("STORAGEDEVICE_OFFLINE", machine.USB_STICK.serial),
        )
        self._report.note("the emulator pulls no single SATA disk: its whole controller is pulled, while it is read")
        self._read_until_it_fails(machine.SATA_CAGE, blocks=70000)
        self._appliance.unplug("cage")
        self._gone("SATA cage pulled", machine.SATA_CAGE)
        self._expect_end_of_reading("SATA cage pulled")
        self._expect_offline("SATA cage pulled", machine.SATA_CAGE, disconnects=1)

    def _read_until_it_fails(self, disk: Disk, blocks: int) -> None:
        device = self._appliance.disks()[disk.udev_serial].device
        with self._errors.busy("read", disk):
            read = f"blockdev --flushbufs {device}; dd if={device} of=/dev/null bs=64k count={blocks}"
            self._guest.must(f"({read}) >/dev/null 2>&1 &")

    def _expect_end_of_reading(self, why: str) -> None:
        check = f"{why}, which ends the reading"
        self._report.becomes(check, lambda: self._agent.processes().count("dd"), 0, FOLLOW_SECONDS)

    def _gone(self, when: str, disk: Disk) -> None:
        self._watched.remove(disk)
        self._expect_disks(when)
        state = self._agent.state()
        known = state.get("connectedDevices", {}).get("udevSerialToSerialMap", {})
        self._report.check(f"{when}: its entry in the map is gone", disk.udev_serial not in known, str(known))
        check_kept(self._report, when, state, self._serials(), self._monitors)

    def _expect_offline(self, when: str, disk: Disk, disconnects: int) -> None:
        if DETECTION in self._monitors:
            self._says(f"{when}: it is reported offline", "STORAGEDEVICE_OFFLINE", disk.serial)
        if "storageDevicesInfo" not in self._monitors:
            return
        record = self._agent.state().get("storageDevicesInfo", {}).get("fsList", {}).get(disk.serial, {})
        self._report.equal(f"{when}: the disconnection is counted", record.get("disconnectCount"), disconnects)

    def _check_plugs(self) -> None:
        for disk in machine.ADDED_LATER:
            self._appliance.plug(disk)
            self._watched.append(disk)
        self._expect_disks("USB stick and NVMe drive plugged in")
        self._expect_records("USB stick and NVMe drive plugged in")

        if "storageDevicesInfo" in self._monitors:
            self._errors.are_reported(machine.NEW_NVME)
            self._read_until_it_fails(machine.SATA_HDD, blocks=15000)  # what lies before the faulty sector
            self._errors.is_kept_back(machine.SATA_HDD, self._give_up_sata_disk)
        self._report.note("a SATA disk is deleted in the guest through sysfs, as when its link dies, and found again")
        host = self._appliance.delete_in_guest(machine.SATA_HDD)
        self._gone("SATA disk deleted in the guest", machine.SATA_HDD)
        self._expect_offline("SATA disk deleted in the guest", machine.SATA_HDD, disconnects=1)
        self._appliance.bring_back(host)
        self._watched.append(machine.SATA_HDD)
        self._expect_disks("SATA disk found again")
        self._expect_records("SATA disk found again")

        self._appliance.remove_in_guest(machine.NEW_NVME)
        self._gone("NVMe drive fallen off the bus", machine.NEW_NVME)
        self._expect_offline("NVMe drive fallen off the bus", machine.NEW_NVME, disconnects=1)

    def _give_up_sata_disk(self) -> None:
        self._appliance.offline_in_guest(machine.SATA_HDD)
        self._expect_end_of_reading("SATA disk given up by its kernel")

    def _check_accused(self) -> None:
        """A disk that is pulled may be said to have errors, since its kernel says so; all others work."""
        if "storageDevicesInfo" not in self._monitors:
            return
        self._errors.is_kept_back(machine.SATA_HDD)
        failing, pulled = (machine.SATA_HDD, machine.NEW_NVME), (machine.SATA_CAGE, machine.USB_STICK)
        self._errors.nobody_else_is_accused("with disks pulled and plugged in", failing, pulled)

    def _check_storm(self) -> None:
        """A change event for every disk, many times over, changes nothing and leaves nothing behind."""
        before, descriptors = self._agent.state().get("connectedDevices"), self._agent.open_descriptors()
        trigger = "udevadm trigger --action=change --subsystem-match=block --property-match=DEVTYPE=disk"
        self._report.note(f"{self._storm_rounds} rounds of change events")
        rounds = f"for i in $(seq {self._storm_rounds}); do {trigger}; done; udevadm settle --timeout={STORM_SECONDS}"
        self._guest.must(rounds, STORM_SECONDS)
        self._report.note("udev has settled")
        self._report.becomes(
            f"{self._storm_rounds} change events per disk leave the state as it was",
            lambda: self._agent.state().get("connectedDevices"),
            before,
            FOLLOW_SECONDS,
        )
        self._report.becomes("no ended child is left unwaited for", self._agent.zombies, [], FOLLOW_SECONDS)
        self._report.eventually(
            f"no more than {descriptors} descriptors are open",
            self._agent.open_descriptors,
            lambda count: count <= descriptors,
            FOLLOW_SECONDS,
        )
