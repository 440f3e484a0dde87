"""HTTP answers that are meant to hold the program up, to fill its memory or to overrun its parsers.

Only the providers that fetch by HTTP run, and SSDP, which knows the hosts that cannot be described.
"""

from __future__ import annotations

import json
from pathlib import Path

from sondrix_lab.case import LabTestCase
from sondrix_lab.hostile_http import PORT
from sondrix_lab.http_host import Page
from sondrix_lab.measured_pass import MeasuredPass, has_sanitizers, print_figures, run_measured_pass
from sondrix_lab.media_peers import Site, start_http, start_nmos_node
from sondrix_lab.network import Host, Link
from sondrix_lab.passes import FETCH_SECONDS, WINDOW_SECONDS, write_configuration
from sondrix_lab.responders import SsdpCrowd, SsdpDevice, start_ssdp_simulator

RENDERER_TYPE = "urn:schemas-upnp-org:device:MediaRenderer:1"
ROKU_TARGET = "roku:ecp"
DESCRIPTION_PATH, DEVICE_INFO_PATH, NODE_PATH = "/description.xml", "/query/device-info", "/x-nmos/node/v1.3"
# What the program takes of one answer, in bytes.
DESCRIPTION_LIMIT, DEVICE_INFO_LIMIT, JSON_LIMIT = 524288, 131072, 1048576
# Qt's reader of JSON takes 1024 levels, and Python's, which reads the report, somewhat less.
JSON_LEVELS_TAKEN, JSON_LEVELS_REFUSED = 800, 1100
PROVIDERS = ("ssdp", *FETCH_SECONDS)
PEAK_BYTES = 300_000_000
# For the start of the program and a busy machine; less than one more fetch for each provider would take.
MARGIN_SECONDS = 2.0

GOOD = {"upnp-dlna": "10.77.2.1", "roku": "10.77.3.1", "nmos": "10.77.4.1"}
# Hosts at which every answer is of one manner, by provider.
ENDLESS = {manner: {"upnp-dlna": f"10.77.2.1{number}", "roku": f"10.77.3.1{number}", "nmos": f"10.77.4.1{number}"}
           for number, manner in enumerate(("drip", "body", "chunks", "header"))}
BOMB = {"upnp-dlna": "10.77.2.19", "roku": "10.77.3.19", "nmos": "10.77.4.19"}
SECRET = "a line of a file on the client"


def description(name: str, before: str = "", inside: str = "") -> str:
    return (f'<?xml version="1.0"?>{before}<root xmlns="urn:schemas-upnp-org:device-1-0">{inside}<device>'
            f"<deviceType>{RENDERER_TYPE}</deviceType><friendlyName>{name}</friendlyName></device></root>")


def device_info(name: str, before: str = "", inside: str = "") -> str:
    return (f'<?xml version="1.0"?>{before}<device-info>{inside}<friendly-device-name>{name}</friendly-device-name>'
            "</device-info>")


def nested(depth: int, element: str = "a") -> str:
    return f"<{element}>" * depth + f"</{element}>" * depth


def billion_laughs() -> str:
    entities = "".join(f'<!ENTITY l{number} "{f"&l{number - 1};" * 10}">' for number in range(1, 10))
    return f'<!DOCTYPE root [<!ENTITY l0 "lol">{entities}]>'


def file_entity(path: Path) -> str:
    return f'<!DOCTYPE root [<!ENTITY file SYSTEM "file://{path}">]>'


def nested_object(depth: int) -> str:
    return '{"id":"deep","label":"Deep Node","a":' + '{"a":' * (depth - 1) + "0" + "}" * depth


