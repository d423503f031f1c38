# SPDX-License-Identifier: Apache-2.0
"""One round: our programs, and the processes that they are compared with, one after the other."""
from __future__ import annotations

import json
import pathlib
import shlex
import shutil
import subprocess

from measuring import Failure, Figures, run_process

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILT = ROOT / "build" / "bench"
TOOL = BUILT / "tools" / "jorn" / "jorn"
ITEMS_PER_FILE = 5000
PER_PAGE = 20
SLOT = 5
# As in item_source.h.
FIRST_TIME = 1700006400
SECONDS_APART = 6
DAY = 86400
ROTATION_BYTES = 512 * 1024

INDEXES = ("CREATE INDEX by_time ON items(time);\n"
           "CREATE INDEX by_level_slot ON items(level, slot);\n"
           "CREATE INDEX by_slot ON items(slot);\n"
           "ANALYZE;\n")

# What the start-up analysis adds up for each file.
SUMS = r"""
function show() { printf "%d %d %d %d", n, min, max, last; for (k in s) printf " %s:%d", k, s[k]; print "" }
function clear() { n = max = 0; for (k in s) delete s[k] }
FNR == 1 && NR > 1 { show(); clear() }
{ if (n++ == 0 || $1 < min) min = $1; if ($1 > max) max = $1; last = $1; ++s[$2]; ++s[$2 "/" $3] }
END { if (n > 0) show() }
"""

_before: dict[str, tuple[int, int]] = {}


