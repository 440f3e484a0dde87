"""One process searches again and again: what it holds after the last pass is what it held after the tenth.

SONDRIX_SOAK_PASSES lengthens it.
"""

from __future__ import annotations

import os
import subprocess
from pathlib import Path

from sondrix_lab import studio
from sondrix_lab.case import LabTestCase
from sondrix_lab.studio import NODE, start_studio

PASSES = int(os.environ.get("SONDRIX_SOAK_PASSES", "40"))
SETTLED_PASS = 10
SECONDS_PER_PASS = 10
# From build/…/app/CorvaneTVSondrix to the program that does it.
SOAK = Path("..", "..", "tests", "lab", "window_soak")
# What the allocator and Qt's caches may keep: less than two kilobytes for each of three hundred passes.
SLACK_KIB = 512


class SoakTest(LabTestCase):
    tools = studio.TOOLS

    @classmethod
    def build(cls) -> None:
        scene = start_studio(cls.network)
        program = (Path(os.environ["SONDRIX_PROGRAM"]) / SOAK).resolve()
        command = scene.client.command(str(program), str(PASSES),
                                       f"http://{NODE.address}:{NODE.port}/x-nmos/node/v1.3")
        runtime = scene.client.folder / "runtime"
        runtime.mkdir(mode=0o700)
        # Each fetch has a thread of Qt's, and glibc gives new threads memory areas of their own until there
        # are eight for each processor; one for all shows what is kept.
        environment = {**os.environ, **scene.environment, "LC_ALL": "C.UTF-8", "MALLOC_ARENA_MAX": "1",
                       "QT_QPA_PLATFORM": "offscreen", "XDG_RUNTIME_DIR": str(runtime)}
        cls.done = subprocess.run(command, env=environment, capture_output=True, text=True, encoding="utf-8",
                                  check=False, timeout=PASSES * SECONDS_PER_PASS)
        cls.passes = [line.split(" ", 3) for line in cls.done.stdout.splitlines()]
        for number, descriptors, resident, _ in (cls.passes[SETTLED_PASS - 1], cls.passes[-1]):
            print(f"{descriptors} descriptors and {resident} KiB after pass {number}")

    def test_every_pass_ran(self) -> None:
        self.assertEqual(self.done.returncode, 0, self.done.stderr)
        self.assertEqual([int(row[0]) for row in self.passes], list(range(1, PASSES + 1)))

    def test_devices(self) -> None:
        """Windows so short miss some answers; over the passes nothing is missing, and nothing doubled."""
        self.assertEqual(self.passes[-1][3].split(" | ")[0], "11 devices")

    def test_descriptors(self) -> None:
        self.assertLessEqual(int(self.passes[-1][1]), int(self.passes[SETTLED_PASS - 1][1]))

    def test_memory(self) -> None:
        self.assertLessEqual(int(self.passes[-1][2]), int(self.passes[SETTLED_PASS - 1][2]) + SLACK_KIB)
