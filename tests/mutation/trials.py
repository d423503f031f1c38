# SPDX-License-Identifier: Apache-2.0
"""Builds the rewritten tree and tries mutants against the module's tests."""
from __future__ import annotations

import dataclasses
import hashlib
import json
import os
import pathlib
import resource
import shlex
import shutil
import signal
import subprocess
import tempfile
import time
from collections.abc import Iterator

from mutants import Finder, Mutant

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
WORK = ROOT / "build" / "mutation"
TREE = WORK / "tree"
BUILD = WORK / "objects"
PROGRAM = BUILD / "tests" / "jorn_module_tests"
TREE_PARTS = ("src", "include", "port", "tests", "tools", "cmake", "packaging", "examples", "CMakeLists.txt")

# The tests that reach a mutant run in rounds of about this many milliseconds, so that most mutants cost no more
# than a few quick tests. Those of its own folder come before others.
ROUNDS_MS = (30, 300, 3000)

# A trial ends when it has used this much more processor time than the same tests use without a mutant,
CPU_SECONDS = 1
CPU_FACTOR = 5
# or when all of its threads have slept for this long: some wait for something that never happens.
STALL_SECONDS = 2

# A mutant that fills the memory or the disk instead is stopped too.
MEMORY_BYTES = 1 << 29
FILE_BYTES = 1 << 26


@dataclasses.dataclass
class Result:
    mutant: Mutant
    seconds: float
    fate: str  # "killed", "crashed", "timed out", "refused by the compiler", "survived", "reached by no test"

    @property
    def is_killed(self) -> bool:
        return self.fate not in ("survived", "reached by no test")


@dataclasses.dataclass
class TracedTest:
    name: str
    milliseconds: int
    reached: set[int]


def find_mutants() -> Finder:
    finder = Finder(ROOT)
    includes = ["include", "src", "port/posix/include"]
    arguments = ["-std=c++17", "-fno-exceptions", "-fno-rtti", *(f"-I{ROOT / name}" for name in includes)]
    for source in sorted((ROOT / "src").rglob("*.cpp")):
        finder.scan(source, arguments)
    finder.finish()
    return finder


def temporary_prefix() -> str:
    """Test directories get names of their own here, so that those of killed tests can be removed."""
    return "/tmp/m" + hashlib.sha1(str(ROOT).encode()).hexdigest()[:3]


def write_if_changed(path: pathlib.Path, data: bytes) -> None:
    path.parent.mkdir(parents=True, exist_ok=True)
    if not path.exists() or path.read_bytes() != data:
        path.write_bytes(data)


def write_tree(finder: Finder) -> None:
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard", *TREE_PARTS],
                            cwd=ROOT, check=True, capture_output=True, text=True).stdout
    names = {name for name in listed.split("\0") if name and (ROOT / name).is_file()}
    for name in names:
        data = (ROOT / name).read_bytes()
        if name in finder.files:
            data = finder.files[name].rewritten()
        elif name == "tests/support/module_test.cpp":
            data = data.replace(b'"/tmp/jorn', f'"{temporary_prefix()}'.encode())
            data += b'\n#include "mutation/trial.cpp"\n'
        write_if_changed(TREE / name, data)
    for stale in TREE.rglob("*"):
        if stale.is_file() and str(stale.relative_to(TREE)) not in names:
            stale.unlink()


def build() -> None:
    header = TREE / "tests" / "mutation" / "mutation.h"
    flags = f"-O1 -g0 -w -include {header}"
    subprocess.run(["cmake", "-S", str(TREE), "-B", str(BUILD), "-G", "Ninja", "--log-level=WARNING",
                    "-DJORN_BUILD_TOOL=OFF", "-DCMAKE_BUILD_TYPE=None", "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON",
                    f"-DCMAKE_CXX_FLAGS={flags}"], check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", str(BUILD), "--target", "jorn_module_tests"], check=True,
                   stdout=subprocess.DEVNULL)