class Ring:
    """The large ring's files, and an empty one to measure the cost of a process."""

    def __init__(self, folder: pathlib.Path, scale) -> None:
        self.directory = folder / f"r{scale.files}"
        self.files = [str(self.directory / f"{number}.csv") for number in range(scale.files)]
        self.empty = str(folder / "empty")
        self.items = scale.files * ITEMS_PER_FILE

    def days(self) -> tuple[int, int]:
        """First and last second of the days that are counted, as in query_bench.cpp."""
        first, last = ((FIRST_TIME + self.items // 3 * third * SECONDS_APART) // DAY for third in (1, 2))
        return first * DAY, last * DAY + DAY - 1

    def time_of(self, item: int) -> int:
        return FIRST_TIME + item * SECONDS_APART


def snapshot(folder: pathlib.Path) -> dict[str, tuple[int, int]]:
    paths = [path for ring in folder.glob("r[0-9]*") for path in ring.iterdir()]
    return {str(path): (path.stat().st_size, path.stat().st_mtime_ns) for path in paths}


def import_script(files: list[str]) -> str:
    return ("PRAGMA journal_mode = OFF;\nPRAGMA synchronous = OFF;\n"
            "CREATE TABLE items(time INTEGER, level INTEGER, slot INTEGER, text TEXT);\n.mode csv\n" +
            "".join(f".import {file} items\n" for file in files) + "SELECT count(*) FROM items;\n")


def make_rings(folder: pathlib.Path, scale) -> int:
    """Returns the number of lines for recorders: the store adds an item of its own, and all fit its ring."""
    ring = Ring(folder, scale)
    maker = str(BUILT / "bench" / "jorn_bench_ring")
    for files in (2, scale.files):
        subprocess.run([maker, str(folder / f"r{files}"), str(files)], check=True)
    pathlib.Path(ring.empty).touch()
    texts = [line.split(b",", 3)[3] for file in ring.files
             for line in pathlib.Path(file).read_bytes().splitlines(True)]
    (folder / "lines").write_bytes(b"".join(texts[1:]))
    (folder / "import.sql").write_text(import_script(ring.files))
    (folder / "import-empty.sql").write_text(import_script([ring.empty]))
    (folder / "indexed.sql").write_text(import_script(ring.files) + INDEXES)
    run_process(["sqlite3", "-batch", str(folder / "items.db"), f".read {folder}/indexed.sql"])
    _before.update(snapshot(folder))
    return len(texts) - 1


def check_rings(folder: pathlib.Path) -> None:
    if snapshot(folder) != _before:
        raise Failure("a ring that was only read is not as it was made")


def run_program(name: str, folder: pathlib.Path, scale, figures: Figures) -> None:
    report = folder / "report.json"
    subprocess.run([str(BUILT / "bench" / name), "--folder", str(folder), "--files", str(scale.files),
                    "--bursts", str(scale.bursts), "--repetitions", str(scale.repetitions),
                    f"--benchmark_min_time={scale.min_time}", f"--benchmark_out={report}",
                    "--benchmark_out_format=json"], check=True, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)
    for entry in json.loads(report.read_text())["benchmarks"]:
        if entry["run_type"] == "iteration":
            take_entry(entry, figures)


def take_entry(entry: dict, figures: Figures) -> None:
    """Every field that is not one of the benchmark library's own is one of our counters."""
    own = {"name", "family_index", "per_family_instance_index", "run_name", "run_type", "repetitions",
           "repetition_index", "threads", "iterations", "real_time", "cpu_time", "time_unit", "label"}
    name = "/".join(part for part in entry["run_name"].split("/") if ":" not in part)
    if entry.get("error_occurred"):
        raise Failure(f"{name}: {entry['error_message']}")
    figures.add(name, entry["real_time"])
    for key in entry.keys() - own:
        if key == "answer":
            figures.answer(name, entry[key])
        else:
            figures.add(f"{name}:{key}", entry[key])


# Regular expressions for numbers of the same length.

def at_least(low: str) -> str:
    if not low:
        return ""
    same = low[0] + at_least(low[1:])
    return same if low[0] == "9" else f"({same}|[{int(low[0]) + 1}-9][0-9]{{{len(low) - 1}}})"


def at_most(high: str) -> str:
    if not high:
        return ""
    same = high[0] + at_most(high[1:])
    return same if high[0] == "0" else f"({same}|[0-{int(high[0]) - 1}][0-9]{{{len(high) - 1}}})"


def between(low: str, high: str) -> str:
    if not low or low[0] == high[0]:
        return low[:1] + between(low[1:], high[1:]) if low else ""
    inner = ""
    if int(high[0]) - int(low[0]) > 1:
        inner = f"|[{int(low[0]) + 1}-{int(high[0]) - 1}][0-9]{{{len(low) - 1}}}"
    return f"({low[0]}{at_least(low[1:])}{inner}|{high[0]}{at_most(high[1:])})"


def sum_of(output: bytes) -> int:
    return sum(int(line) for line in output.split())


def first_number(output: bytes) -> int:
    """The number that the text of the first line begins with."""
    return int(output.split(b"\n", 1)[0].split(b",", 3)[3].split()[0])


def lines_of(output: bytes) -> int:
    return output.count(b"\n")


def count_peers(ring: Ring):
    first, last = ring.days()
    patterns = {"level": "^[0-9]+,[01],", "level_slot": f"^[0-9]+,1,{SLOT},",
                "days": f"^{between(str(first), str(last))},", "all": ""}
    for question, pattern in patterns.items():
        yield f"count/{question}/rg", ["rg", "-c", "--no-filename", pattern], sum_of
        yield f"count/{question}/grep", ["grep", "-hcE", pattern], sum_of


def start_up_peers():
    yield "startup/wc", ["wc", "-l"], lambda output: int(output.splitlines()[-1].split()[0])
    yield "startup/mawk", ["mawk", "-F,", SUMS], lambda output: sum(int(line.split()[0])
                                                                      for line in output.splitlines())


def page_peers(ring: Ring):
    """Shell command lines; {} stands for the files, newest first."""
    pages = ring.items // PER_PAGE
    yield "page/first/text", f"tac {{}} | head -n {PER_PAGE}"
    for name, page in (("middle", pages // 2), ("last", pages)):
        yield f"page/{name}/text", f"tac {{}} | tail -n +{(page - 1) * PER_PAGE + 1} | head -n {PER_PAGE}"
    yield "page/slot/text", f"tac {{}} | grep -E '^[0-9]+,[0-9]+,{SLOT},' | head -n {PER_PAGE}"


def add_process(name: str, command, figures: Figures) -> bytes:
    wall, cpu, output = run_process(command)
    figures.add(name, wall)
    figures.add(f"{name}:cpu", cpu)
    return output


def add_start(name: str, command, figures: Figures) -> None:
    """The same over an empty file: what starting the processes costs."""
    wall, cpu, _ = run_process(command, matches=False)
    figures.add(f"{name}:start", wall)
    figures.add(f"{name}:start_cpu", cpu)


def run_text_peers(folder: pathlib.Path, ring: Ring, figures: Figures) -> None:
    for name, command, answer_of in [*start_up_peers(), *count_peers(ring)]:
        figures.answer(name, answer_of(add_process(name, command + ring.files, figures)))
        add_start(name, command + [ring.empty], figures)
    newest_first = " ".join(reversed(ring.files))
    for name, line in page_peers(ring):
        figures.answer(name, first_number(add_process(name, line.format(newest_first), figures)))
        add_start(name, line.format(ring.empty), figures)
    for suffix, add in (("-empty", add_start), ("", add_process)):
        database = folder / "import.db"
        database.unlink(missing_ok=True)
        output = add("startup/import", ["sqlite3", "-batch", str(database), f".read {folder}/import{suffix}.sql"],
                     figures)
    figures.answer("startup/import", int(output.split()[-1]))


def count_lines(directory: pathlib.Path) -> int:
    return sum(lines_of(path.read_bytes()) for path in directory.iterdir() if path.name[0] in "@c")


def run_multilog(folder: pathlib.Path, lines: int, figures: Figures) -> None:
    directory = folder / "multilog"
    shutil.rmtree(directory, ignore_errors=True)
    add_process("storing/multilog", f"multilog t s{ROTATION_BYTES} n100 {directory} < {folder}/lines", figures)
    stored = count_lines(directory)
    if stored != lines:
        raise Failure(f"multilog: {stored} of {lines} lines are in its files")
    figures.add("storing/multilog:items", lines)


def tool_commands(folder: pathlib.Path, ring: Ring) -> list[tuple[str, str, object]]:
    """Name, shell command line, and how many items the output reports."""
    since = ring.time_of(ring.items * 95 // 100)
    jorn, directory, database = str(TOOL), ring.directory, folder / "items.db"
    files, newest_first = " ".join(ring.files), " ".join(reversed(ring.files))
    rest = lambda output: lines_of(output) - 1  # noqa: E731: without the line of headings
    counts = lambda output: sum(int(line.replace(b"|", b" ").replace(b",", b" ").split()[-1])  # noqa: E731
                                for line in output.splitlines())
    newest = f"SELECT * FROM items ORDER BY rowid DESC LIMIT {PER_PAGE}"
    levels = "SELECT level, count(*) FROM items GROUP BY level"
    return [
        ("count/jorn", f"{jorn} count {directory}", lambda output: int(output.split()[-1])),
        ("count/wc", f"cat {files} | wc -l", sum_of),
        ("count/rg", f"rg -c --no-filename '' {files}", sum_of),
        ("count/mawk", f"mawk -F, '{{ ++n[$2] }} END {{ for (l in n) print l, n[l] }}' {files}", counts),
        ("count/sqlite", f"sqlite3 {database} '{levels}'", counts),
        ("newest/jorn", f"{jorn} show -n 20 {directory}", lines_of),
        ("newest/tail", f"tail -qn 20 {ring.files[-1]}", lines_of),
        ("first/jorn", f"{jorn} show {directory} | head -n 1", lines_of),
        ("first/cat", f"cat {files} | head -n 1", lines_of),
        ("page/jorn", f"{jorn} show --page 1 {directory} 2>{folder}/notes", lines_of),
        ("page/tac", f"tac {newest_first} | head -n {PER_PAGE}", lines_of),
        ("page/sqlite", f"sqlite3 {database} '{newest}'", lines_of),
        ("since/jorn", f"{jorn} show -S @{since} -o csv {directory}", rest),
        ("since/mawk", f"mawk -F, '$1 >= {since}' {files}", lines_of),
        ("since/sqlite", f"sqlite3 {database} 'SELECT * FROM items WHERE time >= {since}'", lines_of),
        ("search/jorn", f"{jorn} show -g overheated -o csv {directory}", rest),
        ("search/rg", f"rg --no-filename -N overheated {files}", lines_of),
        ("search/grep", f"grep -h overheated {files}", lines_of),
        ("search/mawk", f"mawk -F, '/overheated/' {files}", lines_of),
        ("rare/jorn", f"{jorn} count -g overheated {directory}", lambda output: int(output.split()[-1])),
        ("rare/grep", f"grep -hc overheated {files}", sum_of),
        ("export/jorn", f"{jorn} export -q -o jsonl {directory}", lines_of),
        ("export/csv", f"{jorn} export -q -o csv {directory}", rest),
        ("show/jorn", f"{jorn} show -o json {directory}", lines_of),
        ("show/csv", f"{jorn} show -o csv {directory}", rest),
        ("search/sqlite", f"sqlite3 {database} \"SELECT * FROM items WHERE text LIKE '%overheated%'\"", lines_of),
    ]


def hyperfine(folder: pathlib.Path, named: list[tuple[str, str]], figures: Figures, prepare: list[str]) -> None:
    """Each command line once, after its own preparation, if there is any. All times include the start of the shell:
    if it were subtracted, which hyperfine could do, nothing would be left of the quickest ones."""
    report = folder / "hyperfine.json"
    preparations = [word for line in prepare for word in ("--prepare", line)]
    lines = [f"sh -c {shlex.quote(line)}" for _, line in named]
    subprocess.run(["hyperfine", "--shell", "none", "--style", "none", "--runs", "1", "--output", "pipe",
                    *preparations, "--export-json", str(report), *lines], check=True, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)
    for (name, _), result in zip(named, json.loads(report.read_text())["results"]):
        figures.add(f"tool/{name}", result["times"][0] * 1e9)
        figures.add(f"tool/{name}:cpu", (result["user"] + result["system"]) * 1e9)


def run_tool(folder: pathlib.Path, ring: Ring, figures: Figures) -> None:
    commands = tool_commands(folder, ring)
    if not figures.has("tool/count/jorn"):
        for name, line, answer_of in commands:
            figures.answer(f"tool/{name}", answer_of(run_process(line)[2]))
    hyperfine(folder, [(name, line) for name, line, _ in commands], figures, [])


def run_recorders(folder: pathlib.Path, scale, lines: int, figures: Figures) -> None:
    recorded, logged = folder / "recorded", folder / "logged"
    hyperfine(folder, [("record/jorn", f"{TOOL} record --files {scale.files} {recorded} < {folder}/lines"),
                       ("record/multilog", f"multilog t s{ROTATION_BYTES} n100 {logged} < {folder}/lines")],
              figures, [f"rm -rf {recorded}", f"rm -rf {logged}"])
    kept = int(run_process([str(TOOL), "count", str(recorded)])[2].split()[-1])
    if kept != lines + 1:
        raise Failure(f"jorn record: {kept - 1} of {lines} lines are in the log")
    if count_lines(logged) != lines:
        raise Failure(f"multilog: {count_lines(logged)} of {lines} lines are in its files")


def make_imports(folder: pathlib.Path, ring: Ring) -> None:
    """The ring's items as a program would have logged them, and as `jorn export` writes them."""
    run_process(f"cat {' '.join(ring.files)} | sed '1d' | cut -d, -f1,4- | tr , ' ' > {folder}/stamped")
    run_process(f"{TOOL} export -q {ring.directory} | sed '1d' > {folder}/items.jsonl")


def run_imports(folder: pathlib.Path, scale, ring: Ring, figures: Figures) -> None:
    """Lines that bring their times, and an export, beside lines that do not; all are counted afterwards."""
    if not (folder / "stamped").exists():
        make_imports(folder, ring)
    options = {"plain": ("", "lines"), "stamped": ("--times epoch", "stamped"),
               "jsonl": ("--format jsonl", "items.jsonl")}
    lines = [(f"import/{name}", f"{TOOL} record --files {scale.files} {words} {folder}/in-{name} < {folder}/{file}")
             for name, (words, file) in options.items()]
    hyperfine(folder, lines, figures, [f"rm -rf {folder}/in-{name}" for name in options])
    for name in options:
        counted = run_process([str(TOOL), "count", f"{folder}/in-{name}"])[2]
        figures.answer(f"tool/import/{name}", int(counted.split()[-1]))


def run_round(folder: pathlib.Path, scale, lines: int, figures: Figures) -> None:
    ring = Ring(folder, scale)
    run_program("jorn_bench_submission", folder, scale, figures)
    run_program("jorn_bench_storing", folder, scale, figures)
    run_multilog(folder, lines, figures)
    run_program("jorn_bench_query", folder, scale, figures)
    run_text_peers(folder, ring, figures)
    run_tool(folder, ring, figures)
    run_recorders(folder, scale, lines, figures)
    run_imports(folder, scale, ring, figures)
