"""Shows the program among the studio's devices; scripts/demo.sh starts it.

SONDRIX_LAB_DEMO is "window", for a window on the screen of DISPLAY until somebody closes it, or "json", for
a report on standard output. What is said on the way goes to standard error.
"""

from __future__ import annotations

import json
import os
import subprocess
import sys
from pathlib import Path

from sondrix_lab import studio
from sondrix_lab.case import LabTestCase
from sondrix_lab.schema import faults
from sondrix_lab.studio import start_studio

SAMPLE = Path(__file__).parents[2] / "docs" / "sample-config.json"
DEVICES = 12  # of the studio, and the configuration's seeds


def say(text: str) -> None:
    print(text, file=sys.stderr, flush=True)


class Demo(LabTestCase):
    tools = studio.TOOLS

    @classmethod
    def build(cls) -> None:
        say("Starting a network of its own, with a media server, a renderer, a Roku player, Cast and AirPlay\n"
            "receivers, an NMOS node, a camera, NDI sources, a stage box and an AES67 session ...")
        cls.scene = start_studio(cls.network)

    def test_demonstration(self) -> None:
        if os.environ["SONDRIX_LAB_DEMO"] == "json":
            say("\nOne pass with every provider takes some ten seconds ...")
            output = self.run_program("--scan-once", "--json", "--config", str(SAMPLE), stdout=subprocess.PIPE)
            report = json.loads(output)
            self.assertEqual(faults(report), [])
            self.assertGreaterEqual(report["deviceCount"], DEVICES)
            print(output, end="", flush=True)
        else:
            say("\nThe window opens and searches by itself after a second. Close it to end the demonstration.")
            self.run_program()

    def run_program(self, *options: str, **streams) -> str:
        runtime = self.scene.client.folder / "runtime"
        runtime.mkdir(mode=0o700)
        # The report comes in the locale's encoding.
        environment = {**os.environ, **self.scene.environment, "LC_ALL": "C.UTF-8", "QT_QPA_PLATFORM": "xcb",
                       "XDG_RUNTIME_DIR": str(runtime)}
        done = subprocess.run(self.scene.client.command(os.environ["SONDRIX_PROGRAM"], *options), env=environment,
                              stdin=subprocess.DEVNULL, encoding="utf-8", check=False, **streams)
        self.assertEqual(done.returncode, 0)
        return done.stdout