def trace() -> list[TracedTest]:
    """Runs all tests without a mutant. Returns which mutants each of them reaches. The first entry, named "*",
    holds what is reached before any test."""
    path = WORK / "trace"
    done = subprocess.run([str(PROGRAM), "--gtest_brief=1"], capture_output=True, text=True, cwd=WORK,
                          env={**os.environ, "JORN_MUTATION_TRACE": str(path)}, check=False)
    if done.returncode != 0:
        raise SystemExit(f"The tests fail without a mutant:\n{done.stdout[-2000:]}")
    tests = []
    for line in path.read_text().splitlines():
        name, milliseconds, reached = line.split("\t")
        tests.append(TracedTest(name, int(milliseconds), {int(number) for number in reached.split()}))
    return tests


class Suites:
    """Knows in which folder of tests/ a test is."""

    def __init__(self) -> None:
        self.folders: dict[str, str] = {}
        for path in (*(ROOT / "tests").glob("*_test.cpp"), *(ROOT / "tests").glob("*/*_test.cpp")):
            text = path.read_text()
            for word in ("TEST_F(", "TEST_P(", "TEST(", "INSTANTIATE_TEST_SUITE_P("):
                for part in text.split(word)[1:]:
                    suite = part.split(",")[1 if word.startswith("INST") else 0].strip()
                    self.folders[suite] = path.parent.name

    def folder(self, test: str) -> str:
        suite = test.split(".")[0].split("/")
        return self.folders.get(suite[-1], self.folders.get(suite[0], ""))


class Trials:
    def __init__(self, traced: list[TracedTest]) -> None:
        always, tests = traced[0].reached, traced[1:]
        self.tests = tests
        self.suites = Suites()
        self.reaching: dict[int, list[TracedTest]] = {}
        for test in tests:
            for number in test.reached | always:
                self.reaching.setdefault(number, []).append(test)

    def run(self, mutant: Mutant, place: int) -> Result:
        start = time.monotonic()
        if mutant.edit is not None:
            fate = self.fate_edited(mutant)
        elif place in self.reaching:
            fate = self.fate(PROGRAM, self.reaching[place], mutant)
        else:
            fate = "reached by no test"
        return Result(mutant, time.monotonic() - start, fate)

    def fate(self, program: pathlib.Path, tests: list[TracedTest], mutant: Mutant) -> str:
        folder = pathlib.Path(mutant.file).parent.name
        ordered = sorted(tests, key=lambda t: (self.suites.folder(t.name) != folder, t.milliseconds, len(t.reached)))
        for batch in rounds(ordered):
            fate = run_tests(program, batch, mutant.number)
            if fate != "survived":
                return fate
        return "survived"

    def fate_edited(self, mutant: Mutant) -> str:
        with tempfile.TemporaryDirectory(prefix="edit", dir=WORK) as folder:
            program = build_edited(mutant, pathlib.Path(folder))
            return "refused by the compiler" if program is None else self.fate(program, self.tests, mutant)


def rounds(tests: list[TracedTest]) -> Iterator[list[TracedTest]]:
    position = 0
    for limit in ROUNDS_MS:
        start, spent = position, 0
        while position < len(tests) and spent <= limit:
            spent += max(1, tests[position].milliseconds)
            position += 1
        if position > start:
            yield tests[start:position]
    if position < len(tests):
        yield tests[position:]


def run_tests(program: pathlib.Path, tests: list[TracedTest], number: int) -> str:
    cpu = CPU_SECONDS + CPU_FACTOR * sum(test.milliseconds for test in tests) // 1000

    def limit() -> None:
        resource.setrlimit(resource.RLIMIT_CPU, (cpu, cpu + 1))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_BYTES, FILE_BYTES))
        resource.setrlimit(resource.RLIMIT_DATA, (MEMORY_BYTES, MEMORY_BYTES))

    with tempfile.NamedTemporaryFile("w", dir=WORK, prefix="filter") as filter_file:
        filter_file.write("--gtest_filter=" + ":".join(test.name for test in tests) + "\n")
        filter_file.flush()
        process = subprocess.Popen(
            [str(program), f"--gtest_flagfile={filter_file.name}", "--gtest_fail_fast", "--gtest_brief=1"],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL, preexec_fn=limit,
            cwd=WORK,  # a mutant may write anywhere
            env={**os.environ, "JORN_MUTANT": str(number)})
        if not wait_for(process):
            process.kill()
            process.wait()
            return "timed out"
    if process.returncode == 0:
        return "survived"
    if process.returncode == -signal.SIGXCPU:
        return "timed out"
    return "killed" if process.returncode > 0 else "crashed"


