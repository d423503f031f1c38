# SPDX-License-Identifier: Apache-2.0
"""What people filter by: the histogram, facets, the search and times."""
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

import sample
from support import PageTest, record, wait_for


class FilterTest(PageTest):
    def setUp(self):
        super().setUp()
        self.open(self.serve(self.log(sample.ITEMS)))

    def is_expected(self, entry):
        return "/api/check-filter" in entry["message"] and "status of 400" in entry["message"]

    def drag(self, begin, end):
        """Drags over the histogram, by shares of its width. Returns the answer that it has shown."""
        shown = self.histogram()
        frame = self.element("#histogram")
        width = frame.size["width"]
        at = [round(share * width - width / 2) for share in (begin, end)]
        ActionChains(self.driver, duration=20).move_to_element_with_offset(frame, at[0], 0).click_and_hold() \
            .move_to_element_with_offset(frame, sum(at) // 2, 5).move_to_element_with_offset(frame, at[1], 5) \
            .release().perform()
        return shown

    def histogram(self):
        width = self.driver.execute_script("return innerWidth")
        query = self.driver.execute_script("return location.search.slice(1)")
        kept = "&".join(part for part in query.split("&") if part.split("=")[0] in ("since", "until", "level", "q"))
        return self.api(f"/api/histogram?{kept}&buckets={max(30, width // 5)}")

    @staticmethod
    def bucket(shown, share):
        """First and last second of the bucket at a share of the width."""
        time = shown["since"] + share * (shown["until"] + 1 - shown["since"])
        phase = shown["buckets"][0][0] % shown["step"]
        begin = int((time - phase) // shown["step"]) * shown["step"] + phase
        return max(begin, shown["since"]), min(begin + shown["step"] - 1, shown["until"])

    def test_open_log_shows_newest_items_span_and_numbers(self):
        self.assertEqual(self.text_of("#total"), f"{sample.TOTAL} items")
        self.assertEqual(self.text_of("#summary .span"), "2026-11-18 12:00:00 to 2026-11-18 21:59:00")
        self.assertEqual(self.texts()[:3], ["item 599", "item 598", "item 597"])
        row = self.in_view()[9]
        self.assertEqual([row[name] for name in ("when", "level", "slot", "text")],
                         ["2026-11-18 21:50:00", "warning", "door", "item 590"])
        self.assertEqual(self.text_of("[data-facet=level] .choices").replace("\n", ""),
                         "error12warning48info360debug181")

    def test_histogram_dragged_shows_exactly_the_buckets_below(self):
        shown = self.drag(0.25, 0.5)
        since, until = self.bucket(shown, 0.25)[0], self.bucket(shown, 0.5)[1]
        self.wait_query(since=f"@{since}", until=f"@{until}", at=None)
        inside = sample.texts(lambda time, *_: since <= time <= until)
        self.wait_total(f"{len(inside)} items")
        self.assertEqual(self.texts()[0], inside[0])
        self.press("G")
        wait_for(lambda: self.texts()[-1] == inside[-1], "last row is the oldest item in the span")
        # Zoomed, a step is finer.
        finer = self.drag(0.5, 0.6)
        self.assertLess(finer["step"], shown["step"])
        since, until = self.bucket(finer, 0.5)[0], self.bucket(finer, 0.6)[1]
        self.wait_query(since=f"@{since}", until=f"@{until}")

    def test_zoom_out_doubles_span_and_all_time_ends_it(self):
        self.drag(0.5, 0.52)
        wait_for(lambda: self.query().get("since"), "zoomed")
        self.settle()
        query = self.query()
        span = int(query["until"][1:]) - int(query["since"][1:]) + 1
        wait_for(lambda: not self.element("#zoom-out").get_property("disabled"), "can zoom out")
        self.click("#zoom-out")
        wait_for(lambda: self.query()["since"] != query["since"], "zoomed out")
        wider = self.query()
        self.assertEqual(int(wider["until"][1:]) - int(wider["since"][1:]) + 1, 2 * span)
        self.click("#zoom-all")
        self.wait_query(since=None, until=None)
        self.wait_total(f"{sample.TOTAL} items")

    def test_bar_pressed_brings_list_to_its_time(self):
        shown = self.histogram()
        frame = self.element("#histogram")
        ActionChains(self.driver, duration=20).move_to_element(frame).click().perform()
        until = self.bucket(shown, 0.5)[1]
        expected = sample.texts(lambda time, *_: time <= until)
        self.wait_texts(expected[:5])
        self.wait_query(since=None)
        self.assertEqual(self.text_of("#total"), f"{sample.TOTAL} items")

    def test_histogram_by_keys_names_marks_and_zooms(self):
        shown = self.histogram()
        self.driver.execute_script("document.getElementById('histogram').focus()")
        self.press(Keys.HOME)
        wait_for(lambda: "2026-11-18 12:00:00" in self.text_of("#spoken"), "first bucket is said")
        self.assertIn("1 error", self.text_of("#spoken"))
        ActionChains(self.driver).send_keys(Keys.ARROW_RIGHT).key_down(Keys.SHIFT) \
            .send_keys(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT).key_up(Keys.SHIFT).send_keys(Keys.ENTER).perform()
        since = self.bucket(shown, 0)[0] + shown["step"]
        self.wait_query(since=f"@{since}", until=f"@{since + 3 * shown['step'] - 1}")

    def test_table_of_histogram_lists_buckets_and_zooms(self):
        shown = self.histogram()
        self.click("#table")
        rows = self.driver.find_elements("css selector", "#dialog tbody tr")
        self.assertEqual(len(rows), len(shown["buckets"]))
        cells = [cell.text for cell in rows[0].find_elements("css selector", "td")]
        # There are none of other levels.
        self.assertEqual(cells, [str(number) for number in shown["buckets"][0][1:5]])
        rows[2].find_element("css selector", "button").click()
        since = shown["buckets"][2][0]
        self.wait_query(since=f"@{since}", until=f"@{since + shown['step'] - 1}")
        self.assertFalse(self.element("#dialog").get_property("open"))

    def facet(self, kind, name):
        return next(label for label in self.driver.find_elements("css selector", f"[data-facet={kind}] label")
                    if label.find_element("css selector", ".name").text == name)

    def test_facets_ticked_filter_and_count(self):
        self.facet("level", "error").click()
        self.wait_query(level="0")
        self.wait_total("12 items")
        self.facet("level", "warning").click()
        self.wait_query(level="0,1")
        self.wait_total("60 items")
        self.facet("slot", "door").click()
        expected = sample.texts(lambda _, level, slot, __: level <= 1 and slot == 2)
        self.wait_total(f"{len(expected)} items")
        self.assertEqual(self.texts()[:5], expected[:5])
        # Numbers of a facet are those without its own ticks.
        wait_for(lambda: self.facet("level", "info").text.split()[-1] == str(len(sample.texts(
            lambda _, level, slot, __: level == 2 and slot == 2))), "number of info")
        self.click("#clear")
        self.wait_query(level=None, slot=None)
        self.wait_total(f"{sample.TOTAL} items")
        self.assertFalse(any(box.is_selected() for box in self.driver.find_elements("css selector", "#facets input")))

    def test_search_marks_matches_and_is_one_step_back(self):
        self.type_into("#q", "m 5.5$")
        expected = sample.texts(lambda *item: len(item[3]) == 8 and item[3][5] == item[3][7] == "5")
        self.wait_total(f"{len(expected)} items")
        self.assertEqual(self.texts(), expected)
        self.assertEqual([row["marks"] for row in self.in_view()], [[text[3:]] for text in expected])
        self.wait_query(q="m 5.5$")
        self.driver.back()
        self.wait_query(q=None)
        self.wait_total(f"{sample.TOTAL} items")

    def test_list_scrolled_while_a_search_is_under_way_shows_what_it_finds(self):
        # The answer to the search comes when the test lets it.
        self.driver.execute_script("""
            const fetched = window.fetch;
            const held = new Promise((resolve) => { window.release = resolve; });
            window.fetch = async (path, options) => {
              if (/items.*q=/.test(path)) {
                window.asked = true;
                await Promise.race([held, new Promise((_, no) => options.signal.addEventListener("abort", () =>
                  no(options.signal.reason)))]);
              }
              return fetched(path, options);
            };""")
        self.type_into("#q", "item 5")
        wait_for(lambda: self.driver.execute_script("return window.asked"), "search is under way")
        self.driver.execute_script("document.getElementById('list').scrollTop = 10000")
        wait_for(lambda: self.texts() and self.texts()[0] != "item 599", "scrolled")
        self.driver.execute_script("window.release()")
        self.wait_total("111 items")
        self.assertEqual(self.texts()[0], "item 599")

    def test_search_case_and_inversion(self):
        self.type_into("#q", "ITEM")
        self.wait_total("0 items")
        self.assertEqual(self.text_of("#empty"), "No items match the filter.")
        self.click("#case")
        self.wait_total(f"{sample.COUNT} items")
        self.click("#invert")
        self.wait_total("1 item")
        self.assertEqual(self.texts(), [sample.FIRST])

    def test_search_wrong_is_told_in_place_and_keeps_what_is_shown(self):
        self.type_into("#q", "item (5")
        wait_for(lambda: self.element("#q-error").is_displayed(), "complaint is shown")
        self.assertIn("missing", self.text_of("#q-error"))
        self.assertEqual(self.element("#q").get_attribute("aria-invalid"), "true")
        self.assertEqual(self.text_of("#total"), f"{sample.TOTAL} items")
        self.wait_query(q=None)
        self.press(")")
        self.wait_query(q="item (5)")
        wait_for(lambda: not self.element("#q-error").is_displayed(), "complaint is gone")

    def test_times_in_every_form_of_the_tool(self):
        self.type_into("#since", "2026-11-18 20:00")
        self.wait_total("120 items")
        self.type_into("#until", "2026-11-18T20:59:59")
        self.wait_total("60 items")
        self.type_into("#since", "Nov 31")
        wait_for(lambda: self.element("#since-error").is_displayed(), "complaint is shown")
        self.assertEqual(self.text_of("#total"), "60 items")
        self.type_into("#since", f"@{sample.BEGIN + 59 * 60 + 8 * 3600}")
        self.wait_total("1 item")

    def test_order_turned_keeps_the_item_in_view(self):
        self.click("#order")
        self.wait_query(order="oldest")
        # At the end where new items come it stays there.
        wait_for(lambda: self.texts()[-1:] == ["item 599"], "newest item is last")
        self.press("g")
        self.wait_texts([sample.FIRST, "item 0", "item 1"])
        self.press("j", "j", "j", "o")
        self.wait_query(order=None)
        wait_for(lambda: self.selected() == "item 1" and self.texts()[-1] == sample.FIRST, "item is still in view")
        self.assertEqual(self.element("#order").text, "Newest first")


    def test_order_turned_leaves_an_item_that_was_selected_elsewhere(self):
        self.press("j", "j")
        self.driver.execute_script("document.getElementById('list').scrollTop = arguments[0]",
                                   380 * self.rows()[0]["height"])
        first = wait_for(lambda: self.query().get("at") and not self.driver.find_elements("css selector", ".awaited")
                         and self.texts()[0], "scrolled")
        self.press("o")
        self.wait_query(order="oldest")
        wait_for(lambda: self.texts()[:1] == [first], "first item in view is still there")


class SpanTest(PageTest):
    def test_preset_after_the_newest_item_empties_the_histogram_too(self):
        now = int(self.driver.execute_script("return Date.now() / 1000"))
        self.open(self.serve(self.log([(now - 7200, 2, 0, "two hours ago")])))
        wait_for(lambda: "2 items" in self.text_of("#summary"), "the histogram of all")
        self.element("#span option[value='5min']").click()
        wait_for(lambda: "0 items" in self.text_of("#summary"), "an empty histogram")

    def tick_error(self):
        self.driver.find_elements("css selector", "[data-facet=level] label")[0].click()
        self.wait_query(level="0")

    def test_histogram_counts_what_is_listed_of_a_clock_that_was_set_back(self):
        times = [sample.BEGIN + i for i in range(5)] + [i for i in range(100, 105)] + [sample.BEGIN + 10]
        self.open(self.serve(self.log([(time, 0, 0, f"at {time}") for time in times] + [
            (200, 2, 0, "not an error"), (sample.BEGIN + 11, 2, 0, "neither")])))
        self.tick_error()
        self.wait_total("11 items")
        wait_for(lambda: ", 11 items," in self.text_of("#summary"), "histogram has all of them")
        self.assertEqual(self.text_of("#summary .span"), "1970-01-01 00:01:40 to 2026-11-18 12:00:11")

    def test_histogram_under_a_filter_reaches_to_what_came_while_paused(self):
        directory = self.log([(sample.BEGIN, 0, 0, "before")])
        self.open(self.serve(directory))
        wait_for(lambda: self.text_of("#connection") == "Live", "stream is open")
        self.press("p")
        wait_for(lambda: self.text_of("#connection") == "Paused", "stream is closed")
        record(str(directory), [(sample.BEGIN + 60, 0, 0, "meanwhile")], names=None)
        wait_for(lambda: self.api("/api/items?after=0")["total"] == 4, "server has the items")
        self.tick_error()
        self.wait_total("2 items")
        wait_for(lambda: ", 2 items," in self.text_of("#summary"), "histogram has both")
        self.assertEqual(self.text_of("#summary .span"), "2026-11-18 12:00:00 to 2026-11-18 12:01:00")

    def test_preset_without_a_server_is_told_in_place_and_changes_nothing(self):
        server = self.serve(self.log(sample.ITEMS))
        self.open(server)
        server.stop()
        wait_for(lambda: "Connection lost" in self.text_of("#connection"), "server is gone")
        self.element("#span option[value='1h']").click()
        wait_for(lambda: self.element("#since-error").is_displayed(), "complaint is shown")
        self.assertEqual(self.text_of("#since-error"), "The server cannot be reached.")
        self.assertEqual(self.element("#span").get_property("value"), "all")
        self.assertNotIn("since", self.query())
        server.start()
        wait_for(lambda: self.text_of("#connection") == "Live", "server is back")
        self.element("#span option[value='1h']").click()
        wait_for(lambda: "since" in self.query(), "span is taken")
        self.assertFalse(self.element("#since-error").is_displayed())

    def is_expected(self, entry):
        return "net::ERR_" in entry["message"]

    def test_preset_is_kept_as_times_and_filters_by_them(self):
        now = int(self.driver.execute_script("return Date.now() / 1000"))
        self.open(self.serve(self.log([(now - 7200, 2, 0, "two hours ago"), (now - 1800, 2, 0, "half an hour ago"),
                                       (now - 120, 2, 0, "two minutes ago")])))
        for span, count, length in (("1h", 2, 3600), ("5min", 1, 300), ("1d", 4, 86400)):
            self.element(f"#span option[value='{span}']").click()
            self.wait_total(f"{count} item{'s' if count > 1 else ''}")
            since = int(self.query()["since"].removeprefix("@"))
            self.assertAlmostEqual(since, now - length, delta=60)
        self.element("#span option[value=all]").click()
        self.wait_query(since=None)
