# SPDX-License-Identifier: Apache-2.0
"""How one gets to the page: by the file that --open gives to the browser, and by links on other sites."""
import functools
import http.server
import json
import os
import stat
import subprocess
import threading

import sample
from support import JORN, PATIENCE, PageTest, wait_for


class QuietHandler(http.server.SimpleHTTPRequestHandler):
    def log_message(self, format, *args):  # pylint: disable=redefined-builtin
        pass


class EntryTest(PageTest):
    def is_expected(self, entry):
        # The answers that are refused here, and an icon that the other site does not have.
        return "status of 40" in entry["message"]

    def other_site(self, **links):
        """The URL of a page of another site, with a link for each name."""
        (self.scratch / "site").mkdir()
        (self.scratch / "site" / "wiki.html").write_text(
            "".join(f'<p><a id="{name}" href="{url}">{name}</a>' for name, url in links.items()))
        handler = functools.partial(QuietHandler, directory=str(self.scratch / "site"))
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
        thread = threading.Thread(target=server.serve_forever)
        thread.start()
        self.addCleanup(server.server_close)
        self.addCleanup(thread.join)
        self.addCleanup(server.shutdown)
        # Another name of this machine is another site.
        return f"http://localhost:{server.server_port}/wiki.html"

    def test_link_on_another_site_opens_the_page_as_it_says(self):
        self.open(self.serve(self.log(sample.ITEMS)))
        base = f"http://127.0.0.1:{self.server.port}"
        wiki = self.other_site(page=f"{base}/?level=0", api=f"{base}/api/logs", download=f"{base}/api/download")
        self.driver.get(wiki)
        self.click("#page")
        wait_for(lambda: self.driver.current_url.startswith(base), "page is opened")
        self.settle()
        self.wait_query(level="0")
        self.assertEqual({row["level"] for row in self.in_view()}, {"error"})
        for name in ("api", "download"):
            self.driver.get(wiki)
            self.click(f"#{name}")
            wait_for(lambda: self.driver.current_url.startswith(f"{base}/api/"), "the API has answered")
            answer = json.loads(self.text_of("body"))
            self.assertEqual(list(answer), ["error"])

    def test_link_on_another_site_without_a_cookie_is_refused(self):
        server = self.serve(self.log(sample.ITEMS))
        self.driver.get(self.other_site(page=f"http://127.0.0.1:{server.port}/?level=0"))
        self.click("#page")
        wait_for(lambda: "A token is needed" in self.text_of("body"), "refused")

    def test_file_of_open_leads_to_the_page(self):
        opened = self.scratch / "opened"
        (self.scratch / "bin").mkdir()
        opener = self.scratch / "bin" / "xdg-open"
        opener.write_text(f'#!/bin/sh\nprintf %s "$1" >"{opened}.part" && mv "{opened}.part" "{opened}"\n')
        opener.chmod(stat.S_IRWXU)
        environment = {**os.environ, "PATH": f"{opener.parent}:{os.environ['PATH']}",
                       "XDG_RUNTIME_DIR": str(self.scratch)}
        with subprocess.Popen([JORN, "serve", "--open", "--listen", "127.0.0.1:0", str(self.log(sample.ITEMS))],
                              stdout=subprocess.PIPE, text=True, env=environment) as server:
            base = server.stdout.readline().split("?")[0]
            wait_for(opened.exists, "something is opened")
            self.driver.get(f"file://{opened.read_text()}")
            wait_for(lambda: self.driver.current_url.startswith(base), "page is opened")
            self.settle()
            self.assertNotIn("token", self.driver.current_url)
            self.assertTrue(self.in_view())
            self.driver.get("about:blank")
            server.terminate()
            self.assertEqual(server.wait(PATIENCE), 0)
