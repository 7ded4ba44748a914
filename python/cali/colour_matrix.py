"""Colour correction matrices from a 24-patch chart."""
from __future__ import annotations

import ctypes
from collections.abc import Sequence
from typing import Any

import numpy as np
from numpy.typing import ArrayLike, NDArray

from ._check import (INT32_MAX, address_list, floats, frame as checked_frame, integer, integers, number, pattern_code,
                     weights as checked_weights)
from ._declarations import CALI_WHITE_D65, CcmLensShading, CcmPreprocess, CcmToneCurves
from ._library import call
from ._stages import (GainOutputs, black_level_arguments, frame_arguments, gain_arguments, gains_of, mesh_arguments,
                      mesh_tables, offsets_of)
from .lens_shading import _radial_gains
from .values import NO_BLACK_LEVEL, UNITY_GAINS, BlackLevel, ColourMatrix, Gains, Mesh, Pattern, Radial

Frame = NDArray[np.uint32]
PATCHES = 24


class _Outputs:
    def __init__(self) -> None:
        self.value, self.q10 = np.zeros((3, 3), np.float32), np.zeros((3, 3), np.int32)

    def arguments(self) -> dict[str, Any]:
        return {"ccm": self.value, "ccm_q10": self.q10}

    def matrix(self) -> ColourMatrix:
        return ColourMatrix(self.value, self.q10)


def _windows(chart_windows: ArrayLike | None) -> NDArray[np.int32] | None:
    return None if chart_windows is None else integers("chart_windows", chart_windows, np.int32, (PATCHES, 4))


def ccm_calc(patches: Sequence[NDArray[np.int32]] | NDArray[np.int32], *, weights: ArrayLike | None = None,
             lambda_scale: float = 1.0) -> ColourMatrix:
    """Weighted least-squares matrix from white-balanced patches to the linear colours of a 24-patch chart, rows
    constrained to sum to 1.

    patches: 1..24 arrays of rows, columns and 3 colours, 0..4095, of one shape, in chart order. int32 is not copied.
    weights: one for each patch; all 1 by default. lambda_scale: 1 gives the exact constraint.

    Every diagonal element is at least 1 before the rows are normalised. The identity where the normal matrix cannot be
    inverted (a CalibrationWarning says so) or a row's sum is not above 0.
    """
    arrays = [checked_frame(f"patches[{i}]", patch, 3, np.int32) for i, patch in enumerate(patches)]
    if not 1 <= len(arrays) <= PATCHES:
        raise ValueError(f"patches holds {len(arrays)}, expected 1 to {PATCHES}")
    height, width, _ = arrays[0].shape
    if any(array.shape != arrays[0].shape for array in arrays) or height * width > INT32_MAX:
        raise ValueError("patches have different shapes or too many pixels, expected one shape and at most 2^31 - 1")
    found = _Outputs()
    call("cali_ccm_calc", patches=address_list(arrays), patch_count=len(arrays), patch_w=width, patch_h=height,
         channels=3, lambda_scale=number("lambda_scale", lambda_scale),
         weights=checked_weights("weights", weights, len(arrays)), **found.arguments())
    return found.matrix()


def isp_ccm_pipe_calc(frame: Frame, pattern: Pattern | int | str, gains: Gains, *,
                      black_level: BlackLevel = NO_BLACK_LEVEL, mesh: Mesh | None = None,
                      chart_windows: ArrayLike | None = None, weights: ArrayLike | None = None,
                      lambda_scale: float = 1.0) -> ColourMatrix:
    """Black level, mesh shading and white balance on a chart frame, then the fit of `ccm_calc`.

    frame: unchanged; at most 8192 either way. black_level, mesh: as for `awb_calc`. gains: 1024 = 1.0.
    chart_windows: 24 rows of x, y, width, height in photosites, in chart order, 2 x 2 or more inside the frame; by
    default the chart fills the frame as 6 x 4 cells, each window centred with half the cell's size.
    weights: 24; all 1 by default.
    """
    samples, tables = checked_frame("frame", frame), mesh_tables(mesh)
    windows, found = _windows(chart_windows), _Outputs()
    call("cali_isp_ccm_pipe_calc", **frame_arguments(samples, pattern), **mesh_arguments(tables),
         **black_level_arguments(black_level), **gain_arguments(gains), chart_windows=windows,
         lambda_scale=number("lambda_scale", lambda_scale), weights=checked_weights("weights", weights, PATCHES),
         **found.arguments())
    return found.matrix()


