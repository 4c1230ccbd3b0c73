"""Pieces of a state document: disks, their records, verdicts and figures."""

from typing import Any

Json = dict[str, Any]

NOW = 1795365781.79  # 2026-11-22, in the middle of a day in every zone of Europe
MINUTE = 60.0
HOUR = 60 * MINUTE

BUS = {"usb": 0, "sata": 1, "nvme": 2, "emmc": 3}
MIB = {"usb": 1, "sata": 2, "emmc": 3, "nvme": 4}


def reason(code: str, verdict: str, text: str, age: float = 10 * MINUTE) -> Json:
    return {"code": code, "verdict": verdict, "text": text, "since": NOW - age}


def verdict(word: str, *reasons: Json, age: float = 10 * MINUTE) -> Json:
    return {"verdict": word, "since": NOW - age, "reasons": list(reasons)}


def disk(serial: str, kind: str, device: str, mount: str, model: str, size: int, address: str) -> Json:
    return {
        "name": serial,
        "mibType": MIB[kind],
        "blockDevice": f"/dev/{device}",
        "mountPoint": mount,
        "model": model,
        "firmwareRevision": "KF2.4",
        "removable": False,
        "busType": BUS[kind],
        "devAddress": address,
        "sizeGb": size,
        "deviceIntfAndAddress": address,
    }


def attribute(number: int, name: str, value: int, thresh: int, raw: int, raw_string: str = "") -> Json:
    return {
        "id": number,
        "name": name,
        "thresh": thresh,
        "value": value,
        "worst": value,
        "flags": 50,
        "raw": raw,
        "rawString": raw_string or str(raw),
        "reportedValue": value,
    }


def smart(passed: bool = True, reallocated: int = 0, life: int = 93, hours: int = 9120) -> Json:
    """A SATA drive's SMART record; a failing one has used up its spare sectors."""
    return {
        "healthStatusOk": passed,
        "allAttrsPassing": passed,
        "attrs": {
            "rawReadErrorRate": attribute(1, "Raw_Read_Error_Rate", 100, 50, 0),
            "reallocatedSectorCount": attribute(5, "Reallocated_Sector_Ct", 100 if passed else 1, 10, reallocated),
            "powerOnHours": attribute(9, "Power_On_Hours", 98, 0, hours),
            "powerCycleCount": attribute(12, "Power_Cycle_Count", 99, 0, 41),
            "reportedUncorrectableErrorCount": attribute(187, "Reported_Uncorrect", 100, 0, 0),
            "temperatureCelsius": attribute(194, "Temperature_Celsius", 66, 0, 34, "34 (Min/Max 19/58)"),
            "currentPendingSectorCount": attribute(197, "Current_Pending_Sector", 100, 0, 0),
            "udmaCrcErrorCount": attribute(199, "UDMA_CRC_Error_Count", 100, 0, 0),
            "totalLbasWritten": attribute(241, "Total_LBAs_Written", 100, 0, 35937500000),
            "lifetimeRemaining": attribute(202, "Percent_Lifetime_Remain", life, 1, life),
        },
        "unknownAttrs": [attribute(170, "Bad_Block_Reserve", 100, 10, 0), attribute(235, "Kestrel_Private", 100, 0, 7)],
    }


def nvme(used: int = 7, warning: int = 0) -> Json:
    """An NVMe drive's smart log."""
    fields = {
        "criticalWarning": ("critical_warning", warning),
        "temperatureCelsius": ("temperature", 41),
        "availableSpare": ("avail_spare", 100),
        "availableSpareThreshold": ("spare_thresh", 10),
        "percentageUsed": ("percent_used", used),
        "dataUnitsRead": ("data_units_read", 50976562),
        "dataUnitsWritten": ("data_units_written", 35937500),
        "powerCycleCount": ("power_cycles", 41),
        "powerOnHours": ("power_on_hours", 9120),
        "unsafeShutdowns": ("unsafe_shutdowns", 5),
        "mediaErrors": ("media_errors", 0),
        "numErrLogEntries": ("num_err_log_entries", 0),
    }
    return {key: {"name": name, "value": value} for key, (name, value) in fields.items()}


def figures(**values: Any) -> Json:
    known = {
        "temperature": 34.0,
        "lifeLeft": 93.0,
        "powerOnHours": 9120.0,
        "bytesWritten": 18.4e12,
        "bytesWrittenSinceBoot": 9.0e12,
        "lastRead": NOW - 12,
    }
    return {key: value for key, value in (known | values).items() if value is not None}


def tested(device: str, full: bool = False) -> Json:
    return {
        "device": device,
        "blkSize": 4096,
        "initialMountFailuresRemaining": 0,
        "fsHealth": {
            "state": "idle",
            "running": True,
            "writeTestOk": True,
            "readTestOk": True,
            "nonSyslogErrorCount": 0,
            "eagainErrorCount": 0,
            "utilThresholdExceeded": full,
        },
    }


def empty_state() -> Json:
    return {
        "version": "0.1.0",
        "time": NOW,
        "internalDevicesReady": True,
        "connectedDevices": {"disk": {}, "udevSerialToSerialMap": {}},
        "discovery": {"anonymousRemovalCount": 0, "unclassifiedDevices": {}},
        "unit": {"verdict": "ok", "missing": []},
        "verdicts": {},
        "figures": {},
        "smartData": {},
        "nvmeData": {},
        "emmcData": {},
        "ioStatData": {},
        "ioStatErrors": {"openErrorCount": 0, "getlineErrorCount": 0, "regexErrorCount": 0},
        "readings": {},
        "deviceLifetimeChange": {},
        "temperature": {},
        "mountPoints": {},
        "storageDevicesInfo": {"fsList": {}},
        "limits": {"lifeWarning": 10, "lifeFailing": 1},
        "tools": {"runs": 12714, "failed": 3, "timedOut": 1, "last": []},
        "kernelLines": {"received": 5121, "forwarded": 34, "rewritten": 12, "dropped": 0, "overruns": 0},
        "log": {"linesDropped": 0},
    }


def add_disk(state: Json, record: Json, judged: Json, values: Json, **records: Any) -> None:
    """Adds a connected disk. `records`: smartData, nvmeData, emmcData, mountPoints, readings."""
    serial = record["name"]
    state["connectedDevices"]["disk"][serial] = record
    state["verdicts"][serial] = judged
    state["figures"][serial] = values
    for key, value in records.items():
        state[key][record["mountPoint"] if key == "mountPoints" else serial] = value


def good(*sources: str) -> list[Json]:
    return [{"source": source, "lastGood": NOW - 12} for source in sources]
