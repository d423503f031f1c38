# SPDX-License-Identifier: Apache-2.0
"""Logs, servers and a browser for the tests of the page."""
import atexit
import contextlib
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

from selenium import webdriver
from selenium.common.exceptions import NoSuchElementException, StaleElementReferenceException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By

# Server and browser are in one zone, but for the test that is about that.
os.environ["TZ"] = "UTC"
time.tzset()

JORN = os.environ["JORN"]
PICTURES = pathlib.Path(os.environ["JORN_PICTURES"])
TOKEN = "0123456789abcdef0123456789abcdef"
# Long enough for a machine on which other things go on. What holds is noticed at once.
PATIENCE = float(os.environ.get("JORN_PATIENCE", "30"))
DESK = (1280, 800)
PHONE = (390, 844)

NAMES = "[levels]\n0 = error\n1 = warning\n2 = info\n3 = debug\n[slots]\n0 = store\n1 = motor\n2 = door\n"


def wait_for(condition, what):
    """Waits until a condition holds, and returns what it returns. What it looks at may come late, or be renewed."""
    end = time.monotonic() + PATIENCE
    seen = None
    while time.monotonic() < end:
        with contextlib.suppress(StaleElementReferenceException, NoSuchElementException):
            seen = condition()
            if seen:
                return seen
        time.sleep(0.02)
    raise AssertionError(f"not within {PATIENCE} s: {what}; last seen: {seen!r}")


def json_lines(items):
    """Items (time, level, slot, text) as the recorder reads them."""
    return "".join(json.dumps({"time": time_, "level": level, "slot": slot, "text": text}) + "\n"
                   for time_, level, slot, text in items)


def record(directory, items, files=4, names=NAMES):
    """Records items with their own times."""
    subprocess.run([JORN, "record", "--format", "jsonl", "--files", str(files), "--parents", directory], check=True,
                   input=json_lines(items), text=True, capture_output=True)
    if names:
        (pathlib.Path(directory) / "jorn.names").write_text(names)


class Recorder:
    """A recorder at work, fed by hand."""

    def __init__(self, directory, *options):
        # pylint: disable=consider-using-with
        self.process = subprocess.Popen([JORN, "record", directory, *options], stdin=subprocess.PIPE, text=True,
                                        stderr=subprocess.PIPE)

    def write(self, *lines):
        self.process.stdin.write("".join(line + "\n" for line in lines))
        self.process.stdin.flush()

    def end(self):
        self.process.stdin.close()
        errors = self.process.stderr.read()
        self.process.stderr.close()
        if self.process.wait(PATIENCE) != 0:
            raise AssertionError(errors)


def free_port():
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        return taken.getsockname()[1]


class Server:
    """`jorn serve` over some directories, at a port and with a token that stay when it is started again."""

    def __init__(self, scratch, *directories, environment=None):
        self.token_file = pathlib.Path(scratch) / "token"
        self.token_file.write_text(TOKEN + "\n")
        self.token_file.chmod(0o600)
        self.directories = [str(directory) for directory in directories]
        self.environment = {**os.environ, **(environment or {})}
        self.port = free_port()
        self.process = None
        self.start()

    def start(self):
        # pylint: disable=consider-using-with
        self.process = subprocess.Popen(
            [JORN, "serve", "--listen", f"127.0.0.1:{self.port}", "--token-file", self.token_file, *self.directories],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=self.environment)
        line = self.process.stdout.readline()
        if self.url() not in line:
            raise AssertionError(f"{line!r}, {self.process.stderr.read()}")

    def url(self, query=""):
        return f"http://127.0.0.1:{self.port}/?token={TOKEN}" + (f"&{query}" if query else "")

    def stop(self, by=signal.SIGTERM):
        self.process.send_signal(by)
        self.process.wait(PATIENCE)
        self.process.stdout.close()
        self.process.stderr.close()


class Browser:
    """One Chromium for all tests."""

    one = None

    def __init__(self):
        options = webdriver.ChromeOptions()
        options.binary_location = shutil.which("chromium")
        arguments = ["--headless=new", "--disable-dev-shm-usage", "--window-size=1280,800", "--lang=en"]
        if os.geteuid() == 0:
            arguments.append("--no-sandbox")  # Chromium has none for root.
        for argument in arguments:
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)

    @classmethod
    def get(cls):
        if cls.one is None:
            cls.one = Browser()
            atexit.register(cls.one.driver.quit)
        return cls.one

    def look(self, size=DESK, dark=False, still=False):
        """Sets what media queries ask for."""
        width, height = size
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 600})
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"},
            {"name": "prefers-reduced-motion", "value": "reduce" if still else "no-preference"}]})


