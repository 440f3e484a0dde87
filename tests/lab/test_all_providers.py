"""One pass with every provider on, in a network that has something for each of them.

docs/sample-config.json is the configuration of this pass, and docs/sample-report.json a report of
it. To write that anew, name a file in SONDRIX_LAB_REPORT; the release of this machine's kernel,
which the renderer tells everybody, does not go into it.
"""

from __future__ import annotations

import json
import os
from pathlib import Path

from sondrix_lab import studio
from sondrix_lab.case import LabTestCase
from sondrix_lab.expect import Device, mdns_endpoint
from sondrix_lab.passes import PROVIDERS, Pass, run_pass
from sondrix_lab.shape import shape
from sondrix_lab.studio import (CAMERA, CAMERA_SOURCE, CAMERA_UUID, LIBRARY, NODE, PLAYOUT_SOURCE, RENDERER_TYPE,
                                ROKU_SERIAL, ROOT_TYPE, SCREEN, SESSION_GROUP, SESSION_NAME, SPEAKER, start_studio)

DOCUMENTS = Path(__file__).resolve().parent.parent.parent / "docs"
CONFIGURATION = DOCUMENTS / "sample-config.json"
SAMPLE = DOCUMENTS / "sample-report.json"

GATEWAY_SEED = "ember://10.77.0.9:9092"

CONTROL = ("controlOnly", ["control"])
MEDIA = ["audio", "video", "control"]

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

    tools = studio.TOOLS
    result: Pass

    @classmethod
    def build(cls) -> None:
        scene = start_studio(cls.network)
        cls.client = scene.client
        cls.result = run_pass(cls.client, "--config", str(CONFIGURATION), environment=scene.environment)
        cls.report = cls.result.report
        if "SONDRIX_LAB_REPORT" in os.environ:
            text = json.dumps(cls.report, indent=4, sort_keys=True, ensure_ascii=False)
            text = text.replace(os.uname().release, "6.1.0")
            Path(os.environ["SONDRIX_LAB_REPORT"]).write_text(text + "\n", "utf-8")

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
            id=device_id, displayName=SESSION_NAME, addresses=[SESSION_GROUP], provider="sap-aes67", protocol="sap",
            direction="input", mediaKinds=["audio", "metadata"], ttlSeconds=300))
        self.assertEqual(endpoint_rows(device), [
            (f"{device_id}:rtp", SESSION_NAME, "rtp", f"rtp://{SESSION_GROUP}:5004", "input", ["audio"], "RTP")])
        stream = {"codec": "L24", "sampleRate": 48000, "channels": 2}
        self.assertEqual(device["endpoints"][0]["metadata"], {**stream, "sdp": device["protocolData"]["sap.sdp"]})
        self.assert_data(device, {"sap.sessionName": SESSION_NAME, **{f"aes67.{key}": stream[key] for key in stream}})

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
