# SPDX-License-Identifier: Apache-2.0
"""Items that leave the view of a log, and come back to it, while the page is open."""
import subprocess

import sample
from support import FAKE_STREAM, JORN, PageTest, wait_for

CLEARED = "Log all cleared!"


class ClearedLog(PageTest):
    """A log that is cleared, and whose clear is undone."""

    def setUp(self):
        super().setUp()
        self.directory = self.log(sample.ITEMS)

    def open_log(self, query="", others=()):
        self.open(self.serve(self.directory, *others), query)
        wait_for(lambda: self.text_of("#connection") == "Live", "stream is open")

    def jorn(self, *words):
        subprocess.run([JORN, *words, str(self.directory)], check=True, capture_output=True)

    def clear(self):
        self.jorn("clear", "--yes")

    def undo(self, latest=1):
        self.jorn("repair", "--yes", "--oldest", "0", "--latest", str(latest))

    def is_expected(self, entry):
        return "status of 410" in entry["message"]

    def cut_out_ten(self):
        """Takes items out, as a repair does: the file is another one then. Returns what was in it."""
        data = self.directory / "0.csv"
        before = data.read_bytes()
        other = self.directory / "other"
        other.write_bytes(b"".join(line for line in before.splitlines(keepends=True)
                                   if b",item 59" not in line or b",item 599" in line))
        other.rename(data)
        return before

    def scroll(self, pixels):
        self.driver.execute_script("document.getElementById('list').scrollTop = arguments[0]", pixels)
        wait_for(lambda: self.texts() and self.texts()[0] not in ("item 599", "item 598"), "scrolled")

    def wait_view(self, total, *first):
        """Waits until the page shows so many items, in all its parts, and these first."""
        wait_for(lambda: (self.text_of("#total"), self.texts()[:len(first)]) == (total, list(first)),
                 f"{total}, {first}")
        wait_for(lambda: f", {total}," in self.text_of("#summary"), f"histogram of {total}")
        self.assertFalse(self.element("#newer").is_displayed())


class ChangesTest(ClearedLog):
    def test_clear_and_its_undoing_at_the_newest_end(self):
        self.open_log()
        for clears in (1, 2):
            self.clear()
            self.wait_view("1 item", CLEARED)
            self.assertEqual(self.texts(), [CLEARED])
            self.undo(clears)
            self.wait_view(f"{sample.TOTAL + clears} items", *[CLEARED] * clears, "item 599", "item 598")
            self.assertFalse(self.element("#empty").is_displayed())

    def test_clear_and_its_undoing_in_a_scrolled_list(self):
        for wrap in ("", "wrap=1"):
            with self.subTest(wrap=wrap):
                self.open_log(wrap)
                total = int(self.text_of("#total").split()[0])
                clears = total - sample.TOTAL + 1
                self.scroll(5000)
                self.clear()
                self.wait_view("1 item", CLEARED)
                self.assertEqual(self.in_view()[0]["top"], 0)
                self.undo(clears)
                self.wait_view(f"{total + 1} items", *[CLEARED] * clears, "item 599", "item 598")

    def test_list_emptied_by_a_clear_follows_what_comes(self):
        self.open_log()
        self.scroll(5000)
        self.clear()
        self.wait_view("1 item", CLEARED)
        subprocess.run([JORN, "record", str(self.directory)], check=True, capture_output=True, input=b"after it\n")
        wait_for(lambda: self.texts() == ["after it", sample.FIRST, CLEARED], "new items are shown")

    def test_clear_and_its_undoing_under_a_filter(self):
        self.open_log("q=item&order=oldest")
        self.clear()
        wait_for(lambda: self.text_of("#total") == "0 items", "nothing passes")
        self.assertEqual(self.text_of("#empty"), "No items match the filter.")
        self.undo()
        wait_for(lambda: self.text_of("#total") == f"{sample.COUNT} items", "items are back")
        wait_for(lambda: self.texts()[-1:] == ["item 599"], "newest item is last")
        self.assertFalse(self.element("#empty").is_displayed())

    def test_items_that_left_the_middle_of_the_list_are_not_shown(self):
        self.open_log()
        lines = self.cut_out_ten()
        self.wait_view(f"{sample.TOTAL - 10} items", "item 599", "item 589", "item 588")
        (self.directory / "0.csv").write_bytes(lines)
        self.wait_view(f"{sample.TOTAL} items", "item 599", "item 598")

    def test_directory_that_goes_and_comes_back(self):
        self.open_log()
        away = self.scratch / "away"
        self.directory.rename(away)
        wait_for(lambda: self.text_of("#total") == "0 items", "nothing is left")
        wait_for(lambda: self.text_of("#empty") == "No items yet.", "page says so")
        away.rename(self.directory)
        self.wait_view(f"{sample.TOTAL} items", "item 599", "item 598")


