# SPDX-License-Identifier: Apache-2.0
"""How the page looks: widths, schemes, contrast, roles. Makes the pictures that people look at."""
import pathlib
import random

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

import sample
from support import DESK, FAKE_STREAM, PHONE, PageTest, record, wait_for

WIDE = (2560, 1300)

# Contrast of every text that is shown with what is below it, by the formula of WCAG.
CONTRAST = """
const pen = document.createElement("canvas").getContext("2d", { willReadFrequently: true });
const parse = (colour) => {
  pen.clearRect(0, 0, 1, 1);
  pen.fillStyle = colour;
  pen.fillRect(0, 0, 1, 1);
  const [r, g, b, a] = pen.getImageData(0, 0, 1, 1).data;
  return [r, g, b, a / 255];
};
const over = (above, below) => [0, 1, 2].map((i) => above[i] * above[3] + below[i] * (1 - above[3])).concat(1);
const ground = (element) => {
  const own = parse(getComputedStyle(element).backgroundColor);
  return own[3] === 1 ? own : over(own, element.parentElement ? ground(element.parentElement) : [255, 255, 255, 1]);
};
const light = (colour) => colour.slice(0, 3).map((part) => part / 255)
  .map((part) => (part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4))
  .reduce((sum, part, i) => sum + part * [0.2126, 0.7152, 0.0722][i], 0);
const ratio = (one, other) => {
  const [less, more] = [light(one), light(other)].sort((a, b) => a - b);
  return (more + 0.05) / (less + 0.05);
};
const found = [];
for (const element of document.querySelectorAll("body *")) {
  const texts = [...element.childNodes].filter((node) => node.nodeType === 3 && node.data.trim());
  const typed = element.matches("input:not([type=checkbox]), select");
  if ((texts.length || typed) && element.checkVisibility() && !element.matches(":disabled, .spoken, option")) {
    const below = ground(element);
    found.push([ratio(over(parse(getComputedStyle(element).color), below), below), element.outerHTML.slice(0, 90)]);
    if (element.placeholder) {
      const colour = getComputedStyle(element, "::placeholder").color;
      found.push([ratio(over(parse(colour), below), below), "placeholder of " + element.id]);
    }
  }
}
const style = getComputedStyle(document.documentElement);
const surface = parse(style.getPropertyValue("--surface"));
for (const name of ["bar-error", "bar-warning", "bar-info", "bar-debug", "bar-other", "accent", "field"]) {
  // What is no text needs 3 of the 4.5.
  found.push([ratio(parse(style.getPropertyValue("--" + name)), surface) * 1.5, name]);
}
return found;
"""

# What reaches beyond the page, or is cut off where it must not be.
BEYOND = """
const width = document.documentElement.clientWidth;
const beyond = [...document.querySelectorAll("body *")].filter((element) => {
  const box = element.getBoundingClientRect();
  return element.checkVisibility() && box.width && (box.right > width + 1 || box.left < -1) &&
    !element.closest(".spoken, .row");
}).map((element) => element.outerHTML.slice(0, 90));
const cut = [...document.querySelectorAll("button, label, .line p")].filter((element) =>
  element.checkVisibility() && element.scrollWidth > element.clientWidth + 1).map((element) => element.outerHTML);
return { beyond, cut, overflow: document.documentElement.scrollWidth - width };
"""

WORDS = {"motor": ["speed {} rpm", "stopped after {} ms", "overcurrent: {} mA", "brake released, {} N"],
         "door": ["open, {} times today", "closed in {} ms", "blocked at {} mm", "light barrier {} us"],
         "net": ["link up after {} ms", "frame {} lost", "retry {} of 9999", "address 10.0.3.{}"]}


def busy_day(seed):
    """Items of a day with a bad hour."""
    chance = random.Random(seed)
    items = []
    for time in sorted(sample.BEGIN + int(86400 * chance.random() ** 0.8) for _ in range(6000)):
        bad = abs(time - sample.BEGIN - 52000) < 1500
        level = chance.choices([0, 1, 2, 3], [30, 30, 30, 10] if bad else [0.3, 3, 60, 37])[0]
        slot = chance.choice([0, 1, 1, 2])
        words = WORDS[("net", "motor", "door")[slot]]
        items.append((time, level, slot, f"{words[(2 - level) % 4]}".format(chance.randrange(1, 999))))
    return items


