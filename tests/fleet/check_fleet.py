#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Ships rings that are being recorded into real engines: check_fleet.py JORN

PostgreSQL and three ClickHouse servers (one alone, two as shards) run unprivileged on the loopback interface. Rings are
recorded live while they are shipped to each layout by the commands that docs/fleet.md shows, as they stand there. An
engine of each kind is killed and started again meanwhile, clients are killed, and their connections are cut. At the end,
the rows are exactly the items. Then logs of other machines are pulled and shipped, small rings wrap while they are shipped,
and the unit of the service is run.
"""
import base64
import json
import os
import pathlib
import random
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

import check_pulls
import check_rings
import check_unit
from cutting_proxy import CuttingProxy

ROOT = pathlib.Path(__file__).resolve().parents[2]
SHARE = ROOT / "share" / "jorn" / "fleet"
POSTGRES = pathlib.Path("/usr/lib/postgresql/15/bin")
RINGS = 20
LINES = 4000
DAY = 86400

CLICKHOUSE_CONFIG = """<yandex>
  <logger><level>warning</level><log>{root}/log</log><errorlog>{root}/errors</errorlog></logger>
  <http_port>{http}</http_port><tcp_port>{tcp}</tcp_port><interserver_http_port>{inter}</interserver_http_port>
  <listen_host>127.0.0.1</listen_host>
  <path>{root}/data/</path><tmp_path>{root}/tmp/</tmp_path>
  <users_config>{root}/users.xml</users_config>
  <default_profile>default</default_profile><default_database>default</default_database>
  <mark_cache_size>100000000</mark_cache_size>
  <remote_servers><fleet>
    <shard><replica><host>127.0.0.1</host><port>{first}</port></replica></shard>
    <shard><replica><host>127.0.0.1</host><port>{second}</port></replica></shard>
  </fleet></remote_servers>
</yandex>
"""

CLICKHOUSE_USERS = """<yandex>
  <profiles><default><max_memory_usage>2000000000</max_memory_usage></default></profiles>
  <users><default><password></password><networks><ip>127.0.0.1</ip></networks>
    <profile>default</profile><quota>default</quota></default></users>
  <quotas><default></default></quotas>
