"""Records what this version of the agent serves of a unit with a failing disk: recorded/VERSION.txt, at each release."""

import re
import tempfile
from pathlib import Path

import agent_cost
import servers
from fleet import Unit
from places import RECORDED

FAILING = '_disk_reason{serial="KS0240118842",code="self-assessment-failed"} 1\n'


def failing_scrape(unit: Unit) -> str:
    """Its disk sda fails from now on."""
    servers.wait(lambda: agent_cost.is_read(agent_cost.scrape(unit)), 60, "a unit that is read")
    unit.happens("failing", "sda")
    servers.wait(lambda: FAILING in agent_cost.scrape(unit), 60, "a failing disk")
    return agent_cost.scrape(unit)


def main() -> None:
    with tempfile.TemporaryDirectory() as name, Unit("unit", Path(name), 60) as unit:
        scrape = failing_scrape(unit)
    version = re.findall(r'build_info\{version="(.+?)"', scrape)[0]
    (RECORDED / f"{version}.txt").write_text(scrape)


if __name__ == "__main__":
    main()
