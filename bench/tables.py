# SPDX-License-Identifier: Apache-2.0
"""The figures as Markdown tables: each ratio with its aim and whether it is met."""
from __future__ import annotations

import dataclasses
import math
import pathlib
import re
import textwrap

from measuring import Failure, Figures

HEADINGS = """\
| what | JORN | compared with | takes | ratio | without starts | aim | |
|---|--:|---|--:|--:|--:|---|---|
"""
COLUMNS = 8
LIMITS = pathlib.Path(__file__).resolve().parent.parent / "cmake" / "footprint-limits.txt"
# Rows of each table: the output is checked against these, not against what was rendered.
ROWS = {"Submission": 42, "Storing": 9, "Append": 7, "Start-up": 7, "Count": 20, "Page": 13, "Flash": 8,
        "Footprint": 3, "Tool": 20}
NUMBER = re.compile(r"^\d+(\.\d+)?$")
# Where less than this share of a peer's time is left without the start of its processes, all of it counts as start.
LEAST_SHARE = 0.05
ALL_START = "all is start"
READING = "`fgets` of the same lines alone"


@dataclasses.dataclass
class Row:
    what: str
    ours: str
    peer: str
    theirs: str
    ratio: float
    net: float | None = None
    aim: float | None = None
    is_least: bool = False

    def verdict(self) -> str:
        """The less favourable of the two ratios."""
        if self.aim is None:
            return ""
        ratios = [self.ratio] + ([self.net] if self.net is not None else [])
        is_met = min(ratios) >= self.aim if self.is_least else max(ratios) <= self.aim
        return "met" if is_met else "**NOT met**"

    def render(self) -> str:
        word = "at least" if self.is_least else "at most"
        aim = "" if self.aim is None else f"{word} {self.aim:.3g}"
        net = "" if self.net is None else ALL_START if math.isinf(self.net) else number(self.net)
        return " | ".join(["", self.what, self.ours, self.peer, self.theirs, number(self.ratio), net, aim,
                           self.verdict(), ""]).strip() + "\n"


def number(value: float) -> str:
    """Two or three digits, never an exponent."""
    return f"{value:.0f}" if value >= 100 else f"{value:.1f}" if value >= 10 else f"{value:.2f}" if value >= 0.1 \
        else f"{value:.4f}"


def shown(nanoseconds: float) -> str:
    for unit, size in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.0f} ns"