class HostileHttpCase(LabTestCase):
    """Pages at addresses of their own, with a good device of each kind behind all the bad ones."""

    crowd: Host
    result: MeasuredPass
    # By provider, what stands at which address; and what the manners of `hostile_http.py` are at others.
    renderers: dict[str, str] = {}
    players: dict[str, str] = {}
    nodes: dict[str, str] = {}
    manners: dict[str, dict[str, str]] = {}
    # The providers of which one fetch runs into its limit for sure, and of which one may.
    held_up: tuple[str, ...] = ()
    may_hold_up: tuple[str, ...] = ()

    @classmethod
    def build(cls) -> None:
        cls.network.bridge()
        cls.client = cls.network.host("client", Link("lan", ("10.77.0.2/16",), ipv6=False))
        secret = cls.client.folder / "secret"
        secret.write_text(SECRET, "utf-8")
        cls.prepare(secret)
        hostile = {provider: [sites[provider] for sites in cls.manners.values()] for provider in GOOD}
        renderers = [*hostile["upnp-dlna"], *cls.renderers, GOOD["upnp-dlna"]]
        players = [*hostile["roku"], *cls.players, GOOD["roku"]]
        nodes = [*hostile["nmos"], *cls.nodes, GOOD["nmos"]]
        addresses = tuple(f"{address}/16" for address in (*renderers, *players, *nodes))
        cls.crowd = cls.network.host("crowd", Link("lan", addresses, ipv6=False))
        pages = {**{address: (DESCRIPTION_PATH, text) for address, text in cls.renderers.items()},
                 **{address: (DEVICE_INFO_PATH, text) for address, text in cls.players.items()},
                 **{address: (f"{NODE_PATH}/self", text) for address, text in cls.nodes.items()},
                 GOOD["upnp-dlna"]: (DESCRIPTION_PATH, description("Good Renderer")),
                 GOOD["roku"]: (DEVICE_INFO_PATH, device_info("Good Player"))}
        start_http(cls.crowd, *(Site(address, PORT, {path: Page(text)}) for address, (path, text) in pages.items()))
        start_nmos_node(cls.crowd, GOOD["nmos"], PORT, "Good Node")
        if cls.manners:
            sites = {address: manner for manner, each in cls.manners.items() for address in each.values()}
            cls.crowd.start_module("sondrix_lab.hostile_http", json.dumps(sites))
        devices = [SsdpDevice(address, address, (RENDERER_TYPE,)) for address in renderers]
        devices += [SsdpDevice(address, address, (ROKU_TARGET,)) for address in players]
        start_ssdp_simulator(cls.crowd, SsdpCrowd(tuple(devices)))
        seeds = [f"http://{address}:{PORT}{NODE_PATH}" for address in nodes]
        configuration = write_configuration(cls.client, PROVIDERS, seeds)
        cls.result = run_measured_pass(cls.client, "--config", str(configuration))
        cls.report = cls.result.report
        print_figures(cls.result)

    @classmethod
    def prepare(cls, secret: Path) -> None:
        """Fills in what depends on a file of the client."""

    def assert_pass(self) -> None:
        """All windows run out, and each fetch that is held up runs into its limit, and no further."""
        limits = sum(WINDOW_SECONDS[name] for name in PROVIDERS)
        limits += sum(FETCH_SECONDS[name] for name in self.held_up)
        self.assertGreaterEqual(self.result.seconds, limits)
        limits += sum(FETCH_SECONDS[name] for name in self.may_hold_up)
        if not has_sanitizers():  # under which the program cannot keep up with a peer
            self.assertLessEqual(self.result.own_seconds, limits + MARGIN_SECONDS)

    def assert_small(self) -> None:
        if has_sanitizers():
            self.skipTest("the sanitizers hold a multiple of the program's own memory")
        self.assertLess(self.result.peak_bytes, PEAK_BYTES)

    def assert_rows(self, **errors: str) -> None:
        rows = {name: error for name, (_, error) in self.result.rows().items()}
        self.assertEqual(rows, {name: errors.get(name, "") for name in PROVIDERS})

    def assert_good_devices(self) -> None:
        names = {name: self.result.device(address)["displayName"] for name, address in GOOD.items()}
        self.assertEqual(names, {"upnp-dlna": "Good Renderer", "roku": "Good Player", "nmos": "Good Node"})

    def assert_not_described(self, address: str) -> None:
        """The device is known by its answer to the search alone."""
        self.assertEqual(self.result.device(address)["displayName"], address)

    def assert_named(self, address: str, name: str) -> None:
        self.assertEqual(self.result.device(address)["displayName"], name)


