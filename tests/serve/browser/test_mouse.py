# SPDX-License-Identifier: Apache-2.0
"""The list by mouse, on a page that is wide enough for one."""
from selenium.webdriver.common.action_chains import ActionChains

import sample
from support import PageTest, wait_for


class MouseTest(PageTest):
    def setUp(self):
        super().setUp()
        self.open(self.serve(self.log(sample.ITEMS)))

    def text_cell(self, row):
        """The text of a row, at a word that a double click selects."""
        return self.element(f"#{self.in_view()[row]['id']} .text"), -self.cell_half(row) + 12, 0

    def cell_half(self, row):
        return self.element(f"#{self.in_view()[row]['id']} .text").size["width"] // 2

    def selection(self):
        return self.driver.execute_script("return String(getSelection())")

    def wait_open(self, text):
        wait_for(lambda: self.driver.find_elements("css selector", "#item dd") and
                 self.text_of("#item dd") == text, f"item is open: {text}")

    def test_row_double_clicked_opens_its_item(self):
        ActionChains(self.driver).move_to_element_with_offset(*self.text_cell(3)).double_click().perform()
        self.wait_open("item 596")
        self.wait_query(open="1")
        self.assertEqual(self.selected(), "item 596")
        self.assertEqual(self.selection(), "")
        # Of an opened list, one click shows another item.
        ActionChains(self.driver).move_to_element_with_offset(*self.text_cell(5)).click().perform()
        self.wait_open("item 594")

    def test_row_clicked_is_selected_only(self):
        ActionChains(self.driver).move_to_element_with_offset(*self.text_cell(2)).click().perform()
        wait_for(lambda: self.selected() == "item 597", "row is selected")
        self.assertFalse(self.element("#item").is_displayed())

    def test_text_that_is_dragged_over_stays_selected(self):
        cell, x, y = self.text_cell(4)
        ActionChains(self.driver, duration=20).move_to_element_with_offset(cell, x, y).click_and_hold() \
            .move_by_offset(12, 0).move_by_offset(13, 0).release().perform()
        self.assertNotEqual(self.selection(), "")
        self.assertIsNone(self.selected())
