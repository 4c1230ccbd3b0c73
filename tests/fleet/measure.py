"""Measures what many units cost on this machine, and writes the figures into docs/fleet.md: `make fleet-scale`.

`measure.py [UNITS [MINUTES [SCALE]]]`: minutes of a fleet that lives SCALE times as fast as the machine.
"""

import datetime
import json
import os
import platform
import re
import sys
import tempfile
from pathlib import Path
from typing import Any

import agent_cost
import figures
import server_cost
from checks import run


def machine() -> dict[str, Any]:
    """The machine, and how busy it was before."""
    cpu = re.search(r"model name\s*: (.*)", Path("/proc/cpuinfo").read_text())
    memory = re.search(r"MemTotal: +(\d+)", Path("/proc/meminfo").read_text())
    version = re.search(r"version (\S+?)[+ ]", run("prometheus", "--version")[1])
    return {
        "cpu": cpu[1] if cpu else platform.machine(),
        "cpus": os.cpu_count(),
        "memory_gib": int(memory[1]) / 2**20 if memory else 0,
        "kernel": platform.release(),
        "prometheus": version[1] if version else "",
        "date": datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC"),
        "load_before": os.getloadavg()[0],
    }


def measure(size: server_cost.Size, scrapes: int, scale: float) -> dict[str, Any]:
    """`scale` is the pace of the agent that is scraped."""
    found: dict[str, Any] = {"machine": machine()}
    with tempfile.TemporaryDirectory() as name:
        scrape, found["agent"] = agent_cost.measure(Path(name), scrapes, scale)
        found["server"] = server_cost.measure(Path(name), scrape, size)
    found["machine"]["load_after"] = os.getloadavg()[0]
    return found


def main() -> None:
    given = [float(word) for word in sys.argv[1:]]
    units, minutes, scale = given + [1000, 200, 10][len(given) :]
    found = measure(server_cost.Size(int(units), minutes, scale), 2000, 1)
    figures.FILE.write_text(json.dumps(found, indent=1) + "\n")
    figures.write()


if __name__ == "__main__":
    main()
