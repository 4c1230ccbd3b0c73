"""What the cards say of each disk, and in which order."""

import copy
import unittest

import sample
from page import PageTest, ReadingTest


def cells_of(page: PageTest, selector: str) -> list[list[str]]:
    """The cells of the tables below an element."""
    return page.value(
        '[...document.querySelectorAll(arguments[0] + " tbody tr")].map(' "r => [...r.cells].map(c => c.textContent))",
        selector,
    )


class CardsTest(ReadingTest):
    def test_says_the_verdict_of_the_unit_first(self) -> None:
        self.assertEqual(self.text("h1"), "1 disk failing: KS0240118842 in /mnt/flash, its own self-assessment failed")
        self.assertEqual(
            self.texts("#findings li")[:2],
            ["1 disk absent: KS0240118999 in /mnt/drive2, removed", "1 expected disk missing: /mnt/eusb"],
        )
        self.assertEqual(self.value("document.title").split(" – ")[0], "1 disk failing")

    def test_orders_the_disks_worst_first(self) -> None:
        self.assertEqual(
            self.names(),
            [
                sample.FAILING,
                sample.ABSENT,
                sample.MISSING,
                sample.WORN,
                sample.UNREADABLE,
                sample.HANGING,
                sample.EMMC,
                sample.GOOD,
                sample.USB,
            ],
        )

    def test_shows_verdict_and_reasons_with_their_begin(self) -> None:
        card = self.card(sample.FAILING)
        self.assertEqual(self.text(f"{card} .badge"), "failing")
        self.assertEqual(self.text(f"{card} header .since"), "since 17:33 (10 min)")
        self.assertEqual(
            self.texts(f"{card} .reasons li")[1:],
            [
                "Reallocated_Sector_Ct at or below the drive's threshold since 17:33 (10 min)",
                "reallocated sectors: 2040 since 2026-11-21 15:43 (26 h)",
            ],
        )

    def test_names_the_disk_in_full(self) -> None:
        self.assertEqual(
            self.text(f"{self.card(sample.EMMC)} .identity").split("\n"),
            [
                "Serial",
                "00a1b2c3",
                "Model",
                "0x9b OSPREY",
                "Firmware",
                "KF2.4",
                "Node",
                "/dev/mmcblk0",
                "Bus",
                "eMMC mmc0",
                "Size",
                "32 GB",
            ],
        )

    def test_shows_the_figures_with_their_thresholds(self) -> None:
        self.assertEqual(
            self.facts(sample.WORN),
            {
                "Temperature": "58 °C hot 55, critical 70",
                "Life left": "9 % 91 % used",
                "Powered on": "17,880 h 2.0 years",
                "Written": "190 TB 9.0 TB since boot",
                "Last good reading": "17:42:49",
                "File system": "tested nearly full",
            },
        )
        self.assertEqual(
            self.value('document.querySelector(arguments[0] + " .fact").dataset.tone', self.card(sample.WORN)),
            "warning",
        )

    def test_says_what_a_disk_does_not_report(self) -> None:
        self.assertEqual(self.facts(sample.USB)["Temperature"], "not reported")

    def test_shows_a_missing_disk(self) -> None:
        card = self.card(sample.MISSING)
        self.assertEqual(self.text(f"{card} .badge"), "missing")
        self.assertEqual(self.texts(f"{card} .reasons li"), ["no disk is mounted there, although one is expected"])
        self.assertEqual(
            self.value('document.querySelector(arguments[0] + " > div").offsetHeight', card), 0, "no figures"
        )

    def test_shows_a_removed_disk_with_its_last_figures(self) -> None:
        self.assertEqual(
            self.texts(f"{self.card(sample.ABSENT)} .notes li"),
            ["The disk is not connected. These are its last figures."],
        )
        self.assertEqual(self.facts(sample.ABSENT)["Last good reading"], "17:39:41 3 min ago")
        self.assertNotIn("/mnt/drive2", self.names(), "the absent disk stands for its mount point")

    def test_says_which_reading_fails_and_why(self) -> None:
        self.assertEqual(
            self.texts(f"{self.card(sample.UNREADABLE)} .notes li"),
            ["nvme failing for 12 min: unreadable output", "No good reading yet."],
        )
        facts = self.facts(sample.UNREADABLE)
        self.assertEqual(facts["Temperature"], "not read yet")
        self.assertEqual(facts["Last good reading"], "none yet")

    def test_says_that_a_tool_hangs_and_how_old_the_figures_are(self) -> None:
        notes = self.texts(f"{self.card(sample.HANGING)} .notes li")
        self.assertEqual(notes[0], "smartctl failing for 9 min: its run has not ended")
        self.assertEqual(notes[-1], "The figures are those of 17:33:01.")
        self.assertEqual(self.facts(sample.HANGING)["Last good reading"], "17:33:01 10 min ago")


