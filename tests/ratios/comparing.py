# SPDX-License-Identifier: Apache-2.0
"""Compares what was measured in one run, in turns: of each the least counts, so that what else the machine does meanwhile
makes no difference as long as it leaves each its turn now and then."""
import subprocess
import time


def time_of(words, **options):
    """Seconds that a command takes. Its output goes into a pipe: some programs do less where nobody reads it."""
    begin = time.perf_counter()
    done = subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=False, **options)
    seconds = time.perf_counter() - begin
    if done.returncode != 0:
        raise SystemExit(f"{words[0]} ended with {done.returncode}")
    return seconds


class Comparison:
    """Figures by name, and whether all that was asked of them holds."""

    MOST_TRIES = 4

    def __init__(self):
        self.figures = {}
        self.holds = True

    def add(self, name, figure):
        self.figures.setdefault(name, []).append(figure)

    def compare(self, measure, limits):
        """Measures until each figure is at most so many times of its peer's: (name, times, peer). On a busy machine it
        takes more turns until each has had one without disturbance; too slow is what stays so."""
        for _ in range(self.MOST_TRIES):
            measure(self)
            if all(self._ratio(name, peer) <= times for name, times, peer in limits):
                break
        for name, times, peer in limits:
            ratio = self._ratio(name, peer)
            self.require(ratio <= times, f"{name}: {min(self.figures[name]) * 1000:.1f} ms, {peer}: "
                         f"{min(self.figures[peer]) * 1000:.1f} ms: {ratio:.2f} times, at most {times}")

    def require(self, holds, text):
        print(text + ("" if holds else "  FAILED"), flush=True)
        self.holds = self.holds and holds

    def _ratio(self, name, peer):
        return min(self.figures[name]) / min(self.figures[peer])
