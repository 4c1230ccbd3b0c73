"""The page of a fake agent, as a reader finds it."""

import unittest
from typing import Any, Optional

import browser
from agent import FakeAgent

Json = dict[str, Any]


class PageTest(unittest.TestCase):
    """Serves the invented unit, or what a test makes of it, and shows the page."""

    agent: FakeAgent

    def setUp(self) -> None:
        self.agent = FakeAgent()
        self.addCleanup(self.agent.stop)
        self.addCleanup(browser.reset)

    def show(self, state: Optional[Json] = None) -> None:
        """Loads the page, and waits for its first answer."""
        if state is not None:
            self.agent.state = state
        browser.driver().get(self.agent.url)
        self.until('document.title !== "Storage"', "the first answer")

    def until(self, condition: str, what: str, *arguments: Any) -> Any:
        """Waits for a condition of the page, an expression."""
        return browser.until(lambda: browser.script(f"return {condition}", *arguments), what)

    def value(self, expression: str, *arguments: Any) -> Any:
        return browser.script(f"return {expression}", *arguments)

    def text(self, selector: str) -> str:
        """What a reader sees of the first such element."""
        return self.value("document.querySelector(arguments[0]).innerText", selector)

    def texts(self, selector: str) -> list[str]:
        return self.value("[...document.querySelectorAll(arguments[0])].map(e => e.innerText)", selector)

    def names(self) -> list[str]:
        """The names of the cards, from top to bottom."""
        return self.texts(".card h3 > bdi")

    def card(self, name: str) -> str:
        """The selector of a disk's card."""
        found = self.value(
            '[...document.querySelectorAll(".card")].find('
            'c => c.querySelector("h3 bdi").textContent === arguments[0])?.id',
            name,
        )
        self.assertIsNotNone(found, f"a card of {name}")
        return f"#{found}"

    def facts(self, name: str) -> dict[str, str]:
        """The figures of a card by their labels, value and note together."""
        return dict(
            self.value(
                '[...document.querySelectorAll(arguments[0] + " .fact")].map(f => '
                '[f.querySelector("dt").innerText, f.querySelector("dd").innerText.replaceAll("\\n", " ")])',
                self.card(name),
            )
        )

    def unfold(self, name: str, part: str) -> str:
        """Opens 'history' or 'health' of a disk; the selector of it."""
        selector = f"{self.card(name)} details.{part}"
        browser.script("document.querySelector(arguments[0]).open = true", selector)
        self.until('document.querySelector(arguments[0] + " .panel") !== null', f"the {part} of {name}", selector)
        return selector

    def press(self, *keys: str) -> None:
        """Types into whatever has the focus."""
        browser.driver().switch_to.active_element.send_keys(*keys)


class ReadingTest(PageTest):
    """Shows the invented unit once, to tests that only look at it."""

    @classmethod
    def setUpClass(cls) -> None:
        cls.agent = FakeAgent()
        cls.addClassCleanup(cls.agent.stop)
        cls.addClassCleanup(browser.reset)
        cls("show").show()

    def setUp(self) -> None:
        """Nothing of its own."""
