"""The window on a screen, in a studio: it finds the devices by itself, and does what the mouse and the
keyboard ask of it."""

from __future__ import annotations

import json

from sondrix_lab import studio
from sondrix_lab.case import LabTestCase
from sondrix_lab.passes import in_any_pass, run_pass
from sondrix_lab.studio import CAMERA_SOURCE, SPEAKER, start_studio
from sondrix_lab.window import RIGHT, WINDOW_TOOLS, Window

# Without a configuration the window searches neither by ONVIF nor by SAP. The lists go by stable key.
INPUTS = [f"{CAMERA_SOURCE.name} (NDI)", "Clip Library (DLNA)"]
OUTPUTS = ["Gallery Monitor (Cast)", f"{SPEAKER} (RAOP)", "Green Room (AirPlay)", "Reception Player (ROKU)",
           "Lobby Screen (DLNA)"]
SUMMARY = "8 devices | 2 inputs | 5 outputs | 1 control-only | 0 offline"


class WindowTest(LabTestCase):
    """Each test begins with the window as its first pass left it, and leaves it so."""

    tools = (*studio.TOOLS, *WINDOW_TOOLS)
    window: Window
    # What the window showed before its first pass, and right after it.
    fresh: dict
    filled: dict

    @classmethod
    def build(cls) -> None:
        scene = start_studio(cls.network)
        cls.client = scene.client
        cls.report = run_pass(cls.client, environment=scene.environment).report
        cls.window = Window(cls.client, scene.environment)
        cls.addClassCleanup(cls.window.kill)
        cls.fresh = cls.window.state()
        cls.filled = cls.window.await_end_of_pass()

    @classmethod
    def tearDownClass(cls) -> None:
        """A program that said anything on the way, or ended badly, is an error of all tests."""
        ending = cls.window.close()
        if ending != (0, "", ""):
            raise AssertionError(f"the program ended with {ending}")

    def test_before_the_first_pass(self) -> None:
        self.assertEqual(self.fresh["title"], "CorvaneTVSondrix - www.corvane.example")
        self.assertEqual((self.fresh["activity"], self.fresh["activityState"]), ("Ready", "idle"))
        self.assertEqual((self.fresh["inputs"], self.fresh["outputs"]), ([], []))
        self.assertEqual(self.fresh["summary"], "0 devices | 0 inputs | 0 outputs | 0 control-only | 0 offline")

    def test_lists(self) -> None:
        self.assertEqual(self.filled["inputs"], INPUTS)
        self.assertEqual(self.filled["outputs"], OUTPUTS)

    def test_counts(self) -> None:
        self.assertEqual(self.filled["summary"], SUMMARY)
        numbers = [self.report[key] for key in ("deviceCount", "inputCount", "outputCount", "controlOnlyCount",
                                                "offlineCount")]
        self.assertEqual([int(part.split()[0]) for part in SUMMARY.split(" | ")], numbers)

    def test_indicator(self) -> None:
        self.assertEqual(self.filled["activityState"], "adding")
        self.window.await_state(lambda state: (state["activity"], state["activityState"]) == ("Ready", "idle"))

    def test_inspector(self) -> None:
        self.assertEqual((self.filled["details"], self.filled["rawJson"]), ("", ""))
        self.window.click("row Outputs 4")
        state = self.window.state()
        screen = next(device for device in self.report["devices"] if device["displayName"] == "Lobby Screen")
        shown = json.loads(state["rawJson"])
        self.assertEqual(in_any_pass(shown), in_any_pass(screen))
        lines = state["details"].split("\n")
        self.assertEqual(lines[:15], [
            "Name: Lobby Screen", f"Stable key: {screen['stableKey']}", f"ID: {studio.SCREEN}", "Provider: upnp",
            "Protocol: upnp", "Direction: output", "Status: Online", f"TTL seconds: {screen['ttlSeconds']}",
            "Capabilities: audio, video, control", "Vendor: Ivo Clarysse, Henner Zeller", "Model: gmediarender",
            "Serial: -", "Firmware: -", "Hostname: 10.77.0.4", "IPs: 10.77.0.4"])
        self.assertEqual([line.split(":")[0] for line in lines[15:20]],
                         ["First seen", "Last seen", "Last changed", "", "Endpoints"])
        self.assertEqual(lines[20:], [
            f"{endpoint['label']} | {endpoint['protocol']} | {endpoint['direction']} | {endpoint['url']}"
            for endpoint in shown["endpoints"]])

    def test_clicks_go_from_list_to_list(self) -> None:
        for row, name in (("Inputs 1", "Clip Library"), ("Outputs 0", "Gallery Monitor"), ("Inputs 1", "Clip Library"),
                          ("Inputs 0", CAMERA_SOURCE.name)):
            self.window.click(f"row {row}")
            self.assertEqual(self.window.state()["details"].split("\n")[0], f"Name: {name}")

    def test_search(self) -> None:
        self.window.click("search")
        self.window.type("10.77.0.4")
        state = self.window.await_state(lambda state: len(state["outputs"]) == 1)
        self.assertEqual((state["inputs"], state["outputs"]), ([], ["Lobby Screen (DLNA)"]))
        self.assertEqual((state["summary"], state["details"]), (SUMMARY, ""))
        self.window.press_key("ctrl+a")
        self.window.press_key("BackSpace")
        state = self.window.await_state(lambda state: state["inputs"])
        self.assertEqual((state["inputs"], state["outputs"]), (INPUTS, OUTPUTS))

    def test_removal_and_refresh(self) -> None:
        self.window.click("row Inputs 1", RIGHT)
        menu = self.window.await_state(lambda state: state["menu"])["menu"]
        self.assertEqual([entry["text"] for entry in menu], [
            "Copy Primary URL", "Copy All URLs", "Copy Device JSON", "Open Device Web UI", "", "Refresh This Device",
            "Remove Until Rediscovered"])
        self.assertTrue(all(entry["enabled"] for entry in menu))
        self.window.click("entry Remove Until Rediscovered")
        state = self.window.await_state(lambda state: not state["menu"])
        self.assertEqual((state["inputs"], state["outputs"]), (INPUTS[:1], OUTPUTS))
        self.assertEqual(state["summary"], "7 devices | 1 inputs | 5 outputs | 1 control-only | 0 offline")
        self.window.click("button Refresh")
        self.window.await_state(lambda state: state["activity"] == "Refreshing...")
        state = self.window.await_end_of_pass()
        self.assertEqual((state["inputs"], state["outputs"], state["summary"]), (INPUTS, OUTPUTS, SUMMARY))
