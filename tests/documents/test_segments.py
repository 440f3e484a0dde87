"""The recipe of several segments: three SSH servers on the loopback of a network of its own.

The segments have stand-ins that print parts of the sample report, so that the merge has something to
decide. The blocks as they stand are run with the real program in one segment, where nobody answers.
"""

from __future__ import annotations

import os
import shlex
import socket
import sqlite3
import subprocess
import time
from pathlib import Path

from sondrix_documents import case

SECTION = "Several segments, one list"
SEGMENTS = {"studio": 22022, "gallery": 22023, "van": 22024}
EARLIER, LATER = "2026-11-20T23:54:25.920Z", "2026-11-20T23:54:25.921Z"
# Which devices a segment sees, and when.
SIGHTINGS = {"studio": {"STUDIO-CAMERA (Channel 1)": EARLIER, "Clip Library": EARLIER, "Main Mix": LATER},
             "gallery": {"Clip Library": LATER, "Main Mix": EARLIER}}
START_TIMEOUT_SECONDS = 10
SERVER_CONFIGURATION = """ListenAddress 127.0.0.1
Port {port}
HostKey {folder}/host_key
AuthorizedKeysFile {folder}/user_key.pub
PasswordAuthentication no
KbdInteractiveAuthentication no
PermitRootLogin prohibit-password
StrictModes no
UsePAM no
PidFile none
SetEnv PATH={programs}:/usr/bin:/bin
"""
CLIENT_CONFIGURATION = """Host {name}
    HostName 127.0.0.1
    Port {port}
    User root
    HostKeyAlias segments
    IdentityFile {folder}/user_key
    IdentitiesOnly yes
    UserKnownHostsFile {folder}/known_hosts
    StrictHostKeyChecking yes
"""


class SegmentsTest(case.RecipeTestCase):
    headings = (SECTION,)
    tools = ("jq", "sqlite3", "ssh", "ssh-keygen", "sshd")
    needs_sandbox = True

    @classmethod
    def setUpClass(cls) -> None:
        super().setUpClass()
        subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
        # Where sshd keeps the child that has no rights; /run is the sandbox's own.
        Path("/run/sshd").mkdir(mode=0o755, exist_ok=True)

    def build(self) -> None:
        self.servers: dict[str, subprocess.Popen[bytes]] = {}
        for key in ("host_key", "user_key"):
            subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", self.scratch / key], check=True)
        host_key = (self.scratch / "host_key.pub").read_text("ascii")
        (self.scratch / "known_hosts").write_text(f"segments {host_key}", "ascii")
        (self.scratch / "ssh_config").write_text("".join(
            CLIENT_CONFIGURATION.format(name=name, port=port, folder=self.scratch)
            for name, port in SEGMENTS.items()), "utf-8")
        # The client looks for ~/.ssh in the home of the account, whatever HOME says.
        configuration = shlex.quote(str(self.scratch / "ssh_config"))
        client = self.programs / "ssh"
        client.write_text(f'#!/bin/sh\nexec {case.find_tool("ssh")} -F {configuration} "$@"\n', "utf-8")
        client.chmod(0o755)
        for name, port in SEGMENTS.items():
            self.start_server(name, port)
        self.addCleanup(lambda: [self.stop_server(name) for name in list(self.servers)])
        for name in SEGMENTS:
            self.see(name, SIGHTINGS.get(name, {}))

    def before(self, heading: str, number: int) -> None:
        program = self.scratch / "van" / "CorvaneTVSondrix"
        if number == 0:
            program.unlink()
            program.symlink_to(os.environ["SONDRIX_PROGRAM"])

    def start_server(self, name: str, port: int) -> None:
        programs = self.scratch / name
        programs.mkdir()
        configuration = self.scratch / f"{name}.conf"
        configuration.write_text(
            SERVER_CONFIGURATION.format(port=port, folder=self.scratch, programs=programs), "utf-8")
        sshd = case.find_tool("sshd")
        assert sshd is not None
        with (self.scratch / f"{name}.log").open("wb") as log:
            self.servers[name] = subprocess.Popen([sshd, "-D", "-e", "-f", configuration],
                                                  stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        deadline = time.monotonic() + START_TIMEOUT_SECONDS
        while True:
            try:
                socket.create_connection(("127.0.0.1", port)).close()
                return
            except ConnectionRefusedError as refusal:
                if time.monotonic() > deadline or self.servers[name].poll() is not None:
                    self.stop_server(name)
                    log_text = (self.scratch / f"{name}.log").read_text("utf-8", "replace")
                    raise RuntimeError(f"the server of {name} did not come up: {log_text}") from refusal
                time.sleep(0.02)

    def stop_server(self, name: str) -> None:
        server = self.servers.pop(name)
        server.terminate()
        server.wait()

    def see(self, segment: str, sightings: dict[str, str]) -> None:
        """What the command finds in a segment."""
        report = case.sample_report()
        report["devices"] = [{**device, "lastSeen": sightings[device["displayName"]]}
                             for device in report["devices"] if device["displayName"] in sightings]
        case.write_report(self.scratch / f"{segment}.json", report)
        case.write_stand_in(self.scratch / segment / "CorvaneTVSondrix", self.scratch / f"{segment}.json")

    def test_merged_again(self) -> None:
        """What is later in the database holds against a report that comes in late."""
        self.run_block(SECTION, 0)
        first = self.run_block(SECTION, 1)
        self.see("studio", {"Clip Library": "2026-11-20T23:00:00.000Z"})
        (self.scratch / "gallery.json").write_text('{"devices":[]}', "utf-8")
        self.run_block(SECTION, 0)
        self.assertEqual(self.run_block(SECTION, 1), first)
        connection = sqlite3.connect(self.folder / "segments.db")
        self.addCleanup(connection.close)
        rows = connection.execute("SELECT segment, last_seen FROM sightings WHERE stable_key LIKE '%4d696e69%' "
                                  "ORDER BY segment").fetchall()
        self.assertEqual(rows, [("gallery", LATER), ("studio", EARLIER)])

    def test_segment_that_cannot_be_reached(self) -> None:
        self.run_block(SECTION, 0)
        kept = (self.folder / "segments" / "gallery.json").read_bytes()
        self.stop_server("gallery")
        done = self.run_text(self.block(SECTION, 0))
        self.assertEqual(done.returncode, 0)
        self.assertRegex(done.stderr, r"Connection refused\s+gallery: not scanned\n\Z")
        self.assertEqual((self.folder / "segments" / "gallery.json").read_bytes(), kept)
        self.assertEqual(sorted(path.name for path in (self.folder / "segments").iterdir()),
                         ["gallery.json", "studio.json", "van.json"])