class ChangingCardsTest(PageTest):
    def test_says_that_all_is_good(self) -> None:
        state = sample.empty_state()
        sample.add_good(state)
        self.show(state)
        self.assertEqual(self.text("h1"), "All 3 disks are good")

    def test_never_says_that_all_is_good_of_a_unit_that_is_not(self) -> None:
        state = sample.empty_state()
        sample.add_good(state)
        state["unit"] = {"verdict": "unknown", "missing": []}
        state["internalDevicesReady"] = False
        self.show(state)
        self.assertEqual(self.text("h1"), "The health of the unit is unknown")
        self.assertEqual(self.texts("#findings li"), ["3 disks are good", "The disks are still being identified."])
        self.assertEqual(self.value("document.title").split(" – ")[0], "The health of the unit is unknown")
        self.assertEqual(self.value('document.getElementById("unit").dataset.verdict'), "unknown")
        known = copy.deepcopy(state) | {"unit": {"verdict": "ok", "missing": []}, "internalDevicesReady": True}
        self.agent.state_is(known)
        self.until('document.querySelector("h1").innerText === "All 3 disks are good"', "the unit to be known")

    def test_says_what_is_unknown_of_a_unit_without_disks(self) -> None:
        state = sample.empty_state()
        state["unit"] = {"verdict": "unknown", "missing": []}
        self.show(state)
        self.assertEqual(self.text("h1"), "The health of the unit is unknown")

    def test_counts_a_missing_disk_of_an_absent_unit_once(self) -> None:
        state = sample.empty_state()
        sample.add_good(state)
        state["unit"] = {"verdict": "absent", "missing": [sample.MISSING]}
        self.show(state)
        self.assertEqual(self.text("h1"), f"1 expected disk missing: {sample.MISSING}")
        self.assertEqual(self.texts("#findings li"), ["3 other disks are good"])

    def test_names_three_disks_of_many_and_counts_the_others(self) -> None:
        self.show(sample.many(60))
        self.assertTrue(self.text("h1").startswith("10 disks failing: KS0240500005 in /mnt/d05, an invented reason; "))
        self.assertTrue(self.text("h1").endswith(" and 7 more"))
        self.assertEqual(self.texts("#counts a"), ["10 failing", "10 warning", "10 unknown", "30 ok"])

    def test_says_that_a_disk_was_not_read_yet(self) -> None:
        state = sample.empty_state()
        new = sample.disk("KS9", "sata", "sda", "/mnt/flash", "Kestrel", 240, "ata1")
        judged = sample.verdict("unknown", sample.reason("not-read-yet", "unknown", "not read yet: smartctl"))
        sample.add_disk(state, new, judged, {}, readings=[{"source": "smartctl"}])
        self.show(state)
        self.assertEqual(self.texts(".card .notes li"), ["Waiting for its first reading."])
        self.assertEqual(self.facts("KS9")["Life left"], "not read yet")

    def test_names_a_device_that_is_not_understood(self) -> None:
        state = sample.unit()
        state["discovery"]["unclassifiedDevices"]["/dev/sdq"] = {
            "device": "/dev/sdq",
            "attempt": "reading its model",
            "error": "Too many open files",
            "remedy": "Raise the limit.",
        }
        self.show(state)
        self.assertEqual(
            self.texts("#findings li")[-1],
            "/dev/sdq is not watched: reading its model: Too many open files. Raise the limit.",
        )

    def test_shows_a_pulled_disk_as_absent_at_its_new_place(self) -> None:
        self.show()
        pulled = copy.deepcopy(self.agent.state)
        gone = pulled["connectedDevices"]["disk"].pop(sample.GOOD)
        pulled["figures"][sample.GOOD]["disk"] = gone
        pulled["verdicts"][sample.GOOD] = sample.verdict(
            "absent", sample.reason("removed", "absent", "removed", 1), age=1
        )
        card = self.card(sample.GOOD)
        self.agent.state_is(pulled)
        self.until('document.querySelector(arguments[0]).dataset.verdict === "absent"', "the card to turn", card)
        self.assertEqual(self.names()[1:3], [sample.GOOD, sample.ABSENT])
        self.assertEqual(self.text("#announcer"), "KS0240330008 in /mnt/data is now absent: removed.")

    def test_lets_a_disk_that_recovers_sink(self) -> None:
        self.show()
        healed = copy.deepcopy(self.agent.state)
        healed["verdicts"][sample.FAILING] = sample.verdict("ok")
        self.agent.state_is(healed)
        self.until(
            'document.querySelector(".card h3 bdi").textContent === arguments[0]', "the next card", sample.ABSENT
        )
        self.assertEqual(self.names()[-4:], [sample.EMMC, sample.GOOD, sample.FAILING, sample.USB])


