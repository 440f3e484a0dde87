"""The base of the test cases: a section of a document, run block by block in a scratch folder."""

from __future__ import annotations

import json
import os
import shlex
import shutil
import subprocess
import tempfile
import unittest
from glob import glob
from pathlib import Path

from sondrix_documents.blocks import PROJECT, Block, blocks_of
from sondrix_lab import sandbox

BLOCK_TIMEOUT_SECONDS = 60
# What a test can need, and the Debian package that brings it.
TOOLS = {"jq": "jq", "sqlite3": "sqlite3", "psql": "postgresql", "initdb": "postgresql", "ssh": "openssh-client",
         "ssh-keygen": "openssh-client", "sshd": "openssh-server", "systemctl": "systemd",
         "systemd-analyze": "systemd", "setpriv": "util-linux"}
# Where Debian keeps the programs that are not for everybody's PATH.
FURTHER_FOLDERS = ("/usr/sbin", "/sbin", "/usr/lib/postgresql/*/bin")
# In place of the program where a recipe needs a network full of devices: prints a report, and is as
# particular about the command line and the locale as the recipes have to be.
STAND_IN = """#!/bin/sh
case "$*" in
"--scan-once --json") ;;
"--scan-once --json --config "*) jq -e .discovery "$4" > /dev/null || exit 2 ;;
*) echo "not the command line of a pass: $*" >&2; exit 1 ;;
esac
[ "$LC_ALL" = C.UTF-8 ] || { echo "names would be lost in the locale '$LC_ALL'" >&2; exit 1; }
exec cat {report}
"""


def find_tool(name: str) -> str | None:
    folders = [folder for pattern in FURTHER_FOLDERS for folder in sorted(glob(pattern), reverse=True)]
    return shutil.which(name, path=os.pathsep.join([os.environ.get("PATH", os.defpath), *folders]))


def sample_report() -> dict:
    return json.loads((PROJECT / "docs" / "sample-report.json").read_text("utf-8"))


def write_report(path: Path, report: dict) -> None:
    """On one line, like the program."""
    path.write_text(json.dumps(report, ensure_ascii=False, sort_keys=True, separators=(",", ":")) + "\n", "utf-8")


def write_stand_in(path: Path, report: Path) -> None:
    path.write_text(STAND_IN.replace("{report}", shlex.quote(str(report))), "utf-8")
    path.chmod(0o755)


def steps_of(document: str, heading: str) -> list[tuple[Block, str]]:
    """The commands of a section, each with the output that stands below it, if any."""
    steps: list[tuple[Block, str]] = []
    blocks = [block for block in blocks_of(document) if block.heading == heading]
    for block, follower in zip(blocks, [*blocks[1:], None]):
        if block.language == "sh":
            steps.append((block, follower.text if follower and follower.language == "text" else ""))
    return steps


class RecipeTestCase(unittest.TestCase):
    """A subclass names its sections. Each of their blocks prints what stands below it, and no error.

    Before each test `build` prepares the scratch folder; `before` may change the world in between.
    Modules name this class through this one, for the loader runs every test case that a module holds.
    """

    document = "docs/cookbook.md"
    headings: tuple[str, ...] = ()
    tools: tuple[str, ...] = ()
    needs_sandbox = False
    folder: Path
    environment: dict[str, str]

    @classmethod
    def setUpClass(cls) -> None:
        missing = [f"{tool} is missing (package {TOOLS[tool]})" for tool in cls.tools if not find_tool(tool)]
        reason = missing[0] if missing else sandbox.obstacle() if cls.needs_sandbox else ""
        if not reason and cls.needs_sandbox and not sandbox.is_inside():
            reason = "outside of a sandbox; start it with python3 -m sondrix_lab"
        if reason:
            raise unittest.SkipTest(reason)

    def setUp(self) -> None:
        scratch = tempfile.TemporaryDirectory(prefix="sondrix-documents-")
        self.addCleanup(scratch.cleanup)
        self.scratch = Path(scratch.name)
        self.folder, self.programs = self.scratch / "work", self.scratch / "bin"
        self.folder.mkdir()
        self.programs.mkdir()
        # A recipe must not live on the locale of whoever runs the tests, nor on their settings.
        kept = {name: value for name, value in os.environ.items()
                if not name.startswith(("LC_", "PG", "XDG_")) and name not in ("LANG", "LANGUAGE", "DISPLAY")}
        self.environment = {**kept, "HOME": str(self.scratch), "LANG": "C",
                            "PATH": f"{self.programs}:{os.environ.get('PATH', os.defpath)}"}
        self.build()

    def build(self) -> None:
        self.use_report(sample_report())

    def before(self, heading: str, number: int) -> None:
        """Called before the block of this number in a section, from 0."""

    def use_report(self, report: dict) -> None:
        """From now on the command prints this report."""
        write_report(self.scratch / "network.json", report)
        write_stand_in(self.programs / "CorvaneTVSondrix", self.scratch / "network.json")

    def use_program(self) -> None:
        """From now on the command is the real program."""
        (self.programs / "CorvaneTVSondrix").symlink_to(os.environ["SONDRIX_PROGRAM"])

    def command(self, text: str) -> list[str]:
        # Any POSIX shell has to do. A line that fails in the midst of a block is an error, too.
        return ["sh", "-e", "-u", "-c", text]

    def run_text(self, text: str) -> subprocess.CompletedProcess[str]:
        return subprocess.run(self.command(text), cwd=self.folder, env=self.environment, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, encoding="utf-8", check=False,
                              timeout=BLOCK_TIMEOUT_SECONDS)

    def block(self, heading: str, number: int) -> str:
        return steps_of(self.document, heading)[number][0].text

    def run_block(self, heading: str, number: int) -> str:
        """Runs one block of a section, which has to succeed without a word of complaint."""
        done = self.run_text(self.block(heading, number))
        self.assertEqual((done.returncode, done.stderr), (0, ""), f"{self.document}, {heading}, block {number}")
        return done.stdout

    def test_blocks_as_they_stand(self) -> None:
        self.assertTrue(self.headings)
        for heading in self.headings:
            steps = steps_of(self.document, heading)
            self.assertTrue(steps, f"{self.document} has no commands under {heading!r}")
            for number, (block, expected) in enumerate(steps):
                self.before(heading, number)
                self.assertEqual(self.run_block(heading, number), expected, str(block))
