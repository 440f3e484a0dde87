"""The published schema of the report."""

from __future__ import annotations

import functools
import json
from pathlib import Path
from typing import TYPE_CHECKING

if TYPE_CHECKING:
    from jsonschema import Draft202012Validator

SCHEMA = Path(__file__).parents[3] / "docs" / "report.schema.json"


@functools.lru_cache(maxsize=None)
def validator() -> Draft202012Validator:
    # A machine without the package learns so from the test case that needs it.
    from jsonschema import Draft202012Validator
    return Draft202012Validator(json.loads(SCHEMA.read_text("utf-8")))


def faults(report: dict) -> list[str]:
    """What of a report is against the schema: the place and the words of the validator."""
    return [f"{error.json_path}: {error.message}" for error in validator().iter_errors(report)]