class HealthTableTest(ReadingTest):
    def test_explains_each_smart_attribute(self) -> None:
        rows = cells_of(self, self.unfold(sample.FAILING, "health"))
        self.assertEqual(len(rows), 12)
        self.assertEqual(
            rows[1],
            [
                "5 Reallocated_Sector_Ct",
                "1",
                "1",
                "10",
                "2040",
                "At or below its limit. Sectors " "replaced by spare ones. A count that rises foretells a failure.",
            ],
        )
        self.assertEqual([row for row in rows if row[5] == ""], [])

    def test_marks_the_attribute_at_its_limit_alone(self) -> None:
        health = self.unfold(sample.FAILING, "health")
        self.assertEqual(self.texts(f"{health} tr[data-tone] th"), ["5 Reallocated_Sector_Ct"])
        self.assertIn("The drive's own assessment: FAILED.", self.text(health))

    def test_explains_the_registers_of_an_emmc_device(self) -> None:
        rows = cells_of(self, self.unfold(sample.EMMC, "health"))
        self.assertEqual(
            rows[1], ["lifetimeEstTypB", "0x03", "Rated life of the memory of type B (as a rule MLC): 20 to 30 % used."]
        )

    def test_says_that_no_record_was_read(self) -> None:
        health = f"{self.card(sample.UNREADABLE)} details.health"
        self.value("document.querySelector(arguments[0]).open = true", health)
        self.until('document.querySelector(arguments[0] + " .lead") !== null', "the record", health)
        self.assertIn("No health record of this disk was read.", self.text(health))


class ChangingHealthTableTest(PageTest):
    def test_explains_the_nvme_log(self) -> None:
        state = sample.unit()
        state["nvmeData"][sample.WORN] = sample.nvme(91, warning=0b101)
        self.show(state)
        rows = cells_of(self, self.unfold(sample.WORN, "health"))
        self.assertEqual(
            rows[0],
            ["critical_warning", "0x5", "The drive warns: its spare blocks run out, it is not reliable any more."],
        )
        self.assertIn(["data_units_written", "18 TB", "Data that the host has written."], rows)

    def test_follows_the_readings(self) -> None:
        self.show()
        health = self.unfold(sample.GOOD, "health")
        worse = copy.deepcopy(self.agent.state)
        worse["smartData"][sample.GOOD] = sample.smart(reallocated=3)
        self.agent.state_is(worse)
        self.until(
            'document.querySelector(arguments[0] + " tbody tr:nth-child(2) td:nth-child(5)").innerText === "3"',
            "the new count",
            health,
        )


if __name__ == "__main__":
    unittest.main()
