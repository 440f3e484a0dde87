"""One pass with every provider on, in a network that has something for each of them.

docs/sample-config.json is the configuration of this pass, and docs/sample-report.json a report of
it. To write that anew, name a file in SONDRIX_LAB_REPORT; the release of this machine's kernel,
which the renderer tells everybody, does not go into it.
"""

from __future__ import annotations

import json
import os
from pathlib import Path

from sondrix_lab.case import LabTestCase
from sondrix_lab.expect import Device, mdns_endpoint
from sondrix_lab.media_peers import (SPEAKER_TOOLS, Camera, NdiSource, build_ndi_runtime, ndi_environment,
                                     speaker_instance, start_camera, start_nmos_node, start_repeated_session,
                                     start_roku, start_speaker)
from sondrix_lab.network import Host, Link
from sondrix_lab.nmos_node import Node
from sondrix_lab.passes import PROVIDERS, Pass, run_pass
from sondrix_lab.responders import (Service, SsdpCrowd, SsdpDevice, await_devices, await_services, start_avahi,
                                    start_minidlna, start_renderer, start_ssdp_simulator, start_zeroconf)
from sondrix_lab.shape import shape

DOCUMENTS = Path(__file__).resolve().parent.parent.parent / "docs"
CONFIGURATION = DOCUMENTS / "sample-config.json"
SAMPLE = DOCUMENTS / "sample-report.json"

CLIENT = "10.77.0.2"
LIBRARY = "uuid:4d696e69-444c-164e-9d41-0a4d00000003"
SCREEN = "uuid:7b1ad2c0-5d5f-4c0e-8a32-0a4d00000004"
ROKU_SERIAL = "X01900AB0005"
MONITOR = (Service("Nest-Hub-5c1f8d", "_googlecast._tcp", 8009,
                   ("id=5c1f8d0e7a2b4c3d9e6f0a4d00000006", "fn=Gallery Monitor", "md=Google Nest Hub", "ve=05",
                    "rs=")),)
TELEVISION = (
    Service("Green Room", "_airplay._tcp", 7000,
            ("deviceid=02:4C:41:42:00:07", "model=AppleTV6,2", "srcvers=377.40.00", "flags=0x244",
             "features=0x4A7FDFD5,0x3C155FDE", "pi=2e388006-13ba-4041-9a67-25dd4a43d536", "vv=2")),
    Service("024C41420007@Green Room", "_raop._tcp", 7000, ("am=AppleTV6,2", "tp=UDP", "vn=65537", "vs=377.40.00")))
SPEAKER_NAME = "Producer Speaker"
SPEAKER = speaker_instance(SPEAKER_NAME)
STAGEBOX = (Service("Stagebox", "_netaudio-arc._udp", 4440, ("arcp_vers=2.7.41", "router_vers=4.2.0.9")),
            Service("Stagebox", "_http._tcp", 80, ("path=/",)))
CAMERA_UUID = "3fa1fe68-b915-4053-a3e1-0a4d00000010"
CAMERA = Camera("10.77.0.10", f"urn:uuid:{CAMERA_UUID}", "http://10.77.0.10/onvif/device_service",
                ("onvif://www.onvif.org/Profile/Streaming", "onvif://www.onvif.org/type/video_encoder",
                 "onvif://www.onvif.org/name/Studio%20Camera", "onvif://www.onvif.org/location/studio/1"))
CAMERA_SOURCE = NdiSource("STUDIO-CAMERA (Channel 1)", "10.77.0.10:5961")
PLAYOUT_SOURCE = NdiSource("PLAYOUT (Programme)", "10.77.0.13:5961", server="10.77.0.14")
FOREIGN_SOURCE = NdiSource("ELSEWHERE (Programme)", "10.77.0.15:5961", server="10.77.0.16")
NODE = Node("10.77.0.9", 8080, "Stream Gateway")
GATEWAY_SEED = "ember://10.77.0.9:9092"
SESSION_GROUP = "239.69.1.2"

CONTROL = ("controlOnly", ["control"])
MEDIA = ["audio", "video", "control"]
RENDERER_TYPE = "urn:schemas-upnp-org:device:MediaRenderer:1"
SERVER_TYPE = "urn:schemas-upnp-org:device:MediaServer:1"
ROOT_TYPE = "upnp:rootdevice"

