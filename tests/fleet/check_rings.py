# SPDX-License-Identifier: Apache-2.0
"""Small rings that wrap while they are shipped into engines: nothing is lost by a reader that keeps up, and one that
does not gets gaps."""
import json
import re
import signal
import subprocess
import sys
import time

STEP = 2500  # Lines; a file of a ring has 5,000.


class Ring:
    """A ring of two files that is being recorded."""

    def __init__(self, folder, jorn, name):
        self.folder, self.jorn, self.path = folder, jorn, f"rings/{name}/door"
        self.name, self.lines = name, 0
        (folder / "rings" / name).mkdir(parents=True)
        self.recorder = subprocess.Popen([jorn, "record", "--files", "2", self.path], cwd=folder, stdin=subprocess.PIPE)

    def write(self, count):
        """All of it is in the files when this returns."""
        texts = [f"line {number}" for number in range(self.lines, self.lines + count)]
        self.recorder.stdin.write("".join(f"{text}\n" for text in texts).encode())
        self.recorder.stdin.flush()
        self.lines += count
        end = time.monotonic() + 60
        while self.newest() != texts[-1]:
            if time.monotonic() > end:
                sys.exit(f"{self.path}: is not recorded within 60 s")
            time.sleep(0.01)

    def newest(self):
        shown = subprocess.run([self.jorn, "show", "-n", "1", "-o", "json", self.path], cwd=self.folder, check=False,
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, encoding="utf-8").stdout
        return json.loads(shown)["text"] if shown else ""

    def stop(self):
        self.recorder.stdin.close()
        if self.recorder.wait() != 0:
            sys.exit(f"the recorder of {self.path} ended with exit code {self.recorder.returncode}")


def check_keys(name, rows):
    """No key has two items, no item two keys, and numbers rise with the place. Returns how many numbers are missing."""
    texts = {}
    for row in rows:
        if texts.setdefault((int(row["epoch"]), int(row["seq"])), row["text"]) != row["text"]:
            sys.exit(f"{name}: two items have the key {row['epoch']}, {row['seq']}")
    lines = [int(texts[key].split(" ")[1]) for key in sorted(texts) if texts[key].startswith("line ")]
    if lines != sorted(set(lines)):
        sys.exit(f"{name}: items have two keys, or numbers against their order")
    if len({epoch for epoch, _ in texts}) != 1:
        sys.exit(f"{name}: has more than one epoch")
    return max(seq for _, seq in texts) - len(texts)


def check_wrapping(fleet, layouts):
    """The documented commands follow a ring that wraps twice and more, and never fall behind."""
    ring = Ring(fleet.folder, fleet.jorn, "wrapping")
    ring.write(1)
    shippers = []
    for layout in layouts.values():
        command = layout.ship.replace("logs/*/*", ring.path).replace("--exec", "-q --every 20ms --exec", 1)
        shippers.append(subprocess.Popen(["bash", "-ec", "exec " + command], cwd=fleet.folder, env=layout.environment))
    while ring.lines < 12 * STEP:
        ring.write(STEP)
        for name, layout in layouts.items():
            end = time.monotonic() + 60
            while not layout.has_text("wrapping", f"line {ring.lines - 1}"):
                if time.monotonic() > end:
                    sys.exit(f"{name}: line {ring.lines - 1} has not come within 60 s")
    ring.stop()
    for shipper in shippers:
        shipper.send_signal(signal.SIGTERM)
        if shipper.wait(60) != 0:
            sys.exit(f"a shipper of a ring that wraps ended with exit code {shipper.returncode}")
    for name, layout in layouts.items():
        rows = sorted(layout.rows_of("wrapping"), key=lambda row: int(row["seq"]))
        texts = [row["text"] for row in rows if row["text"].startswith("line ")]
        if check_keys(name, rows) != 0 or texts != [f"line {number}" for number in range(ring.lines)]:
            sys.exit(f"{name}: {len(texts)} rows of {ring.lines} items of a ring that wraps, or in another order")
    return ring.lines


def check_overrun(fleet):
    """Pulls of a ring that goes round once, and many times, between two of them; and one that it goes round meanwhile."""
    ring = Ring(fleet.folder, fleet.jorn, "overrun")
    pull = [fleet.jorn, "export", "-q", "--cursor-file", "cursors.overrun", "--device", "overrun", "--exec",
            "cat >> overrun.jsonl", ring.path]

    def pulled():
        notes = subprocess.run(pull, cwd=fleet.folder, check=True, stderr=subprocess.PIPE, encoding="utf-8").stderr
        rows = [json.loads(line) for line in (fleet.folder / "overrun.jsonl").read_text().splitlines()]
        return notes, rows

    ring.write(3000)
    pulled()
    ring.write(11000)
    notes, rows = pulled()
    missing, lost = check_keys("overrun", rows), ring.lines + 1 - len(rows)
    if lost == 0 or missing < lost or " gone" not in notes:
        sys.exit(f"overrun: {missing} numbers are missing for {lost} items; {notes}")
    ring.write(40000)
    notes, rows = pulled()
    told = re.search(r"at least (\d+) items? (?:is|are) gone", notes)
    skipped = check_keys("overrun", rows) - missing
    if " gone" not in notes or skipped < (int(told.group(1)) if told else 1):
        sys.exit(f"overrun: the numbers skip {skipped}, which is not what the note says: {notes}")
    shipper = subprocess.Popen(pull[:2] + ["--every", "1ms"] + pull[2:], cwd=fleet.folder, stderr=subprocess.DEVNULL)
    ring.write(60000)
    ring.stop()
    shipper.send_signal(signal.SIGTERM)
    shipper.wait(60)
    _, rows = pulled()
    check_keys("overrun", rows)
    if rows[-1]["text"] != f"line {ring.lines - 1}":
        sys.exit(f"overrun: the last row is {rows[-1]}")
    return ring.lines + 1 - len({(row["epoch"], row["seq"]) for row in rows})
