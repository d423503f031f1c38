#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Holds the shape of the tool's source tree: check_tool_folders.py ROOT.

- A file of tools/jorn/ includes files of its own folder, and of those that USES names for it, only.
- USES has no circle, so that these includes run one way, folder by folder.
- A folder holds no more units than a reader takes in at a glance. Header and source are one unit.
- docs/architecture.md has a line for each folder.
"""
import pathlib
import re
import sys

MOST_UNITS = 16

# What each folder may use of the others. Of the three that hold the substance of one command each, none uses
# another.
FOUNDATION = {"terminal", "system", "log", "query"}
SHARED = FOUNDATION | {"live", "health", "output"}
USES = {
    "terminal": set(),
    "system": {"terminal"},
    "log": {"terminal", "system"},
    "query": {"terminal", "system", "log"},
    "live": FOUNDATION,
    "health": FOUNDATION,
    "output": FOUNDATION,
    "record": SHARED,
    "export": SHARED,
    "repair": SHARED,
    "commands": SHARED | {"record", "export", "repair"},
}

# The main program, beside the folders, uses these.
MAIN = "main.cpp"
MAIN_USES = {"commands", "system"}

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)
SUFFIXES = {".h", ".cpp"}


def circle_in(uses):
    """The folders that are left when none of them can be put below the others."""
    left = dict(uses)
    while True:
        lowest = [folder for folder, used in left.items() if not used & left.keys()]
        if not lowest:
            return sorted(left)
        for folder in lowest:
            del left[folder]


def folders_used_by(tool, path):
    """The tool's folders from which a file includes, each with the name in the include."""
    for name in INCLUDE.findall(path.read_text()):
        place = next((place for place in (path.parent / name, tool / name) if place.is_file()), None)
        if place is not None:
            yield place.resolve().relative_to(tool).parts[0], name


def check_folder(tool, folder, allowed):
    files = sorted(path for path in (tool / folder).rglob("*") if path.suffix in SUFFIXES)
    failures = [] if files else [f"{folder}/: holds no source"]
    units = {path.with_suffix("") for path in files}
    if len(units) > MOST_UNITS:
        failures.append(f"{folder}/: {len(units)} units, at most {MOST_UNITS}")
    for path in files:
        failures += [f"{path.relative_to(tool)} includes {name}, but {folder}/ may not use {used}/"
                     for used, name in folders_used_by(tool, path) if used != folder and used not in allowed]
    return failures


def check_top(tool):
    """Beside the folders there is the main program alone, and each folder with sources has its place in USES."""
    found = {path.relative_to(tool).parts[0] for path in tool.rglob("*") if path.suffix in SUFFIXES}
    failures = [f"{name}: has no place among the folders" for name in sorted(found - USES.keys() - {MAIN})]
    failures += [f"{MAIN} includes {name}" for used, name in folders_used_by(tool, tool / MAIN)
                 if used not in MAIN_USES]
    return failures


def check_document(path):
    text = path.read_text()
    return [f"{path.name} has no line for `{folder}/`" for folder in USES
            if not re.search(rf"^\| `{folder}/`[,` a-z/]* \|", text, re.MULTILINE)]


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    root = pathlib.Path(sys.argv[1]).resolve()
    tool = root / "tools" / "jorn"
    circle = circle_in(USES)
    failures = [f"a circle among {', '.join(circle)}"] if circle else []
    failures += check_top(tool)
    for folder, allowed in USES.items():
        failures += check_folder(tool, folder, allowed)
    failures += check_document(root / "docs" / "architecture.md")
    for failure in failures:
        print(failure, file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
