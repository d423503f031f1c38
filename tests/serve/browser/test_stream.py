# SPDX-License-Identifier: Apache-2.0
"""What the stream sends, and how its connections end."""
import sample
from support import FAKE_STREAM, PageTest, record, wait_for

# Keeps the options of each request for a stream.
KEEP_STREAMS = """
window.streams = [];
const fetchedBefore = window.fetch;
window.fetch = (path, options) => {
  if (String(path).startsWith("/api/stream")) {
    window.streams.push(options);
  }
  return fetchedBefore(path, options);
};
"""


class ConnectionTest(PageTest):
    def open_log(self, before=""):
        self.inject(before + KEEP_STREAMS)
        self.directory = self.log(sample.ITEMS[:5])
        self.open(self.serve(self.directory))
        wait_for(lambda: self.text_of("#connection") == "Live", "stream is open")

    def streams(self, member):
        return self.driver.execute_script(f"return window.streams.map(({{ signal, headers }}) => {member})")

    def is_expected(self, entry):
        return "TypeError" in entry["message"] and self.id().endswith("resumed_before_that_event")

    def test_texts_with_line_separators_of_unicode_are_taken(self):
        self.open_log()
        record(str(self.directory), [(sample.BEGIN + 1000, 2, 0, "one\u2028two"),
                                     (sample.BEGIN + 1001, 2, 0, "three\u2029four\u0085five")], names=None)
        self.wait_texts([r"three\u2029four\x85five", r"one\u2028two"])
        self.assertEqual(self.text_of("#connection"), "Live")
        self.assertEqual(self.streams("signal.aborted"), [False])

    def test_stream_that_cannot_be_understood_is_closed_and_resumed_before_that_event(self):
        self.open_log(FAKE_STREAM)
        self.driver.execute_script("window.send('items', { items: [] }, 'log~first')")
        self.driver.execute_script("window.send('items', null, 'log~second')")
        wait_for(lambda: len(self.streams("true")) == 2, "another connection")
        self.assertEqual(self.streams("signal.aborted"), [True, False])
        self.assertEqual(self.streams("headers['Last-Event-ID']")[1], "log~first")
