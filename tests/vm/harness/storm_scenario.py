"""One agent in all storms, one after the other, beside an ordinary appliance that has to survive them."""

from pathlib import Path

from . import machine
from .appliance import Appliance
from .pull_disks import PullDisk
from .scenario import START_SECONDS, Scenario
from .storm_errors import FAILING, ErrorStorm
from .storm_lines import LineStorm
from .storm_plugs import PlugStorm
from .storm_site import FIXED, STICKS, Site, StormAgent, configuration, write_configuration
from .storm_stop import StopStorm

STORMS = ("plugs", "stop", "lines", "errors")


class StormScenario(Scenario):
    def __init__(self, appliance: Appliance, site: Site, cycles: int, seconds: int) -> None:
        super().__init__(appliance, "-storms")
        self._agent: StormAgent = site.agent
        self._site = site
        self._storms = {
            "plugs": PlugStorm(site, cycles).run,
            "stop": StopStorm(site, 3.0 * seconds).run,
            "lines": LineStorm(site, seconds).run,
            "errors": ErrorStorm(site).run,
        }

    def run(self, work: Path, names: list[str]) -> None:
        self._agent.configure()
        rules = [each.rule for each in (*STICKS, FAILING)] + ["pseudo_0/.*/block/sd. silent"]
        self._guest.write("/etc/blockdev", machine.ETC_BLOCKDEV + "".join(f"{rule}\n" for rule in rules))
        mounts = [*machine.EXPECTED_MOUNTS, *(each.mount for each in (*FIXED, FAILING))]
        write_configuration(self._site, configuration(mounts))
        self._guest.must("echo 0 >/sys/module/usb_storage/parameters/delay_use")
        self._guest.must("echo 512 >/proc/sys/net/unix/max_dgram_qlen")  # as systemd does; else 10 lines wait
        steps = (self._begin, *(self._storms[name] for name in names), self._end)
        self._run_agent(work, steps)

    def _begin(self) -> None:
        self._expect_disks("storms", START_SECONDS)
        self._site.start_probe()

    def _end(self) -> None:
        self._site.stop_probe()
        metrics = self._agent.metrics()
        self._site.figure("all", "longest stall of the loop (s)", metrics["storagedevices_loop_longest_stall_seconds"])
        self._report.equal("storms: the loop was never stalled", metrics["storagedevices_loop_stalls_total"], 0.0)
        lost = int(metrics["storagedevices_log_lines_dropped_total"])
        self._site.figure("all", "lines of the log that were lost", lost)
        self._report.equal("storms: no line of the log was lost", lost, 0)


def add_disks(appliance: Appliance, work: Path, *others: PullDisk) -> None:
    """Makes the images of all that is plugged in, and tells the emulator of them."""
    for each in (*STICKS, *others):
        each.disk.create_image(work)
        node = each.disk.block_node(work)
        node["file"]["cache"] = node["cache"] = {"no-flush": True}
        appliance.emulator.execute("blockdev-add", node)
    FAILING.disk.create_image(work)
    appliance.emulator.execute("blockdev-add", ErrorStorm.node(work))


def remove_images(work: Path, *others: PullDisk) -> None:
    for each in (*STICKS, FAILING, *others):
        each.disk.image(work).unlink(missing_ok=True)
