#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that every test that a document names exists: check_named_tests.py TESTS DOCUMENT...

TESTS is the folder of the tests. A test is named in backticks: `Suite.Name`, `Suite.*` for all of a suite,
`Suite.Begin*` for those whose names begin so, `Suite.*/Case` for one case of it; a name that CMake gives a test counts
too.
"""
import pathlib
import re
import sys

NAMED = re.compile(r"`((?:[A-Z]\w*|fuzz)\.(?:[\w*]+)(?:/\w+)?)`")
FILE = re.compile(r"\.(csv|bak|md|cpp|h|o|a|so|py)$")


def sources(folder: pathlib.Path) -> str:
    files = [path for path in folder.rglob("*") if path.suffix in {".cpp", ".h", ".txt"}]
    return "\n".join(path.read_text(encoding="utf-8", errors="replace") for path in files)


def is_there(name: str, text: str) -> bool:
    suite, _, rest = name.partition(".")
    test, _, case = rest.partition("/")
    if suite == "fuzz":
        return re.search(rf"foreach\(name [^)]*\b{test}\b|jorn_add_fuzz_target\({test}\b", text) is not None
    if case and not re.search(rf'"{case}"|\b{case}\b', text):
        return False
    if test == "*":
        return re.search(rf"TEST(_F|_P)?\({suite},", text) is not None
    if test.endswith("*"):
        return re.search(rf"TEST(_F|_P)?\({suite},\s*{test[:-1]}\w+\)", text) is not None
    return (re.search(rf"TEST(_F|_P)?\({suite},\s*{test}\)", text) is not None
            or re.search(rf"NAME {suite}\.{test}\b", text) is not None)


def main() -> int:
    if len(sys.argv) < 3:
        print(__doc__, file=sys.stderr)
        return 2
    text = sources(pathlib.Path(sys.argv[1]))
    named = missing = 0
    for document in sys.argv[2:]:
        for name in NAMED.findall(pathlib.Path(document).read_text(encoding="utf-8")):
            if FILE.search(name):
                continue
            named += 1
            if not is_there(name, text):
                missing += 1
                print(f"{document}: there is no test {name}")
    print(f"{named} names of tests, {missing} of them of no test")
    return 1 if missing or not named else 0


if __name__ == "__main__":
    sys.exit(main())
