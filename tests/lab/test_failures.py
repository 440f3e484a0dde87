"""Peers that fail, in every way that a network offers: the pass goes on, and ends in its time."""

from __future__ import annotations

import contextlib
import ctypes
from xml.sax.saxutils import escape

from sondrix_lab.case import LabTestCase
from sondrix_lab.http_host import Page
from sondrix_lab.media_peers import (Camera, Site, build_ndi_runtime, ndi_environment, start_camera, start_http,
                                     start_nmos_node, start_roku, take_sap_port)
from sondrix_lab.network import Host, Link
from sondrix_lab.passes import FETCH_SECONDS, PROVIDERS, WINDOW_SECONDS, Pass, run_pass, write_configuration
from sondrix_lab.responders import SsdpCrowd, SsdpDevice, start_ssdp_simulator
from sondrix_lab.roku_player import device_info

RENDERER_TYPE = "urn:schemas-upnp-org:device:MediaRenderer:1"
ROKU_TARGET = "roku:ecp"
DESCRIPTION_PATH = "/description.xml"
DESCRIPTION_LIMIT = 524288
DEVICE_INFO_PATH = "/query/device-info"
PORT = 8080
# For the start of the program and a busy machine; no limit of a provider is as long.
MARGIN_SECONDS = 2.0

SILENT, RESETTING, SHORT, UNFINISHED, DRIPPING, OVERSIZED, MISSING, REDIRECTING, CLOSED, FULL, GOOD = (
    f"10.77.2.{number}" for number in range(1, 12))
ROKU_CLOSED, ROKU_SILENT, ROKU_SHORT, ROKU_GOOD = (f"10.77.3.{number}" for number in range(1, 5))
NODE_CLOSED, NODE_SILENT, NODE_MISSING, NODE_NO_JSON, NODE_PARTIAL, NODE_GOOD, NODE_ABSENT = (
    f"10.77.4.{number}" for number in range(1, 8))
CAMERA_CUT, CAMERA_GOOD = "10.77.5.1", "10.77.5.2"


def description(address: str, size: int = 0) -> str:
    """A device description, padded to a size in bytes."""
    head, tail = '<?xml version="1.0"?>\n<root xmlns="urn:schemas-upnp-org:device-1-0">', "</root>\n"
    body = (f"<device><deviceType>{RENDERER_TYPE}</deviceType><friendlyName>Renderer {escape(address)}</friendlyName>"
            f"<manufacturer>Lab</manufacturer><UDN>uuid:description-{address}</UDN></device>")
    padding = size - len(head + body + tail)
    return head + body + " " * padding + tail


def node_url(address: str) -> str:
    return f"http://{address}:{PORT}/x-nmos/node/v1.3"


def sites() -> list[Site]:
    """What stands behind the answers to the searches; nothing listens at the addresses that are closed."""
    whole = {address: description(address) for address in (SILENT, RESETTING, SHORT, UNFINISHED, DRIPPING)}
    pages = {
        SILENT: Page(whole[SILENT], manner="silence"),
        RESETTING: Page(whole[RESETTING], manner="reset"),
        SHORT: Page(whole[SHORT], manner="short"),
        UNFINISHED: Page(whole[UNFINISHED][:-len("/root>\n")]),
        DRIPPING: Page(whole[DRIPPING], manner="drip"),
        OVERSIZED: Page(description(OVERSIZED, DESCRIPTION_LIMIT + 1)),
        REDIRECTING: Page(f"http://{GOOD}:{PORT}{DESCRIPTION_PATH}", manner="redirect"),
        FULL: Page(description(FULL, DESCRIPTION_LIMIT)),
        GOOD: Page(description(GOOD)),
    }
    renderers = [Site(address, PORT, {DESCRIPTION_PATH: page}) for address, page in pages.items()]
    players = [Site(address, PORT, {DEVICE_INFO_PATH: Page(device_info("Lost Player", "X0LOST"), manner=manner)})
               for address, manner in ((ROKU_SILENT, "silence"), (ROKU_SHORT, "short"))]
    nodes = [Site(NODE_SILENT, PORT, {"/x-nmos/node/v1.3/self": Page("{}", "application/json", "silence")}),
             Site(NODE_NO_JSON, PORT, {"/x-nmos/node/v1.3/self": Page("[]", "application/json")}),
             Site(NODE_MISSING, PORT, {}), Site(MISSING, PORT, {})]
    return [*renderers, *players, *nodes]