</yandex>
"""


def free_ports(count):
    sockets = [socket.socket() for _ in range(count)]
    for each in sockets:
        each.bind(("127.0.0.1", 0))
    ports = [each.getsockname()[1] for each in sockets]
    for each in sockets:
        each.close()
    return ports


def wait_until(holds, what, limit=60):
    end = time.monotonic() + limit
    while not holds():
        if time.monotonic() > end:
            sys.exit(f"{what}: not within {limit} s")
        time.sleep(0.05)


def unprivileged():
    """What makes a child run as nobody, where this is root's: PostgreSQL refuses to be root's."""
    return {"user": "nobody", "group": "nogroup", "extra_groups": []} if os.getuid() == 0 else {}


class Server:
    """An engine in a folder of its own."""

    def __init__(self, root, words, is_ready, environment=None):
        self.root, self.words, self.is_ready, self.environment = root, words, is_ready, environment
        self.process = None

    def start(self):
        with open(self.root / "output", "ab") as output:
            self.process = subprocess.Popen(self.words, stdout=output, stderr=output, stdin=subprocess.DEVNULL,
                                            cwd=self.root, start_new_session=True, env=self.environment,
                                            **unprivileged())
        wait_until(self.is_ready, f"{self.words[0]} is ready")

    def kill(self):
        """All of its processes: they are a session of their own."""
        os.killpg(self.process.pid, signal.SIGKILL)
        self.process.wait()

    def stop(self):
        if self.process and self.process.poll() is None:
            self.kill()


def postgres(folder, port):
    root = folder / "postgres"
    root.mkdir()
    if os.getuid() == 0:
        shutil.chown(root, "nobody", "nogroup")
    subprocess.run([POSTGRES / "initdb", "-D", root / "data", "-A", "trust", "-U", "fleet", "-E", "UTF8", "--no-locale",
                    "--no-sync"], check=True, cwd=root, stdout=subprocess.DEVNULL, **unprivileged())
    words = [POSTGRES / "postgres", "-D", root / "data", "-p", str(port), "-k", root, "-c",
             "listen_addresses=127.0.0.1"]
    return Server(root, words, lambda: subprocess.run(
        [POSTGRES / "pg_isready", "-q", "-h", "127.0.0.1", "-p", str(port)], check=False).returncode == 0)


def clickhouse(folder, name, ports, shards):
    root = folder / name
    (root / "data").mkdir(parents=True)
    (root / "tmp").mkdir()
    (root / "config.xml").write_text(CLICKHOUSE_CONFIG.format(
        root=root, http=ports[0], tcp=ports[1], inter=ports[2], first=shards[0], second=shards[1]))
    (root / "users.xml").write_text(CLICKHOUSE_USERS)
    if os.getuid() == 0:
        for path in [root, *root.rglob("*")]:
            shutil.chown(path, "nobody", "nogroup")
    words = ["clickhouse-server", f"--config-file={root}/config.xml"]
    return Server(root, words, lambda: subprocess.run(
        ["clickhouse-client", f"--port={ports[1]}", "--query=SELECT 1"], check=False, stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL).returncode == 0)


def documented(heading, kind="sh"):
    """The blocks of commands, or of something else, under a heading of docs/fleet.md."""
    text = (ROOT / "docs" / "fleet.md").read_text()
    section = text.split(f"\n## {heading}\n")[1].split("\n## ")[0]
    return [block.replace("/usr/share/jorn/fleet", str(SHARE)) for block in
            re.findall(rf"```{kind}\n(.*?)```", section, re.DOTALL)]


class Layout:
    """An engine and what docs/fleet.md says of it."""

    def __init__(self, fleet, heading, environment, select, servers, proxy, questions=None):
        self.fleet, self.environment, self.select, self.servers = fleet, environment, select, servers
        self.proxy = proxy
        blocks = documented(heading)
        self.tables, self.ship = blocks[0], blocks[1]
        self.queries = [line for block in documented(questions or heading)[2:] for line in block.splitlines()]
        self.shipper = None
        self.run(self.tables)

    def run(self, commands, check=True):
        return subprocess.run(["bash", "-ec", commands], cwd=self.fleet.folder, env=self.environment, check=check,
                              stdout=subprocess.PIPE, encoding="utf-8", errors="surrogateescape").stdout

    def start_shipping(self):
        """The documented command goes on."""
        following = self.ship.replace("--exec", "-q --every 300ms --batch 3000 --retries 1 --exec", 1)
        self.shipper = subprocess.Popen(["bash", "-ec", "exec " + following], cwd=self.fleet.folder,
                                        env=self.environment, stderr=open(self.fleet.folder / "notes", "ab"))

    def kill_client(self):
        """Kills the command that is storing a batch, if there is one soon."""
        for _ in range(20):
            if self.kill_child():
                return True
            time.sleep(0.02)
        return False

    def kill_child(self):
        for entry in pathlib.Path("/proc").iterdir():
            try:
                parent = (entry / "stat").read_text().rsplit(") ", 1)[1].split()[1]
            except (OSError, IndexError):
                continue
            if parent == str(self.shipper.pid):
                try:
                    os.kill(int(entry.name), signal.SIGKILL)
                except ProcessLookupError:
                    pass
                return True
        return False

    def finish(self):
        self.shipper.send_signal(signal.SIGTERM)
        self.shipper.wait(60)
        self.run(self.ship)

    def rows(self):
        return [json.loads(line) for line in self.run(self.select.format(where="")).splitlines()]

    def rows_of(self, device, also=""):
        where = f"WHERE device = '{device}'{also}"
        return [json.loads(line) for line in self.run(self.select.format(where=where)).splitlines()]

    def has_text(self, device, text):
        return bool(self.rows_of(device, f" AND text = '{text}'"))


class Fleet:
    """Rings that are recorded at the same time."""

    def __init__(self, folder, jorn):
        self.folder, self.jorn = folder, jorn
        self.names = [f"unit{number:02d}" for number in range(1, RINGS + 1)]
        for name in self.names:
            (folder / "logs" / name).mkdir(parents=True)

    def record(self, name, seed):
        chance = random.Random(seed)
        recorder = subprocess.Popen([self.jorn, "record", "--files", "4", "--prefix-levels", f"logs/{name}/door"],
                                    cwd=self.folder, stdin=subprocess.PIPE)
        for number in range(LINES):
            text = f"<{chance.randrange(4)}>door {chance.choice(['open', 'shut'])} {number}".encode()
            if number % 100 == 7:
                text += b' "\xff\xc3\xa4\\ \xe2\x82'
            recorder.stdin.write(text + b"\n")
            if number % 50 == 0:
                recorder.stdin.flush()
                time.sleep(chance.random() / 10)
        recorder.stdin.close()
        if recorder.wait() != 0:
            sys.exit(f"the recorder of {name} ended with exit code {recorder.returncode}")

    def items(self):
        """All items by device, in their order: nothing was overwritten in rings of this size."""
        items = {}
        for name in self.names:
            text = subprocess.run([self.jorn, "export", "-o", "jsonl", f"logs/{name}/door"], cwd=self.folder,
                                  check=True, stdout=subprocess.PIPE, encoding="utf-8").stdout
            items[name] = [content_of(json.loads(line)) for line in text.splitlines()]
        return items


def content_of(item):
    coded = item.get("text_base64")
    stored = base64.b64decode(coded) if coded else item["text"].encode()
    return (int(item["time"]), int(item["level"]), int(item["slot"]), item["text"], stored)


def check(layout_name, rows, items):
    """The rows of one layout are exactly the items, each once, numbered in their order."""
    by_device = {}
    for row in rows:
        by_device.setdefault(row["device"], []).append(row)
    for device, expected in items.items():
        found = sorted(by_device.pop(device, []), key=lambda row: (int(row["epoch"]), int(row["seq"])))
        if [int(row["seq"]) for row in found] != list(range(1, len(expected) + 1)):
            sys.exit(f"{layout_name}: {device} has {len(found)} rows of {len(expected)} items, or gaps")
        if [content_of(row) for row in found] != expected:
            sys.exit(f"{layout_name}: rows of {device} differ from its items")
    if by_device:
        sys.exit(f"{layout_name}: rows of no device: {list(by_device)}")


def rows_in(answer):
    """The rows of an answer: of psql's table, or of lines with tabs."""
    lines = answer.splitlines()
    if any(re.fullmatch(r"\(\d+ rows?\)", line) for line in lines):
        return [[field.strip() for field in line.split("|")] for line in lines[2:] if "|" in line]
    return [line.split("\t") for line in lines]