def isp_awb_ccm(frame: Frame, pattern: Pattern | int | str, *, black_level: BlackLevel = NO_BLACK_LEVEL,
                mesh: Mesh | None = None, chart_windows: ArrayLike | None = None, weights: ArrayLike | None = None,
                lambda_scale: float = 1.0) -> tuple[Gains, ColourMatrix]:
    """As `isp_ccm_pipe_calc`, with the gains taken from the chart's greys between white and black and returned as
    `awb_calc` returns them. Their green mean is what "Too Bright" and "Too Dark" look at."""
    samples, tables = checked_frame("frame", frame), mesh_tables(mesh)
    windows, found = _windows(chart_windows), _Outputs()
    gains = GainOutputs()
    call("cali_isp_awb_ccm", **frame_arguments(samples, pattern), **mesh_arguments(tables),
         **black_level_arguments(black_level), chart_windows=windows, lambda_scale=number("lambda_scale", lambda_scale),
         weights=checked_weights("weights", weights, PATCHES), **gains.arguments(), **found.arguments())
    return gains.gains(), found.matrix()


def isp_ccm_pipe_calc_v2(frame: Frame, pattern: Pattern | int | str, gains: Gains = UNITY_GAINS, *,
                         black_level: BlackLevel = NO_BLACK_LEVEL, mesh: Mesh | None = None,
                         radial: Radial | None = None, chart_windows: ArrayLike | None = None,
                         tone_curves: tuple[ArrayLike, ArrayLike] | None = None, saturation: float = 1.0,
                         weights: ArrayLike | None = None, white_point: int = CALI_WHITE_D65) -> ColourMatrix:
    """The matrix that minimises the weighted CIE 1976 colour difference on a chart frame, found in two stages (hue and
    saturation, then the full matrix).

    frame: unchanged. chart_windows, weights: as for `isp_ccm_pipe_calc`. gains: red and blue, 1024 = 1.0; 0 is unity.
    black_level: offsets of 32 bits with a sign, restoring gains.
    mesh, radial: no stage where None, else mesh, then radial. A mesh has 4 to 37 nodes either way.
    tone_curves: two lists of codes 0..4095 over the input range 0..1, one or more each; identity by default.
    saturation: 1 leaves the matrix as fitted. white_point: 65, or 50 and anything else.

    Rejected where the patches are black or colourless and where the optimiser fails. Prints the two minima.
    """
    samples, windows, found = checked_frame("frame", frame), _windows(chart_windows), _Outputs()
    height, width = samples.shape
    registers = gain_arguments(gains)
    preprocess = CcmPreprocess((ctypes.c_int32 * 4)(*offsets_of(black_level, -(2**31), INT32_MAX)),
                               (ctypes.c_float * 4)(*gains_of(black_level)))
    shading = CcmLensShading(mode=(0 if mesh is None else 1) + (0 if radial is None else 2))
    if mesh is not None:
        tables = mesh_tables(mesh)
        shading.grid_rows, shading.grid_cols = tables[0].shape
        for name, table in zip(("red_grid", "green_grid", "blue_grid"), tables):
            room = getattr(shading, name)
            if table.nbytes <= ctypes.sizeof(room):  # else the library rejects the counts before it reads
                ctypes.memmove(room, table.ctypes.data, table.nbytes)
    if radial is not None:
        lut = _radial_gains(radial)
        shading.center_x = integer("radial.center_x", radial.center_x)
        shading.center_y = integer("radial.center_y", radial.center_y)
        ctypes.memmove(shading.radial_tables, lut.ctypes.data, lut.nbytes)
    curves = None
    if tone_curves is not None:
        if not isinstance(tone_curves, (tuple, list)) or len(tone_curves) != 2:
            raise TypeError("tone_curves is not a pair of lists of codes")
        first, second = [integers(f"tone_curves[{i}]", curve, np.uint32, (-1,)) for i, curve in enumerate(tone_curves)]
        curves = CcmToneCurves(first.ctypes.data, first.size, second.ctypes.data, second.size)
    factors = np.concatenate([floats("saturation", [number("saturation", saturation)], (1,)),
                              checked_weights("weights", weights, PATCHES)])
    call("cali_isp_ccm_pipe_calc_v2", frame=samples, width=width, height=height,
         pattern=pattern_code(pattern), chart_windows=windows,
         tone_curves=None if curves is None else ctypes.byref(curves), preprocess=ctypes.byref(preprocess),
         lens_shading=ctypes.byref(shading), wb_gain_r=registers["gain_r"], wb_gain_b=registers["gain_b"],
         saturation_and_weights=factors, white_point=integer("white_point", white_point), shading_tables_held=0,
         **found.arguments())
    return found.matrix()
