# SPDX-License-Identifier: Apache-2.0
"""Lists that are higher than browsers can lay out: a bar of so many pixels does not have a place for every row."""
import sample
from support import FAKE_STREAM, PageTest, wait_for

# /api/items answers from so many items that nobody has recorded.
FAKE_ITEMS = """
const COUNT = %d;
const BEGIN = %d;
const item = (number) => ({ time: BEGIN + Math.floor(number / 50), iso: "2026-11-18T12:00:00+00:00", level: 2, slot: 0,
  text: `number ${number}${number %% 3 ? "" : " and more words".repeat(12)}`, log: "log",
  cursor: `log~${BEGIN + Math.floor(number / 50)}~0~${number}~00000000` });
const fetched = window.fetch;
window.fetch = async (path, options) => {
  const asked = new URL(path, location.origin);
  if (asked.pathname !== "/api/items") {
    return fetched(path, options);
  }
  const given = Object.fromEntries(asked.searchParams);
  const rankOf = (cursor) => (given.order === "oldest" ? Number(cursor.split("~")[3])
    : COUNT - 1 - Number(cursor.split("~")[3]));
  const before = Number(given.before ?? 0);
  const wanted = given.cursor ? rankOf(given.cursor) : given.time !== undefined ? COUNT - 1 : Number(given.rank ?? 0);
  const rank = Math.max(0, wanted - before);
  const end = Math.min(COUNT, wanted + Number(given.after ?? 200));
  const items = Array.from({ length: Math.max(0, end - rank) }, (_, i) =>
    item(given.order === "oldest" ? rank + i : COUNT - 1 - rank - i));
  return Response.json({ total: COUNT, rank, anchor_rank: given.anchor ? rankOf(given.anchor) : null, revision: 1,
    position: "log~-", items });
};
"""


class LongTest(PageTest):
    def show(self, count, query=""):
        self.inject(FAKE_STREAM)
        self.inject(FAKE_ITEMS % (count, sample.BEGIN))
        self.open(self.serve(self.log(sample.ITEMS[:3])), query)
        self.wait_total(f"{count:,} items")

    def scroll(self, script):
        self.driver.execute_script(f"const list = document.getElementById('list'); list.scrollTop {script}")

    def shown(self):
        """Numbers of the items in view, when they have all arrived, fill it, and follow each other without a gap."""
        rows = self.in_view()
        edges = [row["top"] for row in rows]
        height = self.element("#list").get_property("clientHeight")
        if not rows or any(row["awaited"] for row in rows) or rows[-1]["top"] + rows[-1]["height"] < height - 1:
            return None
        if edges[0] > 1 or any(abs(row["top"] + row["height"] - edge) > 1 for row, edge in zip(rows, edges[1:])):
            return None
        return [int(row["text"].split()[1]) for row in rows]

    def wait_shown(self, condition, what):
        def holds():
            numbers = self.shown()
            return numbers and condition(numbers) and numbers
        numbers = wait_for(holds, what)
        step = numbers[1] - numbers[0]
        self.assertEqual(numbers, list(range(numbers[0], numbers[-1] + step, step)))
        return numbers

    def go_through(self, count, first, last):
        """To both ends, by keys and by the bar, and to what lies between; `first` is the number in the first row."""
        step = 1 if last > first else -1
        for to_end, to_begin in ((lambda: self.press("G"), lambda: self.press("g")),
                                 (lambda: self.scroll("= 1e9"), lambda: self.scroll("= 0"))):
            to_end()
            self.wait_shown(lambda numbers: numbers[-1] == last, "last row")
            index = self.in_view()[-1]["index"]
            self.assertEqual(index, count + 1)
            # Away from the end and back to it, by little and little.
            for _ in range(3):
                self.scroll("-= 60")
            self.wait_shown(lambda numbers: 0 < (last - numbers[-1]) * step < 30, "a few rows before the last")
            for _ in range(4):
                self.scroll("+= 60")
            self.wait_shown(lambda numbers: numbers[-1] == last, "last row again")
            to_begin()
            self.wait_shown(lambda numbers: numbers[0] == first, "first row")
        most = self.driver.execute_script("const list = document.getElementById('list');"
                                          "return list.scrollHeight - list.clientHeight")
        for share in (0.5, 0.001, 0.9999):
            self.scroll(f"= {most * share}")
            expected = first + step * count * share
            self.wait_shown(lambda numbers, expected=expected: abs(numbers[0] - expected) < 0.0002 * count + 60,
                            f"at {share}")
            self.assertLess(len(self.rows()), 120)

    def test_two_million_items_newest_first(self):
        self.show(2000000)
        self.go_through(2000000, 1999999, 0)

    def test_two_million_items_oldest_first(self):
        self.show(2000000, "order=oldest")
        self.go_through(2000000, 0, 1999999)

    def test_two_million_wrapped_items(self):
        self.show(2000000, "wrap=1")
        self.go_through(2000000, 1999999, 0)

    def test_items_of_45_full_logs_in_both_orders(self):
        count = 45 * 450000
        self.show(count)
        self.go_through(count, count - 1, 0)
        self.press("g", "o")
        self.wait_shown(lambda numbers: numbers[-1] == count - 1, "newest item is last")
        self.go_through(count, 0, count - 1)

    def test_link_to_an_item_in_the_middle(self):
        self.show(2000000, f"at=log~{sample.BEGIN + 24000}~0~1200007~00000000")
        self.wait_shown(lambda numbers: numbers[0] == 1200007, "item of the link")
        self.press("j", "j", "k", "k", "k")
        self.wait_shown(lambda numbers: numbers[0] == 1200009, "two rows back")
        before = self.in_view()[0]["top"]
        self.scroll("+= 7")
        wait_for(lambda: self.in_view()[0]["top"] == before - 7, "7 pixels on")
