# SPDX-License-Identifier: Apache-2.0
"""share/jorn/fleet/pull.sh: a copy is a whole one of a single moment, whatever becomes of the pull."""
import os
import pathlib
import shutil
import subprocess
import sys

PULL = pathlib.Path(__file__).resolve().parents[2] / "share" / "jorn" / "fleet" / "pull.sh"
LOG = "logs/unit31/door"
DEVICE = "unit31:/yaffs/door"

# In the place of rsync: machines are directories below "machines". A machine "gone" is out of reach. $FAULT says what
# else happens, at the call with the number $AT.
RSYNC = """#!/bin/sh
for word do
    shift
    case $word in
    gone:*) exit 255 ;;
    unit??:*) word=machines/${{word%%:*}}${{word#*:}} ;;
    esac
    set -- "$@" "$word"
done
echo >> calls
calls=$(wc -l < calls)
[ "$FAULT $AT" != "before $calls" ] || exit 255
{rsync} "$@" || exit
[ "$FAULT $AT" != "after $calls" ] || exit 23
[ "$FAULT $AT" != "killed $calls" ] || kill -9 $PPID
[ "$FAULT" != moved ] || printf 'version:1\\n0,%d\\n' "$calls" > machines/unit31/yaffs/door/index.csv
"""


def make_devices(folder, jorn, names):
    """Machines with a log each."""
    for number, name in enumerate(names):
        (folder / "machines" / name / "yaffs").mkdir(parents=True)
        record(jorn, folder / "machines" / name / "yaffs" / "door", 50 + number)


def record(jorn, log, count):
    lines = "".join(f"door {'open' if number % 2 else 'shut'} {number}\n" for number in range(count))
    subprocess.run([jorn, "record", log], input=lines, encoding="utf-8", check=True)


def with_machines(folder, environment):
    """With the rsync that finds them."""
    programs = folder / "bin-rsync"
    programs.mkdir(exist_ok=True)
    (programs / "rsync").write_text(RSYNC.format(rsync=shutil.which("rsync")))
    (programs / "rsync").chmod(0o755)
    return {**environment, "PATH": f"{programs}:{environment['PATH']}"}


def pull(folder, environment, commands, **fault):
    """Returns how it ended."""
    (folder / "calls").unlink(missing_ok=True)
    variables = {**with_machines(folder, environment), **{name: str(value) for name, value in fault.items()}}
    done = subprocess.run(["bash", "-ec", commands], cwd=folder, env=variables, check=False, stderr=subprocess.PIPE,
                          encoding="utf-8")
    if done.returncode != 0 and not fault:
        sys.exit(f"{commands}: exit code {done.returncode}: {done.stderr}")
    return done


def files_of(log):
    return {path.name: path.read_bytes() for path in log.iterdir()} if log.exists() else {}


def expect(what, found, wanted):
    if found != wanted:
        sys.exit(f"pull.sh: {what}: {found} instead of {wanted}")


class Machine:
    """A device with a log of two files, and then another device in its place, with a log of one."""

    def __init__(self, folder, jorn):
        self.folder, self.jorn = folder, jorn
        self.source, self.copy = folder / "machines" / "unit31" / "yaffs" / "door", folder / LOG

    def begin(self):
        for path in (self.source, self.copy.parent):
            shutil.rmtree(path, ignore_errors=True)
        self.source.mkdir(parents=True)
        (self.source / "0.csv").write_text("1700000000,1,0,a\n")
        (self.source / "1.csv").write_text("1700000001,1,0,b\n")
        (self.source / "index.csv").write_text("version:1\n0,1\n")

    def replace(self):
        shutil.rmtree(self.source)
        record(self.jorn, self.source, 3)

    def pull(self, **fault):
        return pull(self.folder, os.environ, f"sh {PULL} {DEVICE} {LOG}", **fault)


def check_replaced(machine):
    """Nothing of the former device stays."""
    machine.begin()
    machine.pull()
    expect("the first copy", files_of(machine.copy), files_of(machine.source))
    machine.replace()
    machine.pull()
    expect("the copy of another device's log", files_of(machine.copy), files_of(machine.source))
    copy = os.readlink(machine.copy)
    machine.pull()
    expect("the link to a copy that has not changed", os.readlink(machine.copy), copy)


def check_faults(machine):
    """At each call of rsync, which fails before or after its work, or after which the shell is killed."""
    count = 0
    for fault in ("before", "after", "killed"):
        for at in range(1, 100):
            machine.begin()
            machine.pull()
            former = files_of(machine.copy)
            machine.replace()
            done = machine.pull(FAULT=fault, AT=at)
            if done.returncode == 0:
                break
            if fault != "killed":
                expect(f"exit code, fault {fault} {at}", done.returncode, 1)
            expect(f"the copy, fault {fault} {at}", files_of(machine.copy), former)
            machine.pull()
            expect(f"the next copy, fault {fault} {at}", files_of(machine.copy), files_of(machine.source))
            count += 1
    if count < 9:
        sys.exit(f"pull.sh: {count} faults only")


def check_moving(machine):
    machine.begin()
    machine.pull()
    former = files_of(machine.copy)
    done = machine.pull(FAULT="moved")
    expect("a log that moves on", (done.returncode, done.stderr), (1, (
        f"pull.sh: {DEVICE}: the log moved on during each of 5 attempts; {LOG} stays as it was\n")))
    expect("the copy of a log that moves on", files_of(machine.copy), former)


def check_unreachable(machine, pull_many):
    """The devices after it are pulled, even one at a time."""
    machine.begin()
    (machine.folder / "pulls").write_text(f"gone:/yaffs/door logs/gone/door\n{DEVICE} {LOG}\n")
    done = pull(machine.folder, os.environ, pull_many.replace("-P 20", "-P 1"), FAULT="unreachable")
    expect("pulls of which one fails", (done.returncode, done.stderr), (123, (
        "pull.sh: gone:/yaffs/door: could not be copied; logs/gone/door stays as it was\n")))
    expect("the copy after a pull that failed", files_of(machine.copy), files_of(machine.source))


def check_refused(machine):
    machine.begin()
    machine.copy.mkdir(parents=True)
    done = machine.pull(FAULT="none")
    expect("a directory that is no copy", (done.returncode, done.stderr), (1, (
        f"pull.sh: {LOG}: is there already, and no copy of a log that was pulled\n")))


def check(folder, jorn, pull_many):
    machine = Machine(folder / "pulling", jorn)
    machine.folder.mkdir()
    check_replaced(machine)
    check_faults(machine)
    check_moving(machine)
    check_unreachable(machine, pull_many)
    check_refused(machine)