class FailuresTest(LabTestCase):
    """Everything that can fail does so in one pass, beside one peer of each kind that does not."""

    tools = ("cc",)
    crowd: Host
    result: Pass

    @classmethod
    def build(cls) -> None:
        cls.network.bridge()
        cls.client = cls.machine("client", "10.77.0.2")
        renderers = (SILENT, RESETTING, SHORT, UNFINISHED, DRIPPING, OVERSIZED, MISSING, REDIRECTING, CLOSED, FULL,
                     GOOD)
        players = (ROKU_CLOSED, ROKU_SILENT, ROKU_SHORT)
        nodes = (NODE_CLOSED, NODE_SILENT, NODE_MISSING, NODE_NO_JSON, NODE_PARTIAL, NODE_GOOD)
        crowd = cls.machine("crowd", *renderers, *players, *nodes, CAMERA_CUT, CAMERA_GOOD)
        start_http(crowd, *sites())
        start_roku(cls.machine("player", ROKU_GOOD), ROKU_GOOD, "Good Player", "X0GOOD")
        start_nmos_node(crowd, NODE_PARTIAL, PORT, "Partial Node", {"flows": "silence", "receivers": "reset"})
        start_nmos_node(crowd, NODE_GOOD, PORT, "Good Node")
        for address, cut_at in ((CAMERA_CUT, -len("Envelope>\n")), (CAMERA_GOOD, 0)):
            start_camera(crowd, Camera(address, f"urn:uuid:{address}", f"http://{address}/onvif/device_service",
                                       cut_at=cut_at))
        devices = [SsdpDevice(address, f"renderer-{address}", (RENDERER_TYPE,)) for address in renderers]
        devices += [SsdpDevice(address, f"player-{address}", (ROKU_TARGET,)) for address in players]
        start_ssdp_simulator(crowd, SsdpCrowd(tuple(devices)))
        taker = take_sap_port(cls.client)
        cls.result = cls.run_pass(*PROVIDERS, environment=cls.refusing_ndi_runtime(),
                                  nmos=(NODE_CLOSED, NODE_SILENT, NODE_MISSING, NODE_NO_JSON, NODE_PARTIAL, NODE_GOOD))
        cls.report = cls.result.report
        taker.kill()
        taker.wait()

    @classmethod
    def machine(cls, name: str, *addresses: str) -> Host:
        return cls.network.host(name, Link("lan", tuple(f"{address}/16" for address in addresses), ipv6=False))

    @classmethod
    def run_pass(cls, *providers: str, nmos: tuple[str, ...] = (), environment: dict[str, str] | None = None) -> Pass:
        """A pass with only these providers, and these NMOS nodes."""
        configuration = write_configuration(cls.client, providers, [node_url(address) for address in nmos])
        return run_pass(cls.client, "--config", str(configuration), environment=environment)

    @classmethod
    def refusing_ndi_runtime(cls) -> dict[str, str]:
        folder = cls.client.folder / "refusing"
        build_ndi_runtime(folder)
        return {**ndi_environment(folder), "LAB_NDI_SOURCES": str(folder / "nowhere")}

    def assert_took(self, result: Pass, *fetches: str, without: tuple[str, ...] = ()) -> None:
        """All windows run out, but for those that did not open, and each fetch that is held up runs into its limit."""
        windows = sum(WINDOW_SECONDS[name] for name in result.rows() if name not in without)
        limits = windows + sum(FETCH_SECONDS[name] for name in fetches)
        self.assertGreaterEqual(result.seconds, limits)
        self.assertLessEqual(result.seconds, limits + MARGIN_SECONDS)

    def assert_only_found_by_search(self, address: str) -> None:
        device = self.result.device(address)
        self.assertEqual((device["provider"], device["displayName"], len(device["endpoints"])), ("ssdp", address, 1))
        self.assertNotIn("upnp.udn", device["protocolData"])

    def assert_described(self, address: str) -> None:
        device = self.result.device(address)
        self.assertEqual((device["provider"], device["displayName"], device["id"]),
                         ("upnp", f"Renderer {address}", f"uuid:description-{address}"))

    def assert_player_by_answer_alone(self, address: str) -> None:
        device, usn = self.result.device(address), f"uuid:player-{address}::{ROKU_TARGET}"
        self.assertEqual({key: device[key] for key in ("id", "displayName", "vendor", "model", "serial", "provider",
                                                       "ttlSeconds")},
                         {"id": usn, "displayName": address, "vendor": "Roku", "model": "", "serial": "",
                          "provider": "roku", "ttlSeconds": 1800})
        self.assertEqual([endpoint["id"] for endpoint in device["endpoints"]],
                         [f"{usn}:location", f"{usn}:ecp", f"{usn}:cast"])
        self.assertEqual(device["endpoints"][2]["url"], f"cast://{address}:{PORT}?type=roku")

    def test_rows(self) -> None:
        expected = {**dict.fromkeys(PROVIDERS, ("ok", "")),
                    "nmos": ("error", "Connection refused"),
                    "ndi": ("error", "NDI source finder could not be created"),
                    "sap-aes67": ("error", "The bound address is already in use")}
        self.assertEqual(list(self.result.rows().items()), list(expected.items()))

    def test_time_of_the_pass(self) -> None:
        # Four peers read the request and never answer, or never come to an end; and the flows of one node.
        self.assert_took(self.result, "upnp-dlna", "upnp-dlna", "roku", "nmos", "nmos", without=("sap-aes67",))

    def test_no_device_more_or_less(self) -> None:
        self.assert_hostnames(self.report, SILENT, RESETTING, SHORT, UNFINISHED, DRIPPING, OVERSIZED, MISSING,
                              REDIRECTING, CLOSED, FULL, GOOD, ROKU_CLOSED, ROKU_SILENT, ROKU_SHORT, ROKU_GOOD,
                              NODE_PARTIAL, NODE_GOOD, CAMERA_GOOD)

    def test_upnp_host_that_never_answers(self) -> None:
        self.assert_only_found_by_search(SILENT)

    def test_upnp_host_that_resets(self) -> None:
        self.assert_only_found_by_search(RESETTING)

    def test_connection_that_breaks_off(self) -> None:
        self.assert_only_found_by_search(SHORT)

    def test_description_that_breaks_off(self) -> None:
        self.assert_only_found_by_search(UNFINISHED)

    def test_description_that_comes_too_slowly(self) -> None:
        self.assert_only_found_by_search(DRIPPING)

    def test_description_over_the_limit(self) -> None:
        self.assert_only_found_by_search(OVERSIZED)

    def test_description_of_just_the_limit(self) -> None:
        self.assert_described(FULL)

    def test_description_that_is_not_there(self) -> None:
        self.assert_only_found_by_search(MISSING)

    def test_description_elsewhere(self) -> None:
        self.assert_only_found_by_search(REDIRECTING)

    def test_upnp_host_with_its_port_closed(self) -> None:
        self.assert_only_found_by_search(CLOSED)

    def test_upnp_host_behind_all_these(self) -> None:
        self.assert_described(GOOD)

    def test_roku_with_its_port_closed(self) -> None:
        self.assert_player_by_answer_alone(ROKU_CLOSED)

    def test_roku_that_never_answers(self) -> None:
        self.assert_player_by_answer_alone(ROKU_SILENT)

    def test_roku_whose_connection_breaks_off(self) -> None:
        self.assert_player_by_answer_alone(ROKU_SHORT)

    def test_roku_beside_all_these(self) -> None:
        device = self.result.device(ROKU_GOOD)
        self.assertEqual((device["displayName"], device["serial"]), ("Good Player", "X0GOOD"))

    def test_node_of_which_two_lists_fail(self) -> None:
        device = self.result.device(NODE_PARTIAL)
        data = device["protocolData"]
        counts = {key: len(data[f"nmos.{key}"]) for key in ("devices", "sources", "flows", "senders", "receivers")}
        self.assertEqual(counts, {"devices": 1, "sources": 3, "flows": 0, "senders": 3, "receivers": 0})
        self.assertEqual((device["displayName"], device["direction"], device["mediaKinds"]),
                         ("Partial Node", "input", ["control"]))
        self.assertEqual([set(endpoint["metadata"]) for endpoint in device["endpoints"]], [{"resource"}] * 3)

    def test_node_behind_all_these(self) -> None:
        device = self.result.device(NODE_GOOD)
        self.assertEqual((device["displayName"], device["direction"], len(device["endpoints"])),
                         ("Good Node", "inputOutput", 5))

    def test_camera_whose_answer_breaks_off(self) -> None:
        self.assertEqual([device["id"] for device in self.report["devices"] if device["provider"] == "onvif"],
                         [f"urn:uuid:{CAMERA_GOOD}"])

    def test_node_that_never_answers(self) -> None:
        result = self.run_pass("nmos", nmos=(NODE_SILENT, NODE_CLOSED, NODE_GOOD))
        self.assertEqual(result.rows(), {"nmos": ("error", "timed out fetching NMOS resource")})
        self.assert_hostnames(result.report, NODE_GOOD)
        self.assert_took(result, "nmos")

    def test_node_at_an_address_that_nobody_has(self) -> None:
        result = self.run_pass("nmos", nmos=(NODE_ABSENT, NODE_GOOD))
        self.assertEqual(result.rows(), {"nmos": ("error", "timed out fetching NMOS resource")})
        self.assert_hostnames(result.report, NODE_GOOD)
        self.assert_took(result, "nmos")

    def test_address_that_is_no_node(self) -> None:
        result = self.run_pass("nmos", nmos=(NODE_MISSING, NODE_GOOD))
        status, error = result.rows()["nmos"]
        self.assertEqual(status, "error")
        self.assertIn(f"{node_url(NODE_MISSING)}/self", error)
        self.assert_hostnames(result.report, NODE_GOOD)

    def test_node_without_an_object(self) -> None:
        result = self.run_pass("nmos", nmos=(NODE_NO_JSON, NODE_GOOD))
        self.assertEqual(result.rows(), {"nmos": ("ok", "")})
        self.assert_hostnames(result.report, NODE_GOOD)

    def test_sap_port_is_free_again(self) -> None:
        result = self.run_pass("sap-aes67")
        self.assertEqual(result.rows(), {"sap-aes67": ("ok", "")})
        self.assert_took(result)

    def test_ndi_runtime_that_is_absent(self) -> None:
        for name in ("libndi.so.6", "libndi.so.5"):
            with contextlib.suppress(OSError):
                self.skipTest(f"this machine has an NDI runtime: {ctypes.CDLL(name)}")
        self.assert_ndi_not_found({})

    def test_ndi_runtime_without_a_finder(self) -> None:
        folder = self.client.folder / "blind"
        build_ndi_runtime(folder, "-DLAB_NDI_WITHOUT_FINDER")
        self.assert_ndi_not_found(ndi_environment(folder))

    def assert_ndi_not_found(self, environment: dict[str, str]) -> None:
        """The last candidate is the one that the text speaks of, and the pass goes on behind it."""
        result = self.run_pass("ember", "ndi", "sap-aes67", environment=environment)
        rows = result.rows()
        status, error = rows.pop("ndi")
        self.assertEqual(rows, {"ember": ("ok", ""), "sap-aes67": ("ok", "")})
        self.assertEqual(status, "error")
        self.assertRegex(error, r"^NDI runtime was not found: .*libndi\.so\.5")
        self.assert_took(result)
