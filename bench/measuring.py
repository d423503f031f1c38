# SPDX-License-Identifier: Apache-2.0
"""Figures by name, and how a process is measured."""
from __future__ import annotations

import collections
import os
import statistics
import subprocess
import time


class Failure(Exception):
    """Something did not work, or two answers differ."""


class Figures:
    """Values of each measurement, one or more per round, and the answer that it gave."""

    def __init__(self) -> None:
        self.values: dict[str, list[float]] = collections.defaultdict(list)
        self.answers: dict[str, float] = {}
        self.notes: dict[str, str] = {}

    def add(self, name: str, value: float) -> None:
        self.values[name].append(value)

    def median(self, name: str) -> float:
        if name not in self.values:
            raise Failure(f"{name}: not measured")
        return statistics.median(self.values[name])

    def has(self, name: str) -> bool:
        return name in self.values

    def answer(self, name: str, value: float) -> None:
        """All names that are the same up to the last slash must have the same answer."""
        question = name.rsplit("/", 1)[0]
        if self.answers.setdefault(question, value) != value:
            raise Failure(f"{name} answers {value:.0f}, others {self.answers[question]:.0f}")


def run_process(command: list[str] | str, matches: bool = True) -> tuple[float, float, bytes]:
    """Wall and processor time in nanoseconds of a program, or of a shell command line with all it starts, and what
    it printed. The start of the processes is included. A search may find nothing only where `matches` is false."""
    line = ["sh", "-c", command] if isinstance(command, str) else command
    start = time.perf_counter_ns()
    with subprocess.Popen(line, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE) as process:
        output = process.stdout.read()
        _, status, usage = os.wait4(process.pid, 0)
        wall = time.perf_counter_ns() - start
        process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode not in ((0,) if matches else (0, 1)):
        raise Failure(f"{' '.join(line)[:200]}: exit code {process.returncode}")
    return wall, (usage.ru_utime + usage.ru_stime) * 1e9, output
