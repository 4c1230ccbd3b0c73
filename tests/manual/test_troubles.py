"""docs/operating.md shows what the programs print when something is wrong: here it is."""

import re
import tempfile
import unittest
from pathlib import Path

import documents
from documents import OPERATING
from unit import OperatedUnit

USUAL_SOCKET = "/run/storagedevices/status.sock"


def shown(heading: str, marks: str = "###") -> list[str]:
    """The lines of the outputs in a section."""
    section = documents.sections(OPERATING.read_text(), marks)[heading]
    return "".join(re.findall(r"^```text\n(.*?)^```$", section, re.M | re.S)).splitlines()


class TroublesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.unit = cls.enterClassContext(OperatedUnit(Path(folder.name)))

    def setUp(self) -> None:
        self.folder = self.unit.scratch()

    def printed(self, command: str) -> list[str]:
        """What an operator sees, who has the usual files."""
        output = self.unit.run(command, self.folder)[1]
        return output.replace(f"{self.folder}/etc/", "/etc/").replace(self.unit.address, "127.0.0.1:9634").splitlines()

    def assert_printed(self, lines: list[str], printed: list[str]) -> None:
        self.assertGreater(len(lines), 0)
        self.assertEqual([line for line in lines if line not in printed], [], printed)

    def patterns(self, *lines: str) -> None:
        (self.folder / "etc" / "blockdev").write_text("\n".join(lines) + "\n")

    def test_shows_a_proposal(self) -> None:
        self.assert_printed(shown("First start", "##"), self.printed("storagedevices init"))

    def test_shows_that_no_agent_answers(self) -> None:
        missing = f"{self.folder}/none.sock"
        printed = self.printed(f"storagedevices status --socket {missing}")
        self.assert_printed(shown("The agent does not answer")[:1], [line.replace(missing, USUAL_SOCKET) for line in printed])

    def test_shows_why_a_disk_is_skipped(self) -> None:
        self.patterns("pci0000:00/.*/ata9/host  drive")
        file = self.folder / "storagedevices.toml"
        file.write_text(re.sub("expected_mounts = .*", 'expected_mounts = ["flash"]', file.read_text()))
        self.assert_printed(shown("A disk is not shown"), self.printed("storagedevices check-config"))

    def test_shows_a_wrong_pattern(self) -> None:
        self.patterns("pci0000:00/.*/ata1/host  drive", ".*/ata[  flash")
        self.assert_printed(shown("A pattern is wrong"), self.printed("storagedevices check-config"))

    def test_shows_an_address_that_is_in_use(self) -> None:
        file = self.folder / "storagedevices.toml"
        file.write_text(file.read_text().replace("[status]\n", f'[status]\nhttp = "{self.unit.address}"\n'))
        self.assert_printed(shown("The HTTP address is refused"), self.printed("storagedevices agent"))

    def test_shows_the_refusal_of_another_host(self) -> None:
        answer = self.printed("/usr/bin/curl -s -H 'Host: box.example' http://127.0.0.1:9634/")
        self.assert_printed(shown("The page answers 421"), answer)


if __name__ == "__main__":
    unittest.main()
