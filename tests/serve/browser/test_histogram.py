# SPDX-License-Identifier: Apache-2.0
"""The histogram: what is marked in it while new items come, and what is drawn."""
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

import sample
from live import LivePage
from support import wait_for


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

    def times(self, shown, *shares):
        """First and last second of the bars at shares of the width."""
        begin, end, step = shown["since"], shown["until"] + 1, shown["step"]
        phase = shown["buckets"][0][0] % step
        buckets = [int((begin + share * (end - begin) - phase) // step) * step + phase for share in shares]
        return {"since": f"@{max(buckets[0], begin)}", "until": f"@{min(buckets[-1] + step, end) - 1}"}

    def shown(self):
        return self.api(f"/api/histogram?buckets={self.driver.execute_script('return Math.floor(innerWidth / 5)')}")

    def test_drag_zooms_to_what_was_below_it_though_items_come(self):
        shown = self.shown()
        self.pointer().move_to_element_with_offset(*self.at(0.25)).click_and_hold() \
            .move_to_element_with_offset(*self.at(0.75)).perform()
        self.grow()
        self.pointer().release().perform()
        self.wait_query(**self.times(shown, 0.25, 0.75))

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
