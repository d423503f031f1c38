# SPDX-License-Identifier: Apache-2.0
"""What links may hold: ranges of levels, repeated parameters, logs whose names have commas."""
import shlex
import subprocess

import sample
from support import JORN, PageTest, wait_for

LOGS = ("north,south", "north", "it's, 2")


class ChoicesTest(PageTest):
    def setUp(self):
        super().setUp()
        self.directories = [self.log([(time, level, slot, f"{name} {text}") for time, level, slot, text in
                                      sample.ITEMS[:40]], name) for name in LOGS]
        self.served = self.serve(*self.directories)

    def show(self, query, total):
        self.open(self.served, query)
        self.wait_total(total)

    def ticked(self, kind):
        return [label.find_element("css selector", ".name").text
                for label in self.driver.find_elements("css selector", f"[data-facet={kind}] label")
                if label.find_element("css selector", "input").is_selected()]

    def tick(self, kind, name):
        next(label for label in self.driver.find_elements("css selector", f"[data-facet={kind}] label")
             if label.find_element("css selector", ".name").text == name).click()

    def logs(self):
        return self.driver.execute_script("return new URLSearchParams(location.search).getAll('log')")

    def test_logs_with_commas_are_chosen_kept_and_copied(self):
        self.show("", "123 items")
        self.tick("log", LOGS[0])
        self.wait_total("41 items")
        self.assertEqual({row["log"] for row in self.in_view()}, {LOGS[0]})
        self.tick("log", LOGS[2])
        self.wait_total("82 items")
        self.assertEqual(self.logs(), [LOGS[0], LOGS[2]])
        self.assertEqual(self.ticked("log"), [LOGS[0], LOGS[2]])
        self.driver.refresh()
        self.wait_total("82 items")
        self.assertEqual(self.ticked("log"), [LOGS[0], LOGS[2]])
        self.click("#command")
        command = shlex.split(wait_for(lambda: self.text_of("#command-text"), "command is shown"))
        self.assertEqual(command[-2:], [str(self.directories[0]), str(self.directories[2])])
        printed = subprocess.run([JORN, *command[1:], "-o", "cat"], capture_output=True, text=True, check=True).stdout
        self.assertTrue(printed.splitlines()[0].endswith(f" {self.texts()[0]}"), printed)
        self.assertEqual(len(printed.splitlines()), 82)
        self.driver.refresh()
        self.wait_total("82 items")
        self.tick("log", LOGS[0])
        self.tick("log", LOGS[2])
        self.wait_total("123 items")
        self.assertEqual(self.logs(), [])

    def counts(self, kind):
        return {label.find_element("css selector", ".name").text: int(label.find_element("css selector", ".count").text)
                for label in self.driver.find_elements("css selector", f"[data-facet={kind}] label")}

    def test_slots_and_logs_are_counted_by_what_choosing_them_would_give(self):
        slots = [slot for _, _, slot, _ in sample.ITEMS[:40]]
        # The store's own first item is in slot 0.
        by_slot = {name: 3 * (slots.count(i) + (i == 0)) for i, name in enumerate(("store", "motor", "door"))}
        self.show("", "123 items")
        self.assertEqual(self.counts("slot"), by_slot)
        self.assertEqual(self.counts("log"), dict.fromkeys(LOGS, 41))
        self.tick("slot", "motor")
        self.wait_total(f"{by_slot['motor']} items")
        wait_for(lambda: self.counts("log") == dict.fromkeys(LOGS, by_slot["motor"] // 3), "logs of that slot")
        self.assertEqual(self.counts("slot"), by_slot)
        self.tick("log", LOGS[1])
        self.wait_total(f"{by_slot['motor'] // 3} items")
        wait_for(lambda: self.counts("slot") == {name: count // 3 for name, count in by_slot.items()}, "of that log")
        self.assertEqual(self.counts("log"), dict.fromkeys(LOGS, by_slot["motor"] // 3))

    def test_links_with_several_logs_in_one_value_go_on_working(self):
        other = self.log(sample.ITEMS[:3], "other")
        self.served.stop()
        self.served.directories = [str(self.directories[1]), str(other)]
        self.served.start()
        self.show("log=north,other", "45 items")
        self.assertEqual(self.ticked("log"), ["north", "other"])

    def test_range_of_levels_is_ticked_and_changed(self):
        count = {span: 3 * sum(level in span for _, level, *_ in sample.ITEMS[:40]) for span in
                 ((0, 1), (0, 1, 2), (0, 2))}
        self.show("level=0..2", f"{count[0, 1, 2]} items")
        self.assertEqual(self.ticked("level"), ["error", "warning", "info"])
        self.tick("level", "warning")
        self.wait_query(level="0,2")
        self.wait_total(f"{count[0, 2]} items")
        self.show("level=..warning", f"{count[0, 1]} items")
        self.assertEqual(self.ticked("level"), ["error", "warning"])
        self.show("level=info..error&level=", f"{count[0, 1, 2]} items")
        self.show("level=0&level=2", f"{count[0, 2]} items")

    def test_repeated_expressions_are_shown_as_one(self):
        self.show("q=item+7%24&q=%5CQitem+8&q=north+item+9%24", "7 items")
        self.assertEqual(self.element("#q").get_property("value"), r"(?:item 7$)|(?:\Qitem 8\E)|(?:north item 9$)")
        self.assertEqual({row["marks"][0] for row in self.in_view()}, {"item 7", "item 8", "north item 9"})
