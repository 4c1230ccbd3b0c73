"""Pictures of the page, for eyes: `python3 tests/web/screenshots.py FOLDER`.

Light, dark and phone width; folded and unfolded; the agent gone; many disks.
"""

import base64
import os
import sys
from pathlib import Path

import browser
import sample
from agent import FakeAgent


def save(folder: Path, name: str, full: bool = True) -> None:
    picture = browser.devtools("Page.captureScreenshot", captureBeyondViewport=full)
    (folder / f"{name}.png").write_bytes(base64.b64decode(picture["data"]))


def load(agent: FakeAgent) -> None:
    browser.driver().get(agent.url)
    browser.until(lambda: browser.script('return document.querySelectorAll(".card").length > 0'), "cards")
    drawn = 'return document.querySelectorAll(".plot canvas").length > 0 || !document.querySelector("details.history[open]")'
    browser.until(lambda: browser.script(drawn), "plots")


def unfold() -> None:
    for selector in ('.card[data-verdict="failing"]', '.card[data-verdict="warning"]'):
        browser.script(f"for (const d of document.querySelectorAll(`{selector} .records > details`)) d.open = true")
    browser.until(lambda: browser.script('return document.querySelectorAll(".plot canvas").length >= 12'), "plots")
    browser.script('document.querySelectorAll("[data-part=day]")[1].click()')
    slider = 'const s = document.querySelector("input[type=range]"); s.value = 20; s.dispatchEvent(new Event("input"))'
    browser.script(slider)


def pictures(folder: Path, agent: FakeAgent) -> None:
    for scheme in ("light", "dark"):
        for name, width in (("desk", 1400), ("phone", 360)):
            browser.colours(scheme)
            browser.width(width, 1000)
            load(agent)
            save(folder, f"{name}-{scheme}")
            unfold()
            save(folder, f"{name}-{scheme}-unfolded")


def main() -> None:
    folder = Path(sys.argv[1] if len(sys.argv) > 1 else os.environ["STORAGEDEVICES_SCREENSHOTS"])
    folder.mkdir(parents=True, exist_ok=True)
    agent = FakeAgent()
    try:
        pictures(folder, agent)
        browser.width(1400, 1000)
        load(agent)
        agent.stop()
        browser.until(lambda: browser.script('return !document.getElementById("banner").hidden'), "the banner")
        save(folder, "desk-dark-gone")
        many = FakeAgent(sample.many())
        load(many)
        save(folder, "desk-dark-many")
        many.stop()
    finally:
        agent.stop()


if __name__ == "__main__":
    main()
