"""The tests of mounted file systems on real ones: healthy, attacked, full, failing, pulled, exchanged, corrupt, hung."""

import json
import re
from collections.abc import Callable
from pathlib import Path
from typing import Any

from . import filesystem_disks, machine
from .agent import CONFIG, PID, STATUS_ADDRESS, STATUS_SOCKET
from .appliance import Appliance
from .filesystem_checks import (
    DAY, DAY_SECONDS, ERROR, EXCEEDED, FOLLOW_SECONDS, IO_ERROR, NO_SPACE, OFFLINE, TIME_SCALE, UNNAMED, USE_CHECK, WARNING,
    FileSystemChecks, is_io_error, is_repeated,
)  # fmt: skip
from .filesystem_disks import ALL, EXT4, FRAGILE, MAPPED, VFAT, XFS, FileSystemDisk, FileSystems
from .scenario import START_SECONDS
from .silent_disk import COMMAND_SECONDS, MOUNT, MOUNT_NAME, RULE, TRIES, SilentDisk

# The tools run once, at the start: what is looked at here needs none.
_CONFIGURATION = f"""
poll_interval = {int(30 * DAY)}
[appliance]
expected_mounts = {json.dumps([*(each.name for each in ALL), MOUNT_NAME])}
[status]
socket = "{STATUS_SOCKET}"
http = "{STATUS_ADDRESS}"
[log]
destination = "stderr"
[clock]
time_scale = {TIME_SCALE}.0
"""

# How long links are put in the place of the test's file: several tests at the agent's pace.
LINKING_SECONDS = 5

# What a test may say whose file another test has replaced.
SHARED_FILE = (("readTest - open", "No such file or directory"), ("readTest - read", "data doesn't match"))


