"""A headless Chromium, one for all tests, and waiting for what it shows."""

import atexit
import json
import os
import tempfile
import time
from typing import Any, Callable, Optional

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service

DEADLINE = 15.0  # seconds; a busy machine is slow

_driver: Optional[webdriver.Chrome] = None


def options(profile: str) -> Options:
    chosen = Options()
    chosen.binary_location = "/usr/bin/chromium"
    arguments = [
        "--headless=new",
        "--disable-gpu",
        "--disable-extensions",
        "--disable-dev-shm-usage",
        "--hide-scrollbars",
        "--no-first-run",
        "--disable-background-networking",
        "--disable-component-update",
        "--window-size=1400,900",
        f"--user-data-dir={profile}",
    ]
    for argument in arguments + (["--no-sandbox"] if os.geteuid() == 0 else []):
        chosen.add_argument(argument)
    chosen.page_load_strategy = "eager"
    chosen.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    chosen.add_experimental_option("perfLoggingPrefs", {"enableNetwork": True, "enablePage": False})
    return chosen


def driver() -> webdriver.Chrome:
    """The browser, started with the first test."""
    global _driver
    if _driver is None:
        profile = tempfile.TemporaryDirectory(prefix="chromium-", ignore_cleanup_errors=True)
        atexit.register(end, profile)
        environment = os.environ | {"TZ": "Europe/Berlin", "LC_ALL": "C.UTF-8"}
        _driver = webdriver.Chrome(
            service=Service("/usr/bin/chromedriver", env=environment), options=options(profile.name)
        )
        _driver.set_script_timeout(DEADLINE)
    return _driver


def end(profile: tempfile.TemporaryDirectory[str]) -> None:
    global _driver
    if _driver is not None:
        _driver.quit()
        _driver = None
    profile.cleanup()


def until(condition: Callable[[], Any], what: str, deadline: float = DEADLINE) -> Any:
    """The condition's first true value. Fails with `what` when there is none in time."""
    end_time = time.monotonic() + deadline
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end_time:
            raise AssertionError(f"not within {deadline:.0f} s: {what}")
        time.sleep(0.02)


def script(code: str, *arguments: Any) -> Any:
    """Runs a function body in the page."""
    return driver().execute_script(code, *arguments)


def devtools(command: str, **arguments: Any) -> Any:
    return driver().execute_cdp_cmd(command, arguments)


def colours(scheme: str) -> None:
    """'light' or 'dark', as the reader's system prefers."""
    devtools("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])


def width(pixels: int, height: int = 800) -> None:
    devtools(
        "Emulation.setDeviceMetricsOverride", width=pixels, height=height, deviceScaleFactor=1, mobile=pixels < 600
    )


def reset() -> None:
    """What a test may have changed is as before."""
    devtools("Emulation.clearDeviceMetricsOverride")
    colours("light")
    console()
    requests()


def console() -> list[str]:
    """The console's lines since the last call."""
    return [entry["message"] for entry in driver().get_log("browser")]


def requests() -> list[str]:
    """The addresses asked for since the last call."""
    entries = (json.loads(entry["message"])["message"] for entry in driver().get_log("performance"))
    return [entry["params"]["request"]["url"] for entry in entries if entry["method"] == "Network.requestWillBeSent"]
