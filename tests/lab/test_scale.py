"""Networks of a size: nothing that answered may be missing from one scan."""

from __future__ import annotations

import random

from sondrix_lab.case import LabTestCase
from sondrix_lab.network import Host, Link, udp_counter
from sondrix_lab.program import scan
from sondrix_lab.responders import (Service, SimulatedHost, SsdpCrowd, SsdpDevice, start_mdns_simulator,
                                    start_ssdp_simulator)

# Ten services of each host, of ten types, each with a protocol word of its own.
MDNS_TYPES = {"_nmos-node._tcp": "nmos", "_googlecast._tcp": "cast", "_airplay._tcp": "airplay", "_raop._tcp": "raop",
              "_rtsp._tcp": "rtsp", "_ndi._tcp": "ndi", "_netaudio-arc._udp": "dante-hint", "_http._tcp": "http",
              "_https._tcp": "https", "_xvq._tcp": "xvq"}
SSDP_TARGETS = ("upnp:rootdevice", "urn:schemas-upnp-org:device:MediaRenderer:1",
                "urn:schemas-upnp-org:device:MediaServer:1", "roku:ecp", "urn:dial-multiscreen-org:service:dial:1")


def lan(case: type[LabTestCase], addresses: list[str]) -> tuple[Host, Host]:
    """A client, and one host that holds all the addresses."""
    case.network.bridge()
    client = case.network.host("client", Link("lan", ("10.77.0.2/16",)))
    return client, case.network.host("crowd", Link("lan", tuple(f"{address}/16" for address in addresses)))


class MdnsScaleTest(LabTestCase):
    """500 services on 50 hosts, which answer every question when RFC 6762, 6, tells them to."""

    host_count = 50
    complete = True
    delays_seconds = (0.02, 0.12)

    @classmethod
    def build(cls) -> None:
        source = random.Random(6762)
        hosts = tuple(cls.simulated_host(number, source.uniform(*cls.delays_seconds))
                      for number in range(1, cls.host_count + 1))
        cls.client, crowd = lan(cls, [host.address for host in hosts])
        start_mdns_simulator(crowd, hosts)

    @classmethod
    def simulated_host(cls, number: int, delay: float) -> SimulatedHost:
        services = tuple(Service(f"Unit {number:02}", service_type, 5000 + index, (f"rack=R{number}", "vers=1.0"))
                         for index, service_type in enumerate(MDNS_TYPES))
        return SimulatedHost(f"10.77.1.{number}", f"unit{number:02}", services, cls.complete, delay_seconds=delay)

    def test_every_service_of_every_host(self) -> None:
        report = scan(self.client, "--enable", "mdns")
        expected = sorted(f"unit {number:02}@unit{number:02}.local.:{protocol}".lower()
                          for number in range(1, self.host_count + 1) for protocol in MDNS_TYPES.values())
        found = sorted(endpoint["id"].lower() for device in report["devices"] for endpoint in device["endpoints"])
        self.assertEqual(found, expected, f"{udp_counter(self.client, 'RcvbufErrors')} datagrams lost by the receiver")
        self.assert_hostnames(report, *(f"unit{number:02}.local." for number in range(1, self.host_count + 1)))
        self.assert_providers(report, "mdns")

    def test_every_host_has_its_own_address(self) -> None:
        report = scan(self.client, "--enable", "mdns")
        addresses = {device["hostname"]: set(device["addresses"]) - {device["hostname"]}
                     for device in report["devices"]}
        self.assertEqual(addresses, {f"unit{number:02}.local.": {f"10.77.1.{number}"}
                                     for number in range(1, self.host_count + 1)})


class TerseMdnsScaleTest(MdnsScaleTest):
    """The same hosts, each with the manner to say nothing that was not asked for."""

    complete = False


class MdnsBurstTest(MdnsScaleTest):
    """All at once: as many as the smallest receive buffer among today's systems holds for sure.

    The engine asks for 4 MiB, and where net.core.rmem_max is 212992 it gets twice that.
    """

    host_count = 30
    delays_seconds = (0.0, 0.0)


class SsdpScaleTest(LabTestCase):
    """200 devices that answer each of the five searches within 600 ms."""

    device_count = 200
    targets: tuple[str, ...] = SSDP_TARGETS
    spread_seconds = 0.6
    addresses: list[str]

    @classmethod
    def build(cls) -> None:
        cls.addresses = [f"10.77.2.{number}" for number in range(1, cls.device_count + 1)]
        cls.client, crowd = lan(cls, cls.addresses)
        devices = tuple(SsdpDevice(address, f"lab-{address}", cls.targets) for address in cls.addresses)
        start_ssdp_simulator(crowd, SsdpCrowd(devices, cls.spread_seconds))

    def test_every_answer_of_every_device(self) -> None:
        report = scan(self.client, "--enable", "ssdp")
        self.assert_providers(report, "ssdp")
        self.assert_hostnames(report, *self.addresses)
        endpoints = {device["hostname"]: {(endpoint["id"], endpoint["url"]) for endpoint in device["endpoints"]}
                     for device in report["devices"]}
        self.assertEqual(endpoints, {
            address: {(f"uuid:lab-{address}::{target}:location", f"http://{address}:8080/description.xml")
                      for target in self.targets}
            for address in self.addresses
        }, f"{udp_counter(self.client, 'RcvbufErrors')} datagrams lost by the receiver")


class SsdpBurstTest(SsdpScaleTest):
    """As many answers at once as a receive buffer of the default size, 212992 bytes, holds for sure.

    The search asks the system for no larger one, so which of 200 at once get through is a matter of
    when the reader runs.
    """

    device_count = 150
    targets = SSDP_TARGETS[:1]
    spread_seconds = 0.0
