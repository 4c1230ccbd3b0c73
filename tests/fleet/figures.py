"""The measured figures (docs/fleet-figures.json) and what follows from them, as docs/fleet.md has them between its marks.

Nobody copies a figure: `measure.py` writes both files, and a test compares them.
"""

import json
import math
import textwrap
from typing import Any, Iterator

import capacity
from places import ROOT

FILE = ROOT / "docs" / "fleet-figures.json"
MANUAL = ROOT / "docs" / "fleet.md"
BEGIN = "<!-- figures: `make fleet-scale` writes this -->\n"
END = "<!-- end of figures -->\n"
MIB, GIB = 2**20, 2**30


def load() -> dict[str, Any]:
    return json.loads(FILE.read_text())


def written() -> str:
    """What the manual has between its marks."""
    return MANUAL.read_text().split(BEGIN)[1].split(END)[0]


def write() -> None:
    before, rest = MANUAL.read_text().split(BEGIN)
    MANUAL.write_text(before + BEGIN + section(load()) + END + rest.split(END)[1])


def section(found: dict[str, Any]) -> str:
    parts = [_origin(found), _agent(found["agent"]), _server(found["server"]), _rules(found["server"])]
    parts += [_dashboards(found["server"]), _follows(capacity.Costs.of(found))]
    return "\n" + "\n".join(parts) + "\n"


def _prose(text: str) -> str:
    return textwrap.fill(text, 125, break_on_hyphens=False) + "\n"


def _table(head: tuple[str, ...], rows: Iterator[tuple[str, ...]]) -> str:
    align = ("---",) + ("---:",) * (len(head) - 1)
    return "".join("| " + " | ".join(row) + " |\n" for row in (head, align, *rows))


def _origin(found: dict[str, Any]) -> str:
    machine, server = found["machine"], found["server"]
    return _prose(
        f"Measured by `make fleet-scale`, begun {machine['date']}, on {machine['cpus']} CPUs ({machine['cpu']}) with "
        f"{machine['memory_gib']:.0f} GiB, Linux {machine['kernel']}, Prometheus {machine['prometheus']}. The load of the "
        f"machine was {machine['load_before']:.1f} before and {machine['load_after']:.1f} after. The units lived "
        f"{server['minutes']:.0f} minutes, {server['scale']:.0f} times as fast as the clock. All figures are those of a "
        "scrape a minute."
    )


def _agent(agent: dict[str, Any]) -> str:
    def rows() -> Iterator[tuple[str, ...]]:
        yield "CPU of the agent", f"{agent['cpu_ms']:.2f} ms"
        yield "size", f"{agent['bytes'] / 1000:.1f} kB"
        yield "size by `gzip -1`", f"{agent['gzip_bytes'] / 1000:.1f} kB"
        yield "series", f"{agent['samples']}"
        for serial, series in sorted(agent["series_by_disk"].items(), key=lambda each: -each[1]):
            yield f"of these of the disk {serial}", f"{series}"
        yield f"memory of the agent after {agent['scrapes']:,} scrapes", f"{agent['resident_mib']:.1f} MiB"

    return _table(("one scrape of a unit with four disks", ""), rows())


def _server(server: dict[str, Any]) -> str:
    def rows() -> Iterator[tuple[str, ...]]:
        yield "scrapes that succeeded", f"{100 * server['scraped']:.2f} %"
        yield "series, with the recorded ones", f"{server['series']:,.0f}"
        yield "samples a second", f"{server['samples_a_second']:,.0f}"
        yield "resident memory, highest", f"{server['resident_bytes'] / MIB:,.0f} MiB"
        yield "CPU, of one core", f"{100 * server['cpu']:.1f} %"
        yield "bytes a sample in a block of two hours, with its index", f"{server['bytes_a_sample']:.2f}"
        yield "write-ahead log at the end", f"{server['log_bytes'] / MIB:,.0f} MiB"
        yield "rules, seconds a minute", f"{server['rules_seconds_a_minute']:.2f}"
        yield "recorded series for a server above", f"{server['federated_series']}"
        yield "a federating scrape of them", f"{server['federated_bytes'] / 1000:.1f} kB"

    return _table((f"{server['units']:,} units in one Prometheus", ""), rows())


def _rules(server: dict[str, Any]) -> str:
    def rows() -> Iterator[tuple[str, ...]]:
        for group, times in server["rules"].items():
            slowest = max(times, key=lambda rule: times[rule])
            yield group, f"{sum(times.values()):.0f} ms", f"{slowest}: {times[slowest]:.0f} ms"

    return _table(("one turn of the rules", "together", "the slowest"), rows())


def _dashboards(server: dict[str, Any]) -> str:
    def rows() -> Iterator[tuple[str, ...]]:
        for name, queries in server["dashboards"].items():
            for each in sorted(queries, key=lambda each: -each["ms"]):
                yield f"{name}: {each['panel']}", "now" if each[
                    "now"
                ] else "3 h", f"{each['ms']:.0f} ms", f"{each['series']}"

    return _table(("a query of a dashboard", "of", "takes", "series"), rows())


def _follows(costs: capacity.Costs) -> str:
    sizes = (1_000, 10_000, 100_000)

    def row(name: str, formula: str, value: Any) -> tuple[str, ...]:
        return (f"{name} = {formula}", *(value(units) for units in sizes))

    def rows() -> Iterator[tuple[str, ...]]:
        yield row("series", f"units × {costs.series:.1f}", lambda units: f"{units * costs.series:,.0f}")
        yield row("samples a second", "series / 60", lambda units: f"{costs.samples(units):,.0f}")
        yield row("memory", f"series × {costs.memory:,.0f} bytes", lambda units: f"{costs.memory_of(units) / GIB:,.1f} GiB")
        yield row("CPU", f"units × {1e6 * costs.cpu:.0f} µs/s", lambda units: f"{units * costs.cpu:,.2f} cores")
        yield row(
            "disk a day",
            f"samples a second × 86,400 × {costs.sample:.2f} bytes",
            lambda units: f"{costs.disk(units, 1) / GIB:,.1f} GiB",
        )
        yield row("disk in 90 days", "× 90", lambda units: f"{costs.disk(units, 90) / GIB:,.0f} GiB")
        yield row(
            "network",
            f"units × {costs.scrape / 1000:.1f} kB / 60 s",
            lambda units: f"{units * costs.scrape / 60e6:,.2f} MB/s",
        )
        yield row(
            "slowest group of rules", f"units × {1e6 * costs.group:.0f} µs", lambda units: f"{units * costs.group:,.2f} s"
        )
        yield row(
            "slowest query of the fleet's dashboard",
            f"units × {1e6 * costs.query:.0f} µs",
            lambda units: f"{units * costs.query:,.2f} s",
        )

    table = _table(("at a scrape a minute", *(f"{units:,} units" for units in sizes)), rows())
    return table + "\n" + _limits(costs)


def _limits(costs: capacity.Costs) -> str:
    limits = costs.limits()
    table = _table(("one server", "units"), ((f"{each.name}: {each.formula}", f"{each.units:,}") for each in limits))
    most = costs.most()
    shards = math.ceil(100_000 / most)
    each = 100_000 / shards
    return f"{table}\n" + _prose(
        f"So one server of {capacity.CORES} cores and {capacity.MEMORY // GIB} GiB bears {most:,} units. 100,000 units need "
        f"100,000 / {most:,}, or {shards} shards of {math.ceil(each):,} units. Each shard needs "
        f"{costs.memory_of(each) / GIB:,.1f} GiB of memory, and {costs.disk(each, 90) / GIB:,.0f} GiB of disk for 90 days."
    )