EVERY_KEY = {
    "api": {"enabled": True, "bindAddress": "", "port": 0},
    "discovery": {"interfaces": [""], "activeProbingEnabled": True, "providers": dict.fromkeys(
        ("mdns", "ssdp", "upnpDlna", "roku", "cast", "airplay", "nmos", "ember", "onvif", "ndi", "sapAes67"), True)},
    "streamlark": {"enabled": False},
    "manualSeeds": {"ember": [""], "nmosRegistries": [""], "ndiDiscoveryServers": [""]},
}


def endpoint_rows(device: dict) -> list[tuple]:
    """The endpoints of a device in the order of the pass, without times and metadata."""
    keys = ("id", "label", "protocol", "url", "direction", "mediaKinds", "transport")
    return [tuple(endpoint[key] for key in keys) for endpoint in device["endpoints"]]


def fields(device: dict) -> dict:
    """What a device is called, and how it was found."""
    keys = ("id", "displayName", "vendor", "model", "serial", "firmware", "addresses", "provider", "protocol",
            "direction", "mediaKinds", "requiresAuth", "online", "ttlSeconds")
    return {key: device[key] for key in keys}


def expected_fields(**rest: object) -> dict:
    return {"vendor": "", "model": "", "serial": "", "firmware": "", "requiresAuth": False, "online": True,
            "ttlSeconds": 0, **rest}


