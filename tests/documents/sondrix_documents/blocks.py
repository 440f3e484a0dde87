"""The fenced blocks of the documents."""

from __future__ import annotations

import re
from dataclasses import dataclass
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[3]
DOCUMENT_PATTERNS = ("README.md", "CONTRIBUTING.md", "docs/*.md")
FENCE = re.compile(r"\s*(```+|~~~+)\s*([\w+-]*)")
HEADING = re.compile(r"#+\s+(.*?)\s*$")


@dataclass(frozen=True)
class Block:
    """One fenced block; the document is named by its path in the project."""

    document: str
    heading: str
    line: int
    language: str
    text: str

    def __str__(self) -> str:
        return f"{self.document}:{self.line} ({self.heading})"


def documents() -> list[str]:
    paths = [path for pattern in DOCUMENT_PATTERNS for path in sorted(PROJECT.glob(pattern))]
    return [str(path.relative_to(PROJECT)) for path in paths]


def blocks_of(document: str) -> list[Block]:
    return parse(document, (PROJECT / document).read_text("utf-8"))


def parse(document: str, text: str) -> list[Block]:
    blocks: list[Block] = []
    heading, fence, language, begin = "", "", "", 0
    body: list[str] = []
    for number, line in enumerate(text.splitlines(), 1):
        found = FENCE.match(line)
        if fence:
            if line.strip() == fence:
                blocks.append(Block(document, heading, begin, language, "".join(f"{each}\n" for each in body)))
                fence = ""
            else:
                body.append(line)
        elif found:
            fence, language = found.groups()
            begin, body = number, []
        elif HEADING.match(line):
            heading = HEADING.match(line).group(1)  # type: ignore[union-attr]
    if fence:
        raise ValueError(f"{document}:{begin}: the block has no end")
    return blocks