class Tables:
    def __init__(self, figures: Figures, files: int) -> None:
        self.figures = figures
        self.files = files

    def compare(self, what: str, ours: str, peer: str, theirs: str, aim: float | None = None,
                start: str = "") -> Row:
        """Compares two times; `start` names what the peer takes for an empty file."""
        our_time, their_time = self.figures.median(ours), self.figures.median(theirs)
        net = None
        if start:
            rest = their_time - self.figures.median(start)
            net = our_time / rest if rest > LEAST_SHARE * their_time else math.inf
        return Row(what, shown(our_time), peer, shown(their_time), our_time / their_time, net, aim)

    def process(self, what: str, ours: str, peer: str, theirs: str, aim: float | None = None) -> Row:
        return self.compare(what, ours, peer, theirs, aim, start=f"{theirs}:start")

    def submission(self) -> list[Row]:
        aims = {("spdlog", "p50"): 0.3, ("spdlog", "p99"): 0.3, ("mq_send", "p50"): 0.6}
        names = {"spdlog": "spdlog, asynchronous", "mq_send": "`mq_send`"}
        cases = [("full", producers, length) for producers in (1, 4) for length in (20, 100, 198)]
        rows = []
        for burst, producers, length in [*cases, ("short", 1, 100)]:
            case = f"submission/{burst}/{producers}/{length}"
            items = self.figures.median(f"{case}/jorn:burst")
            for peer, name in names.items():
                for share, label in (("p50", "p50"), ("p99", "p99"), ("p999", "p99.9")):
                    what = f"{label}, {producers} at once, {length} bytes, bursts of {items:.0f}"
                    rows.append(self.compare(what, f"{case}/jorn:{share}", name, f"{case}/{peer}:{share}",
                                             aims.get((peer, share))))
        return rows

    def multilog_per_item(self, suffix: str) -> float:
        return self.figures.median(f"storing/multilog{suffix}") / self.figures.median("storing/multilog:items")

    def storing(self) -> list[Row]:
        median = self.figures.median
        task = {"wall": median("storing/jorn:wall_per_item"), "cpu": median("storing/jorn:cpu_per_item")}
        both = {"wall": task["wall"] + median("storing/jorn:submit_per_item"),
                "cpu": task["cpu"] + median("storing/jorn:submit_cpu_per_item")}
        logger = {"wall": median("storing/spdlog:wall_per_item"), "cpu": median("storing/spdlog:cpu_per_item")}
        peers = {"spdlog, synchronous": logger,
                 "`multilog`": {"wall": self.multilog_per_item(""), "cpu": self.multilog_per_item(":cpu")}}
        rows = []
        for what, ours in (("store task alone", task), ("submission and store task", both)):
            for peer, theirs in peers.items():
                rows.append(Row(f"{what}: items a second", f"{1e9 / ours['wall']:,.0f}", peer,
                                f"{1e9 / theirs['wall']:,.0f}", theirs["wall"] / ours["wall"], aim=1.0,
                                is_least=True))
                rows.append(Row(f"{what}: CPU an item", shown(ours["cpu"]), peer, shown(theirs["cpu"]),
                                ours["cpu"] / theirs["cpu"]))
        submission = both["cpu"] - task["cpu"]
        rows.append(Row("submission alone: CPU an item", shown(submission), "spdlog, synchronous",
                        shown(logger["cpu"]), submission / logger["cpu"]))
        return rows

    def append(self) -> list[Row]:
        """Compared with the middle of the first file."""
        ranges = {500: "items 1 to 500, change of file included", 1000: "items 501 to 1000",
                  2500: "items 2001 to 2500", 5000: "items 4501 to 5000, close included"}
        rows = []
        for key, file in (("first", 1), ("last", self.files)):
            for last, label in ranges.items():
                if (key, last) != ("first", 2500):
                    rows.append(self.compare(f"file {file}, {label}", f"storing/jorn:{key}_{last}",
                                             "file 1, items 2001 to 2500", "storing/jorn:first_2500", 1.25))
        return rows

    def start_up(self) -> list[Row]:
        name = f"{self.files} files"
        rows = [self.process(name, "startup/jorn", "`wc -l`", "startup/wc", 2.5),
                self.process(name, "startup/jorn", "mawk, the same sums", "startup/mawk", 0.2),
                self.process(name, "startup/jorn", "SQLite's import", "startup/import"),
                self.compare(name, "startup/jorn", READING, "reading/startup")]
        for peer, key in (("`wc -l`", "wc"), ("mawk, the same sums", "mawk"), ("SQLite's import", "import")):
            rows.append(self.compare(f"{name}, CPU", "startup/jorn:cpu", peer, f"startup/{key}:cpu",
                                     start=f"startup/{key}:start_cpu"))
        return rows

    def files_read(self, name: str) -> str:
        return f"{self.figures.median(f'{name}:files_read'):.0f} files opened"

    def count(self) -> list[Row]:
        questions = {"level": "levels 0 and 1", "level_slot": "level 1, slot 5", "days": "a third of the days",
                     "all": "everything"}
        rows = []
        for key, label in questions.items():
            ours = f"count/{key}/jorn"
            what = f"{label} ({self.files_read(ours)})"
            range_aim = 1.0 if key in ("level", "days") else None
            rows.append(self.process(what, ours, "ripgrep", f"count/{key}/rg", 1 / 30))
            rows.append(self.process(what, ours, "grep", f"count/{key}/grep"))
            rows.append(self.compare(what, ours, "SQLite, indexed", f"count/{key}/sqlite", range_aim))
            rows.append(self.compare(what, ours, "SQLite, no index", f"count/{key}/sqlite_scan"))
            if key != "days":
                rows.append(self.compare(what, ours, "itself, 2 files", f"two_count/{key}/jorn", 1.25))
            if key == "all":
                rows.append(self.compare(what, ours, READING, "reading/count"))
        return rows

    def page(self) -> list[Row]:
        rows = []
        for key in ("first", "middle", "last", "slot"):
            ours = f"page/{key}/jorn"
            label = "first, slot 5" if key == "slot" else key
            what = f"{label} ({self.files_read(ours)})"
            is_deep = key in ("middle", "last")
            rows.append(self.process(what, ours, "`tac`, `head` and such", f"page/{key}/text", 0.2))
            rows.append(self.compare(what, ours, "SQLite, indexed", f"page/{key}/sqlite", 1.0 if is_deep else 3.0))
            rows.append(self.compare(what, ours, "SQLite, page and total", f"page/{key}/sqlite_total"))
            if key == "first":
                rows.append(self.compare(what, ours, READING, "reading/page"))
        return rows

    def flash(self) -> list[Row]:
        least = self.figures.median("flash/bytes")
        rows = []
        for burst in (1, 10, 100, 512):
            for caches in (10, 0):
                kinds = {kind: self.figures.median(f"flash/{burst}/{caches}:{kind}")
                         for kind in ("programmed", "erased", "data", "headers", "moved", "summaries")}
                ours = ("{programmed:.0f} pages ({data:.0f} data, {headers:.0f} headers, {moved:.0f} moved, "
                        "{summaries:.0f} summaries), {erased:.2f} erases").format(**kinds)
                rows.append(Row(f"1,000 items, bursts of {burst}, {caches} pages cached", ours,
                                "the bytes themselves", f"{least:.1f} pages", kinds["programmed"] / least))
        return rows

    def size_of(self, name: str) -> int:
        return round(self.figures.median(f"footprint/{name}"))

    def footprint(self) -> list[Row]:
        limits = dict(line.split() for line in LIMITS.read_text().splitlines() if not line.startswith("#"))
        rows = [("text", "text", "text"), ("bss", "bss", "bss"),
                ("deepest stack of the store task", "jorn_TskStoreLogCsv", "store-task-stack")]
        return [Row(what, f"{self.size_of(name)} bytes", "its limit", f"{limits[limit]} bytes",
                    self.size_of(name) / int(limits[limit]), aim=1.0) for what, name, limit in rows]

    def other_sizes(self) -> str:
        """The sizes that have no limit."""
        record, summary = self.size_of("logObject"), self.size_of("fileSummary")
        calls = [name.split("/")[1] for name in self.figures.values if name.startswith("footprint/JORN_")]
        stacks = sorted(((self.size_of(name), name) for name in calls), reverse=True)
        text = (f"Constants {self.size_of('constants')} bytes, data {self.size_of('data')}. An object takes "
                f"{record} bytes and {summary} a file: {record + 2 * summary} with 2 files, "
                f"{record + 90 * summary} with 90. Deepest stack of each call: " +
                ", ".join(f"`{name}` {size}" for size, name in stacks) +
                ". Nothing comparable stands here: no Debian package of a store is built for Thumb-2 at -Os.")
        return textwrap.fill(text, 110, break_long_words=False) + "\n\n"

    def tool(self) -> list[Row]:
        questions = {
            "count": ("`jorn count`", {"wc": "`cat` and `wc -l`", "rg": "ripgrep, all lines",
                                       "mawk": "mawk, by level", "sqlite": "sqlite3, by level"}),
            "newest": ("`jorn show -n 20`", {"tail": "`tail -n 20` of the newest file"}),
            "first": ("`jorn show`, until the first line is there", {"cat": "`cat` and `head -n 1`"}),
            "page": ("`jorn show --page 1`", {"tac": "`tac` and `head`", "sqlite": "sqlite3"}),
            "since": ("`jorn show -S`, 5 % of the items",
                      {"mawk": "mawk, all lines", "sqlite": "sqlite3, indexed"}),
            "search": ("`jorn show -g`, 0.2 % of the items",
                       {"rg": "ripgrep", "grep": "grep", "mawk": "mawk", "sqlite": "sqlite3, `LIKE`"}),
            "rare": ("`jorn count -g`, 0.2 % of the items", {"grep": "`grep -c`"}),
            "export": ("`jorn export -o jsonl`", {"csv": "itself, `-o csv`"}),
            "show": ("`jorn show -o json`", {"csv": "itself, `-o csv`"}),
            "record": ("`jorn record`", {"multilog": "`multilog t`"})}
        # 0.9 of the rate.
        slowest = 1 / 0.9
        aims = {("record", "multilog"): 1.0, ("rare", "grep"): 1.1, ("newest", "tail"): 1.5, ("export", "csv"): slowest,
                ("show", "csv"): slowest}
        rows = [self.compare(what, f"tool/{key}/jorn", name, f"tool/{key}/{peer}", aims.get((key, peer)))
                for key, (what, peers) in questions.items() for peer, name in peers.items()]
        imports = {"stamped": "`jorn record --times epoch`", "jsonl": "`jorn record --format jsonl`"}
        return rows + [self.compare(what, f"tool/import/{key}", "itself, of lines without times", "tool/import/plain")
                       for key, what in imports.items()]


