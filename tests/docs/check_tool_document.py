#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs what docs/tool.md shows: check_tool_document.py DOCUMENT SAMPLES JORN...

JORN are the words that start the tool. The lines of each block ```console that begin with "$ " are run, one after the
other, in a folder with the SAMPLES; each must print what follows it, standard error included, and end with exit code 0
or with the one in a last line "[exit code N]". "TIME" stands for a time of the machine's clock, and paths are seen from
the folder. Then each row of the table of other programs' options in coming-from.md, beside DOCUMENT, is run, and what
it prints is compared with what the other program prints, where it can be run on the same input, or with what the row
claims. A row that has no such comparison here is an error.
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

BLOCK = re.compile(r"^```console\n(.*?)^```$", re.MULTILINE | re.DOTALL)
ROW = re.compile(r"^\| (journalctl|logcat|dmesg|tail|grep) \| `(.+)` \| `(.+)` \|$", re.MULTILINE)
TIMESTAMP = re.compile(r"\b\d{8}T\d{6}Z\b")


class Shell:
    """Runs command lines in a folder, with the tool in the search path."""

    def __init__(self, folder, jorn):
        self.folder = folder
        programs = folder.parent / "bin"
        programs.mkdir()
        words = " ".join(f"'{word}'" for word in jorn)
        (programs / "jorn").write_text(f'#!/bin/sh\nexec {words} "$@"\n', encoding="utf-8")
        (programs / "jorn").chmod(0o755)
        self.environment = {**os.environ, "PATH": f"{programs}:{os.environ['PATH']}", "TZ": "UTC", "LC_ALL": "C.UTF-8"}

    def run(self, line, timeout=60):
        return subprocess.run(["sh", "-c", line], cwd=self.folder, env=self.environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, encoding="utf-8", timeout=timeout)

    def out(self, line):
        """What a line prints; it must end well."""
        done = self.run(line)
        if done.returncode != 0:
            raise AssertionError(f"{line}: exit code {done.returncode}: {done.stdout}")
        return done.stdout


def commands_of(block):
    """Pairs of a command line and what is shown after it."""
    parts = re.split(r"^\$ ", block, flags=re.MULTILINE)[1:]
    return [part.split("\n", 1) for part in parts]


def check_examples(shell, text):
    problems = []
    blocks = BLOCK.findall(text)
    for line, shown in [pair for block in blocks for pair in commands_of(block)]:
        done = shell.run(line)
        printed = TIMESTAMP.sub("TIME", done.stdout).replace(f"{shell.folder}/", "") + (f"[exit code {done.returncode}]\n" if done.returncode else "")
        if printed != shown:
            problems.append(f"$ {line}\nprints\n{printed}instead of\n{shown}")
    return problems if blocks else ["no example"]


def make_log(shell):
    """A log of 300 items over five days up to today, in every level and slot, and its data files."""
    now = int(time.time())
    lines = []
    for number in range(300):
        when = now - (299 - number) * 1447
        text = f"unit {number} door {'opened' if number % 3 else 'Error: stuck'}"
        lines.append(json.dumps({"time": when, "level": number % 4, "slot": number % 8, "text": text}))
    (shell.folder / "items").write_text("\n".join(lines) + "\n", encoding="utf-8")
    shell.out("jorn record --files 2 --format jsonl log < items")
    # The same items as text, for programs that read lines.
    shell.out("jorn show -o cat log > log.txt")
    return [json.loads(line) for line in shell.out("jorn show -o json log").splitlines()]


class Rows:
    """What each row of the table claims, by the option of the other program."""

    def __init__(self, shell):
        self.shell = shell
        self.items = make_log(shell)

    def shown(self, line):
        """The items that a line prints, in JSON."""
        return [json.loads(each) for each in self.shell.out(line + " -o json").splitlines()]

    def expect_items(self, line, wanted):
        found = self.shown(line)
        assert found == wanted, f"{len(found)} items instead of {len(wanted)}"
        assert wanted, "no item can tell whether it is right"

    def expect_same(self, theirs, ours):
        """The other program's command line on log.txt prints what ours does of the log, items as their texts."""
        expected = self.shell.out(theirs.replace("FILE", "log.txt"))
        assert expected, "the other program prints nothing"
        found = self.shell.out(ours.replace("jorn show", "jorn show -o cat"))
        assert found == expected, f"{found[:300]!r} instead of {expected[:300]!r}"

    def since(self, line, begin, end=None):
        self.expect_items(line, [item for item in self.items if begin <= item["time"] <= (end or 1 << 32)])

    @staticmethod
    def midnight(days):
        return int(time.time()) // 86400 * 86400 - days * 86400

    def follows(self, line):
        """Prints what was there, and what comes then."""
        last, new = self.items[-1]["text"], f"new one after {len(self.items)}"
        script = f": > followed; timeout 30 {line} -o cat > followed & pid=$!; " \
                 f"until grep -qxF '{last}' followed; do sleep 0.02; done; " \
                 f"echo '{new}' | jorn record log; " \
                 f"until grep -qxF '{new}' followed; do sleep 0.02; done; kill $pid; wait $pid; cat followed"
        lines = self.shell.out(script).splitlines()
        assert lines[-1] == new, lines
        assert lines[-3] == self.items[-1]["text"], lines
        return lines

    def check(self, program, theirs, ours):
        line = re.sub(r"\bDIR\b", "log", ours)
        checks = {
            "journalctl": self.journalctl, "logcat": self.logcat, "dmesg": self.dmesg, "tail": self.tail, "grep": self.grep}
        check = checks[program]().get(theirs)
        assert check, "nothing checks this row"
        check(line)

    def levels(self, least_severe):
        return [item for item in self.items if item["level"] <= least_severe]

    def journalctl(self):
        items = self.items
        return {
            "journalctl": lambda line: self.expect_items(line, items),
            "journalctl -n 20": lambda line: self.expect_items(line, items[-20:]),
            "journalctl -r": lambda line: self.expect_items(line, items[::-1]),
            "journalctl -f": lambda line: self.follows(line),
            "journalctl -S yesterday": lambda line: self.since(line, self.midnight(1)),
            "journalctl -S -2h": lambda line: self.since(line, int(time.time()) - 7200),
            "journalctl -S '2 days ago' -U yesterday": lambda line: self.expect_items(
                line, [item for item in items
                       if int(time.time()) - 172800 <= item["time"] < self.midnight(0)]),
            "journalctl -p warning": lambda line: self.expect_items(line, self.levels(1)),
            "journalctl -p err..warning": lambda line: self.expect_items(line, self.levels(1)),
            "journalctl -t NAME": lambda line: self.expect_items(
                line.replace("SLOT", "5"), [item for item in items if item["slot"] == 5]),
            "journalctl -g REGEX": lambda line: self.expect_items(
                line.replace("REGEX", "stuck"), [item for item in items if "stuck" in item["text"]]),
            "journalctl -o cat": lambda line: self.expect_text(line, [item["text"] for item in items]),
            "journalctl -o json": lambda line: self.expect_json(line),
            "journalctl -o short-iso": lambda line: self.expect_text(
                line, [f"{item['iso']} {item['text']}" for item in items]),
            "journalctl --utc": lambda line: self.expect_text(
                line, [f"{time.strftime('%F %TZ', time.gmtime(item['time']))} {item['level']} {item['slot']} "
                       f"{item['text']}" for item in items]),
            "journalctl --disk-usage": lambda line: self.expect_disk_usage(line),
            "journalctl --verify": lambda line: self.expect_sound(line),
            "journalctl -e": lambda line: self.expect_items(line, items),
            "journalctl --no-pager": lambda line: self.expect_items(line, items),
        }

    def logcat(self):
        items = self.items
        return {
            "logcat": lambda line: self.follows(line),
            "logcat -d": lambda line: self.expect_items(line, items),
            "logcat -t 20": lambda line: self.expect_items(line, items[-20:]),
            "logcat -T 20": lambda line: self.expect_count(self.follows(line), 20 + 2),
            "logcat '*:W'": lambda line: self.expect_items(line, self.levels(1)),
            "logcat -e REGEX": lambda line: self.expect_items(
                line.replace("REGEX", "stuck"), [item for item in items if "stuck" in item["text"]]),
            "logcat -g": lambda line: self.expect_disk_usage(line),
            "logcat -c": lambda line: self.expect_cleared(line),
        }

    def dmesg(self):
        return {
            "dmesg": lambda line: self.expect_items(line, self.items),
            "dmesg -w": lambda line: self.follows(line),
            "dmesg -l err,warn": lambda line: self.expect_items(line, self.levels(1)),
            "dmesg -T": lambda line: self.expect_text(
                line, [f"{time.strftime('%F %T', time.gmtime(item['time']))} {item['text']}" for item in self.items]),
            "dmesg --time-format iso": lambda line: self.expect_text(
                line, [f"{item['iso']} {item['text']}" for item in self.items]),
            "dmesg -C": lambda line: self.expect_cleared(line),
        }

    def tail(self):
        return {
            "tail -n 20 FILE": lambda line: self.expect_same("tail -n 20 FILE", line),
            "tail -f FILE": lambda line: self.expect_count(self.follows(line), 10 + 2),
            "tail -n +1 -f FILE": lambda line: self.expect_count(self.follows(line), len(self.items) + 2),
            "tail -F FILE": self.expect_waiting}

    def grep(self):
        same = ("grep stuck FILE", "grep -i ERROR FILE", "grep -v stuck FILE", "grep -e stuck -e opened FILE",
                "grep -E 'unit (1|2)0 ' FILE", "grep -C 2 'unit 50 ' FILE", "grep -A 1 -B 2 '50 door' FILE",
                "grep -m 5 stuck FILE", "grep -q stuck FILE && echo yes")
        return {**{theirs: lambda line, theirs=theirs: self.expect_same(theirs, line) for theirs in same},
                "grep -c stuck FILE": self.expect_total}

    def expect_total(self, line):
        count = self.shell.out("grep -c stuck log.txt").strip()
        assert self.shell.out(line).split()[-2:] == ["total", count], f"not {count}"

    @staticmethod
    def expect_count(lines, count):
        assert len(lines) == count, f"{len(lines)} lines instead of {count}"

    def expect_text(self, line, wanted):
        found = self.shell.out(line).splitlines()
        assert found == wanted, f"{found[:2]} instead of {wanted[:2]}"

    def expect_json(self, line):
        found = [json.loads(each) for each in self.shell.out(line).splitlines()]
        assert found == self.items, f"{len(found)} items"

    def expect_disk_usage(self, line):
        size = sum(path.stat().st_size for path in (self.shell.folder / "log").glob("*.csv"))
        printed = self.shell.out(line)
        assert re.search(rf"\b{size}\b", printed.replace(",", "")), f"{size} bytes are not in {printed}"

    def expect_sound(self, line):
        assert "log: sound (" in self.shell.out(line), self.shell.out(line)
        shutil.copytree(self.shell.folder / "log", self.shell.folder / "damaged")
        with open(self.shell.folder / "damaged/0.csv", "a", encoding="utf-8") as file:
            file.write("no item\n")
        assert self.shell.run(line.replace("log", "damaged")).returncode == 3
        shutil.rmtree(self.shell.folder / "damaged")

    def expect_cleared(self, line):
        shutil.copytree(self.shell.folder / "log", self.shell.folder / "old")
        self.shell.out(line.replace("log", "old"))
        assert self.shell.out("jorn show -o cat old") == "Log all cleared!\n"
        shutil.rmtree(self.shell.folder / "old")

    def expect_waiting(self, line):
        """Waits for a log that is not there yet."""
        line = line.replace("log", "later")
        script = f": > followed; : > notes; timeout 30 {line} -o cat > followed 2> notes & pid=$!; " \
                 "until grep -q 'waiting' notes; do sleep 0.02; done; echo new | jorn record later; " \
                 "until grep -q new followed; do sleep 0.02; done; kill $pid; wait $pid; cat followed"
        assert self.shell.out(script) == "Log start init!\nnew\n"
        shutil.rmtree(self.shell.folder / "later")


def problem_of(checks, row):
    """Why a row does not hold; empty if it does."""
    program, theirs, ours = (cell.replace("\\|", "|") for cell in row)
    try:
        checks.check(program, theirs, ours)
    except (AssertionError, subprocess.TimeoutExpired, ValueError) as failure:
        return f"{theirs} -> {ours}: {failure}"
    return ""


def check_table(shell, text):
    rows = ROW.findall(text)
    problems = []
    programs = {row[0] for row in rows}
    if programs != {"journalctl", "logcat", "dmesg", "tail", "grep"}:
        problems.append(f"the table has {sorted(programs)}")
    checks = Rows(shell)
    for row in rows:
        day = checks.midnight(0)
        problem = problem_of(checks, row)
        # "yesterday" may have become another day in the middle of it.
        problem = problem_of(checks, row) if problem and day != checks.midnight(0) else problem
        problems += [problem] if problem else []
        checks.items = [json.loads(line) for line in shell.out("jorn show -o json log").splitlines()]
        shell.out("jorn show -o cat log > log.txt")
    return problems, len(rows)


def main():
    if len(sys.argv) < 4:
        print(__doc__, file=sys.stderr)
        return 2
    document = pathlib.Path(sys.argv[1])
    text = document.read_text(encoding="utf-8")
    table = document.with_name("coming-from.md").read_text(encoding="utf-8")
    with tempfile.TemporaryDirectory(prefix="jt") as name:
        folder = pathlib.Path(name, "w")
        shutil.copytree(sys.argv[2], folder)
        shell = Shell(folder, [os.path.abspath(word) if "/" in word else word for word in sys.argv[3:]])
        problems = check_examples(shell, text)
        of_table, rows = check_table(shell, table)
    problems += of_table
    print("\n".join(problems) or f"{len(BLOCK.findall(text))} examples and {rows} rows, as the tool answers")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