class FalseTotalsTest(ClearedLog):
    """The page reads again what it shows whenever the log has changed, whatever the stream says about totals."""

    def setUp(self):
        super().setUp()
        self.inject(FAKE_STREAM)

    def change(self, total, server_total):
        """Sends a change when the server sees so many items."""
        wait_for(lambda: self.api("/api/items?after=0")["total"] == server_total, "server has seen it")
        self.driver.execute_script("window.send('change', { total: arguments[0], items_lost: 0, revision: -1 })", total)

    def test_clear_told_with_the_old_total(self):
        self.open_log()
        self.clear()
        self.change(sample.TOTAL, 1)
        self.wait_view("1 item", CLEARED)
        self.undo()
        self.change(0, sample.TOTAL + 1)
        self.wait_view(f"{sample.TOTAL + 1} items", CLEARED, "item 599")

    def test_undone_clear_told_with_none_fills_an_empty_page(self):
        self.open_log("q=item")
        self.clear()
        self.change(0, 1)
        wait_for(lambda: self.text_of("#total") == "0 items", "nothing passes")
        self.undo()
        self.change(0, sample.TOTAL + 1)
        self.wait_view(f"{sample.COUNT} items", "item 599", "item 598")

    def test_scrolled_list_keeps_its_items_when_newer_ones_come_back(self):
        # The other log's items are as old as the first ones of the log that is cleared.
        other = self.log([(time, 2, 0, f"other {time}") for time, *_ in sample.ITEMS[:100]], "other")
        self.open_log("", [other])
        self.scroll(100000)
        wait_for(lambda: self.texts()[-1:] == [sample.FIRST], "oldest items")
        self.clear()
        self.change(702, 102)
        wait_for(lambda: self.text_of("#total") == "102 items", "only the other log is left")
        before = [text for text in self.texts() if text.startswith("other")]
        self.assertGreater(len(before), 9)
        self.undo()
        self.change(102, 703)
        wait_for(lambda: self.text_of("#total") == "703 items", "all items")
        self.press("g")
        self.wait_texts([CLEARED, "item 599", "item 598"])
        self.press("G")
        wait_for(lambda: self.texts()[-1:] == [sample.FIRST], "oldest items")

    def test_scrolled_list_stays_when_items_above_it_leave(self):
        # The newest item stays, by whose number the page knows those of all others.
        other = self.log([(time + 1, 2, 0, f"other {time}") for time, *_ in sample.ITEMS[500:590]], "other",
                         names="")
        self.open_log("", [other])
        self.scroll(6000)
        wait_for(lambda: self.query().get("at"), "URL has the place")
        before = self.texts()
        self.assertFalse([text for text in before if text.startswith("other")])
        other.rename(self.scratch / "away")
        self.change(sample.TOTAL + 91, sample.TOTAL)
        wait_for(lambda: self.text_of("#total") == f"{sample.TOTAL} items", "they have left")
        wait_for(lambda: self.texts() == before, "view is as before")

    def test_newer_items_that_come_back_are_shown_though_the_stream_does_not_bring_them(self):
        other = self.log([(time - 10**6, 2, 0, f"other {time}") for time, *_ in sample.ITEMS[:100]], "other")
        self.open_log("", [other])
        away = self.scratch / "away"
        self.directory.rename(away)
        self.change(702, 101)
        wait_for(lambda: self.text_of("#total") == "101 items", "only the other log is left")
        away.rename(self.directory)
        self.change(101, 702)
        self.wait_view("702 items", "item 599", "item 598")
