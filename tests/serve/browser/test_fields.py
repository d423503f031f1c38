# SPDX-License-Identifier: Apache-2.0
"""The fields of the filter: they show what is in effect, and what is typed into them is taken as it is."""
from selenium.webdriver.common.keys import Keys

import sample
from support import PageTest, wait_for

# Answers to /api/check-filter about an expression come when the test lets them: release().
HOLD_CHECKS = """
const fetched = window.fetch;
const held = new Promise((resolve) => { window.release = resolve; });
window.fetch = async (path, options) => {
  if (/check-filter.*q=/.test(path)) {
    window.asked = true;
    await Promise.race([held, new Promise((_, no) => options.signal.addEventListener("abort", () =>
      no(options.signal.reason)))]);
  }
  return fetched(path, options);
};
"""


class FieldsTest(PageTest):
    def setUp(self):
        super().setUp()
        self.open(self.serve(self.log(sample.ITEMS)))

    def value(self, name):
        return self.element(f"#{name}").get_property("value")

    def test_way_back_from_a_search_empties_its_field_though_it_has_the_focus(self):
        self.type_into("#q", "item 1..$")
        self.wait_query(q="item 1..$")
        self.driver.back()
        self.wait_query(q=None)
        wait_for(lambda: self.value("q") == "", "field is empty")
        # What is typed now is a step of its own.
        self.element("#q").send_keys("item 2..$")
        self.wait_query(q="item 2..$")
        self.driver.back()
        self.wait_query(q=None)
        self.wait_total(f"{sample.TOTAL} items")

    def test_expression_typed_after_enter_is_a_step_of_its_own(self):
        self.element("#q").send_keys("item 1..$", Keys.ENTER)
        self.wait_query(q="item 1..$")
        self.element("#q").send_keys(Keys.BACKSPACE, "0$")
        self.wait_query(q="item 1..0$")
        self.driver.back()
        self.wait_query(q="item 1..$")
        wait_for(lambda: self.value("q") == "item 1..$", "field is as it was")

    def test_way_back_right_after_typing_forgets_what_was_typed(self):
        self.type_into("#q", "item 1..$")
        self.wait_query(q="item 1..$")
        self.driver.execute_script(HOLD_CHECKS)
        self.element("#q").send_keys("x")
        wait_for(lambda: self.driver.execute_script("return window.asked"), "expression is being checked")
        self.driver.back()
        self.wait_query(q=None)
        self.driver.execute_script("window.release()")
        wait_for(lambda: self.value("q") == "", "field is empty")
        self.wait_total(f"{sample.TOTAL} items")
        self.wait_query(q=None)

    def test_field_left_as_it_was_entered_shows_what_is_in_effect(self):
        self.type_into("#q", "item 5")
        self.wait_query(q="item 5")
        self.press(Keys.ESCAPE)
        # Browsers report no change of a field that has its first text when it is left.
        self.element("#q").send_keys("1")
        self.wait_query(q="item 51")
        self.element("#q").send_keys(Keys.BACKSPACE)
        self.wait_query(q="item 5")
        self.click("#clear")
        self.wait_query(q=None)
        wait_for(lambda: self.value("q") == "", "field is empty")

    def test_switches_of_a_link_are_on_only_if_it_says_so(self):
        for query, ticked, total in (("case=match&invert=0", (False, False), 0),
                                     ("case=ignore&invert=1", (True, True), 1)):
            self.driver.get(self.server.url(f"q=ITEM&{query}"))
            self.wait_total(f"{total} item{'' if total == 1 else 's'}")
            self.assertEqual((self.element("#case").is_selected(), self.element("#invert").is_selected()), ticked)

    def test_way_back_to_a_wrong_expression_shows_no_number(self):
        self.driver.get(self.server.url("q=("))
        wait_for(lambda: self.element("#q-error").is_displayed(), "complaint is shown")
        self.type_into("#q", "item")
        self.wait_total(f"{sample.COUNT} items")
        self.driver.back()
        wait_for(lambda: self.element("#q-error").is_displayed(), "complaint is shown again")
        self.assertEqual(self.text_of("#total"), "")
        self.assertFalse(self.element("#newer").is_displayed())

    def test_blanks_at_the_ends_of_an_expression_count(self):
        self.type_into("#q", "item ")
        self.wait_query(q="item ")
        self.type_into("#q", "item 1 ")
        self.wait_total("0 items")
        self.driver.get(self.server.url("q=+5"))
        self.wait_total(str(len(sample.texts(lambda *item: item[3].startswith("item 5")))) + " items")
        self.assertEqual(self.value("q"), " 5")
        self.element("#q").send_keys(Keys.ENTER)
        self.press(Keys.ESCAPE)
        self.type_into("#since", " @1 ")
        self.wait_query(q=" 5", since="@1")

    def test_choice_of_a_range_while_an_expression_is_checked_keeps_both(self):
        self.driver.execute_script(HOLD_CHECKS)
        self.element("#q").send_keys("item")
        wait_for(lambda: self.driver.execute_script("return window.asked"), "expression is being checked")
        self.element("#span option[value='1w']").click()
        wait_for(lambda: self.query().get("since"), "range is taken")
        self.assertEqual(self.value("q"), "item")
        self.driver.execute_script("window.release()")
        self.wait_query(q="item")
        self.assertIn("since", self.query())

    def test_expression_that_is_wrong_is_told_though_a_range_was_chosen_meanwhile(self):
        self.driver.execute_script(HOLD_CHECKS)
        self.element("#q").send_keys("item(")
        wait_for(lambda: self.driver.execute_script("return window.asked"), "expression is being checked")
        self.element("#span option[value='1w']").click()
        wait_for(lambda: self.query().get("since"), "range is taken")
        self.driver.execute_script("window.release()")
        wait_for(lambda: self.element("#q-error").is_displayed(), "complaint is shown")
        self.assertEqual(self.value("q"), "item(")

    def is_expected(self, entry):
        return "status of 400" in entry["message"]
