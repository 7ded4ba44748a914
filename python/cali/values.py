"""Values that calls give and take. All arrays are the caller's; nothing is copied into or out of these records."""
from __future__ import annotations

import enum
from dataclasses import dataclass
from typing import Generic, NamedTuple, TypeVar

import numpy as np
from numpy.typing import NDArray

T = TypeVar("T")


class Pattern(enum.IntEnum):
    """Colours of the top-left 2 x 2 photosites, row by row."""

    BGGR = 0
    GBRG = 1
    GRBG = 2
    RGGB = 3


class Channels(NamedTuple, Generic[T]):
    """One value for each channel: red, green on the red rows, green on the blue rows, blue."""

    rr: T
    gr: T
    gb: T
    bb: T


@dataclass(frozen=True)
class BlackLevel:
    """Offsets in codes of 12 bits (0..4095), and the gains, 1.0 = unity, that restore full scale after them."""

    offset: Channels[int] = Channels(0, 0, 0, 0)
    gain: Channels[float] = Channels(1.0, 1.0, 1.0, 1.0)
    in_bounds: bool = True
    """False where `blc_calc_by_median` found a median below 1 or not below 800."""

    @staticmethod
    def of_offsets(rr: int, gr: int, gb: int, bb: int) -> BlackLevel:
        """With the gains 4096 / (4096 - offset), for offsets below 4096."""
        offset = Channels(rr, gr, gb, bb)
        if not all(0 <= code < 4096 for code in offset):
            raise ValueError(f"black level {tuple(offset)}, expected codes of 0 to 4095")
        gain = [float(np.float32(4096) / np.float32(4096 - code)) for code in offset]
        return BlackLevel(offset, Channels(*gain))


@dataclass(frozen=True, eq=False)
class Mesh:
    """Lens-shading gains at the nodes of a mesh, rows by columns, 512 = 1.0. Green is the absolute gain, red and blue
    are relative to it. Whole numbers; uint32 and int32 are taken without a copy."""

    red: NDArray[np.uint32]
    green: NDArray[np.uint32]
    blue: NDArray[np.uint32]

    @staticmethod
    def unity() -> Mesh:
        """3 x 3 nodes that change nothing."""
        return Mesh(*[np.full((3, 3), 512, np.uint32) for _ in range(3)])


@dataclass(frozen=True, eq=False)
class Radial:
    """Lens-shading gains by the distance from a centre in photosites: 4 x 32 (R, G, B, infrared), int32, 512 = 1.0.
    Entry k is at k / 31 of the distance to the farthest corner; all are absolute."""

    center_x: int
    center_y: int
    gains: NDArray[np.int32]


@dataclass(frozen=True, eq=False)
class LensShading:
    """What `lsc_calc` finds in a flat field."""

    mesh: Mesh
    radial: Radial
    norm: int
    """31 / (distance from the centre to the farthest corner), in 1/2048, truncated."""


@dataclass(frozen=True)
class Gains:
    """White-balance registers, 0..65535, 1024 = 1.0."""

    red: int = 1024
    green: int = 1024
    blue: int = 1024


@dataclass(frozen=True)
class Curve:
    """The parabola y = a x^2 + b x + c between chroma ratios, and the camera's three words of 32 bits."""

    a: float
    b: float
    c: float
    pack: tuple[int, int, int]


@dataclass(frozen=True, eq=False)
class ColourMatrix:
    """3 x 3, row by row output red, green, blue from white-balanced red, green, blue."""

    value: NDArray[np.float32]
    q10: NDArray[np.int32]
    """Registers, 1024 = 1.0, rows summing to 1024."""


@dataclass(frozen=True)
class Line:
    """spread = slope * mean + intercept, in codes."""

    slope: float
    intercept: float


@dataclass(frozen=True)
class LineRegisters:
    """A noise line as registers: the slope in its format, and the level, a whole number."""

    slope: int
    level: int


@dataclass(frozen=True)
class GreySettings:
    """Of `roi_rgb_interpolation`."""

    gray_tolerance: int
    """Allowed deviation of the three channels at full brightness, in codes of 0..255; 0..65535."""
    step: int = 8
    """Brightness step between inserted pairs, 1 or more, in codes of 0..255."""
    step_fraction: float = 0.5
    """A remainder above this share of a step earns one pair more."""
    max_add: int = 256
    """Most pairs that may be appended."""


NO_BLACK_LEVEL = BlackLevel()
UNITY_GAINS = Gains()