class HostileDocumentsTest(HostileHttpCase):
    """Documents that come whole, and in time."""

    (deep, deeper, unclosed, laughs, file, in_field) = (f"10.77.2.{number}" for number in range(21, 27))
    (player_deep, player_laughs, player_file) = (f"10.77.3.{number}" for number in range(21, 24))
    (node_array, node_objects, node_deep, node_deeper) = (f"10.77.4.{number}" for number in range(21, 25))

    @classmethod
    def prepare(cls, secret: Path) -> None:
        room = (DESCRIPTION_LIMIT - 1000) // len("<a></a>")
        cls.renderers = {
            cls.deep: description("Deep", inside=nested(room)),
            cls.deeper: description("Deeper", inside=nested(200_000)),
            cls.unclosed: "<a>" * (DESCRIPTION_LIMIT // len("<a>")),
            cls.laughs: description("&l9;", billion_laughs()),
            cls.file: description("&file;", file_entity(secret)),
            cls.in_field: description(f"Field{nested(room)}"),
        }
        cls.players = {
            cls.player_deep: device_info("Deep", inside=nested((DEVICE_INFO_LIMIT - 1000) // len("<a></a>"))),
            cls.player_laughs: device_info("&l9;", billion_laughs()),
            cls.player_file: device_info("&file;", file_entity(secret)),
        }
        cls.nodes = {
            cls.node_array: "[" * JSON_LIMIT,
            cls.node_objects: '{"a":' * (JSON_LIMIT // len('{"a":')),
            cls.node_deep: nested_object(JSON_LEVELS_TAKEN),
            cls.node_deeper: nested_object(JSON_LEVELS_REFUSED),
        }

    def test_pass(self) -> None:
        self.assert_pass()

    def test_memory(self) -> None:
        self.assert_small()

    def test_rows(self) -> None:
        self.assert_rows()

    def test_good_devices(self) -> None:
        self.assert_good_devices()

    def test_nested_elements(self) -> None:
        self.assert_named(self.deep, "Deep")
        self.assert_named(self.player_deep, "Deep")

    def test_nested_elements_over_the_limit(self) -> None:
        self.assert_not_described(self.deeper)

    def test_nested_elements_without_end(self) -> None:
        self.assert_not_described(self.unclosed)

    def test_nested_elements_in_a_field(self) -> None:
        self.assert_named(self.in_field, "Field")

    def test_entities_that_grow(self) -> None:
        self.assert_not_described(self.laughs)
        self.assert_not_described(self.player_laughs)

    def test_entity_of_a_file(self) -> None:
        self.assertNotIn(SECRET, json.dumps(self.report))
        self.assert_not_described(self.file)
        self.assert_not_described(self.player_file)

    def test_nested_json(self) -> None:
        self.assert_named(self.node_deep, "Deep Node")
        hostnames = {device["hostname"] for device in self.report["devices"]}
        self.assertFalse(hostnames & {self.node_array, self.node_objects, self.node_deeper})


class SlowAnswerTest(HostileHttpCase):
    """Hosts that hold a fetch of each kind up until its limit."""

    manner = "drip"

    @classmethod
    def setUpClass(cls) -> None:
        cls.manners = {cls.manner: ENDLESS[cls.manner]}
        cls.held_up = tuple(ENDLESS[cls.manner])
        super().setUpClass()

    def test_pass(self) -> None:
        self.assert_pass()

    def test_memory(self) -> None:
        self.assert_small()

    def test_rows(self) -> None:
        self.assert_rows(nmos="timed out fetching NMOS resource")

    def test_devices(self) -> None:
        self.assert_good_devices()
        self.assert_not_described(ENDLESS[self.manner]["upnp-dlna"])
        self.assert_not_described(ENDLESS[self.manner]["roku"])


class EndlessHeaderTest(SlowAnswerTest):
    """Qt's thread cannot be called off while a header goes on, which must not hold the pass up."""

    manner = "header"


class EndlessAnswerTest(HostileHttpCase):
    """Bodies that are over every limit: a fetch ends when it has more than it takes, or when its time is over."""

    manner = "body"

    @classmethod
    def setUpClass(cls) -> None:
        cls.manners = {cls.manner: {**ENDLESS, "bomb": BOMB}[cls.manner]}
        cls.may_hold_up = tuple(cls.manners[cls.manner])
        super().setUpClass()

    def test_pass(self) -> None:
        self.assert_pass()

    def test_memory(self) -> None:
        self.assert_small()

    def test_devices(self) -> None:
        self.assert_good_devices()
        self.assert_not_described(self.manners[self.manner]["upnp-dlna"])
        self.assert_not_described(self.manners[self.manner]["roku"])


class EndlessChunksTest(EndlessAnswerTest):
    manner = "chunks"


class PackedAnswerTest(EndlessAnswerTest):
    """Qt unpacks a body before the program can look at its size, so that its memory is not bounded here."""

    manner = "bomb"

    test_memory = None
