"""Answers of an invented unit: a state document, a day of history, messages.

The unit has a disk of every kind and verdict. All names and serial numbers are invented.
"""

import math
from typing import Optional

from records import (
    HOUR,
    MINUTE,
    NOW,
    Json,
    add_disk,
    attribute,
    disk,
    empty_state,
    figures,
    good,
    nvme,
    reason,
    smart,
    tested,
    verdict,
)

FAILING, ABSENT, WORN = "KS0240118842", "KS0240118999", "MRN7A0031955"
HANGING, UNREADABLE = "KS0240220417", "MRN7A0040021"
EMMC, USB, GOOD = "00a1b2c3", "WR7F31C0", "KS0240330008"
MISSING = "/mnt/eusb"


def add_failing(state: Json) -> None:
    sata = disk(FAILING, "sata", "sda", "/mnt/flash", "Kestrel S2 240GB", 240, "ata1")
    judged = verdict(
        "failing",
        reason("self-assessment-failed", "failing", "the drive reports that it is failing"),
        reason("attribute-below-threshold", "failing", "Reallocated_Sector_Ct at or below the drive's threshold"),
        reason("reallocated-sectors", "warning", "reallocated sectors: 2040", 26 * HOUR),
    )
    add_disk(
        state,
        sata,
        judged,
        figures(),
        smartData=smart(False, 2040),
        mountPoints=tested("/dev/sda1"),
        readings=good("smartctl", "iostat"),
    )
    state["temperature"]["DriveTemp1"] = {
        "drive": FAILING,
        "temperature": 34.0,
        "min": -40.0,
        "max": 140.0,
        "overheat": 55.0,
        "critical": 70.0,
        "unrealisticTempChangeThreshold": 24.0,
        "alarm": "none",
    }


def add_absent(state: Json) -> None:
    """Its last figures stay, with a copy of what was known of it."""
    gone = disk(ABSENT, "sata", "sde", "/mnt/drive2", "Kestrel S2 240GB", 240, "ata2")
    state["verdicts"][ABSENT] = verdict("absent", reason("removed", "absent", "removed", 3 * MINUTE), age=3 * MINUTE)
    state["figures"][ABSENT] = figures(lastRead=NOW - 200, disk=gone)
    state["smartData"][ABSENT] = smart()


def add_worn(state: Json) -> None:
    drive = disk(WORN, "nvme", "nvme0n1", "/mnt/drive", "Marlin N7 480", 480, "nvme0n1")
    judged = verdict(
        "warning",
        reason("life-low", "warning", "9 % of its rated life is left", 50 * HOUR),
        reason("overheat", "warning", "high temperature: 58 °C", 7 * MINUTE),
        age=50 * HOUR,
    )
    values = figures(temperature=58.0, lifeLeft=9.0, powerOnHours=17880.0, bytesWritten=190e12)
    add_disk(
        state,
        drive,
        judged,
        values,
        nvmeData=nvme(91),
        smartData={"healthStatusOk": True, "attrs": {}, "unknownAttrs": []},
        mountPoints=tested("/dev/nvme0n1p1", full=True),
        readings=good("smartctl", "nvme", "iostat"),
    )
    state["temperature"]["DriveTemp2"] = {
        "drive": WORN,
        "temperature": 58.0,
        "min": -40.0,
        "max": 140.0,
        "overheat": 55.0,
        "critical": 70.0,
        "alarm": "overheat",
    }


def add_unreadable(state: Json) -> None:
    """One whose tool hangs, one whose readings fail."""
    stuck = disk(HANGING, "sata", "sdb", "/mnt/log", "Kestrel S2 120GB", 120, "ata3")
    hangs = verdict("unknown", reason("tool-hangs", "unknown", "tools that hang: smartctl", 9 * MINUTE), age=9 * MINUTE)
    reading = {
        "source": "smartctl",
        "lastGood": NOW - 10 * MINUTE,
        "failingSince": NOW - 9 * MINUTE,
        "reason": "its run has not ended",
    }
    add_disk(state, stuck, hangs, figures(lastRead=NOW - 10 * MINUTE), smartData=smart(), readings=[reading])
    dumb = disk(UNREADABLE, "nvme", "nvme1n1", "/mnt/cache", "Marlin N7 960", 960, "nvme1n1")
    fails = verdict("unknown", reason("reading-fails", "unknown", "readings fail: nvme", 12 * MINUTE), age=12 * MINUTE)
    reading = {"source": "nvme", "failingSince": NOW - 12 * MINUTE, "reason": "unreadable output"}
    nothing = figures(
        temperature=None, lifeLeft=None, powerOnHours=None, bytesWritten=None, lastRead=None, bytesWrittenSinceBoot=None
    )
    add_disk(state, dumb, fails, nothing, readings=[reading])


