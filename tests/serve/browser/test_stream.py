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

    def test_pause_ends_the_request(self):
        self.open_log()
        self.press("p")
        wait_for(lambda: self.text_of("#connection") == "Paused", "stream is closed")
        self.assertEqual(self.streams("signal.aborted"), [True])
        self.press("p")
        wait_for(lambda: self.text_of("#connection") == "Live", "stream is open")
        self.assertEqual(self.streams("signal.aborted"), [True, False])

    def test_connection_that_has_been_silent_for_long_is_given_up(self):
        # The time for which it may be silent passes when the test says so.
        self.open_log("""
            window.silences = new Map();
            const { setTimeout, clearTimeout } = window;
            window.setTimeout = (work, time) => {
              const timer = setTimeout(work, time);
              if (time === 40000) {
                window.silences.set(timer, work);
              }
              return timer;
            };
            window.clearTimeout = (timer) => {
              window.silences.delete(timer);
              clearTimeout(timer);
            };""" + FAKE_STREAM)

        def timers():
            return self.driver.execute_script("return [...window.silences.keys()]")
        before = wait_for(timers, "a time is set")
        self.assertEqual(len(before), 1)
        # Whatever comes, such as a comment, begins that time anew.
        self.driver.execute_script("window.send('items', { items: [] })")
        wait_for(lambda: timers() != before, "another time is set")
        self.assertEqual(len(timers()), 1)
        self.assertEqual(self.streams("signal.aborted"), [False])
        self.driver.execute_script("window.silences.values().next().value()")
        wait_for(lambda: self.streams("signal.aborted") == [True, False], "another connection")
        wait_for(lambda: self.text_of("#connection") == "Live", "stream is open")

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


# Of answers to /api/items after a scroll the first one does not come: it is refused, or when the test lets it.
REFUSE_WINDOW = """
const fetched = window.fetch;
window.refused = 0;
window.fetch = (path, options) => (/items.*anchor=/.test(path) && window.refused++ === 0
  ? Promise.resolve(Response.json({ error: "too many requests" }, { status: 503 })) : fetched(path, options));
"""
HOLD_WINDOW = """
const fetched = window.fetch;
const held = new Promise((resolve) => { window.release = resolve; });
window.fetch = async (path, options) => {
  if (/items.*anchor=/.test(path)) {
    window.asked = true;
    await held;
  }
  return fetched(path, options);
};
"""
# The first answer about the logs is from before their check.
CHECK_LATER = """
const fetched = window.fetch;
window.fetch = async (path, options) => {
  const answer = await fetched(path, options);
  if (path !== "/api/logs" || window.wasAsked) {
    return answer;
  }
  window.wasAsked = true;
  const body = await answer.json();
  body.logs.forEach((log) => { log.state = "checking"; });
  return Response.json(body);
};
"""


class AnswerTest(PageTest):
    """Answers that come late, or not at all."""

    def open_log(self, script, query=""):
        self.inject(script)
        self.open(self.serve(self.log(sample.ITEMS)), query)

    def scroll(self, script):
        self.driver.execute_script(f"document.getElementById('list').scrollTop {script}")

    def test_window_that_was_refused_is_asked_for_again(self):
        self.open_log(REFUSE_WINDOW)
        self.scroll("= 8000")
        wait_for(lambda: self.text_of("#notice") == "too many requests", "refusal is shown")
        wait_for(lambda: self.rows() and not any(row["awaited"] for row in self.rows()), "rows are shown")
        wait_for(lambda: not self.element("#notice").is_displayed(), "notice is gone")
        self.assertEqual(self.driver.execute_script("return window.refused"), 2)

    def test_scrolling_in_the_moment_of_an_answer_is_not_undone(self):
        self.open_log(HOLD_WINDOW)
        self.scroll("= 8000")
        wait_for(lambda: self.driver.execute_script("return window.asked"), "rows are asked for")
        # Browsers report the scrolling a little later; here they never do, and the answer is taken before that.
        self.driver.execute_script("addEventListener('scroll', (event) => event.stopImmediatePropagation(), true);")
        self.scroll("= 8200")
        self.driver.execute_script("window.release()")
        wait_for(lambda: self.rows() and not any(row["awaited"] for row in self.in_view()), "rows are shown")
        self.assertEqual(self.element("#list").get_property("scrollTop"), 8200)

    def test_check_that_ends_while_paused_is_shown(self):
        self.open_log(CHECK_LATER, "stream=0")
        wait_for(lambda: self.text_of("#logs") == "log OK", "log is checked")
        self.assertEqual(self.text_of("#connection"), "Paused")