ROWS = """
const list = document.getElementById("list").getBoundingClientRect();
return [...document.querySelectorAll(".rows [role=row]")].map((row) => {
  const box = row.getBoundingClientRect();
  const text = (name) => row.querySelector("." + name).textContent;
  return { id: row.id, index: Number(row.getAttribute("aria-rowindex")), top: box.top - list.top, height: box.height,
    inView: box.bottom > list.top + 1 && box.top < list.bottom - 1, awaited: row.classList.contains("awaited"),
    selected: row.getAttribute("aria-selected") === "true", when: text("when"), level: text("level"),
    slot: text("slot"), log: text("log"), text: text("text"),
    marks: [...row.querySelectorAll("mark")].map((mark) => mark.textContent) };
});
"""


# Streams send what a test says, and nothing else: send(type, data, id). For inject().
FAKE_STREAM = """
const fetched = window.fetch;
window.fetch = (path, options) => {
  if (!String(path).startsWith("/api/stream")) {
    return fetched(path, options);
  }
  const body = new ReadableStream({ start(stream) {
    window.send = (type, data, id = "log~-") => stream.enqueue(new TextEncoder().encode(
      `event: ${type}\\nid: ${id}\\ndata: ${JSON.stringify(data)}\\n\\n`));
    options.signal.addEventListener("abort", () => stream.error(options.signal.reason));
    window.send("change", { total: -1, items_lost: 0, revision: 1 });
  } });
  return Promise.resolve(new Response(body));
};
"""


class PageTest(unittest.TestCase):
    """A test with a directory of its own and the browser."""

    def setUp(self):
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="jorn-page-"))
        self.addCleanup(shutil.rmtree, self.scratch, ignore_errors=True)
        self.browser = Browser.get()
        self.driver = self.browser.driver
        self.browser.look()
        self.servers = []
        self.addCleanup(self.stop_servers)
        self.addCleanup(self.leave)

    def stop_servers(self):
        for server in self.servers:
            server.stop()

    def leave(self):
        """Every page is left before its server ends. What the browser complains of is a failure."""
        errors = [entry["message"] for entry in self.driver.get_log("browser") if not self.is_expected(entry)]
        self.driver.get("about:blank")
        # Browsers send the cookies of all ports of a host: those of many servers would be too long a header.
        self.driver.execute_cdp_cmd("Network.clearBrowserCookies", {})
        self.assertEqual(errors, [])

    def is_expected(self, entry):
        """Whether a test provokes what the browser complains of."""
        del entry
        return False

    def log(self, items, name="log", **options):
        directory = self.scratch / name
        record(str(directory), items, **options)
        return directory

    def serve(self, *directories, **options):
        server = Server(self.scratch, *directories, **options)
        self.servers.append(server)
        return server

    def open(self, server, query=""):
        self.server = server
        self.driver.get(server.url(query))
        self.settle()

    def settle(self):
        """Waits until list, histogram and facets are there."""
        wait_for(lambda: self.driver.execute_script(
            "return document.getElementById('summary').textContent && document.querySelector('.choices label, #empty')"
            " && !document.querySelector('.awaited') && document.getElementById('total').textContent"
            " && document.querySelector('.badge') && true"), "page is loaded")

    def inject(self, script):
        """Runs a script in each page before its own ones, until the test ends."""
        added = self.driver.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": "{" + script + "}"})
        self.addCleanup(self.driver.execute_cdp_cmd, "Page.removeScriptToEvaluateOnNewDocument", added)

    def element(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def text_of(self, selector):
        return self.element(selector).get_property("textContent")

    def press(self, *keys):
        ActionChains(self.driver).send_keys(*keys).perform()

    def click(self, selector):
        self.element(selector).click()

    def type_into(self, selector, text):
        field = self.element(selector)
        field.clear()
        field.send_keys(text)

    def rows(self):
        return self.driver.execute_script(ROWS)

    def in_view(self):
        return [row for row in self.rows() if row["inView"]]

    def texts(self):
        return [row["text"] for row in self.in_view()]

    def selected(self):
        return next((row["text"] for row in self.rows() if row["selected"]), None)

    def query(self):
        return self.driver.execute_script("return Object.fromEntries(new URLSearchParams(location.search))")

    def wait_query(self, **expected):
        """Waits until values of the URL are these; None for one that is not there."""
        wait_for(lambda: {name: self.query().get(name) for name in expected} == expected, f"URL has {expected}")

    def wait_total(self, total):
        wait_for(lambda: self.text_of("#total") == total, f"total is {total}")
        self.settle()

    def wait_texts(self, expected):
        wait_for(lambda: self.texts()[:len(expected)] == expected, f"first rows are {expected}")

    def api(self, path):
        """What the server answers the page."""
        return self.driver.execute_async_script(
            "const done = arguments[1]; fetch(arguments[0]).then((answer) => answer.json()).then(done)", path)

    def picture(self, name):
        PICTURES.mkdir(parents=True, exist_ok=True)
        self.driver.save_screenshot(str(PICTURES / f"{name}.png"))