def add_good(state: Json) -> None:
    card = disk(EMMC, "emmc", "mmcblk0", "/mnt/boot", "0x9b OSPREY", 32, "mmc0")
    add_disk(
        state,
        card,
        verdict("ok", age=100 * HOUR),
        figures(temperature=None, lifeLeft=80.0, powerOnHours=None, bytesWritten=None),
        emmcData={"lifetimeEstTypA": 2, "lifetimeEstTypB": 3, "preEolInfo": 1},
        readings=good("emmc", "iostat"),
    )
    stick = disk(USB, "usb", "sdc", "/mnt/usb1", "Wren_Internal_Flash", 8, "2-1") | {"removable": True}
    nothing = figures(temperature=None, lifeLeft=None, powerOnHours=None, bytesWritten=None, bytesWrittenSinceBoot=0.0)
    add_disk(
        state,
        stick,
        verdict("ok", age=HOUR),
        nothing,
        readings=good("smartctl", "iostat"),
        smartData={"healthStatusOk": True, "attrs": {}, "unknownAttrs": []},
    )
    drive = disk(GOOD, "sata", "sdd", "/mnt/data", "Kestrel S2 240GB", 240, "ata4")
    add_disk(
        state,
        drive,
        verdict("ok", age=100 * HOUR),
        figures(),
        smartData=smart(),
        mountPoints=tested("/dev/sdd1"),
        readings=good("smartctl", "iostat"),
    )


def unit() -> Json:
    """The state document of a unit in trouble: every kind of disk, every verdict, a missing disk."""
    state = empty_state()
    for add in (add_good, add_unreadable, add_worn, add_absent, add_failing):
        add(state)
    state["unit"] = {"verdict": "failing", "missing": ["/mnt/drive2", MISSING]}
    return state


def many(count: int = 60) -> Json:
    """A unit of many disks, of all verdicts in turn."""
    state = empty_state()
    words = ["ok", "warning", "ok", "unknown", "ok", "failing"]
    for index in range(count):
        record = disk(
            f"KS02405{index:05d}", "sata", f"sd{index}", f"/mnt/d{index:02d}", "Kestrel S2 240GB", 240, f"ata{index}"
        )
        word = words[index % len(words)]
        reasons = [] if word == "ok" else [reason("life-low", word, "an invented reason")]
        add_disk(
            state,
            record,
            verdict(word, *reasons),
            figures(temperature=30.0 + index % 20),
            smartData=smart(),
            mountPoints=tested(f"/dev/sd{index}p1"),
            readings=good("smartctl", "iostat"),
        )
    state["unit"] = {"verdict": "failing", "missing": []}
    return state


def is_gap(minutes_ago: int) -> bool:
    """Nothing was read from half an hour to twenty minutes ago, and for an hour in the night."""
    return 20 <= minutes_ago < 30 or 600 <= minutes_ago < 660


def history(hours: int = 24) -> Json:
    """A reading a minute: a day that warms and cools, a life that falls, writes in bursts."""
    columns: Json = {
        key: [] for key in ("time", "temperature", "lifeLeft", "readBytesPerSecond", "writtenBytesPerSecond")
    }
    for ago in range(hours * 60 - 1, -1, -1):
        wave = math.sin(ago / 60)
        busy = 4.0 if ago % 30 < 8 else 0.3
        row = [
            round(34 + 5 * wave + (ago * 7919 % 5) / 4, 1),
            93.0 + ago // 600,
            busy * 1.2e6 * (2 + wave),
            busy * 3.1e6 * (2 - wave),
        ]
        columns["time"].append(NOW - 12 - ago * MINUTE)
        for key, value in zip(list(columns)[1:], row):
            columns[key].append(None if is_gap(ago) else value)
    return columns


def message(sequence: int, text: str = "", severity: int = 3, age: Optional[float] = None) -> Json:
    """A log message; by default they come a minute apart."""
    return {
        "sequence": sequence,
        "time": NOW - (age if age is not None else max(0, 200 - sequence) * MINUTE),
        "name": "STORAGEDEVICE_IO_ERROR",
        "severity": severity,
        "text": text
        or f"/dev/sda (SN:{FAILING} Model:Kestrel S2 240GB Firmware:KF2.4) has read or write errors "
        f"and is unstable. #{sequence}",
        "arguments": ["/dev/sda", FAILING],
        "explanation": "Storage device is reporting problems. This could mean faulty hardware or device reaching "
        "end of life.",
        "recommendedAction": "Back up the data of the storage device and contact the support of the appliance: the "
        "hardware may need to be replaced.",
    }


def messages() -> list[Json]:
    return [
        message(
            1,
            f"Lifetime of /mnt/drive (SN:{WORN} Model:Marlin N7 480 Firmware:M7.11) has decreased faster than "
            "expected (5587GB written in the last 2.5 days).",
            4,
            50 * HOUR,
        ),
        message(
            2,
            f"disk utilization on /mnt/drive (SN:{WORN} Model:Marlin N7 480 Firmware:M7.11) has exceeded 85 " "percent",
            4,
            3 * HOUR,
        ),
        message(3, age=11 * MINUTE),
        message(4, f"A removal event occurred unexpectedly for internal storage device {ABSENT}", 3, 3 * MINUTE),
    ]
