#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes the manual page of the tool: make_man_page.py TEMPLATE PAGE JORN...

JORN are the words that start the tool. What its --help tells about each command takes the place of @COMMANDS@ in
the template, so that page and tool cannot differ. A paragraph that several commands print is told once, in the
place of @SHARED@.
"""
import pathlib
import re
import subprocess
import sys
import textwrap

# Where the meaning of an option begins; after a longer option it stands on a line of its own.
COLUMN = 30
HEADING = re.compile(r"[A-Z][\w ]*:$")


class Option:
    """An option as a line of --help tells it: names, value, relations to others, meaning."""

    def __init__(self, head, text):
        match = re.match(r"(?P<names>-\S+)(?: (?P<value>.*))?$", head)
        if not match:
            raise ValueError(f"no option: {head}")
        self.names = match["names"].split(",")
        self.meaning = text
        value = match["value"] or ""
        value, self.excludes = relation(value, "Excludes")
        value, self.needs = relation(value, "Needs")
        value = re.sub(r" (\.\.\.|REQUIRED|\(Env:\S+\))", "", value)
        value, _, self.default = value.partition("=")
        value, _, self.choices = value.partition(":{")
        self.choices = self.choices.rstrip("}").split(",") if self.choices else []
        self.value = value.split(":")[0].split(" in [")[0]
        if " " in self.value:
            raise ValueError(f"cannot tell option and meaning apart: {head} {text}")


class Command:
    """A command as its --help tells it."""

    def __init__(self, name, text):
        self.name = name
        self.options = []
        self.positionals = []
        lines = text.rstrip("\n").split("\n")
        self.brief = lines[0]
        rest = self.read_entries(lines[2:])
        self.paragraphs, self.examples, self.exit_codes = read_details(rest)

    def read_entries(self, lines):
        """Reads the lists of positionals, options and commands. Gives the lines behind them."""
        where = 0
        while where < len(lines):
            if not lines[where]:
                where += 1
            elif HEADING.match(lines[where]) and is_list(lines, where):
                where = self.read_list(lines, where)
            else:
                break
        return lines[where:]

    def read_list(self, lines, heading):
        where = heading + 1
        while where < len(lines) and lines[where].startswith("  "):
            head, text = lines[where][:COLUMN].strip(), lines[where][COLUMN:]
            where += 1
            if where < len(lines) and lines[where].startswith(" " * COLUMN):
                head, text = lines[where - 1].strip(), lines[where][COLUMN:]
                where += 1
            self.add(lines[heading], head, text)
        return where

    def add(self, heading, head, text):
        if head.startswith("-"):
            self.options.append(Option(head, text))
        elif heading == "Positionals:":
            self.positionals.append((head.split(" ")[0], " ..." in head, text))


def is_list(lines, heading):
    return lines[heading] in ("Positionals:", "Subcommands:") or lines[heading + 1].startswith("  -")


def relation(value, word):
    """Takes ' Needs: --a --b' off the end. The tool's library does not keep their order, so they get one."""
    match = re.match(rf"(.*?) ?{word}:((?: -\S+)+)$", value)
    return (match[1], sorted(match[2].split())) if match else (value, [])


def read_details(lines):
    """Splits what follows the options into paragraphs, examples and the sentence about exit codes."""
    paragraphs, examples, exit_codes = [[]], [], []
    target = None
    for line in lines:
        if line == "Examples:":
            target = examples
        elif line.startswith("Exit codes:"):
            target = exit_codes
            target.append(line)
        elif target is not None and (target is exit_codes or line.startswith("  ")):
            target.append(line)
        elif line:
            target = None
            paragraphs[-1].append(line)
        else:
            target = None
            paragraphs.append([])
    return ["\n".join(part) for part in paragraphs if part], examples, " ".join(exit_codes)


def escape(text):
    """Plain text as roff input: what is typed looks as it is typed."""
    text = text.replace("\\", "\\e").replace("~", "\\(ti").replace("^", "\\(ha").replace("`", "\\(ga")
    return re.sub(r"(?<!\w)-|-(?!\w)|(?<=\d)-(?=\d)", r"\\-", text)


