# SPDX-License-Identifier: Apache-2.0
"""Logs that somebody has written to do harm."""
import urllib.parse

import sample
from support import PageTest, wait_for

MARKUP = ["<script>window.harmed = 1</script>", "<img src=x onerror=\"window.harmed = 1\">",
          "</div></div><style>* { display: none }</style>", "<svg onload=window.harmed=1>", "&lt;b&gt; &#60;",
          "javascript:window.harmed=1", "{{window.harmed=1}} ${window.harmed=1}"]
# For the store, a text ends before a NUL.
ESCAPES = {b"one\x00two": "one",
           b"\x1b[31mred\x1b[0m \x1b]0;title\x07": r"\x1b[31mred\x1b[0m \x1b]0;title\x07",
           "left \u202eright\u202c \u2066isolated\u2069".encode(): r"left \u202eright\u202c \u2066isolated\u2069",
           b"back\x08\x08\x7fspace\x0d": r"back\x08\x08\x7fspace\x0d",
           "zero\u200bwidth\ufeff \u2028line".encode(): r"zero\u200bwidth\ufeff \u2028line",
           b"no \xff\xfe UTF-8": "no \ufffd\ufffd UTF-8",
           "\u05e9\u05dc\u05d5\u05dd 12".encode(): "\u05e9\u05dc\u05d5\u05dd 12",
           ("a" + "\u0301" * 90).encode(): "a" + "\u0301" * 90}
WORD = "w" * 198
NAME = "<img src=x onerror=window.harmed=1>"


class HostileTest(PageTest):
    def setUp(self):
        super().setUp()
        texts = [*(text.encode() for text in MARKUP), *ESCAPES, WORD.encode()]
        directory = self.log(sample.ITEMS[:3], NAME, names=f"[levels]\n2 = {NAME.replace(' ', '_')}\n")
        with (directory / "0.csv").open("ab") as data:
            for i, text in enumerate(texts):
                data.write(b"%d,2,4,%s\n" % (sample.BEGIN + 1000 + i, text))
        self.shown = [*MARKUP, *ESCAPES.values(), WORD][::-1]
        self.open(self.serve(directory, self.log(sample.ITEMS[:2], "other")))

    def assert_unharmed(self):
        self.assertIsNone(self.driver.execute_script("return window.harmed ?? null"))
        self.assertEqual(self.driver.execute_script(
            "return document.querySelectorAll('#grid img, #grid script, #grid svg, #grid style, #logs img, #facets img,"
            " #item img, #dialog img, #item script').length"), 0)

    def test_texts_and_names_are_only_ever_text(self):
        self.assertEqual(self.texts()[:len(self.shown)], self.shown)
        self.assertEqual(self.in_view()[0]["log"], NAME)
        self.assertIn(NAME, [name.get_property("textContent") for name in self.driver.find_elements(
            "css selector", "[data-facet=log] .name")])
        self.assert_unharmed()

    def test_rows_keep_their_places(self):
        rows = self.in_view()
        self.assertEqual({row["height"] for row in rows}, {rows[0]["height"]})
        self.assertEqual([row["top"] for row in rows], [i * rows[0]["height"] for i in range(len(rows))])
        for text in ("when", "level", "slot", "log", "text"):
            lefts = self.driver.execute_script("return [...document.querySelectorAll('.rows .row .' + arguments[0])]"
                                               ".map((cell) => cell.getBoundingClientRect().left)", text)
            self.assertEqual(len(set(lefts)), 1)
        self.press("w")
        wait_for(lambda: len({row["height"] for row in self.in_view()}) > 1, "lines are wrapped")
        self.assertEqual(self.driver.execute_script(
            "return [...document.querySelectorAll('.rows .row .text')].filter((cell) =>"
            " cell.scrollWidth > cell.clientWidth + 1).length"), 0)
        bottom = 0
        for row in self.in_view():
            self.assertAlmostEqual(row["top"], bottom, delta=1)
            bottom = row["top"] + row["height"]

    def test_opened_items_are_text_and_fit(self):
        for expected in self.shown:
            self.press("j", *(() if self.element("#item").is_displayed() else ("\ue007",)))
            wait_for(lambda text=expected: self.driver.find_elements("css selector", "#item dd")
                     and self.text_of("#item dd") == text, f"item is open: {expected}")
            self.assertLessEqual(self.driver.execute_script(
                "const one = document.getElementById('item'); return one.scrollWidth - one.clientWidth"), 1)
        self.assert_unharmed()

    def test_items_are_copied_without_control_characters(self):
        self.driver.execute_cdp_cmd("Browser.grantPermissions", {
            "permissions": ["clipboardReadWrite", "clipboardSanitizedWrite"]})
        copied = []
        for _ in self.shown:
            self.press("j", "c")
            wait_for(lambda: self.text_of("#notice") == "Item copied.", "item is copied")
            self.driver.execute_script("document.getElementById('notice').textContent = ''")
            copied.append(self.driver.execute_async_script("navigator.clipboard.readText().then(arguments[0])"))
        self.assertEqual([text.split(" 4 ", 1)[1] for text in copied], self.shown)

    def test_marks_are_at_the_characters_they_are_for(self):
        self.type_into("#q", "right|one|red|harmed|12|UTF")
        wait_for(lambda: self.in_view() and all(row["marks"] for row in self.in_view()), "matches are marked")
        marks = {mark for row in self.in_view() for mark in row["marks"]}
        self.assertEqual(marks, {"right", "one", "red", "harmed", "12", "UTF"})
        self.assert_unharmed()

    def test_url_with_markup_is_only_text(self):
        bad = "<img src=x onerror=window.harmed=1>("
        self.driver.get(self.server.url(urllib.parse.urlencode({"q": bad, "at": bad, "item": bad, "log": bad})))
        wait_for(lambda: self.element("#empty").is_displayed(), "nothing is shown")
        self.assertEqual(self.element("#q").get_property("value"), bad)
        wait_for(lambda: self.element("#q-error").is_displayed(), "complaint is shown")
        self.assert_unharmed()

    def is_expected(self, entry):
        return "status of 400" in entry["message"] or "status of 410" in entry["message"]
