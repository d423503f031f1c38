#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares what `jorn serve` takes over a full ring with grep on the same files: serve_ratios.py JORN

Besides, its memory, and whether each of 64 clients gets each item that is recorded, once and in order. The limits leave
room for a machine that does other things meanwhile: bench/README.md has the aims.
"""
import pathlib
import re
import selectors
import subprocess
import sys
import tempfile
import time

sys.dont_write_bytecode = True  # Sources stay as they are.
from comparing import Comparison, time_of
from serving import FIRST_TIME, SEARCHES, Server, files_of, make_ring

ROUNDS = 5
MOST_KIBIBYTES = 64 * 1024
FOLLOWERS = 64
BURSTS, ITEMS_OF_BURST = 20, 10
FULL_SCAN = "grep -c of a rare word"


def measure(jorn, ring, comparison):
    since, until = FIRST_TIME + 10**6, FIRST_TIME + 2 * 10**6
    for _ in range(ROUNDS):
        # Anew each time, since it remembers what it has searched for.
        with Server(jorn, ring) as server:
            server.get("/api/histogram")
            comparison.add("zoom", server.timed(f"/api/histogram?since=@{since}&until=@{until}"))
            comparison.add("filter", server.timed("/api/items?level=0&slot=3&after=100"))
            for name, (parameters, _) in SEARCHES.items():
                comparison.add(name, server.timed(f"/api/items?{parameters}&after=100"))
        for name, (_, arguments) in SEARCHES.items():
            comparison.add(f"grep -c of {name}", time_of(["grep", "-hc", *arguments, *files_of(ring)]))


class Follower:
    def __init__(self, stream):
        self.stream = stream
        self.heard = b""

    def texts(self):
        return [int(number) for number in re.findall(rb'"text":"followed (\d+)"', self.heard)]


def read_until(followers, selector, count):
    """Until each of them has so many items; False when that takes too long."""
    end = time.monotonic() + 60
    waiting = {follower for follower in followers if len(follower.texts()) < count}
    while waiting and time.monotonic() < end:
        for key, _ in selector.select(timeout=1):
            more = key.data.stream.recv(1 << 20)
            if not more:
                raise SystemExit("a stream ended")
            key.data.heard += more
        waiting = {follower for follower in waiting if len(follower.texts()) < count}
    return not waiting


def check_followers(jorn, ring, comparison):
    with Server(jorn, ring) as server, selectors.DefaultSelector() as selector:
        for parameters, _ in SEARCHES.values():
            server.get(f"/api/items?{parameters}")
        followers = [Follower(server.follow()) for _ in range(FOLLOWERS)]
        for follower in followers:
            selector.register(follower.stream, selectors.EVENT_READ, follower)
        recorder = subprocess.Popen([jorn, "record", str(ring)], stdin=subprocess.PIPE)
        times = []
        for burst in range(BURSTS):
            begin = time.perf_counter()
            first = burst * ITEMS_OF_BURST
            recorder.stdin.write("".join(f"followed {first + i}\n" for i in range(ITEMS_OF_BURST)).encode())
            recorder.stdin.flush()
            if not read_until(followers, selector, first + ITEMS_OF_BURST):
                break
            times.append(time.perf_counter() - begin)
        recorder.stdin.close()
        if recorder.wait() != 0:
            raise SystemExit("jorn record failed")
        expected = list(range(BURSTS * ITEMS_OF_BURST))
        whole = sum(follower.texts() == expected for follower in followers)
        comparison.require(whole == FOLLOWERS, f"{whole} of {FOLLOWERS} followers have each of {len(expected)} items once "
                           f"and in order; a burst took {max(times, default=0) * 1000:.0f} ms at most")
        for follower in followers:
            follower.stream.close()
        peak = server.peak_kibibytes()
        comparison.require(peak < MOST_KIBIBYTES, f"peak memory: {peak} KiB, less than {MOST_KIBIBYTES}")


def main():
    jorn = sys.argv[1]
    comparison = Comparison()
    with tempfile.TemporaryDirectory(prefix="j", dir="/tmp") as folder:
        ring = pathlib.Path(folder) / "ring"
        make_ring(ring)
        comparison.compare(lambda figures: measure(jorn, ring, figures),
                           [(name, 1.0, FULL_SCAN) for name in ("zoom", "filter")] +
                           [(name, 3.0, f"grep -c of {name}") for name in SEARCHES])
        check_followers(jorn, ring, comparison)
    return 0 if comparison.holds else 1


if __name__ == "__main__":
    sys.exit(main())
