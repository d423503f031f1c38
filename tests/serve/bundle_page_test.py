#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of bundle_page.py, run as the build runs it."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).parents[2] / "tools" / "jorn" / "serve" / "bundle_page.py"
BUNDLE = """// SPDX-License-Identifier: Apache-2.0
// The page of `jorn serve`: its modules, each in a function of its own. Made by the build.

// -------------------- low.js
const lowModule = (() => {
const hidden = 1;
/** Of use. */
const shown = () => hidden;
class Part {}

return { shown, Part };
})();

// -------------------- first.js
const firstModule = (() => {
const { shown } = lowModule;
shown();

return {  };
})();

// -------------------- last.js
const lastModule = (() => {
const { shown, Part } = lowModule;

return {  };
})();
"""


class BundlePageTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        self.write("low.js", "const hidden = 1;\n/** Of use. */\nexport const shown = () => hidden;\n"
                             "export class Part {}\n")
        self.write("first.js", 'import { shown } from "./low.js";\nshown();\n')
        self.write("last.js", 'import { shown, Part } from "./low.js";\n')

    def write(self, name, text):
        (self.root / name).write_text(text)

    def bundle(self):
        run = subprocess.run([sys.executable, SCRIPT, self.root / "bundle", self.root / "first.js",
                              self.root / "last.js"], capture_output=True, text=True, check=False)
        return run.returncode, run.stderr

    def expect_refused(self, message):
        self.assertEqual(self.bundle(), (1, f"bundle_page.py: {message}\n"))
        self.assertFalse((self.root / "bundle").exists())

    def test_modules_stand_after_those_they_import_each_once(self):
        self.assertEqual(self.bundle(), (0, ""))
        self.assertEqual((self.root / "bundle").read_text(), BUNDLE)

    def test_import_of_another_form_is_refused(self):
        for line in ('import * as low from "./low.js";', 'import { shown } from "low.js";', "import {",
                     'import { shown } from "./missing.js";'):
            self.write("last.js", f"\n{line}\n")
            self.expect_refused(f"last.js:2: this import cannot be bundled: {line}")

    def test_export_of_another_form_is_refused(self):
        self.write("last.js", "export let changing = 1;\n")
        self.expect_refused("last.js:1: this export cannot be bundled: export let changing = 1;")

    def test_import_of_what_is_not_exported_is_refused(self):
        self.write("last.js", 'import { hidden, shown } from "./low.js";\n')
        self.expect_refused("last.js:1: low.js does not export hidden")

    def test_modules_that_import_each_other_are_refused(self):
        self.write("low.js", 'import { ready } from "./last.js";\n')
        self.write("last.js", 'import { shown } from "./low.js";\n')
        self.expect_refused("low.js: imports itself, by first.js and low.js and last.js")

    def test_module_that_nobody_imports_is_refused(self):
        self.write("alone.js", "")
        self.expect_refused("alone.js: nobody imports this")


if __name__ == "__main__":
    unittest.main()
