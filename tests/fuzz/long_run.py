#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Keeps the figures of a target's last long run: long_run.py TABLE TARGET COMMIT BEGUN OUTPUT

TABLE is a Markdown file with a row per target; the row of TARGET is rewritten. OUTPUT is what the fuzzer
printed with -print_final_stats=1; BEGUN is the beginning of the run in seconds since 1970. The end is when OUTPUT
was last written to. A figure missing from the output is shown as "?".
"""
import datetime
import pathlib
import re
import sys

HEAD = """# Long runs

The last long run of each fuzzing target, written by `scripts/fuzz --log SECONDS` from the fuzzer's own statistics.
Edges and features are those that all inputs reach together, kept, learnt and of the run; "new" are the inputs of the
run that reached something which none before them had reached. A finding ends a run.

| target | begun (UTC) | commit | seconds | executions | per second | edges | features | new | slowest, s | MiB | findings |
|---|---|---|---|---|---|---|---|---|---|---|---|
"""
ROW = re.compile(r"\| (\w+) \| \d{4}-")


def last(pattern: str, output: str) -> str:
    found = re.findall(pattern, output, re.MULTILINE)
    return found[-1] if found else "?"


def statistic(name: str, output: str) -> str:
    return last(rf"^stat::{name}: *(\d+)$", output)


def finding(output: str) -> str:
    """What was found: the fuzzer names the input that it wrote, whatever else ended the run."""
    written = last(r"Test unit written to (?:.*/)?(\S+)$", output)
    if written != "?":
        return written
    return "none" if re.search(r"^Done \d+ runs in ", output, re.MULTILINE) else "did not end by itself"


def row_of(target: str, commit: str, begun: int, ended: int, output: str) -> str:
    cells = [
        target,
        datetime.datetime.fromtimestamp(begun, datetime.timezone.utc).strftime("%Y-%m-%d %H:%M"),
        commit,
        str(ended - begun),
        statistic("number_of_executed_units", output),
        statistic("average_exec_per_sec", output),
        last(r" cov: (\d+) ft: ", output),
        last(r" ft: (\d+) corp: ", output),
        statistic("new_units_added", output),
        statistic("slowest_unit_time_sec", output),
        statistic("peak_rss_mb", output),
        finding(output),
    ]
    return "| " + " | ".join(cells) + " |\n"


def main() -> int:
    if len(sys.argv) != 6:
        print(__doc__, file=sys.stderr)
        return 2
    table, target, commit, begun, output = sys.argv[1:]
    path = pathlib.Path(table)
    lines = path.read_text().splitlines(keepends=True) if path.exists() else []
    rows = {match[1]: line for line in lines if (match := ROW.match(line))}
    log = pathlib.Path(output)
    ended = int(log.stat().st_mtime)
    rows[target] = row_of(target, commit, int(begun), ended, log.read_text(errors="replace"))
    path.write_text(HEAD + "".join(rows[each] for each in sorted(rows)))
    return 0


if __name__ == "__main__":
    sys.exit(main())