class LooksTest(PageTest):
    @classmethod
    def setUpClass(cls):
        cls.items = {name: busy_day(seed) for seed, name in enumerate(("unit-1", "unit-2"))}

    def show(self, query="", **look):
        names = "[levels]\n0 = error\n1 = warning\n2 = info\n3 = debug\n[slots]\n0 = net\n1 = motor\n2 = door\n"
        for name, items in self.items.items():
            record(str(self.scratch / name), items, names=names)
        # One of the two is damaged, for a badge that says so.
        data = self.scratch / "unit-2" / "0.csv"
        data.write_bytes(data.read_bytes().replace(b"\n", b"\nnoise\n", 1))
        self.browser.look(**look)
        self.open(self.serve(self.scratch / "unit-1", self.scratch / "unit-2"), query)

    def assert_contrast(self):
        found = self.driver.execute_script(CONTRAST)
        self.assertGreater(len(found), 60)
        self.assertEqual([what for ratio, what in found if ratio < 4.5], [])

    def assert_fits(self):
        found = self.driver.execute_script(BEYOND)
        self.assertEqual(found, {"beyond": [], "cut": [], "overflow": 0})

    def test_widths_and_schemes_fit_with_contrast(self):
        for name, size in (("desk", DESK), ("phone", PHONE), ("wide", WIDE)):
            for scheme, dark in (("light", False), ("dark", True)):
                with self.subTest(name=name, scheme=scheme):
                    if not hasattr(self, "server"):
                        self.show("q=over|block&level=0,1")
                    self.browser.look(size, dark)
                    self.driver.get(self.server.url("q=over|block|lost&level=0,1,2"))
                    self.settle()
                    ground = self.driver.execute_script("return getComputedStyle(document.body).backgroundColor")
                    self.assertEqual(ground == "rgb(15, 19, 25)", dark)
                    self.press("j", "j")
                    self.assert_fits()
                    self.assert_contrast()
                    least = 300 if name == "phone" else 420
                    self.assertGreater(self.element("#list").size["height"], least)
                    self.picture(f"{name}-{scheme}")

    def test_item_dialogs_and_complaints_fit_with_contrast(self):
        self.show()
        for name, size, dark in (("desk", DESK, True), ("phone", PHONE, False), ("wide", WIDE, False)):
            with self.subTest(name=name):
                self.browser.look(size, dark)
                self.driver.get(self.server.url("level=0"))
                self.settle()
                self.press("j", "j", "j", Keys.ENTER)
                wait_for(lambda: self.driver.find_elements("css selector", "#item dl"), "item is open")
                self.assert_fits()
                self.assert_contrast()
                self.picture(f"{name}-item")
                wait_for(lambda: self.driver.find_elements("css selector", ".badge.damaged"), "logs are checked")
                for opener in ("#help", "#command", "#download", "#table", ".badge.damaged"):
                    self.click(opener)
                    wait_for(lambda: self.element("#dialog").get_property("open"), "dialog is open")
                    self.assert_fits()
                    self.assert_contrast()
                    self.press(Keys.ESCAPE)
                    wait_for(lambda: not self.element("#dialog").get_property("open"), "dialog is closed")
                self.type_into("#q", "(")
                wait_for(lambda: self.element("#q-error").is_displayed(), "complaint is shown")
                self.assert_fits()
                self.assert_contrast()

    def is_expected(self, entry):
        return "/api/check-filter" in entry["message"] and "status of 400" in entry["message"]

    def test_phone_opens_item_by_one_press_and_filters_on_demand(self):
        self.show(size=PHONE)
        self.assertFalse(self.element("#facets").is_displayed())
        self.click("#facets-toggle")
        self.assertTrue(self.element("#facets").is_displayed())
        self.assertTrue(self.element("#since").is_displayed())
        self.assert_fits()
        self.click("#facets-toggle")
        row = self.in_view()[2]
        self.click(f"#{row['id']}")
        wait_for(lambda: self.driver.find_elements("css selector", "#item dd"), "item is open")
        self.assertEqual(self.text_of("#item dd"), row["text"])

    def test_row_below_the_pointer_has_contrast(self):
        self.show("level=0")
        for dark in (False, True):
            self.browser.look(dark=dark)
            for name in self.items:
                with self.subTest(dark=dark, log=name):
                    row = next(row for row in self.in_view()[1:-1] if row["log"] == name)
                    ActionChains(self.driver).move_to_element(self.element(f"#{row['id']} .log")).perform()
                    self.assertTrue(self.driver.execute_script(
                        "return document.getElementById(arguments[0]).matches(':hover')", row["id"]))
                    self.assert_contrast()

    def nodes(self):
        """Role, name and properties of what the browser offers to screen readers."""
        tree = self.driver.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
        return [(node["role"]["value"], node.get("name", {}).get("value", ""),
                 {one["name"]: one["value"].get("value") for one in node.get("properties", [])})
                for node in tree if not node["ignored"]]

    def test_roles_and_names(self):
        self.show()
        self.press("j")
        nodes = self.nodes()
        roles = {role for role, _, _ in nodes}
        self.assertLessEqual({"banner", "main", "search", "region", "complementary", "grid", "columnheader", "row",
                              "gridcell", "checkbox", "heading", "combobox", "searchbox"}, roles)
        unnamed = [node for node in nodes if not node[1].strip() and node[0] in (
            "button", "checkbox", "combobox", "searchbox", "textbox", "grid", "region", "complementary", "search",
            "group", "image", "link")]
        self.assertEqual(unnamed, [])
        grid = self.element("#grid")
        self.assertEqual(grid.get_attribute("aria-rowcount"), "12003")
        self.assertEqual(self.driver.execute_script(
            "return document.getElementById(arguments[0].getAttribute('aria-activedescendant'))"
            ".getAttribute('aria-selected')", grid), "true")
        self.assertTrue(any(role == "button" and name == "Follow" and properties.get("pressed") == "true"
                            for role, name, properties in nodes))
        histogram = self.element("#histogram").get_attribute("aria-label")
        self.assertRegex(histogram, r"^Histogram: 12,002 items, \d+ errors, from 2026-11-18 12:00:")

    def test_every_control_is_reached_by_tab_with_a_ring(self):
        self.show()
        self.driver.execute_script("document.activeElement.blur()")
        reached = []
        for _ in range(60):
            self.press(Keys.TAB)
            element, ring = self.driver.execute_script(
                "const one = document.activeElement; const style = getComputedStyle(one);"
                "return [one.id || one.tagName + one.textContent,"
                " one === document.body || style.outlineStyle !== 'none'"
                " && parseFloat(style.outlineWidth) >= 1]")
            self.assertTrue(ring, element)
            if element.startswith("BODY") or element in reached[:1]:
                break
            reached.append(element)
        self.assertLessEqual({"connection", "download", "command", "link", "help", "q", "case", "invert", "since",
                              "until", "span", "table", "histogram", "order", "wrap", "follow", "grid"}, set(reached))

    def test_all_modules_are_in_the_one_script_of_the_page(self):
        self.show()
        page = pathlib.Path(__file__).parents[3] / "tools" / "jorn" / "serve" / "page"
        asked = self.driver.execute_script(
            "return performance.getEntriesByType('resource').map((one) => new URL(one.name).pathname)")
        self.assertEqual([path for path in asked if path.endswith(".js")], ["/page.js"])
        script = self.driver.execute_async_script(
            "fetch('/page.js').then((answer) => answer.text()).then(arguments[0])")
        for module in page.glob("*.js"):
            # All that somebody who looks for a fault there knows from the source.
            body = [line for line in module.read_text().splitlines() if not line.startswith(("import", "export"))]
            self.assertIn(f"// -------------------- {module.name}\n", script)
            self.assertLessEqual(set(body), set(script.splitlines()), module.name)

    def test_first_answers_are_asked_for_once_and_before_the_page_is_there(self):
        # The parts of the page observe their sizes.
        self.inject("window.asked = []; const fetched = window.fetch; window.fetch = (path, ...more) => {"
                    " window.asked.push(path.split(/[/?]/)[2]); return fetched(path, ...more); };"
                    "const { ResizeObserver } = window; window.ResizeObserver = class extends ResizeObserver {"
                    " constructor(...more) { super(...more); window.asked.push('part'); } };")

        def asked():
            names = self.driver.execute_script("return window.asked")
            return {name: names.count(name) for name in ("items", "histogram", "facets", "logs")}
        once = {"items": 1, "histogram": 1, "facets": 1, "logs": 1}
        self.show()
        self.assertEqual(asked(), once)
        # Of what a filter passes, numbers over all time are asked for when that is known, by a histogram of all.
        self.driver.get(self.server.url("level=0"))
        self.settle()
        wait_for(lambda: asked() == {**once, "histogram": 2}, "numbers over all time")
        for query in ("", "q=over"):
            self.driver.get(self.server.url(query))
            self.settle()
            before = self.driver.execute_script("return window.asked.slice(0, window.asked.indexOf('part'))")
            self.assertEqual(sorted(before), sorted(once))

    def test_page_waits_for_its_style_but_its_first_questions_do_not(self):
        # The style is not there before the test says so.
        self.inject("""
            window.asked = 0;
            const fetched = window.fetch;
            window.fetch = (path, ...more) => {
              window.asked += 1;
              return fetched(path, ...more);
            };
            const { get } = Object.getOwnPropertyDescriptor(HTMLLinkElement.prototype, "sheet");
            Object.defineProperty(HTMLLinkElement.prototype, "sheet", { configurable: true, get: () => null });
            document.addEventListener("load", (event) => {
              const { target } = event;
              if (target.rel === "stylesheet" && event.isTrusted) {
                event.stopImmediatePropagation();
                window.style = () => {
                  Object.defineProperty(HTMLLinkElement.prototype, "sheet", { get });
                  target.dispatchEvent(new Event("load"));
                };
              }
            }, true);""")
        for name, items in self.items.items():
            record(str(self.scratch / name), items[:100])
        self.server = self.serve(*[self.scratch / name for name in self.items])
        self.driver.get(self.server.url())
        wait_for(lambda: self.driver.execute_script("return window.style && window.asked === 4"), "questions are asked")
        self.assertEqual(self.driver.execute_script("return document.querySelectorAll('.rows').length"), 0)
        self.driver.execute_script("window.style()")
        self.settle()
        self.assertTrue(self.in_view())

    def test_motion_only_where_it_is_wanted(self):
        self.show()
        moving = "return [...document.querySelectorAll('*')].filter((one) => getComputedStyle(one).transitionDuration" \
                 " !== '0s' || getComputedStyle(one).animationName !== 'none').length"
        self.assertGreater(self.driver.execute_script(moving), 0)
        self.browser.look(still=True)
        self.assertEqual(self.driver.execute_script(moving), 0)

    def test_logs_are_told_apart_by_name_and_colour(self):
        self.show()
        colours = {name: self.driver.execute_script(
            "const row = [...document.querySelectorAll('.rows .row')].find((one) => one.querySelector('.log')"
            ".textContent === arguments[0]); return row && getComputedStyle(row.querySelector('.log')).color", name)
            for name in ("unit-1", "unit-2")}
        wait_for(lambda: "checking" not in self.text_of("#logs"), "logs are checked")
        self.picture("desk-all")
        self.assertNotIn(None, colours.values())
        self.assertNotEqual(colours["unit-1"], colours["unit-2"])
        merged = sorted(((item[0], name) for name, items in self.items.items() for item in items), reverse=True)
        shown = [(row["when"], row["log"]) for row in self.in_view()]
        self.assertEqual([log for _, log in shown], [name for _, name in merged[:len(shown)]])


