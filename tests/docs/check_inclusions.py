#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Holds the code that documents show to the files that it is from.

check_inclusions.py ROOT             fails when a document of ROOT/docs shows something else than its file holds
check_inclusions.py --update ROOT    puts into the documents what the files hold

A block of code is included by a comment on the line before it that names the file, seen from ROOT, and part of it
if wanted:

    <!-- from examples/firmware/firmware.c -->
    <!-- from examples/firmware/firmware.c, from "int firmwareStart" to "}" -->

The part begins with the first line that begins with the first text, and ends with the next line that begins with the
second one, or is the second one where that is a single character. The comment with the licence at the head of a file
is not shown. Every source and unit below ROOT/examples must be shown, whole or in part, by one of the documents.
"""
import pathlib
import re
import sys

INCLUSION = re.compile(
    r'^<!-- from (?P<file>\S+?)(?:, from "(?P<first>[^"]+)" to "(?P<last>[^"]+)")? -->\n'
    r"```(?P<language>\w*)\n(?P<code>.*?)^```$", re.MULTILINE | re.DOTALL)
MARK = re.compile(r"^<!-- from ", re.MULTILINE)
LICENCE = re.compile(r"\A(//|#|/\*) SPDX-License-Identifier: [^\n]*\n")


class Unusable(Exception):
    """What a document asks for and cannot have."""


def is_last(line, last):
    return line.rstrip() == last if len(last) == 1 else line.startswith(last)


def part_of(text, first, last):
    lines = text.splitlines(keepends=True)
    begin = next((number for number, line in enumerate(lines) if line.startswith(first)), None)
    if begin is None:
        raise Unusable(f'no line begins with "{first}"')
    end = next((number for number in range(begin, len(lines)) if is_last(lines[number], last)), None)
    if end is None:
        raise Unusable(f'no line after "{first}" ends the part with "{last}"')
    return "".join(lines[begin:end + 1])


def wanted_code(root, inclusion):
    path = root / inclusion["file"]
    if not path.is_file():
        raise Unusable("there is no such file")
    text = LICENCE.sub("", path.read_text(encoding="utf-8"))
    return part_of(text, inclusion["first"], inclusion["last"]) if inclusion["first"] else text


def renewed(root, document, shown):
    """The text of a document with each block as its file has it; the files are added to `shown`."""
    text = document.read_text(encoding="utf-8")
    found = list(INCLUSION.finditer(text))
    if len(found) != len(MARK.findall(text)):
        raise Unusable(f"{document.relative_to(root)}: an inclusion without a block of code after it")

    def block(inclusion):
        shown.add(inclusion["file"])
        try:
            code = wanted_code(root, inclusion)
        except Unusable as reason:
            raise Unusable(f"{document.relative_to(root)}: {inclusion['file']}: {reason}") from None
        begin, end = (inclusion.start("code") - inclusion.start(), inclusion.end("code") - inclusion.start())
        return inclusion[0][:begin] + code + inclusion[0][end:]

    return text, INCLUSION.sub(block, text)


def main():
    arguments = [argument for argument in sys.argv[1:] if argument != "--update"]
    if len(arguments) != 1:
        print(__doc__, file=sys.stderr)
        return 2
    root = pathlib.Path(arguments[0]).resolve()
    failures, shown = [], set()
    for document in sorted((root / "docs").rglob("*.md")):
        try:
            text, wanted = renewed(root, document, shown)
        except Unusable as reason:
            failures.append(str(reason))
            continue
        if text != wanted and "--update" in sys.argv:
            document.write_text(wanted, encoding="utf-8")
        elif text != wanted:
            failures.append(f"{document.relative_to(root)}: shows other code than its files hold: "
                            "tests/docs/check_inclusions.py --update . renews it")
    examples = {str(path.relative_to(root)) for path in (root / "examples").glob("*/*")
                if path.suffix in {".c", ".cpp", ".service"}}
    failures += [f"{name}: no document shows it" for name in sorted(examples - shown)]
    if not examples:
        failures.append("there is no example")
    for failure in failures:
        print(failure, file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
