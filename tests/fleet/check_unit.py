# SPDX-License-Identifier: Apache-2.0
"""The service and timer in share/jorn/fleet: systemd reads them without complaint, and the command of the unit ships."""
import configparser
import os
import pathlib
import re
import shlex
import subprocess
import sys

import check_pulls

ROOT = pathlib.Path(__file__).resolve().parents[2]
SHARE = ROOT / "share" / "jorn" / "fleet"
STATE = "/var/lib/jorn-fleet"


def settings(name):
    parser = configparser.ConfigParser(interpolation=None)
    parser.optionxform = str
    parser.read(SHARE / name)
    return parser


def documented_addition():
    """What docs/fleet.md adds to the unit for pulls."""
    return re.search(r"```ini\n(.*?)```", (ROOT / "docs" / "fleet.md").read_text(), re.DOTALL).group(1)


def verify(folder):
    """With a user that exists here, and the timer beside its service."""
    for name, addition in [("jorn-fleet.service", documented_addition()), ("jorn-fleet.timer", "")]:
        text = (SHARE / name).read_text().replace("User=jorn-fleet", "User=daemon")
        (folder / name).write_text(text + addition)
    done = subprocess.run(["systemd-analyze", "verify", "--man=no", folder / "jorn-fleet.service",
                           folder / "jorn-fleet.timer"], check=False, stderr=subprocess.PIPE, encoding="utf-8")
    complaints = [line for line in done.stderr.splitlines() if "jorn-fleet" in line]
    if done.returncode != 0 or complaints:
        sys.exit(f"systemd-analyze verify: exit code {done.returncode}: {done.stderr}")


def command_of(unit, folder):
    """ExecStart as systemd would run it, and what it adds to the environment, with a state below the folder."""
    words = [word.replace(STATE, str(folder / "state")) for word in shlex.split(unit["Service"]["ExecStart"])]
    name, value = shlex.split(unit["Service"]["Environment"])[0].split("=", 1)
    return words, {name: value.replace("/usr/share/jorn/fleet", str(SHARE))}


def pull_first(fleet):
    """Runs what docs/fleet.md adds. It is a new pull of logs that have changed."""
    machines = fleet.folder / "machines"
    check_pulls.record(fleet.jorn, machines / "unit21" / "yaffs" / "door", 7)
    parser = configparser.ConfigParser(interpolation=None)
    parser.optionxform = str
    parser.read_string(documented_addition())
    folder = pathlib.Path(parser["Service"]["WorkingDirectory"].replace(STATE, str(fleet.folder / "state")))
    (folder / "machines").symlink_to(machines)
    (folder / "pulls").write_text((fleet.folder / "pulls").read_text())
    command = parser["Service"]["ExecStartPre"].lstrip("-").replace("/usr/share/jorn/fleet", str(SHARE))
    check_pulls.pull(folder, os.environ, command)
    return fleet.items()


def check_unit(fleet, layout, check):
    """Runs the unit's command twice, with a state of its own: so the engine gets all items once under new epochs."""
    verify(fleet.folder)
    (fleet.folder / "state").mkdir()
    (fleet.folder / "state" / "logs").symlink_to(fleet.folder / "logs")
    items = pull_first(fleet)
    before = {row["epoch"] for row in layout.rows()}
    words, variables = command_of(settings("jorn-fleet.service"), fleet.folder)
    for _ in range(2):
        done = subprocess.run(words, cwd="/", env={**layout.environment, **variables}, check=False,
                              stderr=subprocess.PIPE, encoding="utf-8")
        if done.returncode != 0 or done.stderr:
            sys.exit(f"the unit's command: exit code {done.returncode}: {done.stderr}")
    check("the unit", [row for row in layout.rows() if row["epoch"] not in before], items)
    if not settings("jorn-fleet.timer").has_option("Timer", "OnUnitInactiveSec"):
        sys.exit("the timer does not start the service again and again")
