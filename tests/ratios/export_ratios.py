#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares what `jorn export` with cursors takes: export_ratios.py JORN

A pull of many logs that have not changed, beside `stat` of the same files; and its memory for few and for many items.
"""
import os
import pathlib
import shlex
import sys
import tempfile

sys.dont_write_bytecode = True  # Sources stay as they are.
from comparing import Comparison, time_of
from serving import FILES, make_ring

ROUNDS = 5
IDLE_LOGS = 1000
BATCH = 5000


def make_logs(folder):
    logs = []
    for number in range(IDLE_LOGS):
        log = folder / f"unit{number:04d}" / "door"
        log.mkdir(parents=True)
        (log / "index.csv").write_text("version:1\n0,0\n")
        (log / "0.csv").write_text("".join(f"{1700000000 + line},1,0,item {line}\n" for line in range(100)))
        logs.append(log)
    return logs


def measure_idle(jorn, folder, comparison):
    logs = make_logs(folder / "idle")
    stored = folder / "stored"
    pull = [jorn, "export", "-q", "--cursor-file", str(folder / "idle.cursors"), "--device-by-parent",
            "--exec", f"cat >> {shlex.quote(str(stored))}", *map(str, logs)]
    time_of(pull)
    sent = stored.read_bytes().count(b"\n")
    comparison.require(sent == 100 * IDLE_LOGS, f"the first pull sent {sent} items")
    files = [str(log / name) for log in logs for name in ("index.csv", "0.csv")]

    def measure(figures):
        for _ in range(ROUNDS):
            figures.add("a pull of 1,000 unchanged logs", time_of(pull))
            figures.add("stat of their files", time_of(["stat", *files]))

    comparison.compare(measure, [("a pull of 1,000 unchanged logs", 4.0, "stat of their files")])
    comparison.require(stored.read_bytes().count(b"\n") == sent, "the later pulls sent none")


def peak_of_export(jorn, folder, files):
    """In KiB, as each batch's command sees it at the tool that started it. Nothing else has the peak of a program alone:
    that of a finished process counts what was there before it was started."""
    name = f"of-{files}"
    make_ring(folder / name, files)
    peaks = folder / f"{name}.peaks"
    command = f"grep VmHWM: /proc/$PPID/status >> {shlex.quote(str(peaks))}; cat > /dev/null"
    time_of([jorn, "export", "-q", "--cursor-file", str(folder / f"{name}.cursors"), "--batch", str(BATCH), "--exec",
             command, str(folder / name)])
    seen = [int(line.split()[1]) for line in peaks.read_text().splitlines()]
    if len(seen) != files:
        raise SystemExit(f"{len(seen)} batches of {files}")
    return max(seen)


def main():
    jorn = os.path.abspath(sys.argv[1])
    comparison = Comparison()
    with tempfile.TemporaryDirectory(prefix="j", dir="/tmp") as name:
        folder = pathlib.Path(name)
        measure_idle(jorn, folder, comparison)
        few, many = peak_of_export(jorn, folder, FILES // 10), peak_of_export(jorn, folder, FILES)
        comparison.require(many <= 1.3 * few, f"peak memory of exporting 10 times more items: {many} KiB, {few} KiB: "
                           f"{many / few:.2f} times, at most 1.3")
    return 0 if comparison.holds else 1


if __name__ == "__main__":
    sys.exit(main())
