"""For everybody: by keyboard, by ear, in the dark, on a phone."""

import copy
import unittest
from pathlib import Path

import browser
import sample
from page import Json, PageTest
from selenium.webdriver.common.keys import Keys

AUDIT = (Path(__file__).parent / "audit.js").read_text()

UNFOLD = 'for (const details of document.querySelectorAll("details")) details.open = true'

# Where the focus is, and whether a ring shows it.
FOCUS = """
const e = document.activeElement;
const style = getComputedStyle(e);
return {tag: e.localName, text: (e.innerText || e.value || '').trim().replace(/\\s+/g, ' '), id: e.id,
        isSeen: style.outlineStyle === 'solid' && parseFloat(style.outlineWidth) >= 2,
        isInside: e.getBoundingClientRect().bottom > 0 && e.getBoundingClientRect().top < innerHeight};
"""


class AuditTest(PageTest):
    def audit(self) -> None:
        found = browser.script(AUDIT)
        self.assertEqual(found["findings"], [])
        self.assertGreater(found["texts"], 200, "texts were looked at")

    def show_all(self) -> None:
        self.show()
        browser.script(UNFOLD)
        self.until('document.querySelectorAll(".plot canvas").length >= 30', "all plots")
        self.until('document.querySelectorAll(".message").length === 4', "the messages")

    def test_has_roles_names_and_contrast_in_the_light(self) -> None:
        self.show_all()
        self.audit()

    def test_has_roles_names_and_contrast_in_the_dark(self) -> None:
        browser.colours("dark")
        self.show_all()
        self.assertEqual(self.value("getComputedStyle(document.body).backgroundColor"), "rgb(15, 19, 23)")
        self.audit()

    def test_has_contrast_while_the_agent_is_gone(self) -> None:
        for scheme in ("light", "dark"):
            with self.subTest(scheme):
                browser.colours(scheme)
                self.show_all()
                self.agent.stop()
                self.until('!document.getElementById("banner").hidden', "the banner")
                self.audit()
                self.agent.start()


class PhoneTest(PageTest):
    def test_needs_no_horizontal_scrolling_on_a_phone(self) -> None:
        browser.width(320, 640)
        self.agent.state["connectedDevices"]["disk"]["x" * 200] = {"model": "W" * 300, "mountPoint": "/" + "m" * 200}
        self.show()
        browser.script(UNFOLD)
        self.until('document.querySelectorAll(".plot canvas").length >= 30', "all plots")
        widest = self.value(
            'Math.max(...[...document.querySelectorAll("body *")].filter(e => !e.closest(".unseen, .skip, thead, '
            '.plot")).map(e => e.getBoundingClientRect().right))'
        )
        self.assertEqual(self.value("document.documentElement.scrollWidth"), 320)
        self.assertLessEqual(widest, 320)

    def test_shows_the_rows_of_a_table_as_blocks_on_a_phone(self) -> None:
        browser.width(320, 640)
        self.show()
        browser.script(UNFOLD)
        self.until('document.querySelector(".health tbody td") !== null', "a table")
        self.assertEqual(self.value('getComputedStyle(document.querySelector(".health tbody tr")).display'), "flex")
        self.assertEqual(
            self.value('getComputedStyle(document.querySelector(".health tbody td"), "::before").content'), '"Value "'
        )


class KeyboardTest(PageTest):
    def setUp(self) -> None:
        super().setUp()
        self.show()
        self.until('document.querySelectorAll(".plot canvas").length === 6', "the plots")

    def tab(self) -> Json:
        self.press(Keys.TAB)
        return browser.script(FOCUS)

    def walk(self, most: int = 80) -> list[Json]:
        """Where Tab leads to, from the page's begin to its end."""
        stops: list[Json] = []
        for _ in range(most):
            stop = self.tab()
            if stop["tag"] == "body":
                return stops
            stops.append(stop)
        self.fail(f"the keyboard does not get out: {stops[-3:]}")

    def test_reaches_every_control_with_a_visible_focus(self) -> None:
        stops = self.walk()
        reachable = self.value(
            '[...document.querySelectorAll("a[href], button, input, summary")].filter('
            "e => e.checkVisibility()).length"
        )
        self.assertEqual(len(stops), reachable)
        self.assertEqual([stop for stop in stops if not stop["isSeen"] or not stop["isInside"]], [])

    def test_skips_to_the_disks_and_to_the_messages(self) -> None:
        self.assertEqual(self.tab()["text"], "Skip to the disks")
        self.press(Keys.ENTER)
        self.until('document.activeElement.id === "disks"', "the disks to have the focus")
        browser.script("document.activeElement.blur(); scrollTo(0, 0)")
        browser.driver().refresh()
        self.until('document.querySelectorAll(".card").length > 0', "the cards")
        self.tab()
        self.assertEqual(self.tab()["text"], "Skip to the messages")
        self.press(Keys.ENTER)
        self.until('document.activeElement.id === "messages"', "the messages to have the focus")

    def test_follows_a_link_to_the_card_of_a_disk(self) -> None:
        while (stop := self.tab())["text"] != "MRN7A0031955":
            self.assertNotEqual(stop["tag"], "body")
        self.press(Keys.ENTER)
        self.until('document.activeElement.matches(".card[data-verdict=warning]")', "the card to have the focus")

    def test_unfolds_the_health_record(self) -> None:
        while "SMART attributes" not in (stop := self.tab())["text"]:
            self.assertNotEqual(stop["tag"], "body")
        self.press(Keys.ENTER)
        self.until('document.querySelectorAll(".health[open] tbody tr").length === 12', "the table")

    def test_zooms_and_moves_the_cursor(self) -> None:
        labels = 'return [...document.querySelectorAll(".plot .dygraph-axis-label-x")].map(e => e.innerText).join()'
        before = browser.script(labels)
        while self.tab()["text"] != "+":
            pass
        self.press(Keys.SPACE)
        browser.until(lambda: browser.script(labels) != before, "the zoom")
        self.tab(), self.tab(), self.tab()
        self.press(Keys.ARROW_LEFT, Keys.ARROW_LEFT)
        self.until('document.querySelectorAll(".time-cursor:not([hidden])").length === 3', "the cursor")

    def test_keeps_the_focus_when_the_order_changes(self) -> None:
        browser.script('document.querySelector(arguments[0] + " summary").focus()', self.card(sample.GOOD))
        state = copy.deepcopy(self.agent.state)
        state["verdicts"][sample.GOOD]["verdict"] = "failing"
        self.agent.state_is(state)
        self.until('document.querySelectorAll(".card[data-verdict=failing]").length === 2', "the new order")
        self.assertEqual(self.names()[0], sample.GOOD)
        self.assertEqual(browser.script(FOCUS)["text"], f"History of {sample.GOOD}")


if __name__ == "__main__":
    unittest.main()
