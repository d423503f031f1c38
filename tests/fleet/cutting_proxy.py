# SPDX-License-Identifier: Apache-2.0
"""A TCP proxy that cuts connections in the middle of what a client sends."""
import contextlib
import socket
import struct
import threading


class CuttingProxy:
    """Passes connections on to a port of this machine. Each connection after arm() is cut once so many bytes have come
    from the client, by turns with a reset and with an orderly end."""

    def __init__(self, target):
        self.target, self.limits, self.cuts = target, [], 0
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self.accept, daemon=True).start()

    def arm(self, limit):
        """The next connection that sends so many bytes; one that sends less leaves it to the one after it."""
        self.limits.append(limit)

    def accept(self):
        while True:
            client, _ = self.listener.accept()
            try:
                server = socket.create_connection(("127.0.0.1", self.target))
            except OSError:
                client.close()
                continue
            threading.Thread(target=self.pass_on, args=(client, server, True), daemon=True).start()
            threading.Thread(target=self.pass_on, args=(server, client, False), daemon=True).start()

    def pass_on(self, source, sink, is_from_client):
        passed = 0
        with contextlib.suppress(OSError):
            while data := source.recv(65536):
                passed += len(data)
                if is_from_client and self.limits and passed >= self.limits[0]:
                    sink.sendall(data[:len(data) // 2])
                    self.cut(source, sink)
                    return
                sink.sendall(data)
        for each in (source, sink):
            with contextlib.suppress(OSError):
                each.shutdown(socket.SHUT_RDWR)

    def cut(self, client, server):
        self.limits.pop(0)
        self.cuts += 1
        if self.cuts % 2:
            for each in (client, server):
                each.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        for each in (client, server):
            with contextlib.suppress(OSError):
                each.shutdown(socket.SHUT_RD)
            each.close()
