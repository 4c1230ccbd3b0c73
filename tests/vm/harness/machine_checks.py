"""Checks of the emulated machine alone: if one fails, what is said of the agent means little."""

import json

from . import machine
from .appliance import Appliance

STEADY = (*machine.WATCHED, *machine.IGNORED)


def check_machine(appliance: Appliance) -> None:
    """The guest sees every disk, and the tools that the agent runs work on them."""
    appliance.settle()
    appliance.expect_disks("after boot", *STEADY)
    _check_tools(appliance)


def check_plugging(appliance: Appliance) -> None:
    """Disks can be pulled and plugged; used where no agent watches."""
    without_pulled = tuple(disk for disk in STEADY if disk not in (machine.USB_STICK, machine.SATA_CAGE))
    appliance.unplug(machine.USB_STICK.name)
    appliance.unplug("cage")
    appliance.expect_disks("USB stick and SATA cage pulled", *without_pulled)
    for disk in machine.ADDED_LATER:
        appliance.plug(disk)
    appliance.expect_disks("USB stick and NVMe drive plugged in", *without_pulled, *machine.ADDED_LATER)
    host = appliance.delete_in_guest(machine.SATA_HDD)
    remaining = tuple(disk for disk in without_pulled if disk is not machine.SATA_HDD)
    appliance.expect_disks("SATA disk deleted in the guest", *remaining, *machine.ADDED_LATER)
    appliance.bring_back(host)
    appliance.expect_disks("SATA disk found again", *without_pulled, *machine.ADDED_LATER)


def _check_tools(appliance: Appliance) -> None:
    guest, report, disks = appliance.guest, appliance.report, appliance.disks()
    sata = disks[machine.SATA_SSD.udev_serial].device
    identity = guest.run(f"hdparm -I {sata}").out
    report.check("hdparm names the SATA disk's serial number", machine.SATA_SSD.serial in identity, identity)
    verdict = json.loads(guest.run(f"smartctl --json=c -HA {sata}").out)
    report.equal("smartctl reads the SATA disk's verdict", verdict.get("smart_status"), {"passed": True})
    nvme = disks[machine.NVME_FIXED.udev_serial].device
    listed = json.loads(guest.must(f"nvme list -o json {nvme}"))["Devices"]
    serials = [drive["SerialNumber"] for drive in listed if drive["DevicePath"] == nvme]
    report.equal("nvme list names the NVMe drive's serial number", serials, [machine.NVME_FIXED.serial])
    log = json.loads(guest.must(f"nvme smart-log --output-format=json {nvme}"))
    report.check("nvme smart-log reads the NVMe drive's temperature", log.get("temperature", 0) > 273, str(log))
    statuses = [guest.run(f"/usr/bin/expr match abc '{pattern}'").status for pattern in ("a.*", "b")]
    report.equal("expr matches at the start only", statuses, [0, 1])
