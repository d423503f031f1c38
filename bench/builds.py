# SPDX-License-Identifier: Apache-2.0
"""What is built for the run, and what the builds themselves report: footprint and wear of the flash."""
from __future__ import annotations

import pathlib
import re
import subprocess

from measuring import Failure, Figures

FOOTPRINT = re.compile(r"^ *(\d+) bytes  (\w+)(?:, .*)?$", re.MULTILINE)
SIZES = ("text", "constants", "data", "bss", "logObject", "fileSummary")
STORE_TASK = "jorn_TskStoreLogCsv"
RIG = pathlib.Path("build/flash/tests/faults/flash/jorn_flash_rig")
# Bytes of a line: ten digits of time, level, slot, three commas, the text and the line feed.
LINE_WITHOUT_TEXT = 10 + 1 + 1 + 3 + 1
PAGE_BYTES = 2048
PAGE_KINDS = ("programmed", "erased", "data", "headers", "moved", "summaries")


def cmake(root: pathlib.Path, *arguments: str) -> str:
    """What a step prints, warnings included."""
    done = subprocess.run(["cmake", *arguments], cwd=root, text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT)
    if done.returncode != 0:
        raise Failure(f"cmake {' '.join(arguments)}:\n{done.stdout}")
    return done.stdout


def build(root: pathlib.Path) -> None:
    cmake(root, "--preset", "bench")
    cmake(root, "--build", "--preset", "bench")


def measure_footprint(root: pathlib.Path, figures: Figures) -> None:
    cmake(root, "--preset", "arm-bare")
    output = cmake(root, "--build", "--preset", "arm-bare")
    exported = (root / "port/vxworks/exported-symbols.txt").read_text().split()
    for size, name in FOOTPRINT.findall(output):
        if name in (*SIZES, STORE_TASK, *exported):
            figures.add(f"footprint/{name}", float(size))
    missing = [name for name in (*SIZES, STORE_TASK, *exported) if not figures.has(f"footprint/{name}")]
    if missing:
        raise Failure(f"arm-bare: no size of {', '.join(missing)} in what the build prints")


def measure_flash(root: pathlib.Path, figures: Figures, may_build: bool) -> None:
    """Adds a note where there is no rig: its file system's source has to be fetched."""
    if may_build:
        try:
            cmake(root, "--preset", "flash")
            cmake(root, "--build", "build/flash", "--target", "jorn_flash_rig")
        except Failure as failure:
            figures.notes["flash"] = f"not measured: {str(failure).splitlines()[-1]}"
            return
    if not (root / RIG).exists():
        figures.notes["flash"] = "not measured: the preset `flash` is not built here"
        return
    output = subprocess.run([str(root / RIG), "--wear"], check=True, capture_output=True, text=True).stdout
    text = int(re.search(r"items of (\d+) bytes", output)[1])
    figures.add("flash/bytes", 1000 * (LINE_WITHOUT_TEXT + text) / PAGE_BYTES)
    columns = re.search(r"^ *burst .*$", output, re.MULTILINE)[0].split()
    for line in output.splitlines()[2:]:
        row = dict(zip(columns, line.split()))
        for kind in PAGE_KINDS:
            figures.add(f"flash/{row['burst']}/{row['caches']}:{kind}", float(row[kind]))