def check_answers(layout_name, answers, items):
    """The documented questions: errors by device and day, the newest 20 of unit01, texts with "open" by device,
    devices that are silent, gaps."""
    errors, newest, texts, silent, gaps = answers
    of_all = [item for of_device in items.values() for item in of_device]
    of_first = [item[3] for item in items["unit01"]]
    expected = [
        ("errors", sum(int(row[2]) for row in errors), sum(item[1] == 0 for item in of_all)),
        ("newest texts", [row[3].split(" ")[-1] for row in newest], [text.split(" ")[-1] for text in of_first[:-21:-1]]),
        ("texts with open", {row[0]: int(row[1]) for row in texts},
         {device: sum("open" in item[3] for item in of_device) for device, of_device in items.items()}),
        ("silent devices", silent, []),
        ("gaps", gaps, []),
    ]
    for what, found, wanted in expected:
        if found != wanted:
            sys.exit(f"{layout_name}: {what}: {found} instead of {wanted}")


POSTGRES_ROWS = """psql -Atc "SELECT json_build_object('device', device, 'log', log, 'epoch', epoch, 'seq', seq, \
'time', time, 'level', level, 'slot', slot, 'text', text, 'text_base64', translate(encode(bytes, 'base64'), E'\\n', \
'')) FROM jorn_items {where}" """
CLICKHOUSE_ROWS = 'clickhouse-client --query="SELECT * FROM jorn.items FINAL {where} FORMAT JSONEachRow"'


def client_environment(folder, jorn, name, tcp_port, http_port, pg_port):
    """Finds the tool under its name, and clients that go to the test's servers by default."""
    programs = folder / f"bin-{name}"
    programs.mkdir()
    (programs / "jorn").symlink_to(jorn)
    for client, place in [("clickhouse-client", f"--host=127.0.0.1 --port={tcp_port}"),
                          ("curl", f"--connect-to localhost:8123:127.0.0.1:{http_port}")]:
        (programs / client).write_text(f'#!/bin/sh\nexec {shutil.which(client)} {place} "$@"\n')
        (programs / client).chmod(0o755)
    return {**os.environ, "PATH": f"{programs}:{os.environ['PATH']}", "PGHOST": "127.0.0.1", "PGPORT": str(pg_port),
            "PGUSER": "fleet", "PGDATABASE": "postgres", "HOME": str(folder), "TZ": "UTC"}


