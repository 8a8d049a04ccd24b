"""The golden vectors, as the tests of the library have them."""

from __future__ import annotations

import pathlib
import re
from collections.abc import Iterator

FOLDER = pathlib.Path(__file__).resolve().parent.parent / "vectors"


def rows(name: str) -> Iterator[list[str]]:
    """The cells of each row of a table; texts without their quotes."""
    found = 0
    for line in (FOLDER / f"{name}.inc").read_text().splitlines():
        if match := re.fullmatch(r"    \{(.*)\},", line):
            found += 1
            yield [text or cell.strip() for text, cell in re.findall(r'"([^"]*)"|([^",]+)', match[1]) if text or cell.strip()]
    assert found > 0, name


def number(cell: str) -> int:
    """As C++ writes it."""
    return int(cell.rstrip("u"), 0)


def pattern(count: int) -> bytes:
    """The filler of the vectors."""
    return bytes((7 * i + 3) & 0xFF for i in range(count))
