# SPDX-License-Identifier: Apache-2.0
"""`jorn serve` over a full ring, and clients of it."""
import http.client
import pathlib
import signal
import socket
import subprocess
import time
import urllib.parse

FILES = 90
ITEMS_PER_FILE = 5000
FIRST_TIME = 1700006400
SECONDS_APART = 6

# Expressions that are searched for, as parameters of the server's and as arguments of grep's.
SEARCHES = {
    "a rare word": ("q=overheated", ["overheated"]),
    "a common word": ("q=nominal", ["nominal"]),
    "a word in any case": ("q=OVERHEATED&case=ignore", ["-i", "OVERHEATED"]),
    "an expression with alternatives": ("q=" + urllib.parse.quote("channel (1|2)[0-9] over[a-z]+"),
                                        ["-E", "channel (1|2)[0-9] over[a-z]+"]),
}


def make_ring(folder: pathlib.Path, files: int = FILES) -> None:
    folder.mkdir(parents=True)
    number = 0
    for file in range(files):
        lines = []
        # The newest file has room for the items that come.
        for _ in range(ITEMS_PER_FILE if file < files - 1 else ITEMS_PER_FILE - 1000):
            word = "overheated" if number % 997 == 0 else "nominal"
            lines.append(f"{FIRST_TIME + number * SECONDS_APART},{number % 7 % 4},{number % 8},"
                         f"channel {number % 40} {word}, reading {number * 7919 % 100000} of cycle {number}\n")
            number += 1
        (folder / f"{file}.csv").write_text("".join(lines))
    (folder / "index.csv").write_text(f"version:1\n0,{files - 1}\n")


def files_of(folder: pathlib.Path) -> list[str]:
    return [str(folder / f"{file}.csv") for file in range(FILES)]


class Server:
    def __init__(self, jorn: str, ring: pathlib.Path) -> None:
        self.begin = time.perf_counter()
        self.process = subprocess.Popen([jorn, "serve", "--listen", "127.0.0.1:0", str(ring)], stdout=subprocess.PIPE)
        url = self.process.stdout.readline().decode().strip()
        self.port = int(url.split(":")[2].split("/")[0])
        self.headers = {"Authorization": "Bearer " + url.split("token=")[1]}
        self.connection = http.client.HTTPConnection("127.0.0.1", self.port)

    def __enter__(self) -> "Server":
        return self

    def __exit__(self, kind, *_) -> None:
        if kind is None:
            self.stop()
        else:
            self.process.kill()
            self.process.wait()

    def get(self, target: str) -> bytes:
        self.connection.request("GET", target, headers=self.headers)
        answer = self.connection.getresponse()
        body = answer.read()
        if answer.status != 200:
            raise SystemExit(f"{target}: {answer.status} {body!r}")
        return body

    def timed(self, *targets: str) -> float:
        begin = time.perf_counter()
        for target in targets:
            self.get(target)
        return time.perf_counter() - begin

    def follow(self) -> socket.socket:
        """A stream whose first event has come."""
        stream = socket.create_connection(("127.0.0.1", self.port), timeout=30)
        head = "".join(f"{name}: {value}\r\n" for name, value in self.headers.items())
        stream.sendall(f"GET /api/stream HTTP/1.1\r\nHost: 127.0.0.1:{self.port}\r\n{head}\r\n".encode())
        hear(stream, b"event: change")
        return stream

    def peak_kibibytes(self) -> int:
        for line in pathlib.Path(f"/proc/{self.process.pid}/status").read_text().splitlines():
            if line.startswith("VmHWM:"):
                return int(line.split()[1])
        raise SystemExit("the server's peak is not known")

    def stop(self) -> None:
        self.connection.close()
        self.process.send_signal(signal.SIGINT)
        self.process.stdout.close()
        if self.process.wait() != 0:
            raise SystemExit("the server failed")


def hear(stream: socket.socket, text: bytes) -> None:
    heard = b""
    while text not in heard:
        more = stream.recv(65536)
        if not more:
            raise SystemExit("a stream ended")
        heard += more
