"""Sixty disks: how long until they are seen, and what an update touches."""

import copy
import unittest

import browser
import sample
from page import PageTest

# Runs before the page's own code: notes when the state has arrived, and when the cards were painted.
WATCH = """
const json = Response.prototype.json;
Response.prototype.json = async function () {
  const document_ = await json.call(this);
  if (this.url.includes('/state')) window.arrivedAt ??= performance.now();
  return document_;
};
new MutationObserver(() => {
  if (window.paintedAt || document.querySelectorAll('.card').length < 60) return;
  window.paintedAt = 1;
  // The first task after the frame in which the cards were drawn.
  requestAnimationFrame(() => {
    const channel = new MessageChannel();
    channel.port1.onmessage = () => { window.paintedAt = performance.now(); };
    channel.port2.postMessage(0);
  });
}).observe(document, {subtree: true, childList: true});
"""

# Every change below `selector` from now on: the kind, and the card or the part.
RECORD = """
window.changes = [];
new MutationObserver((records) => {
  for (const {type, target, attributeName} of records) {
    const element = target.nodeType === Node.TEXT_NODE ? target.parentElement : target;
    const card = element.closest('.card');
    window.changes.push([type, card ? card.querySelector('h3 bdi').textContent : `#${element.closest('[id]')?.id}`,
                         attributeName ?? target.data ?? '']);
  }
}).observe(document.body, {subtree: true, childList: true, characterData: true, attributes: true});
"""


class SpeedTest(PageTest):
    def setUp(self) -> None:
        super().setUp()
        self.agent.state = sample.many(60)

    def seconds_to_paint(self) -> float:
        self.show()
        self.until("window.paintedAt > 1", "the cards to be painted")
        return self.value("(window.paintedAt - window.arrivedAt) / 1000")

    def test_paints_sixty_disks_within_300_ms_of_their_data(self) -> None:
        identifier = browser.devtools("Page.addScriptToEvaluateOnNewDocument", source=WATCH)["identifier"]
        self.addCleanup(browser.devtools, "Page.removeScriptToEvaluateOnNewDocument", identifier=identifier)
        # The machine may be busy with something else, so the best of some counts.
        best = min(self.seconds_to_paint() for _ in range(4))
        print(f"first paint of 60 disks after {best * 1000:.0f} ms", flush=True)
        self.assertLess(best, 0.3)

    def record(self) -> None:
        self.show()
        self.until('document.querySelectorAll(".plot canvas").length === 6', "the plots")
        self.until('document.querySelectorAll(".message").length === 4', "the messages")
        browser.script(RECORD)

    def changes(self) -> list[list[str]]:
        return [change for change in self.value("window.changes") if change[1] not in ("#liveness",)]

    def test_touches_what_has_changed_alone(self) -> None:
        self.record()
        state = copy.deepcopy(self.agent.state)
        state["figures"]["KS0240500002"]["temperature"] = 71.0
        self.agent.state_is(state)
        self.until("window.changes.length > 0", "a change")
        self.assertEqual(self.changes(), [["characterData", "KS0240500002", "71 °C"]])

    def test_touches_no_card_when_nothing_has_changed(self) -> None:
        self.record()
        asked = len(self.agent.requests)
        self.agent.send_event("state", {"changed": []})
        browser.until(lambda: any("state" in path for path in self.agent.requests[asked:]), "the question")
        later = copy.deepcopy(self.agent.state)
        later["time"] += 1
        self.agent.state_is(later)
        self.until('window.changes.some(([, where]) => where === "#liveness")', "the time of the answer to change")
        self.assertEqual(self.changes(), [])

    def test_moves_the_disk_that_has_failed_alone(self) -> None:
        self.record()
        state = copy.deepcopy(self.agent.state)
        state["verdicts"]["KS0240500002"] = sample.verdict(
            "failing", sample.reason("life-used-up", "failing", "worn out")
        )
        self.agent.state_is(state)
        self.until("window.changes.length > 0", "a change")
        moved = [change for change in self.changes() if change[0] == "childList" and change[1] == "#cards"]
        self.assertEqual(len(moved), 2, "one element taken out and put in again")
        self.assertEqual(
            {change[1] for change in self.changes()}
            - {"KS0240500002", "#cards", "#headline", "#findings", "#counts", "#announcer", "#unit"},
            set(),
        )


if __name__ == "__main__":
    unittest.main()
