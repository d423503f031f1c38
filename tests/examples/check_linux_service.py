#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs the example of a service as its unit and the service manager do: check_linux_service.py PROGRAM JORN UNIT.

PROGRAM is the built loadwatch, JORN the tool, UNIT the example's unit.
"""
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time

PATIENCE = 60  # seconds until something that must happen counts as hung


def settings_of(unit):
    lines = [line for line in unit.read_text().splitlines() if "=" in line and not line.startswith("#")]
    return dict(line.split("=", 1) for line in lines)


def fail(what):
    sys.exit(f"check_linux_service: {what}")


class Service:
    """The unit's command with a log's directory of its own, and `jorn` from a folder in front of all others."""

    def __init__(self, program, unit, jorn_folder, logs_directory):
        words = settings_of(unit)["ExecStart"].split()
        if pathlib.Path(words[0]).name != program.name:
            fail(f"the unit starts {words[0]}")
        environment = dict(os.environ, PATH=f"{jorn_folder}:{os.environ['PATH']}", LOGS_DIRECTORY=str(logs_directory))
        self.process = subprocess.Popen([str(program), *words[1:]], env=environment, start_new_session=True)

    def stop(self):
        """What `systemctl stop` does first where KillMode is mixed: no signal goes to the recorder."""
        self.process.send_signal(signal.SIGTERM)

    def result(self):
        try:
            return self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            os.killpg(self.process.pid, signal.SIGKILL)
            fail("it does not end")


def wait_for(path):
    for _ in range(100 * PATIENCE):
        if path.exists():
            return
        time.sleep(0.01)
    fail(f"there is no {path}")


def check_stopped_service_keeps_every_line(program, jorn, unit, folder):
    log = folder / "log"
    service = Service(program, unit, jorn.parent, log)
    wait_for(log / "0.csv")
    service.stop()
    if service.result() != 0:
        fail("it does not end with 0")
    shown = subprocess.run([str(jorn), "show", "-o", "csv", str(log)], check=True, text=True,
                           capture_output=True).stdout
    items = [line.split(",", 3) for line in shown.splitlines()[1:]]
    texts = [text for _, _, _, text in items]
    if len(texts) != 4 or texts != ["Log start init!", "started", texts[2], "ended"] or not texts[2].startswith("load "):
        fail(f"the log holds {texts}")
    if [items[1][1], items[3][1]] != ["2", "2"]:
        fail(f"the levels are {[item[1] for item in items]}")


def check_recorder_that_fails_fails_the_service(program, unit, folder):
    tools = folder / "tools"
    tools.mkdir()
    recorder = tools / "jorn"
    recorder.write_text("#!/bin/sh\nkill -TERM $PPID\nexit 4\n")
    recorder.chmod(0o755)
    if Service(program, unit, tools, folder / "none").result() != 1:
        fail("it hides that the recorder failed")


def main():
    if len(sys.argv) != 4:
        print(__doc__, file=sys.stderr)
        return 2
    program, jorn, unit = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    for setting in ("KillMode=mixed", "LogsDirectory=loadwatch", "Restart=on-failure"):
        name, value = setting.split("=")
        if settings_of(unit).get(name) != value:
            fail(f"the unit does not say {setting}")
    # A log's directory has a name of 31 characters at most: nothing but /tmp is short enough everywhere.
    with tempfile.TemporaryDirectory(prefix="j", dir="/tmp") as name:
        folder = pathlib.Path(name)
        check_stopped_service_keeps_every_line(program, jorn, unit, folder)
        check_recorder_that_fails_fails_the_service(program, unit, folder)
    return 0


if __name__ == "__main__":
    sys.exit(main())
