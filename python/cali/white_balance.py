"""White balance: gains of a grey target, verification, the curve over several lights."""
from __future__ import annotations

import ctypes

import numpy as np
from numpy.typing import ArrayLike, NDArray

from ._check import floats, frame as checked_frame, integer, integers, number, output as checked_output, writable_frame
from ._declarations import AwbCurveRecord
from ._library import call
from ._stages import (GainOutputs, black_level_arguments, frame_arguments, gain_arguments, mesh_arguments, mesh_tables)
from .values import NO_BLACK_LEVEL, BlackLevel, Curve, Gains, Mesh, Pattern

Frame = NDArray[np.uint32]


def awb_setROI(x: int, y: int, width: int, height: int) -> None:
    """Sets the window that `awb_calc` measures, in photosites, for the life of the process; empty at first. Each value
    is rounded down to an even number (-3 becomes -4). With threads, hold `exclusive` around both calls."""
    call("cali_awb_setROI", x=integer("x", x), y=integer("y", y), width=integer("width", width),
         height=integer("height", height))


def awb_calc(frame: Frame, pattern: Pattern | int | str, *, black_level: BlackLevel = NO_BLACK_LEVEL,
             mesh: Mesh | None = None) -> Gains:
    """Gains that make the red and blue means of a grey target equal its green mean, after black level and mesh shading.

    frame: unchanged; at most 8192 either way. The window of `awb_setROI` is measured.
    black_level: offsets in codes, restoring gains; none by default.
    mesh: 3..129 nodes either way, at most 4761 in all, 512 = 1.0; none by default.

    Registers, 1024 = 1.0: green is always 1024; red and blue are narrowed to 16 bits, then limited to 16383. A colour
    without signal gives 0. Rejected where the window does not end before the last column or row. Warns "Too Bright" or
    "Too Dark" where the green mean is above 2866.5 or below 614.25 codes. Sums run in single precision: prefer windows
    of up to 256 x 256.
    """
    samples = checked_frame("frame", frame)
    tables = mesh_tables(mesh)
    found = GainOutputs()
    call("cali_awb_calc", **frame_arguments(samples, pattern), **mesh_arguments(tables),
         **black_level_arguments(black_level), **found.arguments())
    return found.gains()


def awb_verify(frame: Frame, pattern: Pattern | int | str, gains: Gains, *, black_level: BlackLevel = NO_BLACK_LEVEL,
               mesh: Mesh | None = None, output: Frame | None = None) -> Frame:
    """The frame after black level, mesh shading and white-balance gains. Other arguments as for `awb_calc`.

    frame: CHANGED, the black level is subtracted in it: uint32, C-contiguous and writeable. Pass `frame.copy()` to keep
    it.
    gains: red and blue, 1024 = 1.0. Greens are copied, also above 4095; red and blue end at 4095.
    output: uint32 of the frame's shape, the frame itself, or a new array. Returns it.
    """
    samples = writable_frame("frame", frame)
    tables = mesh_tables(mesh)
    result = checked_output("output", output, samples.shape, np.uint32, [samples, *tables])
    call("cali_awb_verify", **frame_arguments(samples, pattern), **mesh_arguments(tables),
         **black_level_arguments(black_level), **gain_arguments(gains),
         output=frame_arguments(result, 0)["frame"])
    return result


def awb_BuildCurve(norm_a: float, norm_b: float, ratio_a: ArrayLike, ratio_b: ArrayLike, temp_k: ArrayLike,
                   weight: ArrayLike | None = None) -> Curve:
    """Fits the parabola y(x), x = norm_a / ratio_a and y = norm_b / ratio_b, of up to seven lights, packs the camera's
    record, and keeps the coefficients for `awb_getCurve`.

    norm_a, norm_b: normalisers of the ratios. ratio_a, ratio_b: one for each light. temp_k: kelvin, none 0.
    weight: 0..255 for each light, their sum below 512; 0 leaves a light out of the fit. All 1 by default.

    While the parabola opens downward or dips below 0, one anchor at x = 0 is added, 0.1 higher each time, at most 101
    times. Too few lights for a parabola give NaN. Rejected: "Amount is Over", "TempK is 0", "Total Weight is too big".
    """
    a = floats("ratio_a", ratio_a, (-1,))
    b = floats("ratio_b", ratio_b, a.shape)
    kelvin = floats("temp_k", temp_k, a.shape)
    counts = np.ones(a.shape, np.uint8) if weight is None else integers("weight", weight, np.uint8, a.shape)
    record = AwbCurveRecord()
    call("cali_awb_BuildCurve", norm_a=number("norm_a", norm_a), norm_b=number("norm_b", norm_b), ratio_a=a, ratio_b=b,
         temp_k=kelvin, weight=counts, count=integer("the number of lights", a.size, 0, 255),
         record=ctypes.byref(record))
    words = record.pack.word
    return Curve(record.a, record.b, record.c, (words[0], words[1], words[2]))


def awb_getCurve(ref_a: float = 1024.0, ref_b: float = 1024.0) -> NDArray[np.float32]:
    """The curve of the process's last `awb_BuildCurve` (all zero before one) as 200 numbers within 0..8: the running
    minimum of 1024 y / ref_b at x = i / 100 * ref_a / 1024. With threads, hold `exclusive` around both calls."""
    table = np.zeros(200, np.float32)
    call("cali_awb_getCurve", table=table, ref_a=floats("ref_a", [0, number("ref_a", ref_a)], (2,)),
         ref_b=floats("ref_b", [0, number("ref_b", ref_b)], (2,)))
    return table
