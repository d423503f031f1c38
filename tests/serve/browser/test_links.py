# SPDX-License-Identifier: Apache-2.0
"""What a link, a reload and the way back show, and how an item is looked at."""
import json
import pathlib
import shlex
import subprocess
import urllib.parse
import urllib.request

from selenium.webdriver.common.keys import Keys

import sample
from support import JORN, TOKEN, PageTest, wait_for


class LinkTest(PageTest):
    def setUp(self):
        super().setUp()
        self.directory = self.log(sample.ITEMS)
        self.open(self.serve(self.directory))
        self.driver.execute_cdp_cmd("Browser.grantPermissions", {
            "permissions": ["clipboardReadWrite", "clipboardSanitizedWrite"]})

    def clipboard(self):
        return self.driver.execute_async_script("navigator.clipboard.readText().then(arguments[0])")

    def scroll_to(self, text):
        """Brings an item to the upper edge."""
        row = sample.NEWEST_FIRST.index(text)
        self.driver.execute_script("const list = document.getElementById('list'); list.scrollTop = arguments[0] *"
                                   " document.querySelector('.rows .row').getBoundingClientRect().height", row)
        self.wait_texts([text])

    def state(self):
        """What is shown, as people see it."""
        return {"texts": self.texts(), "total": self.text_of("#total"), "span": self.text_of("#summary .span"),
                "q": self.element("#q").get_property("value"), "since": self.element("#since").get_property("value"),
                "order": self.text_of("#order"), "wrap": self.element("#wrap").get_attribute("aria-pressed"),
                "follow": self.element("#follow").get_attribute("aria-pressed"), "selected": self.selected(),
                "open": self.element("#item").is_displayed(),
                "ticked": [box.is_selected() for box in self.driver.find_elements("css selector", "#facets input")]}

    def prepare(self):
        """A view in which nothing is as at the start."""
        self.type_into("#q", "item [1-5]")
        self.wait_total("555 items")
        self.type_into("#since", "2026-11-18 13:00")
        self.wait_total("500 items")
        self.press(Keys.ESCAPE, "o", "w", "f")
        self.driver.find_elements("css selector", "[data-facet=level] label")[2].click()
        expected = [text for text in reversed(sample.texts(lambda time, level, _, text: level == 2
                    and time >= sample.BEGIN + 3600 and text[5] in "12345"))]
        self.wait_total(f"{len(expected)} items")
        self.driver.execute_script("document.getElementById('grid').focus();"
                                   "document.getElementById('list').scrollTop = 1000")
        wait_for(lambda: self.texts()[:1] not in ([], expected[:1], [sample.FIRST]), "scrolled")
        self.press("j", "j", "j", Keys.ENTER)
        wait_for(lambda: self.element("#item dl").is_displayed(), "item is open")
        wait_for(lambda: {"at", "item", "open"} <= self.query().keys(), "URL is kept")

    def test_reload_shows_the_same(self):
        self.prepare()
        before = self.state()
        self.assertEqual((before["order"], before["wrap"], before["follow"]), ("Oldest first", "true", "false"))
        self.driver.refresh()
        self.settle()
        wait_for(lambda: self.state() == before, f"same as before: {before}")

    def test_reload_shows_the_same_of_what_a_link_filters(self):
        for query, total in (("slot=door,1&until=@%d" % (sample.BEGIN + 6000), 67),
                             ("q=ITEM%205&case=ignore&invert=1&since=@" + str(sample.BEGIN), 490),
                             ("q=ITEM&invert=1", 601), ("stream=0&level=error", 12)):
            with self.subTest(query=query):
                self.driver.get(self.server.url(query))
                self.wait_total(f"{total} items")
                before = {**self.state(), "until": self.element("#until").get_property("value"),
                          "case": self.element("#case").is_selected(), "not": self.element("#invert").is_selected()}
                wait_for(lambda: self.text_of("#connection") == ("Paused" if "stream" in query else "Live"),
                         "connection is as the link says")
                self.driver.refresh()
                self.wait_total(f"{total} items")
                wait_for(lambda: {**self.state(), "until": self.element("#until").get_property("value"),
                                  "case": self.element("#case").is_selected(),
                                  "not": self.element("#invert").is_selected()} == before, f"as before: {before}")
                self.assertEqual(before["until"], "2026-11-18 13:40:00" if "until" in query else "")
                self.assertEqual((before["case"], before["not"]), ("case" in query, "invert" in query))

    def test_way_back_from_a_zoom_shows_all_time(self):
        self.driver.execute_script("document.getElementById('histogram').focus()")
        self.press(Keys.HOME, Keys.ENTER)
        self.wait_query(since=f"@{sample.BEGIN}")
        wait_for(lambda: self.text_of("#total") != f"{sample.TOTAL} items", "fewer items")
        zoomed = self.text_of("#summary .span")
        self.driver.back()
        self.wait_query(since=None, until=None)
        self.wait_total(f"{sample.TOTAL} items")
        wait_for(lambda: self.text_of("#summary .span") == "2026-11-18 12:00:00 to 2026-11-18 21:59:00", "all time")
        self.assertEqual(self.texts()[0], "item 599")
        self.assertEqual(self.element("#span").get_property("value"), "all")
        self.driver.forward()
        wait_for(lambda: self.text_of("#summary .span") == zoomed, "zoomed again")

    def test_kept_link_shows_the_same_in_another_tab(self):
        self.prepare()
        before = self.state()
        link = self.driver.current_url
        self.assertNotIn(TOKEN, link)
        first = self.driver.current_window_handle
        self.driver.switch_to.new_window("tab")
        self.browser.look()
        try:
            self.driver.get(link)
            self.settle()
            wait_for(lambda: self.state() == before, f"same as before: {before}")
        finally:
            self.driver.close()
            self.driver.switch_to.window(first)

    def test_copied_link_has_times_instead_of_spans_and_place(self):
        self.type_into("#since", "2026-11-18 13:00")
        self.wait_total("540 items")
        self.press(Keys.ESCAPE)
        self.scroll_to("item 500")
        self.press("l")
        wait_for(lambda: self.text_of("#notice") == "Link copied.", "link is copied")
        query = dict(urllib.parse.parse_qsl(urllib.parse.urlsplit(self.clipboard()).query))
        self.assertEqual(query["since"], f"@{sample.BEGIN + 3600}")
        self.assertEqual(query["at"], self.cursor("item 500"))

    def cursor(self, text):
        answer = self.api(f"/api/items?q=^{urllib.parse.quote(text)}$")
        return answer["items"][0]["cursor"]

    def test_back_and_forth_show_what_was(self):
        self.scroll_to("item 400")
        wait_for(lambda: self.query().get("at"), "URL has the place")
        self.type_into("#q", "item 1..$")
        self.wait_total("100 items")
        self.press(Keys.ESCAPE, "o")
        self.wait_query(order="oldest")
        self.driver.back()
        self.wait_query(order=None, q="item 1..$")
        self.driver.back()
        self.wait_query(q=None)
        self.wait_texts(["item 400", "item 399"])
        self.assertEqual(self.element("#q").get_property("value"), "")
        self.driver.forward()
        self.wait_total("100 items")
        self.assertEqual(self.element("#q").get_property("value"), "item 1..$")

    def test_context_drops_filters_and_stands_at_item(self):
        self.type_into("#q", "item 3.7")
        self.wait_total("10 items")
        self.driver.find_elements("css selector", "[data-facet=level] label")[3].click()
        self.wait_query(level="3")
        self.settle()
        kept = self.texts()
        self.press(Keys.ESCAPE, "j", "x")
        self.wait_query(q=None, level=None, since=None, until=None, slot=None)
        self.wait_total(f"{sample.TOTAL} items")
        number = int(kept[0].split()[1])
        wait_for(lambda: self.selected() == kept[0], "item is selected")
        texts = self.texts()
        place = texts.index(kept[0])
        self.assertGreater(place, 3)
        self.assertEqual(texts[place - 2:place + 3], [f"item {number + 2 - i}" for i in range(5)])
        self.driver.back()
        self.wait_query(q="item 3.7", level="3")
        wait_for(lambda: self.texts() == kept, "what was filtered")

    def test_item_opens_to_raw_line_file_and_offset_and_is_copied(self):
        self.press("j", "j", Keys.ENTER)
        wait_for(lambda: self.driver.find_elements("css selector", "#item dl"), "item is open")
        self.assertEqual(self.selected(), "item 598")
        facts = dict(zip(*[[one.text for one in self.driver.find_elements("css selector", f"#item {tag}")]
                           for tag in ("dt", "dd")]))
        line = f"{sample.BEGIN + 598 * 60},2,1,item 598"
        self.assertEqual(facts["Raw line"], line)
        path = pathlib.Path(facts["File"])
        self.assertEqual(path, self.directory.resolve() / "0.csv")
        offset = int(facts["Offset"].split()[-1].replace(",", ""))
        self.assertEqual(path.read_bytes()[offset:offset + len(line) + 1].decode(), line + "\n")
        self.press("C")
        wait_for(lambda: self.text_of("#notice") == "Raw line copied.", "raw line is copied")
        self.assertEqual(self.clipboard(), line)
        self.press("c")
        wait_for(lambda: self.text_of("#notice") == "Item copied.", "item is copied")
        self.assertEqual(self.clipboard(), "2026-11-18T21:58:00+00:00 info motor item 598")
        self.press(Keys.ESCAPE)
        wait_for(lambda: not self.element("#item").is_displayed(), "item is closed")

    def test_item_that_is_gone_is_told_and_neighbour_shown(self):
        cursor = self.cursor("item 300")
        gone = cursor[:-8] + ("00000000" if cursor[-8:] != "00000000" else "11111111")
        self.driver.get(self.server.url(f"at={urllib.parse.quote(gone)}"))
        wait_for(lambda: "no longer in the log" in self.text_of("#notice"), "notice is shown")
        self.settle()
        self.assertEqual(self.texts()[0], "item 300")

    def test_link_cut_off_within_its_place_shows_the_newest_end(self):
        self.driver.get(self.server.url(f"at={urllib.parse.quote(self.cursor('item 300')[:8])}"))
        wait_for(lambda: "names no item" in self.text_of("#notice"), "notice is shown")
        self.settle()
        self.assertEqual(self.texts()[0], "item 599")
        self.assertFalse(self.element("#q-error").is_displayed())
        self.wait_query(at=None)

    def test_keys_do_nothing_to_an_item_that_was_closed(self):
        self.press("j", "j", Keys.ENTER)
        wait_for(lambda: self.driver.find_elements("css selector", "#item dl"), "item is open")
        self.press(Keys.ESCAPE)
        self.type_into("#q", "item 1..$")
        self.wait_total("100 items")
        self.press(Keys.ESCAPE, "x", "l")
        wait_for(lambda: self.text_of("#notice") == "Link copied.", "keys are done")
        self.assertEqual(self.query().get("q"), "item 1..$")

    def is_expected(self, entry):
        return "status of 410" in entry["message"] or "status of 400" in entry["message"]

    def test_command_prints_the_same_items(self):
        self.type_into("#q", "item '?5.5$")
        self.wait_total("10 items")
        shown = self.texts()
        self.click("#command")
        command = wait_for(lambda: self.text_of("#command-text"), "command is shown")
        parts = shlex.split(command)
        self.assertEqual(parts[:2], ["jorn", "show"])
        printed = subprocess.run([JORN, *parts[1:], "-o", "cat"], capture_output=True, text=True, check=True).stdout
        self.assertEqual(sorted(printed.splitlines()), sorted(shown))

    def test_download_is_what_is_filtered(self):
        self.type_into("#q", "item 5.5$")
        self.wait_total("10 items")
        shown = self.texts()
        self.press(Keys.ESCAPE)
        self.click("#download")
        links = self.driver.find_elements("css selector", "#dialog a")
        self.assertEqual([link.text for link in links], ["JSON Lines", "CSV"])
        bodies = [self.fetched(link.get_attribute("href")) for link in links]
        self.assertEqual([json.loads(line)["text"] for line in bodies[0].splitlines()], shown[::-1])
        self.assertEqual([line.split(",")[-1] for line in bodies[1].splitlines()[1:]], shown[::-1])

    def fetched(self, url):
        request = urllib.request.Request(url, headers={"Authorization": f"Bearer {TOKEN}"})
        request.add_header("Cookie", f"jorn_{self.server.port}={TOKEN}")
        with urllib.request.urlopen(request, timeout=30) as answer:
            return answer.read().decode()


class FindingsTest(PageTest):
    def test_badge_opens_to_what_check_finds(self):
        sound = self.log(sample.ITEMS[:5], "sound")
        damaged = self.log(sample.ITEMS[5:9], "damaged")
        data = damaged / "0.csv"
        lines = data.read_bytes().splitlines(keepends=True)
        data.write_bytes(b"".join([*lines[:2], b"garbage\n", *lines[2:]]))
        self.open(self.serve(sound, damaged))
        wait_for(lambda: [badge.text for badge in self.driver.find_elements("css selector", ".badge")] ==
                 ["sound OK", "damaged 1 finding"], "logs are checked")
        self.click(".badge.damaged")
        wait_for(lambda: self.driver.find_elements("css selector", "#dialog li"), "findings are shown")
        checked = subprocess.run([JORN, "check", "-o", "json", damaged], capture_output=True, text=True, check=False)
        self.assertIn(json.loads(checked.stdout.splitlines()[0])["what"], self.text_of("#dialog li"))
        self.assertIn("0.csv", self.text_of("#dialog li"))
        self.assertIn("No problems found", self.text_of("#dialog section"))
        self.press(Keys.ESCAPE)
        wait_for(lambda: not self.element("#dialog").get_property("open"), "dialog is closed")
