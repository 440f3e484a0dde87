"""A peer that floods every port of the program, from before a pass begins until after its end."""

from __future__ import annotations

import json
import math
import time
from pathlib import Path

from sondrix_lab.case import LabTestCase
from sondrix_lab.flood import CROWDED_ADDRESS, PROBE
from sondrix_lab.measured_pass import MeasuredPass, has_sanitizers, print_figures, run_measured_pass
from sondrix_lab.media_peers import Camera, start_camera, start_nmos_node, start_repeated_session, start_roku
from sondrix_lab.network import Host, Link, udp_counter
from sondrix_lab.nmos_node import Node
from sondrix_lab.passes import PROVIDERS, WINDOW_SECONDS, write_configuration
from sondrix_lab.responders import (Service, await_devices, await_services, start_avahi, start_minidlna,
                                    start_renderer, start_zeroconf)

CLIENT, HOSTILE = "10.77.0.2", "10.77.0.66"
# The flood of multicast goes over a wire on which no responder stands: what those can bear is not tested here.
DARK_CLIENT, DARK_HOSTILE = "10.78.0.2", "10.78.0.66"
LIBRARY, LIBRARY_ADDRESS = "uuid:4d696e69-444c-164e-9d41-0a4d00000003", "10.77.0.3"
SCREEN, SCREEN_ADDRESS = "uuid:7b1ad2c0-5d5f-4c0e-8a32-0a4d00000004", "10.77.0.4"
RENDERER_TYPE = "urn:schemas-upnp-org:device:MediaRenderer:1"
SERVER_TYPE = "urn:schemas-upnp-org:device:MediaServer:1"
ROOT_TYPE = "upnp:rootdevice"
ROKU_TARGET, ROKU_ADDRESS, ROKU_SERIAL = "roku:ecp", "10.77.0.5", "X01900AB0005"
MONITOR = Service("Nest-Hub-5c1f8d", "_googlecast._tcp", 8009, ("id=5c1f8d0e7a2b", "fn=Gallery Monitor"))
STAGEBOX = Service("Stagebox", "_netaudio-arc._udp", 4440, ("arcp_vers=2.7.41",))
CAMERA = Camera("10.77.0.10", "urn:uuid:3fa1fe68-b915-4053-a3e1-0a4d00000010", "http://10.77.0.10/onvif/device_service")
NODE_ADDRESS, NODE_LABEL = "10.77.0.9", "Stream Gateway"
SESSION_GROUP = "239.69.1.2"

FLOOD_PER_SECOND = 5000
# How long the program listens to what comes to the port of a search, by the first target that it searches for there.
SEARCH_SECONDS = {ROOT_TYPE: WINDOW_SECONDS["ssdp"], RENDERER_TYPE: WINDOW_SECONDS["upnp-dlna"],
                  ROKU_TARGET: WINDOW_SECONDS["roku"], PROBE: WINDOW_SECONDS["onvif"]}
# Above the windows and limits: the start of the program, and what it does with more than a thousand invented devices
# while the flood keeps the machine busy. Each of them is compared with all that came before.
MARGIN_SECONDS = 4.0
PEAK_BYTES = 300_000_000


