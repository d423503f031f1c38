#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares what writing items as JSON costs with what CSV costs: writer_cost.py JORN

It counts instructions, which do not depend on what else the machine does, and subtracts the cost of starting the
tool and of opening a log. Fails when JSON reaches less than 0.9 of CSV's rate.
"""
import pathlib
import re
import subprocess
import sys
import tempfile

ITEMS = 5000
LEAST_RATE = 0.9


def instructions(command):
    done = subprocess.run(["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", *command],
                          stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, check=False)
    collected = re.search(r"Collected : (\d+)", done.stderr)
    if done.returncode != 0 or not collected:
        sys.exit(f"{' '.join(command)} failed under callgrind:\n{done.stderr}")
    return int(collected[1])


def make_log(directory, items):
    """Items six seconds apart: their seconds differ, some of their minutes, hours and days too."""
    directory.mkdir()
    directory.joinpath("index.csv").write_text("version:1\n0,0\n")
    directory.joinpath("0.csv").write_text("".join(
        f"{1700006400 + item * 6},{item % 4},{item % 8},{item} motor current limit reached after retry of door\n"
        for item in range(items)))


def cost(tool, command, folder):
    return (instructions([tool, *command, str(folder / "full")]) -
            instructions([tool, *command, str(folder / "empty")])) / ITEMS


def main():
    tool = sys.argv[1]
    failed = False
    with tempfile.TemporaryDirectory(prefix="j", dir="/tmp") as name:
        folder = pathlib.Path(name)
        make_log(folder / "full", ITEMS)
        make_log(folder / "empty", 1)
        for command, csv, json in ((["export", "-q"], "csv", "jsonl"), (["show"], "csv", "json")):
            costs = [cost(tool, [*command, "-o", form], folder) for form in (csv, json)]
            rate = costs[0] / costs[1]
            print(f"{command[0]}: {costs[0]:.0f} instructions an item as CSV, {costs[1]:.0f} as JSON: "
                  f"{rate:.2f} of CSV's rate")
            failed = failed or min(costs) <= 0 or rate < LEAST_RATE
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
