"""The schemas of the report and of the configuration, against the program and its samples."""

from __future__ import annotations

import copy
import functools
import json
import os
import subprocess
import sys
import unittest
from collections.abc import Iterator
from pathlib import Path
from typing import Any

try:
    from jsonschema import Draft202012Validator
except ImportError:
    print("skipped: jsonschema is missing (package python3-jsonschema)", file=sys.stderr)
    sys.exit(77)

ROOT = Path(__file__).parents[2]
DOCS = ROOT / "docs"
# What protocols say is theirs; the schema says nothing of what stands there.
FREE = ("metadata", "protocolData")
SCAN_SECONDS = 60

Place = tuple[Any, ...]


def read(name: str) -> dict:
    return json.loads((DOCS / name).read_text("utf-8"))


@functools.lru_cache(maxsize=None)
def report_of(*options: str) -> dict:
    done = subprocess.run([os.environ["SONDRIX_PROGRAM"], "--scan-once", "--json", *options],
                          env={**os.environ, "LC_ALL": "C.UTF-8"}, stdin=subprocess.DEVNULL, capture_output=True,
                          text=True, encoding="utf-8", check=True, timeout=SCAN_SECONDS)
    return json.loads(done.stdout)


def places(value: Any, place: Place = ()) -> Iterator[Place]:
    """Where the keys of an object and of all that it holds stand."""
    if isinstance(value, dict):
        for key, entry in value.items():
            yield (*place, key)
            if key not in FREE:
                yield from places(entry, (*place, key))
    elif isinstance(value, list):
        for index, entry in enumerate(value):
            yield from places(entry, (*place, index))


def shape(place: Place) -> Place:
    """Places of the same shape stand for each other: an element of a list is any of them."""
    return tuple("[]" if isinstance(step, int) else step for step in place)


def changed(value: dict, place: Place, change: Any) -> dict:
    """A copy in which that is done to the object that holds the place's key."""
    value = copy.deepcopy(value)
    holder = value
    for step in place[:-1]:
        holder = holder[step]
    change(holder, place[-1])
    return value


def rename(holder: dict, key: str) -> None:
    holder[f"{key}X"] = holder.pop(key)


def leave_out(holder: dict, key: str) -> None:
    del holder[key]


def retype(holder: dict, key: str) -> None:
    holder[key] = 0.5 if not isinstance(holder[key], float) else "0.5"


class SchemaTest(unittest.TestCase):
    schema = ""

    @classmethod
    def setUpClass(cls) -> None:
        if not cls.schema:
            raise unittest.SkipTest("the base of the others")
        Draft202012Validator.check_schema(read(cls.schema))
        cls.validator = Draft202012Validator(read(cls.schema))

    def assert_valid(self, value: dict) -> None:
        self.assertEqual([f"{error.json_path}: {error.message}" for error in self.validator.iter_errors(value)], [])

    def assert_refused(self, value: dict, changes: tuple[Any, ...], samples: int) -> None:
        """Each change at each place, once for each shape, makes the value invalid."""
        self.assert_valid(value)
        by_shape = {shape(place): place for place in places(value)}
        self.assertGreaterEqual(len(by_shape), samples)
        for place in by_shape.values():
            for change in changes:
                with self.subTest(change.__name__, place=place):
                    self.assertFalse(self.validator.is_valid(changed(value, place, change)))


class ReportSchemaTest(SchemaTest):
    schema = "report.schema.json"

    def test_sample(self) -> None:
        self.assert_valid(read("sample-report.json"))

    def test_empty_network(self) -> None:
        report = report_of()
        self.assertGreaterEqual(len(report["providers"]), 8)
        self.assert_valid(report)

    def test_seed(self) -> None:
        report = report_of("--config", str(DOCS / "sample-config.json"), "--disable", "nmos")
        self.assertEqual(report["deviceCount"], 2)
        self.assert_valid(report)

    def test_every_key_counts(self) -> None:
        # 12 keys of the report, 5 of a row, 21 of a device, 10 of an endpoint, 1 of streamlark.
        self.assert_refused(read("sample-report.json"), (rename, leave_out, retype), 49)

    def test_more_keys_are_refused(self) -> None:
        def add(holder: dict, key: str) -> None:
            holder["more"] = holder[key]
        self.assert_refused(read("sample-report.json"), (add,), 49)

    def test_words_and_times(self) -> None:
        sample = read("sample-report.json")
        wrong = {("devices", 0, "direction"): "sideways", ("devices", 0, "mediaKinds"): ["smell"],
                 ("devices", 0, "firstSeen"): "2026-11-21 10:00:00", ("devices", 0, "stableKey"): "id:1",
                 ("providers", 0, "status"): "fine", ("providers", 0, "name"): "telepathy",
                 ("lastScanUtc",): "2026-11-21T10:00:00.000+01:00", ("deviceCount",): -1,
                 ("application",): "Another", ("streamlark", "enabled"): True}
        for place, value in wrong.items():
            with self.subTest(place=place):
                def put(holder: dict, key: str, value: Any = value) -> None:
                    holder[key] = value
                self.assertFalse(self.validator.is_valid(changed(sample, place, put)))


class ConfigurationSchemaTest(SchemaTest):
    schema = "config.schema.json"

    def test_sample(self) -> None:
        self.assert_valid(read("sample-config.json"))

    def test_nothing_is_required(self) -> None:
        self.assert_valid({})
        self.assert_valid({"api": {}, "discovery": {"providers": {}}, "streamlark": {}, "manualSeeds": {}})

    def test_every_key_counts(self) -> None:
        # Nothing is required, so that a key may be left out.
        self.assert_refused(read("sample-config.json"), (rename, retype), 24)

    def test_sample_has_every_key_of_the_schema(self) -> None:
        def keys(schema: dict, place: Place = ()) -> Iterator[Place]:
            for key, entry in schema.get("properties", {}).items():
                yield (*place, key)
                yield from keys(entry, (*place, key))
        self.assertEqual(set(keys(read(self.schema))),
                         {place for place in places(read("sample-config.json")) if isinstance(place[-1], str)})

    def test_defaults_are_the_program_s(self) -> None:
        """A file that spells every default out runs the providers that run without one."""
        def defaults(schema: dict) -> Any:
            if "properties" in schema:
                return {key: defaults(entry) for key, entry in schema["properties"].items()}
            return schema["default"]
        path = Path(os.environ["SONDRIX_SCHEMA_FOLDER"]) / "defaults.json"
        path.write_text(json.dumps(defaults(read(self.schema))), "utf-8")
        rows = [row["name"] for row in report_of("--config", str(path))["providers"]]
        self.assertEqual(rows, [row["name"] for row in report_of()["providers"]])


if __name__ == "__main__":
    import tempfile
    with tempfile.TemporaryDirectory() as folder:
        os.environ["SONDRIX_SCHEMA_FOLDER"] = folder
        unittest.main()
