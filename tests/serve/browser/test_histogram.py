# SPDX-License-Identifier: Apache-2.0
"""The histogram: what is marked in it while new items come, and what is drawn."""
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

import sample
from live import LivePage
from support import PageTest, wait_for


class LiveHistogramTest(LivePage):
    """Items come in the hours after those that are there, so that all bars move."""

    def setUp(self):
        super().setUp()
        self.wait_counted()

    def span(self):
        return self.text_of("#summary .span")

    def grow(self):
        """Adds an item, and waits until it has been counted."""
        self.write()
        self.wait_counted()

    def wait_counted(self):
        total = f", {sample.TOTAL + 1 + self.written} items,"
        wait_for(lambda: total in self.text_of("#summary"), "histogram has counted")

    def pointer(self):
        return ActionChains(self.driver, duration=20)

    def at(self, share):
        frame = self.element("#histogram")
        return frame, round((share - 0.5) * frame.size["width"]), 0

    @staticmethod
    def bar(shown, number):
        """The first second of a bar, and at which share of the width its middle is."""
        begin, end, step = shown["since"], shown["until"] + 1, shown["step"]
        first = begin - (begin - shown["buckets"][0][0]) % step + number * step
        return first, (first + step / 2 - begin) / (end - begin)

    def shown(self):
        return self.api(f"/api/histogram?buckets={self.driver.execute_script('return Math.floor(innerWidth / 5)')}")

    def test_drag_zooms_to_what_was_below_it_though_items_come(self):
        shown = self.shown()
        since, left = self.bar(shown, 4)
        last, right = self.bar(shown, 20)
        self.pointer().move_to_element_with_offset(*self.at(left)).click_and_hold() \
            .move_to_element_with_offset(*self.at(right)).perform()
        self.grow()
        self.pointer().release().perform()
        self.wait_query(since=f"@{since}", until=f"@{last + shown['step'] - 1}")

    def test_items_that_came_during_a_drag_are_shown_after_it(self):
        label = self.element("#histogram").get_attribute("aria-label")
        self.pointer().move_to_element_with_offset(*self.at(0.3)).click_and_hold().perform()
        self.grow()
        self.assertEqual(self.element("#histogram").get_attribute("aria-label"), label)
        self.pointer().release().perform()
        wait_for(lambda: f"{sample.TOTAL + 2} items" in self.element("#histogram").get_attribute("aria-label"),
                 "items that came meanwhile")
        self.assertNotIn("since", self.query())

    def test_range_marked_by_keys_stays_at_its_times_though_items_come(self):
        shown = self.shown()
        self.driver.execute_script("document.getElementById('histogram').focus()")
        self.press(Keys.HOME)
        self.grow()
        ActionChains(self.driver).key_down(Keys.SHIFT).send_keys(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT) \
            .key_up(Keys.SHIFT).perform()
        self.grow()
        self.press(Keys.ENTER)
        begin = shown["since"]
        self.wait_query(since=f"@{begin}", until=f"@{begin - begin % shown['step'] + 3 * shown['step'] - 1}")
        # What was marked is marked no more.
        wait_for(lambda: self.span().startswith("2026-11-18 12:00:00"), "zoomed")
        self.press(Keys.ESCAPE)
        self.press(Keys.ENTER)
        self.assertEqual(self.query()["since"], f"@{begin}")

    def test_range_marked_by_keys_is_no_drag(self):
        self.driver.execute_script("document.getElementById('histogram').focus()")
        self.press(Keys.HOME)
        ActionChains(self.driver).key_down(Keys.SHIFT).send_keys(Keys.ARROW_RIGHT).key_up(Keys.SHIFT).perform()
        self.pointer().move_to_element_with_offset(*self.at(0.5)).click().perform()
        wait_for(lambda: self.query().get("at"), "the list has gone to the bar")
        self.assertNotIn("since", self.query())


# The colours of the canvas from the base of its bars up, in columns at shares of the width: [name of the colour or
# null, pixels] for each run.
COLUMNS = """
const canvas = document.querySelector("#histogram canvas");
const pen = new OffscreenCanvas(canvas.width, canvas.height).getContext("2d", { willReadFrequently: true });
pen.drawImage(canvas, 0, 0);
const style = getComputedStyle(document.getElementById("histogram"));
const one = new OffscreenCanvas(1, 1).getContext("2d", { willReadFrequently: true });
const bytes = (colour) => {
  one.fillStyle = colour;
  one.fillRect(0, 0, 1, 1);
  return String(one.getImageData(0, 0, 1, 1).data);
};
const names = new Map(["error", "warning", "info", "debug", "other"].map((name) =>
  [bytes(style.getPropertyValue("--bar-" + name)), name]));
return arguments[0].map((share) => {
  const data = pen.getImageData(Math.floor(share * canvas.width), 0, 1, canvas.height).data;
  const runs = [];
  for (let y = canvas.height - 17; y >= 0; --y) {
    const name = names.get(String(data.slice(4 * y, 4 * y + 4))) ?? null;
    if (runs.at(-1)?.[0] !== name) {
      runs.push([name, 0]);
    }
    ++runs.at(-1)[1];
  }
  return runs.filter(([name]) => name);
});
"""


class BarsTest(PageTest):
    def test_bars_are_stacked_by_level_and_as_high_as_there_are_items(self):
        # A single error beside many others is drawn, too. The store's own first item is of level 3.
        counts = {0: {2: 39}, 4: {0: 20, 1: 20, 2: 20, 3: 20}, 9: {0: 1, 2: 300}}
        items = [(sample.BEGIN + 60 * minute, level, 0, "item") for minute, levels in counts.items()
                 for level, count in levels.items() for _ in range(count)]
        directory = self.log(sorted(items))
        with (directory / "0.csv").open("ab") as data:
            data.write(b"%d,9,0,of a level that no log should have\n" % (sample.BEGIN + 599))
        self.open(self.serve(directory), f"since=@{sample.BEGIN}&until=@{sample.BEGIN + 599}")
        shown = self.api(f"/api/histogram?since=@{sample.BEGIN}&until=@{sample.BEGIN + 599}&buckets=256")
        most = max(sum(bucket[1:]) for bucket in shown["buckets"])
        height = self.driver.execute_script("return document.querySelector('#histogram canvas').height") - 16 - 14
        buckets = {bucket[0]: bucket[1:] for bucket in shown["buckets"]}
        starts = range(sample.BEGIN, sample.BEGIN + 600, shown["step"])
        columns = self.driver.execute_script(COLUMNS, [
            (start + shown["step"] / 2 - sample.BEGIN) / 600 for start in starts])
        names = ("error", "warning", "info", "debug", "other")
        drawn = 0
        for start, column in zip(starts, columns):
            expected = [(name, max(2, count * height / most)) for name, count in zip(names, buckets.get(start, ()))
                        if count]
            self.assertEqual([name for name, _ in column], [name for name, _ in expected])
            for (_, pixels), (_, wanted) in zip(column, expected):
                self.assertAlmostEqual(pixels, wanted, delta=1.5)
            drawn += len(expected)
        self.assertEqual(drawn, 9)
