"""Three providers in one report: what they say of one device falls together, the rest stays apart."""

from __future__ import annotations

import json

from sondrix_lab.case import LabTestCase
from sondrix_lab.expect import Device, Endpoint, mdns_endpoint
from sondrix_lab.network import Link
from sondrix_lab.program import scan
from sondrix_lab.responders import (Service, await_devices, await_services, start_minidlna, start_zeroconf)

DESK = (Service("Desk", "_http._tcp", 8080, ("id=desk-7", "fn=Mixing Desk", "md=Mark IV")),
        Service("Desk", "_netaudio-arc._udp", 4440))
SERVER = "uuid:4d696e69-444c-164e-9d41-0a4d00000003"
SEEDS = ["ember://desk.local.:9092", " 10.77.0.3 ", "ember://console.example:9001"]
PROVIDERS = ("mdns", "ssdp", "upnpDlna", "roku", "cast", "airplay", "nmos", "ember", "onvif", "ndi", "sapAes67")


class OneReportTest(LabTestCase):
    """The seeds name the host of an mDNS service, that of a media server, and a stranger."""

    tools = ("zeroconf", "minidlnad")

    @classmethod
    def build(cls) -> None:
        cls.network.bridge()
        cls.client = cls.network.host("client", Link("lan", ("10.77.0.2/16", "fd77::2/64")))
        start_minidlna(cls.network.host("server", Link("lan", ("10.77.0.3/16",))), "Lab Media", SERVER[5:])
        start_zeroconf(cls.network.host("desk", Link("lan", ("10.77.0.4/16", "fd77::4/64"))),
                       "desk", ("10.77.0.4", "fd77::4"), DESK)
        await_devices(cls.client, f"{SERVER}::upnp:rootdevice")
        await_services(cls.client, *DESK)
        configuration = cls.client.folder / "sondrix.json"
        configuration.write_text(json.dumps({"discovery": {"providers": dict.fromkeys(PROVIDERS, False)},
                                             "manualSeeds": {"ember": SEEDS}}), "utf-8")
        cls.report = scan(cls.client, "--config", str(configuration), "--enable", "mdns,ssdp,ember")

    def test_frame(self) -> None:
        lists = ("devices", "providers", "lastScanUtc")
        frame = {key: value for key, value in self.report.items() if key not in lists}
        self.assertEqual(frame, {"application": "CorvaneTVSondrix", "version": "1.0.0",
                                 "streamlark": {"enabled": False},
                                 "deviceCount": 3, "onlineCount": 3, "offlineCount": 0,
                                 "inputCount": 1, "outputCount": 0, "controlOnlyCount": 2})

    def test_providers(self) -> None:
        self.assert_providers(self.report, "mdns", "ssdp", "ember")

    def test_no_device_more_or_less(self) -> None:
        self.assert_hostnames(self.report, "desk.local.", "10.77.0.3", "console.example")

    def test_seed_of_an_mdns_host(self) -> None:
        self.assert_device(self.report, Device(
            "desk.local.", ("10.77.0.4", "fd77::4"), SEEDS[0], "desk.local.", "ember", "controlOnly",
            ["audio", "control"],
            (mdns_endpoint("desk-7", "Mixing Desk", "http", "http://{host}:8080/"),
             mdns_endpoint("Desk@desk.local.", "Desk", "dante-hint", "dante-hint://{host}:4440"),
             self.ember_endpoint("desk.local.", 9092)),
            provider="ember", model="Mark IV",
            data={"ember.seed": SEEDS[0], "ember.activeProbe": False, "txt.id": "desk-7", "txt.md": "Mark IV",
                  "mdns.serviceType": "_netaudio-arc._udp.local.", "mdns.port": 4440}))

    def test_seed_of_a_media_server(self) -> None:
        targets = ("upnp:rootdevice", "urn:schemas-upnp-org:device:MediaServer:1")
        kinds = (("controlOnly", ["control"]), ("input", ["audio", "video", "control"]))
        self.assert_device(self.report, Device(
            "10.77.0.3", ("10.77.0.3",), "ember://10.77.0.3:9000", "10.77.0.3", "ember", "input",
            ["audio", "video", "control"],
            (*(Endpoint(f"{SERVER}::{target}:location", "SSDP Location", "upnp", "http://10.77.0.3:8200/rootDesc.xml",
                        *kind) for target, kind in zip(targets, kinds)),
             self.ember_endpoint("10.77.0.3", 9000)),
            provider="ember", ordered=False, data={"ember.seed": SEEDS[1], "ssdpStatusLine": "HTTP/1.1 200 OK"}))

    def test_seed_of_a_stranger(self) -> None:
        self.assert_device(self.report, Device(
            "console.example", ("console.example",), SEEDS[2], "console.example", "ember", "controlOnly", ["control"],
            (self.ember_endpoint("console.example", 9001),), provider="ember",
            data={"ember.seed": SEEDS[2], "ember.activeProbe": False}))

    @staticmethod
    def ember_endpoint(host: str, port: int) -> Endpoint:
        url = f"ember://{host}:{port}"
        return Endpoint(f"{url}:control", "Ember+ Control", "ember", url, "controlOnly", ["control"], "TCP")
