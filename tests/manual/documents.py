"""The documents: their blocks of code with a language each, the commands in their sentences, their sections."""

import re
import sys
from dataclasses import dataclass
from pathlib import Path
from typing import Iterator

sys.path.append(str(Path(__file__).resolve().parents[1] / "fleet"))

from places import DEPLOY, ROOT  # noqa: E402, F401

MARKDOWN = [ROOT / "README.md", ROOT / "CONTRIBUTING.md", *sorted((ROOT / "docs").rglob("*.md")),
            *sorted((ROOT / "tests").glob("*/README.md"))]
MANUAL_PAGES = sorted((ROOT / "docs" / "man").glob("*.scd"))
OPERATING = ROOT / "docs" / "operating.md"


@dataclass(frozen=True)
class Block:
    """Code. `place` is the file and the line of its first line."""

    place: str
    language: str  # empty where none is named
    text: str


def place_of(path: Path, line: int) -> str:
    return f"{path.relative_to(ROOT)}:{line}"


def blocks_of(path: Path) -> Iterator[Block]:
    """Markdown names the language behind the fence. A manual page names it in a comment above: "; sh"."""
    lines = path.read_text().splitlines()
    begin = None
    for number, line in enumerate(lines):
        fence = re.fullmatch(r" *```(\w*)", line)
        if fence and begin is None:
            begin = number
            comment = re.fullmatch(r"; (\w+)", lines[number - 1]) if path.suffix == ".scd" else None
            language = comment[1] if comment else fence[1]
        elif fence:
            text = "\n".join(line.strip() if language == "sh" else line for line in lines[begin + 1 : number])
            yield Block(place_of(path, begin + 2), language, text + "\n")
            begin = None
    assert begin is None, f"{place_of(path, begin + 1)} has no end"


def blocks() -> list[Block]:
    return [block for path in (*MARKDOWN, *MANUAL_PAGES) for block in blocks_of(path)]


def prose_of(path: Path) -> str:
    """Without its blocks, whose lines are empty."""
    return re.sub(r"^ *```.*?^ *```$", lambda block: "\n" * block[0].count("\n"), path.read_text(), flags=re.M | re.S)


def commands_in_prose() -> Iterator[tuple[str, str]]:
    """Each `storagedevices …` between backticks, and between asterisks in manual pages, with its place."""
    for path in (*MARKDOWN, *MANUAL_PAGES):
        prose = prose_of(path)
        mark = r"\*" if path.suffix == ".scd" else "`"
        for span in re.finditer(rf"{mark}(storagedevices\s[a-z-][^*`]*){mark}", prose):
            yield place_of(path, prose.count("\n", 0, span.start()) + 1), " ".join(span[1].split())


def sections(text: str, marks: str) -> dict[str, str]:
    """The text below each heading that begins with these marks, by heading."""
    parts = re.split(rf"^{marks} (.+)$", text, flags=re.M)
    return {heading: re.split(rf"^#{{1,{len(marks)}}} ", part, flags=re.M)[0] for heading, part in zip(parts[1::2], parts[2::2])}
