#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Holds the shape of the source tree: check_shape.py ROOT.

- Includes between the files of src/, and between the units of port/posix/, go one way: nothing includes itself
  through others.
- Units that own a format or pure arithmetic include nothing of the project but limits and each other.
- src/ includes nothing of tools/, tests/ or port/ by path.
- The literals of the formats are in their owners and in tests only. Messages are exempt: only a literal that is a
  name or a format by itself counts.
- A file of a test has at most MOST_TEST_LINES lines: one above that has more than one subject.
"""
import pathlib
import re
import sys

LIMITS = {"src/module_limits.h", "include/jorn.h"}

# The owners, by unit. Header and source are one unit.
OWNERS = {"src/ring", "src/registry/message", "src/csvfile/line", "src/csvfile/file_names",
          "src/csvfile/file_summary", "src/csvfile/tidying_plan", "src/store/index_text"}

# Literals, and the only unit that may hold each.
LITERALS = {
    r"%s/%ld\.csv": "src/csvfile/file_names",
    r"/?index\.csv": "src/csvfile/file_names",
    r"/?index\.bak": "src/csvfile/file_names",
    r"version:.*": "src/store/index_text",
    r"%l?d,%l?d(\\n)?": "src/store/index_text",
    r"Log start init!": "src/csvfile/line",
    r"Log all cleared!": "src/csvfile/line",
}

# Where literals are searched for. Tests may have them.
LITERAL_FOLDERS = ("src", "port", "tools", "include")

MOST_TEST_LINES = 500

# Not a test's own: the kernel of the emulated board, and the campaign that runs on it, each a program in one piece.
LONG_TEST_FILES = {"tests/board/kernel.cpp", "tests/board/cuts.cpp"}

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)
STRING = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
SUFFIXES = {".h", ".cpp", ".c"}


def sources(root, folder):
    return sorted(path for path in (root / folder).rglob("*") if path.suffix in SUFFIXES)


def unit(name):
    return str(pathlib.PurePosixPath(name).with_suffix(""))


def without_comments(text):
    return re.sub(r"/\*.*?\*/|(?<!:)//[^\n]*", "", text, flags=re.DOTALL)


def includes_of(root, path, search):
    """Names, from the root, of the project's files that a file includes; unresolved ones as written."""
    for name in INCLUDE.findall(path.read_text()):
        places = [place / name for place in (path.parent, *(root / folder for folder in search))]
        found = next((place for place in places if place.is_file()), None)
        yield str(found.resolve().relative_to(root)) if found else name


def cycle_in(graph):
    """A path of includes from a file back to itself, or None."""
    state = {}

    def visit(name, way):
        state[name] = "open"
        for following in graph.get(name, ()):
            if state.get(following) == "open":
                return [*way[way.index(following):], following] if following in way else [name, following]
            if following not in state:
                found = visit(following, [*way, following])
                if found:
                    return found
        state[name] = "done"
        return None

    for start in sorted(graph):
        if start not in state:
            found = visit(start, [start])
            if found:
                return found
    return None


def check_module(root):
    graph = {str(path.relative_to(root)): list(includes_of(root, path, ["src", "include"]))
             for path in sources(root, "src")}
    failures = []
    cycle = cycle_in(graph)
    if cycle:
        failures.append("includes go in a circle: " + " > ".join(cycle))
    for name, included in graph.items():
        failures += [f"{name} includes {other}, which is not of the module" for other in included
                     if not other.startswith(("src/", "include/"))]
        if unit(name) in OWNERS:
            failures += [f"{name} owns a format and includes {other}" for other in included
                         if other not in LIMITS and unit(other) not in OWNERS]
    units = {unit(name) for name in graph}
    failures += [f"{owner}: no such unit" for owner in sorted(OWNERS - units)]
    return failures, len(graph)


def check_port(root):
    graph = {}
    for path in sources(root, "port/posix"):
        name = unit(path.relative_to(root))
        others = includes_of(root, path, ["port/posix/include"])
        graph.setdefault(name, set()).update(unit(other) for other in others if unit(other) != name)
    if not graph:
        return ["port/posix: no such folder"]
    cycle = cycle_in({name: sorted(others) for name, others in graph.items()})
    return ["units include each other in a circle: " + " > ".join(cycle)] if cycle else []


def check_literals(root):
    failures, held = [], set()
    patterns = {re.compile(pattern + r"\Z"): owner for pattern, owner in LITERALS.items()}
    for folder in LITERAL_FOLDERS:
        for path in sources(root, folder):
            name = str(path.relative_to(root))
            code = re.sub(INCLUDE, "", without_comments(path.read_text()))
            for literal in STRING.findall(code):
                for pattern, owner in patterns.items():
                    if not pattern.match(literal):
                        continue
                    if unit(name) == owner:
                        held.add(pattern)
                    else:
                        failures.append(f'{name}: "{literal}" belongs to {owner}')
    failures += [f"{owner} holds no literal like {pattern.pattern}" for pattern, owner in patterns.items()
                 if pattern not in held]
    return failures


def check_test_files(root):
    failures = []
    for path in sources(root, "tests"):
        name = str(path.relative_to(root))
        lines = path.read_text().count("\n")
        if (lines > MOST_TEST_LINES) != (name in LONG_TEST_FILES):
            failures.append(f"{name}: {lines} lines, at most {MOST_TEST_LINES}" if lines > MOST_TEST_LINES else
                            f"{name}: needs no exemption any more")
    return failures


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    root = pathlib.Path(sys.argv[1]).resolve()
    failures, files = check_module(root)
    if files == 0:
        failures.append(f"{root}: no source found")
    failures += check_port(root) + check_literals(root) + check_test_files(root)
    for failure in failures:
        print(failure, file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
