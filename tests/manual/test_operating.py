"""docs/operating.md explains each message and each reason that there is, and no other. What it shows is what is printed."""

import re
import subprocess
import unittest
from pathlib import Path

import documents
from documents import MANUAL_PAGES, MARKDOWN, OPERATING
from places import AGENT, ROOT, VERDICT_RULES


def catalogue() -> dict[str, list[str]]:
    """By name: severity and format, then the lines that explain it, as they are printed below each message."""
    printed = subprocess.run([AGENT, "catalogue"], capture_output=True, text=True, check=True).stdout
    found = {}
    for paragraph in printed.strip().split("\n\n"):
        head, text, *explained = paragraph.splitlines()
        name, severity = re.fullmatch(r"(\w+) \((\w+)\)", head).groups()
        found[name] = [f"{severity} {name}: {text.strip()}", *explained]
    return found


def demo_steps() -> str:
    """The texts of the demo's sources."""
    sources = "".join(path.read_text() for path in sorted((ROOT / "src" / "demo").glob("*Chapter.cpp")))
    return re.sub(r'"\s+"', "", sources)


class MessagesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        cls.catalogue = catalogue()
        cls.sections = documents.sections(documents.sections(OPERATING.read_text(), "##")["Messages, and what to do"], "###")

    def test_explains_each_message_in_the_order_of_the_catalogue(self) -> None:
        self.assertEqual(list(self.sections), list(self.catalogue))

    def test_shows_each_as_it_is_printed(self) -> None:
        for name, (head, *explained) in self.catalogue.items():
            with self.subTest(name):
                shown = re.search(r"^```text\n(\S+Z) (.*)\n((?:   .*\n)+)```$", self.sections.get(name, ""), re.M)
                self.assertIsNotNone(shown)
                pattern = ".+".join(re.escape(part) for part in head.split("%s"))
                self.assertRegex(shown[2], f"^{pattern}$")
                self.assertEqual(shown[3].splitlines(), explained)

    def test_names_a_step_of_the_demo_for_each(self) -> None:
        steps = demo_steps()
        for name, section in self.sections.items():
            with self.subTest(name):
                named = re.search(r'In the demo after "([^"…]+)(…?)"', section)
                self.assertIsNotNone(named)
                self.assertIn(f'.text = "{named[1]}' + ("" if named[2] else '"'), steps)

    def test_says_what_to_do_about_each(self) -> None:
        for name, section in self.sections.items():
            advice = section.split("```\n")[-1]
            self.assertGreater(len(advice.split()), 20, name)


class VerdictsTest(unittest.TestCase):
    def test_says_what_to_do_about_each_reason(self) -> None:
        rules = re.findall(r'^    \{"([a-z-]+)", Verdict::(\w+),', VERDICT_RULES.read_text(), re.M)
        section = documents.sections(OPERATING.read_text(), "##")["Verdicts, and what to do"]
        rows = re.findall(r"^\| (\w+) \| (`.+`) \| .+ \|$", section, re.M)
        explained = [(code, verdict) for verdict, codes in rows for code in re.findall(r"`([a-z-]+)`", codes)]
        self.assertEqual(sorted(explained), sorted(rules))
        self.assertGreater(len(rules), 20)


class NamesTest(unittest.TestCase):
    def each(self, pattern: str) -> list[tuple[Path, str]]:
        """What the pattern finds in the documents, each with its file."""
        return [(path, found) for path in (*MARKDOWN, *MANUAL_PAGES) for found in re.findall(pattern, path.read_text())]

    def test_names_no_message_that_does_not_exist(self) -> None:
        fields = r"STORAGEDEVICE_(?:NAME|TIME|ARG\d+)"
        named = [(path, name) for path, name in self.each(r"\bSTORAGEDEVICE_[A-Z0-9_]+\b") if not re.fullmatch(fields, name)]
        self.assertEqual([(str(path), name) for path, name in named if name not in catalogue()], [])
        self.assertGreater(len(named), 10)

    def test_names_no_manual_page_that_does_not_exist(self) -> None:
        named = self.each(r"\b(storagedevices[a-z.-]*)\*?\((\d)\)")
        pages = {path.name for path in MANUAL_PAGES}
        self.assertEqual([(str(path), page) for path, page in named if f"{page[0]}.{page[1]}.scd" not in pages], [])
        self.assertGreater(len(named), 10)


if __name__ == "__main__":
    unittest.main()
