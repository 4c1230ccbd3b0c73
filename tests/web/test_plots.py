"""The history plots: read from the canvas, as eyes would."""

import copy
import unittest

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

import browser
import sample
from page import Json, PageTest, ReadingTest

# The columns (0 to width) of a plot's canvas that hold pixels of a colour, and how many pixels in all.
PIXELS = """
const [frame, name] = arguments;
const canvas = frame.querySelector('canvas');
const probe = document.createElement('canvas').getContext('2d');
probe.fillStyle = getComputedStyle(document.documentElement).getPropertyValue(name).trim();
probe.fillRect(0, 0, 1, 1);
const wanted = probe.getImageData(0, 0, 1, 1).data;
const {data, width} = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height);
const columns = new Set();
let count = 0;
for (let at = 0; at < data.length; at += 4) {
  if (data[at + 3] < 120) continue;
  if (Math.max(...[0, 1, 2].map(i => Math.abs(data[at + i] - wanted[i]))) > 25) continue;
  count++;
  columns.add(at / 4 % width);
}
return {count, width, columns: [...columns].sort((a, b) => a - b)};
"""

TEMPERATURE, LIFE, BYTES = range(3)


def runs(columns: list[int]) -> list[tuple[int, int]]:
    """The columns without holes of more than 3 pixels, each run's first and last."""
    found: list[tuple[int, int]] = []
    for column in columns:
        if found and column - found[-1][1] <= 3:
            found[-1] = (found[-1][0], column)
        else:
            found.append((column, column))
    return found


class HistoryPage(PageTest):
    """The history of the failing disk, unfolded."""

    history: str

    def show_history(self) -> None:
        self.show()
        type(self).history = self.unfold(sample.FAILING, "history")
        self.until(
            'document.querySelectorAll(arguments[0] + " .plot canvas").length === 6', "three plots", self.history
        )

    def frame(self, plot: int) -> object:
        return browser.driver().find_elements(By.CSS_SELECTOR, f"{self.history} .plot")[plot]

    def pixels(self, plot: int, colour: str) -> Json:
        return browser.script(PIXELS, self.frame(plot), colour)

    def axis(self, plot: int) -> list[str]:
        return self.value(
            '[...arguments[0].querySelectorAll(".dygraph-axis-label-x")].map(e => e.innerText)', self.frame(plot)
        )

    def readout(self) -> str:
        return self.text(f"{self.history} .readout")

    def cursors(self) -> list[int]:
        """How far the visible cursors are from their plots' left edges."""
        return self.value(
            '[...document.querySelectorAll(arguments[0] + " .time-cursor:not([hidden])")].map(e => '
            "Math.round(e.getBoundingClientRect().left - e.parentElement.getBoundingClientRect().left))",
            self.history,
        )

    def click(self, label: str) -> None:
        browser.driver().find_element(By.XPATH, f'//button[text()="{label}"]').click()

    def asked(self) -> list[str]:
        return [path for path in self.agent.requests if path.startswith("/api/v1/history")]


class PlotsTest(HistoryPage, ReadingTest):
    """Looks, points and zooms; each test begins with the whole time and no cursor."""

    @classmethod
    def setUpClass(cls) -> None:
        super().setUpClass()
        cls("show").show_history()

    def setUp(self) -> None:
        self.click("Whole time")
        self.value('document.querySelector(".plot").dispatchEvent(new MouseEvent("mouseleave"))')

    def test_draws_every_series(self) -> None:
        for plot, colour in ((TEMPERATURE, "--plot-1"), (LIFE, "--plot-2"), (BYTES, "--plot-1"), (BYTES, "--plot-3")):
            self.assertGreater(self.pixels(plot, colour)["count"], 80, f"plot {plot}, {colour}")

    def test_leaves_a_gap_where_nothing_was_read(self) -> None:
        life = self.pixels(LIFE, "--plot-2")
        first, second = runs(life["columns"])
        hour = second[1] - first[0]
        # Nothing was read from 30 to 20 minutes ago: 31 minutes are drawn, 10 are missing, 20 follow.
        self.assertAlmostEqual((second[0] - first[1]) / hour, 11 / 60, delta=0.03)
        self.assertAlmostEqual((first[1] - first[0]) / hour, 29 / 60, delta=0.03)

    def test_draws_the_thresholds(self) -> None:
        for plot, colour in (
            (TEMPERATURE, "--warning-text"),
            (TEMPERATURE, "--failing-text"),
            (LIFE, "--warning-text"),
        ):
            line = self.pixels(plot, colour)
            self.assertGreater(line["columns"][-1] - line["columns"][0], 0.5 * line["width"], f"plot {plot}, {colour}")

    def test_moves_one_cursor_through_all_plots(self) -> None:
        self.assertEqual(self.cursors(), [])
        ActionChains(browser.driver()).move_to_element(self.frame(BYTES)).perform()
        browser.until(lambda: len(self.cursors()) == 3, "three cursors")
        self.assertLess(max(self.cursors()) - min(self.cursors()), 3, "at one time")
        self.assertRegex(self.readout(), r"^17:\d\d:49: \d+ °C, 93 % left, read .*/s, written .*/s$")

    def test_shows_the_latest_reading_when_the_mouse_has_left(self) -> None:
        ActionChains(browser.driver()).move_to_element(self.frame(LIFE)).perform()
        browser.until(self.cursors, "cursors")
        heading = browser.driver().find_element(By.CSS_SELECTOR, "h1")
        ActionChains(browser.driver()).move_to_element(heading).perform()
        browser.until(lambda: not self.cursors(), "no cursor")
        self.assertTrue(self.readout().startswith("Latest, 17:42:49: "))

    def test_moves_the_cursor_with_the_keyboard(self) -> None:
        self.value('document.querySelector(arguments[0] + " input").focus()', self.history)
        self.press(Keys.HOME)
        self.assertTrue(self.readout().startswith("16:43:01: nothing read"))
        self.press(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)
        self.assertTrue(self.readout().startswith("16:44:49: "))
        self.assertEqual(len(self.cursors()), 3)
        self.assertEqual(self.value('document.activeElement.getAttribute("aria-valuetext")'), self.readout())

    def test_says_in_a_gap_that_nothing_was_read(self) -> None:
        self.value('document.querySelector(arguments[0] + " input").focus()', self.history)
        self.press(Keys.HOME, *[Keys.ARROW_RIGHT] * 35)
        self.assertEqual(self.readout(), "17:17:49: nothing read")
        self.assertEqual(len(self.cursors()), 3)

    def test_zooms_all_plots_with_the_mouse(self) -> None:
        before = self.axis(LIFE)
        drag = ActionChains(browser.driver()).move_to_element(self.frame(TEMPERATURE))
        drag.click_and_hold().move_by_offset(40, 2).move_by_offset(20, 0).release().perform()
        browser.until(lambda: self.axis(LIFE) != before, "the other plots to follow")
        self.assertEqual(self.axis(LIFE), self.axis(TEMPERATURE))
        self.assertEqual(self.axis(BYTES), self.axis(TEMPERATURE))
        self.click("Whole time")
        self.assertEqual(self.axis(LIFE), before)

    def test_zooms_all_plots_with_buttons(self) -> None:
        before = self.axis(BYTES)
        self.click("+")
        self.click("+")
        self.assertNotEqual(self.axis(BYTES), before)
        self.assertEqual(self.axis(BYTES), self.axis(TEMPERATURE))
        self.click("−")
        self.click("−")
        self.assertEqual(self.axis(BYTES), before)


