"""The recipe of PostgreSQL, on a cluster of its own. A stand-in prints the sample report."""

from __future__ import annotations

import os
import shutil
import subprocess

from sondrix_documents import case

REPORT_SECTION = "A report in a file"
SECTION = "Reports in PostgreSQL"
ENGINEER = "engineer"
# A cluster for a minute does without what guards it against a loss of power.
SETTINGS = "-c listen_addresses= -c fsync=off -c unix_socket_directories="


class PostgresqlTest(case.RecipeTestCase):
    headings = (REPORT_SECTION, SECTION)
    tools = ("jq", "psql", "initdb", "setpriv")

    def build(self) -> None:
        super().build()
        cluster = self.scratch / "cluster"
        cluster.mkdir()
        # The server does not run as root.
        self.server_user: list[str] = []
        if os.geteuid() == 0:
            self.server_user = ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"]
            self.scratch.chmod(0o755)
            shutil.chown(cluster, "nobody", "nogroup")
        self.serve("initdb", "-D", f"{cluster}/data", "-U", ENGINEER, "-A", "trust", "-E", "UTF8", "--locale=C",
                   "--no-sync")
        self.addCleanup(self.serve, "pg_ctl", "-D", f"{cluster}/data", "-m", "immediate", "-w", "stop")
        self.serve("pg_ctl", "-D", f"{cluster}/data", "-l", f"{cluster}/log", "-w",
                   "-o", f"{SETTINGS}{cluster}", "start")
        self.environment |= {"PGHOST": str(cluster), "PGUSER": ENGINEER}

    def serve(self, tool: str, *arguments: str) -> None:
        path = case.find_tool(tool)
        assert path is not None
        done = subprocess.run([*self.server_user, path, *arguments], cwd="/", stdin=subprocess.DEVNULL,
                              stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, check=False)
        if done.returncode:
            raise RuntimeError(f"{tool}: {done.stderr}")

    def load(self, report: dict) -> None:
        self.use_report(report)
        self.run_block(REPORT_SECTION, 0)
        self.run_block(SECTION, 1)

    def query(self, text: str) -> str:
        done = subprocess.run(["psql", "-qXAt", "-v", "ON_ERROR_STOP=1", "sondrix"], env=self.environment,
                              input=text, capture_output=True, encoding="utf-8", check=False)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout

    def test_each_pass_once_and_the_last_one_asked(self) -> None:
        self.run_block(SECTION, 0)
        first = case.sample_report()
        second = {**first, "lastScanUtc": "2026-11-21T00:09:21.500Z", "devices": []}
        for report in (second, first, first):
            self.load(report)
        self.assertEqual(self.query("SELECT count(*) FROM passes"), "2\n")
        self.assertEqual(self.query("SELECT count(*) FROM devices"), "12\n")
        self.assertEqual(self.run_block(SECTION, 2), "")

    def test_queries_can_use_the_index(self) -> None:
        self.run_block(SECTION, 0)
        self.load(case.sample_report())
        for condition in ("device @> '{\"mediaKinds\": [\"audio\"]}'",
                          "device @? '$.endpoints[*] ? (@.protocol == \"ndi\")'"):
            self.assertIn(condition.split(" ", 1)[1][:2], self.block(SECTION, 2))
            plan = self.query(f"SET enable_seqscan = off; EXPLAIN SELECT * FROM devices WHERE {condition}")
            self.assertIn("Bitmap Index Scan on devices_device", plan)

    def test_texts_of_every_kind(self) -> None:
        """Quotes, backslashes, what looks like an escape, and a NUL, which jsonb does not take."""
        self.run_block(SECTION, 0)
        report = case.sample_report()
        report["devices"] = report["devices"][:1]
        report["devices"][0]["displayName"] = "Régie ' \" $$ \\u0000 \\ :'x' \u0000."
        self.load(report)
        self.assertEqual(self.query("SELECT device ->> 'displayName' FROM devices"),
                         "Régie ' \" $$ \\u0000 \\ :'x' .\n")

    def test_large_report(self) -> None:
        """Longer than the 128 KiB that Linux takes as one argument of a command."""
        self.run_block(SECTION, 0)
        report = case.sample_report()
        report["devices"] = [{**report["devices"][0], "stableKey": f"device-id:{number}"} for number in range(2000)]
        self.load(report)
        self.assertEqual(self.query("SELECT count(*) FROM devices"), "2000\n")

    def test_half_a_report_changes_nothing(self) -> None:
        self.run_block(SECTION, 0)
        (self.folder / "report.json").write_text('{"lastScanUtc":"2026-11-21T00:09:21.500Z","devices":[', "utf-8")
        self.assertNotEqual(self.run_text(self.block(SECTION, 1)).returncode, 0)
        self.assertEqual(self.query("SELECT count(*) FROM passes"), "0\n")
