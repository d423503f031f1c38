#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Makes one script of the modules of the page, so that a browser asks for one file instead of one after another.

bundle_page.py OUTPUT ENTRY...

Each module becomes a function of its own that returns what the module exports, after the modules that it imports.
Its lines stay as they are, below a comment with its name. ENTRY are modules that nobody imports; the first one runs
before what only the others need. The forms that are taken are those of this page: imports of one line,
`import { a, b } from "./module.js";`, and `export` before const, function, async function and class.
"""
import pathlib
import re
import sys

IMPORT = re.compile(r'import \{ ([\w, ]+) \} from "\./([\w-]+\.js)";')
EXPORT = re.compile(r"export (?:const|class|function\*?|async function\*?) (\w+)")
HEAD = """// SPDX-License-Identifier: Apache-2.0
// The page of `jorn serve`: its modules, each in a function of its own. Made by the build.
"""


class Failure(Exception):
    pass


def variable(name):
    return name.removesuffix(".js").replace("-", "_") + "Module"


class Bundle:
    def __init__(self, folder):
        self.folder = folder
        self.parts = {}
        self.exported = {}
        self.open = []

    def add(self, name):
        """Adds a module after those that it imports."""
        if name in self.parts:
            return
        if name in self.open:
            raise Failure(f"{name}: imports itself, by {' and '.join(self.open)}")
        self.open.append(name)
        exported = self.exported[name] = []
        source = (self.folder / name).read_text(encoding="utf-8")
        lines = [self.line(name, number, line, exported) for number, line in enumerate(source.split("\n"), 1)]
        self.open.pop()
        self.parts[name] = [f"// {'-' * 20} {name}", f"const {variable(name)} = (() => {{", *lines,
                            f"return {{ {', '.join(exported)} }};", "})();", ""]

    def line(self, name, number, line, exported):
        if line.startswith("import"):
            found = IMPORT.fullmatch(line)
            if not found or not (self.folder / found[2]).is_file():
                raise Failure(f"{name}:{number}: this import cannot be bundled: {line}")
            self.add(found[2])
            missing = set(found[1].split(", ")) - set(self.exported[found[2]])
            if missing:
                raise Failure(f"{name}:{number}: {found[2]} does not export {', '.join(sorted(missing))}")
            return f"const {{ {found[1]} }} = {variable(found[2])};"
        if line.startswith("export"):
            found = EXPORT.match(line)
            if not found:
                raise Failure(f"{name}:{number}: this export cannot be bundled: {line}")
            exported.append(found[1])
            return line.removeprefix("export ")
        return line

    def text(self):
        return HEAD + "\n" + "\n".join(line for part in self.parts.values() for line in part)


def main(output, *entries):
    bundle = Bundle(pathlib.Path(entries[0]).parent)
    try:
        for entry in entries:
            bundle.add(pathlib.Path(entry).name)
        left = {path.name for path in bundle.folder.glob("*.js")} - bundle.parts.keys()
        if left:
            raise Failure(f"{', '.join(sorted(left))}: nobody imports this")
    except Failure as failure:
        sys.exit(f"bundle_page.py: {failure}")
    pathlib.Path(output).write_text(bundle.text(), encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