class FileSystemScenario(FileSystemChecks):
    """Each disk has its own fate, some of them one after the other; the day after the errors is waited for once."""

    def __init__(self, appliance: Appliance, work: Path) -> None:
        super().__init__(appliance, "-filesystems")
        self._systems = FileSystems(appliance, work)
        self._silent = SilentDisk(appliance)
        self._inventories: dict[FileSystemDisk, list[str]] = {}

    def run(self, work: Path) -> None:
        self._report.note(f"an agent whose clock runs {TIME_SCALE} times as fast, on file systems")
        try:
            self._systems.plug()
            self._systems.mount()
            self._silent.plug()
            self._inventories = {each: self._systems.inventory(each) for each in ALL}
            self._agent.configure()
            self._guest.write("/etc/blockdev", filesystem_disks.rules() + RULE)
            self._guest.write(CONFIG, _CONFIGURATION)
            steps = (
                self._check_healthy,
                self._check_links,
                self._check_full,
                self._check_failing,
                self._check_pulled,
                self._check_use,
                self._check_corruption,
                self._check_suspension,
                self._check_next_day,
                self._check_exchange,
                self._check_read_only,
                self._check_nothing_else,
                self._check_silence,
            )
            self._run_agent(work, [self._unless_failed(step) for step in steps])
        finally:
            self._systems.remove_images()

    def _unless_failed(self, step: Callable[[], None]) -> Callable[[], None]:
        """The steps build on each other, and waiting for what cannot come takes minutes."""
        failures = len(self._report.failures)
        return lambda: step() if len(self._report.failures) == failures else None

    def _check_healthy(self) -> None:
        self._report.becomes(
            "every file system is looked after",
            lambda: sorted(self._agent.state().get("mountPoints", {})),
            sorted([*(each.mount for each in ALL), MOUNT]),
            START_SECONDS,
        )
        self._passes("healthy", *ALL)
        for each in ALL:
            mount, expected = self._mount(each), (self._systems.devices[each], machine.SECTOR)
            known = (mount.get("device"), mount.get("blkSize"))
            self._report.equal(f"{each.name}: device and block size", known, expected)
            self._report.becomes(
                f"{each.name}: a whole block is written",
                lambda each=each: self._systems.cookie_size(each),
                machine.SECTOR,
                FOLLOW_SECONDS,
            )
            inventory = self._systems.inventory(each)
            self._report.equal(f"{each.name}: nothing else is touched", inventory, self._inventories[each])

    def _check_links(self) -> None:
        """Users may write to the root of a file system; what they put there leads the agent, which is root, nowhere."""
        count = lambda: int(self._health(MAPPED).get("nonSyslogErrorCount", 0))  # noqa: E731
        self._systems.link_folder(MAPPED, PID)
        self._eventually("a link in the folder's place is refused and counted", count, lambda n: n > 2)
        before = count()
        self._systems.unlink_folder(MAPPED)
        self._passes("without the link", MAPPED)
        self._systems.link_file(MAPPED, LINKING_SECONDS)
        self._eventually("links in the file's place are refused and counted", count, lambda n: n > before)
        self._passes("without the links", MAPPED)
        self._report.equal("where they led to nothing is touched", self._systems.elsewhere(), "precious\n")
        self._report.equal("nobody is alarmed", self._reported(MAPPED), [])

    def _check_full(self) -> None:
        for each in (EXT4, VFAT):
            self._systems.fill(each, PID)
            self._report.becomes(
                f"{each.name}: that it is full is reported",
                lambda each=each: self._reported(each),
                [("writeTest - write", NO_SPACE)],
                FOLLOW_SECONDS,
            )
            self._systems.free(each)

    def _check_failing(self) -> None:
        """Writes fail, and with them the journal; reads may too, since nothing is left below.

        A journal that fails first makes the file system refuse writes (EROFS), which is only counted.
        """
        self._systems.fail(FRAGILE, PID)
        reported = self._eventually("failing writes are reported", lambda: self._reported(FRAGILE), bool)
        self._report.check(f"as what {FRAGILE.name} met", is_io_error(reported), str(reported))
        health = self._health(FRAGILE)
        self._report.equal("its test waits", (health.get("state"), health.get("running")), ("idle", True))

    def _check_pulled(self) -> None:
        """The mount stays when the disk goes."""
        self._appliance.unplug(XFS.name)
        self._becomes(
            "a disk pulled while mounted is reported", lambda: self._agent.has_said(OFFLINE, XFS.serial), True
        )
        self._becomes("its test is stopped", lambda: self._health(XFS).get("running"), False)
        self._passes("another was pulled", MAPPED)

    def _check_use(self) -> None:
        """The use in percent, how often it was warned of by then, and whether it stands as exceeded."""
        before = self._reported(MAPPED, WARNING)
        self._report.equal("no use was warned of yet", before, [])
        for percent, warnings in ((84, 0), (85, 0), (86, 1), (85, 1), (86, 2), (84, 2)):
            self._systems.use(MAPPED, percent)
            self._report.equal(f"{percent} % are used", self._systems.used_percent(MAPPED), percent)
            self._wait_framework(2 * USE_CHECK)
            reported = self._reported(MAPPED, WARNING)
            exceeded = self._health(MAPPED).get("utilThresholdExceeded")
            expected = ([(EXCEEDED,)] * warnings, percent > 85)
            self._report.equal(f"at {percent} % there were {warnings} warnings", (reported, exceeded), expected)

    def _check_corruption(self) -> None:
        """The data read differs from the data written: reported at every test, none of which is put off for that."""
        self._systems.lose(MAPPED)
        reported = self._eventually("other data is reported at every test", lambda: self._reported(MAPPED), is_repeated)
        self._report.equal("it is reported as such", set(reported), {("readTest - read", "data doesn't match")})
        self._passes("corrupt", MAPPED)
        self._systems.pass_through(MAPPED)
        self._passes("no longer corrupt", MAPPED)
        reported = self._reported(MAPPED)
        self._passes("still", MAPPED)
        self._report.equal("nothing more is reported of it", self._reported(MAPPED), reported)
        device = self._mount(MAPPED).get("device")
        self._report.equal("below another table it is the same device", device, self._systems.devices[MAPPED])

    def _check_suspension(self) -> None:
        """The agent's loop stalls in the kernel until the device resumes."""
        reported, time = self._reported(MAPPED), self._agent.time()
        self._systems.suspend(MAPPED)
        try:
            stalled = rf"the loop has been stalled for \d+ s by \S.* of {MAPPED.mount} \("
            self._says("the cause of the stall is reported", stalled)
        finally:
            self._systems.resume(MAPPED)
        self._says("the end of the stall is reported", rf"the loop runs again after \d+ s; \S.* of {MAPPED.mount} stalled it")
        self._eventually("the agent answers again", self._agent.time, lambda now: now > time)
        self._passes("no longer suspended", MAPPED)
        self._report.equal("to the test it was only slow", self._reported(MAPPED), reported)

    def _says(self, check: str, line: str) -> None:
        """On standard error: while the loop is stalled nothing else can be asked."""
        self._eventually(check, self._agent.log, lambda log: re.search(line, log) is not None)

    def _check_next_day(self) -> None:
        """Nothing is tested before the day is over; then it is tested, or reported again."""
        for each in (EXT4, VFAT):
            self._check_pause(each)
        self._passes("the day after", EXT4, VFAT)
        error = "failed to determine device blockSize"
        self._eventually(f"{FRAGILE.name}: its test fails again", lambda: self._failures(FRAGILE), lambda n: n > 1)
        found = self._report.eventually(
            f"{XFS.name}: the error is reported again", lambda: self._checks_reported(error), is_repeated, DAY_SECONDS
        )
        apart = found[1]["time"] - found[0]["time"] if is_repeated(found) else 0.0
        self._report.check(f"{XFS.name}: a day after the first", DAY <= apart, f"{apart} s apart")

    def _check_pause(self, each: FileSystemDisk) -> None:
        """What was seen of its test, whatever was looked at, until the day was over."""
        begin = self._messages(each)[0]["time"]
        self._report.eventually(
            f"{each.name}: a day passes", self._agent.time, lambda now: now > begin + DAY, DAY_SECONDS
        )
        samples = [sample for sample in self._agent.seen if begin < sample["time"] < begin + DAY]
        tests = [sample["mountPoints"][each.mount]["fsHealth"] for sample in samples]
        seen = {(test["state"], test["writeTestOk"], test["readTestOk"]) for test in tests}
        self._report.equal(f"{each.name}: without a test, by {len(samples)} samples", seen, {("idle", False, False)})

    def _failures(self, each: FileSystemDisk) -> int:
        """Reported or only counted: the latter for errors of a file system that accepts no more writes."""
        return len(self._reported(each)) + int(self._health(each).get("nonSyslogErrorCount", 0))

    def _checks_reported(self, error: str) -> list[dict[str, Any]]:
        """The messages of the mount point checks about it."""
        return [m for m in self._errors() if (m["arguments"][0], m["arguments"][-1]) == ("mountPtCheck", error)]

    def _check_exchange(self) -> None:
        self._systems.mount_over(VFAT, EXT4)
        self._report.becomes(
            "another device mounted in its place is reported",
            lambda: ("mountPtCheck", "device was disconnected and changed") in self._reported(VFAT),
            True,
            FOLLOW_SECONDS,
        )
        mount = self._mount(VFAT)
        self._report.equal("its test is stopped", self._health(VFAT).get("running"), False)
        self._report.equal("the first device stays remembered", mount.get("device"), self._systems.devices[VFAT])

    def _check_read_only(self) -> None:
        before = self._reported(EXT4)
        self._guest.must(f"mount -o remount,ro {EXT4.mount}")
        self._report.becomes(
            "a file system that became read-only is reported",
            lambda: self._reported(EXT4),
            [*before, ("mountPtCheck", "mount point is read-only")],
            FOLLOW_SECONDS,
        )
        self._report.equal("its test is stopped", self._health(EXT4).get("running"), False)

    def _check_nothing_else(self) -> None:
        """Of each disk only what was done to it; of the failing and the pulled one also what its test ran into."""
        full, changed = ("writeTest - write", NO_SPACE), ("mountPtCheck", "device was disconnected and changed")
        read_only = ("mountPtCheck", "mount point is read-only")
        # Where the machine is slow the last comes again, and finds what stands in the vfat's place read-only by then.
        for each, last, again in ((EXT4, read_only, ()), (VFAT, changed, (read_only,))):
            # For a moment both test the same file, when one is mounted in the other's place too.
            reported = [error for error in self._reported(each) if error not in SHARED_FILE]
            right = reported[:2] == [full, last] and set(reported[2:]) <= {last, *again}
            self._report.check(f"the errors of {each.name} are reported", right, str(self._reported(each)))
            self._report.equal(f"all warnings of {each.name}", self._reported(each, WARNING), [(EXCEEDED,)])
        self._check_names_of_pulled()
        self._report.equal("the loop watched all that it should", self._agent.log().count("VornPoller"), 0)

    def _check_names_of_pulled(self) -> None:
        """Messages name it as long as it is there, and nothing afterwards."""
        offline = next(m["sequence"] for m in self._agent.messages() if m["name"] == OFFLINE)
        errors = self._errors()  # those until now: the next one may come at any moment
        named, unnamed = self._messages(XFS), [m for m in errors if tuple(m["arguments"][1:5]) == UNNAMED]
        order = [m["sequence"] < offline for m in named] + [m["sequence"] > offline for m in unnamed]
        self._report.check(f"{XFS.name} is named while it is there", all(order), f"{named}, {unnamed}, {offline}")
        reported = [(message["arguments"][0], message["arguments"][-1]) for message in (*named, *unnamed)]
        tests = [each for each in reported if each[0] != "mountPtCheck"]
        gone = tests == [("setupTest - exists", "not a directory or doesn't exist")]  # nor can it be looked at
        check = f"the test of {XFS.name} met errors of input and output"
        self._report.check(check, gone or is_io_error(tests), str(tests))
        of_disks = [message for each in ALL for message in self._messages(each)]
        others = [m for m in errors if m not in of_disks and m not in unnamed]
        self._report.equal("no error names anything else", others, [])

    def _check_silence(self) -> None:
        """A disk answers nothing, for minutes: the kernel fails each command only when it has tried it often enough."""
        self._silent.silent_is(True)
        try:
            stalled = rf"the loop has been stalled for \d+ s by \S.* of {MOUNT} \("
            self._says("the cause of the stall is reported", stalled)
            failed = rf"encountered an error on {MOUNT} .*: {IO_ERROR}"
            waited = TRIES * COMMAND_SECONDS + FOLLOW_SECONDS
            self._report.eventually(
                "when the kernel gives up, the test does", self._agent.log, lambda log: bool(re.search(failed, log)), waited
            )
        finally:
            self._silent.silent_is(False)
        self._becomes(
            "the kernel's errors of it are reported",
            lambda: self._agent.has_said("STORAGEDEVICE_IO_ERROR", self._silent.serial),
            True,
        )
        self._passes("another fell silent", MAPPED)

    def _errors(self) -> list[dict[str, Any]]:
        return [message for message in self._agent.messages() if message["name"] == ERROR]
