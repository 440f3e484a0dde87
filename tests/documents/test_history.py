"""The recipe of a history: the real program and systemd's own tools, with no systemd at work."""

from __future__ import annotations

import configparser
import json
import os
import shlex
import subprocess
import time
from pathlib import Path

from sondrix_documents import case

SECTION = "A history of reports"
UNITS = Path("/etc/systemd/system")
PROGRAMS = Path("/usr/local/bin")
# In tenths of the points of systemd-analyze; a service without any care has 96, and this one 17.
HIGHEST_EXPOSURE = 20
DAY_SECONDS = 24 * 60 * 60


class HistoryTest(case.RecipeTestCase):
    headings = (SECTION,)
    tools = ("jq", "systemctl", "systemd-analyze")
    needs_sandbox = True

    @classmethod
    def setUpClass(cls) -> None:
        super().setUpClass()
        # The recipe installs files; here they go into file systems that end with the sandbox.
        for folder in (UNITS, PROGRAMS):
            subprocess.run(["mount", "--no-mtab", "-t", "tmpfs", "tmpfs", folder], check=True)
        (PROGRAMS / "CorvaneTVSondrix").symlink_to(os.environ["SONDRIX_PROGRAM"])

    def build(self) -> None:
        self.assertTrue(os.path.ismount(UNITS) and os.path.ismount(PROGRAMS))
        # systemctl then writes what it would write, and leaves alone a systemd that may be at work.
        self.environment["SYSTEMD_OFFLINE"] = "1"
        self.environment["PATH"] = f"{PROGRAMS}:/usr/bin:/bin"
        # The folder of a service with DynamicUser is a link, too.
        (self.scratch / "private").mkdir()
        self.history = self.scratch / "history"
        self.history.symlink_to("private")

    def run_block(self, heading: str, number: int) -> str:
        if number == 0:
            return super().run_block(heading, number)
        # Offline, systemctl says what it leaves undone.
        done = self.run_text(self.block(heading, number))
        self.assertEqual(done.returncode, 0)
        self.assertEqual(done.stderr.splitlines(), ["Running in chroot, ignoring command 'daemon-reload'",
                                                    "Running in chroot, ignoring command 'start'"])
        return done.stdout

    def unit(self, name: str) -> configparser.ConfigParser:
        parser = configparser.ConfigParser(interpolation=None)
        parser.optionxform = str  # type: ignore[assignment, method-assign]
        parser.read(UNITS / name, "utf-8")
        return parser

    def run_service(self) -> subprocess.CompletedProcess[str]:
        """Runs the command of the service, with a folder of the test in place of the service's own."""
        service = self.unit("sondrix-history.service")["Service"]
        folder = f"/var/lib/{service['StateDirectory']}"
        self.assertIn(f" {folder}", service["ExecStart"])
        return self.run_text(service["ExecStart"].replace(folder, shlex.quote(str(self.history))))

    def test_blocks_as_they_stand(self) -> None:
        super().test_blocks_as_they_stand()
        link = UNITS / "timers.target.wants" / "sondrix-history.timer"
        self.assertEqual(link.resolve(), UNITS / "sondrix-history.timer")

    def test_service_keeps_a_report(self) -> None:
        self.run_block(SECTION, 0)
        for name, age_days in (("old.json", 32), ("young.json", 28), ("old.txt", 32)):
            (self.history / name).write_text("", "utf-8")
            os.utime(self.history / name, (time.time() - age_days * DAY_SECONDS,) * 2)
        done = self.run_service()
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))
        names = sorted(path.name for path in self.history.iterdir())
        self.assertEqual(names[1:], ["old.txt", "young.json"])
        self.assertRegex(names[0], r"\A\d{4}-\d\d-\d\dT\d\d-\d\d-\d\dZ\.json\Z")
        self.assertEqual(json.loads((self.history / names[0]).read_text("utf-8"))["application"], "CorvaneTVSondrix")

    def test_half_a_report_is_not_kept(self) -> None:
        self.run_block(SECTION, 0)
        cut_short = self.programs / "CorvaneTVSondrix"
        cut_short.write_text("""#!/bin/sh\nprintf '{"application":"Corv'\n""", "utf-8")
        cut_short.chmod(0o755)
        self.environment["PATH"] = f"{self.programs}:{self.environment['PATH']}"
        self.assertNotEqual(self.run_service().returncode, 0)
        self.assertEqual(list(self.history.iterdir()), [])

    def test_pass_that_fails_is_not_kept(self) -> None:
        self.run_block(SECTION, 0)
        (self.programs / "CorvaneTVSondrix").symlink_to("/bin/false")
        self.environment["PATH"] = f"{self.programs}:{self.environment['PATH']}"
        self.assertNotEqual(self.run_service().returncode, 0)
        self.assertEqual(list(self.history.iterdir()), [])

    def test_service_may_do_little(self) -> None:
        self.run_block(SECTION, 0)
        done = self.run_text(f"systemd-analyze security --no-pager --offline=true --threshold={HIGHEST_EXPOSURE} "
                             f"{UNITS}/sondrix-history.service")
        self.assertEqual(done.returncode, 0, done.stdout)

    def test_timer_begins_each_quarter_of_an_hour(self) -> None:
        self.run_block(SECTION, 0)
        calendar = self.unit("sondrix-history.timer")["Timer"]["OnCalendar"]
        done = self.run_text(f"systemd-analyze calendar --iterations=4 --base-time='2026-01-01 00:01:00 UTC' "
                             f"{shlex.quote(calendar)}")
        self.assertEqual(done.returncode, 0, done.stderr)
        for time_of_day in ("00:15:00", "00:30:00", "00:45:00", "01:00:00"):
            self.assertIn(time_of_day, done.stdout)
