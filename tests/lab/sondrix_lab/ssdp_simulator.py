"""Many SSDP devices in one process: ssdp_simulator.py SCENARIO.

Each device has its own source address and answers by unicast to the port that searched, after a
delay out of the scenario's spread (UPnP Device Architecture 1.0, 1.2.3).
"""

from __future__ import annotations

import heapq
import json
import random
import select
import socket
import sys
import time

GROUP, PORT = "239.255.255.250", 1900


def answer(device: dict, target: str) -> bytes:
    lines = ["HTTP/1.1 200 OK", "CACHE-CONTROL: max-age=1800", "EXT:",
             f"LOCATION: http://{device['address']}:8080/description.xml",
             "SERVER: Lab/1.0 UPnP/1.0 Simulator/1.0", f"ST: {target}",
             f"USN: uuid:{device['uuid']}::{target}", "", ""]
    return "\r\n".join(lines).encode("utf-8")


def search_target(datagram: bytes) -> str:
    lines = datagram.decode("utf-8").split("\r\n")
    if lines[0] != "M-SEARCH * HTTP/1.1":
        return ""
    return next((line[3:].strip() for line in lines if line.startswith("ST:")), "")


def sender(address: str) -> socket.socket:
    endpoint = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    endpoint.bind((address, 0))
    return endpoint


def main() -> None:
    with open(sys.argv[1], encoding="utf-8") as stream:
        crowd = json.load(stream)
    delays = random.Random(crowd["seed"])
    senders = [sender(device["address"]) for device in crowd["devices"]]
    queue: list[tuple[float, int, bytes, tuple[str, int]]] = []
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as listener:
        listener.bind((GROUP, PORT))
        membership = socket.inet_aton(GROUP) + socket.inet_aton(crowd["devices"][0]["address"])
        listener.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, membership)
        print("ready", flush=True)
        while True:
            wait = max(queue[0][0] - time.monotonic(), 0) if queue else None
            if select.select([listener], [], [], wait)[0]:
                datagram, client = listener.recvfrom(65535)
                target = search_target(datagram)
                for index, device in enumerate(crowd["devices"]):
                    if target in device["targets"]:
                        due = time.monotonic() + delays.uniform(0, crowd["spread_seconds"])
                        heapq.heappush(queue, (due, index, answer(device, target), client))
            while queue and queue[0][0] <= time.monotonic():
                _, index, datagram, client = heapq.heappop(queue)
                senders[index].sendto(datagram, client)


if __name__ == "__main__":
    main()
