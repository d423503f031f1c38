#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes the manual page of the tool: make_man_page.py TEMPLATE PAGE JORN...

JORN are the words that start the tool. What its --help prints for a command takes the place of a line @COMMAND@ in the
template, in the same order, so that page and tool cannot differ; what the template has after that line is in the page
only. A paragraph that several commands print appears once, in the place of @SHARED@.
"""
import pathlib
import re
import subprocess
import sys
import textwrap

ENTRY = re.compile(r" {2,6}(-[^\s,]+(?:, --\S+)?)(?: (\S+))?  +(.*)$")
CONTINUED = re.compile(r" {20,}(.*)$")


class Option:
    """An option as --help prints it: names, value, meaning."""

    def __init__(self, names, value, meaning):
        self.names = names.split(", ")
        self.value = value
        self.meaning = meaning


class Help:
    """What --help prints: usage, brief, and then titled lists and paragraphs."""

    def __init__(self, text):
        head, self.brief, *blocks = text.rstrip("\n").split("\n\n")
        self.brief = self.brief.rstrip(".")
        self.usage = [line[len("Usage: "):] for line in head.split("\n")]
        self.lists = {}
        self.groups = {}
        self.paragraphs = []
        for block in blocks:
            self.take(block)

    def take(self, block):
        title, *lines = block.split("\n")
        if not re.match(r"[A-Z][\w, ]*:$", title):
            self.paragraphs.append(block)
        elif ENTRY.match(lines[0]):
            self.groups[title] = read_options(lines)
        else:
            self.lists[title] = lines


def read_options(lines):
    options = []
    for line in lines:
        if entry := ENTRY.match(line):
            options.append(Option(*entry.groups()))
        elif continued := CONTINUED.match(line):
            options[-1].meaning += " " + continued[1]
        else:
            raise ValueError(f"neither an option nor more of one: {line}")
    return options


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
    return [f".It {names}{value}", *filled(option.meaning + ".")]


def option_list(options):
    out = [".Bl -tag -width Ds"]
    for option in options:
        out += option_item(option)
    return [*out, ".El"]


def literal_list(title, lines):
    return [".Pp", title, *literal(lines)] if lines else []


def command_section(name, text, shared):
    out = [f".Ss jorn {name}", *literal(text.usage), ".Pp", *filled(text.brief + ".")]
    out += literal_list("Examples:", text.lists.get("Examples:"))
    for title, options in text.groups.items():
        out += [".Pp", title, *option_list(options)]
    for block in text.paragraphs:
        if block not in shared:
            out += [".Pp", *paragraph(block)]
    return out + literal_list("Exit codes:", text.lists.get("Exit codes:"))


def shared_paragraphs(helps):
    every = [block for text in helps for block in text.paragraphs]
    return list(dict.fromkeys(block for block in every if every.count(block) > 1))


def help_of(jorn, *words):
    answer = subprocess.run([*jorn, *words, "--help"], check=True, capture_output=True, encoding="utf-8")
    return answer.stdout


def filled_in(template, parts):
    """The template with a part in place of each mark; each mark is there once."""
    marks = re.findall(r"^@(\w+)@$", template, re.MULTILINE)
    if sorted(marks) != sorted(parts):
        raise ValueError(f"the template has the marks {sorted(marks)}; the tool has {sorted(parts)}")
    return re.sub(r"^@(\w+)@$", lambda mark: "\n".join(parts[mark[1]]), template, flags=re.MULTILINE)


def main():
    if len(sys.argv) < 4:
        print(__doc__, file=sys.stderr)
        return 2
    template, page, jorn = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3:]
    top = Help(help_of(jorn))
    helps = {name: Help(help_of(jorn, name)) for name in re.findall(r"^  (\w+)", "\n".join(top.lists["Commands:"]), re.MULTILINE)}
    shared = shared_paragraphs(helps.values())
    parts = {name: command_section(name, text, shared) for name, text in helps.items()}
    parts["OPTIONS"] = option_list(top.groups["Options:"])
    parts["SHARED"] = [line for block in shared for text in block.split("\n") for line in [*filled(text), ".Pp"]]
    page.write_text(filled_in(template.read_text(encoding="utf-8"), parts), encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main())
