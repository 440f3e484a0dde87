"""Repeats session announcements: sap_relay.py DESTINATION.

It listens on its own host, to announcements that are sent to 127.0.0.1, and sends the latest one to
the destination four times in a second, byte by byte as it came. FFmpeg announces once in five
seconds (RFC 2974, 3.1, wants far less), and a scan listens for 800 ms.
"""

from __future__ import annotations

import select
import socket
import sys

SAP_PORT = 9875
PAUSE_SECONDS = 0.25


def main() -> None:
    destination = sys.argv[1]
    announcement = b""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as listener, \
            socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        listener.bind(("127.0.0.1", SAP_PORT))
        print("ready", flush=True)
        while True:
            if select.select([listener], [], [], PAUSE_SECONDS)[0]:
                announcement = listener.recv(65535)
            if announcement:
                sender.sendto(announcement, (destination, SAP_PORT))


if __name__ == "__main__":
    main()
