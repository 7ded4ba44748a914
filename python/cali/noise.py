"""Noise profiles: statistics of brightness series, lines through them, register values."""
from __future__ import annotations

import ctypes
from collections.abc import Sequence
from typing import Any

import numpy as np
from numpy.typing import ArrayLike, NDArray

from ._check import (UINT32_MAX, address_list, floats, format_text, frame as checked_frame, integer, number, output as
                     checked_output, pattern_code, places, series)
from ._declarations import Level, LevelList
from ._library import call
from ._stages import frame_arguments
from .values import Channels, Line, LineRegisters, Pattern

Frame = NDArray[np.uint32]
Levels = Sequence[Sequence[Frame]] | NDArray[np.uint32]

POSITIONS = 4
BLUE_FIRST = ("bb", "gb", "gr", "rr")


class _Series:
    """A level list over the caller's frames, which it keeps alive. Nothing is to be released."""

    def __init__(self, levels: Levels, nframes: int | None, for_writing: bool) -> None:
        self.frames = series(levels, for_writing)
        self.addresses = [address_list(level) for level in self.frames]
        self.levels = (Level * len(self.frames))(
            *[Level(ctypes.addressof(list_), len(level)) for list_, level in zip(self.addresses, self.frames)])
        self.list = LevelList(ctypes.addressof(self.levels), len(self.frames), None, None)
        self.nframes = min(map(len, self.frames)) if nframes is None else integer("nframes", nframes)
        self.height, self.width = next(level[0] for level in self.frames if level).shape

    def arguments(self) -> dict[str, Any]:
        return {"width": self.width, "height": self.height, "count": len(self.frames), "nframes": self.nframes}


def _measure(export: str, spread: str, levels: Levels, nframes: int | None) -> tuple[NDArray[np.float32], ...]:
    taken = _Series(levels, nframes, for_writing=False)
    results = [np.zeros((POSITIONS, len(taken.frames)), np.float32) for _ in range(2)]
    call(export, levels=taken.list, nch=POSITIONS, means=address_list(list(results[0])),
         **taken.arguments(), **{spread: address_list(list(results[1]))})
    return tuple(results)


def isp_roi_mean_std_calc(levels: Levels, *,
                          nframes: int | None = None) -> tuple[NDArray[np.float32], NDArray[np.float32]]:
    """Mean and standard deviation per cell position and level, in codes.

    levels: a sequence of levels, each a sequence of frames of one shape, or an array of four dimensions; unchanged.
    nframes: frames used of each level; by default as many as every level has.

    Two arrays, 4 x levels; position (column & 1) + 2 (row & 1). The divisor of the mean is N = width * height * nframes
    / 4, that of the variance N - 1. Sums run in single precision: prefer windows of 512 x 512.
    """
    means, deviations = _measure("cali_isp_roi_mean_std_calc", "stds", levels, nframes)
    return means, deviations


def isp_roi_mean_var_calc(levels: Levels, *,
                          nframes: int | None = None) -> tuple[NDArray[np.float32], NDArray[np.float32]]:
    """The same with variances, in codes^2."""
    means, variances = _measure("cali_isp_roi_mean_var_calc", "vars", levels, nframes)
    return means, variances


def isp_np_lr_calc(x: ArrayLike, y: ArrayLike) -> Line:
    """Least-squares line through points, in single precision; equal x give NaN or infinity."""
    xs = floats("x", x, (-1,))
    ys = floats("y", y, xs.shape)
    line = np.zeros(2, np.float32)
    slope, intercept = places(line)
    call("cali_isp_np_lr_calc", x=xs, y=ys, n=integer("the number of points", xs.size), slope=slope,
         intercept=intercept)
    return Line(*line.tolist())


def _profile_arguments(taken: _Series, pattern: Pattern | int | str, black_bb: int, black_gb: int,
                       black_gr_rr: int) -> dict[str, Any]:
    black = {"black_bb": black_bb, "black_gb": black_gb, "black_gr_rr": black_gr_rr}
    return {"levels": ctypes.byref(taken.list), "pattern": pattern_code(pattern), **taken.arguments(),
            **{name: integer(name, code, 0, UINT32_MAX) for name, code in black.items()}}