def run(folder, jorn, servers):
    ports = free_ports(10)
    shards = (ports[5], ports[8])
    store = postgres(folder, ports[0])
    alone = clickhouse(folder, "alone", ports[1:4], shards)
    first = clickhouse(folder, "first", ports[4:7], shards)
    second = clickhouse(folder, "second", ports[7:10], shards)
    servers += [store, alone, first, second]
    for server in servers:
        server.start()
    check_pulls.check(folder, jorn, documented("From one directory to many")[2])
    fleet = Fleet(folder, jorn)
    # Of each layout, the port that takes its items.
    proxies = {name: CuttingProxy(port) for name, port in [("store", ports[0]), ("alone", ports[1]), ("first", ports[5])]}
    environment = {name: client_environment(folder, jorn, name, port, proxies["alone"].port, proxies["store"].port)
                   for name, port in [("alone", ports[2]), ("first", proxies["first"].port), ("second", ports[8])]}
    subprocess.run(["bash", "-ec", documented("ClickHouse, several servers")[0]], env=environment["second"], check=True)
    layouts = {
        "PostgreSQL": Layout(fleet, "PostgreSQL", environment["alone"], POSTGRES_ROWS, [store],
                             proxies["store"]),
        "ClickHouse": Layout(fleet, "ClickHouse, one server", environment["alone"], CLICKHOUSE_ROWS, [alone],
                             proxies["alone"]),
        "two ClickHouse servers": Layout(fleet, "ClickHouse, several servers", environment["first"], CLICKHOUSE_ROWS,
                                         [second], proxies["first"], "ClickHouse, one server"),
    }
    recorders = [threading.Thread(target=fleet.record, args=(name, seed)) for seed, name in enumerate(fleet.names)]
    for recorder in recorders:
        recorder.start()
    wait_until(lambda: all((folder / "logs" / name / "door" / "index.csv").exists() for name in fleet.names),
               "all rings have begun")
    for layout in layouts.values():
        layout.start_shipping()
    kills = disturb(layouts, recorders)
    for recorder in recorders:
        recorder.join()
    items = fleet.items()
    for name, layout in layouts.items():
        layout.finish()
        check(name, layout.rows(), items)
        check_answers(name, [rows_in(layout.run(query)) for query in layout.queries], items)
    check_alone(fleet, environment["alone"], items)
    check_pulled(fleet, layouts, environment["alone"])
    wrapped = check_rings.check_wrapping(fleet, layouts)
    lost = check_rings.check_overrun(fleet)
    check_unit.check_unit(fleet, layouts["PostgreSQL"], check)
    total = sum(len(of_device) for of_device in items.values())
    cuts = [proxy.cuts for proxy in proxies.values()]
    print(f"{RINGS} rings, {total} items in {len(layouts)} layouts exactly; {kills} clients killed, {sum(cuts)} connections "
          f"cut, {len(layouts)} engines killed and started again; {wrapped} items of a ring that wrapped; {lost} items of "
          f"another one were overwritten unread")
    if kills == 0 or min(cuts) == 0:
        sys.exit("not every engine's clients were killed and cut off")


def check_alone(fleet, environment, items):
    """The command for one directory."""
    subprocess.run(["bash", "-ec", documented("From one directory to many")[0]], cwd=fleet.folder, env=environment,
                   check=True)
    rows = [json.loads(line) for line in (fleet.folder / "unit01.jsonl").read_text().splitlines()]
    check("unit01.jsonl", rows, {"unit01": items["unit01"]})


def check_pulled(fleet, layouts, environment):
    """Logs of other machines, which are this one here: the documented commands pull and ship them."""
    pull_one, pull_many = documented("From one directory to many")[1:]
    names = ["unit21", "unit22"]
    check_pulls.make_devices(fleet.folder, fleet.jorn, names)
    fleet.names += names
    lines = "".join(f"{name}:/yaffs/door logs/{name}/door\n" for name in names)
    (fleet.folder / "pulls").write_text(lines)
    if lines not in documented("From one directory to many", "text"):
        sys.exit(f"docs/fleet.md does not show these pulls:\n{lines}")
    check_pulls.pull(fleet.folder, environment, pull_one)
    check_pulls.pull(fleet.folder, environment, pull_many)
    for layout in layouts.values():
        layout.run(layout.ship)
    items = fleet.items()
    for name, layout in layouts.items():
        check(name, layout.rows(), items)


def disturb(layouts, recorders):
    """Kills clients and cuts their connections while there is something to ship, and in the middle each engine."""
    chance = random.Random(1)
    kills = 0
    waiting = [server for layout in layouts.values() for server in layout.servers]
    while any(recorder.is_alive() for recorder in recorders):
        for layout in layouts.values():
            layout.proxy.arm(chance.randrange(1000, 10000))
            kills += layout.kill_client()
            time.sleep(0.3)
        if waiting:
            server = waiting.pop()
            server.kill()
            time.sleep(0.7)
            server.start()
    return kills


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    servers = []
    with tempfile.TemporaryDirectory(prefix="jorn-fleet-") as name:
        folder = pathlib.Path(name)
        folder.chmod(0o755)
        try:
            run(folder, pathlib.Path(sys.argv[1]).resolve(), servers)
        finally:
            for server in servers:
                server.stop()


if __name__ == "__main__":
    main()