class ZoneTest(PageTest):
    def test_times_are_in_the_zone_of_the_server(self):
        self.open(self.serve(self.log(sample.ITEMS), environment={"TZ": "IST-05:30"}))
        self.assertEqual(self.in_view()[0]["when"], "2026-11-19 03:29:00")
        span = "2026-11-18 17:30:00 to 2026-11-19 03:29:00"
        wait_for(lambda: self.text_of("#summary .span") == span, "server's times")
        self.type_into("#since", "2026-11-19 03:00")
        self.wait_total("30 items")

    def test_times_shown_before_the_zone_is_known_are_shown_again(self):
        # Nothing else has them shown again.
        self.inject(FAKE_STREAM.replace("total: -1", f"total: {sample.TOTAL}"))
        self.inject("""
            const fetched = window.fetch;
            const held = new Promise((resolve) => { window.release = resolve; });
            window.fetch = async (path, options) => {
              if (path === "/api/logs") {
                await held;
              }
              return fetched(path, options);
            };""")
        self.server = self.serve(self.log(sample.ITEMS), environment={"TZ": "IST-05:30"})
        self.driver.get(self.server.url())
        wait_for(lambda: self.text_of("#summary .span") == "2026-11-18 12:00:00 to 2026-11-18 21:59:00", "own times")
        self.driver.execute_script("window.release()")
        span = "2026-11-18 17:30:00 to 2026-11-19 03:29:00"
        wait_for(lambda: self.text_of("#summary .span") == span, "server's times")
