"""The program's window on a screen of its own (Xvfb), with a mouse and a keyboard (xdotool)."""

from __future__ import annotations

import json
import os
import select
import shutil
import socket
import subprocess
import time
from collections.abc import Callable
from pathlib import Path

from sondrix_lab.network import READY_TIMEOUT_SECONDS, Host
from sondrix_lab.responders import TOOLS

TOOLS.update({
    "Xvfb": (lambda: shutil.which("Xvfb"), "xvfb"),
    "import": (lambda: shutil.which("import"), "imagemagick"),
    "xdotool": (lambda: shutil.which("xdotool"), "xdotool"),
    # Qt draws no letters without a font.
    "fonts": (lambda: next(Path("/usr/share/fonts").rglob("DejaVuSans.ttf"), None), "fonts-dejavu-core"),
})
WINDOW_TOOLS = ("Xvfb", "xdotool", "fonts")

DISPLAY = ":0"  # of the host; its socket is abstract, and so belongs to the host's namespace
STANDARD_DPI = 96  # at which Qt scales nothing
LEFT, RIGHT = "1", "3"  # mouse buttons
# Only a hanging program takes that long: a pass with all providers ends after some ten seconds.
ANSWER_TIMEOUT_SECONDS = 60
POLL_SECONDS = 0.05
# From build/…/app/CorvaneTVSondrix to the plugin that answers for the window.
PLUGINS = Path("..", "..", "tests", "window_remote", "plugins")


class Window:
    """A window as large as its screen. Everything in it is done with the mouse and the keyboard."""

    def __init__(self, host: Host, environment: dict[str, str], size: tuple[int, int] = (1180, 720),
                 scale: int = 1) -> None:
        self.host = host
        self.environment = {**os.environ, **environment, "DISPLAY": DISPLAY}
        self._start_screen(size, scale)
        self._start_program()
        self._tool("xdotool", "search", "--sync", "--onlyvisible", "--name", "CorvaneTVSondrix",
                   "windowsize", "--sync", *map(str, size), "windowfocus", "--sync")

    def _start_screen(self, size: tuple[int, int], scale: int) -> None:
        width, height = size
        command = self.host.command(
            "Xvfb", DISPLAY, "-displayfd", "1", "-nolock", "-nolisten", "tcp", "-nolisten", "unix", "-listen", "local",
            "-screen", "0", f"{width}x{height}x24", "-dpi", str(STANDARD_DPI * scale))
        self._screen = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL)
        assert self._screen.stdout is not None
        readable, _, _ = select.select([self._screen.stdout], [], [], READY_TIMEOUT_SECONDS)
        if not readable or not self._screen.stdout.readline():
            raise RuntimeError("Xvfb did not come up")

    def _start_program(self) -> None:
        program = Path(os.environ["SONDRIX_PROGRAM"])
        runtime = self.host.folder / "runtime"
        address = str(self.host.folder / "window")
        # Neither a desktop's message bus nor its graphics driver has a part in the window.
        environment = {**self.environment, "DBUS_SESSION_BUS_ADDRESS": f"unix:path={runtime}/no-bus",
                       "QT_XCB_GL_INTEGRATION": "none", "LC_ALL": "C.UTF-8", "TZ": "UTC", "QT_QPA_PLATFORM": "xcb",
                       "QT_PLUGIN_PATH": str((program / PLUGINS).resolve()),
                       "QT_QPA_GENERIC_PLUGINS": f"windowremote:{address}", "XDG_RUNTIME_DIR": str(runtime)}
        runtime.mkdir(mode=0o700)
        with socket.socket(socket.AF_UNIX) as server:
            server.bind(address)
            server.listen()
            server.settimeout(READY_TIMEOUT_SECONDS)
            self._program = subprocess.Popen(self.host.command(str(program)), env=environment,
                                            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            self._remote, _ = server.accept()
        os.unlink(address)
        self._remote.settimeout(ANSWER_TIMEOUT_SECONDS)
        self._answers = self._remote.makefile("r", encoding="utf-8")

    def _tool(self, *command: str) -> None:
        done = self.host.run(*command, env=self.environment, timeout=ANSWER_TIMEOUT_SECONDS)
        if done.returncode:
            raise RuntimeError(f"{' '.join(command)}: {done.stderr.strip()}")

    def ask(self, question: str) -> str:
        """The program's answer; while it blocks, that waits."""
        self._remote.sendall(question.encode("utf-8") + b"\n")
        return self._answers.readline().rstrip("\n")

    def state(self) -> dict:
        """The texts that the window shows."""
        return json.loads(self.ask("state"))

    def await_state(self, holds: Callable[[dict], bool]) -> dict:
        deadline = time.monotonic() + ANSWER_TIMEOUT_SECONDS
        while not holds(state := self.state()):
            if time.monotonic() > deadline:
                raise AssertionError(f"the window stays at {state}")
            time.sleep(POLL_SECONDS)
        return state

    def await_end_of_pass(self) -> dict:
        """The window as a pass that found something leaves it, for two and a half seconds."""
        return self.await_state(lambda state: state["activity"].startswith("Added/updated "))

    def click(self, place: str, button: str = LEFT) -> None:
        """Presses and releases a mouse button there; the place is put as the plugin knows it."""
        x, y = self.ask(f"where {place}").split()
        self._tool("xdotool", "mousemove", "--sync", x, y, "click", button)

    def type(self, text: str) -> None:
        self._tool("xdotool", "type", "--delay", "5", text)

    def press_key(self, name: str) -> None:
        self._tool("xdotool", "key", name)

    def picture(self, path: Path) -> None:
        """Writes what is on the screen as PNG, without times in it."""
        self._tool("import", "-window", "root", "-define", "png:exclude-chunks=date,time", "-strip", str(path))

    def close(self) -> tuple[int, str, str]:
        """The program's exit status, and what it said on standard output and standard error."""
        self.ask("close")
        output, errors = self._program.communicate(timeout=ANSWER_TIMEOUT_SECONDS)
        return self._program.returncode, output.decode("utf-8"), errors.decode("utf-8", "replace")

    def kill(self) -> None:
        """Ends what is left of the program and its screen."""
        self._answers.close()
        self._remote.close()
        for process in (self._program, self._screen):
            process.kill()
            process.communicate()
