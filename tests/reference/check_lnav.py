#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks the format for lnav with data files as lnav itself reads them: check_lnav.py FORMAT"""
import json
import os
import pathlib
import subprocess
import sys
import tempfile

OLDER = b"""1795240028,1,5,door open
1795240029,0,3,power lost, on battery
1795240030,3,0,Log start init!
1795240031,2,-1,
"""
NEWER = b"""1795240032,-2,0,of a damaged file
1795240033,1,2,caf\xc3\xa9 \\x00
3999999999,0,7,near the last second that lnav knows
"""
QUERY = ";select log_time, log_level, slot, log_body from jorn_log"
ITEMS = [
    ("2026-11-21 05:47:08.000", "warning", 5, "door open"),
    ("2026-11-21 05:47:09.000", "error", 3, "power lost, on battery"),
    ("2026-11-21 05:47:10.000", "debug", 0, "Log start init!"),
    ("2026-11-21 05:47:11.000", "info", -1, ""),
    ("2026-11-21 05:47:12.000", "info", 0, "of a damaged file"),
    ("2026-11-21 05:47:13.000", "warning", 2, "caf\u00e9 \\x00"),
    ("2096-10-02 07:06:39.000", "error", 7, "near the last second that lnav knows"),
]


def lnav(home, *words):
    environment = {**os.environ, "HOME": str(home), "TZ": "UTC", "TERM": "dumb", "LC_ALL": "C.UTF-8"}
    environment.pop("XDG_CONFIG_HOME", None)
    return subprocess.run(["lnav", *words], env=environment, stdin=subprocess.DEVNULL, capture_output=True,
                          encoding="utf-8", timeout=60)


def main():
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    with tempfile.TemporaryDirectory() as name:
        home = pathlib.Path(name)
        log = home / "log"
        log.mkdir()
        (home / ".lnav").mkdir()
        (log / "3.csv").write_bytes(OLDER)
        (log / "4.csv").write_bytes(NEWER)
        (log / "index.csv").write_bytes(b"version:1\n3,4\n")
        installed = lnav(home, "-i", sys.argv[1])
        checked = lnav(home, "-C")
        read = lnav(home, "-n", "-c", QUERY, "-c", ":write-json-to -", str(log / "3.csv"), str(log / "4.csv"))
    for step in (installed, checked, read):
        if step.returncode or "error" in step.stderr or "warning" in step.stderr:
            print(" ".join(step.args), step.stdout, step.stderr, sep="\n")
            return 1
    items = [tuple(row.values()) for row in json.loads(read.stdout)]
    print("\n".join(f"lnav reads {item}" for item in items))
    return 0 if items == ITEMS else 1


if __name__ == "__main__":
    sys.exit(main())
