"""Tiny clients that run in a host of the lab until the responders are up, or fail.

mdns NAME...    until each service instance is answered; asked with legacy unicast queries
                (RFC 6762, 6.7), which leave no trace in what a responder multicasts later
quiet SECONDS   until nothing was multicast on port 5353 for so long. A responder may stay silent
                about a record that it multicast less than one second ago (RFC 6762, 6).
ssdp USN...     until each unique service name answered a search for all
"""

from __future__ import annotations

import contextlib
import select
import socket
import struct
import sys
import time

from sondrix_lab import dns

TIMEOUT_SECONDS = 20
ASK_AGAIN_SECONDS = 0.25
GROUP, GROUP6, MDNS_PORT = "224.0.0.251", "ff02::fb", 5353
SSDP_ADDRESS = ("239.255.255.250", 1900)
SEARCH = ("M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\n"
          "MX: 1\r\nST: ssdp:all\r\n\r\n").encode("ascii")


def interfaces() -> list[int]:
    return [index for index, name in socket.if_nameindex() if name != "lo"]


def interface_request(group: str, index: int) -> bytes:
    return socket.inet_aton(group) + struct.pack("=4si", b"\0" * 4, index)


def receive(sockets: list[socket.socket], seconds: float) -> list[bytes]:
    """The datagrams that wait, or that come first within the time."""
    readable, _, _ = select.select(sockets, [], [], max(seconds, 0))
    return [entry.recv(65535) for entry in readable]


def send_everywhere(socket4: socket.socket, socket6: socket.socket, packet: bytes) -> None:
    for index in interfaces():
        # An interface without addresses of a family cannot send in it.
        with contextlib.suppress(OSError):
            socket4.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, interface_request("0.0.0.0", index))
            socket4.sendto(packet, (GROUP, MDNS_PORT))
        with contextlib.suppress(OSError):
            socket6.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_MULTICAST_IF, index)
            socket6.sendto(packet, (GROUP6, MDNS_PORT))


def wait_mdns(expected: set[str]) -> set[str]:
    """Gives back the instances that did not answer in time."""
    types = sorted({name[name.rindex("._", 0, name.rindex("._")) + 1:] for name in expected})
    missing = set(expected)
    deadline = time.monotonic() + TIMEOUT_SECONDS
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as socket4, \
            socket.socket(socket.AF_INET6, socket.SOCK_DGRAM) as socket6:
        while missing and time.monotonic() < deadline:
            for service_type in types:
                send_everywhere(socket4, socket6, dns.encode_query([service_type], dns.PTR))
            ask_again = time.monotonic() + ASK_AGAIN_SECONDS
            while missing and time.monotonic() < ask_again:
                for packet in receive([socket4, socket6], ask_again - time.monotonic()):
                    missing -= {target for _, _, target in dns.decode(packet).records}
    return missing


def wait_quiet(seconds: float) -> bool:
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as socket4, \
            socket.socket(socket.AF_INET6, socket.SOCK_DGRAM) as socket6:
        for entry in (socket4, socket6):
            entry.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        socket6.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
        socket4.bind((GROUP, MDNS_PORT))
        socket6.bind(("::", MDNS_PORT))
        for index in interfaces():
            with contextlib.suppress(OSError):
                socket4.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, interface_request(GROUP, index))
            with contextlib.suppress(OSError):
                membership = socket.inet_pton(socket.AF_INET6, GROUP6) + struct.pack("=i", index)
                socket6.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_JOIN_GROUP, membership)
        deadline = time.monotonic() + TIMEOUT_SECONDS
        while time.monotonic() < deadline:
            if not receive([socket4, socket6], seconds):
                return True
    return False


def wait_ssdp(expected: set[str]) -> set[str]:
    """Gives back the unique service names that did not answer in time."""
    missing = set(expected)
    deadline = time.monotonic() + TIMEOUT_SECONDS
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as searcher:
        while missing and time.monotonic() < deadline:
            searcher.sendto(SEARCH, SSDP_ADDRESS)
            search_again = time.monotonic() + 4 * ASK_AGAIN_SECONDS
            while missing and time.monotonic() < search_again:
                for datagram in receive([searcher], search_again - time.monotonic()):
                    lines = datagram.decode("utf-8", "replace").splitlines()
                    missing -= {line[4:].strip() for line in lines if line[:4].lower() == "usn:"}
    return missing


def main() -> str:
    """Gives back what went wrong."""
    what, *rest = sys.argv[1:]
    if what == "quiet":
        return "" if wait_quiet(float(rest[0])) else "the network did not become quiet"
    missing = {"mdns": wait_mdns, "ssdp": wait_ssdp}[what](set(rest))
    return "no answer from " + ", ".join(sorted(missing)) if missing else ""


if __name__ == "__main__":
    sys.exit(main() or 0)
