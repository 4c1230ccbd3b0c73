"""Devices say what they like: it is shown as text, and nothing else happens."""

import unittest

from selenium.webdriver.common.keys import Keys

import browser
import sample
from page import Json, PageTest

IMAGE = '<img src=x onerror="document.title=1">'
REVERSED = "KS\u202e024\u2066\u200b\x1b[31m"

HOSTILE_ATTRIBUTE = "<script>document.title=1</script>"


def hostile(serial: str) -> Json:
    """A unit whose only disk says `serial` wherever it can."""
    state = sample.empty_state()
    record = sample.disk(serial, "sata", serial, serial, serial, 240, serial) | {"firmwareRevision": serial}
    judged = sample.verdict("failing", sample.reason(serial, "failing", serial))
    smart = sample.smart()
    smart["unknownAttrs"] = [sample.attribute(250, HOSTILE_ATTRIBUTE, 1, 0, 0, serial)]
    readings = [{"source": serial, "failingSince": sample.NOW - 60, "reason": serial}]
    sample.add_disk(state, record, judged, sample.figures(), smartData=smart, readings=readings)
    state["unit"] = {"verdict": serial, "missing": [serial + "2"]}
    state["version"] = serial
    return state


def violations(lines: list[str]) -> list[str]:
    return [line for line in lines if "Content Security Policy" in line or "Trusted" in line]


class SafetyTest(PageTest):
    def show_hostile(self, serial: str) -> None:
        self.agent.messages = [
            sample.message(1, serial) | {"name": serial, "recommendedAction": serial, "explanation": serial}
        ]
        self.show(hostile(serial))
        self.until('document.querySelectorAll(".message").length === 1', "the message")
        self.unfold_all()

    def unfold_all(self) -> None:
        browser.script('for (const details of document.querySelectorAll("details")) details.open = true')
        self.until('document.querySelectorAll(".plot canvas").length > 0', "plots")

    def test_shows_a_serial_of_markup_as_text(self) -> None:
        self.show_hostile(IMAGE)
        self.assertEqual(self.names()[0], IMAGE)
        self.assertTrue(self.text("h1").startswith(f"1 disk failing: {IMAGE} in {IMAGE}, {IMAGE}"))
        self.assertIn(IMAGE, self.text(".message .text"))
        self.assertIn(f"250 {HOSTILE_ATTRIBUTE}", self.texts(".health tbody th"))
        self.assertEqual(self.value('document.querySelectorAll("img, body script").length'), 0)
        self.assertIn("disk failing", self.value("document.title"))

    def test_shows_controls_and_marks_of_direction_escaped(self) -> None:
        self.show_hostile(REVERSED)
        escaped = "KS\\u202e024\\u2066\\u200b\\u001b[31m"
        self.assertEqual(self.names()[0], escaped)
        self.assertTrue(self.text("h1").startswith(f"1 disk failing: {escaped} in "))
        self.assertEqual(self.text(".message .text"), escaped)
        everything = self.value("document.documentElement.outerHTML + document.title")
        self.assertEqual([mark for mark in "\u202e\u2066\u200b\x1b" if mark in everything], [])

    def test_asks_for_the_history_of_a_serial_as_it_is(self) -> None:
        self.show_hostile("a&hours=9#?/ b")
        asked = [path for path in self.agent.requests if "history?" in path and "disk=" in path]
        self.assertEqual(asked[0], "/api/v1/history?disk=a%26hours%3D9%23%3F%2F%20b&hours=1")

    def test_shows_disks_that_are_called_like_javascript(self) -> None:
        for serial in ("__proto__", "constructor", "toString"):
            with self.subTest(serial):
                state = hostile(serial)
                state["figures"].clear()  # nothing inherited may take its place
                self.show(state)
                self.assertEqual(self.names()[0], serial)
                self.assertEqual(self.facts(serial)["Temperature"], "not read yet")
                self.assertEqual(self.texts(".notes li")[0], f"{serial} failing for 1 min: {serial}")

    def test_survives_values_of_other_types(self) -> None:
        state = sample.unit()
        for records in (state["verdicts"], state["figures"], state["readings"]):
            records[sample.GOOD] = 7
        state["connectedDevices"]["disk"][sample.USB]["model"] = {"a": 1}
        state["smartData"][sample.FAILING]["attrs"] = {"powerOnHours": None}
        self.show(state)
        self.assertEqual(len(self.names()), 9)
        self.assertEqual(self.text("#banner"), "")

    def test_violates_no_content_security_policy(self) -> None:
        browser.console()
        self.show_hostile(IMAGE)
        browser.script('document.querySelector(".history input").focus()')
        self.press(Keys.HOME)
        self.assertEqual(violations(browser.console()), [])
        browser.script('document.body.setAttribute("style", "color: red")')
        self.assertEqual(len(violations(browser.console())), 1, "a violation is seen")

    def test_turns_no_text_into_markup_whoever_writes_it(self) -> None:
        self.show_hostile(IMAGE)
        browser.script('document.querySelector("#no-messages").innerHTML = arguments[0]', IMAGE)
        self.assertEqual(self.value('document.querySelector("#no-messages").textContent'), IMAGE)

    def test_asks_no_other_server(self) -> None:
        browser.requests()
        self.show_hostile(IMAGE)
        asked = browser.requests()
        self.assertGreater(len(asked), 20)
        self.assertEqual([url for url in asked if not url.startswith(self.agent.url)], [])


if __name__ == "__main__":
    unittest.main()
