"""Hosts that announce themselves with python3-zeroconf, another make of responder."""

from __future__ import annotations

from sondrix_lab.case import LabTestCase
from sondrix_lab.expect import Device, mdns_endpoint
from sondrix_lab.network import Link
from sondrix_lab.program import scan
from sondrix_lab.responders import Service, await_services, start_zeroconf

PLAYER = (Service("Lecteur n°2", "_googlecast._tcp", 8009, ("id=77aa", "fn=Régie 2 – écran", "md=Nest Hub")),
          Service("Player", "_spotify-connect._tcp", 4070, ("CPath=/",)))
PROBE = (Service("Probe", "_https._tcp", 8443, ("uuid=9d1f", "name=Signal Probe")),)


class ZeroconfTest(LabTestCase):
    """One host with IPv4 alone, and one with both families."""

    tools = ("zeroconf",)

    @classmethod
    def build(cls) -> None:
        cls.network.bridge()
        cls.client = cls.network.host("client", Link("lan", ("10.77.0.2/16", "fd77::2/64")))
        start_zeroconf(cls.network.host("player", Link("lan", ("10.77.0.3/16",), ipv6=False)),
                       "player", ("10.77.0.3",), PLAYER)
        start_zeroconf(cls.network.host("probe", Link("lan", ("10.77.0.4/16", "fd77::4/64"))),
                       "probe", ("10.77.0.4", "fd77::4"), PROBE)
        await_services(cls.client, *PLAYER, *PROBE)
        cls.report = scan(cls.client, "--enable", "mdns")

    def test_no_device_more_or_less(self) -> None:
        self.assert_providers(self.report, "mdns")
        self.assert_hostnames(self.report, "player.local.", "probe.local.")

    def test_two_services_of_one_host(self) -> None:
        self.assert_device(self.report, Device(
            "player.local.", ("10.77.0.3",), "Player@player.local.", "Player", "spotify-connect", "output",
            ["audio", "video", "control"],
            (mdns_endpoint("77aa", "Régie 2 – écran", "cast", "cast://{host}:8009?type=cast"),
             mdns_endpoint("Player@player.local.", "Player", "spotify-connect", "spotify-connect://{host}:4070")),
            model="Nest Hub", data={"txt.fn": "Régie 2 – écran", "txt.CPath": "/"}))

    def test_both_families(self) -> None:
        self.assert_device(self.report, Device(
            "probe.local.", ("10.77.0.4", "fd77::4"), "9d1f", "Signal Probe", "https", "controlOnly", ["control"],
            (mdns_endpoint("9d1f", "Signal Probe", "https", "https://{host}:8443/"),),
            data={"txt.uuid": "9d1f", "txt.name": "Signal Probe", "mdns.port": 8443}))
