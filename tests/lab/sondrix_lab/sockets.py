"""The Internet sockets of a process, as the kernel lists them, looked at again and again."""

from __future__ import annotations

import os
import time
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from pathlib import Path

LOOK_SECONDS = 0.01
TABLES = ("tcp", "tcp6", "udp", "udp6", "udplite", "udplite6", "raw", "raw6", "packet")
LISTENING = "0A"


@dataclass(frozen=True)
class Socket:
    """One socket: the table that it stands in, its local port, and whether it waits for connections."""

    inode: int
    table: str
    port: int
    is_listening: bool


@dataclass
class Sighting:
    """When a socket was seen first and last, in seconds since the process was started."""

    socket: Socket
    first: float
    last: float

    @property
    def seconds(self) -> float:
        return self.last - self.first


def sockets_of(process: int) -> list[Socket]:
    """Only those of the process itself; the tables hold all sockets of its host."""
    folder = Path("/proc") / str(process)
    inodes = set()
    for entry in (folder / "fd").iterdir():
        try:
            target = os.readlink(entry)
        except FileNotFoundError:
            continue
        if target.startswith("socket:["):
            inodes.add(int(target[len("socket:["):-1]))
    return [socket for socket in listed_sockets(folder / "net") if socket.inode in inodes] if inodes else []


def listed_sockets(folder: Path) -> Iterator[Socket]:
    for table in TABLES:
        path = folder / table
        for line in path.read_text("ascii").splitlines()[1:] if path.exists() else ():
            fields = line.split()
            if table == "packet":
                yield Socket(int(fields[8]), table, 0, False)
            else:
                is_listening = table.startswith("tcp") and fields[3] == LISTENING
                yield Socket(int(fields[9]), table, int(fields[1].rpartition(":")[2], 16), is_listening)


def watch_sockets(process: int, begin: float, is_over: Callable[[], bool]) -> tuple[list[Sighting], int]:
    """Every socket that the process had until it is over, in the order of appearance, and how often this looked."""
    sightings: dict[Socket, Sighting] = {}
    looks = 0
    while not is_over():
        try:
            present = sockets_of(process)
        except (FileNotFoundError, ProcessLookupError):
            break  # the process has ended
        now = time.monotonic() - begin
        for socket in present:
            sightings.setdefault(socket, Sighting(socket, now, now)).last = now
        looks += 1
        time.sleep(LOOK_SECONDS)
    return list(sightings.values()), looks
