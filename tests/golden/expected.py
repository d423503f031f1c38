#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What the module must leave on the medium, on its pages and on the console in the runs of golden_test.cpp, made
from the rules of docs/formats.md alone.

expected.py FOLDER            writes the files
expected.py --check FOLDER    compares the kept files
"""
import argparse
import datetime
import pathlib
import sys

TEXTS = [b"door open", b"one, two,, three,", b"", b"x" * 198, "grün, 5 €".encode(), b"y" * 250,
         b"a" + "ü".encode() * 120, b"line\nends\r\nhere"]
INIT, CLEARED = b"Log start init!", b"Log all cleared!"
END_OF_31_BITS, END_OF_32_BITS = 2**31 - 2, 2**32 - 2
LEVEL_DEBUG = 3


def item(time: int, level: int, slot: int, text: bytes) -> tuple[int, int, int, bytes]:
    """An item as it is stored: 198 bytes of its text, without line ends."""
    return time, level, slot, text[:198].replace(b"\r", b" ").replace(b"\n", b" ")


def lines(items) -> bytes:
    return b"".join(b"%d,%d,%d,%s\n" % each for each in items)


def index(oldest: int, latest: int) -> bytes:
    return b"version:1\n%d,%d\n" % (oldest, latest)


def first_items() -> list:
    """Items of every level and slot, one second apart across 2^31, then hours apart."""
    items = [item(END_OF_31_BITS, LEVEL_DEBUG, 0, INIT)]
    for number, (level, slot) in enumerate((level, slot) for level in range(-1, 4) for slot in range(-1, 8)):
        time = END_OF_31_BITS + (number if number < 5 else number * 7000)
        items.append(item(time, level, slot, TEXTS[number % len(TEXTS)]))
    return items


def last_items() -> list:
    return [item(END_OF_32_BITS, LEVEL_DEBUG, 0, INIT), item(END_OF_32_BITS, 0, 1, b"last but one"),
            item(END_OF_32_BITS + 1, 1, 0, b"last second")]


def shown(time: int) -> bytes:
    at = datetime.datetime(1970, 1, 1) + datetime.timedelta(seconds=time)
    days, months = "Mon Tue Wed Thu Fri Sat Sun".split(), "Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec".split()
    return f"{days[at.weekday()]} {months[at.month - 1]} {at.day:2} {at:%H:%M:%S} {at.year}".encode()


def pages(items: list, per_page: int, wanted) -> bytes:
    """The number of wanted items, and all pages of them, newest first."""
    found = [each for each in reversed(items) if wanted(*each[:3])]
    text = b"count %d\n" % len(found)
    for start in range(0, len(found), per_page):
        text += b"page %d\n" % (start // per_page + 1)
        for time, level, slot, what in found[start:start + per_page]:
            text += b"%s|%d|%d|%s\n" % (shown(time), level, slot, what)
    return text


def all_pages(first: list, last: list) -> bytes:
    """In the order of the queries: no limits; all levels; one level and slot; two days; object of the last
    second."""
    return (pages(first, 7, lambda time, level, slot: level < LEVEL_DEBUG)
            + pages(first, 20, lambda time, level, slot: level <= LEVEL_DEBUG)
            + pages(first, 20, lambda time, level, slot: level == 1 and slot == 5)
            + pages(first, 5, lambda time, level, slot: 24856 <= time // 86400 <= 24857 and level < LEVEL_DEBUG)
            + pages(last, 1, lambda time, level, slot: level < LEVEL_DEBUG))


# Level from which a message is printed, and its text; None is a line end printed by itself.
OPEN_INDEX = [(1, "DIR: Open index file error!"), (1, "Open index backup file error!"),
              (4, "Create a new csv-index file!")]
NO_FILE = [(1, "Open file error: 0.csv!"), (1, "Error: analyse 0.csv failed!")]
READ_FILE = [(7, "CountRequireNumIn 0.Csv"), (8, "Not require because level=3, >=debug-level!")]
ONE_FILE = [(7, "Ignore oldest CSV!"), (7, "Ignore other CSV!")]
EMPTY_PAGE = [*READ_FILE, (8, "No require item in latest CSV!"), *ONE_FILE, (4, "Total num is 0!"),
              (1, " error: totalItem = 0!")]
PAGE = [*READ_FILE, (8, "Find 1 items in latest CSV file!"), *ONE_FILE,
        (7, "totalPage = 1; itemsLastPage = 1!"), (7, "pageDisp = 1; itemsDisp = 1!"), (7, "itemOffset1 = 0!"),
        (7, "itemOffset2 = 0!"), (7, "numInCsv[0] = 1!"), (7, "itemLatest = 1; itemOldest = 1!"),
        (8, "Not require because level=3, >=debug-level!"), (7, "Read 1 items in this csv!"), (7, None)]
COUNT = [*READ_FILE, (8, "Not require because of slot!"), (8, "No require item in latest CSV!"), *ONE_FILE,
         (2, "Pointer to dstFileRange is null!"), (2, "Pointer to dstNumInCsv is null!")]
CONSOLE = [(7, "jorn_Create!"), *OPEN_INDEX, *NO_FILE, *EMPTY_PAGE, *PAGE,
           (1, "level=4, slot=0, exceed range!"), *COUNT, (1, "hanld_id = 9, not found!")]
ALL_DELETED = b"Logs are all deleted!\r\n"


def console(level: int) -> bytes:
    printed = b"".join(b"\r\n" if text is None else f"[SOURCE]lineN : {text}\r\n".encode()
                       for from_level, text in CONSOLE if level >= from_level)
    return printed + (ALL_DELETED if level >= 7 else b"")


def expected() -> dict[str, bytes]:
    first, last = first_items(), last_items()
    return {
        "first/0.csv": lines(first),
        "first/index.csv": index(0, 0),
        "last/0.csv": lines(last),
        "last/index.csv": index(0, 0),
        "pages.txt": all_pages(first, last),
        # After the 4,998 items that were there: two more, then the next file.
        "rotated/0.csv": lines([item(1700000000, 3, 0, INIT), item(1700000000, 1, 5, b"number 5000")]),
        "rotated/1.csv": lines([item(1700000000, 2, 5, b"number 5001")]),
        "rotated/index.csv": index(0, 1),
        # The ring has wrapped: its first file begins afresh, the other one stays as it is.
        "cleared/0.csv": lines([item(1700000000, 3, 0, CLEARED)]),
        "cleared/1.csv": lines([item(1700000000, 2, 5, b"number 5001")]),
        "cleared/index.csv": index(0, 0),
        # Of the files 0, 3, 5, 6 and 7 the newest three are kept, and the gaps are closed.
        "tidied/0.csv": lines([item(1600000005, 1, 2, b"of file 5")]),
        "tidied/1.csv": lines([item(1600000006, 1, 2, b"of file 6")]),
        "tidied/2.csv": lines([item(1600000007, 1, 2, b"of file 7"), item(1700000000, 3, 0, INIT)]),
        "tidied/index.csv": index(0, 2),
        **{f"console-{level}.txt": console(level) for level in (1, 4, 7, 8)},
    }


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--check", action="store_true")
    parser.add_argument("folder", type=pathlib.Path)
    options = parser.parse_args()
    wanted = expected()
    if not options.check:
        for name, content in wanted.items():
            (options.folder / name).parent.mkdir(parents=True, exist_ok=True)
            (options.folder / name).write_bytes(content)
        return
    kept = {str(path.relative_to(options.folder)): path.read_bytes()
            for path in options.folder.rglob("*") if path.is_file()}
    different = sorted(name for name in wanted.keys() | kept.keys() if wanted.get(name) != kept.get(name))
    if different:
        sys.exit("not as the formats say: " + ", ".join(different))


if __name__ == "__main__":
    main()
