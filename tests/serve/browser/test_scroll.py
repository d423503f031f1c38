# SPDX-License-Identifier: Apache-2.0
"""The list over a full ring: all items below one scroll bar."""
import sample
from support import PageTest, wait_for

FILES = 90
COUNT = FILES * 5000 - 1


class ScrollTest(PageTest):
    def setUp(self):
        super().setUp()
        words = ["short", "some more words " * 5, "so many words that a line is full " * 5]
        self.open(self.serve(self.log(((sample.BEGIN + i // 10, i % 4, i % 3, f"{i} {words[i % 3]}")
                                       for i in range(COUNT)), files=FILES)))

    def scroll(self, script):
        self.driver.execute_script(f"const list = document.getElementById('list'); list.scrollTop {script}")

    def numbers(self):
        """Numbers of the items in view, when they have all arrived and fill it."""
        rows = self.in_view()
        filled = rows and rows[-1]["top"] + rows[-1]["height"] >= self.element("#list").get_property("clientHeight") - 1
        if not filled or any(row["awaited"] for row in rows):
            return None
        return [-1 if row["text"] == sample.FIRST else int(row["text"].split()[0]) for row in rows]

    def assert_rows_are_few(self):
        self.assertLess(len(self.rows()), 120)

    def test_scroll_bar_is_that_of_all_items(self):
        height = self.rows()[0]["height"]
        self.assertEqual(self.text_of("#total"), "450,000 items")
        self.assertEqual(self.element("#list").get_property("scrollHeight"), 450000 * height)
        for share in (0.5, 0.25, 0.9):
            row = int(450000 * share)
            self.scroll(f"= {row * height}")
            wait_for(lambda row=row: (self.numbers() or [0])[0] == COUNT - 1 - row, f"row {row}")
            numbers = self.numbers()
            self.assertEqual(numbers, list(range(numbers[0], numbers[0] - len(numbers), -1)))
            self.assert_rows_are_few()
        self.press("G")
        wait_for(lambda: (self.numbers() or [0])[-1] == -1, "oldest item")
        self.press("g")
        wait_for(lambda: (self.numbers() or [0])[0] == COUNT - 1, "newest item")

    def test_wrapped_lines_are_all_there_wherever_one_scrolls(self):
        self.press("w")
        wait_for(lambda: any(row["height"] > 30 for row in self.in_view()), "lines are wrapped")
        most = self.driver.execute_script("const list = document.getElementById('list');"
                                          "return list.scrollHeight - list.clientHeight")
        for share in (0.5, 0.999, 0.001):
            self.scroll(f"= {most * share}")
            expected = (COUNT + 1) * (1 - share)
            wait_for(lambda expected=expected: abs((self.numbers() or [-1e9])[0] - expected) < 500, f"at {share}")
            self.assert_gapless_on(8)
        self.press("G")
        wait_for(lambda: (self.numbers() or [0])[-1] == -1, "oldest item")
        self.assert_gapless()
        self.press("g")
        wait_for(lambda: (self.numbers() or [0])[0] == COUNT - 1, "newest item")
        self.assertEqual(self.element("#list").get_property("scrollTop"), 0)

    def assert_gapless(self):
        """Rows follow each other without gap and overlap."""
        bottom = None
        for row in self.in_view():
            if bottom is not None:
                self.assertAlmostEqual(row["top"], bottom, delta=1)
            bottom = row["top"] + row["height"]
        numbers = self.numbers()
        self.assertEqual(numbers, list(range(numbers[0], numbers[0] - len(numbers), -1)))

    def assert_gapless_on(self, steps):
        """By little and little, what was in view moves by exactly as much."""
        for _ in range(steps):
            before = {row["text"]: row["top"] for row in self.rows()}
            self.scroll("+= 100")
            wait_for(lambda before=before: self.numbers() and
                     any(abs(row["top"] - (before.get(row["text"], 1e9) - 100)) < 1 for row in self.in_view()), "moved")
            self.assertTrue(all(abs(row["top"] - (before[row["text"]] - 100)) < 1.5 for row in self.in_view()
                                if row["text"] in before))
            self.assert_gapless()
