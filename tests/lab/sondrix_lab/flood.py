"""A hostile peer: flood.py PORT JOURNAL CLIENT... sends a constant stream of bad datagrams to the client.

PORT is `mdns`, `sap` or `search`. The last one learns the client's port from each search that it hears, and floods
that port until the next search. Each line of the journal is one step of the stream, in JSON: when it ended, how many
datagrams it sent so far, and what for.
"""

from __future__ import annotations

import itertools
import json
import random
import select
import socket
import struct
import sys
import time
from collections.abc import Iterator
from typing import TextIO

from sondrix_lab import dns
from sondrix_lab.garbage import MDNS, SSDP, TYPE, mdns_datagrams, ssdp_datagrams
from sondrix_lab.onvif_camera import PORT as PROBE_PORT
from sondrix_lab.sap_relay import SAP_PORT
from sondrix_lab.ssdp_simulator import search_target

# Somewhat more than the lab promises, so that a step that is late does not break the promise.
DATAGRAMS_PER_SECOND = 5500
STEP_SECONDS = 0.002
MDNS_GROUP6 = "ff02::fb"
LARGEST_DATAGRAM = 65507
LARGEST_MDNS_MESSAGE = 9000  # RFC 6762, 17, without the headers
# One datagram in so many is of the largest size. The sockets of the searches have the system's default receive buffer:
# two datagrams of 64 KiB fill it, so that with many of them the kernel, and not the program, would lose the answers of
# the real devices.
DATAGRAMS_PER_LARGE = 500
MDNS_MESSAGES_PER_LARGE = 100
# One in so many is an invented service or device, the others mean nothing. What is invented comes again and again:
# the time that a registry of devices takes grows with the square of their number.
DATAGRAMS_PER_INVENTION = 3
INVENTED_SERVICES = 1000
INVENTED_ANSWERS = 100
# At this address stands one device that answers with ever new names and ever new headers.
CROWDED_ADDRESS = "10.83.0.1"
CROWDED_ANSWERS, CROWDED_HEADERS = 1000, 100
# Each of them makes the program fetch a description, one after the other.
INVENTED_LOCATIONS = 3
PROBE = "probe"
FETCHING_TARGETS = ("urn:schemas-upnp-org:device:MediaRenderer:1", "roku:ecp")

Datagrams = Iterator[bytes]


def stream(garbage: list[bytes], large: list[bytes], inventions: list[bytes],
           per_large: int = DATAGRAMS_PER_LARGE) -> Datagrams:
    """All three for ever, mixed."""
    plain, big, invented = itertools.cycle(garbage), itertools.cycle(large), itertools.cycle(inventions)
    for number in itertools.count():
        if number % per_large == 0:
            yield next(big)
        elif number % DATAGRAMS_PER_INVENTION == 0:
            yield next(invented)
        else:
            yield next(plain)


def invented_service(number: int) -> bytes:
    """A complete service on a host of its own, of a type that several providers browse."""
    service_type = ("_googlecast._tcp", "_airplay._tcp", "_http._tcp")[number % 3] + ".local"
    owner, hostname = dns.encode_instance(f"Invented {number}", service_type), f"invented{number}.local"
    address = f"10.79.{number // 250}.{number % 250 + 1}"
    return dns.encode_response(
        [dns.encode_pointer(service_type, owner)],
        [dns.encode_service(owner, 1 + number % 65535, hostname), dns.encode_text(owner, ["fn=Nobody", "md=Nothing"]),
         dns.encode_address(hostname, address)])


def chained_names(pointers: int = 120) -> bytes:
    """A well-formed message in which the name of each record leads through a chain of pointers."""
    chain_offset = 12 + len(dns.encode_record(b"\0", dns.TXT, b""))
    label = b"\x01a\0"
    targets = [chain_offset, *(chain_offset + len(label) + 2 * number for number in range(pointers - 1))]
    chain = label + b"".join(struct.pack(">H", 0xC000 | target) for target in targets)
    owner = struct.pack(">H", 0xC000 | (chain_offset + len(chain) - 2))
    return dns.encode_response([dns.encode_record(b"\0", dns.TXT, chain)],
                               [dns.encode_record(owner, dns.A, b"\x0a\x4d\0\x01")] * 540)


