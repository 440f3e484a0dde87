"""HTTP hosts that mean harm: hostile_http.py SITES, a JSON object of manners by address, all at one port.

drip      the answer comes at one byte a second, from its first one
body      a body without end, as fast as it goes
chunks    the same in chunks of one byte
header    a header without end
bomb      a body that grows to a thousand times its size when it is unpacked
"""

from __future__ import annotations

import contextlib
import gzip
import json
import socket
import sys
import threading
import time
from collections.abc import Callable

PORT = 8080
DRIP_SECONDS = 1.0
OK = b"HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\n"
BLOCK = b"<a>" * 20000
# Packed, it is smaller than what the program accepts of a description.
UNPACKED_BYTES = 400_000_000


def drip(connection: socket.socket) -> None:
    for byte in OK + b"Content-Length: 1000\r\n\r\n" + b" " * 1000:
        connection.sendall(bytes([byte]))
        time.sleep(DRIP_SECONDS)


def send_for_ever(connection: socket.socket, head: bytes, block: bytes) -> None:
    connection.sendall(head)
    while True:
        connection.sendall(block)


def body(connection: socket.socket) -> None:
    send_for_ever(connection, OK + b"\r\n", BLOCK)


def chunks(connection: socket.socket) -> None:
    send_for_ever(connection, OK + b"Transfer-Encoding: chunked\r\n\r\n", b"1\r\na\r\n" * 10000)


def header(connection: socket.socket) -> None:
    send_for_ever(connection, OK, b"X-Header: and so on\r\n" * 3000)


def bomb(connection: socket.socket) -> None:
    connection.sendall(OK + b"Content-Encoding: gzip\r\nContent-Length: %d\r\n\r\n" % len(PACKED) + PACKED)


def pack() -> bytes:
    block = b"<root>" + b" " * 999_994
    return gzip.compress(block * (UNPACKED_BYTES // len(block)))


MANNERS: dict[str, Callable[[socket.socket], None]] = {
    "drip": drip, "body": body, "chunks": chunks, "header": header, "bomb": bomb}
PACKED = b""


def answer(connection: socket.socket, manner: str) -> None:
    # The client that gives up ends each of the manners.
    with connection, contextlib.suppress(OSError):
        connection.recv(65535)
        MANNERS[manner](connection)
        connection.recv(1)


def serve(listener: socket.socket, manner: str) -> None:
    while True:
        connection, _ = listener.accept()
        threading.Thread(target=answer, args=(connection, manner), daemon=True).start()


def main() -> None:
    global PACKED
    sites: dict[str, str] = json.loads(sys.argv[1])
    PACKED = pack()
    for address, manner in sites.items():
        listener = socket.create_server((address, PORT))
        threading.Thread(target=serve, args=(listener, manner), daemon=True).start()
    print("ready", flush=True)
    threading.Event().wait()


if __name__ == "__main__":
    main()
