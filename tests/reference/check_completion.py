#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks what a shell offers while a command line is typed: check_completion.py bash|zsh SCRIPT JORN

Every command that `jorn --help` prints is offered, and for each command the options that its --help prints, and no
others.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

NAMES = """[levels]
0 = error
1=warning ; the lamp is yellow
2 = $(touch${IFS}harm)
[slots]
5 = door
"""
HERE = pathlib.Path(__file__).resolve().parent


class Shell:
    """Asks a shell for its offers in a folder with the logs `first` and `second` and a file `third`."""

    def __init__(self, kind, script, jorn, folder):
        self.start = {"bash": ["bash", "--norc", HERE / "complete.bash", script],
                      "zsh": ["zsh", "-f", HERE / "complete.zsh", script.parent]}[kind]
        self.folder = folder
        self.environment = {**os.environ, "PATH": f"{jorn.parent}:{os.environ['PATH']}", "TERM": "dumb"}

    def offers(self, *words):
        """What is offered for the last word, without the slash after a directory."""
        answer = subprocess.run([*self.start, "jorn", *words], cwd=self.folder, env=self.environment, check=True,
                                stdin=subprocess.DEVNULL, capture_output=True, encoding="utf-8", timeout=60)
        return {line.rstrip("/") for line in answer.stdout.split("\n") if line}


def help_of(jorn, *words):
    return subprocess.run([jorn, *words, "--help"], check=True, capture_output=True, encoding="utf-8").stdout


def options_of(text):
    """Names, value and meaning of the options in --help: {name: (value, meaning)}"""
    options = {}
    joined = re.sub(r"\n {20,}", " ", text)
    for names, value, meaning in re.findall(r"^ {2,6}(-[^\s,]+(?:, --\S+)?)(?: (\S+))?  +(.*)$", joined, re.MULTILINE):
        options.update({name: (value, meaning) for name in names.split(", ")})
    return options


def commands_of(text):
    listed = text.split("\nCommands:\n")[1].split("\n\n")[0]
    return re.findall(r"^  (\w\S*)", listed, re.MULTILINE)


def choices_of(meaning):
    """The words of "Colours: auto (default), always or never"; none where the meaning is no such list."""
    listed = meaning.replace(" (default)", "").split(": ")[-1]
    match = re.fullmatch(r"((?:[\w-]+, )*[\w-]+) or ([\w-]+)", listed)
    return [*match[1].split(", "), match[2]] if match else []


class Check:
    def __init__(self, shell, jorn):
        self.shell = shell
        self.jorn = jorn
        self.asked = 0
        self.lists = 0
        self.kinds = {"FILE", "PATH"}
        self.problems = []

    def expect(self, words, expected):
        self.asked += 1
        offered = self.shell.offers(*words)
        if offered != set(expected):
            self.problems.append(f"jorn {' '.join(words)}<tab>: missing {sorted(set(expected) - offered)}, "
                                 f"too many {sorted(offered - set(expected))}")

    def expect_no_files(self, words):
        self.asked += 1
        offered = self.shell.offers(*words)
        if offered & {"first", "second", "third"}:
            self.problems.append(f"jorn {' '.join(words)}<tab>: files are offered as a value")

    def commands(self):
        top = help_of(self.jorn)
        names = commands_of(top)
        self.expect([""], {*names, "first", "second"})
        self.expect(["-"], {*options_of(top), *options_of(help_of(self.jorn, "show"))})
        for name in names:
            options = options_of(help_of(self.jorn, name))
            self.expect([name, "-"], options)
            self.expect([name, ""], {"first", "second"})
            self.values_of(name, options)

    def values_of(self, command, options):
        """Expects the values that --help lists, and no file names where the value is not a file."""
        for option, (value, meaning) in options.items():
            choices = choices_of(meaning)
            if choices and option.startswith("--"):
                self.lists += 1
                self.expect([command, option, ""], choices)
            elif value and value not in self.kinds:
                self.kinds.add(value)
                self.expect_no_files([command, option, ""])

    def values(self):
        self.expect(["show", "-o", ""], {"text", "short", "short-iso", "cat", "iso", "device", "csv", "json"})
        self.expect(["-o", "j"], {"json"})
        self.expect(["show", "first", "-p", ""], {"0", "1", "2", "3", "error", "warning"})
        self.expect(["show", "--names", "first/jorn.names", "--slot", "d"], {"door"})
        self.expect(["second", "--level", ""], {"0", "1", "2", "3"})
        self.expect(["record", "-s", ""], {str(slot) for slot in range(8)})
        self.expect(["show", "-n", ""], {"all"})
        self.expect(["count", "--since", "t"], {"today", "tomorrow"})
        self.expect(["repair", "--backup", ""], {"first", "second", "third"})
        self.expect(["show", "--rev"], {"--reverse"})
        self.expect(["record", "--debug", ""], {str(level) for level in range(9)})
        self.expect(["show", "--per-page", ""], set())
        self.expect(["record", "--times", "i"], {"iso"})
        self.expect(["count", "-o", ""], {"text", "json", "csv"})
        if self.lists < 10:
            self.problems.append(f"--help has only {self.lists} lists of values")
        self.expect(["help", ""], commands_of(help_of(self.jorn)))


def main():
    if len(sys.argv) != 4:
        print(__doc__, file=sys.stderr)
        return 2
    jorn = pathlib.Path(sys.argv[3]).resolve()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "first").mkdir()
        (folder / "second").mkdir()
        (folder / "third").touch()
        (folder / "first" / "jorn.names").write_text(NAMES, encoding="utf-8")
        check = Check(Shell(sys.argv[1], pathlib.Path(sys.argv[2]).resolve(), jorn, folder), jorn)
        check.commands()
        check.values()
        if (folder / "harm").exists():
            check.problems.append("a name of a level was run as a command")
    print("\n".join(check.problems) or f"{check.asked} lines, completed as --help lists")
    return 1 if check.problems else 0


if __name__ == "__main__":
    sys.exit(main())