def mdns_stream(source: random.Random) -> Datagrams:
    header = struct.pack(">6H", 0, dns.RESPONSE, 0, 0xFFFF, 0xFFFF, 0xFFFF)
    pointers = b"".join(struct.pack(">H", 0xC000 | offset) for offset in range(12, LARGEST_MDNS_MESSAGE, 2))
    large = [chained_names(), header + (b"\x3f" + b"a" * 63) * 140 + b"\0", header + pointers, header + TYPE * 700,
             source.randbytes(LARGEST_MDNS_MESSAGE)]
    inventions = [invented_service(number) for number in range(INVENTED_SERVICES)]
    return stream([*mdns_datagrams(source), b""], [datagram[:LARGEST_MDNS_MESSAGE] for datagram in large], inventions,
                  MDNS_MESSAGES_PER_LARGE)


def invented_answer(number: int, target: str, location: str) -> bytes:
    lines = ["HTTP/1.1 200 OK", "CACHE-CONTROL: max-age=1800", f"ST: {target}", f"USN: uuid:invented-{number}"]
    return "\r\n".join([*lines, *([f"LOCATION: {location}"] if location else []), "", ""]).encode("ascii")


def crowded_answer(number: int, target: str) -> bytes:
    headers = "".join(f"X-{number}-{each}: {number}\r\n" for each in range(CROWDED_HEADERS))
    return (f"HTTP/1.1 200 OK\r\nST: {target}\r\nUSN: uuid:crowded-{number}\r\n"
            f"LOCATION: http://{CROWDED_ADDRESS}/\r\n{headers}\r\n").encode("ascii")


