"""The messages: as they come, each once, whatever breaks in between."""

import unittest

import browser
import sample
from page import PageTest


class MessagesTest(PageTest):
    def shown(self) -> list[str]:
        """The numbers of the shown messages, from top to bottom."""
        return [text.rpartition("#")[2] for text in self.texts(".message .text")]

    def numbered(self, count: int) -> None:
        self.agent.messages = [sample.message(number) for number in range(1, count + 1)]

    def listening(self) -> None:
        browser.until(lambda: self.agent.open_streams == 1, "the page to listen")

    def publish(self, *numbers: int) -> None:
        for number in numbers:
            self.agent.publish(sample.message(number))

    def expect(self, *numbers: int) -> None:
        wanted = [str(number) for number in numbers]
        browser.until(lambda: self.shown() == wanted, f"messages {wanted}; there are {self.shown()}")

    def test_shows_the_newest_first(self) -> None:
        self.show()
        browser.until(lambda: len(self.texts(".message")) == 4, "four messages")
        self.assertEqual(
            self.texts(".message .stamp"),
            [
                "2026-11-22 17:40:01 error",
                "2026-11-22 17:32:01 error",
                "2026-11-22 14:43:01 warning",
                "2026-11-20 15:43:01 warning",
            ],
        )
        self.assertIn("A removal event occurred", self.texts(".message .text")[0])

    def test_says_what_to_do_and_explains(self) -> None:
        self.show()
        self.until('document.querySelectorAll(".message").length === 4', "four messages")
        self.assertTrue(self.text(".message .action").startswith("Back up the data of the storage device"))
        self.value('document.querySelector(".message summary").click()')
        self.assertTrue(self.text(".message details p").startswith("Storage device is reporting problems."))
        self.assertEqual(self.text(".message .name"), "STORAGEDEVICE_IO_ERROR")

    def test_says_that_there_are_none(self) -> None:
        self.agent.messages = []
        self.show()
        self.listening()
        self.assertEqual(self.text("#no-messages"), "None yet.")
        self.publish(1)
        self.expect(1)
        self.assertTrue(self.value('document.getElementById("no-messages").hidden'))

    def test_shows_a_message_when_it_comes(self) -> None:
        self.numbered(2)
        self.show()
        self.listening()
        self.publish(3)
        self.expect(3, 2, 1)

    def test_has_new_messages_read_out_but_not_those_from_before(self) -> None:
        self.numbered(2)
        self.agent.stalls = True
        browser.driver().get(self.agent.url)
        self.assertEqual(self.value('document.getElementById("message-list").ariaLive'), "off")
        self.agent.stalls = False
        self.until('document.getElementById("message-list").ariaLive === "polite"', "the list to be live")
        self.assertEqual(self.shown(), ["2", "1"])

    def test_loses_and_doubles_none_when_the_stream_breaks(self) -> None:
        self.numbered(2)
        self.show()
        self.listening()
        self.publish(3)
        self.expect(3, 2, 1)
        self.agent.break_streams()
        self.publish(4, 5)
        self.expect(5, 4, 3, 2, 1)
        self.listening()
        self.publish(6)
        self.expect(6, 5, 4, 3, 2, 1)

    def test_loses_and_doubles_none_when_the_agent_is_gone_for_a_while(self) -> None:
        self.numbered(3)
        self.show()
        self.listening()
        self.agent.stop()
        self.publish(4, 5)
        self.until('!document.getElementById("banner").hidden', "the banner")
        self.agent.start()
        self.expect(5, 4, 3, 2, 1)
        self.listening()
        self.publish(6)
        self.expect(6, 5, 4, 3, 2, 1)

    def test_resumes_after_the_last_message_it_has(self) -> None:
        self.numbered(7)
        self.show()
        self.listening()
        self.agent.break_streams()
        browser.until(lambda: sum("events" in path for path in self.agent.requests) == 2, "the second stream")
        asked = [path for path in self.agent.requests if "/messages?" in path or "/events?" in path]
        self.assertEqual(
            asked,
            [
                "/api/v1/messages?after=0",
                "/api/v1/events?after=7",
                "/api/v1/messages?after=6",
                "/api/v1/events?after=7",
            ],
        )

    def test_starts_anew_with_an_agent_that_was_restarted(self) -> None:
        self.numbered(3)
        self.show()
        self.listening()
        self.agent.stop()
        self.agent.messages = [sample.message(1, "after the restart #a", age=1), sample.message(2, "and #b", age=0)]
        self.agent.start()
        browser.until(lambda: self.shown() == ["b", "a", "3", "2", "1"], "the new messages above the old ones")
        self.assertEqual(self.texts(".restart"), ["The agent was restarted; messages below are from before."])
        self.listening()
        self.publish(3)
        browser.until(lambda: self.shown()[0] == "3", "the next message of the new agent")

    def test_starts_anew_with_a_restarted_agent_that_has_logged_nothing(self) -> None:
        self.numbered(3)
        self.show()
        self.listening()
        self.agent.stop()
        self.agent.messages = []
        self.agent.start()
        browser.until(lambda: self.texts(".restart"), "the note")
        self.listening()
        self.agent.publish(sample.message(1, "the first #x", age=0))
        browser.until(lambda: self.shown()[0] == "x", "its first message")

    def test_shows_older_messages_when_asked(self) -> None:
        self.numbered(120)
        self.show()
        self.until('document.querySelectorAll(".message").length === 50', "a page")
        self.value('document.getElementById("older").click()')
        self.value('document.getElementById("older").click()')
        self.expect(*range(120, 0, -1))
        self.assertTrue(self.value('document.getElementById("older").hidden'))

    def test_asks_for_the_state_when_it_has_changed(self) -> None:
        self.show()
        self.listening()
        state = sample.empty_state()
        sample.add_good(state)
        self.agent.state_is(state)
        self.until('document.querySelector("h1").innerText === "All 3 disks are good"', "the new state")


if __name__ == "__main__":
    unittest.main()