def _fit(export: str, levels: Levels, pattern: Pattern | int | str, nframes: int | None,
         black: tuple[int, int, int]) -> Channels[Line]:
    taken = _Series(levels, nframes, for_writing=True)
    slopes, intercepts = np.zeros(4, np.float32), np.zeros(4, np.float32)
    call(export, **_profile_arguments(taken, pattern, *black),
         **{f"slope_{name}": place for name, place in zip(BLUE_FIRST, places(slopes))},
         **{f"intercept_{name}": place for name, place in zip(BLUE_FIRST, places(intercepts))})
    return Channels(*[Line(*line) for line in zip(slopes.tolist()[::-1], intercepts.tolist()[::-1])])


def isp_np_float_calc(levels: Levels, pattern: Pattern | int | str, *, black_bb: int = 0, black_gb: int = 0,
                      black_gr_rr: int = 0, nframes: int | None = None) -> Channels[Line]:
    """Noise line of each channel: standard deviation against mean over a brightness series, in codes.

    levels: as for `isp_roi_mean_std_calc`, but CHANGED: black levels are subtracted in the frames, samples limited to
    0..4095. Each frame uint32, C-contiguous, writeable, and there once.
    black_*: codes; black_gr_rr serves both GR and RR.
    """
    return _fit("cali_isp_np_float_calc", levels, pattern, nframes, (black_bb, black_gb, black_gr_rr))


def isp_np_float_calc_ainr(levels: Levels, pattern: Pattern | int | str, *, black_bb: int = 0, black_gb: int = 0,
                           black_gr_rr: int = 0, nframes: int | None = None) -> Channels[Line]:
    """As `isp_np_float_calc` (the frames are CHANGED) with variances, in codes^2, in place of standard deviations."""
    return _fit("cali_isp_np_float_calc_ainr", levels, pattern, nframes, (black_bb, black_gb, black_gr_rr))


class _Registers:
    """Room for one line."""

    def __init__(self) -> None:
        self.slope, self.level = ctypes.c_int32(), ctypes.c_int32()

    def arguments(self, prefix: str = "") -> dict[str, Any]:
        return {f"{prefix}slope_fix": ctypes.byref(self.slope), f"{prefix}level_fix": ctypes.byref(self.level)}

    def registers(self) -> LineRegisters:
        return LineRegisters(self.slope.value, self.level.value)


def isp_np_float_to_fix_calc(slope: float, intercept: float, *, ref_level: int = 1024, slope_int_bits: int = 4,
                             slope_frac_bits: int = 12, level_bits_a: int = 10, level_bits_b: int = 0) -> LineRegisters:
    """Register values of a noise line: the slope with slope_frac_bits fraction bits, the level at `ref_level` (code) as
    a plain integer, each limited to its register's range."""
    found = _Registers()
    bits = {"slope_int_bits": slope_int_bits, "slope_frac_bits": slope_frac_bits, "level_bits_a": level_bits_a,
            "level_bits_b": level_bits_b}
    call("cali_isp_np_float_to_fix_calc", slope=number("slope", slope), intercept=number("intercept", intercept),
         ref_level=integer("ref_level", ref_level), **found.arguments(),
         **{name: integer(name, count, 0, UINT32_MAX) for name, count in bits.items()})
    return found.registers()


def isp_np_float_to_fix_calc_v2(slope: float, intercept: float, *, ref_level: int = 1024, slope_format: str = "U4.12",
                                level_format: str = "U10.0") -> LineRegisters:
    """The same with formats as texts such as "U4.8". A text without "." is rejected; an empty one is a ValueError."""
    found = _Registers()
    call("cali_isp_np_float_to_fix_calc_v2", slope=number("slope", slope), intercept=number("intercept", intercept),
         ref_level=integer("ref_level", ref_level), slope_format=format_text("slope_format", slope_format),
         level_format=format_text("level_format", level_format), **found.arguments())
    return found.registers()


