# SPDX-License-Identifier: Apache-2.0
"""A page that is opened before there is anything to show."""
import sample
from support import PageTest, record, wait_for

LONG = "first error: " + "and what was before it " * 8


class EmptyTest(PageTest):
    def setUp(self):
        super().setUp()
        self.directory = self.log(sample.ITEMS[:5])

    def open_empty(self, query):
        self.open(self.serve(self.directory), f"q=first error{query}")
        wait_for(lambda: self.text_of("#connection") == "Live", "stream is open")
        self.assertEqual(self.text_of("#empty"), "No items match the filter.")

    def add(self, *texts):
        record(str(self.directory), [(sample.BEGIN + 1000 + i, 0, 0, text) for i, text in enumerate(texts)],
               names=None)

    def test_items_that_come_are_shown(self):
        self.open_empty("")
        self.add("first error 1", "first error 2")
        self.wait_texts(["first error 2", "first error 1"])
        self.assertEqual(self.text_of("#total"), "2 items")
        self.assertFalse(self.element("#empty").is_displayed())
        self.assertEqual(self.in_view()[0]["top"], 0)

    def test_items_that_come_are_wrapped_as_the_link_says(self):
        self.open_empty("&wrap=1&order=oldest")
        self.add(LONG, "first error: short")
        self.wait_texts([LONG, "first error: short"])
        self.assertGreater(self.in_view()[0]["height"], 1.5 * self.in_view()[1]["height"])

    def test_items_that_come_are_wrapped_when_that_was_chosen_before(self):
        self.open_empty("")
        self.press("w")
        self.wait_query(wrap="1")
        self.add(LONG, "first error: short")
        self.wait_texts(["first error: short", LONG])
        self.assertGreater(self.in_view()[1]["height"], 1.5 * self.in_view()[0]["height"])