class HostileNetworkTest(LabTestCase):
    """Every real device is found, in time, and the program stays small."""

    tools = ("avahi-daemon", "ffmpeg", "gmediarender", "gstreamer playback", "minidlnad", "zeroconf")
    result: MeasuredPass
    journals: dict[str, Path]
    interval: tuple[float, float]

    @classmethod
    def build(cls) -> None:
        cls.network.bridge()
        cls.network.bridge("dark")
        cls.client = cls.network.host("client", Link("lan", (f"{CLIENT}/16",), ipv6=False),
                                      Link("dark", (f"{DARK_CLIENT}/16",), default_route=False))
        start_minidlna(cls.machine("library", LIBRARY_ADDRESS), "Clip Library", LIBRARY[5:])
        start_renderer(cls.machine("screen", SCREEN_ADDRESS), "Lobby Screen", SCREEN[5:])
        start_roku(cls.machine("player", ROKU_ADDRESS), ROKU_ADDRESS, "Reception Player", ROKU_SERIAL)
        start_zeroconf(cls.machine("monitor", "10.77.0.6"), "monitor", ("10.77.0.6",), (MONITOR,))
        start_nmos_node(cls.machine("gateway", NODE_ADDRESS), NODE_ADDRESS, 8080, NODE_LABEL)
        start_camera(cls.machine("camera", CAMERA.address), CAMERA)
        start_repeated_session(cls.machine("mixer", "10.77.0.11"), "Main Mix", SESSION_GROUP, CLIENT)
        start_avahi(cls.machine("stagebox", "10.77.0.12"), "stagebox", (STAGEBOX,))
        await_devices(cls.client, f"{LIBRARY}::{ROOT_TYPE}", f"{LIBRARY}::{SERVER_TYPE}",
                      f"{SCREEN}::{ROOT_TYPE}", f"{SCREEN}::{RENDERER_TYPE}")
        await_services(cls.client, MONITOR, STAGEBOX)
        configuration = write_configuration(cls.client, nmos=[f"http://{NODE_ADDRESS}:8080/x-nmos/node/v1.3"])
        cls.start_flood()
        received, lost = (udp_counter(cls.client, name) for name in ("InDatagrams", "RcvbufErrors"))
        begin = time.monotonic()
        cls.result = run_measured_pass(cls.client, "--config", str(configuration))
        cls.interval = begin, time.monotonic()
        cls.report = cls.result.report
        received, lost = (udp_counter(cls.client, "InDatagrams") - received,
                          udp_counter(cls.client, "RcvbufErrors") - lost)
        rates = {purpose: round(rate) for purpose, rate in cls.rates().items()}
        print_figures(cls.result, f"{received} datagrams read, {lost} found no room; sent in a second: {rates}")

    @classmethod
    def machine(cls, name: str, address: str) -> Host:
        return cls.network.host(name, Link("lan", (f"{address}/16",), ipv6=False))

    @classmethod
    def start_flood(cls) -> None:
        hostile = cls.network.host("hostile", Link("lan", (f"{HOSTILE}/16",), ipv6=False),
                                   Link("dark", (f"{DARK_HOSTILE}/16",), default_route=False))
        floods = {"search": (HOSTILE, CLIENT), "mdns": (DARK_HOSTILE, DARK_CLIENT), "mdns6": ("eth1",),
                  "sap": (CLIENT,)}
        cls.journals = {port: hostile.folder / f"{port}.json" for port in floods}
        for port, arguments in floods.items():
            hostile.start_module("sondrix_lab.flood", port, str(cls.journals[port]), *arguments)

    @classmethod
    def rates(cls) -> dict[str, float]:
        """What was sent in a second to each port, as long as the program listened there."""
        rates = {}
        for journal in cls.journals.values():
            # The last line may still be in the making.
            for line in journal.read_text("utf-8").split("\n")[:-1]:
                step = json.loads(line)
                purpose, seconds = step["purpose"], step["at"] - step["since"]
                if step["at"] < cls.interval[1] and seconds < SEARCH_SECONDS.get(purpose, math.inf):
                    rates[purpose] = step["sent"] / seconds
        return rates

    def test_flood_is_one(self) -> None:
        rates = self.rates()
        self.assertEqual(set(rates), {*SEARCH_SECONDS, "mdns", "mdns6", "sap"})
        for purpose, rate in rates.items():
            with self.subTest(purpose):
                self.assertGreaterEqual(rate, FLOOD_PER_SECOND)

    def test_rows(self) -> None:
        rows = self.result.rows()
        # Whether there is an NDI runtime is the machine's affair.
        del rows["ndi"]
        self.assertEqual(rows, {name: ("ok", "") for name in PROVIDERS if name != "ndi"})

    def test_time_of_the_pass(self) -> None:
        windows = sum(WINDOW_SECONDS[name] for name in self.result.rows())
        self.assertGreaterEqual(self.result.seconds, windows)
        # Four processes of the flood and the responders may leave the program no processor; that is not its delay.
        # Under the sanitizers it cannot keep up with the flood.
        if not has_sanitizers():
            self.assertLessEqual(self.result.own_seconds, windows + MARGIN_SECONDS)

    def test_memory(self) -> None:
        if has_sanitizers():
            self.skipTest("the sanitizers hold a multiple of the program's own memory")
        self.assertLess(self.result.peak_bytes, PEAK_BYTES)

    def test_invented_devices_arrived(self) -> None:
        """The flood got as far as the report, so that what is not there of it was weighed and found bad."""
        invented = [device for device in self.report["devices"] if "invented" in device["id"].lower()]
        self.assertGreater(len(invented), 1000)

    def test_device_that_never_ends(self) -> None:
        device = self.result.device(CROWDED_ADDRESS)
        self.assertGreater(len(device["endpoints"]), 100)
        self.assertEqual(len(device["protocolData"]), 1024)

    def test_media_server_with_its_description(self) -> None:
        self.assert_found(LIBRARY_ADDRESS, LIBRARY, "Clip Library", "upnp")

    def test_media_renderer_with_its_description(self) -> None:
        self.assert_found(SCREEN_ADDRESS, SCREEN, "Lobby Screen", "upnp")

    def test_roku_player_with_its_data(self) -> None:
        self.assert_found(ROKU_ADDRESS, f"S00{ROKU_SERIAL}", "Reception Player", "roku")

    def test_service_of_zeroconf(self) -> None:
        self.assert_found("monitor.local.", "5c1f8d0e7a2b", "Gallery Monitor", "mdns")

    def test_service_of_avahi(self) -> None:
        self.assert_found("stagebox.local.", "Stagebox@stagebox.local.", "Stagebox", "mdns")

    def test_nmos_node(self) -> None:
        self.assert_found(NODE_ADDRESS, Node(NODE_ADDRESS, 8080, NODE_LABEL).id("node"), NODE_LABEL, "nmos")

    def test_camera(self) -> None:
        self.assert_found(CAMERA.address, CAMERA.reference, CAMERA.address, "onvif")

    def test_announced_session(self) -> None:
        self.assert_found(SESSION_GROUP, f"sap:main mix:{SESSION_GROUP}:5004", "Main Mix", "sap-aes67")

    def assert_found(self, hostname: str, device_id: str, name: str, provider: str) -> None:
        device = self.result.device(hostname)
        self.assertEqual((device["id"], device["displayName"], device["provider"]), (device_id, name, provider))
