"""Every command and every configuration of the documents is good. Commands of the agent, of curl and of journalctl are run
on a simulated unit; commands.py has the rest."""

import re
import subprocess
import tempfile
import unittest
from pathlib import Path

import commands
import documents
from checks import parse_error, run, unknown_names
from documents import Block
from places import AGENT, BUILD, ROOT
from unit import OperatedUnit, spelled_out

RUN_HERE = ("storagedevices", "curl", "journalctl")
LANGUAGES = {"sh", "text", "toml", "blockdev", "cpp", "yaml", "promql", "rsyslog"}


def lines_of(block: Block) -> list[str]:
    """Commands; one goes on below a line that ends in a backslash."""
    return [line for line in block.text.replace("\\\n", "").splitlines() if line.strip() and not line.startswith("#")]


def help_examples() -> list[Block]:
    """Those of each command's --help."""
    def text(*words: str) -> str:
        return subprocess.run([AGENT, *words, "--help"], capture_output=True, text=True, check=True).stdout

    names = re.findall(r"^  ([a-z][a-z-]+)", text().split("Subcommands:\n")[1], re.M)
    return [Block(f"storagedevices {name} --help", "sh", example + "\n")
            for name in names for example in re.findall(r"^  (storagedevices .*)$", text(name), re.M)]


class ExamplesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        cls.blocks = documents.blocks()
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.unit = cls.enterClassContext(OperatedUnit(Path(folder.name)))

    def each(self, language: str) -> list[Block]:
        return [block for block in self.blocks if block.language == language]

    def assert_good(self, place: str, wrong: str) -> None:
        with self.subTest(place):
            self.assertEqual(wrong, "")

    def file(self, block: Block, name: str) -> Path:
        file = self.unit.scratch() / name
        file.write_text(block.text)
        return file

    def test_name_the_language_of_each_block(self) -> None:
        self.assertEqual([(block.place, block.language) for block in self.blocks if block.language not in LANGUAGES], [])

    def test_show_commands_as_such(self) -> None:
        hidden = [block.place for block in self.each("text") if re.search(r"^(?:[$#] |storagedevices [a-z])", block.text, re.M)]
        self.assertEqual(hidden, [])

    def test_have_commands_that_run(self) -> None:
        ran = 0
        for block in (*self.each("sh"), *help_examples()):
            folder = self.unit.scratch()
            for line in lines_of(block):
                here = line.split()[0] in RUN_HERE
                ran += here
                self.assert_good(block.place, self.unit.fails(line, folder) if here else commands.fails(line))
        self.assertGreater(ran, 40)

    def test_have_commands_in_sentences_that_run(self) -> None:
        places = {spelled_out(command): place for place, command in documents.commands_in_prose()}
        for command, place in places.items():
            self.assert_good(place, self.unit.fails(command))
        self.assertGreater(len(places), 8)

    def test_have_configurations_that_are_valid(self) -> None:
        for block in self.each("toml"):
            file = self.file(block, "documented.toml")
            directory = f'etc_dir = "{file.parent}/etc"\n'
            framed = re.sub(r"^\[appliance\]\n", lambda table: table[0] + directory, block.text, flags=re.M)
            file.write_text(framed if framed != block.text else f"{block.text}[appliance]\n{directory}")
            self.assert_good(block.place, self.unit.fails(f"storagedevices check-config --config {file}"))

    def test_have_patterns_that_are_valid(self) -> None:
        for block in self.each("blockdev"):
            folder = self.unit.scratch()
            (folder / "etc" / "blockdev").write_text(block.text)
            self.assert_good(block.place, self.unit.fails("storagedevices check-config | grep -F ': "
                                                          f"{len(block.text.splitlines())} entries'", folder))

    def test_show_sources_that_are_compiled(self) -> None:
        """The test `embedding` compiles them."""
        compiled = [file.read_text() for file in (ROOT / "docs" / "embedding").glob("*.cpp")]
        self.assertEqual([block.place for block in self.each("cpp") if block.text not in compiled], [])

    def test_have_configurations_of_other_programs_that_these_accept(self) -> None:
        programs = {"yaml": ["promtool", "check", "config"], "rsyslog": ["/usr/sbin/rsyslogd", "-N1", "-f"]}
        for language, command in programs.items():
            for block in self.each(language):
                code, text = run(*command, self.file(block, language))
                self.assert_good(block.place, text if code else "")

    def test_have_queries_of_metrics_that_exist(self) -> None:
        for block in self.each("promql"):
            self.assert_good(block.place, parse_error([block.text]) + " ".join(unknown_names(block.text)))

    def test_have_each_table_of_the_manual_pages(self) -> None:
        for page in documents.MANUAL_PAGES:
            printed = (BUILD / "man" / page.stem).read_text()
            self.assertNotRegex(printed, r"(?m)^@\w+@$", page.name)
            self.assertIn(".SH SEE ALSO", printed)

    def test_use_each_language_and_kind(self) -> None:
        """What no document has need not be known."""
        self.assertEqual({block.language for block in self.blocks}, LANGUAGES)
        used = {part.split()[0] for block in self.each("sh") for line in lines_of(block) for part in line.split(" && ")}
        self.assertEqual(commands.KINDS.keys() - used, set())

    def test_have_checks_that_stand_for_commands(self) -> None:
        gone = [program for program, kind in commands.KINDS.items() if kind.line not in (ROOT / kind.check).read_text()]
        self.assertEqual(gone, [])


if __name__ == "__main__":
    unittest.main()
