"""The lab itself: whatever way a run ends, it leaves nothing behind."""

from __future__ import annotations

import os
import signal
import subprocess
import sys
import time
from pathlib import Path

from sondrix_lab import sandbox
from sondrix_lab.case import LabTestCase
from sondrix_lab.network import PACKAGE_PARENT

ENDING = "sondrix_lab.endings.Ending"
KILLED_PROCESSES_GONE_SECONDS = 10


class LeftoversTest(LabTestCase):
    """Runs inside a run: in its own sandbox this test sees every process that they could leave."""

    tools = ("avahi-daemon",)

    @classmethod
    def build(cls) -> None:
        pass

    def setUp(self) -> None:
        before = self.surroundings()
        self.addCleanup(lambda: self.assertEqual(self.surroundings(), before))

    @staticmethod
    def surroundings() -> dict[str, object]:
        def output(*command: str) -> str:
            return subprocess.run(command, capture_output=True, text=True, check=True).stdout

        return {"links": output("ip", "-o", "link"), "namespaces": output("ip", "netns", "list"),
                "mounts": Path("/proc/self/mountinfo").read_text("utf-8"),
                "files": sorted(map(str, Path("/run").rglob("*"))),
                "compiled": list(Path(PACKAGE_PARENT).rglob("__pycache__"))}

    @staticmethod
    def start(test: str) -> subprocess.Popen[str]:
        environment = {key: value for key, value in os.environ.items() if key != sandbox.INSIDE_VARIABLE}
        return subprocess.Popen([sys.executable, "-B", "-m", "sondrix_lab", f"{ENDING}.{test}"], env=environment,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, cwd=PACKAGE_PARENT)

    def assert_no_process_left(self) -> None:
        """Orphans become children of this process, the first one of its sandbox."""
        self.assertEqual(os.getpid(), 1)
        deadline = time.monotonic() + KILLED_PROCESSES_GONE_SECONDS
        while time.monotonic() < deadline:
            try:
                os.waitpid(-1, os.WNOHANG)
            except ChildProcessError:
                break
            time.sleep(0.01)
        processes = [name for name in os.listdir("/proc") if name.isdigit()]
        self.assertEqual(processes, ["1"])

    def assert_ends(self, test: str, status: int) -> None:
        process = self.start(test)
        _, errors = process.communicate()
        self.assertEqual(process.returncode, status, errors)
        self.assert_no_process_left()

    def assert_killed(self, number: signal.Signals) -> None:
        process = self.start("test_hang")
        with process:
            assert process.stdout is not None
            self.assertEqual(process.stdout.readline(), "hanging\n")
            process.send_signal(number)
        self.assertNotEqual(process.returncode, 0)
        self.assert_no_process_left()

    def test_success(self) -> None:
        self.assert_ends("test_success", 0)

    def test_failure(self) -> None:
        self.assert_ends("test_failure", 1)

    def test_exception_out_of_the_runner(self) -> None:
        self.assert_ends("test_exception", 130)

    def test_sigterm(self) -> None:
        self.assert_killed(signal.SIGTERM)

    def test_sigkill(self) -> None:
        self.assert_killed(signal.SIGKILL)