def literal(lines):
    """Lines as they stand, for commands and files."""
    lines = textwrap.dedent("\n".join(lines)).split("\n")
    escaped = ["\\&" + escape(line).replace("'", "\\(aq") if line else "" for line in lines]
    return [".Bd -literal -offset indent", *escaped, ".Ed"]


def filled(text):
    """Running text, a sentence a line."""
    lines = []
    for sentence in re.split(r"(?<=[.;:])\s+(?=[A-Z\"])", " ".join(text.split())):
        lines += textwrap.wrap(escape(sentence), 100, break_long_words=False, break_on_hyphens=False)
    return [("\\&" if line[0] in ".'" else "") + line for line in lines]


def paragraph(text):
    """Running text with indented lines in between."""
    out, block = [], []
    for line in [*text.split("\n"), None]:
        if block and (line is None or line.startswith("  ") != block[0].startswith("  ")):
            if block[0].startswith("  "):
                out += literal(block) + ([".Pp"] if line is not None else [])
            else:
                out += filled("\n".join(block))
            block = []
        block.append(line)
    return out


def flag(name):
    return "Fl " + escape(name[1:]).replace("-", "\\-").replace("\\\\", "\\")


def option_item(option):
    names = " , ".join(flag(name) for name in option.names)
    value = f" Ar {escape(option.value)}" if option.value else ""
    text = option.meaning.rstrip(".") + "."
    if option.choices:
        text += f" One of {', '.join(option.choices)}."
    if option.default:
        text += f" Default: {option.default}."
    if option.needs:
        text += f" Needs {', '.join(option.needs)}."
    if option.excludes:
        text += f" Not together with {', '.join(option.excludes)}."
    return [f".It {names}{value}", *filled(text)]


def option_list(options):
    out = [".Bl -tag -width Ds"]
    for option in options:
        out += option_item(option)
    return [*out, ".El"]


def synopsis(command):
    out = [".Nm", f".Cm {command.name}", ".Op Ar option ..."]
    return out + [f".Ar {name}{' ...' if repeats else ''}" for name, repeats, _ in command.positionals]


def command_section(command, shared):
    out = [f".Ss jorn {command.name}", ".Bd -ragged -compact", *synopsis(command), ".Ed", ".Pp"]
    out += filled(command.brief + ".")
    for text in command.paragraphs:
        if text not in shared:
            out += [".Pp", *paragraph(text)]
    out += [".Pp", "Options:", *option_list(command.options)]
    if command.examples:
        out += [".Pp", "Examples:", *literal(command.examples)]
    return out + ([".Pp", *filled(command.exit_codes)] if command.exit_codes else [])


def shared_paragraphs(commands):
    every = [text for command in commands for text in command.paragraphs]
    return list(dict.fromkeys(text for text in every if every.count(text) > 1))


def help_of(jorn, *words):
    answer = subprocess.run([*jorn, *words, "--help"], check=True, capture_output=True, encoding="utf-8")
    return answer.stdout


def command_names(text):
    listed = text.split("\nSubcommands:\n")[1].split("\n\n")[0]
    return [line.split()[0] for line in listed.split("\n") if re.match(r"  \w", line)]


def main():
    if len(sys.argv) < 4:
        print(__doc__, file=sys.stderr)
        return 2
    template, page, jorn = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3:]
    top = help_of(jorn)
    commands = [Command(name, help_of(jorn, name)) for name in command_names(top)]
    shared = shared_paragraphs(commands)
    parts = {
        "@OPTIONS@": option_list(Command("", top).options),
        "@COMMANDS@": [line for command in commands for line in command_section(command, shared)],
        "@SHARED@": [line for text in shared for line in [*paragraph(text), ".Pp"]],
    }
    text = template.read_text(encoding="utf-8")
    for mark, lines in parts.items():
        text = text.replace(mark, "\n".join(lines))
    page.write_text(text, encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main())
