"""The client is not alone on port 5353: a responder of its own host, and a second scan."""

from __future__ import annotations

from sondrix_lab.case import LabTestCase
from sondrix_lab.network import Link
from sondrix_lab.program import finish_scan, scan, start_scan
from sondrix_lab.responders import Service, await_quiet, await_services, start_avahi

OWN = (Service("Own Page", "_http._tcp", 8000),)
OTHERS = (Service("Speaker", "_raop._tcp", 5000), Service("Speaker", "_http._tcp", 80))


class SharedPortTest(LabTestCase):
    """Avahi runs in the client's namespace as well as in another host."""

    tools = ("avahi-daemon",)

    @classmethod
    def build(cls) -> None:
        cls.network.bridge()
        cls.client = cls.network.host("client", Link("lan", ("10.77.0.2/16", "fd77::2/64")))
        speaker = cls.network.host("speaker", Link("lan", ("10.77.0.3/16", "fd77::3/64")))
        start_avahi(cls.client, "client", OWN)
        start_avahi(speaker, "speaker", OTHERS)
        await_services(cls.client, *OWN, *OTHERS)

    def setUp(self) -> None:
        await_quiet(self.client)

    def assert_both_hosts(self, report: dict) -> None:
        self.assert_providers(report, "mdns")
        self.assert_hostnames(report, "client.local.", "speaker.local.")
        ids = {endpoint["id"] for device in report["devices"] for endpoint in device["endpoints"]}
        self.assertEqual(ids, {"Own Page@client.local.:http", "Speaker@speaker.local.:raop",
                               "Speaker@speaker.local.:http"})

    def test_responder_on_the_client(self) -> None:
        self.assert_both_hosts(scan(self.client, "--enable", "mdns"))

    def test_two_scans_at_once(self) -> None:
        both = [start_scan(self.client, "--enable", "mdns") for _ in range(2)]
        for report in [finish_scan(process) for process in both]:
            self.assert_both_hosts(report)
