"""Sends datagrams that mean nothing to the mDNS group, and to whoever searches by SSDP.

Nothing in them is a whole PTR, SRV or TXT record, or an SSDP header that counts, so that a scan
among them finds exactly what is there besides.
"""

from __future__ import annotations

import itertools
import random
import select
import socket
import struct

MDNS = ("224.0.0.251", 5353)
SSDP = ("239.255.255.250", 1900)
PAUSE_SECONDS = 0.003
TYPE = b"\x05_http\x04_tcp\x05local\0"


def mdns_datagrams(source: random.Random) -> list[bytes]:
    def response(body: bytes, answers: int = 1) -> bytes:
        return struct.pack(">6H", 0, 0x8400, 0, answers, 0, 0) + body

    pointer_record = struct.pack(">HHI", 12, 1, 120)
    return [
        b"", b"\0", struct.pack(">6H", 0, 0x8400, 0, 0xFFFF, 0xFFFF, 0xFFFF),
        response(b"\xc0\x0c"),                                           # a name that points to itself
        response(b"\xc0\x0e\xc0\x0c"),                                   # two that point to each other
        response(TYPE + pointer_record + struct.pack(">H", 2) + b"\xff\xff"),      # past the end
        response(TYPE + pointer_record + struct.pack(">H", 9000) + b"\x01x\0"),    # data cut off
        response(TYPE + pointer_record + struct.pack(">H", 5) + b"\x3fabcd"),      # label cut off
        response((b"\x3f" + b"a" * 63) * 5 + b"\0" + pointer_record + b"\0\0"),    # an oversized name
        response(b"\x80" + TYPE), response(b"\x40" + TYPE),              # reserved label kinds
        response(TYPE + struct.pack(">HHIH", 33, 1, 120, 3) + b"\0\0\0"),          # an SRV record too short
        response(b"\x05local\0" + struct.pack(">HHIH", 1, 1, 120, 3) + b"\x0a\x4d\0"),
        response(TYPE + struct.pack(">HHIH", 16, 1, 120, 2) + b"\xffx"),           # a text past its record
        struct.pack(">6H", 0, 0, 0xFFFF, 0, 0, 0) + TYPE,                # a query with nothing behind
        source.randbytes(source.randrange(1, 1400)), source.randbytes(8000),
    ]


def ssdp_datagrams(source: random.Random) -> list[bytes]:
    return [
        b"", b"\r\n\r\n", b"\n" * 1000, b"HTTP/1.1 200 OK", b"HTTP/1.1 200 OK\r\n: x\r\nno colon\r\nUSN:\r\n",
        b"HTTP/1.1 200 OK\r\nX-" + b"a" * 30000 + b": 1\r\n", b"\0" * 512, b"\xff\xfe\r\n\xc3\x28\r\n",
        source.randbytes(1200), source.randbytes(60000),
    ]


def sender(port: int) -> socket.socket:
    endpoint = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    endpoint.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    endpoint.bind(("", port))
    return endpoint


def main() -> None:
    source = random.Random(20)
    mdns, ssdp = sender(MDNS[1]), sender(SSDP[1])
    ssdp.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, socket.inet_aton(SSDP[0]) + b"\0" * 4)
    print("ready", flush=True)
    for round_number in itertools.count():
        datagrams = mdns_datagrams(source)
        mdns.sendto(datagrams[round_number % len(datagrams)], MDNS)
        if select.select([ssdp], [], [], PAUSE_SECONDS)[0]:
            _, client = ssdp.recvfrom(65535)
            for datagram in ssdp_datagrams(source):
                ssdp.sendto(datagram, client)


if __name__ == "__main__":
    main()
