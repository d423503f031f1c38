# SPDX-License-Identifier: Apache-2.0
"""The machine that the figures were taken on, and the settings needed while they are taken."""
from __future__ import annotations

import contextlib
import os
import pathlib
import platform
import re
import subprocess
import textwrap

QUEUE_LIMIT = pathlib.Path("/proc/sys/fs/mqueue/msg_max")
STORE_QUEUE = 512
PEERS = ["g++", "libspdlog-dev", "libsqlite3-0", "ripgrep", "grep", "coreutils", "mawk", "daemontools",
         "hyperfine", "libbenchmark-dev"]


def set_up(root: pathlib.Path) -> None:
    for script in ("scripts/setup", "bench/setup"):
        subprocess.run([str(root / script)], check=True)


@contextlib.contextmanager
def deep_queues():
    """Allows message queues as deep as the store's own, where this user may, for the duration of the block."""
    former = QUEUE_LIMIT.read_text() if QUEUE_LIMIT.exists() else ""
    try:
        if former and int(former) < STORE_QUEUE:
            QUEUE_LIMIT.write_text(f"{STORE_QUEUE}\n")
    except OSError:
        pass  # the programs find out how deep a queue may be
    try:
        yield
    finally:
        with contextlib.suppress(OSError):
            if former and QUEUE_LIMIT.read_text() != former:
                QUEUE_LIMIT.write_text(former)


def load() -> str:
    return " ".join(f"{value:.2f}" for value in os.getloadavg())


def output_of(*command: str) -> str:
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.strip()


def processor() -> str:
    names = re.findall(r"^model name\s*:\s*(.*)$", pathlib.Path("/proc/cpuinfo").read_text(), re.MULTILINE)
    return names[0] if names else platform.machine()


def describe(root: pathlib.Path, folder: pathlib.Path, load_before: str, scale) -> str:
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    file_system = output_of("df", "--output=fstype", str(folder)).splitlines()[-1]
    versions = textwrap.fill(
        output_of("dpkg-query", "-W", "-f", "${Package} ${Version}, ", *PEERS).rstrip(", "), 110)
    changed = output_of("git", "-C", str(root), "status", "--porcelain", "src", "port", "tools")
    commit = output_of("git", "-C", str(root), "rev-parse", "--short", "HEAD")
    if changed:
        commit += " with changes"
    return (f"{processor()}, {os.cpu_count()} processors, {memory:.0f} GiB; Linux {platform.release().split('-')[0]};\n"
            f"rings on {file_system}, read from the page cache. Load averages before and after: {load_before};\n"
            f"{load()}. Commit {commit}; {scale.rounds} rounds; rings of {scale.files} files.\n\n"
            f"Packages: {versions}.\n\n")
