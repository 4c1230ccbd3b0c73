"""Commands that are not run here, as they change the machine or take minutes. What they name must exist. Each kind has the
check that stands for it."""

import json
import re
import shlex
import subprocess
from pathlib import Path
from typing import Callable, NamedTuple

from documents import DEPLOY, ROOT

EXAMPLES = "/usr/share/doc/storagedevices/examples/"


def make(words: list[str]) -> str:
    targets = set(re.findall(r"^([a-z0-9-]+):", (ROOT / "Makefile").read_text(), re.M))
    return _unknown("target of the Makefile", words[1:], targets)


def apt_get(words: list[str]) -> str:
    packages = set(re.findall(r"^Package: (.+)$", (ROOT / "debian" / "control").read_text(), re.M))
    named = [name for word in words[2:] for name in re.sub(r"^.*/|_\*\.deb$", "", word).strip("{}").removesuffix("}_*.deb").split(",")]
    return _unknown("apt-get", words[1:2], {"install", "remove", "purge"}) or _unknown("package", named, packages)


def systemctl(words: list[str]) -> str:
    verbs = {"enable", "--now", "restart", "status"}
    services = {file.name.removesuffix(".service.in") for file in (DEPLOY / "systemd").glob("*.service.in")}
    return _unknown("verb", words[1:-1], verbs) or _unknown("service", words[-1:], services)


def cp(words: list[str]) -> str:
    missing = [word for word in words[1:-1] if not word.startswith(EXAMPLES) or not (DEPLOY / word.removeprefix(EXAMPLES)).is_file()]
    return f"no example: {missing}" if missing else ""


def cmake(words: list[str]) -> str:
    presets = {preset["name"] for preset in json.loads((ROOT / "CMakePresets.json").read_text())["configurePresets"]}
    components = set(re.findall(r"\bCOMPONENT (\w+)", (ROOT / "cmake" / "Install.cmake").read_text()))
    targets = {f"component-{name}" for name in components}
    return (_unknown("preset", _values(words, "--preset"), presets) or _unknown("component", _values(words, "--component"), components)
            or _unknown("target", _values(words, "--target"), targets)
            or "".join(f"no folder {name}" for name in _values(words, "-S") if not (ROOT / name / "CMakeLists.txt").is_file()))


def ctest(words: list[str]) -> str:
    return "" if _values(words, "--test-dir") else "ctest of no tree"


def script(words: list[str]) -> str:
    path = ROOT / words[0]
    options = [word for word in words if word.startswith("--")]
    if not path.is_file() or not path.stat().st_mode & 0o111:
        return f"no program {words[0]}"
    if not options:
        return ""
    known = subprocess.run([path, "--help"], capture_output=True, text=True, check=True).stdout
    return _unknown(f"option of {words[0]}", options, set(re.findall(r"--[\w-]+", known)))


def python(words: list[str]) -> str:
    paths = _values(words, "-s") or words[1:2]
    return "".join(f"there is no {path}" for path in paths if not (ROOT / path).exists())


class Kind(NamedTuple):
    fails: Callable[[list[str]], str]  # of the words of a command
    check: str  # where the like is run
    line: str  # a part of that file


# By the program.
KINDS = {
    "make": Kind(make, "scripts/test", "`make test` runs this"),
    "apt-get": Kind(apt_get, "tests/packages/run", "inside apt-get remove -y storagedevices"),
    "systemctl": Kind(systemctl, "tests/vm/harness/service_scenario.py", 'systemctl("start")'),
    "cp": Kind(cp, "tests/architecture/check-components", "files of no component"),
    "cmake": Kind(cmake, "tests/architecture/check-embedding", "cmake --build"),
    "ctest": Kind(ctest, "tests/architecture/check-embedding", "health_host_test"),
    "tests/vm/run": Kind(script, "Makefile", "@tests/vm/run --prefix"),
    "tests/vm/fetch-kernel": Kind(script, "scripts/setup", "tests/vm/fetch-kernel"),
    "/usr/bin/python3": Kind(python, "Makefile", "@/usr/bin/python3 -m unittest discover"),
}


def fails(line: str) -> str:
    """What is wrong with a line; a program that has no kind is."""
    for part in re.split(r" && ", line):
        words = shlex.split(part, comments=True)
        if words and words[0] not in KINDS:
            return f"{words[0]} is neither run nor of a known kind: {line}"
        if wrong := words and KINDS[words[0]].fails(words):
            return f"{line}\n{wrong}"
    return ""


def _unknown(what: str, words: list[str], known: set[str]) -> str:
    bad = sorted(set(words) - known)
    return f"no {what}: {', '.join(bad)}" if bad else ""


def _values(words: list[str], option: str) -> list[str]:
    """What stands behind each such option."""
    return [value for word, value in zip(words, words[1:]) if word == option]