def isp_np_fix_calc(levels: Levels, pattern: Pattern | int | str, *, black_bb: int = 0, black_gb: int = 0,
                    black_gr_rr: int = 0, ref_level: int = 1024, formats: str = "U4.12,U10.0",
                    nframes: int | None = None) -> Channels[LineRegisters]:
    """As `isp_np_float_calc` (the frames are CHANGED), converted to registers.

    formats: of slope and level. Here and in the two functions that follow a format is a letter, digits, ".", digits,
    and nothing else, 0 to 31 bits on either side of the point.
    """
    taken = _Series(levels, nframes, for_writing=True)
    slopes, heights = np.zeros(4, np.int32), np.zeros(4, np.int32)
    call("cali_isp_np_fix_calc", **_profile_arguments(taken, pattern, black_bb, black_gb, black_gr_rr),
         ref_level=integer("ref_level", ref_level), formats=format_text("formats", formats),
         **{f"slope_{name}": place for name, place in zip(BLUE_FIRST, places(slopes))},
         **{f"level_{name}": place for name, place in zip(BLUE_FIRST, places(heights))})
    return Channels(*[LineRegisters(*line) for line in zip(slopes.tolist()[::-1], heights.tolist()[::-1])])


def isp_np_fix_to_fix_calc(registers: LineRegisters, *, slope_format: str, level_format: str, new_slope_format: str,
                           new_level_format: str) -> LineRegisters:
    """Moves register values to other formats: rounded where bits are dropped, limited to the new range."""
    found = _Registers()
    formats = {"slope_format": slope_format, "level_format": level_format, "new_slope_format": new_slope_format,
               "new_level_format": new_level_format}
    call("cali_isp_np_fix_to_fix_calc", slope_fix=integer("registers.slope", registers.slope),
         level_fix=integer("registers.level", registers.level), **found.arguments("new_"),
         **{name: format_text(name, text) for name, text in formats.items()})
    return found.registers()


def isp_ynr_np_fix_calc(lines: Channels[Line], *, ref_level: int = 1024, slope_format: str = "U4.12",
                        level_format: str = "U10.0") -> LineRegisters:
    """The luma line of four channels' lines, as registers: noise of 0.299 R + 0.587 G + 0.114 B of independent channels
    at 17 levels, with a line through it. Where a channel's line is negative it has no noise."""
    found = _Registers()
    blue_first = list(Channels(*lines))[::-1]
    slopes = floats("slopes", [number("slope", line.slope) for line in blue_first], (4,))
    intercepts = floats("intercepts", [number("intercept", line.intercept) for line in blue_first], (4,))
    call("cali_isp_ynr_np_fix_calc", slopes=slopes, intercepts=intercepts,
         ref_level=integer("ref_level", ref_level), slope_format=format_text("slope_format", slope_format),
         level_format=format_text("level_format", level_format), **found.arguments())
    return found.registers()


def isp_diff_img_calc(frame_a: Frame, frame_b: Frame, *, output: Frame | None = None) -> Frame:
    """clamp(a - b + 2048, 0, 4095) of two frames of one shape, which are unchanged. output: uint32 of their shape, one
    of them, or a new array. Returns it."""
    first, second = checked_frame("frame_a", frame_a), checked_frame("frame_b", frame_b)
    if first.shape != second.shape:
        raise ValueError(f"frame_a has the shape {first.shape}, frame_b {second.shape}; expected one shape")
    result = checked_output("output", output, first.shape, np.uint32, [first, second])
    sides = frame_arguments(first, 0)
    call("cali_isp_diff_img_calc", frame_a=sides["frame"], frame_b=frame_arguments(second, 0)["frame"],
         width=sides["width"], height=sides["height"], output=frame_arguments(result, 0)["frame"])
    return result


def isp_std_img_calc(frames: Sequence[Frame] | NDArray[np.uint32]) -> NDArray[np.float32]:
    """Standard deviation of each photosite over 2 or more frames of one shape, in codes."""
    taken = series([frames], for_writing=False)[0]
    height, width = taken[0].shape
    result = np.zeros((height, width), np.float32)
    call("cali_isp_std_img_calc", frames=address_list(taken), nframes=len(taken), width=width, height=height,
         output=result)
    return result
