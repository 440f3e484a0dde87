"""A UPnP media server and a media renderer of the distribution."""

from __future__ import annotations

from sondrix_lab.case import LabTestCase
from sondrix_lab.expect import Device, Endpoint
from sondrix_lab.network import Link
from sondrix_lab.program import scan
from sondrix_lab.responders import await_devices, start_minidlna, start_renderer

SERVER = "uuid:4d696e69-444c-164e-9d41-0a4d00000003"
RENDERER = "uuid:7b1ad2c0-5d5f-4c0e-8a32-0a4d00000004"
ROOT = "upnp:rootdevice"
MEDIA_SERVER = "urn:schemas-upnp-org:device:MediaServer:1"
MEDIA_RENDERER = "urn:schemas-upnp-org:device:MediaRenderer:1"
CONTROL = ("controlOnly", ["control"])
MEDIA = ["audio", "video", "control"]


class UpnpTest(LabTestCase):
    """The answers to the searches, and the descriptions behind them, fold into one device each."""

    found_by_search: dict
    tools = ("minidlnad", "gmediarender", "gstreamer playback")

    @classmethod
    def build(cls) -> None:
        cls.network.bridge()
        cls.client = cls.network.host("client", Link("lan", ("10.77.0.2/16",)))
        start_minidlna(cls.network.host("server", Link("lan", ("10.77.0.3/16",))), "Lab Médiathèque", SERVER[5:])
        start_renderer(cls.network.host("renderer", Link("lan", ("10.77.0.4/16",))), "Lab Renderer", RENDERER[5:])
        await_devices(cls.client, f"{SERVER}::{ROOT}", f"{SERVER}::{MEDIA_SERVER}",
                      f"{RENDERER}::{ROOT}", f"{RENDERER}::{MEDIA_RENDERER}")
        cls.found_by_search = scan(cls.client, "--enable", "ssdp")
        cls.report = scan(cls.client, "--enable", "ssdp,upnp-dlna")

    def test_providers(self) -> None:
        self.assert_providers(self.found_by_search, "ssdp")
        self.assert_providers(self.report, "ssdp", "upnp-dlna")

    def test_no_device_more_or_less(self) -> None:
        self.assert_hostnames(self.found_by_search, "10.77.0.3", "10.77.0.4")
        self.assert_hostnames(self.report, "10.77.0.3", "10.77.0.4")

    def test_search_alone(self) -> None:
        devices = self.found_by_search["devices"]
        rows = [(device["displayName"], device["provider"], device["ttlSeconds"] > 0,
                 device["protocolData"]["ssdpStatusLine"], len(device["endpoints"])) for device in devices]
        self.assertEqual(rows, [("10.77.0.3", "ssdp", True, "HTTP/1.1 200 OK", 2),
                                ("10.77.0.4", "ssdp", True, "HTTP/1.1 200 OK", 2)])

    def test_media_server(self) -> None:
        base = "http://10.77.0.3:8200"
        services = ("urn:schemas-upnp-org:service:ContentDirectory:1",
                    "urn:schemas-upnp-org:service:ConnectionManager:1",
                    "urn:microsoft.com:service:X_MS_MediaReceiverRegistrar:1")
        paths = ("ContentDir", "ConnectionMgr", "X_MS_MediaReceiverRegistrar")
        location = f"{base}/rootDesc.xml"
        self.assert_device(self.report, Device(
            "10.77.0.3", ("10.77.0.3",), SERVER, "Lab Médiathèque", "upnp", "input", MEDIA,
            (Endpoint(f"{SERVER}::{ROOT}:location", "SSDP Location", "upnp", location, *CONTROL),
             Endpoint(f"{SERVER}::{MEDIA_SERVER}:location", "SSDP Location", "upnp", location, "input", MEDIA),
             Endpoint(f"{SERVER}:description", "UPnP Description", "upnp", location, "input", MEDIA),
             Endpoint(f"{SERVER}:web", "Web UI", "http", f"{base}/", *CONTROL),
             *(Endpoint(f"{SERVER}:control:{index}", service, "upnp", f"{base}/ctl/{path}", *CONTROL)
               for index, (service, path) in enumerate(zip(services, paths)))),
            provider="upnp", vendor="Justin Maggard", model="Windows Media Connect compatible (MiniDLNA)",
            serial="00000000", ordered=False,
            data={"upnp.deviceType": MEDIA_SERVER, "upnp.location": location, "upnp.udn": SERVER}))

    def test_media_renderer(self) -> None:
        base = "http://10.77.0.4:49494"
        location = f"{base}/description.xml"
        names = ("AVTransport", "ConnectionManager", "RenderingControl")
        paths = ("rendertransport1", "renderconnmgr1", "rendercontrol1")
        self.assert_device(self.report, Device(
            "10.77.0.4", ("10.77.0.4",), RENDERER, "Lab Renderer", "upnp", "output", MEDIA,
            (Endpoint(f"{RENDERER}::{ROOT}:location", "SSDP Location", "upnp", location, *CONTROL),
             Endpoint(f"{RENDERER}::{MEDIA_RENDERER}:location", "SSDP Location", "upnp", location, "output", MEDIA),
             Endpoint(f"{RENDERER}:description", "UPnP Description", "upnp", location, "output", MEDIA),
             *(Endpoint(f"{RENDERER}:control:{index}", f"urn:schemas-upnp-org:service:{name}:1", "upnp",
                        f"{base}/upnp/control/{path}", *CONTROL)
               for index, (name, path) in enumerate(zip(names, paths)))),
            provider="upnp", vendor="Ivo Clarysse, Henner Zeller", model="gmediarender", ordered=False,
            data={"upnp.deviceType": MEDIA_RENDERER, "upnp.location": location, "upnp.udn": RENDERER}))