def section(name: str, rows: list[Row]) -> str:
    return f"### {name}\n\n{HEADINGS}{''.join(row.render() for row in rows)}\n"


def render(figures: Figures, scale, description: str) -> str:
    tables = Tables(figures, scale.files)
    flash = f"### Flash\n\n{figures.notes['flash']}\n\n" if "flash" in figures.notes else \
        section("Flash", tables.flash())
    overhead = figures.median("submission/full/1/20/jorn:clock_overhead")
    text = (f"{description}Reading the clock twice takes {overhead:.0f} ns, which are taken off.\n\n"
            + section("Submission", tables.submission()) + section("Storing", tables.storing())
            + section("Append", tables.append()) + section("Start-up", tables.start_up())
            + section("Count", tables.count()) + section("Page", tables.page()) + flash
            + section("Footprint", tables.footprint()) + tables.other_sizes() + section("Tool", tables.tool()))
    verdicts = re.findall(r"\| (\*\*NOT met\*\*|met) \|", text)
    return f"{text}{verdicts.count('met')} of {len(verdicts)} aims are met.\n"


def check_row(name: str, cells: list[str]) -> None:
    if len(cells) != COLUMNS:
        raise Failure(f"table {name}: {len(cells)} cells in a row: {cells}")
    what, _, _, _, ratio, net, aim, verdict = cells
    if not NUMBER.match(ratio) or float(ratio) <= 0 or not (
            net in ("", ALL_START) or NUMBER.match(net)):
        raise Failure(f"table {name}, {what}: the ratio is no number: {ratio!r} {net!r}")
    if (verdict in ("met", "**NOT met**")) != bool(aim):
        raise Failure(f"table {name}, {what}: the verdict is {verdict!r} for the aim {aim!r}")


def check(text: str) -> None:
    """Whether every table is there with every row, and every ratio is a number."""
    sections = dict(part.split("\n", 1) for part in text.split("### ")[1:])
    if list(sections) != list(ROWS):
        raise Failure(f"tables: {', '.join(sections)}")
    for name, body in sections.items():
        rows = [line for line in body.splitlines() if line.startswith("|")][2:]
        is_left_out = name == "Flash" and "not measured" in body
        if len(rows) != (0 if is_left_out else ROWS[name]):
            raise Failure(f"table {name}: {len(rows)} rows instead of {ROWS[name]}")
        for row in rows:
            check_row(name, [cell.strip() for cell in row.split("|")[1:-1]])
