"""One process that looks to Prometheus like many agents.

Each unit serves a recorded scrape with serial numbers of its own, under /NUMBER/metrics. With every scrape it has lived
for a minute: its counters grow, its temperatures waver, its readings are new.

`exporter.py SCRAPE UNITS PORT`
"""

import asyncio
import random
import re
import sys
import time
from pathlib import Path
from typing import Callable, Optional

# Gets the recorded value and the minutes lived.
Movement = Callable[[float, int], str]


def _grows(mean: int) -> Movement:
    return lambda value, minutes: f"{value + minutes * mean + random.randrange(mean):.17g}"


def _wavers(value: float, _: int) -> str:
    return f"{value + random.choice((-1, 0, 0, 0, 0, 1)):g}"


def _is_new(_: float, __: int) -> str:
    return f"{time.time() - random.uniform(0, 60):.6f}"


# By what is in the line; the first that is there. What is not listed stays as it is.
_MOVEMENTS: list[tuple[str, Movement]] = [
    ("last_read_timestamp_seconds{", _is_new),
    ("disk_io_read_bytes_total{", _grows(20_000_000)),
    ("disk_io_written_bytes_total{", _grows(45_500_000)),
    ("disk_written_bytes_total{", _grows(45_500_000)),
    ('name="Total_LBAs_Written",kind="raw"', _grows(91_000)),
    ('name="Total_LBAs_Read",kind="raw"', _grows(40_000)),
    ('name="data_units_written"', _grows(90)),
    ('name="data_units_read"', _grows(40)),
    ('name="host_write_commands"', _grows(10_025)),
    ('name="host_read_commands"', _grows(10_000)),
    ("disk_temperature_celsius{", _wavers),
    ('name="Temperature_Celsius",kind="raw"', _wavers),
    ('name="Temperature_Celsius",kind="value"', _wavers),
    ('nvme_counter{serial="[^"]*",name="temperature"', _wavers),
    ("disk_power_on_seconds{", lambda value, minutes: f"{value + minutes // 60 * 3600:g}"),
    ('tool_runs_total{tool="(smartctl|nvme)",result="ok"', _grows(1)),
    ('tool_run_seconds_count{tool="(smartctl|nvme)"', _grows(1)),
    ('tool_run_seconds_bucket{tool="(smartctl|nvme)"', _grows(1)),
    (
        'tool_run_seconds_sum{tool="(smartctl|nvme)"',
        lambda value, minutes: f"{value + minutes * 0.021 + random.uniform(0, 0.002):.6f}",
    ),
    ("process_cpu_seconds_total", lambda value, minutes: f"{value + minutes * 0.011:.6f}"),
    ("process_resident_memory_bytes", lambda value, minutes: f"{value + minutes // 30 * 4096:.17g}"),
]


def _movement(line: str) -> Optional[Movement]:
    return next((movement for pattern, movement in _MOVEMENTS if re.search(pattern, line)), None)


class Unit:
    """One agent's answers."""

    def __init__(self, scrape: str, number: int) -> None:
        self._minutes = 0
        self._text: list[str] = []  # between the values that move
        self._moving: list[tuple[Movement, float]] = []
        own = re.sub(r'serial="([^"]+)"', rf'serial="\1-{number:05}"', scrape)
        fixed = ""
        for line in own.splitlines(keepends=True):
            movement = None if line.startswith("#") else _movement(line)
            if movement is None:
                fixed += line
                continue
            name, value = line.rsplit(" ", 1)
            self._text.append(fixed + name + " ")
            self._moving.append((movement, float(value)))
            fixed = "\n"
        self._text.append(fixed)

    def scrape(self) -> str:
        self._minutes += 1
        pieces = []
        for text, (movement, value) in zip(self._text, self._moving):
            pieces += [text, movement(value, self._minutes)]
        return "".join(pieces) + self._text[-1]


class Exporter:
    def __init__(self, scrape: str, units: int) -> None:
        self._units = [Unit(scrape, number) for number in range(units)]

    async def serve(self, reader: asyncio.StreamReader, writer: asyncio.StreamWriter) -> None:
        """The requests of a connection."""
        try:
            while request := await reader.readuntil(b"\r\n\r\n"):
                body = self._answer(request)
                head = f"HTTP/1.1 200 OK\r\nContent-Type: text/plain; version=0.0.4\r\nContent-Length: {len(body)}\r\n\r\n"
                writer.write(head.encode() + body)
                await writer.drain()
        except (asyncio.IncompleteReadError, ConnectionError):
            writer.close()

    def _answer(self, request: bytes) -> bytes:
        path = request.split(b" ", 2)[1].split(b"/")
        return self._units[int(path[1])].scrape().encode() if path[-1] == b"metrics" else b""


async def main() -> None:
    file, units, port = sys.argv[1:]
    exporter = Exporter(Path(file).read_text(), int(units))
    server = await asyncio.start_server(exporter.serve, "127.0.0.1", int(port))
    await server.serve_forever()


if __name__ == "__main__":
    asyncio.run(main())
