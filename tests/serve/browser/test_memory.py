# SPDX-License-Identifier: Apache-2.0
"""A page that is left open keeps a bounded number of items, however many come."""
import sample
from support import FAKE_STREAM, PageTest, wait_for

COUNT = 20000
# More than the page keeps, and fewer than have come.
BOUND = 8000

# Sends items of a log, of a time each, in so many events.
SEND = """
const [log, begin, events, size, words, done] = arguments;
for (let i = 0; i < events * size; i += size) {
  window.send("items", { items: Array.from({ length: size }, (_, j) => ({ time: begin + i + j,
    iso: "2026-11-19T12:00:00+00:00", level: 2, slot: 0, text: `${log} ${i + j}${words}`, log,
    cursor: `${log}~${begin + i + j}~0~${begin + i + j}~00000000` })) });
  await new Promise((resolve) => setTimeout(resolve, words ? 20 : 0)); // So that they are drawn.
}
done();
"""

# Of all maps or sets of the page the size of the largest whose values are of a type.
LARGEST = """function(type) {
  return Math.max(0, ...this.filter((one) => !Object.hasOwn(one, "constructor") &&
    typeof [...one.values()][0] === type).map((one) => one.size));
}"""


class MemoryTest(PageTest):
    LATER = sample.BEGIN + 10**5

    def open_fake(self, count, *directories, query=""):
        # The first change has the right total, so that nothing has the page read its items again.
        self.inject(FAKE_STREAM.replace("total: -1", f"total: {count}"))
        self.open(self.serve(*directories), query)
        wait_for(lambda: self.text_of("#connection") == "Live", "stream is open")

    def send(self, log, begin, count, size=200, words=""):
        self.driver.execute_async_script(f"(async function() {{ {SEND} }}).apply(null, arguments)", log, begin,
                                         count // size, size, words)

    def largest(self, kind, type_):
        prototype = self.driver.execute_cdp_cmd("Runtime.evaluate", {"expression": f"{kind}.prototype"})
        objects = self.driver.execute_cdp_cmd("Runtime.queryObjects", {
            "prototypeObjectId": prototype["result"]["objectId"]})
        return self.driver.execute_cdp_cmd("Runtime.callFunctionOn", {
            "objectId": objects["objects"]["objectId"], "functionDeclaration": LARGEST, "returnByValue": True,
            "arguments": [{"value": type_}]})["result"]["value"]

    def test_many_items_of_several_logs_after_a_late_one(self):
        self.open_fake(2 * 601, self.log(sample.ITEMS, "one"), self.log(sample.ITEMS, "two"))
        self.driver.execute_script("document.getElementById('list').scrollTop = 6000")
        wait_for(lambda: self.query().get("at"), "scrolled")
        before = self.texts()
        self.send("one", self.LATER, 200)
        # Belongs before all of those.
        self.send("two", self.LATER - 1000, 200)
        self.send("one", self.LATER + 200, COUNT)
        wait_for(lambda: self.text_of("#newer").startswith(f"{COUNT + 400:,} newer"), "items are counted")
        self.assertEqual(self.texts(), before)
        self.assertGreater(self.largest("Map", "object"), 300)
        self.assertLess(self.largest("Map", "object"), BOUND)
        self.assertGreater(self.largest("Set", "number"), 0)
        self.assertLess(self.largest("Set", "number"), BOUND)

    def test_many_wrapped_items_that_are_followed(self):
        self.open_fake(601, self.log(sample.ITEMS), query="wrap=1")
        self.send("log", self.LATER, 3000, 30, " and more words" * 12)
        wait_for(lambda: self.text_of("#total") == "3,601 items", "items are shown")
        self.assertGreater(self.largest("Map", "number"), 20)
        self.assertLess(self.largest("Map", "number"), 1200)
