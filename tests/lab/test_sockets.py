"""The program serves nobody: it has sockets only while it looks for devices, and none that others can connect to."""

from __future__ import annotations

import os
import subprocess
import time

from sondrix_lab.case import LabTestCase
from sondrix_lab.http_host import Page
from sondrix_lab.media_peers import Site, start_http
from sondrix_lab.network import Link
from sondrix_lab.passes import FETCH_SECONDS, WINDOW_SECONDS, write_configuration
from sondrix_lab.responders import SsdpCrowd, SsdpDevice, start_ssdp_simulator
from sondrix_lab.sap_relay import SAP_PORT
from sondrix_lab.sockets import Sighting, watch_sockets

MDNS_PORT = 5353
RENDERER, PORT = "10.77.0.3", 8080
RENDERER_TYPE = "urn:schemas-upnp-org:device:MediaRenderer:1"
# The kernel's range for sockets that leave the choice to it.
EPHEMERAL = range(32768, 61000)
# The window waits so long before its first pass.
FIRST_PASS_SECONDS = 1.0
# The default providers, without those that need something the test does not give.
WINDOW_PASS = ("mdns", "ssdp", "upnp-dlna", "roku", "cast", "airplay")
QUIET_SECONDS = 2.0
# For a busy machine: how much longer than its window a socket may stand, and how much later a pass may end.
MARGIN_SECONDS = 2.0


class SocketsTest(LabTestCase):
    """A renderer that never hands out its description keeps a connection open long enough to be seen."""

    @classmethod
    def build(cls) -> None:
        cls.network.bridge()
        cls.client = cls.network.host("client", Link("lan", ("10.77.0.2/16", "fd77::2/64")))
        renderer = cls.network.host("renderer", Link("lan", (f"{RENDERER}/16",), ipv6=False))
        start_http(renderer, Site(RENDERER, PORT, {"/description.xml": Page("", manner="silence")}))
        start_ssdp_simulator(renderer, SsdpCrowd((SsdpDevice(RENDERER, "renderer", (RENDERER_TYPE,)),)))

    def start(self, *options: str) -> subprocess.Popen[bytes]:
        """The process is the program itself: ip(8) becomes what it executes."""
        environment = {**os.environ, "LC_ALL": "C.UTF-8", "QT_QPA_PLATFORM": "offscreen",
                       "HOME": str(self.client.folder), "XDG_RUNTIME_DIR": str(self.client.folder)}
        process = subprocess.Popen(self.client.command(os.environ["SONDRIX_PROGRAM"], *options), env=environment,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def assert_sockets(self, sightings: list[Sighting], windows: dict[str, int]) -> None:
        """Each socket is of a kind that a provider needs, and goes with its window. There are so many of each kind."""
        counts = dict.fromkeys(windows, 0)
        for sighting in sightings:
            kind = self.kind_of(sighting)
            self.assertIn(kind, windows, sighting)
            counts[kind] += 1
            self.assertLessEqual(sighting.seconds, self.longest(kind) + MARGIN_SECONDS, sighting)
        self.assertEqual(counts, windows)

    @staticmethod
    def kind_of(sighting: Sighting) -> str:
        entry = sighting.socket
        if entry.table in ("udp", "udp6") and entry.port == MDNS_PORT:
            return f"mDNS, {entry.table}"
        if entry.table == "udp" and entry.port == SAP_PORT:
            return "SAP"
        if entry.table == "udp" and entry.port in EPHEMERAL:
            return "search"
        if entry.table == "tcp" and entry.port in EPHEMERAL and not entry.is_listening:
            return "connection"
        return f"{entry.table} {entry.port}" + (", listening" if entry.is_listening else "")

    @staticmethod
    def longest(kind: str) -> float:
        if kind == "connection":
            return FETCH_SECONDS["upnp-dlna"]
        names = {"SAP": ["sap-aes67"], "search": ["ssdp", "upnp-dlna", "roku", "onvif"]}.get(kind, ["mdns"])
        return max(WINDOW_SECONDS[name] for name in names)

    def test_window(self) -> None:
        begin = time.monotonic()
        process = self.start()
        pass_seconds = sum(WINDOW_SECONDS[name] for name in WINDOW_PASS) + FETCH_SECONDS["upnp-dlna"]
        # The machine may hold the program up, before its pass and in it.
        latest = FIRST_PASS_SECONDS + pass_seconds + 4 * MARGIN_SECONDS
        end = begin + latest + QUIET_SECONDS
        sightings, looks = watch_sockets(process.pid, begin, lambda: time.monotonic() > end)
        self.assertIsNone(process.poll(), "the window closed")
        self.assertGreater(looks, 100)
        self.assertGreaterEqual(min(sighting.first for sighting in sightings), FIRST_PASS_SECONDS)
        self.assertLessEqual(max(sighting.last for sighting in sightings), latest)
        self.assert_sockets(sightings, {"mDNS, udp": 3, "mDNS, udp6": 3, "search": 3, "connection": 1})

    def test_console_with_write_configuration(self) -> None:
        begin = time.monotonic()
        process = self.start("--scan-once", "--json", "--config", str(write_configuration(self.client)))
        sightings, looks = watch_sockets(process.pid, begin, lambda: process.poll() is not None)
        self.assertEqual(process.returncode, 0)
        self.assertGreater(looks, 100)
        self.assert_sockets(sightings, {"mDNS, udp": 3, "mDNS, udp6": 3, "search": 4, "connection": 1, "SAP": 1})