def answer_stream(source: random.Random, target: str, address: str) -> Datagrams:
    """Answers to a search; those to a provider that follows them lead nowhere but for a handful."""
    def location(number: int) -> str:
        if target in FETCHING_TARGETS:
            return f"http://{address}:9/" if number < INVENTED_LOCATIONS else ""
        return f"http://10.80.{number // 250}.{number % 250 + 1}/"

    many_headers = b"HTTP/1.1 200 OK\r\n" + b"".join(b"X-%d: 1\r\n" % number for number in range(6000))
    large = [many_headers, b"HTTP/1.1 200 OK\r\nUSN: uuid:x" + b"x" * LARGEST_DATAGRAM,
             b"no line ends here " * 4000, b":\n" * (LARGEST_DATAGRAM // 2), source.randbytes(LARGEST_DATAGRAM)]
    small = [datagram for datagram in ssdp_datagrams(source) if len(datagram) < 2000]
    inventions = [invented_answer(each, target, location(each)) for each in range(INVENTED_ANSWERS)]
    if target not in FETCHING_TARGETS:
        inventions += [crowded_answer(each, target) for each in range(CROWDED_ANSWERS)]
    return stream([*small, b""], [datagram[:LARGEST_DATAGRAM] for datagram in large], inventions)


def invented_match(number: int) -> bytes:
    return (f'<e:Envelope xmlns:e="http://www.w3.org/2003/05/soap-envelope"><e:Body><ProbeMatches><ProbeMatch>'
            f"<EndpointReference><Address>urn:uuid:invented-{number}</Address></EndpointReference>"
            f"<XAddrs>http://10.81.{number // 250}.{number % 250 + 1}/</XAddrs></ProbeMatch></ProbeMatches></e:Body>"
            "</e:Envelope>").encode("ascii")


def match_stream(source: random.Random) -> Datagrams:
    whole = invented_match(0)
    entities = b"".join(b'<!ENTITY %c "%s">' % (97 + each, b"&%c;" % (96 + each) * 10 if each else b"lol")
                        for each in range(12))
    garbage = [b"", b"<", b"<a><b></a>", whole[:-5], whole[:100], b"\xff\xfe<\0", b"<ProbeMatch>" * 80,
               b"<!DOCTYPE a [" + entities + b"]><ProbeMatch><Address>&l;</Address></ProbeMatch>",
               source.randbytes(700)]
    large = [b"<a>" * (LARGEST_DATAGRAM // 3), b"<ProbeMatch>" + b"<XAddrs>" + b"x " * 30000, b"<a b='" + b"c" * 65000,
             source.randbytes(LARGEST_DATAGRAM)]
    return stream(garbage, large, [invented_match(each) for each in range(INVENTED_ANSWERS)])


def invented_session(number: int) -> bytes:
    sdp = (f"v=0\r\no=- {number} 1 IN IP4 10.82.0.1\r\ns=Invented {number}\r\n"
           f"c=IN IP4 239.82.{number // 250}.{number % 250 + 1}/8\r\nt=0 0\r\nm=audio 5004 RTP/AVP 96\r\n"
           "a=rtpmap:96 L24/48000/2\r\n")
    return b"\x20\0\0\x01\x0a\x52\0\x01application/sdp\0" + sdp.encode("ascii")


def sap_stream(source: random.Random) -> Datagrams:
    whole = invented_session(0)
    garbage = [b"", b"v=0", whole[:30], b"v=0\r\nc=\r\nm=\r\na=rtpmap:\r\n",
               b"v=0\nc=IN IP4 1.2.3.4\nm=audio 99999999999 x",
               b"v=0\n" + b"a=rtpmap:96 /////\n" * 60, b"\xff" * 64, source.randbytes(900)]
    large = [b"v=0\n" + b"\n" * 65000, b"v=0\n" + b"m=audio 0\n" * 6000, b"v=0 " + b"x" * 65000, b"v=" * 32000,
             source.randbytes(LARGEST_DATAGRAM)]
    return stream(garbage, large, [invented_session(each) for each in range(INVENTED_ANSWERS)])


class Flood:
    """Keeps the pace, whatever a single step took, and the journal."""

    def __init__(self, journal: TextIO) -> None:
        self.journal = journal
        self.begin = time.monotonic()
        self.sent = 0

    def restart(self) -> None:
        self.begin, self.sent = time.monotonic(), 0

    def step(self, sender: socket.socket, datagrams: Datagrams, destinations: list[tuple], purpose: str) -> None:
        due = int((time.monotonic() - self.begin) * DATAGRAMS_PER_SECOND)
        for number in range(self.sent, due):
            sender.sendto(next(datagrams), destinations[number % len(destinations)])
        self.sent = max(self.sent, due)
        print(json.dumps({"at": time.monotonic(), "since": self.begin, "sent": self.sent, "purpose": purpose}),
              file=self.journal, flush=True)
        time.sleep(STEP_SECONDS)


def udp_socket(family: int = socket.AF_INET, port: int = 0) -> socket.socket:
    endpoint = socket.socket(family, socket.SOCK_DGRAM)
    endpoint.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    if family == socket.AF_INET6:
        endpoint.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
    endpoint.bind(("", port))
    return endpoint


def flood_mdns(flood: Flood, source: random.Random, own: str, client: str) -> None:
    sender = udp_socket(port=MDNS[1])
    sender.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(own))
    datagrams = mdns_stream(source)
    while True:
        flood.step(sender, datagrams, [MDNS, (client, MDNS[1])], "mdns")


def flood_mdns6(flood: Flood, source: random.Random, interface: str) -> None:
    sender = udp_socket(socket.AF_INET6, MDNS[1])
    datagrams = mdns_stream(source)
    destination = (MDNS_GROUP6, MDNS[1], 0, socket.if_nametoindex(interface))
    while True:
        flood.step(sender, datagrams, [destination], "mdns6")


def flood_sap(flood: Flood, source: random.Random, client: str) -> None:
    sender, datagrams = udp_socket(), sap_stream(source)
    while True:
        flood.step(sender, datagrams, [(client, SAP_PORT)], "sap")


def flood_searches(flood: Flood, source: random.Random, own: str, client: str) -> None:
    listeners = [udp_socket(port=port) for port in (SSDP[1], PROBE_PORT)]
    for listener in listeners:
        listener.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP,
                            socket.inet_aton(SSDP[0]) + socket.inet_aton(own))
    known: tuple | None = None
    purpose, datagrams = "", iter(())
    while True:
        for listener in select.select(listeners, [], [], 0 if known else None)[0]:
            datagram, searcher = listener.recvfrom(65535)
            target = search_target(datagram) if listener is listeners[0] else PROBE
            # The first search from a port tells the provider; its further targets follow.
            if target and searcher[0] == client and searcher != known:
                known, purpose = searcher, target
                datagrams = match_stream(source) if target == PROBE else answer_stream(source, target, own)
                flood.restart()
        if known:
            flood.step(listeners[0], datagrams, [known], purpose)


def main() -> None:
    what, journal, *addresses = sys.argv[1:]
    source = random.Random(what)
    with open(journal, "w", encoding="utf-8") as stream_of_steps:
        flood = Flood(stream_of_steps)
        print("ready", flush=True)
        {"mdns": flood_mdns, "mdns6": flood_mdns6, "sap": flood_sap, "search": flood_searches}[what](
            flood, source, *addresses)


if __name__ == "__main__":
    main()