class ChangingPlotsTest(HistoryPage):
    def setUp(self) -> None:
        super().setUp()
        self.show_history()

    def test_opens_the_history_of_the_worst_disk_alone(self) -> None:
        self.assertEqual(self.value('[...document.querySelectorAll("details[open]")].length'), 1)
        self.assertEqual(self.asked(), ["/api/v1/history?disk=KS0240118842&hours=1"])

    def test_draws_no_threshold_that_is_not_known(self) -> None:
        state = sample.unit()
        state["temperature"], state["limits"] = {}, {}
        self.show(state)
        self.until(
            'document.querySelectorAll(arguments[0] + " .plot canvas").length === 6', "three plots", self.history
        )
        self.assertGreater(self.pixels(TEMPERATURE, "--plot-1")["count"], 80)
        self.assertEqual(self.pixels(TEMPERATURE, "--warning-text")["count"], 0)

    def test_shows_a_day(self) -> None:
        self.click("1 day")
        browser.until(lambda: self.asked()[-1].endswith("&hours=24"), "the question for a day")
        browser.until(lambda: len(runs(self.pixels(LIFE, "--plot-2")["columns"])) >= 2, "the night without readings")
        self.assertEqual(self.texts(f"{self.history} [aria-pressed=true]"), ["1 day"])
        self.assertEqual(self.axis(LIFE), ["18:00", "22 Nov", "06:00", "12:00"])
        self.assertEqual(self.texts(f"{self.history} .range")[1], "93 % to 95 %")

    def test_asks_anew_when_the_disk_was_read(self) -> None:
        self.assertEqual(len(self.asked()), 1)
        later = copy.deepcopy(self.agent.state)
        later["figures"][sample.FAILING]["lastRead"] += 60

        # Questions for the same hours are two seconds apart at least, so the change is announced until it is seen.
        def is_asked() -> bool:
            self.agent.state_is(later)
            return len(self.asked()) == 2

        browser.until(is_asked, "the second question")

    def test_draws_in_the_colours_of_the_dark(self) -> None:
        light = self.value('getComputedStyle(document.documentElement).getPropertyValue("--plot-2")')
        browser.colours("dark")
        self.until(
            'getComputedStyle(document.documentElement).getPropertyValue("--plot-2") !== arguments[0]',
            "the dark",
            light,
        )
        browser.until(lambda: self.pixels(LIFE, "--plot-2")["count"] > 80, "a line in the new colour")

    def test_says_what_a_disk_never_reported(self) -> None:
        length = len(self.agent.history["time"])
        self.agent.history["temperature"] = [None] * length
        history = self.unfold(sample.GOOD, "history")
        self.until(
            'document.querySelectorAll(arguments[0] + " .plot canvas").length === 4', "the two other plots", history
        )
        self.assertEqual(self.texts(f"{history} .range")[0], "nothing read in this time")

    def test_says_why_there_is_no_history(self) -> None:
        self.agent.history = {}
        history = self.unfold(sample.GOOD, "history")
        self.until('document.querySelector(arguments[0] + " .readout").innerText !== ""', "an answer", history)
        self.assertEqual(self.text(f"{history} .readout"), "Nothing was read yet.")


if __name__ == "__main__":
    unittest.main()