class AllProvidersTest(LabTestCase):
    """Every device stands in the report once, with what all the providers said of it."""

    tools = ("minidlnad", "gmediarender", "gstreamer playback", "zeroconf", "ffmpeg", "cc", *SPEAKER_TOOLS)
    result: Pass

    @classmethod
    def build(cls) -> None:
        cls.network.bridge()
        cls.client = cls.machine("client", CLIENT)
        start_speaker(cls.machine("speaker", "10.77.0.8"), "speaker", SPEAKER_NAME)
        start_minidlna(cls.machine("library", "10.77.0.3"), "Clip Library", LIBRARY[5:])
        start_renderer(cls.machine("screen", "10.77.0.4"), "Lobby Screen", SCREEN[5:])
        start_roku(cls.machine("player", "10.77.0.5"), "10.77.0.5", "Reception Player", ROKU_SERIAL)
        start_zeroconf(cls.machine("monitor", "10.77.0.6"), "monitor", ("10.77.0.6",), MONITOR)
        start_zeroconf(cls.machine("television", "10.77.0.7"), "television", ("10.77.0.7",), TELEVISION)
        start_nmos_node(cls.machine("gateway", NODE.address), NODE.address, NODE.port, NODE.label)
        camera = cls.machine("camera", CAMERA.address)
        start_camera(camera, CAMERA)
        start_ssdp_simulator(camera, SsdpCrowd((SsdpDevice(CAMERA.address, CAMERA_UUID, (ROOT_TYPE,)),)))
        start_repeated_session(cls.machine("mixer", "10.77.0.11"), "Main Mix", SESSION_GROUP, CLIENT)
        start_avahi(cls.machine("stagebox", "10.77.0.12"), "stagebox", STAGEBOX)
        runtime = cls.client.folder / "ndi"
        build_ndi_runtime(runtime)
        environment = ndi_environment(runtime, CAMERA_SOURCE, PLAYOUT_SOURCE, FOREIGN_SOURCE)
        await_devices(cls.client, f"{LIBRARY}::{ROOT_TYPE}", f"{LIBRARY}::{SERVER_TYPE}",
                      f"{SCREEN}::{ROOT_TYPE}", f"{SCREEN}::{RENDERER_TYPE}")
        await_services(cls.client, *MONITOR, *TELEVISION, *STAGEBOX, Service(SPEAKER, "_raop._tcp", 5000))
        cls.result = run_pass(cls.client, "--config", str(CONFIGURATION), environment=environment)
        cls.report = cls.result.report
        if "SONDRIX_LAB_REPORT" in os.environ:
            text = json.dumps(cls.report, indent=4, sort_keys=True, ensure_ascii=False)
            text = text.replace(os.uname().release, "6.1.0")
            Path(os.environ["SONDRIX_LAB_REPORT"]).write_text(text + "\n", "utf-8")

    @classmethod
    def machine(cls, name: str, address: str) -> Host:
        return cls.network.host(name, Link("lan", (f"{address}/16",), ipv6=False))

    def test_rows(self) -> None:
        self.assert_providers(self.report, *PROVIDERS)
        self.assertEqual({row["enabled"] for row in self.report["providers"]}, {True})

    def test_no_device_more_or_less(self) -> None:
        self.assert_hostnames(self.report, *(f"10.77.0.{number}" for number in (3, 4, 5, 9, 10, 13)), "monitor.local.",
                              "television.local.", "speaker.local.", "stagebox.local.", SESSION_GROUP,
                              "console.example")

    def test_counts(self) -> None:
        counts = {key: value for key, value in self.report.items() if key.endswith("Count")}
        self.assertEqual(counts, {"deviceCount": 12, "inputCount": 5, "outputCount": 6, "controlOnlyCount": 2,
                                  "onlineCount": 12, "offlineCount": 0})

    def test_media_server(self) -> None:
        device = self.result.device("10.77.0.3")
        self.assertEqual(fields(device), expected_fields(
            id=LIBRARY, displayName="Clip Library", vendor="Justin Maggard",
            model="Windows Media Connect compatible (MiniDLNA)", serial="00000000", addresses=["10.77.0.3"],
            provider="upnp", protocol="upnp", direction="input", mediaKinds=MEDIA,
            ttlSeconds=self.max_age(device)))
        location = "http://10.77.0.3:8200/rootDesc.xml"
        self.assertEqual({row[3] for row in endpoint_rows(device) if row[1] in ("SSDP Location", "UPnP Description")},
                         {location})
        self.assertEqual(device["protocolData"]["upnp.location"], location)
        self.assertEqual(device["protocolData"]["ssdpStatusLine"], "HTTP/1.1 200 OK")

    def test_media_renderer(self) -> None:
        device = self.result.device("10.77.0.4")
        self.assertEqual(fields(device), expected_fields(
            id=SCREEN, displayName="Lobby Screen", vendor="Ivo Clarysse, Henner Zeller", model="gmediarender",
            addresses=["10.77.0.4"], provider="upnp", protocol="upnp", direction="output", mediaKinds=MEDIA,
            ttlSeconds=self.max_age(device)))
        self.assertEqual(device["protocolData"]["upnp.deviceType"], RENDERER_TYPE)

    def test_roku_player(self) -> None:
        device = self.result.device("10.77.0.5")
        device_id, usn = f"S00{ROKU_SERIAL}", f"uuid:roku:ecp:{ROKU_SERIAL}"
        location = "http://10.77.0.5:8060/"
        self.assertEqual(fields(device), expected_fields(
            id=device_id, displayName="Reception Player", vendor="Roku", model="Roku Ultra", serial=ROKU_SERIAL,
            firmware="12.5.0", addresses=["10.77.0.5"], provider="roku", protocol="roku", direction="output",
            mediaKinds=MEDIA, ttlSeconds=3600))
        self.assertEqual(endpoint_rows(device), [
            (f"{usn}:location", "SSDP Location", "roku", location, "output", MEDIA, ""),
            (f"{device_id}:ecp", "Roku ECP", "roku", location, "output", MEDIA, ""),
            (f"{device_id}:cast", "Roku Cast", "cast", "cast://10.77.0.5:8060?type=roku", "output", MEDIA, "")])
        self.assert_data(device, {"roku.deviceId": device_id, "roku.location": location, "ssdp.usn": usn,
                                  "ssdp.st": "roku:ecp"})

    def test_cast_receiver(self) -> None:
        device_id = "5c1f8d0e7a2b4c3d9e6f0a4d00000006"
        self.assert_device(self.report, Device(
            "monitor.local.", ("10.77.0.6",), device_id, "Gallery Monitor", "cast", "output", MEDIA,
            (mdns_endpoint(device_id, "Gallery Monitor", "cast", "cast://{host}:8009?type=cast"),),
            model="Google Nest Hub", data={"txt.fn": "Gallery Monitor", "txt.rs": ""}))

    def test_airplay_receiver(self) -> None:
        video, audio = "Green Room@television.local.", "024C41420007@Green Room@television.local."
        # The pass ends with the browse for AirPlay, and a scan hands its services on by name.
        self.assert_device(self.report, Device(
            "television.local.", ("10.77.0.7",), video, "Green Room", "airplay", "output", MEDIA,
            (mdns_endpoint(audio, "024C41420007@Green Room", "raop", "raop://{host}:7000"),
             mdns_endpoint(video, "Green Room", "airplay", "airplay://{host}:7000")),
            data={"txt.deviceid": "02:4C:41:42:00:07", "txt.am": "AppleTV6,2"}))

    def test_airplay_speaker(self) -> None:
        device_id = f"{SPEAKER}@speaker.local."
        model = self.result.device("speaker.local.")["protocolData"]["txt.md"]
        self.assert_device(self.report, Device(
            "speaker.local.", ("10.77.0.8",), device_id, SPEAKER, "raop", "output", ["audio", "control"],
            (mdns_endpoint(device_id, SPEAKER, "raop", "raop://{host}:5000"),),
            model=model, data={"txt.am": "ShairportSync"}))

    def test_stagebox(self) -> None:
        device_id = "Stagebox@stagebox.local."
        self.assert_device(self.report, Device(
            "stagebox.local.", ("10.77.0.12",), device_id, "Stagebox", "dante-hint", "controlOnly",
            ["audio", "control"],
            (mdns_endpoint(device_id, "Stagebox", "http", "http://{host}:80/"),
             mdns_endpoint(device_id, "Stagebox", "dante-hint", "dante-hint://{host}:4440")),
            data={"txt.arcp_vers": "2.7.41", "txt.path": "/"}))

    def test_nmos_node_with_ember(self) -> None:
        device = self.result.device(NODE.address)
        self.assertEqual(fields(device), expected_fields(
            id=GATEWAY_SEED, displayName=NODE.address, addresses=[NODE.address], provider="ember", protocol="ember",
            direction="inputOutput", mediaKinds=["audio", "video", "metadata", "control"]))
        multicast, unicast = "urn:x-nmos:transport:rtp.mcast", "urn:x-nmos:transport:rtp"
        kinds = {"video": ["video", "control"], "audio": ["audio", "control"], "data": ["metadata", "control"]}
        senders = [(sender["id"], sender["label"], "nmos", f"nmos://sender/{sender['id']}", "input", kinds[name],
                    multicast) for name, sender in zip(("video", "audio", "data"), NODE.senders())]
        receivers = [(receiver["id"], receiver["label"], "nmos", f"nmos://receiver/{receiver['id']}", "output",
                      kinds[name], unicast) for name, receiver in zip(("video", "audio"), NODE.receivers())]
        self.assertEqual(endpoint_rows(device), [
            *senders, *receivers,
            (f"{GATEWAY_SEED}:control", "Ember+ Control", "ember", GATEWAY_SEED, *CONTROL, "TCP")])
        self.assert_data(device, {
            "nmos.version": "v1.3", "nmos.nodeApiUrl": "http://10.77.0.9:8080/x-nmos/node/v1.3",
            "nmos.node": NODE.self_resource(), "nmos.devices": NODE.devices(), "nmos.sources": NODE.sources(),
            "nmos.flows": NODE.flows(), "nmos.senders": NODE.senders(), "nmos.receivers": NODE.receivers(),
            "ember.seed": GATEWAY_SEED, "ember.activeProbe": False})

    def test_nmos_sender_with_its_flow_and_source(self) -> None:
        endpoints = self.result.device(NODE.address)["endpoints"]
        for endpoint, sender, flow, source in zip(endpoints, NODE.senders(), NODE.flows(), NODE.sources()):
            self.assertEqual(endpoint["metadata"], {"resource": sender, "flow": flow, "source": source})
        for endpoint, receiver in zip(endpoints[3:], NODE.receivers()):
            self.assertEqual(endpoint["metadata"], {"resource": receiver})

    def test_camera_of_three_providers(self) -> None:
        device = self.result.device(CAMERA.address)
        device_id, usn = f"ndi:{CAMERA_SOURCE.name.lower()}", f"uuid:{CAMERA_UUID}::{ROOT_TYPE}"
        kinds = ["audio", "video", "metadata", "control"]
        self.assertEqual(fields(device), expected_fields(
            id=device_id, displayName=CAMERA_SOURCE.name, addresses=[CAMERA.address], provider="ndi", protocol="ndi",
            direction="input", mediaKinds=kinds, ttlSeconds=60))
        self.assertEqual(endpoint_rows(device), [
            (f"{usn}:location", "SSDP Location", "upnp", "http://10.77.0.10:8080/description.xml", *CONTROL, ""),
            (f"{CAMERA.reference}:onvif", "ONVIF Device Service", "onvif", "onvif://10.77.0.10", "input", kinds,
             "HTTP/SOAP"),
            (f"{CAMERA.reference}:xaddr", "ONVIF XAddr", "http", CAMERA.service, *CONTROL, "HTTP/SOAP"),
            (f"{device_id}:source", CAMERA_SOURCE.name, "ndi", "ndi://STUDIO-CAMERA%20%28Channel%201%29", "input",
             ["audio", "video", "metadata"], "NDI")])
        self.assertEqual(device["endpoints"][3]["metadata"], {
            "sourceName": CAMERA_SOURCE.name, "urlAddress": CAMERA_SOURCE.address, "address": CAMERA.address})
        self.assert_data(device, {
            "ssdp.usn": usn, "onvif.endpointReference": CAMERA.reference, "onvif.xaddrs": [CAMERA.service],
            "onvif.types": "dn:NetworkVideoTransmitter tds:Device", "onvif.scopes": " ".join(CAMERA.scopes),
            "ndi.name": CAMERA_SOURCE.name, "ndi.urlAddress": CAMERA_SOURCE.address})

    def test_ndi_source_of_a_discovery_server(self) -> None:
        device_id = f"ndi:{PLAYOUT_SOURCE.name.lower()}"
        device = self.result.device("10.77.0.13")
        self.assertEqual(fields(device), expected_fields(
            id=device_id, displayName=PLAYOUT_SOURCE.name, addresses=["10.77.0.13"], provider="ndi", protocol="ndi",
            direction="input", mediaKinds=["audio", "video", "metadata"], ttlSeconds=60))

    def test_announced_session(self) -> None:
        device_id = f"sap:main mix:{SESSION_GROUP}:5004"
        device = self.result.device(SESSION_GROUP)
        self.assertEqual(fields(device), expected_fields(
            id=device_id, displayName="Main Mix", addresses=[SESSION_GROUP], provider="sap-aes67", protocol="sap",
            direction="input", mediaKinds=["audio", "metadata"], ttlSeconds=300))
        self.assertEqual(endpoint_rows(device), [
            (f"{device_id}:rtp", "Main Mix", "rtp", f"rtp://{SESSION_GROUP}:5004", "input", ["audio"], "RTP")])
        stream = {"codec": "L24", "sampleRate": 48000, "channels": 2}
        self.assertEqual(device["endpoints"][0]["metadata"], {**stream, "sdp": device["protocolData"]["sap.sdp"]})
        self.assert_data(device, {"sap.sessionName": "Main Mix", **{f"aes67.{key}": stream[key] for key in stream}})

    def test_seed_alone(self) -> None:
        device = self.result.device("console.example")
        url = "ember://console.example:9000"
        self.assertEqual(fields(device), expected_fields(
            id=url, displayName="console.example", addresses=["console.example"], provider="ember", protocol="ember",
            direction="controlOnly", mediaKinds=["control"]))

    def test_sample_configuration_has_every_key(self) -> None:
        self.assertEqual(shape(json.loads(CONFIGURATION.read_text("utf-8"))), shape(EVERY_KEY))

    def test_sample_report_has_the_shape_of_this_one(self) -> None:
        sample = json.loads(SAMPLE.read_text("utf-8"))
        self.assertEqual(shape({**sample, "devices": []}), shape({**self.report, "devices": []}))
        shapes = [{device["displayName"]: shape(device) for device in report["devices"]}
                  for report in (sample, self.report)]
        self.assertEqual(*shapes)
        self.assertEqual(*([row["name"] for row in report["providers"]] for report in (sample, self.report)))

    @staticmethod
    def max_age(device: dict) -> int:
        """How long the device's answer counts, in seconds."""
        name, _, seconds = device["protocolData"]["ssdp.cache-control"].partition("=")
        return int(seconds) if name == "max-age" else 0

    def assert_data(self, device: dict, entries: dict) -> None:
        self.assertEqual({key: device["protocolData"].get(key) for key in entries}, entries)
