"""A client with two interfaces: which networks each provider asks."""

from __future__ import annotations

from sondrix_lab.case import LabTestCase
from sondrix_lab.network import Link
from sondrix_lab.program import scan
from sondrix_lab.responders import (Service, SsdpCrowd, SsdpDevice, await_quiet, await_services, start_avahi,
                                    start_ssdp_simulator, start_zeroconf)

MONITOR = (Service("Monitor", "_airplay._tcp", 7000),)
RECORDER = (Service("Recorder", "_ndi._tcp", 5961),)
ROUTER = (Service("Router", "_http._tcp", 80),)
ROOT = ("upnp:rootdevice",)


class TwoNetworksTest(LabTestCase):
    """The default route leads to the first network; the second holds a host without IPv4, too."""

    tools = ("avahi-daemon", "zeroconf")

    @classmethod
    def build(cls) -> None:
        cls.network.bridge("office")
        cls.network.bridge("studio")
        cls.client = cls.network.host("client", Link("office", ("10.77.0.2/16",)),
                                      Link("studio", ("10.78.0.2/16", "fd78::2/64"), default_route=False))
        monitor = cls.network.host("monitor", Link("office", ("10.77.0.3/16",)))
        recorder = cls.network.host("recorder", Link("studio", ("10.78.0.3/16",)))
        router = cls.network.host("router", Link("studio", ("fd78::4/64",)))
        start_avahi(router, "router", ROUTER)
        start_zeroconf(monitor, "monitor", ("10.77.0.3",), MONITOR)
        start_zeroconf(recorder, "recorder", ("10.78.0.3",), RECORDER)
        for host, address in ((monitor, "10.77.0.3"), (recorder, "10.78.0.3")):
            start_ssdp_simulator(host, SsdpCrowd((SsdpDevice(address, host.name, ROOT),)))
        await_services(cls.client, *MONITOR, *RECORDER, *ROUTER)

    def test_mdns_asks_both(self) -> None:
        await_quiet(self.client)
        report = scan(self.client, "--enable", "mdns")
        self.assert_providers(report, "mdns")
        self.assert_hostnames(report, "monitor.local.", "recorder.local.", "router.local.")

    def test_ssdp_follows_the_default_route(self) -> None:
        report = scan(self.client, "--enable", "ssdp")
        self.assert_providers(report, "ssdp")
        self.assert_hostnames(report, "10.77.0.3")
