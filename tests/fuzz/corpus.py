#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The kept inputs of a fuzzing target, one text file per target:

  corpus.py unpack CORPUS FOLDER        each input as a file of the folder, which then holds nothing else
  corpus.py pack FOLDER CORPUS          the reverse
  corpus.py add CORPUS NAME FILE...     keeps the file's bytes under a name; of several files NAME-1, NAME-2 ...

A line is a name, a blank and the bytes in base64. Inputs that were made for a purpose have a name of their own; of
the others, which the fuzzer kept for their coverage, the name is "-", and they are unpacked under the fuzzer's own
names for them. Lines are sorted, so that one more input is one more line.
"""
import base64
import binascii
import hashlib
import pathlib
import re
import shutil
import sys

UNNAMED = "-"
NAME = re.compile(r"[A-Za-z][\w.-]*")
FUZZER_NAME = re.compile(r"[0-9a-f]{40}")


class Mistake(Exception):
    """Printed as it is."""


def fuzzer_name(data: bytes) -> str:
    return hashlib.sha1(data).hexdigest()


def check_name(name: str) -> None:
    if NAME.fullmatch(name) is None or FUZZER_NAME.fullmatch(name):
        raise Mistake(f"{name}: no name for an input")


def parse_line(line: str) -> tuple[str, bytes]:
    """File name and bytes."""
    name, _, text = line.partition(" ")
    try:
        data = base64.b64decode(text, validate=True)
    except binascii.Error as error:
        raise Mistake(f"{name}: {error}") from error
    if name == UNNAMED:
        return fuzzer_name(data), data
    check_name(name)
    return name, data


def read(corpus: pathlib.Path) -> dict[str, bytes]:
    inputs: dict[str, bytes] = {}
    for number, line in enumerate(corpus.read_text(encoding="ascii").splitlines(), 1):
        try:
            name, data = parse_line(line)
            if name in inputs:
                raise Mistake(f"{name}: a second time")
        except Mistake as mistake:
            raise Mistake(f"{corpus}:{number}: {mistake}") from mistake
        inputs[name] = data
    return inputs


def format_line(name: str, data: bytes) -> str:
    if name == fuzzer_name(data):
        name = UNNAMED
    else:
        check_name(name)
    return f"{name} {base64.b64encode(data).decode()}\n"


def write(corpus: pathlib.Path, inputs: dict[str, bytes]) -> None:
    corpus.write_text("".join(sorted(format_line(*each) for each in inputs.items())), encoding="ascii")


def unpack(corpus: pathlib.Path, folder: pathlib.Path) -> None:
    inputs = read(corpus)
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    for name, data in inputs.items():
        (folder / name).write_bytes(data)


def pack(folder: pathlib.Path, corpus: pathlib.Path) -> None:
    write(corpus, {path.name: path.read_bytes() for path in folder.iterdir()})


def add(corpus: pathlib.Path, name: str, files: list[pathlib.Path]) -> None:
    inputs = read(corpus)
    names = [name] if len(files) == 1 else [f"{name}-{number}" for number in range(1, len(files) + 1)]
    for each, file in zip(names, files):
        if each in inputs:
            raise Mistake(f"{corpus}: has {each} already")
        inputs[each] = file.read_bytes()
    write(corpus, inputs)


def main(arguments: list[str]) -> int:
    command, paths = arguments[:1], [pathlib.Path(each) for each in arguments[1:]]
    try:
        if command == ["unpack"] and len(paths) == 2:
            unpack(*paths)
        elif command == ["pack"] and len(paths) == 2:
            pack(*paths)
        elif command == ["add"] and len(paths) >= 3:
            add(paths[0], arguments[2], paths[2:])
        else:
            print(__doc__, file=sys.stderr)
            return 2
    except (Mistake, OSError) as error:
        print(f"corpus.py: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
