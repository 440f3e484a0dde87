"""The recipe of SQLite. A stand-in prints the sample report, for the queries need its devices."""

from __future__ import annotations

import copy
import sqlite3

from sondrix_documents import case

REPORT_SECTION = "A report in a file"
SECTION = "Reports in SQLite"


class SqliteTest(case.RecipeTestCase):
    headings = (REPORT_SECTION, SECTION)
    tools = ("sqlite3", "jq")

    def load(self, report: dict) -> None:
        self.use_report(report)
        self.run_block(REPORT_SECTION, 0)
        self.run_block(SECTION, 0)

    def rows(self, query: str) -> list[tuple]:
        connection = sqlite3.connect(self.folder / "reports.db")
        self.addCleanup(connection.close)
        return connection.execute(query).fetchall()

    def test_each_pass_once_and_the_last_one_asked(self) -> None:
        first = case.sample_report()
        second = copy.deepcopy(first)
        second["lastScanUtc"] = "2026-11-21T00:09:21.500Z"
        second["devices"] = [device for device in first["devices"] if device["displayName"] == "Clip Library"]
        for report in (second, first, first):
            self.load(report)
        self.assertEqual(self.rows("SELECT scanned, count(*) FROM devices GROUP BY scanned ORDER BY scanned"),
                         [(first["lastScanUtc"], 12), (second["lastScanUtc"], 1)])
        self.assertEqual(self.run_block(SECTION, 1), "input  Clip Library\n")

    def test_last_pass_without_a_device(self) -> None:
        self.load(case.sample_report())
        self.load({**case.sample_report(), "lastScanUtc": "2026-11-21T00:09:21.500Z", "devices": []})
        self.assertEqual(self.run_block(SECTION, 1), "")

    def test_no_report_is_an_error(self) -> None:
        done = self.run_text(self.block(SECTION, 0))
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("NOT NULL constraint failed", done.stderr)

    def test_half_a_report_is_an_error(self) -> None:
        (self.folder / "report.json").write_text('{"lastScanUtc":"2026-11-21T00:09:21.500Z","devices":[', "utf-8")
        done = self.run_text(self.block(SECTION, 0))
        self.assertNotEqual(done.returncode, 0)
        self.assertEqual(self.rows("SELECT * FROM reports"), [])
