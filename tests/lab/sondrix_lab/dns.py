"""As much of the DNS message format (RFC 1035) as the lab needs, apart from the program's own."""

from __future__ import annotations

import ipaddress
import struct
from dataclasses import dataclass, field

A, PTR, TXT, AAAA, SRV = 1, 12, 16, 28, 33
IN = 1
CACHE_FLUSH = 0x8000
UNICAST_RESPONSE = 0x8000
RESPONSE = 0x8400


@dataclass(frozen=True)
class Question:
    name: str
    type: int


@dataclass
class Message:
    is_response: bool
    questions: list[Question] = field(default_factory=list)
    # Owner, type and, for a PTR record, the name it points to.
    records: list[tuple[str, int, str]] = field(default_factory=list)


def encode_labels(*labels: str) -> bytes:
    parts = [label.encode("utf-8") for label in labels]
    return b"".join(bytes([len(part)]) + part for part in parts) + b"\0"


def encode_name(name: str) -> bytes:
    return encode_labels(*name.rstrip(".").split("."))


def encode_instance(instance: str, service_type: str) -> bytes:
    """A service instance name; the instance is one label, whatever characters it holds."""
    return encode_labels(instance)[:-1] + encode_name(service_type)


def encode_record(owner: bytes, record_type: int, data: bytes, flush: bool = True, ttl: int = 120) -> bytes:
    record_class = IN | (CACHE_FLUSH if flush else 0)
    return owner + struct.pack(">HHIH", record_type, record_class, ttl, len(data)) + data


def encode_pointer(service_type: str, target: bytes) -> bytes:
    return encode_record(encode_name(service_type), PTR, target, flush=False)


def encode_service(owner: bytes, port: int, target: str) -> bytes:
    return encode_record(owner, SRV, struct.pack(">HHH", 0, 0, port) + encode_name(target))


def encode_text(owner: bytes, strings: list[str]) -> bytes:
    parts = [string.encode("utf-8") for string in strings] or [b""]
    return encode_record(owner, TXT, b"".join(bytes([len(part)]) + part for part in parts))


def encode_address(hostname: str, address: str) -> bytes:
    return encode_record(encode_name(hostname), A, ipaddress.IPv4Address(address).packed)


def encode_response(answers: list[bytes], additional: list[bytes]) -> bytes:
    header = struct.pack(">6H", 0, RESPONSE, 0, len(answers), 0, len(additional))
    return header + b"".join(answers) + b"".join(additional)


def encode_query(names: list[str], record_type: int) -> bytes:
    header = struct.pack(">6H", 0, 0, len(names), 0, 0, 0)
    return header + b"".join(encode_name(name) + struct.pack(">HH", record_type, IN) for name in names)


def decode(packet: bytes) -> Message:
    """Reads a message; ValueError for one that is malformed."""
    try:
        return read_message(packet)
    except (struct.error, IndexError, UnicodeDecodeError) as problem:
        raise ValueError("malformed message") from problem


def read_message(packet: bytes) -> Message:
    _, flags, questions, *record_counts = struct.unpack_from(">6H", packet)
    message = Message(is_response=bool(flags & 0x8000))
    offset = 12
    for _ in range(questions):
        name, offset = decode_name(packet, offset)
        message.questions.append(Question(name, struct.unpack_from(">H", packet, offset)[0]))
        offset += 4
    for _ in range(sum(record_counts)):
        owner, offset = decode_name(packet, offset)
        record_type, _, _, length = struct.unpack_from(">HHIH", packet, offset)
        offset += 10
        target = decode_name(packet, offset)[0] if record_type == PTR else ""
        message.records.append((owner, record_type, target))
        offset += length
    return message


def decode_name(packet: bytes, offset: int) -> tuple[str, int]:
    """The name at the offset, with its trailing dot, and the offset behind it."""
    labels, end = [], 0
    while length := packet[offset]:
        if length >= 0xC0:
            end = end or offset + 2
            target = struct.unpack_from(">H", packet, offset)[0] & 0x3FFF
            if target >= offset:
                raise ValueError("a compressed name points ahead")
            offset = target
            continue
        labels.append(packet[offset + 1:offset + 1 + length].decode("utf-8"))
        offset += 1 + length
    return ".".join(labels) + ".", end or offset + 1
