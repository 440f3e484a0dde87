"""Many mDNS hosts in one process: mdns_simulator.py SCENARIO JOURNAL.

Each host has its own source address and answers by multicast, one message for each of its services.
What other addresses send is written to the journal, so that a test can read what the program asked.
"""

from __future__ import annotations

import heapq
import itertools
import json
import select
import socket
import sys
import time
from collections import defaultdict
from dataclasses import dataclass
from typing import TextIO

from sondrix_lab import dns

GROUP, PORT = "224.0.0.251", 5353


@dataclass
class Answer:
    """A message that one host has ready for a question, and how often it fails to give it."""

    sender: socket.socket
    packet: bytes
    delay: float
    unheard: int


# By question, with its name in lower case: names compare without regard to case.
Answers = dict[dns.Question, list[Answer]]


def host_socket(host: dict) -> socket.socket:
    sender = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    sender.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    sender.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(host["address"]))
    sender.bind((host["address"], host["source_port"]))
    return sender


def prepare(host: dict, answers: Answers) -> None:
    """Adds what a host of the scenario answers."""
    sender = host_socket(host)

    def add(name: str, record_type: int, records: list[bytes], additional: list[bytes],
            delay: float = 0, unheard: int = 0) -> None:
        packet = dns.encode_response(records, additional)
        answers[dns.Question(name.lower(), record_type)].append(Answer(sender, packet, delay, unheard))

    hostname = host["hostname"] + ".local."
    address = dns.encode_address(hostname, host["address"])
    add(hostname, dns.A, [address], [])
    for service in host["services"]:
        service_type = service["type"] + ".local."
        name = f"{service['instance']}.{service_type}"
        owner = dns.encode_instance(service["instance"], service_type)
        place = dns.encode_service(owner, service["port"], hostname)
        text = dns.encode_text(owner, service["txt"])
        add(service_type, dns.PTR, [dns.encode_pointer(service_type, owner)],
            [place, text, address] if host["complete"] else [], delay=host["delay_seconds"])
        add(name, dns.SRV, [place], [], unheard=host["deaf_to_srv"])
        add(name, dns.TXT, [text], [])


class Simulator:
    """Listens, and sends each answer when its time has come."""

    def __init__(self, hosts: list[dict], journal: TextIO) -> None:
        self.journal = journal
        self.answers: Answers = defaultdict(list)
        for host in hosts:
            prepare(host, self.answers)
        self.own_addresses = {host["address"] for host in hosts}
        # The number keeps the order of answers that are due at the same time.
        self.queue: list[tuple[float, int, Answer]] = []
        self.numbers = itertools.count()
        self.listener = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.listener.bind((GROUP, PORT))
        membership = socket.inet_aton(GROUP) + socket.inet_aton(hosts[0]["address"])
        self.listener.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, membership)

    def run(self) -> None:
        while True:
            wait = max(self.queue[0][0] - time.monotonic(), 0) if self.queue else None
            if select.select([self.listener], [], [], wait)[0]:
                self.hear(*self.listener.recvfrom(65535))
            while self.queue and self.queue[0][0] <= time.monotonic():
                _, _, answer = heapq.heappop(self.queue)
                answer.sender.sendto(answer.packet, (GROUP, PORT))

    def hear(self, packet: bytes, source: tuple[str, int]) -> None:
        if source[0] in self.own_addresses:
            return
        try:
            message = dns.decode(packet)
        except ValueError:
            return
        if not message.is_response:
            for question in message.questions:
                self.treat(question)
        entry = {"address": source[0], "port": source[1], "is_response": message.is_response,
                 "questions": [[question.name, question.type] for question in message.questions]}
        print(json.dumps(entry), file=self.journal, flush=True)

    def treat(self, question: dns.Question) -> None:
        for answer in self.answers.get(dns.Question(question.name.lower(), question.type), []):
            if answer.unheard:
                answer.unheard -= 1
            else:
                heapq.heappush(self.queue, (time.monotonic() + answer.delay, next(self.numbers), answer))


def main() -> None:
    with open(sys.argv[1], encoding="utf-8") as stream:
        hosts = json.load(stream)
    with open(sys.argv[2], "w", encoding="utf-8") as journal:
        simulator = Simulator(hosts, journal)
        print("ready", flush=True)
        simulator.run()


if __name__ == "__main__":
    main()
