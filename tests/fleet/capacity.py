"""From what was measured of some units to what many need. All grows with the number of units."""

from dataclasses import dataclass
from typing import Any, NamedTuple

# The server that is reckoned with.
CORES = 4
MEMORY = 32 * 2**30

# What of it the steady work may take. Queries, a restart and the page cache need the rest.
MEMORY_PART = 0.5
CPU_PART = 0.5
LONGEST_TURN = 15.0  # seconds; a quarter of the rules' interval
LONGEST_QUERY = 5.0  # seconds; people wait for it


class Limit(NamedTuple):
    name: str
    formula: str
    units: int


@dataclass(frozen=True)
class Costs:
    """Of one unit, if nothing else is said."""

    series: float
    memory: float  # bytes a series
    cpu: float  # cores
    sample: float  # bytes on disk
    scrape: float  # bytes of the network, compressed
    group: float  # seconds of the slowest group of rules that runs every minute
    query: float  # seconds of the slowest query of the fleet's dashboard

    @staticmethod
    def of(found: dict[str, Any]) -> "Costs":
        server = found["server"]
        units = server["units"]
        minutely = [sum(times.values()) for name, times in server["rules"].items() if name != "storagedevices-life"]
        return Costs(
            series=server["series"] / units,
            memory=server["resident_bytes"] / server["series"],
            cpu=server["cpu"] / units,
            sample=server["bytes_a_sample"],
            scrape=found["agent"]["gzip_bytes"],
            group=max(minutely) / 1000 / units,
            query=max(each["ms"] for each in server["dashboards"]["fleet"]) / 1000 / units,
        )

    def samples(self, units: float) -> float:
        """A second."""
        return units * self.series / 60

    def memory_of(self, units: float) -> float:
        return units * self.series * self.memory

    def disk(self, units: float, days: int) -> float:
        return self.samples(units) * 86400 * self.sample * days

    def limits(self) -> list[Limit]:
        gib = MEMORY // 2**30
        memory = MEMORY_PART * MEMORY / self.memory_of(1)
        return [
            Limit(
                "half of its memory",
                f"{MEMORY_PART} × {gib} GiB / ({self.series:.1f} × {self.memory:,.0f} bytes)",
                int(memory),
            ),
            Limit(
                "half of its cores", f"{CPU_PART} × {CORES} / {1e6 * self.cpu:.0f} µs/s", int(CPU_PART * CORES / self.cpu)
            ),
            Limit(
                "a turn of the rules in a quarter of a minute",
                f"{LONGEST_TURN:.0f} s / {1e6 * self.group:.0f} µs",
                int(LONGEST_TURN / self.group),
            ),
            Limit(
                f"a query in {LONGEST_QUERY:.0f} s",
                f"{LONGEST_QUERY:.0f} s / {1e6 * self.query:.0f} µs",
                int(LONGEST_QUERY / self.query),
            ),
        ]

    def most(self) -> int:
        """Units of one server: the least of the limits, in round thousands."""
        return max(1000, min(limit.units for limit in self.limits()) // 1000 * 1000)
