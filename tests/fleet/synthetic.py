"""Files of a fleet that one exporter plays: its targets, and the past that predictions of life need."""

import re
import subprocess
import time
from pathlib import Path
from typing import Iterator

from fleet import scrape_config, write_rules, write_targets

LIFE = "storagedevices:disk_life_remaining:hourly"
DAYS = 30  # of the past


def instance(number: int) -> str:
    return f"unit-{number:05}.example.net:9635"


def _place(number: int) -> dict[str, str]:
    """Racks of twenty, sites of two hundred."""
    return {"instance": instance(number), "site": f"site{number // 200}", "rack": f"r{number // 20}"}


def _targets(units: int, port: int) -> list[tuple[str, dict[str, str]]]:
    return [(f"127.0.0.1:{port}", _place(number) | {"__metrics_path__": f"/{number}/metrics"}) for number in range(units)]


def _history(scrape: str, units: int, scale: float) -> Iterator[str]:
    """Hourly samples of each disk's life, which falls by a hundredth in ten days."""
    hour = 3600 / scale
    start = time.time() - DAYS * 24 * hour
    disks = re.findall(r'disk_life_remaining_ratio\{serial="([^"]+)"\} (\S+)', scrape)
    yield f"# TYPE {LIFE} gauge\n"
    for number in range(units):
        labels = ",".join(f'{key}="{value}"' for key, value in _place(number).items())
        for serial, life in disks:
            name = f'{LIFE}{{job="storagedevices",{labels},serial="{serial}-{number:05}"}}'
            for sample in range(DAYS * 24 - 1):
                value = round(float(life) + (DAYS * 24 - 1 - sample) // 240 * 0.01, 2)
                yield f"{name} {value} {start + sample * hour:.3f}\n"
    yield "# EOF\n"


def write_past(folder: Path, scrape: str, units: int, scale: float) -> None:
    past = folder / "past.txt"
    with past.open("w") as file:
        file.writelines(_history(scrape, units, scale))
    command = ["promtool", "tsdb", "create-blocks-from", "openmetrics", "-q", past, folder / "tsdb"]
    subprocess.run([str(word) for word in command], check=True, stdout=subprocess.DEVNULL)
    past.unlink()


def write_config(folder: Path, units: int, port: int, scale: float) -> Path:
    write_rules(folder, scale)
    write_targets(folder, _targets(units, port))
    config = folder / "prometheus.yml"
    config.write_text(scrape_config("http://127.0.0.1:9", scale))
    return config
