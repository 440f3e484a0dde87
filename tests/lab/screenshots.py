"""Takes pictures of the window in a studio; scripts/screenshot.sh starts it.

SONDRIX_LAB_SCREENSHOTS names the folder for them, SONDRIX_LAB_SCREEN the size of the screen and the
scale of the window on it, as in 1920x1080@2.
"""

from __future__ import annotations

import os
from pathlib import Path

from sondrix_lab import studio
from sondrix_lab.case import LabTestCase
from sondrix_lab.studio import start_studio
from sondrix_lab.window import RIGHT, WINDOW_TOOLS, Window


class Screenshots(LabTestCase):
    tools = (*studio.TOOLS, *WINDOW_TOOLS, "import")

    @classmethod
    def build(cls) -> None:
        cls.scene = start_studio(cls.network)

    def test_pictures(self) -> None:
        folder = Path(os.environ["SONDRIX_LAB_SCREENSHOTS"])
        screen, _, scale = os.environ.get("SONDRIX_LAB_SCREEN", "1180x720").partition("@")
        width, _, height = screen.partition("x")
        window = Window(self.scene.client, self.scene.environment, (int(width), int(height)), int(scale or 1))
        self.addCleanup(window.kill)
        window.await_end_of_pass()
        window.click("row Outputs 4")
        window.await_state(lambda state: state["details"].startswith("Name: Lobby Screen"))
        window.picture(folder / "window.png")
        window.click("tab Raw JSON")
        window.picture(folder / "raw-json.png")
        window.click("tab Details")
        window.click("row Inputs 1", RIGHT)
        window.await_state(lambda state: state["menu"])
        window.picture(folder / "context-menu.png")
        window.press_key("Escape")
        self.assertEqual(window.close(), (0, "", ""))
