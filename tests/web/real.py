"""What a browser shows of the real agent while a disk is pulled and the agent is restarted.

`real.py URL SERIAL FOLDER`: PageProgramTest starts it and does what it waits for. It makes a file in the folder when it
has seen each step. What it misses ends it with an error.
"""

import sys
from pathlib import Path
from typing import Any

import browser
import sample
from selenium.webdriver.common.by import By
from test_plots import PIXELS

FETCH = """
const [path, done] = arguments;
fetch(path).then(answer => answer.json()).then(done);
"""


class RealPage:
    def __init__(self, url: str, serial: str, folder: str) -> None:
        self._url = url
        self._serial = serial
        self._folder = Path(folder)

    def until(self, condition: str, what: str) -> None:
        browser.until(lambda: browser.script(f"return {condition}", self._selector), what, 30)

    def sees(self, step: str) -> None:
        (self._folder / step).touch()

    def load(self) -> None:
        browser.driver().get(self._url)
        find = '[...document.querySelectorAll(".card")].find(c => c.innerText.includes(arguments[0]))?.id'
        found = browser.until(lambda: browser.script(f"return {find}", self._serial), "the card", 30)
        self._selector = f"#{found}"

    def history(self) -> dict[str, list[Any]]:
        """The agent's answer, which must have the form of the invented one."""
        answer = browser.driver().execute_async_script(FETCH, f"/api/v1/history?disk={self._serial}&hours=1")
        invented = sample.history(1)
        assert sorted(answer) == sorted(invented), answer
        for column in answer.values():
            assert len(column) == len(answer["time"]), answer
            assert all(value is None or isinstance(value, (int, float)) for value in column), answer
        assert all(after > before for before, after in zip(answer["time"], answer["time"][1:])), answer
        return answer

    def drawn(self) -> int:
        """The pixels of the temperature's line."""
        frames = browser.driver().find_elements(By.CSS_SELECTOR, f"{self._selector} .plot")
        if not frames or not frames[0].find_elements(By.CSS_SELECTOR, "canvas"):
            return 0
        return int(browser.script(PIXELS, frames[0], "--plot-1")["count"])

    def shows_the_disk(self) -> None:
        browser.script('document.querySelector(arguments[0] + " details.history").open = true', self._selector)
        browser.until(lambda: any(value is not None for value in self.history()["temperature"]), "a reading", 30)
        browser.until(lambda: self.drawn() > 0, "a line in the plot of the temperature", 30)
        self.sees("disk")

    def shows_the_pull(self) -> None:
        self.until('document.querySelector(arguments[0]).dataset.verdict === "absent"', "the disk to be absent")
        self.until('document.querySelector("#message-list li") !== null', "a message")
        self._before = self.history()["time"]
        self.sees("pull")

    def shows_the_restart(self) -> None:
        self.until('!document.getElementById("banner").hidden', "the banner")
        self.sees("end")
        self.until('document.getElementById("banner").hidden', "an answer")
        browser.until(lambda: len(self.history()["time"]) > len(self._before), "new readings after the old", 30)
        kept = self.history()["time"]
        assert all(abs(a - b) < 0.1 for a, b in zip(self._before, kept)), (self._before, kept)
        self.until('document.querySelector(arguments[0]).dataset.verdict !== "absent"', "the disk to be back")


def main() -> None:
    page = RealPage(*sys.argv[1:])
    page.load()
    page.shows_the_disk()
    page.shows_the_pull()
    page.shows_the_restart()
    print("seen")


main()
