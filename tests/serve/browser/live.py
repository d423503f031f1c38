# SPDX-License-Identifier: Apache-2.0
"""A page beside a recorder at work."""
from selenium.webdriver.common.keys import Keys

import sample
from support import PageTest, Recorder, wait_for


class LivePage(PageTest):
    """The page follows a log that a recorder fed by hand writes to."""

    ITEMS = sample.ITEMS
    FILES = 4

    def setUp(self):
        super().setUp()
        self.directory = self.log(self.ITEMS, files=self.FILES)
        self.recorder = Recorder(str(self.directory))
        self.addCleanup(self.end_recorder)
        self.written = 0
        self.open(self.serve(self.directory))
        self.wait_state("live")
        # The recorder's own first item.
        wait_for(lambda: self.texts()[:1] == [sample.FIRST], "recorder has begun")

    def end_recorder(self):
        if self.recorder.process.poll() is None:
            self.recorder.end()

    def write(self, count=1):
        lines = [f"new {self.written + i}" for i in range(count)]
        self.written += count
        self.recorder.write(*lines)
        return lines

    def wait_state(self, state):
        wait_for(lambda: self.element("#connection").get_attribute("data-state") == state, f"connection is {state}")

    def newest(self, count):
        return [f"new {self.written - 1 - i}" for i in range(count)]

    def scroll_rows(self, rows):
        height = self.rows()[0]["height"]
        self.driver.execute_script("document.getElementById('list').scrollTop += arguments[0]", rows * height)

    def expected(self):
        """All that the list has to show, the newest first."""
        return [*self.newest(self.written), sample.FIRST, *sample.NEWEST_FIRST]

    def assert_whole(self, count=None):
        """Goes through the list, or so many items of it: every item is there once, in its place."""
        self.press("g")
        expected = self.expected()[:count]
        seen = {}
        while len(seen) < len(expected):
            rows = wait_for(lambda: self.whole_view(len(seen)), f"rows from {len(seen)} on")
            seen.update((row["index"] - 2, row["text"]) for row in rows)
            self.press(Keys.PAGE_DOWN)
        self.assertEqual([seen[index] for index in range(len(expected))], expected)

    def whole_view(self, known):
        """The rows in view, if they fill it, have all arrived and follow those that are known."""
        rows = self.in_view()
        if not rows or rows[0]["index"] - 2 > known or any(row["awaited"] for row in rows):
            return None
        filled = rows[-1]["top"] + rows[-1]["height"] >= self.element("#list").get_property("clientHeight") - 1
        return rows if filled and known <= rows[-1]["index"] - 2 else None
