"""What the program says on port 5353, and how it deals with responders of all manners."""

from __future__ import annotations

from sondrix_lab import dns
from sondrix_lab.case import LabTestCase
from sondrix_lab.expect import Device, mdns_endpoint
from sondrix_lab.network import Link, udp_counter
from sondrix_lab.program import scan
from sondrix_lab.responders import (Service, SimulatedHost, await_quiet, read_journal, start_garbage,
                                    start_mdns_simulator)

TERSE = Service("Terse", "_http._tcp", 8001, ("id=terse-1", "fn=Terse Page"))
DEAF = Service("Deaf", "_http._tcp", 8002)
STRANGER = Service("Stranger", "_http._tcp", 8003)
PLAIN = Service("Plain", "_http._tcp", 8004)

TYPES = ("_nmos-node._tcp", "_nmos-query._tcp", "_nmos-registration._tcp", "_googlecast._tcp", "_airplay._tcp",
         "_raop._tcp", "_spotify-connect._tcp", "_rtsp._tcp", "_ndi._tcp", "_apple-midi._udp", "_netaudio-arc._udp",
         "_netaudio-chan._udp", "_netaudio-cmc._udp", "_netaudio-dbc._udp", "_dante-safe._udp", "_dante-upgr._udp",
         "_http._tcp", "_https._tcp", "_corvane._tcp", "_xvq._tcp", "_streamlark._tcp")


def page(hostname: str, address: str, device_id: str, label: str, port: int, data: dict) -> Device:
    endpoint = mdns_endpoint(device_id, label, "http", f"http://{{host}}:{port}/")
    return Device(hostname, (address,), device_id, label, "http", "controlOnly", ["control"], (endpoint,), data=data)


class MannersTest(LabTestCase):
    """Responders that leave things unsaid, in one scan; the simulator's journal tells what was asked."""

    journal: list[dict]

    @classmethod
    def build(cls) -> None:
        cls.network.bridge()
        cls.client = cls.network.host("client", Link("lan", ("10.77.0.2/16",)))
        crowd = cls.network.host("crowd", Link("lan", tuple(f"10.77.1.{number}/16" for number in range(1, 5))))
        journal = start_mdns_simulator(crowd, (
            SimulatedHost("10.77.1.1", "terse", (TERSE,), complete=False),
            SimulatedHost("10.77.1.2", "deaf", (DEAF,), complete=False, deaf_to_srv=1),
            SimulatedHost("10.77.1.3", "stranger", (STRANGER,), source_port=5454),
            SimulatedHost("10.77.1.4", "plain", (PLAIN,)),
        ))
        await_quiet(cls.client)
        cls.report = scan(cls.client, "--enable", "mdns")
        cls.journal = read_journal(journal)

    def questions(self) -> list[tuple[str, int]]:
        return [(name, kind) for entry in self.journal for name, kind in entry["questions"]]

    def test_asks_for_every_type_once(self) -> None:
        asked = sorted(name for name, kind in self.questions() if kind == dns.PTR)
        self.assertEqual(asked, sorted(f"{name}.local." for name in TYPES))

    def test_only_asks(self) -> None:
        self.assertEqual([entry for entry in self.journal if entry["is_response"]], [])
        self.assertEqual({(entry["address"], entry["port"]) for entry in self.journal}, {("10.77.0.2", 5353)})

    def test_asks_for_what_an_answer_left_out(self) -> None:
        self.assert_device(self.report, page("terse.local.", "10.77.1.1", "terse-1", "Terse Page", 8001,
                                             {"txt.id": "terse-1", "txt.fn": "Terse Page", "mdns.port": 8001}))

    def test_asks_again_for_a_missing_srv(self) -> None:
        self.assert_device(self.report, page("deaf.local.", "10.77.1.2", "Deaf@deaf.local.", "Deaf", 8002, {}))
        self.assertGreater(self.questions().count((DEAF.name, dns.SRV)), 1)

    def test_does_not_ask_for_what_came_along(self) -> None:
        self.assert_device(self.report, page("plain.local.", "10.77.1.4", "Plain@plain.local.", "Plain", 8004, {}))
        self.assertNotIn((PLAIN.name, dns.SRV), self.questions())

    def test_ignores_answers_from_another_port(self) -> None:
        self.assert_hostnames(self.report, "terse.local.", "deaf.local.", "plain.local.")


class GarbageTest(LabTestCase):
    """Two hosts among a flood of malformed datagrams."""

    @classmethod
    def build(cls) -> None:
        cls.network.bridge()
        cls.client = cls.network.host("client", Link("lan", ("10.77.0.2/16",)))
        crowd = cls.network.host("crowd", Link("lan", ("10.77.1.1/16", "10.77.1.4/16")))
        vandal = cls.network.host("vandal", Link("lan", ("10.77.66.6/16",)))
        start_mdns_simulator(crowd, (SimulatedHost("10.77.1.1", "terse", (TERSE,), complete=False),
                                     SimulatedHost("10.77.1.4", "plain", (PLAIN,))))
        start_garbage(vandal)

    def test_finds_what_is_there_and_nothing_else(self) -> None:
        report = scan(self.client, "--enable", "mdns,ssdp")
        self.assertGreater(udp_counter(self.client, "InDatagrams"), 200)
        self.assert_providers(report, "mdns", "ssdp")
        self.assert_hostnames(report, "terse.local.", "plain.local.")
