# SPDX-License-Identifier: Apache-2.0
"""The keyboard."""
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

import sample
from support import PageTest, wait_for


class KeysTest(PageTest):
    def setUp(self):
        super().setUp()
        self.open(self.serve(self.log(sample.ITEMS)))

    def focused(self):
        return self.driver.execute_script("return document.activeElement.id")

    def test_slash_searches_and_escape_leaves(self):
        self.press("/")
        self.assertEqual(self.focused(), "q")
        # Letters are text there.
        self.press("jkgf")
        self.assertEqual(self.element("#q").get_property("value"), "jkgf")
        self.wait_total("0 items")
        self.press(Keys.ESCAPE)
        self.assertEqual(self.focused(), "grid")

    def test_rows_by_letters_and_arrows(self):
        self.press("j")
        self.assertEqual(self.selected(), "item 599")
        self.press("j", "j", Keys.ARROW_DOWN)
        self.assertEqual(self.selected(), "item 596")
        self.press("k", Keys.ARROW_UP)
        self.assertEqual(self.selected(), "item 598")
        # Beyond the view the list goes along, row by row.
        rows = len(self.in_view())
        self.press(*"j" * (rows + 5))
        wait_for(lambda: self.selected() == f"item {598 - rows - 5}", "selection went along")
        last = self.in_view()[-1]
        self.assertTrue(last["selected"])
        self.assertLessEqual(last["top"] + last["height"], self.element("#list").get_property("clientHeight") + 1)

    def test_ends_and_pages(self):
        self.press("G")
        wait_for(lambda: self.texts()[-1:] == [sample.FIRST], "last row")
        self.press("g")
        self.wait_texts(["item 599"])
        rows = len(self.in_view())
        self.press(Keys.PAGE_DOWN)
        wait_for(lambda: self.texts()[:1] not in ([], ["item 599"]), "a page on")
        self.assertIn(self.texts()[0], sample.NEWEST_FIRST[10:rows])
        self.press(Keys.PAGE_UP)
        self.wait_texts(["item 599"])
        self.press(Keys.END)
        wait_for(lambda: self.texts()[-1:] == [sample.FIRST], "last row")
        self.press(Keys.HOME, "j", "j", "n")
        self.wait_texts(["item 599"])

    def test_switches(self):
        for key, name, on, off in (("f", "follow", "0", None), ("w", "wrap", "1", None), ("p", "stream", "0", None),
                                   ("o", "order", "oldest", None)):
            self.press(key)
            self.wait_query(**{name: on})
            self.press(key)
            self.wait_query(**{name: off})

    def test_zoom_out_and_all_time(self):
        self.driver.get(self.server.url(f"since=@{sample.BEGIN + 6000}&until=@{sample.BEGIN + 6599}"))
        self.settle()
        self.assertEqual(self.text_of("#total"), "10 items")
        wait_for(lambda: "2026-11-18 13:40:00" in self.text_of("#summary"), "histogram is shown")
        self.press("-")
        self.wait_query(since=f"@{sample.BEGIN + 5700}", until=f"@{sample.BEGIN + 6899}")
        self.press("0")
        self.wait_query(since=None, until=None)

    def test_help_lists_keys_and_keeps_them_to_itself(self):
        self.press("?")
        wait_for(lambda: self.element("#dialog").get_property("open"), "help is open")
        self.assertEqual(self.text_of("#dialog-title"), "Keyboard shortcuts")
        keys = {key.text for key in self.driver.find_elements("css selector", "#dialog kbd")}
        self.assertLessEqual({"/", "j", "k", "g", "G", "f", "?", "c", "x", "Enter", "Esc"}, keys)
        self.press("f", "w")
        self.press(Keys.ESCAPE)
        wait_for(lambda: not self.element("#dialog").get_property("open"), "help is closed")
        self.wait_query(follow=None, wrap=None)

    def test_keys_of_the_browser_are_left_alone(self):
        self.driver.execute_script(
            "window.left = []; addEventListener('keydown', (event) => window.left.push(event.defaultPrevented))")
        ActionChains(self.driver).key_down(Keys.CONTROL).send_keys("f").key_up(Keys.CONTROL).perform()
        self.wait_query(follow=None)
        self.assertEqual(set(self.driver.execute_script("return window.left")), {False})
