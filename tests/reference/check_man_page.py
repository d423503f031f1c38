#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks the manual page against the tool: check_man_page.py PAGE SOURCES JORN...

Every option that a command's --help prints is in the section of that command, in the same order, and the other way
round, every environment variable that SOURCES read is in ENVIRONMENT, and mandoc prints no warning.
"""
import pathlib
import re
import subprocess
import sys


def run(*words):
    return subprocess.run(words, check=True, capture_output=True, encoding="utf-8").stdout


def rendered(page):
    """The lines of the page as a reader sees them, without overstriking."""
    return re.sub(r".\x08", "", run("mandoc", "-Tascii", "-Owidth=200", page)).split("\n")


def section(lines, title):
    """The lines between a title and the next one that is not indented further."""
    depth = len(title) - len(title.lstrip())
    found = []
    for line in lines[lines.index(title) + 1:]:
        if line.strip() and len(line) - len(line.lstrip()) <= depth:
            break
        found.append(line)
    return found


def names(line):
    """The names of the options that a line begins with, `  -n, --lines N`."""
    match = re.match(r"\s+(-[^\s,]+(?:, --[^\s,]+)*)", line)
    return match[1].split(", ") if match else []


def options_of_page(lines):
    """Those of the list, which ends with --help; a paragraph after it may begin with the name of an option."""
    found = [name for line in lines if re.match(r" {5}--?\w", line) for name in names(line)]
    return found[:found.index("--help") + 1]


def options_of_help(text):
    return [name for line in text.split("\n") if re.match(r"  (-|    --)", line) for name in names(line)]


def commands(text):
    listed = text.split("\nCommands:\n")[1].split("\n\n")[0]
    return re.findall(r"^  (\w\S*)", listed, re.MULTILINE)


def compare(what, page, tool):
    problems = [f"{what}: {name} is missing in the page" for name in sorted(set(tool) - set(page))]
    problems += [f"{what}: {name} is no option of the tool" for name in sorted(set(page) - set(tool))]
    if not problems and page != tool:
        problems.append(f"{what}: the page has another order than --help: {page} and {tool}")
    return problems if tool else [f"{what}: --help lists no option"]


def variables(folder):
    """Names of variables that the sources read: literally, in a loop over a list, or through a function of theirs."""
    text = "\n".join(path.read_text(encoding="utf-8") for path in sorted(folder.rglob("*.cpp")))
    read = set(re.findall(r'getenv\("(\w+)"\)', text))
    for listed in re.findall(r"\{([^{}]*)\}\)\s*\{[^}]*getenv\(\w+\)", text):
        read |= set(re.findall(r'"(\w+)"', listed))
    for function, _ in re.findall(r"(\w+)\(const char \*(\w+)\) \{[^}]*getenv\(\2\)", text):
        read |= set(re.findall(rf'{function}\("(\w+)"\)', text))
    return read


def main():
    if len(sys.argv) < 4:
        print(__doc__, file=sys.stderr)
        return 2
    page, sources, jorn = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3:]
    lines = rendered(page)
    top = run(*jorn, "--help")
    problems = compare("jorn", options_of_page(section(lines, "DESCRIPTION")), options_of_help(top))
    listed = [line.split()[1] for line in section(lines, "COMMANDS") if re.match(r"   jorn \S+$", line)]
    if listed != commands(top) or not listed:
        problems.append(f"commands of the page: {listed}; of the tool: {commands(top)}")
    for name in set(listed) & set(commands(top)):
        of_page = options_of_page(section(lines, f"   jorn {name}"))
        problems += compare(f"jorn {name}", of_page, options_of_help(run(*jorn, name, "--help")))
    environment = "\n".join(section(lines, "ENVIRONMENT"))
    read = variables(sources) - {"PATH"}
    if not read:
        problems.append("no variable is found in the sources")
    for name in sorted(read):
        if not re.search(rf"\b{name}\b", environment):
            problems.append(f"ENVIRONMENT: {name} is missing in the page")
    lint = subprocess.run(["mandoc", "-Tlint", "-Wwarning", page], capture_output=True, encoding="utf-8")
    problems += lint.stdout.splitlines() + lint.stderr.splitlines()
    print("\n".join(problems) or f"{len(listed)} commands, as --help lists them")
    return 1 if problems or lint.returncode else 0


if __name__ == "__main__":
    sys.exit(main())
