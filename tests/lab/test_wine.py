"""The program for Windows, under Wine, finds in a studio what the program for Linux finds there."""

from __future__ import annotations

import os
import subprocess
from pathlib import Path

from sondrix_lab import studio
from sondrix_lab.case import LabTestCase
from sondrix_lab.passes import PASS_TIMEOUT_SECONDS, PROVIDERS, in_any_pass, run_pass
from sondrix_lab.responders import await_quiet
from sondrix_lab.schema import faults
from sondrix_lab.studio import start_studio
from sondrix_lab.wine import LINE_END, PROGRAM_VARIABLE, add_gateway, install_program, run_wine, windows_path

CONFIGURATION = Path(__file__).resolve().parent.parent.parent / "docs" / "sample-config.json"
DEVICES = 12


def windows_lines(text: bytes) -> bytes:
    return text.replace(b"\n", LINE_END.encode("ascii"))


class WineTest(LabTestCase):
    """One pass of each program, one after the other, with every provider on."""

    tools = studio.TOOLS
    maxDiff = None
    command: list[str]
    # The report of the program for Windows; `report` is that of the program for Linux.
    windows_report: dict

    @classmethod
    def build(cls) -> None:
        # Only a build for Windows registers this test, so that what it lacks is a failure.
        if PROGRAM_VARIABLE not in os.environ:
            raise AssertionError("no program for Windows; --windows-program names one")
        scene = start_studio(cls.network)
        cls.client = scene.client
        add_gateway(cls.client)
        cls.command = run_wine(str(install_program(cls.client)))
        cls.report = run_pass(cls.client, "--config", str(CONFIGURATION), environment=scene.environment).report
        await_quiet(cls.client)
        sources = windows_path(Path(scene.environment["LAB_NDI_SOURCES"]))
        cls.windows_report = run_pass(cls.client, "--config", windows_path(CONFIGURATION), program=cls.command,
                                      environment={"LAB_NDI_SOURCES": sources}, line_end=LINE_END).report

    def test_schema(self) -> None:
        self.assertEqual(faults(self.windows_report), [])

    def test_frame(self) -> None:
        def frame(report: dict) -> dict:
            return {key: value for key, value in report.items()
                    if key not in ("devices", "providers", "lastScanUtc")}
        self.assertEqual(frame(self.windows_report), frame(self.report))
        self.assertEqual(self.windows_report["deviceCount"], DEVICES)

    def test_rows(self) -> None:
        for report in (self.report, self.windows_report):
            self.assert_providers(report, *PROVIDERS)

    def test_no_device_more_or_less(self) -> None:
        hostnames = [device["hostname"] for device in self.report["devices"]]
        self.assertEqual(len(hostnames), DEVICES)
        self.assert_hostnames(self.windows_report, *hostnames)

    def test_devices(self) -> None:
        expected, found = ({device["stableKey"]: in_any_pass(device) for device in report["devices"]}
                           for report in (self.report, self.windows_report))
        self.assertEqual(list(found), list(expected))
        for key, device in expected.items():
            with self.subTest(device=key):
                self.assertEqual(found[key], device)

    def test_console_error(self) -> None:
        status, output, errors = self.outcome([os.environ["SONDRIX_PROGRAM"]], "--enable", "bogus")
        self.assertEqual((status, output), (2, b""))
        self.assertRegex(errors, rb"^Invalid discovery configuration: unknown discovery provider 'bogus'[^\n]*\n\Z")
        self.assertEqual(self.outcome(self.command, "--enable", "bogus"), (status, output, windows_lines(errors)))

    def outcome(self, program: list[str], *options: str) -> tuple[int, bytes, bytes]:
        """Exit status, standard output and standard error."""
        done = subprocess.run(self.client.command(*program, "--scan-once", *options), stdin=subprocess.DEVNULL,
                              capture_output=True, check=False, timeout=PASS_TIMEOUT_SECONDS)
        return done.returncode, done.stdout, done.stderr
