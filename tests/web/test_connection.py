"""An agent that goes, stalls and comes back; a page that nobody looks at."""

import copy
import unittest

import browser
import sample
from page import PageTest

BANNER = '!document.getElementById("banner").hidden'

HIDE = """
Object.defineProperty(document, 'hidden', {value: arguments[0], configurable: true});
document.dispatchEvent(new Event('visibilitychange'));
"""


class ConnectionTest(PageTest):
    def test_says_that_the_agent_does_not_answer(self) -> None:
        self.show()
        self.agent.stop()
        self.until(BANNER, "the banner")
        self.assertEqual(
            self.text("#banner"), "The agent does not answer. The figures below are those of 2026-11-22 17:43:01."
        )
        self.assertEqual(self.text("#liveness"), "Not connected")
        self.assertTrue(self.value("document.title").startswith("No answer – "))
        self.assertEqual(len(self.names()), 9, "the last figures stay")

    def test_shows_the_new_state_when_the_agent_is_back(self) -> None:
        self.show()
        self.agent.stop()
        self.until(BANNER, "the banner")
        self.agent.state = copy.deepcopy(self.agent.state)
        self.agent.state["verdicts"][sample.FAILING] = sample.verdict("ok")
        self.agent.state["unit"]["verdict"] = "absent"
        self.agent.start()
        self.until(f"!({BANNER})", "no banner")
        self.assertTrue(self.text("h1").startswith("1 disk absent: "))
        self.assertTrue(self.value("document.title").startswith("1 disk absent – "))
        self.assertTrue(self.text("#liveness").startswith("Live, as of "))

    def test_notices_an_agent_that_stalls(self) -> None:
        self.show()
        self.agent.stalls = True
        self.addCleanup(lambda: setattr(self.agent, "stalls", False))
        self.agent.send_event("state", {"changed": []})
        browser.until(lambda: self.value(BANNER), "the banner", 20)

    def test_says_so_when_there_never_was_an_answer(self) -> None:
        self.agent.refuses = True
        browser.driver().get(self.agent.url)
        self.until(BANNER, "the banner")
        self.assertEqual(self.text("#banner"), "The agent does not answer.")

    def test_survives_an_answer_that_is_none(self) -> None:
        self.show()
        self.agent.state_is({"verdicts": []})
        self.until('document.querySelector("h1").innerText === "No disk is connected"', "an empty unit")
        self.agent.state_is(sample.unit())
        self.until('document.querySelectorAll(".card").length === 9', "the cards")

    def test_leaves_the_agent_alone_while_nobody_looks(self) -> None:
        self.show()
        browser.until(lambda: self.agent.open_streams == 1, "the page to listen")
        browser.script(HIDE, True)
        # The agent notices a reader that has left when it writes.

        def has_ended() -> bool:
            self.agent.send_event("state", {})
            return self.agent.open_streams == 0

        browser.until(has_ended, "the stream to end")
        self.agent.publish(sample.message(5, "meanwhile"))
        browser.script(HIDE, False)
        self.until('document.querySelector(".message .text").innerText === "meanwhile"', "the message of meanwhile")


if __name__ == "__main__":
    unittest.main()
