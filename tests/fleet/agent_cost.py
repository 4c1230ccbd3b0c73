"""What a scrape costs an agent."""

import gzip
import os
import re
from pathlib import Path
from typing import Any

import servers
from fleet import Unit

_TICKS = os.sysconf("SC_CLK_TCK")


def cpu_seconds(pid: int) -> float:
    fields = Path(f"/proc/{pid}/stat").read_text().rsplit(") ", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / _TICKS


def resident(pid: int) -> int:
    """Bytes."""
    return int(re.findall(r"VmRSS:\s+(\d+)", Path(f"/proc/{pid}/status").read_text())[0]) * 1024


def scrape(unit: Unit) -> str:
    return servers.fetch(f"http://{unit.address}/metrics").decode()


def is_read(text: str) -> bool:
    """Whether each disk was identified and read."""
    return 'storagedevices_unit_verdict{verdict="ok"} 1\n' in text and 'source="nvme"' in text


def series_by_disk(text: str) -> dict[str, int]:
    """Of each serial number; those of its mount point count too."""
    disks = re.findall(r'_disk_info\{serial="([^"]+)".*mount_point="([^"]*)"', text)
    return {serial: text.count(f'{{serial="{serial}"') + text.count(f'{{mount_point="{place}"') for serial, place in disks}


def measure(folder: Path, scrapes: int, scale: float) -> tuple[str, dict[str, Any]]:
    """The text of a scrape, and the figures."""
    with Unit("agent", folder, scale) as unit:
        servers.wait(lambda: is_read(scrape(unit)), 90, "a unit that is read")
        text = scrape(unit)
        before = cpu_seconds(unit.agent())
        for _ in range(scrapes):
            scrape(unit)
        spent = cpu_seconds(unit.agent()) - before
        size = resident(unit.agent())
    figures = {"scrapes": scrapes, "cpu_ms": spent / scrapes * 1000, "resident_mib": size / 2**20}
    figures |= {"bytes": len(text.encode()), "gzip_bytes": len(gzip.compress(text.encode(), 1))}
    figures |= {"samples": sum(not line.startswith("#") for line in text.splitlines())}
    return text, figures | {"series_by_disk": series_by_disk(text)}
