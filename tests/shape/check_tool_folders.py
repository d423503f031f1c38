#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Holds the shape of the tool's source tree: check_tool_folders.py ROOT.

- A file of tools/jorn/ includes only files of its own folder and of those that USES lists for it.
- USES has no cycle, so that these includes go one way, folder by folder.
- A folder holds no more units than a reader takes in at a glance. Header and source are one unit.
- Of the module, the tool uses the owners of formats and the limits; what needs log objects only where the module
  itself is run, in USES_MODULE.
- docs/architecture.md has a line for each folder.
"""
import pathlib
import re
import sys

sys.dont_write_bytecode = True  # Sources stay as they are.
from check_shape import LIMITS, OWNERS, includes_of, sources, unit

MOST_UNITS = 16

# Which others each folder may use. Of the three that hold the substance of one command each, none uses another.
FOUNDATION = {"terminal", "system", "log", "query"}
SHARED = FOUNDATION | {"live", "health", "output"}
USES = {
    "terminal": set(),
    "usage": {"terminal"},
    "system": {"terminal"},
    "log": {"terminal", "system"},
    "query": {"terminal", "system", "log"},
    "live": FOUNDATION,
    "health": FOUNDATION,
    "output": FOUNDATION,
    "import": FOUNDATION | {"output"},
    "record": SHARED | {"import"},
    "cursor": FOUNDATION,
    "export": SHARED | {"cursor"},
    "repair": SHARED,
    "merge": FOUNDATION,
    "http": {"terminal", "system", "output"},
    "serve": SHARED | {"http"},
    "options": SHARED | {"usage", "merge"},
    "commands": SHARED | {"usage", "import", "record", "export", "repair", "merge", "http", "serve", "options"},
}

# The main program, which is beside the folders, and the folders that it uses.
MAIN = "main.cpp"
MAIN_USES = {"commands", "system", "usage"}

# Where the module itself is run: for the device's pages, and to record.
USES_MODULE = {"query", "record"}

# What every folder may use of the module.
OF_MODULE = OWNERS | {unit(name) for name in LIMITS} | {"src/diagnostics"}

TOOL = "tools/jorn"


def circle_in(uses):
    """The folders that remain when none of them can be placed below the others."""
    left = dict(uses)
    while True:
        lowest = [folder for folder, used in left.items() if not used & left.keys()]
        if not lowest:
            return sorted(left)
        for folder in lowest:
            del left[folder]


def included(root, path):
    """Names, from the root, of the project's files that a file includes."""
    return includes_of(root, path, [TOOL, "src", "include"])


def folder_of(name):
    """The tool's folder, or the file beside the folders, of a name from the root; None for what is not part of the
    tool."""
    return name[len(TOOL) + 1:].split("/")[0] if name.startswith(TOOL + "/") else None


def check_folder(root, folder, allowed):
    files = sources(root, f"{TOOL}/{folder}")
    failures = [] if files else [f"{folder}/: holds no source"]
    units = {unit(path) for path in files}
    if len(units) > MOST_UNITS:
        failures.append(f"{folder}/: {len(units)} units, at most {MOST_UNITS}")
    for path in files:
        for name in included(root, path):
            used = folder_of(name)
            is_other = used not in {None, folder} | allowed
            is_module = name.startswith("src/") and unit(name) not in OF_MODULE and folder not in USES_MODULE
            if is_other or is_module:
                failures.append(f"{path.relative_to(root)} includes {name}, which {folder}/ may not use")
    return failures


def check_top(root):
    """Checks that only the main program is beside the folders, and that each folder with sources is in USES."""
    found = {folder_of(str(path.relative_to(root))) for path in sources(root, TOOL)}
    failures = [f"{TOOL}/{name}: has no place among the folders" for name in sorted(found - USES.keys() - {MAIN})]
    failures += [f"{TOOL}/{MAIN} includes {name}" for name in included(root, root / TOOL / MAIN)
                 if folder_of(name) not in MAIN_USES | {None}]
    return failures


def check_document(path):
    text = path.read_text()
    return [f"{path.name} has no line for `{folder}/`" for folder in USES
            if not re.search(rf"^\| `{folder}/`[,` a-z/]* \|", text, re.MULTILINE)]


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    root = pathlib.Path(sys.argv[1]).resolve()
    circle = circle_in(USES)
    failures = [f"a circle among {', '.join(circle)}"] if circle else []
    failures += check_top(root)
    for folder, allowed in USES.items():
        failures += check_folder(root, folder, allowed)
    failures += check_document(root / "docs" / "architecture.md")
    for failure in failures:
        print(failure, file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
