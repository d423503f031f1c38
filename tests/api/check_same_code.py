#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares what the calls of jorn.hpp and those of jorn.h cost: check_same_code.py CXX QEMU INCLUDE [FLAG...].

Builds same_code.cpp optimised for speed and for size, runs it emulated, one instruction at a time, and counts the
instructions of each function. A function that uses jorn.hpp (cpp...) must not take more of them than its
counterpart that uses jorn.h (c...).
"""
import collections
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
FUNCTION = re.compile(r"^Trace .*\] (c|cpp)([A-Z]\w*)$", re.MULTILINE)


def executed(compiler, emulator, flags, folder):
    """Instructions by function: {"Pages": {"c": 390, "cpp": 389}}."""
    program, trace = folder / "same_code", folder / "trace"
    subprocess.run([compiler, "-std=c++17", "-fno-exceptions", "-fno-rtti", *flags, str(HERE / "same_code.cpp"),
                    str(HERE / "same_code_main.cpp"), "-static", "-o", str(program)], check=True)
    done = subprocess.run([emulator, "-singlestep", "-d", "exec,nochain", "-D", str(trace), str(program)],
                          check=False)
    if done.returncode != 0:
        sys.exit(f"line {done.returncode} of same_code_main.cpp does not hold")
    counts = collections.defaultdict(collections.Counter)
    for language, name in FUNCTION.findall(trace.read_text()):
        counts[name][language] += 1
    return counts


def compare(counts, optimisation):
    """Prints all figures. Returns whether no function takes more."""
    dearer = 0
    for name, count in sorted(counts.items()):
        if not count["c"] or not count["cpp"]:
            sys.exit(f"{name}: there is no pair of it")
        dearer += count["cpp"] > count["c"]
        print(f"{optimisation} {name:13} jorn.h {count['c']:4}  jorn.hpp {count['cpp']:4}"
              + ("  more" if count["cpp"] > count["c"] else ""))
    if not counts:
        sys.exit("nothing was counted")
    return not dearer


def main():
    if len(sys.argv) < 4:
        print(__doc__, file=sys.stderr)
        return 2
    compiler, emulator, include, *flags = sys.argv[1:]
    passed = True
    with tempfile.TemporaryDirectory(prefix="j", dir="/tmp") as folder:
        for optimisation in ("-O2", "-Os"):
            counts = executed(compiler, emulator, [optimisation, f"-I{include}", *flags], pathlib.Path(folder))
            passed = compare(counts, optimisation) and passed
    return 0 if passed else 1


if __name__ == "__main__":
    sys.exit(main())
