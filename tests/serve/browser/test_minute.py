# SPDX-License-Identifier: Apache-2.0
"""The page beside a recorder at work for long."""
import time

import sample
from live import LivePage
from support import wait_for

TALL = (1280, 1600)

# Keeps what every row of the list has ever shown, by the number of the row.
OBSERVE = """
window.observed = [];
const kept = new Map();
new MutationObserver(() => {
  for (const row of document.querySelectorAll(".rows [role=row]:not(.awaited)")) {
    const text = row.querySelector(".text")?.textContent;
    if (text !== undefined && kept.get(row.id) !== text) {
      kept.set(row.id, text);
      window.observed.push([Number(row.id.replace("row-", "")), text]);
    }
  }
}).observe(document.querySelector(".rows"), { childList: true, subtree: true });
"""


class MinuteTest(LivePage):
    """A recorder that works for a minute, in which its ring comes round."""

    SECONDS = 60
    FILES = 2
    # So many that both files are full soon after the beginning.
    ITEMS = [(sample.BEGIN + i, 2, 0, f"old {i}") for i in range(FILES * 5000 - 100)]

    def test_recorder_for_a_minute_loses_and_doubles_nothing(self):
        self.browser.look(TALL)
        self.driver.execute_script(OBSERVE)
        end = time.monotonic() + self.SECONDS
        count = 0
        while time.monotonic() < end:
            count = count % 13 + 1
            self.write(count)
            self.wait_texts(self.newest(1))
        observed = [(number, text) for number, text in self.driver.execute_script("return window.observed")
                    if text.startswith("new ")]
        self.assertGreater(self.written, 200)
        # Each item had one row and each row one item, in the order of writing; none was left out.
        begin = min(number for number, _ in observed)
        self.assertEqual(sorted(observed), [(begin + i, f"new {i}") for i in range(self.written)])
        # The ring has dropped what was before the file that was written last but one. Two items are the store's own.
        lines = len(self.ITEMS) + 2 + self.written
        wait_for(lambda: self.text_of("#total") == f"{5001 + (lines - 1) % 5000:,} items", "what was dropped is gone")
        self.assert_whole(2000)

    def expected(self):
        return [*self.newest(self.written), sample.FIRST, *[text for _, _, _, text in reversed(self.ITEMS)]]
