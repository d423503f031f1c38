#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares what reading a log costs with what text tools need for the same: reader_cost.py JORN

Processor time of whole processes, the least of some turns; all read the same files from the page cache. The limits
leave room for a machine that does other things meanwhile: bench/README.md has the aims.
"""
import os
import pathlib
import subprocess
import sys
import tempfile

FILES = 40
ITEMS_PER_FILE = 5000
ROUNDS = 9


def processor_time(command):
    process = subprocess.Popen(command, stdout=subprocess.PIPE)
    output = process.stdout.read()
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        sys.exit(f"{' '.join(command)} failed")
    return usage.ru_utime + usage.ru_stime, output


def make_log(directory):
    """A full ring, in which a word is in one of 1000 items."""
    directory.mkdir()
    directory.joinpath("index.csv").write_text(f"version:1\n0,{FILES - 1}\n")
    for file in range(FILES):
        first = file * ITEMS_PER_FILE
        directory.joinpath(f"{file}.csv").write_text("".join(
            f"{1700006400 + item * 6},{item % 4},{item % 8},{item} motor current limit reached after retry of "
            f"{'an overheated' if item % 1000 == 0 else 'a charged'} battery of door\n"
            for item in range(first, first + ITEMS_PER_FILE)))


def compare(name, ours, theirs, most):
    """Whether ours costs at most so many times of theirs."""
    times = [[], []]
    for _ in range(ROUNDS):
        for taken, command in zip(times, (ours, theirs)):
            taken.append(processor_time(command)[0])
    ratio = min(times[0]) / min(times[1])
    print(f"{name}: {min(times[0]) * 1000:.1f} ms, {theirs[0]} {min(times[1]) * 1000:.1f} ms: {ratio:.2f} times, "
          f"at most {most}")
    return ratio <= most


def main():
    tool = sys.argv[1]
    with tempfile.TemporaryDirectory(prefix="j", dir="/tmp") as name:
        log = pathlib.Path(name) / "log"
        make_log(log)
        files = [str(log / f"{file}.csv") for file in range(FILES)]
        found = int(processor_time([tool, "count", "-g", "overheated", str(log)])[1].split()[-1])
        if found != FILES * ITEMS_PER_FILE // 1000:
            sys.exit(f"{found} items found")
        holds = [compare("count -g", [tool, "count", "-g", "overheated", str(log)],
                         ["grep", "-hc", "overheated", *files], 2.0),
                 compare("show -n 20", [tool, "show", "-n", "20", str(log)], ["tail", "-qn", "20", *files[-2:]], 6.0)]
    return 0 if all(holds) else 1


if __name__ == "__main__":
    sys.exit(main())
