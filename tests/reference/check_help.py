#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks the help of the tool: check_help.py [--update] FOLDER JORN...

FOLDER holds what `jorn --help` prints, in jorn.txt, and each `jorn COMMAND --help`, in COMMAND.txt; --update writes
these files. Each text has its examples before its options, has at most 80 columns, and has no words of the parser's
making. `jorn help` and `jorn help COMMAND` print the same.
"""
import pathlib
import re
import subprocess
import sys

WIDTH = 80
OF_PARSER = re.compile(r"TEXT|REQUIRED|Excludes|Needs|Env:|\bINT\b|UINT|FLOAT|BOOLEAN|OPTIONS\]|SUBCOMMAND|Positionals"
                       r"|:\{| in \[|-\w,--\w|--[\w-]+=| \.\.\.")


def answer(jorn, *words):
    run = subprocess.run([*jorn, *words], check=True, capture_output=True, encoding="utf-8")
    if run.stderr:
        raise ValueError(f"{' '.join(words)}: {run.stderr}")
    return run.stdout


def commands(top):
    listed = top.split("\nCommands:\n")[1].split("\n\n")[0]
    return re.findall(r"^  (\w\S*)", listed, re.MULTILINE)


def check_form(name, text):
    problems = [f"{name}: {len(line)} columns: {line}" for line in text.split("\n") if len(line) > WIDTH]
    problems += [f"{name}: words of the parser: {line}" for line in text.split("\n") if OF_PARSER.search(line)]
    titles = re.findall(r"^([A-Z][\w, ]*):$", text, re.MULTILINE)
    if titles[:1] != ["Examples"] or titles[-1:] != ["Exit codes"]:
        problems.append(f"{name}: begins with {titles[:1]} and ends with {titles[-1:]}")
    examples = text.split("\nExamples:\n")[-1].split("\n\n")[0].split("\n")
    if not 2 <= len(examples) <= 4 or not all(re.match(r"  \S", line) and "jorn " in line for line in examples):
        problems.append(f"{name}: not two to four examples: {examples}")
    if not re.search(r"^  -h, --help  ", text, re.MULTILINE):
        problems.append(f"{name}: --help is missing")
    return problems


def check_kept(path, text, is_update):
    if is_update:
        path.write_text(text, encoding="utf-8")
        return []
    kept = path.read_text(encoding="utf-8") if path.is_file() else ""
    return [] if kept == text else [f"{path.name}: --help differs; see what --update changes"]


def main():
    words = sys.argv[1:]
    is_update = words[:1] == ["--update"]
    if is_update:
        words.pop(0)
    if len(words) < 2:
        print(__doc__, file=sys.stderr)
        return 2
    folder, jorn = pathlib.Path(words[0]), words[1:]
    top = answer(jorn, "--help")
    texts = {"jorn": top, **{name: answer(jorn, name, "--help") for name in commands(top)}}
    problems = [f"{' '.join(asked)}: not the help" for asked in ([], ["help"]) if answer(jorn, *asked) != top]
    for name, text in texts.items():
        problems += check_form(name, text) + check_kept(folder / f"{name}.txt", text, is_update)
        if name != "jorn" and (answer(jorn, "help", name) != text or answer(jorn, name, "-h") != text):
            problems.append(f"help {name}: not the help of {name}")
    problems += [f"{path.name}: of no command" for path in folder.iterdir() if path.stem not in texts]
    print("\n".join(problems) or f"{len(texts)} help texts")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