def wait_for(process: subprocess.Popen[bytes]) -> bool:
    """Waits for the end; false when nothing makes progress any more."""
    seen, since, pause = "", time.monotonic(), 0.005
    while True:
        try:
            process.wait(timeout=pause)
            return True
        except subprocess.TimeoutExpired:
            pause = min(pause * 2, 0.25)
        now = activity(process.pid)
        if now != seen:
            seen, since = now, time.monotonic()
        elif time.monotonic() - since > STALL_SECONDS:
            return False


def activity(pid: int) -> str:
    """A value that changes as long as some thread runs, is ready to, or uses the disk."""
    result = []
    for task in pathlib.Path(f"/proc/{pid}/task").glob("*/stat"):
        try:
            fields = task.read_text().rpartition(")")[2].split()
        except OSError:
            continue
        running = str(time.monotonic()) if fields[0] in "RD" else ""
        result.append(f"{fields[11]} {fields[12]} {running}")
    return ";".join(result)


def build_edited(mutant: Mutant, folder: pathlib.Path) -> pathlib.Path | None:
    """A test program with one file of the module edited; None when it does not compile."""
    assert mutant.edit is not None
    start, end, value = mutant.edit
    shutil.copytree(TREE / "src", folder / "src")
    data = (ROOT / mutant.file).read_bytes()
    (folder / mutant.file).write_bytes(data[:start] + value.encode() + data[end:])
    objects = []
    for entry in json.loads((BUILD / "compile_commands.json").read_text()):
        name = pathlib.Path(entry["file"])
        command = shlex.split(entry["command"])
        if not name.is_relative_to(TREE / "src") or "jorn_module.dir" not in entry["command"]:
            continue
        name = name.relative_to(TREE)
        target = command.index("-o") + 1
        if mutant.file.endswith(".cpp") and str(name) != mutant.file:
            objects.append(str(BUILD / command[target]))
            continue
        objects.append(str(folder / (name.stem + ".o")))
        command = [word.replace(str(TREE / "src"), str(folder / "src")) for word in command]
        command.append(f"-ffile-prefix-map={folder}/=")  # messages name the file as always
        command[target] = objects[-1]
        if subprocess.run(command, cwd=entry["directory"], capture_output=True, check=False).returncode != 0:
            return None
    return link_edited(objects, folder)


def link_edited(objects: list[str], folder: pathlib.Path) -> pathlib.Path:
    probed = folder / "jorn_probed.o"
    symbols = TREE / "tests" / "support" / "probed_symbols.txt"
    subprocess.run(["ld", "-r", "-o", str(probed), *objects], check=True)
    subprocess.run(["objcopy", f"--redefine-syms={symbols}", str(probed)], check=True)
    command = subprocess.run(["ninja", "-C", str(BUILD), "-t", "commands", "-s", "tests/jorn_module_tests"],
                             capture_output=True, text=True, check=True).stdout.splitlines()[-1]
    program = folder / PROGRAM.name
    for word, replacement in (("tests/jorn_probed.o", str(probed)), ("-o tests/jorn_module_tests", f"-o {program}")):
        if word not in command:
            raise SystemExit(f"{word}: not in the link command")
        command = command.replace(word, replacement)
    link = command.split("&&")[1]
    subprocess.run(shlex.split(link), cwd=BUILD, check=True)
    return program


def clear_leftovers() -> None:
    prefix = pathlib.Path(temporary_prefix())
    for path in prefix.parent.glob(prefix.name + "??????"):
        shutil.rmtree(path, ignore_errors=True)
