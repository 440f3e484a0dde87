"""Scans where nobody answers."""

from __future__ import annotations

import time

from sondrix_lab.case import LabTestCase
from sondrix_lab.network import Host, Link
from sondrix_lab.program import scan

# Both windows run out in full, however quiet the network is.
MDNS_WINDOW_SECONDS = 1.2
SSDP_WINDOW_SECONDS = 0.8


class SilenceTest(LabTestCase):
    """A host on a network of its own, and one without any network."""

    unplugged: Host

    @classmethod
    def build(cls) -> None:
        cls.network.bridge()
        cls.client = cls.network.host("alone", Link("lan", ("10.77.0.2/16", "fd77::2/64")))
        cls.unplugged = cls.network.host("unplugged")

    def assert_empty(self, host: Host) -> None:
        begin = time.monotonic()
        report = scan(host, "--enable", "mdns,ssdp")
        self.assertGreaterEqual(time.monotonic() - begin, MDNS_WINDOW_SECONDS + SSDP_WINDOW_SECONDS)
        self.assert_providers(report, "mdns", "ssdp")
        self.assert_hostnames(report)

    def test_silent_network(self) -> None:
        self.assert_empty(self.client)

    def test_no_interface_up_and_no_route(self) -> None:
        self.assert_empty(self.unplugged)

    def test_loopback_only(self) -> None:
        self.unplugged.run("ip", "link", "set", "lo", "up")
        self.addCleanup(self.unplugged.run, "ip", "link", "set", "lo", "down")
        self.assert_empty(self.unplugged)

    def test_default_pass(self) -> None:
        report = scan(self.client)
        rows = {row["name"]: (row["status"], row["error"]) for row in report["providers"]}
        self.assertEqual([row["name"] for row in report["providers"]],
                         ["mdns", "ssdp", "upnp-dlna", "roku", "cast", "airplay", "nmos", "ember", "ndi"])
        # Whether there is an NDI runtime is the machine's affair.
        del rows["ndi"]
        self.assertEqual(set(rows.values()), {("ok", "")})
        self.assert_hostnames(report)
