"""The shape of a JSON value: which keys are there, and what type of value each has."""

from __future__ import annotations

# Keys that a device chooses itself: the headers of its answer, the entries of its TXT record.
DEVICE_KEYS = ("ssdp.", "txt.")
TYPE_NAMES = {str: "string", bool: "boolean", int: "number", float: "number", type(None): "null"}

Shape = set[tuple[str, ...]]


def shape(value: object) -> Shape:
    """Every path to a value, ending in its type. All elements of an array share the path "[]"."""
    if isinstance(value, dict):
        parts = [(key_name(key), each) for key, each in value.items()] or [("{}", None)]
    elif isinstance(value, list):
        parts = [("[]", each) for each in value] or [("[]", None)]
    else:
        return {(TYPE_NAMES[type(value)],)}
    return {(key, *rest) for key, each in parts for rest in shape(each)}


def key_name(key: str) -> str:
    return next((f"{prefix}*" for prefix in DEVICE_KEYS if key.startswith(prefix)), key)
