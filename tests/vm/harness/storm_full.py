"""The agent on a root file system that is full: configuration, state, sockets and log stand on one disk."""

from pathlib import Path

from .agent import CONFIG, PID, PROGRAM, STATUS
from .appliance import PLUG_SECONDS, Appliance
from .pull_disks import PullDisk
from .scenario import FOLLOW_SECONDS, START_SECONDS, Scenario
from .storm_site import FIXED, STICKS, Site, StormAgent, configuration

STORM = "full root"
ROOT_DISK = PullDisk(15, fixed=False)
ROOT = "/mnt/root"
STATE = "/var/lib/storagedevices"
PULLS = 3  # of all sticks: enough lines for the rest of the log's last block
_LOG = f"{ROOT}/var/log/agent.log"
_FILL = f"dd if=/dev/zero of={ROOT}/fill bs=64k 2>/dev/null; dd if=/dev/zero of={ROOT}/fill2 bs=1 2>/dev/null; true"

_PREPARE = f"""
mke2fs -q -b 4096 DEVICE 8192 && mkdir -p {ROOT} && mount -t ext4 DEVICE {ROOT} && cd {ROOT} &&
mkdir -p dev proc sys usr opt run/udev tmp mnt/drive {STATE[1:]} var/log && cp -a /etc . &&
ln -s usr/bin bin && ln -s usr/bin sbin && ln -s usr/lib lib && ln -s usr/lib64 lib64 && ln -s ../run var/run &&
for each in dev proc sys usr opt run/udev; do mount --bind /$each {ROOT}/$each || exit 1; done
"""


class RootedAgent(StormAgent):
    def start(self) -> None:
        program = f"echo $$ >{PID}; exec chroot {ROOT} {PROGRAM} agent --config {CONFIG}"
        self._guest.must(f"rm -f {STATUS}")
        self._guest.must(f"(setsid sh -c '{program}' >/run/agent.out 2>>{_LOG}; echo $? >{STATUS}) >/dev/null 2>&1 &")

    def log(self) -> str:
        return self._guest.run(f"cat {_LOG}", 40).out


class FullRootScenario(Scenario):
    def __init__(self, appliance: Appliance, site: Site) -> None:
        super().__init__(appliance, "-full")
        self._agent = RootedAgent(appliance.guest)
        self._site = Site(appliance, self._agent, site.rows)

    def run(self, work: Path) -> None:
        self._report.note("an agent whose root file system fills up")
        self._prepare()
        self._run_agent(work, (self._check_start, self._check_full, self._check_freed))
        self._run_agent(work, (self._check_start_full,))
        self._check_history()

    def _prepare(self) -> None:
        self._appliance.plug(ROOT_DISK.disk)
        self._report.eventually(
            f"{STORM}: its disk is there", self._appliance.disks, lambda disks: ROOT_DISK.serial in disks, PLUG_SECONDS
        )
        device = self._appliance.disks()[ROOT_DISK.serial].device
        self._guest.write("/etc/blockdev", "".join(f"{each.rule}\n" for each in STICKS))
        self._guest.write(CONFIG, configuration(["drive", *(each.mount for each in FIXED)], STATE))
        self._guest.must(_PREPARE.replace("DEVICE", device), 60)

    def _check_start(self) -> None:
        self._report.becomes(
            f"{STORM}: the internal devices are ready",
            lambda: self._agent.state().get("internalDevicesReady"),
            True,
            START_SECONDS,
        )

    def _check_full(self) -> None:
        self._fill()
        before = self._site.offline()
        for _ in range(PULLS):
            self._plug_and_pull()
        wanted = {serial: count + PULLS for serial, count in before.items()}
        self._report.becomes(f"{STORM}: each end is reported", self._site.offline, wanted, FOLLOW_SECONDS)
        self._guest.must(f"mount -t tmpfs none {ROOT}/mnt/drive")
        before = self._agent.log()
        self._plug_and_pull()
        self._report.equal(f"{STORM}: no more is written", self._agent.log(), before)

    def _plug_and_pull(self) -> None:
        for each in STICKS:
            self._appliance.plug(each.disk)
        serials = {each.serial for each in STICKS}
        self._report.becomes(f"{STORM}: sticks are watched", self._site.watched_sticks, serials, START_SECONDS)
        for each in STICKS:
            self._appliance.unplug(each.mount)
        self._report.becomes(f"{STORM}: and gone", self._site.watched_sticks, set(), FOLLOW_SECONDS)

    def _fill(self) -> None:
        self._guest.must(_FILL, 120)
        free = self._guest.must(f"stat -f -c %f {ROOT}").strip()
        self._report.equal(f"{STORM}: no block is free", free, "0")

    def _check_freed(self) -> None:
        """Lines that were waiting are written, and none is joined to the half of another."""
        self._free()
        end = lambda: self._agent.log().count("STORAGEDEVICE_OFFLINE")  # noqa: E731
        self._report.becomes(f"{STORM}: its messages are in the log", end, (PULLS + 1) * len(FIXED), FOLLOW_SECONDS)
        lines = self._agent.log().splitlines()
        joined = [line for line in lines if not line.startswith("20") or line.count("Z ") > 1]
        self._report.equal(f"{STORM}: every line of the log is whole", joined, [])
        lost = int(self._agent.metrics()["storagedevices_log_lines_dropped_total"])
        self._site.figure(STORM, "lines of the log that were lost", lost)
        self._fill()

    def _free(self) -> None:
        self._guest.must(f"rm -f {ROOT}/fill {ROOT}/fill2; sync")

    def _check_start_full(self) -> None:
        """It was ended and is started while nothing can be written."""
        self._check_start()
        self._plug_and_pull()
        self._free()

    def _check_history(self) -> None:
        """What is left behind is a whole file, or none."""
        damaged = [line for line in self._agent.log().splitlines() if "damaged" in line]
        self._report.equal(f"{STORM}: the history is whole", damaged, [])
        files = self._guest.must(f"ls -A {ROOT}{STATE}").split()
        self._report.equal(f"{STORM}: no half file is left", sorted(files), ["history", "mount-source"])


