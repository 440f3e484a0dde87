"""Sessions that FFmpeg announces: what reaches the scanning host, and what does not."""

from __future__ import annotations

import time

from sondrix_lab.case import LabTestCase
from sondrix_lab.media_peers import start_group_member, start_repeated_session, start_session
from sondrix_lab.network import Host, Link
from sondrix_lab.passes import Pass, run_pass

SAP_GROUP = "239.255.255.255"
DIRECT, GROUPED = "239.69.2.1", "239.69.2.2"
# FFmpeg announces once in five seconds, and a scan listens for 0.8 of them.
HEARD_WITHIN_SECONDS = 60


class SapTest(LabTestCase):
    """One session is announced to the client itself, another to a group, as AES67 devices do."""

    tools = ("ffmpeg",)
    studio: Host

    @classmethod
    def build(cls) -> None:
        cls.network.bridge()
        cls.client = cls.machine("client", "10.77.0.2")
        cls.studio = cls.machine("studio", "10.77.0.3")
        start_repeated_session(cls.machine("mixer", "10.77.0.4"), "Mixer – Ausgang 1", GROUPED, SAP_GROUP)
        start_session(cls.machine("console", "10.77.0.5"), "Console", DIRECT, "10.77.0.2")
        # Another host hears the group, so its announcements are on the network by now.
        start_group_member(cls.machine("monitor", "10.77.0.6"), SAP_GROUP)

    @classmethod
    def machine(cls, name: str, address: str) -> Host:
        return cls.network.host(name, Link("lan", (f"{address}/16",), ipv6=False))

    def listen(self, host: Host) -> Pass:
        result = run_pass(host, "--enable", "sap-aes67")
        self.assert_providers(result.report, "sap-aes67")
        return result

    def test_announced_to_this_host(self) -> None:
        deadline = time.monotonic() + HEARD_WITHIN_SECONDS
        result = self.listen(self.client)
        while not result.report["devices"] and time.monotonic() < deadline:
            result = self.listen(self.client)
        self.assert_hostnames(result.report, DIRECT)
        device = result.device(DIRECT)
        self.assertEqual((device["id"], device["displayName"], device["provider"], device["protocol"]),
                         (f"sap:console:{DIRECT}:5004", "Console", "sap-aes67", "sap"))
        self.assertEqual(device["endpoints"][0]["url"], f"rtp://{DIRECT}:5004")
        self.assertTrue(device["protocolData"]["sap.sdp"].startswith("v=0\r\n"))

    def test_announced_to_a_group(self) -> None:
        self.assert_hostnames(self.listen(self.studio).report)
        # Once another process of the host has joined, the group reaches every socket of the port.
        start_group_member(self.studio, SAP_GROUP)
        result = self.listen(self.studio)
        self.assert_hostnames(result.report, GROUPED)
        device = result.device(GROUPED)
        self.assertEqual((device["displayName"], device["protocolData"]["aes67.codec"]), ("Mixer – Ausgang 1", "L24"))
