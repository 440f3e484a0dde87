"""The recipes of jq. A stand-in prints the sample report, for these need no network but its devices."""

from __future__ import annotations

import copy
import json

from sondrix_documents import case

REPORT_SECTION = "A report in a file"
CHANGES_SECTION = "What came and what went"
CAMERAS_SECTION = "The addresses of all cameras"
NAMES_IN_CHANGES = ("Reception Player", "Lobby Screen")
MENACE = "Lens\u001b[2J\n2\u009b"
MENACE_SHOWN = "Lens?[2J?2?"


def without(report: dict, name: str) -> dict:
    return {**report, "devices": [device for device in report["devices"] if device["displayName"] != name]}


class ReportTest(case.RecipeTestCase):
    """The real program, on a network of its own where nobody answers."""

    headings = (REPORT_SECTION,)
    tools = ("jq",)
    needs_sandbox = True

    def build(self) -> None:
        self.use_program()

    def test_blocks_as_they_stand(self) -> None:
        super().test_blocks_as_they_stand()
        self.assertEqual([path.name for path in self.folder.iterdir()], ["report.json"])
        report = json.loads((self.folder / "report.json").read_text("utf-8"))
        self.assertEqual((report["application"], report["devices"]), ("CorvaneTVSondrix", []))

    def test_failed_pass_keeps_the_last_report(self) -> None:
        (self.folder / "report.json").write_text("old", "utf-8")
        (self.programs / "CorvaneTVSondrix").unlink()
        # At a prompt nothing ends at the first command that fails.
        self.assertNotEqual(self.run_text("set +e\n" + self.block(REPORT_SECTION, 0)).returncode, 0)
        self.assertEqual((self.folder / "report.json").read_text("utf-8"), "old")


class CamerasTest(case.RecipeTestCase):
    headings = (CAMERAS_SECTION,)
    tools = ("jq",)

    def cameras(self, change) -> str:
        report = case.sample_report()
        camera = next(device for device in report["devices"] if "STUDIO-CAMERA" in device["displayName"])
        change(camera)
        self.use_report(report)
        return self.run_block(CAMERAS_SECTION, 0)

    def test_every_address(self) -> None:
        self.assertEqual(self.cameras(lambda camera: camera.update(addresses=["10.0.0.1", "fd77::1"])),
                         "10.0.0.1  STUDIO-CAMERA (Channel 1)\nfd77::1  STUDIO-CAMERA (Channel 1)\n")

    def test_host_name_in_place_of_an_address(self) -> None:
        self.assertEqual(self.cameras(lambda camera: camera.update(addresses=[], hostname="camera.local.")),
                         "camera.local.  STUDIO-CAMERA (Channel 1)\n")

    def test_rtsp_counts_and_nothing_else_does(self) -> None:
        def keep(protocol: str):
            return lambda camera: camera.update(endpoints=[{**camera["endpoints"][0], "protocol": protocol}])

        self.assertEqual(self.cameras(keep("rtsp")), "10.77.0.10  STUDIO-CAMERA (Channel 1)\n")
        self.assertEqual(self.cameras(keep("http")), "")

    def test_terminal_is_not_commanded(self) -> None:
        self.assertEqual(self.cameras(lambda camera: camera.update(displayName=MENACE)),
                         f"10.77.0.10  {MENACE_SHOWN}\n")


class ChangesTest(case.RecipeTestCase):
    """Between the two passes one device goes and one comes."""

    headings = (CHANGES_SECTION,)
    tools = ("jq",)

    def build(self) -> None:
        sample = case.sample_report()
        self.passes = [without(sample, name) for name in NAMES_IN_CHANGES]

    def before(self, heading: str, number: int) -> None:
        self.use_report(self.passes[number])

    def changes(self) -> str:
        for number in range(2):
            self.before(CHANGES_SECTION, number)
            output = self.run_block(CHANGES_SECTION, number)
        return output

    def test_same_devices(self) -> None:
        self.passes[1] = self.passes[0]
        self.assertEqual(self.changes(), "")

    def test_provider_that_failed(self) -> None:
        self.passes[1] = copy.deepcopy(self.passes[0])
        self.passes[1]["providers"][1].update(status="error", error="The address is already in use")
        self.assertRegex(self.changes(), r"\Anote  .*not the same providers ran.*\n\Z")

    def test_terminal_is_not_commanded(self) -> None:
        new = next(device for device in self.passes[1]["devices"] if device["displayName"] == NAMES_IN_CHANGES[0])
        new["displayName"] = MENACE
        self.assertEqual(self.changes().splitlines()[0], f"came  {MENACE_SHOWN}  device-id:s00x01900ab0005")


class ReadmeTest(case.RecipeTestCase):
    """The pipe of the README, with a stand-in for the script that builds the program first."""

    document = "README.md"
    headings = ("Report",)
    tools = ("jq",)

    def build(self) -> None:
        case.write_report(self.scratch / "network.json", case.sample_report())
        (self.folder / "scripts").mkdir()
        case.write_stand_in(self.folder / "scripts" / "run.sh", self.scratch / "network.json")
        self.environment["LC_ALL"] = "C.UTF-8"

    def test_blocks_as_they_stand(self) -> None:
        self.assertEqual(len(case.steps_of(self.document, "Report")), 1)
        lines = [line.split("\t") for line in self.run_block("Report", 0).splitlines()]
        self.assertEqual(len(lines), case.sample_report()["deviceCount"])
        self.assertEqual({len(fields) for fields in lines}, {3})
        self.assertIn(["Clip Library", "upnp", "10.77.0.3"], lines)
