"""Captures: headerless samples and PGM, on the library's scale of 12 bits."""
from __future__ import annotations

import os
import re
from dataclasses import dataclass
from typing import Any

import numpy as np
from numpy.typing import NDArray

from ._check import integer, pattern_code
from .values import Pattern


@dataclass(frozen=True, eq=False)
class Capture:
    """A frame, and what is known of it."""

    frame: NDArray[np.uint32]
    """Rows by columns of codes of 12 bits."""
    bits: int
    """Depth of the file."""
    pattern: Pattern | None


def read_capture(path: str | os.PathLike[str], *, width: int | None = None, height: int | None = None,
                 bits: int | None = None, pattern: Pattern | int | str | None = None,
                 big_endian: bool = False) -> Capture:
    """Reads a binary PGM, or a headerless file of 16-bit words (at 8 bits also of bytes).

    width, height, bits (8..16): needed for headerless files; what a PGM tells must agree. A depth that is told counts
    more than a PGM's, which is that of its largest value.
    big_endian: byte order of headerless words.

    Codes go to 12 bits: fewer bits are scaled up by a power of two, more are rounded and limited to 4095. A code that
    its depth does not hold is a ValueError. Packed raw and other forms are read by the program alone.
    """
    name = os.fspath(path)
    told = {"width": width, "height": height}
    sides = {key: value if value is None else integer(key, value, 1, 65535) for key, value in told.items()}
    depth = None if bits is None else integer("bits", bits, 8, 16)
    with open(path, "rb") as stream:
        content = stream.read()
    if name.lower().endswith(".pgm") or re.match(rb"P5\s", content):
        codes, own_depth = _pgm(name, content, sides)
        depth = depth or own_depth
    else:
        if sides["width"] is None or sides["height"] is None or depth is None:
            raise ValueError(f"{name}: a headerless file, expected width, height and bits as arguments")
        codes = _headerless(name, content, sides["width"], sides["height"], depth, big_endian)
    if codes.size and int(codes.max()) >> depth:
        raise ValueError(f"{name}: a code of {codes.max()}, expected at most {(1 << depth) - 1} for {depth} bits")
    return Capture(_to_12_bits(codes, depth), depth, None if pattern is None else Pattern(pattern_code(pattern)))


def _headerless(name: str, content: bytes, width: int, height: int, depth: int, big_endian: bool) -> NDArray[Any]:
    samples = width * height
    if len(content) == 2 * samples:
        return np.frombuffer(content, ">u2" if big_endian else "<u2").reshape(height, width)
    if depth == 8 and len(content) == samples:
        return np.frombuffer(content, np.uint8).reshape(height, width)
    raise ValueError(f"{name}: {len(content)} bytes, expected {2 * samples} for {width} x {height} samples of 16 bits")


def _pgm(name: str, content: bytes, told: dict[str, int | None]) -> tuple[NDArray[Any], int]:
    gap = rb"(?:\s|#[^\n]*\n)+"
    head = re.match(rb"P5" + gap + rb"(\d{1,9})" + gap + rb"(\d{1,9})" + gap + rb"(\d{1,9})\s", content)
    if not head:
        raise ValueError(f"{name}: no binary PGM, expected P5, width, height and the largest value")
    width, height, largest = map(int, head.groups())
    if not (1 <= width <= 65535 and 1 <= height <= 65535 and 1 <= largest <= 65535):
        raise ValueError(f"{name}: a PGM of {width} x {height} up to {largest}, expected 1 to 65535 each")
    for key, found in (("width", width), ("height", height)):
        if told[key] not in (None, found):
            raise ValueError(f"{name}: its {key} is {found}, expected {told[key]} as told")
    size = 2 if largest > 255 else 1
    if len(content) - head.end() < size * width * height:
        raise ValueError(f"{name}: truncated, {len(content) - head.end()} bytes of samples, expected "
                         f"{size * width * height}")
    codes = np.frombuffer(content, ">u2" if size == 2 else np.uint8, width * height, head.end())
    return codes.reshape(height, width), max(largest.bit_length(), 8)


def _to_12_bits(codes: NDArray[Any], depth: int) -> NDArray[np.uint32]:
    wide = codes.astype(np.uint32)
    if depth <= 12:
        return wide << np.uint32(12 - depth)
    shift = depth - 12
    rounded = (wide + np.uint32(1 << (shift - 1))) >> np.uint32(shift)
    return np.minimum(rounded, np.uint32(4095))
